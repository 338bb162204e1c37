#pragma once

#include "api/core/model/cmreply.h"
#include "api/play/pelkplaylogicdata.h"
#include "api/types/pelkroles.h"

#include <QMutex>

/// Reports each change of a track's play state, once and in order, to the path in the track's row, and keeps
/// the player's current data. One thread; data() may be called on any thread.
class PlayStateReporter
{
public:
    /// The stream address of this row is being resolved. Nothing is reported yet; data() contains the row as
    /// opening until begin() or end().
    void expect(const PelkRoles& row);
    /// A track begins; its row contains the path for its reports. Reported as opening.
    void begin(const PelkRoles& row);
    /// The current track plays or is paused. An unchanged state is not reported.
    void change(PelkPlayLogicState::Enum state);
    /// The current track has a new stream: later reports go to the path in this row. Reports nothing itself.
    void replace(const PelkRoles& row);
    /// The stream of the current track broke after it was heard. Reported twice: as stopped with the error,
    /// then as stopped without an error, which ends the listening time. The error stays in data().
    void breakOff(const QString& error);
    /// The current track stops; the error is empty at its natural end, otherwise an error's name. Without a
    /// current track nothing is reported; a track that was only expected becomes stopped in data().
    void end(const QString& error);

    PelkPlayLogicData data() const;
    /// The reply to the last report; null before the first. It finishes when the module has processed the
    /// report.
    CMVoidReply lastReply() const { return m_lastReply; }

private:
    void set(PelkPlayLogicState::Enum state, const QString& error);
    void tell(PelkPlayLogicState::Enum state, const QString& error);
    void send(const PelkPlayLogicData& told);

    mutable QMutex m_mutex;
    PelkPlayLogicData m_data;
    bool m_current = false; // a track has begun and not ended
    CMVoidReply m_lastReply;
};

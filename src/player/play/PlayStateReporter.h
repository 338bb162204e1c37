#pragma once

#include "api/core/model/cmreply.h"
#include "api/play/pelkplaylogicdata.h"
#include "api/types/pelkroles.h"

#include <QMutex>

/// Tells each change of a track's play state, once and in order, to the path that its row carries, and keeps
/// the player's current data. Changes are made on one thread; data() may be called from any.
class PlayStateReporter
{
public:
    /// It is asked where a track's stream is, so that nobody can be told yet: data() is about this row, as
    /// opening, until begin() or end().
    void expect(const PelkRoles& row);
    /// A track begins; its row carries the path that its changes are told to. Told as opening.
    void begin(const PelkRoles& row);
    /// The current track plays or is paused. Nothing is told when it did so already.
    void change(PelkPlayLogicState::Enum state);
    /// The current track has got another stream: what is told from now on goes where this row says. Nothing
    /// is told.
    void replace(const PelkRoles& row);
    /// The current track, which was heard, stops because its stream broke. Told twice: with the error, which
    /// says what happened, and then without, which is the end of what was listened to. The error stays in
    /// data().
    void breakOff(const QString& error);
    /// The current track stops, with an empty error at its natural end and else an error's name. Nothing is
    /// told when no track is current; one that was only expected is in data() as stopped.
    void end(const QString& error);

    PelkPlayLogicData data() const;
    /// The reply to the last change that was told; null before the first. It finishes once the change was
    /// dealt with.
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

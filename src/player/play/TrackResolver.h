#pragma once

#include "player/play/PlayClock.h"
#include "player/play/PlayProfile.h"
#include "player/play/PlayQueue.h"

#include <functional>

/// An entry of the queue with its stream, as the content model gave it.
struct ResolvedTrack
{
    int entry = 0; ///< 0: there is none
    PelkRoles row; ///< carries the stream's address
    QString askedQuality;
    bool lowerThanAsked = false;
    qint64 resolvedAtMs = 0; ///< by the clock

    bool isEmpty() const { return entry == 0; }
    QString uri() const;
    /// How long the address holds while nobody uses it; 0 when that was not said.
    qint64 maxIdleMs() const;
    bool isTooOld(qint64 nowMs) const;
};

/// Asks where the stream of a queue's entry is. One request at a time. Main thread; nothing blocks.
class TrackResolver : public QObject
{
    Q_OBJECT

public:
    /// The clock is not owned.
    TrackResolver(PlayProfile profile, const PlayClock* clock);

    /// Gets the track, or a sentence that says why there is none. May be called before resolve() returns.
    using Callback = std::function<void(const ResolvedTrack& track, const TrString& failure)>;
    /// Asks; an earlier request that is under way is forgotten. `startMs` is where in the track it is going
    /// to be played from.
    void resolve(const QueueEntry& entry, qint64 startMs, const Callback& callback);
    /// Forgets the request under way; its callback is not called.
    void cancel();
    /// The entry that is asked for; 0 when none is.
    int entry() const { return m_entry; }

private:
    const PlayProfile m_profile;
    const PlayClock* m_clock;
    int m_entry = 0;
    int m_turn = 0; // tells an answer to this request from one that comes too late
};

#pragma once

#include "player/play/PlayClock.h"
#include "player/play/PlayProfile.h"
#include "player/play/PlayQueue.h"

#include <functional>

/// An entry of the queue with its stream, as the content model gave it.
struct ResolvedTrack
{
    int entry = 0; ///< 0 if there is none
    PelkRoles row; ///< carries the stream's address
    QString askedQuality;
    bool lowerThanAsked = false;
    qint64 resolvedAtMs = 0; ///< by the clock

    bool isEmpty() const { return entry == 0; }
    QString uri() const;
    /// How long the address stays valid while unused; 0 if unknown.
    qint64 maxIdleMs() const;
    bool isTooOld(qint64 nowMs) const;
};

/// Resolves the stream address of an entry of the queue. One request at a time. Main thread; nothing blocks.
class TrackResolver : public QObject
{
    Q_OBJECT

public:
    /// The clock is not owned.
    TrackResolver(PlayProfile profile, const PlayClock* clock);

    /// Receives the track, or a sentence that says why it cannot be resolved. May be called before resolve()
    /// returns.
    using Callback = std::function<void(const ResolvedTrack& track, const TrString& failure)>;
    /// Sends the request and cancels an earlier one. `startMs`: the position at which the track will start.
    void resolve(const QueueEntry& entry, qint64 startMs, const Callback& callback);
    /// Cancels the request; its callback is not called.
    void cancel();
    /// The entry that is being resolved; 0 if there is none.
    int entry() const { return m_entry; }

private:
    const PlayProfile m_profile;
    const PlayClock* m_clock;
    int m_entry = 0;
    int m_turn = 0; // tells an answer to this request from one that comes too late
};

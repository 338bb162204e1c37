#pragma once

#include "player/play/PlayEngineTracks.h"
#include "player/play/SavedPlayer.h"

class AudioOutput;

/// The player: resolves and plays the entries of its queue in order, and reports the play state. PlayState.h
/// lists its states. Main thread; data() and stop(reason) may be called on any thread. No operation blocks.
/// Signals are emitted from the event loop or from the operation that causes them.
class PlayEngine : public PlayEngineTracks
{
    Q_OBJECT

public:
    /// The output is not owned.
    explicit PlayEngine(AudioOutput* output, const PlayProfile& profile = {});
    /// With the caller's stream player and clock.
    PlayEngine(std::unique_ptr<AbstractStreamPlayer> stream, std::unique_ptr<PlayClock> clock,
               const PlayProfile& profile);
    ~PlayEngine() override;

    PlayQueue& queue() { return m_queue; }
    PlayerStatus status() const;

    /// Resumes after a pause; otherwise starts the current entry, or the first one.
    void play();
    void pause();
    /// Ends the current track; its entry stays the current one.
    void stop();
    /// Ends the current track and plays the next, or stops at the end of the queue.
    void next();
    /// Restarts the current track; plays the one before it if the current track has just begun or cannot
    /// seek.
    void previous();
    /// Plays this entry from its start. False when it is not in the queue.
    bool jump(int entryId);
    /// The listener has started a list whose rows are still being loaded. A later pause or stop applies to
    /// that list too.
    void prepareStart() { m_pendingStart = PendingStart::Play; }
    enum class StartOrder
    {
        Own,     ///< not shuffled
        Shuffled ///< shuffled, from a random entry on
    };
    /// Plays an entry of that list, in this order, unless the listener has paused or stopped since
    /// prepareStart().
    bool startPrepared(int entryId, StartOrder order = StartOrder::Own);
    /// Seeks to this position in the current track. No-op if the track cannot seek.
    void seek(qint64 positionMs);
    /// Seeks relative to the current position, or to the target of an unfinished seek.
    void seekBy(qint64 deltaMs) { seek(status().positionMs + deltaMs); }
    /// 0 to the volume limit; other values are clamped.
    void setVolume(int percent);
    /// The loudest that setVolume() reaches, 0 to 100. A volume above it is lowered.
    void setVolumeLimit(int percent);
    void setMuted(bool muted);
    void setRepeat(RepeatMode repeat);
    void setShuffled(bool shuffled) { m_queue.setShuffled(shuffled); }
    /// See PlayQueue::undo(). If the current track is not restored, the earlier one continues at its
    /// position, or is paused there if nothing is playing.
    bool undo();
    /// Stops like a listener after this much playback, counted from now; 0 plays to the end.
    void stopAfter(int seconds) { m_limit.set(seconds); }

    /// Pauses after 1 to SleepTimer::mostMinutes minutes; otherwise returns false and does nothing. The end
    /// of playback cancels every sleep timer.
    bool sleepAfterMinutes(int minutes);
    /// Stops at the end of the current track, or of the queue, even if the queue repeats.
    void sleepAtEndOfTrack();
    void sleepAtEndOfQueue();
    void cancelSleep();

    /// The state that survives a restart.
    SavedPlayer saved() const;
    /// Restores that state, paused at its position and never louder than it was. Stops the current track.
    /// Values out of range are clamped.
    void restore(const SavedPlayer& saved);

    PelkPlayLogicData data() const override { return m_reporter.data(); }
    CMVoidReply stop(PelkPlayLogicStopReason::Enum reason) override;

    /// Runs everything that is due by the clock. Called by the engine's own timer.
    void wake();

private:
    void hold();
    void applyFade();

    PlayState::Place m_lost; // the place in the current track when entries went that can come back
    int m_volumePercent = 100;
    int m_volumeLimitPercent = 100;
    bool m_muted = false;
};

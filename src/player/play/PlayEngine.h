#pragma once

#include "api/play/playlogicinterface.h"
#include "player/play/AbstractStreamPlayer.h"
#include "player/play/ListeningLimit.h"
#include "player/play/NextTrack.h"
#include "player/play/PlayState.h"
#include "player/play/PlayStateReporter.h"
#include "player/play/PlayerStatus.h"
#include "player/play/SavedPlayer.h"

#include <QTimer>

#include <memory>

class AudioOutput;

/// The player: takes the entries of its queue in their order, asks where each one's stream is, plays it, and
/// reports the play state. PlayState.h has its states. Lives on the main thread; data() and stop(reason) may
/// be called from any. No operation blocks; signals come from the event loop or from within the operation
/// that caused them.
class PlayEngine : public PlayLogicInterface
{
    Q_OBJECT

public:
    /// The output is not owned.
    explicit PlayEngine(AudioOutput* output, const PlayProfile& profile = {});
    /// With a stream player and a clock of the caller's.
    PlayEngine(std::unique_ptr<AbstractStreamPlayer> stream, std::unique_ptr<PlayClock> clock,
               const PlayProfile& profile);
    ~PlayEngine() override;

    PlayQueue& queue() { return m_queue; }
    PlayerStatus status() const;

    /// Continues after a pause; else begins with the current entry, or with the first one.
    void play();
    void pause();
    /// Ends the current track; its entry stays the current one.
    void stop();
    /// Ends the current track and goes on to the next, or stops at the end of the queue.
    void next();
    /// To the start of the current track; to the one before it when it has only just begun, or cannot seek.
    void previous();
    /// Plays this entry from its start. False when it is not in the queue.
    bool jump(int entryId);
    /// Somebody has asked for what is to play, and its rows are on their way: a pause or a stop from now on
    /// is meant for that, too.
    void expectStart() { m_arrival = Arrival::Play; }
    enum class StartOrder
    {
        Own,     ///< not shuffled
        Shuffled ///< shuffled, from a random entry on
    };
    /// The queue holds it: as jump(), in this order, unless the listener has paused or stopped since
    /// expectStart().
    bool startExpected(int entryId, StartOrder order = StartOrder::Own);
    /// To this place in the current track. Without effect where the track cannot do that.
    void seek(qint64 positionMs);
    /// As seek(), from where the track is, or where a seek under way leads.
    void seekBy(qint64 deltaMs) { seek(status().positionMs + deltaMs); }
    /// 0 to 100, and not above the limit; what is outside becomes the nearest.
    void setVolume(int percent);
    /// The loudest that setVolume() reaches, 0 to 100. A volume above it is lowered.
    void setVolumeLimit(int percent);
    void setMuted(bool muted);
    void setRepeat(RepeatMode repeat);
    void setShuffled(bool shuffled) { m_queue.setShuffled(shuffled); }
    /// As PlayQueue::undo(). Where the current track is not among what comes back, the one of that time goes
    /// on from where it was, if something plays now; else it is paused there.
    bool undo();
    /// Stops, as a listener would, when so much was heard from now on; 0 plays to the end.
    void stopAfter(int seconds) { m_limit.set(seconds); }

    /// Pauses after so many minutes; false, and nothing changes, unless they are 1 to
    /// SleepTimer::mostMinutes. The end of the playing ends every sleep timer.
    bool sleepAfterMinutes(int minutes);
    /// Stops at the end of the current track, or of the queue even if that repeats.
    void sleepAtEndOfTrack();
    void sleepAtEndOfQueue();
    void cancelSleep();

    /// What is to be kept over a restart.
    SavedPlayer saved() const;
    /// Puts that back: paused at its place, never louder than it was. Values out of range become the nearest.
    /// What plays is stopped.
    void restore(const SavedPlayer& saved);

    PelkPlayLogicData data() const override { return m_reporter.data(); }
    CMVoidReply stop(PelkPlayLogicStopReason::Enum reason) override;

    /// Does what is due by the clock. The engine's own timer calls this.
    void wake();

Q_SIGNALS:
    /// Anything in status() but the position changed, or the position by a seek.
    void statusChanged();
    /// A seek has arrived here.
    void seeked(qint64 positionMs);
    /// Something that the listener should read.
    void noticed(const TrString& title, const TrString& message);
    /// The current track is heard, for the first time.
    void trackStarted(const PelkRoles& row);
    /// The current track is over, whether it was heard to its end or not.
    void trackEnded(const PelkRoles& row);
    /// The current track is silent until more of its stream has come, or is heard again.
    void trackStalled(const PelkRoles& row);
    void trackResumed(const PelkRoles& row);
    /// The current track, which was heard, broke off; the sentence says why. It has ended; otherwise as
    /// trackFailed.
    void trackBrokeOff(const PelkRoles& row, const TrString& sentence);
    /// The output is gone, and playing goes on once it is back; the sentence says what happened.
    void outputGone(const TrString& sentence);
    /// A track could not be played; the sentence says why. The queue goes on, unless three failed in a row.
    void trackFailed(const PelkRoles& row, const TrString& sentence);
    /// Playing has ended, and every change of state was reported and dealt with.
    void finished();

private:
    enum class Arrival
    {
        Play,
        Pause,
        Stay
    };
    void start(int entry, qint64 startMs = 0, bool paused = false);
    void hold();
    void onResolved(const QueueEntry& entry, const ResolvedTrack& track, const TrString& failure);
    void begin(const ResolvedTrack& track);
    void goOn(int entry, qint64 startMs = 0);
    void reopen(qint64 positionMs);
    void prepareNext();
    bool isNextDue() const;
    bool dropNext();
    bool isFresh(const ResolvedTrack& track) const;
    int following() const;
    void onWentOver();
    void onPlaying();
    void onPaused();
    void fallSilent(bool stalled);
    void onStalled();
    void onEnded();
    void onStreamFailed(const TrString& sentence);
    void onOutputFailed(const TrString& sentence);
    void onQueueChanged();
    void goOnAfterFailure();
    void endTrack(const QString& error);
    void endStream();
    void closeTrack(const QString& error);
    qint64 positionMs() const;
    qint64 durationMs(const PlayState::Track& track) const;
    void fail(const PelkRoles& row, const TrString& sentence, const QString& error);
    void finish();
    void applyFade();
    void move(const PlayState::Event& event);

    const std::unique_ptr<AbstractStreamPlayer> m_stream;
    const std::unique_ptr<PlayClock> m_clock;
    const PlayProfile m_profile;
    PlayStateReporter m_reporter;
    PlayQueue m_queue;
    TrackResolver m_resolver;
    NextTrack m_next;
    PlayState::State m_state;
    Arrival m_arrival = Arrival::Play; // what becomes of what somebody has asked for
    PlayState::Place m_lost;           // the place in the current track when entries went that can come back
    bool m_outputWorked = false;       // since the engine was made
    int m_failuresInARow = 0;
    int m_volumePercent = 100;
    int m_volumeLimitPercent = 100;
    bool m_muted = false;
    SleepTimer m_sleep;
    ListeningLimit m_limit;
    QTimer m_wake;
};

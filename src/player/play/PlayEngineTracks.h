#pragma once

#include "api/play/playlogicinterface.h"
#include "player/play/AbstractStreamPlayer.h"
#include "player/play/ListeningLimit.h"
#include "player/play/NextTrack.h"
#include "player/play/PlayState.h"
#include "player/play/PlayStateReporter.h"
#include "player/play/PlayerStatus.h"

#include <QTimer>

#include <memory>

/// How the engine moves from track to track, driven by its state, its stream and its queue. The base of
/// PlayEngine, which adds the listener's operations. Main thread.
class PlayEngineTracks : public PlayLogicInterface
{
    Q_OBJECT

Q_SIGNALS:
    /// status() changed, except for the position while playing.
    void statusChanged();
    /// A seek to this position is complete.
    void seeked(qint64 positionMs);
    /// A notice for the listener.
    void noticed(const TrString& title, const TrString& message);
    /// The current track is heard for the first time.
    void trackStarted(const PelkRoles& row);
    /// The current track is over, whether it was heard to its end or not.
    void trackEnded(const PelkRoles& row);
    /// The current track is silent until more of its stream has come, or is heard again.
    void trackStalled(const PelkRoles& row);
    void trackResumed(const PelkRoles& row);
    /// The current track broke off after it was heard, and has ended; the sentence says why.
    void trackBrokeOff(const PelkRoles& row, const TrString& sentence);
    /// The output was lost; playback resumes when it is back. The sentence says what happened.
    void outputGone(const TrString& sentence);
    /// A track could not be played; the sentence says why. The next one is played, unless three failed in a
    /// row.
    void trackFailed(const PelkRoles& row, const TrString& sentence);
    /// Playback has ended, and all reports of the play state have finished.
    void finished();

protected:
    PlayEngineTracks(std::unique_ptr<AbstractStreamPlayer> stream, std::unique_ptr<PlayClock> clock,
                     const PlayProfile& profile);

    /// How often the clock is checked.
    static constexpr int wakeMs = 500;

    enum class PendingStart
    {
        Play,
        Pause,
        Stay
    };
    void start(int entry, qint64 startMs = 0, bool paused = false);
    void continueWith(int entry, qint64 startMs = 0);
    void reopen(qint64 positionMs);
    void prepareNext();
    void endTrack(const QString& error);
    qint64 positionMs() const;
    qint64 durationMs(const PlayState::Track& track) const;
    void finish();
    void move(const PlayState::Event& event);

    const std::unique_ptr<AbstractStreamPlayer> m_stream;
    const std::unique_ptr<PlayClock> m_clock;
    const PlayProfile m_profile;
    PlayStateReporter m_reporter;
    PlayQueue m_queue;
    TrackResolver m_resolver;
    NextTrack m_next;
    PlayState::State m_state;
    PendingStart m_pendingStart = PendingStart::Play; // what becomes of what somebody has asked for
    bool m_outputWorked = false;                      // since the engine was made
    int m_failuresInARow = 0;
    SleepTimer m_sleep;
    ListeningLimit m_limit;
    QTimer m_wake; // for the derived class, which listens to it

private:
    void onResolved(const QueueEntry& entry, const ResolvedTrack& track, const TrString& failure);
    void begin(const ResolvedTrack& track);
    bool isNextDue() const;
    bool dropNext();
    bool isFresh(const ResolvedTrack& track) const;
    int following() const;
    void onNextStarted();
    void onPlaying();
    void onPaused();
    void becomeSilent(bool stalled);
    void onStalled();
    void onEnded();
    void onStreamFailed(const TrString& sentence);
    void onOutputFailed(const TrString& sentence);
    void onQueueChanged();
    void continueAfterFailure();
    void endStream();
    void closeTrack(const QString& error);
    void fail(const PelkRoles& row, const TrString& sentence, const QString& error);
};

#pragma once

#include "api/play/playlogicinterface.h"
#include "player/play/ListeningLimit.h"
#include "player/play/PlayQueue.h"
#include "player/play/PlayStateReporter.h"
#include "player/play/PlayerStatus.h"
#include "player/play/StreamPlayer.h"
#include "player/play/TrackResolver.h"

#include <QTimer>

class AudioOutput;

/// The player: takes the entries of its queue in their order, asks where each one's stream is, plays it, and
/// tells the play state. Lives on the main thread; data() and stop(reason) may be called from any. No
/// operation blocks; signals come from the event loop or from within the operation that caused them.
class PlayEngine : public PlayLogicInterface
{
    Q_OBJECT

public:
    /// The output is not owned.
    explicit PlayEngine(AudioOutput* output);
    ~PlayEngine() override;

    PlayQueue& queue() { return m_queue; }
    PlayerStatus status() const;

    /// Goes on after a pause; else begins with the current entry, or with the first one.
    void play();
    void pause();
    /// Ends the current track; its entry stays the current one.
    void stop();
    /// Ends the current track and goes on to the next, or stops at the end of the queue.
    void next();
    /// To the start of the current track, or to the one before it when it has only just begun.
    void previous();
    /// Plays this entry from its start. False when it is not in the queue.
    bool jump(int entryId);
    /// Somebody has asked for what is to play, and its rows are on their way: a pause or a stop from now on
    /// is meant for that, too.
    void expectStart() { m_arrival = Arrival::Play; }
    /// It is there: as jump(), unless the listener has paused or stopped since expectStart().
    bool startExpected(int entryId);
    /// To this place in the current track. Without effect where the track cannot do that.
    void seek(qint64 positionMs);
    /// 0 to 100; what is outside becomes the nearest.
    void setVolume(int percent);
    void setMuted(bool muted);
    void setRepeat(RepeatMode repeat);
    void setShuffled(bool shuffled);
    /// Stops, as a listener would, when so much was heard from now on; 0 plays to the end.
    void stopAfter(int seconds) { m_limit.set(seconds); }

    PelkPlayLogicData data() const override { return m_reporter.data(); }
    CMVoidReply stop(PelkPlayLogicStopReason::Enum reason) override;

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
    /// There is nowhere to play to, and playing goes on once there is; the sentence says what happened.
    void outputGone(const TrString& sentence);
    /// A track could not be played; the sentence says why. The queue goes on, unless three failed in a row.
    void trackFailed(const PelkRoles& row, const TrString& sentence);
    /// Playing has ended, and every change of state was told and dealt with.
    void finished();

private:
    enum class Arrival
    {
        Play,
        Pause,
        Stay
    };
    void start(int entry);
    void hold();
    void onResolved(const QueueEntry& entry, const ResolvedTrack& track, const TrString& failure);
    void begin(const ResolvedTrack& track);
    void goOn(int entry);
    void reopen(qint64 positionMs);
    void prepareNext();
    bool isNextDue() const;
    bool dropNext();
    void forgetNext();
    void setCurrent(int entry);
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
    void fail(const PelkRoles& row, const TrString& sentence, const QString& error);
    void finish();

    StreamPlayer m_stream;
    PlayStateReporter m_reporter;
    PlayQueue m_queue;
    PlayOrder m_order;
    TrackResolver m_resolver;
    TrackResolver m_nextResolver;
    ResolvedTrack m_track;  // what plays; empty while it is being resolved
    ResolvedTrack m_next;   // what the stream player has got as its next one
    int m_nextAsked = 0;    // the entry that m_next is or was to become
    QTimer m_tick;          // looks whether it is time for the next one
    bool m_active = false;  // from the first start to the end of the playing
    bool m_waiting = false; // at the end of a queue that somebody is still adding to
    bool m_wantsPause = false;
    Arrival m_arrival = Arrival::Play; // what becomes of what somebody has asked for
    bool m_started = false;            // whether the current track was heard
    bool m_stalled = false;            // whether it waits for more of its stream
    qint64 m_heldMs = -1; // where it goes on once it has a stream or an output again; -1: it has both
    QElapsedTimer m_pauseAge;
    bool m_outputWorked = false; // since the engine was made
    bool m_outputGone = false;
    QTimer m_outputRetry;
    int m_failuresInARow = 0;
    int m_volumePercent = 100;
    bool m_muted = false;
    ListeningLimit m_limit;
};

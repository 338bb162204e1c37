#pragma once

#include "api/play/playlogicinterface.h"
#include "player/play/PlayStateReporter.h"
#include "player/play/StreamPlayer.h"

#include <QTimer>

class AudioOutput;
class PlayQueue;

/// The player: takes rows from a queue, asks where each one's stream is when it is due, plays it, and tells
/// the play state. Lives on the main thread; data() and stop(reason) may be called from any. Signals come
/// from the event loop.
class PlayEngine : public PlayLogicInterface
{
    Q_OBJECT

public:
    /// The output is not owned.
    explicit PlayEngine(AudioOutput* output);
    ~PlayEngine() override;

    /// Plays a queue, which becomes the engine's. What plays is stopped. `seconds`: stops, as a listener
    /// would, when this much was heard; 0 plays to the end.
    void play(PlayQueue* queue, int seconds = 0);
    void setPaused(bool paused) { m_stream.setPaused(paused); }
    /// Ends the current track and goes on to the next.
    void skip();
    /// Ends the current track and the queue.
    void stop();

    /// How much was heard of all tracks together.
    qint64 heardMs() const;
    qint64 positionMs() const { return m_stream.positionMs(); }
    AudioFormat format() const { return m_stream.format(); }

    PelkPlayLogicData data() const override { return m_reporter.data(); }
    CMVoidReply stop(PelkPlayLogicStopReason::Enum reason) override;

Q_SIGNALS:
    /// The current track is heard, for the first time.
    void trackStarted(const PelkRoles& row);
    /// The current track is over, whether it was heard to its end or not.
    void trackEnded(const PelkRoles& row);
    /// The current track is silent until more of its stream has come, or is heard again.
    void trackStalled(const PelkRoles& row);
    void trackResumed(const PelkRoles& row);
    /// The current track, which was heard, broke off; the sentence says why. It has ended; otherwise as
    /// trackFailed.
    void trackBrokeOff(const PelkRoles& row, const QString& sentence);
    /// A track could not be played, or rows not be had; the sentence says why. The queue goes on, unless
    /// it failed three times in a row.
    void trackFailed(const PelkRoles& row, const QString& sentence);
    /// The queue is at its end, and every change of state was told and dealt with.
    void finished();

private:
    void startNext();
    void resolve(const PelkRoles& row);
    void open(const PelkRoles& resolved);
    void onPlaying();
    void onStalled();
    void onStreamFailed(const QString& sentence);
    void goOnAfterFailure();
    void endTrack(const QString& error);
    void fail(PelkRoles row, const QString& sentence, const QString& error);
    void checkLimit();
    void finish();

    StreamPlayer m_stream;
    PlayStateReporter m_reporter;
    PlayQueue* m_queue = nullptr;
    PelkRoles m_row;        // the current track, once it is resolved
    int m_turn = 0;         // tells an answer for this turn from one that comes too late
    bool m_started = false; // whether the current track was heard
    bool m_stalled = false; // whether it waits for more of its stream
    int m_failuresInARow = 0;
    qint64 m_earlierMs = 0; // heard of the tracks before the current one
    int m_limitMs = 0;
    QTimer m_limitTimer;
};

#pragma once

#include "api/types/trstring.h"
#include "player/play/AudioFormat.h"

#include <QObject>
#include <QTimer>

#include <atomic>
#include <memory>

class AudioOutput;
class StreamSource;
// GStreamer's own names, so that only the source needs its headers.
using GstElement = struct _GstElement; // NOLINT(bugprone-reserved-identifier)
using GstMessage = struct _GstMessage; // NOLINT(bugprone-reserved-identifier)

/// Plays one stream, and another one behind it without a gap. Lives on one thread, which has an event loop;
/// no operation blocks for longer than a pipeline takes to change its state. Signals come from the event
/// loop and are about what was played last; after stop() there are none.
class StreamPlayer : public QObject
{
    Q_OBJECT

public:
    /// The output is not owned.
    explicit StreamPlayer(AudioOutput* output, QObject* parent = nullptr);
    ~StreamPlayer() override;

    /// Opens an `http` or `https` stream and plays it from `startMs` on, or stands there silent; one that
    /// plays is stopped. A stream that has not begun within 30 seconds has failed, and so has one that stalls
    /// for two minutes.
    void play(const QString& uri, qint64 startMs = 0, bool paused = false);
    /// Prepares the stream that follows this one without a gap; one that was set before has to be heard or
    /// dropped first. False when it is too late for that, or it cannot be opened: ended() comes.
    bool setNext(const QString& uri);
    /// Forgets the next stream. False when it is too late, as its sound is already on the way: wentOver()
    /// comes.
    bool dropNext();
    void setPaused(bool paused);
    /// Silence; nothing is under way when this returns.
    void stop();

    /// To this place in the stream. False when the stream cannot do that now.
    bool seek(qint64 positionMs);
    /// 0 to 100, which a person hears as even steps; kept from stream to stream.
    void setVolume(int percent);
    void setMuted(bool muted);

    /// Where in the stream the sound is.
    qint64 positionMs() const;
    /// 0 when it is not known.
    qint64 durationMs() const;
    bool canSeek() const;
    AudioFormat format() const;

Q_SIGNALS:
    /// Sound comes out; again after each pause and each stall.
    void playing();
    void paused();
    /// There is no sound until more of the stream has come.
    void stalled();
    /// A seek has arrived.
    void moved();
    /// The stream was played to its end, and it is the next one's turn: that is the current one now, and
    /// playing() or failed() follows.
    void wentOver();
    /// The stream was played to its end, and there was no next one, or that had not come in time: it is as
    /// if it had not been set.
    void ended();
    /// The stream broke off or could not be played; the sentence says why.
    void failed(const TrString& sentence);
    /// The next stream cannot be played; there is none any longer.
    void nextFailed(const TrString& sentence);
    /// There is nowhere to play to; the sentence says why. The stream itself is as good as it was.
    void outputFailed(const TrString& sentence);

private:
    enum Told
    {
        Nothing,
        Playing,
        Paused,
        Stalled
    };
    bool makePipeline(QString* error);
    void onBus(GstMessage* message);
    bool hasSentEnd() const;
    StreamSource* senderOf(GstMessage* message) const;
    void onError(GstMessage* message);
    void onState(int state);
    void onTurn();
    void onFeeding(qint64 changeAtNs);
    void onEnd();
    void finish();
    void checkChange();
    void goOver();
    void fail(const TrString& sentence);
    qint64 now() const;
    void applyTarget();
    void applyVolume();
    void tellSilence();
    void setSilent(Told told);
    /// Runs something on this object's thread, unless the stream has changed until then. Any thread.
    template <typename Function>
    void post(Function function);

    AudioOutput* m_output;
    GstElement* m_pipeline = nullptr;
    GstElement* m_concat = nullptr;
    GstElement* m_volume = nullptr;
    GstElement* m_sink = nullptr;
    std::unique_ptr<StreamSource> m_current;
    std::unique_ptr<StreamSource> m_next;
    std::unique_ptr<StreamSource> m_tooLate; // came when the output knew already that nothing follows
    std::atomic<int> m_generation{0};        // tells what is about one play() from what is about another
    int m_volumePercent = 100;
    bool m_muted = false;
    bool m_wantsPause = false;
    bool m_buffering = false;
    bool m_seeking = false;
    qint64 m_startMs = 0;     // to be sought for as soon as the pipeline can
    qint64 m_changeAtNs = -1; // when the next stream is heard, in the pipeline's time; -1: not known yet
    qint64 m_endMs = 0;       // of the current stream, once m_changeAtNs is known
    bool m_nextCame = false;  // whether the next stream has come by its turn
    std::atomic<qint64> m_fedUntilNs{0}; // in the pipeline's time, what the concat has let through
    bool m_nextFailed = false;           // when it was too late to drop the next stream
    TrString m_nextFailure;
    Told m_told = Nothing;
    QTimer m_openLimit;
    QTimer m_stallLimit;
    QTimer m_changeTimer;
};

#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <atomic>

class AudioOutput;
// GStreamer's own names, so that only the source needs its headers.
using GstElement = struct _GstElement; // NOLINT(bugprone-reserved-identifier)
using GstMessage = struct _GstMessage; // NOLINT(bugprone-reserved-identifier)

/// What a stream is made of, as the decoder found it.
struct AudioFormat
{
    QString codec; ///< "FLAC", "MP3"
    int bits = 0;
    int rateHz = 0;
    int bitRate = 0; ///< bit/s; 0 when the stream does not tell

    /// Whether the codec's own measure is known: bits and rate without loss, else the bit rate.
    bool isComplete() const { return isLossless() ? bits > 0 && rateHz > 0 : bitRate > 0; }
    bool isLossless() const;
    /// For a person: "FLAC 24 bit / 96 kHz", "MP3 320 kbit/s". Empty when nothing is known.
    QString toString() const;
};

/// Plays one stream at a time. Lives on one thread, which has an event loop; no operation blocks for longer
/// than a pipeline takes to change its state. Signals come from the event loop and are about the latest
/// play() only; after stop() there are none.
class StreamPlayer : public QObject
{
    Q_OBJECT

public:
    /// The output is not owned.
    explicit StreamPlayer(AudioOutput* output, QObject* parent = nullptr);
    ~StreamPlayer() override;

    /// Opens a stream and plays it; one that plays is stopped. A stream that has not begun within 30 seconds
    /// has failed, and so has one that stalls for two minutes.
    void play(const QString& uri);
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
    AudioFormat format() const;

Q_SIGNALS:
    /// Sound comes out; again after each pause and each stall.
    void playing();
    void paused();
    /// There is no sound until more of the stream has come.
    void stalled();
    /// A seek has arrived.
    void moved();
    /// The stream was played to its end.
    void ended();
    /// The stream broke off or could not be played; the sentence says why.
    void failed(const QString& sentence);

private:
    void handle(GstMessage* message);
    void fail(const QString& sentence);
    void applyTarget();
    void applyVolume();
    void tellState(int state);
    void readTags(GstMessage* message);
    static void onBusMessage(GstMessage* message, StreamPlayer* player);

    AudioOutput* m_output;
    GstElement* m_pipeline = nullptr;
    GstElement* m_sink = nullptr;
    int m_volumePercent = 100;
    bool m_muted = false;
    bool m_seeking = false;
    std::atomic<int> m_generation{0}; // tells the messages of one stream from those of another
    bool m_wantsPause = false;
    bool m_buffering = false;
    enum Told
    {
        Nothing,
        Playing,
        Paused,
        Stalled
    };
    void setSilent(Told told);
    Told m_told = Nothing;
    QTimer m_openLimit;
    QTimer m_stallLimit;
    QString m_codec;
    int m_bitRate = 0;
};

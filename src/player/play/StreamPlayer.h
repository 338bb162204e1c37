#pragma once

#include "player/play/AbstractStreamPlayer.h"
#include "player/play/StreamSeam.h"

#include <QTimer>

#include <atomic>
#include <memory>
#include <optional>

class AudioOutput;
// GStreamer's own names, so that only the source needs its headers.
using GstElement = struct _GstElement; // NOLINT(bugprone-reserved-identifier)
using GstMessage = struct _GstMessage; // NOLINT(bugprone-reserved-identifier)

/// The real stream player: each stream has its own decoder before GStreamer's `concat`.
class StreamPlayer : public AbstractStreamPlayer
{
    Q_OBJECT

public:
    /// The output is not owned.
    explicit StreamPlayer(AudioOutput* output, QObject* parent = nullptr);
    ~StreamPlayer() override;

    void play(const QString& uri, qint64 startMs = 0, bool paused = false) override;
    bool setNext(const QString& uri) override;
    bool dropNext() override;
    void setPaused(bool paused) override;
    void stop() override;
    bool seek(qint64 positionMs) override;
    void setVolume(int percent) override;
    void setMuted(bool muted) override;
    void setFade(double gain) override;
    qint64 positionMs() const override;
    qint64 durationMs() const override;
    bool canSeek() const override;
    AudioFormat format() const override;

private:
    enum ReportedState
    {
        Nothing,
        Playing,
        Paused,
        Stalled
    };
    bool makePipeline(QString* error);
    void onBus(GstMessage* message);
    StreamSource* senderOf(GstMessage* message) const;
    void onError(GstMessage* message);
    void onState(int state);
    void onTurn();
    void onFeeding(qint64 changeAtNs);
    void onEnd();
    void finish();
    void checkChange();
    void switchToNext();
    void fail(const TrString& sentence);
    qint64 now() const;
    void applyTarget();
    void applyVolume();
    void reportSilence();
    void reportAgain();
    void reportMove();
    void setSilent(ReportedState told);
    /// Queues a function to this object's thread; it is not called if play() or stop() was called in between.
    /// Any thread.
    template <typename Function>
    void post(Function function);

    AudioOutput* m_output;
    GstElement* m_pipeline = nullptr;
    GstElement* m_concat = nullptr;
    GstElement* m_volume = nullptr;
    GstElement* m_sink = nullptr;
    std::unique_ptr<StreamSource> m_current;
    StreamSeam m_seam;                // to the next stream
    std::atomic<int> m_generation{0}; // tells what is about one play() from what is about another
    int m_volumePercent = 100;
    bool m_muted = false;
    bool m_wantsPause = false;
    bool m_buffering = false;
    std::optional<qint64> m_seekTargetMs; // where a seek under way leads
    double m_fade = 1;
    qint64 m_startMs = 0;                // to be sought for as soon as the pipeline can
    std::atomic<qint64> m_fedUntilNs{0}; // in the pipeline's time, what the concat has let through
    ReportedState m_reported = Nothing;
    QTimer m_openLimit;
    QTimer m_stallLimit;
    QTimer m_seekLimit;
    QTimer m_changeTimer;
};

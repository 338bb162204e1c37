#pragma once

#include "player/play/AbstractStreamPlayer.h"
#include "player/play/PlayClock.h"

#include <QStringList>

#include <optional>

/// A clock that a test advances.
class ScriptedClock final : public PlayClock
{
public:
    qint64 nowMs() const override { return now; }
    qint64 now = 0;
};

/// A stream player with the contract of AbstractStreamPlayer and a test instead of GStreamer: streams begin,
/// end and break only when the test says so. The sound follows the clock.
class ScriptedStream final : public AbstractStreamPlayer
{
public:
    explicit ScriptedStream(const ScriptedClock* clock)
        : m_clock(clock)
    {
    }

    static constexpr qint64 lengthMs = 180000;

    struct Opened
    {
        QString uri;
        qint64 startMs;
        bool paused;
    };
    /// The streams opened since the last call; setNext() does not count.
    QList<Opened> opened;
    bool seekable = true; ///< of every stream
    double gain = 1;
    int volumePercent = 100;

    void play(const QString& uri, qint64 startMs, bool paused) override;
    bool setNext(const QString& uri) override;
    bool dropNext() override;
    void setPaused(bool paused) override { m_wantsPause = paused; }
    void stop() override;
    bool seek(qint64 positionMs) override;
    void setVolume(int percent) override { volumePercent = percent; }
    void setMuted(bool /*muted*/) override {}
    void setFade(double fade) override { gain = fade; }
    qint64 positionMs() const override;
    qint64 durationMs() const override { return m_told != Told::Nothing ? lengthMs : 0; }
    bool canSeek() const override { return seekable && m_told != Told::Nothing; }
    AudioFormat format() const override { return {}; }

    bool isOpen() const { return !m_uri.isEmpty(); }
    bool takesSeek() const { return canSeek() && !m_nextTurned; }
    bool isTurned() const { return m_nextTurned; }
    bool wantsPause() const { return m_wantsPause; }
    bool isHeard() const { return m_told == Told::Playing; }
    /// The stream prepared as the next one; empty if there is none.
    QString nextUri() const { return m_next; }

    // Events that a test triggers. Each returns false, and does nothing, if it is impossible now.
    /// Completes the last operation: the stream begins, is paused or continues.
    bool settle();
    bool stall();
    bool arrive();    ///< of a seek
    bool turn();      ///< the next stream's sound is on its way to the output
    bool finish();    ///< of the current stream
    bool breakOff();  ///< of the current stream
    bool breakNext(); ///< of the next stream
    bool loseOutput();

private:
    enum class Told
    {
        Nothing,
        Playing,
        Paused,
        Stalled
    };
    void tell(Told told);
    void over();

    const ScriptedClock* m_clock;
    QString m_uri;
    QString m_next;
    bool m_nextTurned = false;
    bool m_wantsPause = false;
    std::optional<qint64> m_soughtMs;
    Told m_told = Told::Nothing;
    qint64 m_atMs = 0;    // the position when it was told last ...
    qint64 m_sinceMs = 0; // ... by the clock
};

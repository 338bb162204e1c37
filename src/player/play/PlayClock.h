#pragma once

#include <QElapsedTimer>

/// The monotonic clock of playback. One thread.
class PlayClock
{
public:
    PlayClock() { m_since.start(); }
    virtual ~PlayClock() = default;
    PlayClock(const PlayClock&) = delete;
    PlayClock& operator=(const PlayClock&) = delete;

    /// Milliseconds since some moment in the past.
    virtual qint64 nowMs() const { return m_since.elapsed(); }

private:
    QElapsedTimer m_since;
};

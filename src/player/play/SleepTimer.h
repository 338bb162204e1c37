#pragma once

#include <QtGlobal>

#include <optional>
#include <variant>

/// Ends the playing on its own: after some minutes, or at the end of the track or of the queue. The last ten
/// seconds fade out. A value; whoever holds it looks at it now and then. Times are the play clock's.
class SleepTimer
{
public:
    static constexpr int mostMinutes = 24 * 60;
    static constexpr int fadeMs = 10000;

    enum class Kind
    {
        Off,
        Time,
        EndOfTrack,
        EndOfQueue
    };

    void off() { m_end = Off{}; }
    void atEndOfTrack() { m_end = EndOfTrack{}; }
    void atEndOfQueue() { m_end = EndOfQueue{}; }
    /// False, and nothing changes, unless it is 1 to mostMinutes.
    bool afterMinutes(int minutes, qint64 nowMs);

    Kind kind() const { return Kind(m_end.index()); }
    /// What is left of the minutes; 0 for every other kind.
    qint64 leftMs(qint64 nowMs) const;
    /// Whether the minutes are over.
    bool isDue(qint64 nowMs) const { return kind() == Kind::Time && leftMs(nowMs) == 0; }
    /// How loud it is to be now, from 1 to 0. `trackLeftMs` is what is left of the current track, where that
    /// is known; `isLast` whether it is the last one of the queue.
    double gain(qint64 nowMs, std::optional<qint64> trackLeftMs, bool isLast) const;

private:
    struct Off
    {
    };
    struct Time
    {
        qint64 atMs;
    };
    struct EndOfTrack
    {
    };
    struct EndOfQueue
    {
    };
    std::variant<Off, Time, EndOfTrack, EndOfQueue> m_end;
};

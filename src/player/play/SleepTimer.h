#pragma once

#include <QtGlobal>

#include <optional>
#include <variant>

/// Ends playback after some minutes, or at the end of the track or of the queue, with a fade of ten seconds.
/// A value that its owner polls. Times are the play clock's.
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
    /// False, with no change, unless `minutes` is 1 to mostMinutes.
    bool afterMinutes(int minutes, qint64 nowMs);

    Kind kind() const { return Kind(m_end.index()); }
    /// The remaining time of a timer in minutes; 0 for other kinds.
    qint64 leftMs(qint64 nowMs) const;
    /// Whether the minutes are over.
    bool isDue(qint64 nowMs) const { return kind() == Kind::Time && leftMs(nowMs) == 0; }
    /// The factor for the volume, 1 to 0. `trackLeftMs`: the remaining time of the current track, if known;
    /// `isLast`: it is the last of the queue.
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

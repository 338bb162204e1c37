#include "player/play/SleepTimer.h"

bool SleepTimer::afterMinutes(int minutes, qint64 nowMs)
{
    if (minutes < 1 || minutes > mostMinutes)
        return false;
    m_end = Time{nowMs + qint64(minutes) * 60000};
    return true;
}

qint64 SleepTimer::leftMs(qint64 nowMs) const
{
    const auto* time = std::get_if<Time>(&m_end);
    return time ? qMax<qint64>(0, time->atMs - nowMs) : 0;
}

double SleepTimer::gain(qint64 nowMs, std::optional<qint64> trackLeftMs, bool isLast) const
{
    std::optional<qint64> left;
    if (kind() == Kind::Time)
        left = leftMs(nowMs);
    else if (kind() == Kind::EndOfTrack || (kind() == Kind::EndOfQueue && isLast))
        left = trackLeftMs;
    return left ? qBound(0.0, double(*left) / fadeMs, 1.0) : 1.0;
}

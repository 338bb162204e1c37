#pragma once

#include "player/server/http/Limits.h"

#include <QByteArray>

#include <deque>
#include <functional>

/// Limits failed logins per minute and address, and per hour in total. An attempt counts as failed as soon as
/// it begins, so parallel attempts do not bypass the limit.
class Attempts
{
public:
    /// Milliseconds of a monotonic clock.
    using Clock = std::function<qint64()>;
    Attempts(const Limits& limits, Clock clock);

    /// How many seconds the next attempt of an address must wait; 0 if it may begin.
    int waitSeconds(const QByteArray& address);
    void begin(const QByteArray& address);
    /// The attempt succeeded: removes it.
    void forgive(const QByteArray& address);

private:
    struct Attempt
    {
        QByteArray net; // the address, or the net that a whole IPv6 household has
        qint64 atMs;
    };

    const Limits m_limits;
    Clock m_clock;
    std::deque<Attempt> m_attempts; // of the last hour, the oldest first
};

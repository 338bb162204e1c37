#pragma once

#include "player/server/http/Limits.h"

#include <QByteArray>

#include <deque>
#include <functional>

/// Counts failed logins: so many a minute of one address, and so many an hour in all. An attempt counts as
/// failed from its begin, so that many at once are no way around.
class Attempts
{
public:
    /// Milliseconds that only ever grow, whatever is done to the clock on the wall.
    using Clock = std::function<qint64()>;
    Attempts(const Limits& limits, Clock clock);

    /// How many seconds the next attempt of an address has to wait; 0 where it may begin.
    int waitSeconds(const QByteArray& address);
    void begin(const QByteArray& address);
    /// The attempt was right after all.
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

#include "player/server/access/Attempts.h"

#include <arpa/inet.h>

#include <algorithm>

namespace {

constexpr qint64 minuteMs = 60 * 1000;
constexpr qint64 hourMs = 60 * minuteMs;

/// A host with one IPv6 address usually has 2^64 of them.
QByteArray netOf(const QByteArray& address)
{
    constexpr int netBytes = 8;
    in6_addr v6{};
    if (::inet_pton(AF_INET6, address.constData(), &v6) != 1)
        return address;
    return QByteArray(reinterpret_cast<const char*>(&v6), netBytes);
}

} // namespace

Attempts::Attempts(const Limits& limits, Clock clock)
    : m_limits(limits)
    , m_clock(std::move(clock))
{
}

int Attempts::waitSeconds(const QByteArray& address)
{
    const qint64 now = m_clock();
    while (!m_attempts.empty() && m_attempts.front().atMs <= now - hourMs)
        m_attempts.pop_front();
    qint64 untilMs = now;
    if (int(m_attempts.size()) >= m_limits.failedLoginsPerHour)
        untilMs = m_attempts[m_attempts.size() - size_t(m_limits.failedLoginsPerHour)].atMs + hourMs;
    int count = 0;
    const QByteArray net = netOf(address);
    for (auto it = m_attempts.crbegin(); it != m_attempts.crend(); ++it)
        if (it->net == net && ++count == m_limits.failedLoginsPerMinute)
            untilMs = std::max(untilMs, it->atMs + minuteMs);
    constexpr int second = 1000;
    return int((untilMs - now + second - 1) / second);
}

void Attempts::begin(const QByteArray& address)
{
    m_attempts.push_back({netOf(address), m_clock()});
}

void Attempts::forgive(const QByteArray& address)
{
    const auto last = std::find_if(m_attempts.crbegin(), m_attempts.crend(),
                                   [net = netOf(address)](const Attempt& one) { return one.net == net; });
    if (last != m_attempts.crend())
        m_attempts.erase(std::next(last).base());
}

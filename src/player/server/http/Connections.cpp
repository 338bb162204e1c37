#include "player/server/http/Connections.h"

#include <QDir>
#include <QSocketNotifier>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <limits>
#include <unistd.h>

Connections::Connections(const Limits& limits, std::function<void(int socket)> gone)
    : m_limits(limits)
    , m_most(most(limits))
    , m_gone(std::move(gone))
    , m_epoll(::epoll_create1(EPOLL_CLOEXEC))
    , m_notifier(std::make_unique<QSocketNotifier>(m_epoll, QSocketNotifier::Read))
{
    m_clock.start();
    m_sweep.setSingleShot(true);
    connect(&m_sweep, &QTimer::timeout, this, &Connections::sweep);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &Connections::look);
}

Connections::~Connections()
{
    m_notifier.reset();
    ::close(m_epoll);
}

int Connections::most(const Limits& limits)
{
    rlimit descriptors{};
    if (::getrlimit(RLIMIT_NOFILE, &descriptors) != 0)
        return limits.connections;
    const auto there = qint64(std::min<rlim_t>(descriptors.rlim_cur, std::numeric_limits<int>::max()));
    // If the process has few descriptors, half of them are used for connections.
    const qint64 left = std::max(there - limits.reservedDescriptors, there / 2);
    return int(std::min<qint64>(limits.connections, left));
}

bool Connections::add(int socket, const Peer& peer)
{
    look(); // those whose other end has gone need no room
    const auto isOfPeer = [&peer](const Connection& one) {
        return !one.isEnding && one.peer.address == peer.address;
    };
    if (!peer.isLoopback &&
        std::count_if(m_connections.cbegin(), m_connections.cend(), isOfPeer) >=
            m_limits.connectionsPerPeer &&
        !makeRoom(&peer))
        return false;
    if (m_connections.size() - m_ending >= m_most && !makeRoom(nullptr))
        return false;
    epoll_event event{};
    event.data.fd = socket;
    if (::epoll_ctl(m_epoll, EPOLL_CTL_ADD, socket, &event) != 0)
        return false;
    m_connections.insert(socket, {peer, State::Idle, 0, false});
    enter(socket, State::Idle);
    return true;
}

void Connections::remove(int socket)
{
    const auto it = m_connections.find(socket);
    if (it == m_connections.end())
        return;
    m_ending -= it->isEnding ? 1 : 0;
    m_connections.erase(it);
    ::epoll_ctl(m_epoll, EPOLL_CTL_DEL, socket, nullptr);
}

void Connections::enter(int socket, State state)
{
    const auto it = m_connections.find(socket);
    if (it == m_connections.end())
        return;
    it->state = state;
    it->sinceMs = m_clock.elapsed();
    epoll_event event{};
    event.data.fd = socket;
    if (state == State::Idle)
        event.events = EPOLLIN | EPOLLRDHUP | EPOLLONESHOT;
    else if (state == State::Waiting)
        event.events = EPOLLRDHUP | EPOLLONESHOT;
    else
        event.events = EPOLLONESHOT; // errors are reported even so, once
    ::epoll_ctl(m_epoll, EPOLL_CTL_MOD, socket, &event);
    const int limit = limitMs(state);
    if (limit > 0 && (!m_sweep.isActive() || m_sweep.remainingTime() > limit))
        m_sweep.start(limit);
}

void Connections::look()
{
    std::array<epoll_event, 64> events{};
    int count = 0;
    do {
        count = ::epoll_wait(m_epoll, events.data(), int(events.size()), 0);
        for (int i = 0; i < count; ++i) {
            const epoll_event& event = events.at(size_t(i));
            const auto it = m_connections.constFind(event.data.fd);
            if (it != m_connections.cend())
                lookAt(event.data.fd, it->state, (event.events & (EPOLLRDHUP | EPOLLHUP)) != 0);
        }
    } while (count == int(events.size()));
}

void Connections::lookAt(int socket, State state, bool hasClosed)
{
    char byte = 0;
    const bool isWaiting = state == State::Waiting;
    // A client may close its side as soon as it has sent its request.
    const bool hasGone = isWaiting || (hasClosed && ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) <= 0);
    if (state == State::Idle && !hasGone)
        enter(socket, State::Head);
    if (isWaiting)
        m_gone(socket);
    if (hasGone && m_connections.contains(socket))
        end(socket);
}

int Connections::limitMs(State state) const
{
    switch (state) {
    case State::Idle:
        return m_limits.idleMs;
    case State::Head:
        return m_limits.headMs;
    case State::Body:
        return m_limits.bodyMs;
    case State::Waiting:
    case State::Sending:
        break;
    }
    return 0;
}

bool Connections::makeRoom(const Peer* peer)
{
    auto oldest = m_connections.end();
    for (auto it = m_connections.begin(); it != m_connections.end(); ++it) {
        const bool canGo = it->state <= State::Body;
        if (it->isEnding || !canGo || (peer && it->peer.address != peer->address))
            continue;
        if (oldest == m_connections.end() ||
            std::make_pair(it->state, it->sinceMs) < std::make_pair(oldest->state, oldest->sinceMs))
            oldest = it;
    }
    if (oldest == m_connections.end())
        return false;
    end(oldest.key());
    return true;
}

void Connections::end(int socket)
{
    Connection& connection = m_connections[socket];
    m_ending += connection.isEnding ? 0 : 1;
    connection.isEnding = true;
    ::shutdown(socket, SHUT_RDWR);
}

void Connections::sweep()
{
    const qint64 now = m_clock.elapsed();
    qint64 next = std::numeric_limits<int>::max();
    for (auto it = m_connections.begin(); it != m_connections.end(); ++it) {
        const int limit = limitMs(it->state);
        if (limit == 0 || it->isEnding)
            continue;
        const qint64 left = it->sinceMs + limit - now;
        if (left <= 0)
            end(it.key());
        else
            next = std::min(next, left);
    }
    if (next < std::numeric_limits<int>::max())
        m_sweep.start(int(next));
}

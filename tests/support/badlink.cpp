#include "tests/support/badlink.h"

#include <QByteArray>
#include <arpa/inet.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <list>
#include <mutex>
#include <poll.h>
#include <random>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int segmentBytes = 1460;
constexpr milliseconds firstTimeout{200};
constexpr milliseconds firstConnectTimeout{1000};
constexpr qint64 windowBytes = 1024 * 1024; // what a sender may have on the way
constexpr int backlog = 128;

[[noreturn]] void fail(const char* what)
{
    qFatal("bad link: %s: %s", what, std::strerror(errno));
}

sockaddr_in loopback(quint16 port)
{
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return name;
}

quint16 portOf(int fd)
{
    sockaddr_in name = {};
    socklen_t size = sizeof(name);
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&name), &size) != 0)
        fail("getsockname");
    return ntohs(name.sin_port);
}

/// A connection to a port that need not be complete when this returns.
int connectTo(quint16 port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const sockaddr_in name = loopback(port);
    if (fd < 0 ||
        (connect(fd, reinterpret_cast<const sockaddr*>(&name), sizeof(name)) != 0 && errno != EINPROGRESS))
        fail("connect");
    return fd;
}

/// Makes the end of a connection, when it is closed, a reset.
void reset(int fd)
{
    const linger hard = {1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &hard, sizeof(hard));
}

/// A part of a stream in transit.
struct Segment
{
    enum Kind
    {
        Data,
        End,
        Reset
    };
    Kind kind = Data;
    QByteArray bytes;
    Clock::time_point due;
    milliseconds timeout = firstTimeout; // until it is sent again, should it be lost
};

/// One direction of a connection.
struct Stream
{
    int from = -1;
    int to = -1;
    std::deque<Segment> onTheWay;
    qint64 bytesOnTheWay = 0;
    Clock::time_point lastDue;
    bool fromEnded = false; // nothing more is read
    bool toEnded = false;   // nothing more is written
    bool toBlocked = false; // the receiver takes no more for now
};

struct Connection
{
    Clock::time_point openAt; // nothing is sent before
    Stream up;
    Stream down;
    bool broken = false;
};

} // namespace

class BadLink::Private
{
public:
    Private(quint16 server, quint32 seed)
        : serverPort(server)
        , random(seed)
    {
    }

    void run();
    void applyAway();
    void cutAll();
    void accept();
    void read(Connection& connection, Stream& stream);
    void send(Connection& connection, Stream& stream, Segment segment);
    void deliver(Connection& connection, Stream& stream);
    bool write(Connection& connection, Stream& stream, Segment& segment);
    bool loses();
    Clock::time_point nextDue() const;
    void dropEnded();
    void wake() const
    {
        const quint64 one = 1;
        if (::write(waker, &one, sizeof(one)) < 0)
            fail("eventfd");
    }

    const quint16 serverPort;
    std::mt19937 random;
    int listener = -1;
    int waker = -1;
    quint16 port = 0;
    std::thread thread;

    mutable std::mutex mutex; // everything below; the thread gives it up while it waits
    bool stopping = false;
    bool cutting = false;
    milliseconds latency{0};
    double loss = 0;
    bool away = false;
    bool isAway = false; // what the listener was told
    std::condition_variable awayApplied;
    int blocker = -1; // takes the one place of the listener's queue while the link is away
    std::list<Connection> connections;
    Counters counters;
};

void BadLink::Private::run()
{
    std::unique_lock<std::mutex> lock(mutex);
    std::vector<pollfd> polled;
    while (!stopping) {
        applyAway();
        if (cutting)
            cutAll();
        for (Connection& connection : connections) {
            deliver(connection, connection.up);
            deliver(connection, connection.down);
        }
        dropEnded();
        polled = {{waker, POLLIN, 0}};
        if (!isAway)
            polled.push_back({listener, POLLIN, 0});
        for (const Connection& connection : connections) {
            for (const Stream* stream : {&connection.up, &connection.down}) {
                if (!stream->fromEnded && stream->bytesOnTheWay < windowBytes)
                    polled.push_back({stream->from, POLLIN, 0});
                if (stream->toBlocked)
                    polled.push_back({stream->to, POLLOUT, 0});
            }
        }
        const auto wait = std::chrono::ceil<milliseconds>(nextDue() - Clock::now()).count();
        lock.unlock();
        poll(polled.data(), polled.size(), int(std::clamp<qint64>(wait, 0, 60000)));
        lock.lock();
        quint64 wakes = 0;
        if ((polled.front().revents & POLLIN) != 0 && ::read(waker, &wakes, sizeof(wakes)) < 0)
            fail("eventfd");
        for (Connection& connection : connections) {
            read(connection, connection.up);
            read(connection, connection.down);
            connection.up.toBlocked = connection.down.toBlocked = false;
        }
        if (!isAway)
            accept();
    }
    for (const Connection& connection : connections) {
        close(connection.up.from);
        close(connection.up.to);
    }
}

/// A listener with a full queue neither accepts nor refuses connection attempts: the client's system repeats
/// them, as on a dead link.
void BadLink::Private::applyAway()
{
    if (away == isAway)
        return;
    isAway = away;
    if (away) {
        accept();
        listen(listener, 0);
        if (blocker < 0)
            blocker = connectTo(port);
    } else {
        listen(listener, backlog);
    }
    awayApplied.notify_all();
}

void BadLink::Private::cutAll()
{
    cutting = false;
    for (Connection& connection : connections) {
        reset(connection.up.from);
        reset(connection.up.to);
        connection.broken = true;
    }
}

void BadLink::Private::accept()
{
    for (;;) {
        sockaddr_in peer = {};
        socklen_t size = sizeof(peer);
        const int fd =
            accept4(listener, reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0)
            return;
        if (blocker >= 0 && ntohs(peer.sin_port) == portOf(blocker)) {
            close(fd);
            close(blocker);
            blocker = -1;
            continue;
        }
        Connection connection;
        connection.openAt = Clock::now() + 2 * latency;
        for (milliseconds timeout = firstConnectTimeout; loses(); timeout *= 2)
            connection.openAt += timeout;
        connection.up.from = connection.down.to = fd;
        connection.up.to = connection.down.from = connectTo(serverPort);
        connections.push_back(connection);
        ++counters.connections;
    }
}

bool BadLink::Private::loses()
{
    const bool lost = std::bernoulli_distribution(loss)(random);
    counters.lost += lost ? 1 : 0;
    return lost;
}

void BadLink::Private::read(Connection& connection, Stream& stream)
{
    char bytes[segmentBytes];
    while (!stream.fromEnded && stream.bytesOnTheWay < windowBytes) {
        const ssize_t got = recv(stream.from, bytes, sizeof(bytes), 0);
        if (got < 0 && (errno == EAGAIN || errno == EINTR || errno == ENOTCONN))
            return;
        Segment segment;
        segment.kind = got > 0 ? Segment::Data : got == 0 ? Segment::End : Segment::Reset;
        if (got > 0)
            segment.bytes = QByteArray(bytes, int(got));
        send(connection, stream, std::move(segment));
    }
}

void BadLink::Private::send(Connection& connection, Stream& stream, Segment segment)
{
    stream.fromEnded = segment.kind != Segment::Data;
    stream.bytesOnTheWay += segment.bytes.size();
    segment.due = std::max(Clock::now(), connection.openAt) + latency;
    for (; loses(); segment.timeout *= 2)
        segment.due += segment.timeout;
    // Bytes arrive in their order.
    stream.lastDue = segment.due = std::max(segment.due, stream.lastDue);
    stream.onTheWay.push_back(std::move(segment));
    ++counters.segments;
}

void BadLink::Private::deliver(Connection& connection, Stream& stream)
{
    while (!connection.broken && !stream.onTheWay.empty()) {
        Segment& segment = stream.onTheWay.front();
        if (segment.due > Clock::now())
            return;
        if (isAway) {
            ++counters.lost;
            segment.due = Clock::now() + segment.timeout;
            segment.timeout *= 2;
            return;
        }
        if (!write(connection, stream, segment))
            return;
        stream.onTheWay.pop_front();
    }
}

/// False when the segment, or the rest of it, has to wait for the receiver.
bool BadLink::Private::write(Connection& connection, Stream& stream, Segment& segment)
{
    if (segment.kind == Segment::Reset) {
        reset(stream.to);
        connection.broken = true;
        return true;
    }
    if (segment.kind == Segment::End) {
        shutdown(stream.to, SHUT_WR);
        stream.toEnded = true;
        return true;
    }
    const ssize_t sent = ::send(stream.to, segment.bytes.constData(), size_t(segment.bytes.size()),
                                MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && (errno == EAGAIN || errno == EINTR || errno == ENOTCONN)) {
        stream.toBlocked = true;
        return false;
    }
    if (sent < 0) {
        connection.broken = true;
        return true;
    }
    stream.bytesOnTheWay -= sent;
    segment.bytes.remove(0, int(sent));
    stream.toBlocked = !segment.bytes.isEmpty();
    return !stream.toBlocked;
}

Clock::time_point BadLink::Private::nextDue() const
{
    Clock::time_point next = Clock::now() + milliseconds(60000);
    for (const Connection& connection : connections)
        for (const Stream* stream : {&connection.up, &connection.down})
            if (!stream->onTheWay.empty() && !stream->toBlocked)
                next = std::min(next, stream->onTheWay.front().due);
    return next;
}

void BadLink::Private::dropEnded()
{
    connections.remove_if([](const Connection& connection) {
        if (!connection.broken && !(connection.up.toEnded && connection.down.toEnded))
            return false;
        close(connection.up.from);
        close(connection.up.to);
        return true;
    });
}

BadLink::BadLink(quint16 serverPort, quint32 seed)
    : d(std::make_unique<Private>(serverPort, seed))
{
    d->listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    d->waker = eventfd(0, EFD_CLOEXEC);
    const sockaddr_in name = loopback(0);
    if (d->listener < 0 || d->waker < 0 ||
        bind(d->listener, reinterpret_cast<const sockaddr*>(&name), sizeof(name)) != 0 ||
        listen(d->listener, backlog) != 0)
        fail("listen");
    d->port = portOf(d->listener);
    d->thread = std::thread([this] { d->run(); });
}

BadLink::~BadLink()
{
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        d->stopping = true;
    }
    d->wake();
    d->thread.join();
    if (d->blocker >= 0)
        close(d->blocker);
    close(d->listener);
    close(d->waker);
}

quint16 BadLink::port() const
{
    return d->port;
}

QString BadLink::url(const QString& path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(d->port).arg(path);
}

void BadLink::setLatencyMs(int oneWayMs)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->latency = milliseconds(oneWayMs);
}

void BadLink::setLoss(double probability)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->loss = probability;
}

void BadLink::setAway(bool away)
{
    std::unique_lock<std::mutex> lock(d->mutex);
    d->away = away;
    d->wake();
    d->awayApplied.wait(lock, [this, away] { return d->isAway == away; });
}

void BadLink::cut()
{
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        d->cutting = true;
    }
    d->wake();
}

BadLink::Counters BadLink::counters() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->counters;
}

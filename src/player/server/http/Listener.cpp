#include "player/server/http/Listener.h"

#include <QSocketNotifier>
#include <arpa/inet.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int backlog = 128;
/// How many connections are accepted before others have their turn.
constexpr int acceptedAtOnce = 64;

Peer peerOf(const sockaddr_storage& address)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    Peer peer;
    if (address.ss_family == AF_UNIX)
        return {QByteArrayLiteral("local"), true, true};
    in_addr v4{};
    bool isV4 = address.ss_family == AF_INET;
    if (isV4) {
        v4 = reinterpret_cast<const sockaddr_in&>(address).sin_addr;
    } else {
        const in6_addr& v6 = reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
        isV4 = IN6_IS_ADDR_V4MAPPED(&v6);
        if (isV4)
            std::memcpy(&v4, &v6.s6_addr[12], sizeof v4);
        peer.isLoopback = IN6_IS_ADDR_LOOPBACK(&v6);
        ::inet_ntop(AF_INET6, &v6, text.data(), text.size());
    }
    if (isV4) {
        constexpr unsigned loopbackNet = 127;
        peer.isLoopback = ntohl(v4.s_addr) >> 24 == loopbackNet;
        ::inet_ntop(AF_INET, &v4, text.data(), text.size());
    }
    peer.address = text.data();
    return peer;
}

/// A listening socket at the first available address; -1 if there is none.
int listeningSocket(const addrinfo* addresses)
{
    for (const addrinfo* one = addresses; one; one = one->ai_next) {
        const int socket = ::socket(one->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (socket < 0)
            continue;
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        if (::bind(socket, one->ai_addr, one->ai_addrlen) == 0 && ::listen(socket, backlog) == 0)
            return socket;
        const int error = errno;
        ::close(socket);
        errno = error;
    }
    return -1;
}

} // namespace

Listener::Listener(Receiver receiver, std::function<void()> exhausted)
    : m_receiver(std::move(receiver))
    , m_exhausted(std::move(exhausted))
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(retryMs);
    connect(&m_retry, &QTimer::timeout, this, [this] { m_notifier->setEnabled(true); });
}

Listener::~Listener()
{
    close();
}

bool Listener::listen(const QString& address, quint16 port)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* found = nullptr;
    errno = 0;
    if (::getaddrinfo(address.toUtf8().constData(), QByteArray::number(port).constData(), &hints, &found) !=
        0)
        return false;
    m_socket = listeningSocket(found);
    const int error = errno;
    ::freeaddrinfo(found);
    errno = error;
    if (m_socket < 0)
        return false;
    watch();
    return true;
}

bool Listener::adopt(int socket, QString* address)
{
    int isListening = 0;
    socklen_t size = sizeof isListening;
    sockaddr_storage own{};
    socklen_t ownSize = sizeof own;
    const bool isUsable = ::getsockopt(socket, SOL_SOCKET, SO_ACCEPTCONN, &isListening, &size) == 0 &&
                          isListening != 0 &&
                          ::getsockname(socket, reinterpret_cast<sockaddr*>(&own), &ownSize) == 0 &&
                          (own.ss_family == AF_INET || own.ss_family == AF_INET6);
    if (!isUsable)
        return false;
    ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) | O_NONBLOCK);
    ::fcntl(socket, F_SETFD, FD_CLOEXEC);
    m_socket = socket;
    *address = QString::fromLatin1(peerOf(own).address);
    watch();
    return true;
}

void Listener::adoptFile(int socket)
{
    m_socket = socket;
    watch();
}

int Listener::passedSocket()
{
    constexpr int firstPassed = 3;
    const bool isMine = qgetenv("LISTEN_PID") == QByteArray::number(::getpid());
    const int count = isMine ? qEnvironmentVariableIntValue("LISTEN_FDS") : 0;
    for (const char* name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) // not for what we start ourselves
        qunsetenv(name);
    return count > 0 ? firstPassed : -1;
}

void Listener::watch()
{
    sockaddr_storage own{};
    socklen_t size = sizeof own;
    ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&own), &size);
    m_port = ntohs(own.ss_family == AF_INET ? reinterpret_cast<sockaddr_in&>(own).sin_port
                                            : reinterpret_cast<sockaddr_in6&>(own).sin6_port);
    m_reserve = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    m_notifier = std::make_unique<QSocketNotifier>(m_socket, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &Listener::accept);
}

void Listener::close()
{
    m_retry.stop();
    m_notifier.reset();
    if (m_reserve >= 0)
        ::close(std::exchange(m_reserve, -1));
    if (m_socket >= 0)
        ::close(m_socket);
    m_socket = -1;
}

/// Accepts one connection with the descriptor in reserve, once there is one.
void Listener::acceptOnReserve()
{
    // Without a free descriptor, the kernel does not report that no connection is waiting.
    pollfd waiting{m_socket, POLLIN, 0};
    if (::poll(&waiting, 1, 0) <= 0)
        return;
    m_exhausted();
    if (m_reserve >= 0)
        ::close(std::exchange(m_reserve, -1));
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    const int socket =
        ::accept4(m_socket, reinterpret_cast<sockaddr*>(&address), &size, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket >= 0) {
        m_receiver(socket, peerOf(address));
        return;
    }
    m_notifier->setEnabled(false);
    m_retry.start();
}

void Listener::accept()
{
    for (int i = 0; i < acceptedAtOnce; ++i) {
        if (m_reserve < 0)
            m_reserve = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        sockaddr_storage address{};
        socklen_t size = sizeof address;
        const int socket =
            ::accept4(m_socket, reinterpret_cast<sockaddr*>(&address), &size, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (socket >= 0) {
            m_receiver(socket, peerOf(address));
            continue;
        }
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            acceptOnReserve();
            return;
        }
        if (errno != EINTR && errno != ECONNABORTED)
            return;
    }
}

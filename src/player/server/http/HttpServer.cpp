#include "player/server/http/HttpServer.h"

#include "player/server/http/HttpExchange.h"

#include <QSocketNotifier>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <limits>
#include <unistd.h>

namespace {

using ExchangePointer = std::shared_ptr<HttpExchange>;

/// The library's memory for a connection: a head, and what it makes of it.
constexpr size_t connectionMemoryBytes = 24 * 1024;
/// More than are ever taken up: Connections counts them.
constexpr unsigned libraryConnections = 4096;
/// How often the library is run at the end, for responses to leave.
constexpr int lastRuns = 3;

MHD_Result onRequest(void* /*closure*/, MHD_Connection* /*connection*/, const char* url, const char* method,
                     const char* version, const char* piece, size_t* pieceBytes, void** exchange)
{
    if (!*exchange)
        return MHD_NO;
    // The exchange may be given up within the call.
    const ExchangePointer held = *static_cast<ExchangePointer*>(*exchange);
    return held->proceed(url, method, version, piece, pieceBytes);
}

void onCompleted(void* /*closure*/, MHD_Connection* /*connection*/, void** exchange,
                 MHD_RequestTerminationCode /*code*/)
{
    const std::unique_ptr<ExchangePointer> held(static_cast<ExchangePointer*>(*exchange));
    *exchange = nullptr;
    if (held)
        (*held)->finish();
}

} // namespace

HttpServer::HttpServer(const Limits& limits, HttpHandler* handler)
    : m_limits(limits)
    , m_handler(handler)
    , m_connections(limits, [this](int socket) {
        if (const auto end = m_suspended.value(socket))
            end();
    })
{
    m_timeout.setSingleShot(true);
    m_soon.setSingleShot(true);
    m_soon.setInterval(0);
    connect(&m_timeout, &QTimer::timeout, this, &HttpServer::run);
    connect(&m_soon, &QTimer::timeout, this, &HttpServer::run);
}

HttpServer::~HttpServer()
{
    stop();
}

bool HttpServer::start()
{
    using LineCallback = void* (*)(void*, const char*, MHD_Connection*);
    const LineCallback onLine = [](void* server, const char* target, MHD_Connection* connection) -> void* {
        return new ExchangePointer(
            std::make_shared<HttpExchange>(static_cast<HttpServer*>(server), connection, target));
    };
    const MHD_NotifyConnectionCallback onConnection = [](void* server, MHD_Connection* connection, void**,
                                                         MHD_ConnectionNotificationCode code) {
        const int socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
        if (code == MHD_CONNECTION_NOTIFY_CLOSED)
            static_cast<HttpServer*>(server)->m_connections.remove(socket);
    };
    m_daemon = MHD_start_daemon(
        MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, &onRequest,
        nullptr, MHD_OPTION_URI_LOG_CALLBACK, onLine, this, MHD_OPTION_NOTIFY_COMPLETED, &onCompleted,
        nullptr, MHD_OPTION_NOTIFY_CONNECTION, onConnection, this, MHD_OPTION_STRICT_FOR_CLIENT, 1,
        MHD_OPTION_CONNECTION_LIMIT, libraryConnections, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
        connectionMemoryBytes, MHD_OPTION_END);
    if (!m_daemon)
        return false;
    const int epoll = MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
    m_notifier = std::make_unique<QSocketNotifier>(epoll, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &HttpServer::run);
    return true;
}

void HttpServer::add(int socket, const Peer& peer)
{
    // What the kernel takes for a client that does not read is copied by this thread.
    ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &m_limits.sendBufferBytes, sizeof m_limits.sendBufferBytes);
    sockaddr_in unknown{}; // the library needs one, and does nothing with it
    unknown.sin_family = AF_INET;
    if (!m_daemon || !m_connections.add(socket, peer)) {
        ::close(socket);
        return;
    }
    if (MHD_add_connection(m_daemon, socket, reinterpret_cast<sockaddr*>(&unknown), sizeof unknown) !=
        MHD_YES)
        m_connections.remove(socket);
    runSoon();
}

void HttpServer::stop()
{
    if (!m_daemon)
        return;
    const auto suspended = m_suspended; // the library cannot be stopped while there are any
    for (const auto& end : suspended)
        end();
    for (int i = 0; i < lastRuns; ++i)
        MHD_run(m_daemon);
    m_notifier.reset();
    m_timeout.stop();
    m_soon.stop();
    MHD_stop_daemon(m_daemon);
    m_daemon = nullptr;
}

void HttpServer::run()
{
    m_connections.look();
    MHD_run(m_daemon);
    MHD_UNSIGNED_LONG_LONG leftMs = 0;
    if (MHD_get_timeout(m_daemon, &leftMs) == MHD_YES)
        m_timeout.start(int(std::min<MHD_UNSIGNED_LONG_LONG>(leftMs, std::numeric_limits<int>::max())));
    else
        m_timeout.stop();
}

void HttpServer::runSoon()
{
    if (!m_soon.isActive())
        m_soon.start();
}

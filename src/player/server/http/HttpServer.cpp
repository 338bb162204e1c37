#include "player/server/http/HttpServer.h"

#include "player/server/http/HttpExchange.h"
#include "player/server/http/TlsCallback.h"

#include <QSocketNotifier>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <limits>
#include <unistd.h>
#include <utility>

namespace {

using ExchangePointer = std::shared_ptr<HttpExchange>;

/// The library's memory per connection, for the head and its parsed form. It is filled with zeros after each
/// request, so that an idle connection keeps it. With less, a head that is too large gets no response.
constexpr size_t connectionMemoryBytes = 22 * 1024;
/// Never reached: Connections limits their number.
constexpr unsigned libraryConnections = 4096;
/// The two versions that are not broken.
const char* const tlsVersions = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";
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

bool HttpServer::start(bool hasTls)
{
    if (!start(&m_plain, MHD_NO_FLAG, {{MHD_OPTION_END, 0, nullptr}}))
        return false;
    return !hasTls || start(&m_tls, MHD_USE_TLS,
                            {{MHD_OPTION_HTTPS_CERT_CALLBACK, 0, reinterpret_cast<void*>(&showCertificate)},
                             {MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>(tlsVersions)},
                             {MHD_OPTION_END, 0, nullptr}});
}

bool HttpServer::start(Daemon* daemon, unsigned flags, const std::vector<MHD_OptionItem>& options)
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
    daemon->daemon = MHD_start_daemon(
        flags | MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr,
        &onRequest, nullptr, MHD_OPTION_URI_LOG_CALLBACK, onLine, this, MHD_OPTION_NOTIFY_COMPLETED,
        &onCompleted, nullptr, MHD_OPTION_NOTIFY_CONNECTION, onConnection, this, MHD_OPTION_STRICT_FOR_CLIENT,
        1, MHD_OPTION_CONNECTION_LIMIT, libraryConnections, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
        connectionMemoryBytes, MHD_OPTION_ARRAY, options.data(), MHD_OPTION_END);
    if (!daemon->daemon)
        return false;
    const int epoll = MHD_get_daemon_info(daemon->daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
    daemon->notifier = std::make_unique<QSocketNotifier>(epoll, QSocketNotifier::Read);
    connect(daemon->notifier.get(), &QSocketNotifier::activated, this, &HttpServer::run);
    return true;
}

void HttpServer::add(int socket, const Peer& peer)
{
    // This thread copies everything that the kernel buffers for a client that does not read.
    ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &m_limits.sendBufferBytes, sizeof m_limits.sendBufferBytes);
    sockaddr_in unknown{}; // the library needs one, and does nothing with it
    unknown.sin_family = AF_INET;
    MHD_Daemon* const daemon = (peer.isEncrypted ? m_tls : m_plain).daemon;
    if (!daemon || !m_connections.add(socket, peer)) {
        ::close(socket);
        return;
    }
    if (MHD_add_connection(daemon, socket, reinterpret_cast<sockaddr*>(&unknown), sizeof unknown) != MHD_YES)
        m_connections.remove(socket);
    runSoon();
}

void HttpServer::makeRoom()
{
    m_connections.makeRoom(nullptr);
    runSoon();
}

void HttpServer::stop()
{
    const auto suspended = m_suspended; // the library cannot be stopped while there are any
    for (const auto& end : suspended)
        end();
    for (Daemon* const each : {&m_plain, &m_tls}) {
        if (!each->daemon)
            continue;
        for (int i = 0; i < lastRuns; ++i)
            MHD_run(each->daemon);
        each->notifier.reset();
        MHD_stop_daemon(std::exchange(each->daemon, nullptr));
    }
    m_timeout.stop();
    m_soon.stop();
}

void HttpServer::run()
{
    m_connections.look();
    MHD_UNSIGNED_LONG_LONG nextMs = std::numeric_limits<MHD_UNSIGNED_LONG_LONG>::max();
    for (const Daemon* const each : {&m_plain, &m_tls}) {
        MHD_UNSIGNED_LONG_LONG leftMs = 0;
        if (each->daemon && MHD_run(each->daemon) == MHD_YES &&
            MHD_get_timeout(each->daemon, &leftMs) == MHD_YES)
            nextMs = std::min(nextMs, leftMs);
    }
    if (nextMs < std::numeric_limits<MHD_UNSIGNED_LONG_LONG>::max())
        m_timeout.start(int(std::min<MHD_UNSIGNED_LONG_LONG>(nextMs, std::numeric_limits<int>::max())));
    else
        m_timeout.stop();
}

void HttpServer::runSoon()
{
    if (!m_soon.isActive())
        m_soon.start();
}

#include "sandbox/http/WireServer.h"

#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <unistd.h>

namespace sandbox {
namespace {

constexpr int idleMs = 60000;
constexpr int threads = 128; // each kept connection has one
thread_local Connection* current = nullptr;

} // namespace

WireServer::WireServer()
    : m_stopFd(::eventfd(0, EFD_CLOEXEC))
{
    new_task_queue = [] { return new httplib::ThreadPool(threads); };
    set_keep_alive_timeout(idleMs / 1000);
    set_keep_alive_max_count(1000000);
    set_payload_max_length(16 * 1024 * 1024);
    // The library's default shares a port between processes, so a port in use would not be noticed.
    set_socket_options([](socket_t socket) {
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
}

WireServer::~WireServer()
{
    ::close(m_stopFd);
}

int WireServer::open(const std::string& address, int port)
{
    if (port == 0)
        port = std::max(bind_to_any_port(address), 0);
    else if (!bind_to_port(address, port))
        port = 0;
    // The library queues only five connections; a client that opens many at once would wait a second for a
    // retry.
    if (port != 0)
        ::listen(svr_sock_, 1024);
    return port;
}

void WireServer::close()
{
    const std::uint64_t one = 1;
    if (::write(m_stopFd, &one, sizeof one) < 0)
        return;
    stop();
}

void WireServer::setArrivalHandler(std::function<void(httplib::Request&, Connection&)> handler)
{
    m_arrival = std::move(handler);
}

Connection& WireServer::connection()
{
    return *current;
}

bool WireServer::process_and_close_socket(socket_t socket)
{
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Connection connection(socket, m_stopFd);
    current = &connection;
    bool understood = false;
    const auto arrival = [&](httplib::Request& request) {
        understood = true;
        m_arrival(request, connection);
    };
    bool keep = true;
    while (keep && connection.awaitRequest(idleMs)) {
        bool closed = false;
        understood = false;
        const bool answered = process_request(connection, false, closed, arrival);
        // After a malformed request, the start of the next one is unknown.
        keep = connection.finishAnswer() && answered && !closed && understood;
    }
    current = nullptr;
    ::close(socket);
    return keep;
}

} // namespace sandbox

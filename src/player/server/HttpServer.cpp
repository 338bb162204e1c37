#include "player/server/HttpServer.h"

#include <QThread>
#include <sys/socket.h>

namespace {

constexpr std::size_t largestBodyBytes = 64 * 1024;
thread_local Connection* current = nullptr;

/// The library hands every accepted socket to its tasks; what is done with one here never blocks.
class Inline : public httplib::TaskQueue
{
public:
    void enqueue(std::function<void()> task) override { task(); }
    void shutdown() override {}
};

} // namespace

HttpServer::HttpServer(QThread* thread, KindOf kindOf, Gate gate, Handler handler)
    : m_kindOf(std::move(kindOf))
    , m_room(std::make_unique<ConnectionRoom>(
          [this](const std::shared_ptr<Connection>& connection) { dispatch(connection); }))
    , m_asking(askingThreads, longestQueue)
    , m_writing(writingThreads, longestQueue)
    , m_quick(quickThreads, longestQueue)
{
    m_room->moveToThread(thread);
    new_task_queue = [] { return new Inline; };
    set_keep_alive_timeout(ConnectionRoom::idleMs / 1000);
    set_keep_alive_max_count(1000000);
    set_payload_max_length(largestBodyBytes);
    // The library's own default shares a port between processes, so that a taken one would go unnoticed.
    set_socket_options([](socket_t socket) {
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    set_pre_routing_handler(
        [gate = std::move(gate)](const httplib::Request& request, httplib::Response& response) {
            return gate(request, response) ? HandlerResponse::Handled : HandlerResponse::Unhandled;
        });
    Post(".*", std::move(handler));
}

HttpServer::~HttpServer()
{
    stop();
}

int HttpServer::open(const std::string& address, int port)
{
    if (port == 0)
        port = std::max(bind_to_any_port(address), 0);
    else if (!bind_to_port(address, port))
        port = 0;
    // The library queues five connections only; browsers that open many at once would wait for a repeat.
    if (port != 0)
        ::listen(svr_sock_, SOMAXCONN);
    return port;
}

void HttpServer::start()
{
    m_acceptThread = std::thread([this] { listen_after_bind(); });
}

void HttpServer::stop()
{
    if (m_stopped.exchange(true))
        return;
    if (m_acceptThread.joinable()) {
        // Until it runs, it cannot be stopped.
        while (!is_running())
            std::this_thread::yield();
        httplib::Server::stop();
        m_acceptThread.join();
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const SharedConnection& connection : m_busy)
            connection->interrupt();
    }
    m_asking.stop();
    m_writing.stop();
    m_quick.stop();
    // Its notifiers have to go on their own thread.
    if (m_room->thread()->isRunning())
        QMetaObject::invokeMethod(
            m_room.get(), [this] { m_room.reset(); }, Qt::BlockingQueuedConnection);
}

Connection& HttpServer::connection()
{
    return *current;
}

bool HttpServer::process_and_close_socket(socket_t socket)
{
    m_room->add(std::make_shared<Connection>(socket));
    return true;
}

void HttpServer::dispatch(const SharedConnection& connection)
{
    const Kind kind = m_kindOf(connection->peek(peekedBytes));
    Lane& lane = kind == Kind::Asking ? m_asking : kind == Kind::Writing ? m_writing : m_quick;
    if (!lane.post([this, connection] { serve(connection); }))
        refuse(connection, "503 Service Unavailable");
}

void HttpServer::refuse(const SharedConnection& connection, const std::string& status)
{
    const std::string head =
        "HTTP/1.1 " + status + "\r\nContent-Length: 0\r\nRetry-After: 1\r\nConnection: close\r\n\r\n";
    connection->write(head.data(), head.size());
    connection->finishAnswer();
    m_room->drain(connection);
}

void HttpServer::serve(const SharedConnection& connection)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_busy.insert(connection);
        if (m_stopped)
            connection->interrupt();
    }
    answer(connection);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_busy.erase(connection);
}

void HttpServer::answer(const SharedConnection& connection)
{
    switch (connection->readHead()) {
    case Connection::Head::Complete:
        break;
    case Connection::Head::TooLarge:
        refuse(connection, "431 Request Header Fields Too Large");
        return;
    case Connection::Head::None:
        return;
    }
    current = connection.get();
    bool understood = false;
    bool closed = false;
    const auto arrival = [&understood](httplib::Request& request) {
        understood = true;
        // The library would compress at its slowest level, and join any number of ranges to one answer.
        request.headers.erase("Accept-Encoding");
        request.headers.erase("Range");
        request.ranges.clear();
    };
    const bool answered = process_request(*connection, m_stopped, closed, arrival);
    current = nullptr;
    const bool sent = connection->finishAnswer();
    if (!sent || !answered)
        return;
    if (connection->takeOver)
        std::exchange(connection->takeOver, nullptr)(connection);
    else if (closed || !understood || connection->closes || m_stopped)
        m_room->drain(connection); // after a request that is none, nobody knows where the next one begins
    else
        m_room->add(connection);
}

#pragma once

#include "player/server/Connection.h"
#include "player/server/ConnectionRoom.h"
#include "player/server/Lane.h"

#include <atomic>
#include <set>

class QThread;

/// The library's server with its connections kept by us: one that waits for its next request takes no
/// thread, and one that an answer goes on over can be taken over. Lanes of threads answer: two for what
/// may have to wait for others, one for all the rest, which so never waits behind them.
class HttpServer : public httplib::Server
{
public:
    /// How a request is answered.
    enum class Kind
    {
        Quick,  ///< at once
        Asking, ///< may have to wait for others
        Writing ///< the same, and holds nobody up who only asks
    };
    /// The kind of a request that begins so ("GET /api/rows?").
    using KindOf = std::function<Kind(const std::string& start)>;
    /// Looks at a request before its body is read; true when it has answered.
    using Gate = std::function<bool(const httplib::Request&, httplib::Response&)>;
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    static constexpr int askingThreads = 16;
    static constexpr int writingThreads = 4;
    static constexpr int quickThreads = 4;
    static constexpr int longestQueue = 256;
    /// So much of a request's beginning tells its kind.
    static constexpr std::size_t peekedBytes = 64;

    /// Connections wait on `thread`, which has an event loop and outlives the server.
    HttpServer(QThread* thread, KindOf kindOf, Gate gate, Handler handler);
    /// As stop().
    ~HttpServer() override;

    /// Listens on an address and port (0: any free one); gives the port, or 0 when it cannot be had.
    int open(const std::string& address, int port);
    /// Answers, on threads of its own.
    void start();
    /// Refuses what comes, lets the answers under way be made, and closes every connection.
    void stop();

    /// The connection whose request the calling thread answers. Only valid inside a gate or handler.
    static Connection& connection();

private:
    using SharedConnection = std::shared_ptr<Connection>;

    bool process_and_close_socket(socket_t socket) override;
    void dispatch(const SharedConnection& connection);
    void serve(const SharedConnection& connection);
    void answer(const SharedConnection& connection);
    void refuse(const SharedConnection& connection, const std::string& status);

    KindOf m_kindOf;
    std::unique_ptr<ConnectionRoom> m_room; // lives on that thread
    Lane m_asking;
    Lane m_writing;
    Lane m_quick;
    std::thread m_acceptThread;
    std::mutex m_mutex;
    std::set<SharedConnection> m_busy; // those that a lane works on
    std::atomic<bool> m_stopped{false};
};

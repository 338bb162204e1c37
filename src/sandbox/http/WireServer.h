#pragma once

#include "sandbox/http/Connection.h"

#include <functional>

namespace sandbox {

/// The library's server on our own connections, which can produce faults below HTTP, record request heads
/// exactly, and end idle connections at once.
class WireServer : public httplib::Server
{
public:
    WireServer();
    ~WireServer() override;
    WireServer(const WireServer&) = delete;
    WireServer& operator=(const WireServer&) = delete;

    /// Listens on an address and port (0: any free one). Returns the port, or 0 if it is not available.
    int open(const std::string& address, int port);
    /// Answers until `close` is called on another thread.
    void run() { listen_after_bind(); }
    /// Stops accepting, wakes every connection and lets run() return.
    void close();

    /// Called with the head of each request before it is routed, on the connection's thread.
    void setArrivalHandler(std::function<void(httplib::Request&, Connection&)> handler);

    /// The connection whose request the calling thread answers. Only valid inside a handler.
    static Connection& connection();

private:
    bool process_and_close_socket(socket_t socket) override;

    int m_stopFd;
    std::function<void(httplib::Request&, Connection&)> m_arrival;
};

} // namespace sandbox

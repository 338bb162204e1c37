#pragma once

#include "player/server/http/Connections.h"
#include "player/server/http/HttpMessage.h"
#include "player/server/http/Limits.h"

#include <QObject>
#include <QTimer>

#include <microhttpd.h>
#include <vector>

class HttpExchange;
class QSocketNotifier;

/// Reads requests and writes responses on its thread's event loop, with GNU libmicrohttpd, whose epoll
/// descriptor it watches. A request that waits for its response is suspended, and so is a body without data.
class HttpServer : public QObject
{
    Q_OBJECT

public:
    /// The handler is not owned.
    HttpServer(const Limits& limits, HttpHandler* handler);
    /// As stop().
    ~HttpServer() override;

    /// False if the library cannot be started. `hasTls`: encrypted peers get the process's Certificate;
    /// without it there must be no encrypted peers.
    bool start(bool hasTls);
    /// Adds an accepted connection and takes ownership of its socket.
    void add(int socket, const Peer& peer);
    /// Ends the connection that is needed least, if one can be ended.
    void makeRoom();
    /// Sends pending responses and closes every connection. All waiting requests must have been answered
    /// before.
    void stop();

    const Connections& connections() const { return m_connections; }

private:
    friend class HttpExchange;

    void run();
    void runSoon();

    const Limits m_limits;
    HttpHandler* const m_handler;
    Connections m_connections;
    /// The library, once for plain connections and once for those with TLS.
    struct Daemon
    {
        MHD_Daemon* daemon = nullptr;
        std::unique_ptr<QSocketNotifier> notifier;
    };
    bool start(Daemon* daemon, unsigned flags, const std::vector<MHD_OptionItem>& options);
    Daemon m_plain;
    Daemon m_tls;
    QTimer m_timeout; // of the library's own
    QTimer m_soon;
    QHash<int, std::function<void()>> m_suspended; // what to do when the other end disconnects, by socket
};

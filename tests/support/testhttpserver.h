#pragma once

#include "tests/support/patience.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

#include <functional>
#include <memory>

/// An HTTP/1.1 server on an ephemeral loopback port, scripted by the test that owns it.
///
/// It uses raw sockets so that it can also misbehave: stall, truncate a response, reset the connection. Every
/// connection has its own thread and stays open between requests. A response is taken from the first of these
/// that exists: the queue of the path (answerOnce), the fixed response of the path (answer), the handler;
/// otherwise it is 404.
///
///     TestHttpServer server;
///     server.answer("/api/album/get", TestHttpServer::json("{\"id\":\"1\"}"));
///     client.get(PelkUrl(server.url(QStringLiteral("/api/album/get"))), ...);
///     QVERIFY(server.waitForRequests(1));
///     QCOMPARE(server.requests().at(0).header("X-App-Id"), QByteArray("42"));
///
/// All operations are thread-safe. The destructor closes every connection, including those with held
/// responses, and joins the threads.
class TestHttpServer
{
public:
    using Pair = QPair<QByteArray, QByteArray>;
    using Pairs = QList<Pair>;

    /// A request as it was received.
    struct Request
    {
        QByteArray method;
        QByteArray target; ///< the request line's second word, untouched
        QByteArray path;   ///< the target up to the question mark, not decoded
        QByteArray query;  ///< the target after the question mark, not decoded
        Pairs headers;     ///< in order, names as sent
        QByteArray body;   ///< by Content-Length
        int connection =
            0; ///< 1 for the first connection accepted, and so on: equal numbers share a connection

        /// Value of the first header with this name in any letter case; null if there is none.
        QByteArray header(const QByteArray& name) const;
        /// The query as pairs in order, percent-decoded; a plus sign stays a plus sign.
        Pairs queryItems() const;
        /// Value of the first query item of this name, decoded; null when absent.
        QByteArray queryValue(const QByteArray& name) const;
    };

    /// A response, and the faults to produce while it is sent. Content-Length is added unless it is chunked.
    struct Response
    {
        int status = 200;
        Pairs headers;
        QByteArray body;
        int delayMs = 0;        ///< before the first byte
        bool hold = false;      ///< before the first byte: until release()
        int holdAfter = -1;     ///< after so many bytes of the body: until release()
        bool chunked = false;   ///< Transfer-Encoding: chunked, 1000 bytes a chunk
        int truncateAfter = -1; ///< close the connection after so many bytes of the body
        bool reset = false;     ///< no answer at all: reset the connection
        bool bare = false;      ///< the bytes of the body alone, which need not be HTTP
        int dripBytes = 0;      ///< send the body so many bytes at a time ...
        int dripPauseMs = 10;   ///< ... with this pause after each
        bool close = false;     ///< Connection: close, and close it
    };

    using Handler = std::function<Response(const Request&)>;

    /// Listens from here on; an address of 127.0.0.0/8, such as "127.0.0.2" for a second host.
    explicit TestHttpServer(const QByteArray& address = QByteArrayLiteral("127.0.0.1"));
    ~TestHttpServer();
    TestHttpServer(const TestHttpServer&) = delete;
    TestHttpServer& operator=(const TestHttpServer&) = delete;

    quint16 port() const;
    /// "http://127.0.0.1:PORT" and the path as given; `host` replaces the address, e.g. "localhost".
    QString url(const QString& path = QStringLiteral("/"), const QString& host = QString()) const;

    /// Sends this response to every request for the path (compared without the query).
    void answer(const QByteArray& path, const Response& response);
    /// Sends this response to the next request for the path; further calls are queued.
    void answerOnce(const QByteArray& path, const Response& response);
    /// Called for every path without its own response, on the connection's thread; may be called
    /// concurrently.
    void setHandler(Handler handler);
    /// Releases the held responses to all requests recorded so far.
    void release();

    /// Everything received so far, in order of arrival (a request counts when it is complete).
    QList<Request> requests() const;
    int requestCount() const;
    void clearRequests();
    /// Connections accepted so far.
    int connectionCount() const;

    /// Waits until at least `count` requests have arrived; false after the time-out. Runs the calling
    /// thread's event loop meanwhile, so that a client on the same thread makes progress.
    bool waitForRequests(int count, int timeoutMs = patienceMs) const;

    static Response json(const QByteArray& body, int status = 200);
    static Response text(const QByteArray& body, int status = 200);
    static Response redirect(const QString& location, int status = 302);
    /// A loopback port on which nothing listens.
    static quint16 unusedPort();

private:
    class Private;
    std::unique_ptr<Private> d;
};

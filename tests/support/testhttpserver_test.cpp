#include "testhttpserver.h"

#include <QCoreApplication>
#include <QtTest>
#include <arpa/inet.h>
#include <sys/socket.h>

#include <unistd.h>

namespace {

/// A blocking connection to the server: sends text, reads until so many bytes came or the other side closed.
class Connection
{
public:
    explicit Connection(const TestHttpServer& server)
        : m_fd(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in name = {};
        name.sin_family = AF_INET;
        name.sin_port = htons(server.port());
        name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(m_fd, reinterpret_cast<sockaddr*>(&name), sizeof(name)) != 0)
            qFatal("cannot connect");
    }
    ~Connection() { close(m_fd); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void write(const QByteArray& text)
    {
        if (send(m_fd, text.constData(), static_cast<size_t>(text.size()), MSG_NOSIGNAL) != text.size())
            qFatal("cannot send");
    }

    QByteArray readUntil(const QByteArray& end)
    {
        QByteArray all;
        char byte = 0;
        while (!all.endsWith(end) && recv(m_fd, &byte, 1, 0) == 1)
            all.append(byte);
        return all;
    }

    /// Reads the remaining bytes; -1 if the connection was reset.
    int drain()
    {
        char byte = 0;
        int count = 0;
        for (;;) {
            const ssize_t got = recv(m_fd, &byte, 1, 0);
            if (got < 0)
                return -1;
            if (got == 0)
                return count;
            ++count;
        }
    }

private:
    int m_fd;
};

} // namespace

class TestHttpServerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRequestIsRecordedAsItWasSent()
    {
        TestHttpServer server;
        server.answer("/a", TestHttpServer::text("hello"));
        Connection connection(server);
        connection.write(
            "POST /a?x=1%202&x=a+b&y HTTP/1.1\r\nHost: h\r\nX-One: 1\r\nContent-Length: 3\r\n\r\nabc");
        QVERIFY(connection.readUntil("hello").startsWith("HTTP/1.1 200 OK\r\n"));
        const TestHttpServer::Request request = server.requests().at(0);
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.target, QByteArray("/a?x=1%202&x=a+b&y"));
        QCOMPARE(request.path, QByteArray("/a"));
        QCOMPARE(request.queryItems(), TestHttpServer::Pairs({{"x", "1 2"}, {"x", "a+b"}, {"y", ""}}));
        QCOMPARE(request.headers.at(1), TestHttpServer::Pair("X-One", "1"));
        QCOMPARE(request.header("x-ONE"), QByteArray("1"));
        QVERIFY(request.header("X-Two").isNull());
        QCOMPARE(request.body, QByteArray("abc"));
    }

    void aConnectionServesSeveralRequests()
    {
        TestHttpServer server;
        server.answerOnce("/a", TestHttpServer::text("first"));
        server.answer("/a", TestHttpServer::text("later"));
        Connection connection(server);
        connection.write("GET /a HTTP/1.1\r\n\r\nGET /a HTTP/1.1\r\n\r\n");
        QVERIFY(connection.readUntil("first").contains("Content-Length: 5\r\n"));
        connection.readUntil("later");
        connection.write("GET /b HTTP/1.1\r\n\r\n");
        QVERIFY(connection.readUntil("here").startsWith("HTTP/1.1 404 "));
        QCOMPARE(server.connectionCount(), 1);
        QCOMPARE(server.requestCount(), 3);
        QCOMPARE(server.requests().at(2).connection, 1);
    }

    void aHeldResponseWaitsForItsRelease()
    {
        TestHttpServer server;
        TestHttpServer::Response held = TestHttpServer::text("late");
        held.hold = true;
        server.answer("/held", held);
        server.answer("/free", TestHttpServer::text("free"));
        Connection one(server);
        one.write("GET /held HTTP/1.1\r\n\r\n");
        QVERIFY(server.waitForRequests(1));
        Connection two(server);
        two.write("GET /free HTTP/1.1\r\n\r\n");
        two.readUntil("free");
        server.release();
        one.readUntil("late");
    }

    void theRestOfABodyWaitsForItsRelease()
    {
        TestHttpServer server;
        TestHttpServer::Response response = TestHttpServer::text("first, rest");
        response.holdAfter = 5;
        server.answer("/", response);
        Connection one(server);
        one.write("GET / HTTP/1.1\r\n\r\n");
        QVERIFY(one.readUntil("first").endsWith("first"));
        server.release();
        QVERIFY(one.readUntil("rest").endsWith(", rest"));
    }

    void faultsAreProducedOnTheWire()
    {
        TestHttpServer server;
        TestHttpServer::Response response = TestHttpServer::text("0123456789");
        response.truncateAfter = 4;
        server.answer("/short", response);
        response = {};
        response.reset = true;
        server.answer("/reset", response);
        response = TestHttpServer::text(QByteArray(2500, 'x'));
        response.chunked = true;
        response.close = true;
        server.answer("/chunks", response);

        Connection cut(server);
        cut.write("GET /short HTTP/1.1\r\n\r\n");
        cut.readUntil("\r\n\r\n");
        QCOMPARE(cut.drain(), 4);
        Connection reset(server);
        reset.write("GET /reset HTTP/1.1\r\n\r\n");
        QCOMPARE(reset.drain(), -1);
        Connection chunks(server);
        chunks.write("GET /chunks HTTP/1.1\r\n\r\n");
        QVERIFY(!chunks.readUntil("\r\n\r\n").contains("Content-Length"));
        QCOMPARE(chunks.drain(), 3 + 2 + 1000 + 2 + 3 + 2 + 1000 + 2 + 3 + 2 + 500 + 2 + 5);
    }

    void destructionEndsAConnectionThatIsHeld()
    {
        auto server = std::make_unique<TestHttpServer>();
        TestHttpServer::Response held;
        held.hold = true;
        server->answer("/", held);
        Connection connection(*server);
        connection.write("GET / HTTP/1.1\r\n\r\n");
        QVERIFY(server->waitForRequests(1));
        server.reset();
        QVERIFY(connection.drain() <= 0);
    }
};

QTEST_GUILESS_MAIN(TestHttpServerTest)
#include "testhttpserver_test.moc"

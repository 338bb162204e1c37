#include "player/server/http/Connections.h"
#include "tests/support/figures.h"
#include "tests/support/patience.h"
#include "tests/unit/player/server_fixture.h"

#include <QElapsedTimer>
#include <QtTest>
#include <sys/resource.h>
#include <sys/socket.h>

#include <unistd.h>
#include <vector>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

constexpr int shortMs = 400;

/// A connection to the server that sends what a test says and notices its end.
class Line
{
public:
    explicit Line(quint16 port, const QByteArray& bytes = QByteArray())
        : m_pending(port, bytes)
    {
    }
    bool isOpen() const { return m_pending.isOpen(); }
    bool connects()
    {
        return QTest::qWaitFor([this] { return isOpen(); }, patienceMs);
    }
    void send(const QByteArray& bytes) { m_pending.socket().write(bytes); }
    PendingReply& pending() { return m_pending; }

private:
    struct Opened : PendingReply
    {
        using PendingReply::PendingReply;
        bool isOpen() const
        {
            return const_cast<Opened*>(this)->socket().state() == QAbstractSocket::ConnectedState;
        }
    };
    Opened m_pending;
};

/// Sends a byte at a time until the server ends the connection; how long that took, or -1.
qint64 drip(Line& line, const QByteArray& bytes)
{
    QElapsedTimer time;
    time.start();
    for (int i = 0; line.isOpen() && time.elapsed() < 20000; ++i) {
        line.send(bytes.mid(i % bytes.size(), 1));
        QTest::qWait(20);
    }
    return line.isOpen() ? -1 : time.elapsed();
}

/// One end of a pair of sockets; the other one stays with it.
struct Pair
{
    Pair() { ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends); }
    ~Pair()
    {
        ::close(ends[0]);
        ::close(ends[1]);
    }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;
    bool isShut() const
    {
        char byte = 0;
        return ::recv(ends[1], &byte, 1, MSG_DONTWAIT) == 0;
    }
    void hangUp()
    {
        ::close(ends[1]);
        ends[1] = -1;
    }
    int ends[2] = {-1, -1};
};

} // namespace

/// The server's limits, and the requests that it refuses.
class ServerLimitsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theLimitsAreThoseOfTheDocument()
    {
        const Limits limits;
        QCOMPARE(limits.headBytes, size_t(16 * 1024));
        QCOMPARE(limits.urlBytes, size_t(8 * 1024));
        QCOMPARE(limits.bodyBytes, size_t(64 * 1024));
        QCOMPARE(limits.headMs, 10000);
        QCOMPARE(limits.bodyMs, 10000);
        QCOMPARE(limits.silentReaderSeconds, 20);
        QCOMPARE(limits.connections, 512);
        QCOMPARE(limits.connectionsPerPeer, 32);
        QCOMPARE(limits.eventStreams, 64);
        QCOMPARE(limits.readsPerPeer, 16);
        QCOMPARE(limits.waitingPerPeer, 16);
    }

    void nonStrictHttpIsRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("status");
        const auto row = [](const char* name, const QByteArray& bytes, int status) {
            QTest::newRow(name) << bytes << status;
        };
        const QByteArray get = "GET /api/player HTTP/1.1\r\n";
        const QByteArray post =
            "POST /api/player/pause HTTP/1.1\r\nHost: HOST\r\nContent-Type: application/json\r\n";
        row("as it should be", get + "Host: HOST\r\nX-A:b\r\nX-C:   d\r\nX-E:\r\n\r\n", 200);
        row("no line ends in CRLF", "GET /api/player HTTP/1.1\nHost: HOST\n\n", 400);
        row("the first line ends in LF", "GET /api/player HTTP/1.1\nHost: HOST\r\n\r\n", 400);
        row("a header ends in LF", get + "X-A: b\nHost: HOST\r\n\r\n", 400);
        row("the last header ends in LF", get + "Host: HOST\n\r\n", 400);
        row("the empty line is a LF", get + "Host: HOST\r\n\n", 400);
        row("a bare CR", get + "Host: HOST\r\nX-A: b\rX-C: d\r\n\r\n", 400);
        row("a zero byte", get + "Host: HOST\r\nX-A: b" + QByteArray(1, '\0') + "c\r\n\r\n", 400);
        row("a folded header", get + "Host: HOST\r\nX-A: b\r\n c\r\nX-D: e\r\n\r\n", 400);
        row("the last header is folded", get + "Host: HOST\r\nX-A: b\r\n\tc\r\n\r\n", 400);
        row("the first header is folded", get + " X-A: b\r\nHost: HOST\r\n\r\n", 400);
        row("a space before a colon", post + "Transfer-Encoding : chunked\r\nContent-Length: 2\r\n\r\n{}",
            400);
        row("no colon", get + "Host: HOST\r\nX-A\r\n\r\n", 400);
        row("no name", get + "Host: HOST\r\n: b\r\n\r\n", 400);
        row("two lengths", post + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{} ", 400);
        row("one length twice", post + "Content-Length: 2\r\nContent-Length: 2\r\n\r\n{}", 400);
        row("a list of lengths", post + "Content-Length: 2, 2\r\n\r\n{}", 400);
        row("a length and chunks", post + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
            400);
        row("another address in full", "GET http://evil.example/api/player HTTP/1.1\r\nHost: HOST\r\n\r\n",
            400);
        row("a target that is no path", "GET api/player HTTP/1.1\r\nHost: HOST\r\n\r\n", 400);
        row("no host", get + "\r\n", 400);
    }
    void nonStrictHttpIsRefused()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, status);
        ServerFixture f;
        f.start();
        // The bytes after it must not be read as another request.
        PendingReply pending(f.port, bytes.replace("HOST", f.client().host()));
        QVERIFY(pending.wait(patienceMs));
        QCOMPARE(pending.reply().status, status);
        if (status == 400)
            QTRY_COMPARE(pending.socket().state(), QAbstractSocket::UnconnectedState);
        QCOMPARE(f.engine->status().state, PelkPlayLogicState::Stopped);
    }

    void aHeadHasADeadlineHoweverItIsSent()
    {
        ServerFixture f;
        f.options.limits.headMs = shortMs;
        f.start();
        Line line(f.port, "G");
        QVERIFY(line.connects());
        const qint64 tookMs = drip(line, "ET / HTTP/1.1\r\nX: " + QByteArray(10000, 'a'));
        QVERIFY2(tookMs >= 0, "a byte now and then keeps it open");
        QCOMPARE(f.client().get("/api/player").status, 200);
    }

    void aBodyHasADeadlineHoweverItIsSent_data()
    {
        QTest::addColumn<QByteArray>("type");
        QTest::newRow("one that is read") << QByteArray("application/json");
        QTest::newRow("one that is refused") << QByteArray("text/plain");
    }
    void aBodyHasADeadlineHoweverItIsSent()
    {
        QFETCH(QByteArray, type);
        ServerFixture f;
        f.options.limits.bodyMs = shortMs;
        f.start();
        Line line(f.port, "POST /api/player/pause HTTP/1.1\r\nHost: " + f.client().host() +
                              "\r\nContent-Type: " + type + "\r\nContent-Length: 60000\r\n\r\n");
        QVERIFY(line.connects());
        QVERIFY2(drip(line, " ") >= 0, "a byte now and then keeps it open");
    }

    void aConnectionWithoutARequestIsClosed()
    {
        ServerFixture f;
        f.options.limits.idleMs = shortMs;
        f.start();
        Line fresh(f.port);
        Line used(f.port, "GET / HTTP/1.1\r\nHost: " + f.client().host() + "\r\n\r\n");
        QVERIFY(fresh.connects());
        QVERIFY(used.pending().wait(patienceMs));
        QTRY_VERIFY(!fresh.isOpen());
        QTRY_VERIFY(!used.isOpen());
    }

    void aFileThatIsNotReadIsAbandoned()
    {
        ServerFixture f;
        f.options.limits.silentReaderSeconds = 1;
        f.write(text("panel/assets/large.js"), QByteArray(12 * 1024 * 1024, 'a'));
        f.start();
        Line line(f.port, "GET /assets/large.js HTTP/1.1\r\nHost: " + f.client().host() + "\r\n\r\n");
        line.pending().socket().setReadBufferSize(1);
        QVERIFY(line.connects());
        QTRY_VERIFY(f.server->connectionCount() == 0);
        QCOMPARE(f.client().get("/api/player").status, 200);
    }

    void theOldestIdleConnectionMakesRoom_data()
    {
        QTest::addColumn<QByteArray>("first");
        QTest::newRow("nothing was sent") << QByteArray();
        QTest::newRow("half a head was sent") << QByteArray("GET / HT");
        QTest::newRow("half a body was sent")
            << QByteArray("POST /api/data HTTP/1.1\r\nHost: HOST\r\nContent-Type: application/json\r\n"
                          "Content-Length: 60000\r\n\r\n{");
    }
    void theOldestIdleConnectionMakesRoom()
    {
        QFETCH(QByteArray, first);
        ServerFixture f;
        f.options.limits.connections = 8;
        f.start();
        first.replace("HOST", f.client().host());
        std::vector<std::unique_ptr<Line>> lines;
        for (int i = 0; i < 8; ++i) {
            lines.push_back(std::make_unique<Line>(f.port, first));
            QVERIFY(lines.back()->connects());
            QTRY_COMPARE(f.server->connectionCount(), i + 1);
        }
        QTest::qWait(20); // what was sent has come
        QCOMPARE(f.client().get("/api/player").status, 200);
        QTRY_VERIFY(!lines.front()->isOpen());
        QVERIFY(lines.back()->isOpen());
    }

    void aConnectionWithAWaitingRequestIsNotClosedForANewOne()
    {
        ServerFixture f;
        f.worker.silent = true;
        f.options.limits.connections = 4;
        f.start();
        std::vector<std::unique_ptr<Line>> lines;
        for (int i = 0; i < 4; ++i)
            lines.push_back(std::make_unique<Line>(
                f.port, "GET /api/rows?path=test:list&from=0&to=9 HTTP/1.1\r\nHost: " + f.client().host() +
                            "\r\n\r\n"));
        QTRY_COMPARE(f.worker.kept.size(), 4);
        QCOMPARE(f.client().get("/api/player").status, 0);
        f.worker.silent = false;
        for (const CMGetRowsRequest& request : qAsConst(f.worker.kept))
            f.worker.getRowsRequest(request);
        for (const auto& line : lines) {
            QVERIFY(line->pending().wait(patienceMs));
            QCOMPARE(line->pending().reply().status, 200);
        }
        QCOMPARE(f.client().get("/api/player").status, 200);
    }

    void aPeerOfTheNetworkHasItsShareOfConnections()
    {
        Limits limits;
        limits.connectionsPerPeer = 3;
        Connections connections(limits, [](int) {});
        std::vector<std::unique_ptr<Pair>> pairs;
        const auto add = [&](const char* address, bool isLoopback) {
            pairs.push_back(std::make_unique<Pair>());
            return connections.add(pairs.back()->ends[0], {address, isLoopback});
        };
        for (int i = 0; i < 3; ++i)
            QVERIFY(add("192.0.2.1", false));
        QVERIFY(add("192.0.2.2", false));
        QVERIFY(!pairs.front()->isShut());
        QVERIFY(add("192.0.2.1", false));
        QVERIFY(pairs.front()->isShut());
        QVERIFY(!pairs.at(1)->isShut());
        connections.enter(pairs.at(1)->ends[0], Connections::State::Waiting);
        connections.enter(pairs.at(2)->ends[0], Connections::State::Sending);
        connections.enter(pairs.at(4)->ends[0], Connections::State::Waiting);
        QVERIFY2(!add("192.0.2.1", false), "each of its connections is busy");
        for (int i = 0; i < 10; ++i)
            QVERIFY(add("127.0.0.1", true));
    }

    void aConnectionThatHasGoneMakesRoomBeforeOneThatIsThere_data()
    {
        QTest::addColumn<bool>("isWaiting");
        QTest::addColumn<bool>("isNoticed");
        QTest::newRow("nothing was sent") << false << true;
        QTest::newRow("a response is waited for") << true << true;
        QTest::newRow("nothing was sent, and nobody has looked") << false << false;
        QTest::newRow("a response is waited for, and nobody has looked") << true << false;
    }
    void aConnectionThatHasGoneMakesRoomBeforeOneThatIsThere()
    {
        QFETCH(bool, isWaiting);
        QFETCH(bool, isNoticed);
        Limits limits;
        limits.connections = 2;
        Connections connections(limits, [](int) {});
        Pair gone[2];
        Pair there[2];
        for (Pair& one : gone) {
            QVERIFY(connections.add(one.ends[0], {"127.0.0.1", true}));
            if (isWaiting)
                connections.enter(one.ends[0], Connections::State::Waiting);
        }
        for (Pair& one : gone)
            one.hangUp();
        if (isNoticed)
            connections.look();
        for (const Pair& one : there)
            QVERIFY(connections.add(one.ends[0], {"127.0.0.1", true}));
        QVERIFY(!there[0].isShut());
        QVERIFY(!there[1].isShut());
    }

    void aRequestWhoseClientSendsNoMoreIsAnswered()
    {
        ServerFixture f;
        f.start();
        Line line(f.port, "GET /api/player HTTP/1.1\r\nHost: " + f.client().host() + "\r\n\r\n");
        // Both come to the server before it looks.
        QVERIFY(line.pending().socket().waitForConnected(patienceMs));
        line.pending().socket().waitForBytesWritten(patienceMs);
        ::shutdown(int(line.pending().socket().socketDescriptor()), SHUT_WR);
        QVERIFY(line.pending().wait(patienceMs));
        QCOMPARE(line.pending().reply().status, 200);
    }

    void connectionsLeaveDescriptorsForTheRestOfThePlayer()
    {
        rlimit before{};
        QCOMPARE(::getrlimit(RLIMIT_NOFILE, &before), 0);
        const auto mostWith = [&](rlim_t descriptors) {
            rlimit few = before;
            few.rlim_cur = std::min(descriptors, before.rlim_max);
            ::setrlimit(RLIMIT_NOFILE, &few);
            const int most = Connections::most(Limits());
            ::setrlimit(RLIMIT_NOFILE, &before);
            return most;
        };
        QCOMPARE(mostWith(1024), 512);
        QCOMPARE(mostWith(512), 320);
        QCOMPARE(mostWith(256), 128);
    }

    void aSlowOperationOfThePlayerIsShortEvenInALongQueue()
    {
        ServerFixture f;
        f.start();
        QVector<PelkRoles> rows;
        for (int i = 0; i < PlayQueue::mostEntries; ++i)
            rows.append(ScriptedPlayWorker::row(QString::number(i)));
        f.engine->queue().add(rows, PlayQueue::Where::Replace);
        const QVector<QueueEntry> entries = f.engine->queue().entries();
        QCOMPARE(entries.size(), int(PlayQueue::mostEntries));
        const auto took = [&](const QByteArray& target, const QJsonObject& body) {
            QElapsedTimer time;
            time.start();
            const PanelReply reply = f.client().post(target, body);
            return reply.status < 300 ? double(time.nsecsElapsed()) / 1e6 : -1;
        };
        const double moveMs = took("/api/player/queue/move", {{text("entry"), entries.last().id},
                                                              {text("before"), entries.first().id}});
        const double shuffleMs = took("/api/player/mode", {{text("shuffle"), true}});
        const double readMs = [&] {
            QElapsedTimer time;
            time.start();
            return f.client().get("/api/player/queue?from=19900&to=19999").status == 200
                       ? double(time.nsecsElapsed()) / 1e6
                       : -1;
        }();
        const double clearMs = took("/api/player/queue/clear", {});
        QVERIFY(moveMs >= 0 && shuffleMs >= 0 && readMs >= 0 && clearMs >= 0);
        printFigures(
            "a queue of %d entries, ms of a request: move %.1f, shuffle %.1f, 100 entries %.1f, clear %.1f",
            int(PlayQueue::mostEntries), moveMs, shuffleMs, readMs, clearMs);
    }
};

QTEST_GUILESS_MAIN(ServerLimitsTest)
#include "server_limits_test.moc"

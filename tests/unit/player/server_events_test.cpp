#include "tests/support/figures.h"
#include "tests/support/heap.h"
#include "tests/unit/player/server_fixture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QtTest>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <unistd.h>
#include <vector>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

PelkValue stateValue(PelkQobuzLoginStates::Enum state)
{
    PelkQobuzLoginState record;
    record.setState(state);
    PelkValue value;
    value.setQobuzLoginState(record);
    return value;
}

int stateIn(const EventReader& reader)
{
    return reader.last(text("value"), text("account:test/state"))
        .value(text("value"))
        .toObject()
        .value(text("qobuzLoginState"))
        .toObject()
        .value(text("state"))
        .toInt(-1);
}

PelkNotificationDisplayItem notice(const char* title, const QString& message)
{
    PelkNotificationDisplayItem item;
    item.setTitle(TrString(TrCharData{"Menu", title}, {}));
    item.setMessage(TrString(message));
    return item;
}

/// Opens the event stream over a socket with a small buffer, and does not read.
class SleepingReader
{
public:
    explicit SleepingReader(quint16 port)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const int small = 64 * 1024;
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const QByteArray request =
            "GET /api/events HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port) + "\r\n\r\n";
        if (::connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::send(m_socket, request.constData(), size_t(request.size()), 0) != request.size())
            qFatal("The server cannot be reached.");
    }
    ~SleepingReader() { ::close(m_socket); }
    SleepingReader(const SleepingReader&) = delete;
    SleepingReader& operator=(const SleepingReader&) = delete;

    /// Waits for the beginning of the stream, without reading it.
    bool isAdmitted() const
    {
        return QTest::qWaitFor(
            [this] {
                char bytes[2048];
                const ssize_t got = ::recv(m_socket, bytes, sizeof bytes, MSG_PEEK | MSG_DONTWAIT);
                return got > 0 && QByteArray::fromRawData(bytes, int(got)).contains("retry:");
            },
            waitMs);
    }
    /// Whether the server has disconnected it in time. A disconnection causes a reset when more data is sent;
    /// its end is after the unread data.
    bool hasBeenLetGo() const
    {
        QElapsedTimer time;
        time.start();
        while (time.elapsed() < waitMs) {
            if (::send(m_socket, "\n", 1, MSG_NOSIGNAL) < 0)
                return errno == ECONNRESET || errno == EPIPE;
            QTest::qWait(20);
        }
        return false;
    }
    QByteArray readUntil(const char* text) const
    {
        QByteArray all;
        QByteArray block(1 << 20, '\0');
        const int large = 4 << 20;
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &large, sizeof large);
        const bool isRead = QTest::qWaitFor(
            [&] {
                ssize_t got = 0;
                while ((got = ::recv(m_socket, block.data(), size_t(block.size()), MSG_DONTWAIT)) > 0)
                    all.append(block.constData(), int(got));
                return all.contains(text) || got == 0;
            },
            waitMs);
        return isRead ? all : QByteArray();
    }

private:
    static inline const int waitMs = patienceMs;

    int m_socket;
};

/// The memory of this process in KiB: resident memory or, because sanitizers use memory of their own, what
/// their allocator has allocated.
qint64 memoryKb()
{
#ifdef PELK_SANITIZER_ALLOCATOR
    return qint64(heapInUse() / 1024);
#else
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toLongLong() * ::sysconf(_SC_PAGESIZE) / 1024;
#endif
}

} // namespace

/// The event stream: which events are sent, in which order, and to how many readers.
class ServerEventsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aNewReaderGetsTheStatusOfNowEvenWhileChangesAreHeldBack()
    {
        ServerFixture fixture;
        fixture.options.limits.eventMs = 3600 * 1000;
        fixture.start();
        const EventReader first(fixture.port);
        QTRY_COMPARE_WITH_TIMEOUT(first.count(text("player")), 1, patienceMs);
        fixture.engine->setVolume(40); // reported at once
        QTRY_COMPARE_WITH_TIMEOUT(first.last(text("player")).value(text("volumePercent")).toInt(), 40,
                                  patienceMs);
        fixture.engine->setVolume(50); // held back for an hour
        const EventReader second(fixture.port);
        QTRY_COMPARE_WITH_TIMEOUT(second.count(text("player")), 1, patienceMs);
        QCOMPARE(second.last(text("player")).value(text("volumePercent")).toInt(), 50);
    }

    void theStreamBeginsWithThePresentStateOfEverything()
    {
        ServerFixture f;
        f.worker.state->setValue(stateValue(PelkQobuzLoginStates::LoggedOut));
        f.start();
        EventReader reader(
            f.port, "?value=account:test%2Fstate&value=settings:test%2Ftone&value=settings:test%2Fnone");
        QTRY_COMPARE(reader.events().size(), 5);
        QCOMPARE(reader.status(), 200);
        QCOMPARE(stateIn(reader), int(PelkQobuzLoginStates::LoggedOut));
        QCOMPARE(reader.last(text("value"), text("settings:test/tone")).value(text("value")).toObject(),
                 (QJsonObject{{text("type"), 1}, {text("string"), text("soft")}}));
        QVERIFY(reader.last(text("value"), text("settings:test/none")).value(text("value")).isNull());
        QCOMPARE(reader.last(text("player")).value(text("state")).toString(), text("stopped"));
        QCOMPARE(reader.last(text("queue")).value(text("count")).toInt(-1), 0);
    }

    void everyChangeIsReportedToItsFollowers()
    {
        ServerFixture f;
        f.worker.state->setValue(stateValue(PelkQobuzLoginStates::LoggedOut));
        f.start();
        EventReader reader(f.port, "?value=account:test%2Fstate&value=settings:test%2Ftone");
        EventReader other(f.port);
        QTRY_COMPARE(reader.events().size(), 4);
        QTRY_COMPARE(other.events().size(), 2);
        f.worker.state->setValue(stateValue(PelkQobuzLoginStates::InProgress));
        QTRY_COMPARE(stateIn(reader), int(PelkQobuzLoginStates::InProgress));
        f.worker.state->setValue(stateValue(PelkQobuzLoginStates::LoggedIn));
        QTRY_COMPARE(stateIn(reader), int(PelkQobuzLoginStates::LoggedIn));
        PelkValue tone;
        tone.setString_(text("loud"));
        f.root.setValue(ServerFixture::tonePath(), tone, CMReply<QVariant>::create());
        QTRY_COMPARE(reader.last(text("value"), text("settings:test/tone"))
                         .value(text("value"))
                         .toObject()
                         .value(text("string"))
                         .toString(),
                     text("loud"));
        f.engine->setVolume(40);
        QTRY_COMPARE(reader.last(text("player")).value(text("volumePercent")).toInt(), 40);
        QTRY_COMPARE(other.last(text("player")).value(text("volumePercent")).toInt(), 40);
        QCOMPARE(other.count(text("value")), 0);
    }

    void aSecondReaderOfAValueHasItsPresentState()
    {
        ServerFixture f;
        f.start();
        auto first = std::make_unique<EventReader>(f.port, "?value=account:test%2Fstate");
        QTRY_COMPARE(first->events().size(), 3);
        f.worker.state->setValue(stateValue(PelkQobuzLoginStates::LoggedIn));
        QTRY_COMPARE(stateIn(*first), int(PelkQobuzLoginStates::LoggedIn));
        EventReader second(f.port, "?value=account:test%2Fstate");
        QTRY_COMPARE(stateIn(second), int(PelkQobuzLoginStates::LoggedIn));
        first.reset();
        f.worker.state->setValue(stateValue(PelkQobuzLoginStates::Failed));
        QTRY_COMPARE(stateIn(second), int(PelkQobuzLoginStates::Failed));
    }

    void aValueNamedLikeAnEventDoesNotAffectOthers_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::newRow("player") << QByteArray("player");
        QTest::newRow("queue") << QByteArray("queue");
    }
    void aValueNamedLikeAnEventDoesNotAffectOthers()
    {
        QFETCH(QByteArray, name);
        ServerFixture f;
        f.start();
        auto first = std::make_unique<EventReader>(f.port, "?value=" + name);
        QTRY_COMPARE(first->events().size(), 3);
        QVERIFY(first->last(text("value"), QString::fromLatin1(name)).value(text("value")).isNull());
        first.reset();
        // Later readers still get the state of everything.
        for (int i = 0; i < 5; ++i) {
            EventReader later(f.port);
            QTRY_COMPARE(later.count(text("queue")), 1);
            QTRY_COMPARE(later.count(text("player")), 1);
        }
    }

    void aValueWithoutFollowersIsUnsubscribed()
    {
        ServerFixture f;
        std::atomic<int> ended{0};
        const CMPath path(text("settings:test/tone"));
        connect(
            f.root.subscribe(path), &CMSubscribe::unsubscribed, this,
            [&ended, path](CMSubscribe::Kind, const CMPath& gone) { ended += gone == path ? 1 : 0; },
            Qt::DirectConnection);
        f.start();
        auto one = std::make_unique<EventReader>(f.port, "?value=settings:test%2Ftone");
        auto other = std::make_unique<EventReader>(f.port, "?value=settings:test%2Ftone");
        QTRY_COMPARE(one->events().size() + other->events().size(), 6);
        one.reset();
        f.engine->setVolume(40);
        QTRY_COMPARE(other->last(text("player")).value(text("volumePercent")).toInt(), 40);
        QCOMPARE(ended.load(), 0);
        other.reset();
        QTRY_COMPARE(ended.load(), 1);
        f.server->stop(); // ends its thread before what is counted in goes
    }

    void aQuietStreamIsKeptAliveByComments()
    {
        ServerFixture f;
        f.options.limits.heartbeatMs = 50;
        f.start();
        EventReader reader(f.port);
        QTRY_VERIFY(reader.comments() >= 3);
        QCOMPARE(reader.events().size(), 2);
        QCOMPARE(Limits().heartbeatMs, 15000);
    }

    void aReaderThatAcceptsNothingIsDisconnected()
    {
        ServerFixture f;
        f.options.limits.silentReaderSeconds = 1;
        f.start();
        {
            // The only one: of others, the limit would demand that this thread, which also reads for them,
            // is never kept from it for a second.
            SleepingReader asleep(f.port);
            QVERIFY(asleep.isAdmitted());
            const QString large(4 * 1000 * 1000, QLatin1Char('n'));
            for (int i = 0; i < 3; ++i)
                f.server->notify(notice("Albums", large));
            QVERIFY(asleep.hasBeenLetGo());
            QTRY_COMPARE(f.server->connectionCount(), 0);
        }
        EventReader quick(f.port);
        QTRY_COMPARE(quick.events().size(), 2);
        f.server->notify(notice("Albums", text("small")));
        QTRY_COMPARE(quick.count(text("notification")), 1);
    }

    void aNoticeReachesAllListeners()
    {
        ServerFixture f;
        f.start();
        EventReader one(f.port);
        EventReader two(f.port);
        QTRY_COMPARE(one.events().size() + two.events().size(), 4);
        f.server->notify(notice("Albums", text("What\nit \"is\"")));
        QTRY_COMPARE(
            one.last(text("notification")),
            (QJsonObject{{text("title"), text("Albums")}, {text("message"), text("What\nit \"is\"")}}));
        QTRY_COMPARE(two.count(text("notification")), 1);
        EventReader later(f.port);
        QTRY_COMPARE(later.events().size(), 2);
        QCOMPARE(later.count(text("notification")), 0);
    }

    void aBrowserThatDisconnectsDuringAnEventAffectsNoOther()
    {
        ServerFixture f;
        f.start();
        EventReader stays(f.port);
        QTRY_COMPARE(stays.events().size(), 2);
        for (int i = 0; i < 20; ++i) {
            EventReader goes(f.port);
            QTRY_COMPARE(goes.status(), 200);
            f.server->notify(notice("Albums", QString(200000, QLatin1Char('a'))));
            goes.socket().abort();
        }
        QTRY_COMPARE(stays.count(text("notification")), 20);
        QCOMPARE(f.client().get("/api/player").status, 200);
    }

    void aSlowReaderDelaysNoOtherAndGetsTheLatestState()
    {
        ServerFixture f;
        f.start();
        EventReader quick(f.port);
        QTRY_COMPARE(quick.events().size(), 2);
        SleepingReader slow(f.port);
        constexpr int notices = 150;
        const QString large(100000, QLatin1Char('n'));
        for (int i = 0; i < notices; ++i) {
            f.server->notify(notice("Albums", large));
            if (i % 10 != 9)
                continue;
            QTRY_COMPARE(quick.count(text("notification")), i + 1);
            f.engine->setVolume(i / 10);
        }
        QTRY_COMPARE(quick.last(text("player")).value(text("volumePercent")).toInt(), 14);
        f.server->notify(notice("Albums", text("the last one")));
        QTRY_COMPARE(quick.count(text("notification")), notices + 1);
        const QByteArray read = slow.readUntil("the last one");
        QVERIFY(read.contains("the last one"));
        QVERIFY(read.contains("\"volumePercent\":14"));
        QVERIFY2(read.count("event: notification") < notices, "more was kept for it than it could read");
        QVERIFY(read.count("event: notification") > 0);
        QVERIFY(read.count("event: player") < quick.count(text("player")));
    }

    void fiftyBrowsersCostLittleAndDelayNobody()
    {
        ServerFixture f;
        f.worker.state->setValue(stateValue(PelkQobuzLoginStates::LoggedOut));
        for (int i = 0; i < 100; ++i)
            f.worker.script.list << QString::number(i);
        f.start();
        // Shared data is allocated before the measurement.
        QCOMPARE(f.client().get("/api/rows?path=test:list&from=0&to=99").status, 200);
        {
            EventReader first(f.port, "?value=account:test%2Fstate");
            QTRY_COMPARE(first.events().size(), 3);
        }
        constexpr int browsers = 50;
        const int threadsBefore =
            QDir(text("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
        const qint64 before = memoryKb();
        std::vector<std::unique_ptr<EventReader>> readers;
        readers.reserve(browsers);
        for (int i = 0; i < browsers; ++i)
            readers.push_back(std::make_unique<EventReader>(f.port, "?value=account:test%2Fstate"));
        for (const auto& reader : readers)
            QTRY_COMPARE(reader->events().size(), 3);
        const qint64 grownKb = memoryKb() - before;
        const int threads = QDir(text("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
        printFigures("50 browsers on the event stream: %lld KiB with their own ends, %d threads more",
                     static_cast<long long>(grownKb), threads - threadsBefore);
        QVERIFY2(grownKb < 20 * 1024, qPrintable(QString::number(grownKb)));
        QCOMPARE(threads, threadsBefore);
        QCOMPARE(f.client().get("/api/rows?path=test:list&from=0&to=99").status, 200);
        QCOMPARE(f.client().get("/").status, 200);
        f.worker.state->setValue(stateValue(PelkQobuzLoginStates::LoggedIn));
        for (const auto& reader : readers)
            QTRY_COMPARE(stateIn(*reader), int(PelkQobuzLoginStates::LoggedIn));
    }

    void moreThanTheLimitAreRefusedUntilOneEnds()
    {
        ServerFixture f;
        f.start();
        std::vector<std::unique_ptr<EventReader>> readers;
        readers.reserve(Limits().eventStreams);
        for (int i = 0; i < Limits().eventStreams; ++i)
            readers.push_back(std::make_unique<EventReader>(f.port));
        for (const auto& reader : readers)
            QTRY_COMPARE(reader->status(), 200);
        const PanelReply refused = f.client().get("/api/events");
        QCOMPARE(refused.status, 503);
        QVERIFY(refused.headers.contains("retry-after"));
        QCOMPARE(refused.detail(), text("64 browsers are connected, which is the limit."));
        readers.pop_back();
        QTRY_COMPARE(f.client().send("HEAD", "/api/events", {}).status, 200);
        std::unique_ptr<EventReader> next;
        QTRY_VERIFY((next = std::make_unique<EventReader>(f.port)) &&
                    QTest::qWaitFor([&] { return next->status() != 0; }) && next->status() == 200);
    }

    void tooManyValuesAreRefused()
    {
        ServerFixture f;
        f.start();
        QByteArray query = "?value=a:0";
        for (int i = 1; i <= Limits().valuesPerStream; ++i)
            query += "&value=a:" + QByteArray::number(i);
        QCOMPARE(f.client().get("/api/events" + query).status, 400);
    }
};

QTEST_GUILESS_MAIN(ServerEventsTest)
#include "server_events_test.moc"

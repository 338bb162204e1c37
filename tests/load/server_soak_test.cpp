#include "player/memory/PlayerMemory.h"
#include "player/server/access/Credentials.h"
#include "player/server/access/Sessions.h"
#include "tests/load/resourceuse.h"
#include "tests/support/figures.h"
#include "tests/support/heap.h"
#include "tests/unit/player/server_fixture.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QSslSocket>
#include <QTimer>
#include <QtTest>

#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>
#include <sodium.h>

namespace {

/// C++ objects of this program and its libraries that were made and not deleted.
std::atomic<qint64> liveObjects{0};

} // namespace

#ifndef PELK_SANITIZER_ALLOCATOR // which has operators of its own

void* operator new(std::size_t bytes)
{
    void* const memory = std::malloc(bytes);
    if (!memory)
        throw std::bad_alloc();
    ++liveObjects;
    return memory;
}
void operator delete(void* memory) noexcept
{
    if (memory)
        --liveObjects;
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*bytes*/) noexcept
{
    operator delete(memory);
}

#endif

namespace {

/// Until then everything that holds a limited number of things is full: 100 sessions, 200 rows of history.
constexpr int warmUpRounds = 250;
constexpr int shortRounds = 1000;
constexpr int longRounds = 10000;
/// What the memory may grow by, and how many objects: less than one a round.
[[maybe_unused]] constexpr qint64 memoryLimitKb = 4 * 1024;
constexpr qint64 objectLimit = 200;
constexpr qint64 heapLimitBytes = 512 * 1024;

const QString password = QStringLiteral("correct horse");
const QByteArray proxied = "music.home.example";

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

/// Runs the event loop until a condition holds: without the pauses that Qt Test makes, which would be most of
/// the time here. False when it does not come.
bool until(const std::function<bool()>& condition)
{
    QElapsedTimer time;
    time.start();
    QEventLoop loop;
    QTimer wake;
    wake.start(10);
    while (!condition() && time.elapsed() < patienceMs)
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    return condition();
}

/// The player's server behind a proxy, once without TLS and once with it, in front of one engine.
class SoakFixture : public ServerFixture
{
public:
    SoakFixture()
    {
        options.origin = QStringLiteral("http://") + QString::fromLatin1(proxied);
        options.stateFolder = folder.filePath(QStringLiteral("state"));
        options.tell = [this](const QString& sentence) { told.append(sentence); };
        options.steadyClock = [this] { return steadyMs; };
        options.limits.eventMs = 1;
        QDir().mkpath(options.stateFolder);
        // A hash that takes no time; how long it takes is a matter of the hash.
        std::array<char, crypto_pwhash_STRBYTES> hash{};
        const QByteArray word = password.toUtf8();
        QString error;
        if (sodium_init() < 0 ||
            crypto_pwhash_str(hash.data(), word.constData(), word.size(), crypto_pwhash_OPSLIMIT_MIN,
                              crypto_pwhash_MEMLIMIT_MIN) != 0 ||
            !Credentials(options.stateFolder).setPasswordHash(hash.data(), &error))
            qFatal("The password cannot be set. %s", qPrintable(error));
        start();
        PanelServer::Options encrypted = options;
        encrypted.hasTls = true;
        tls = std::make_unique<PanelServer>(encrypted, engine.get());
        if (!tls->start(&error))
            qFatal("%s", qPrintable(error));
    }

    static PanelClient::Headers with(const char* name, const QByteArray& value)
    {
        return {{"Host", proxied}, {name, value}};
    }
    PanelReply logIn(const QString& word) const
    {
        return client().post("/api/access/login", QJsonObject{{text("password"), word}}, {{"Host", proxied}});
    }

    std::unique_ptr<PanelServer> tls;
    QStringList told;
    qint64 steadyMs = 0;
};

struct Use
{
    ResourceUse resources;
    qint64 objects;
    qint64 heapBytes;
};

} // namespace

/// Everything that browsers and programs begin at the server and in the player, thousands of times and mixed:
/// what the player holds at the end is what it held after the first rounds.
class ServerSoakTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<SoakFixture> m_f;

    void logInAndOut(int round)
    {
        m_f->steadyMs += 3600 * 1000; // so that no attempt is one too many
        const PanelReply in = m_f->logIn(password);
        QCOMPARE(in.status, 204);
        const QByteArray cookie = in.headers.value("set-cookie").split(';').first();
        const PanelClient::Headers headers = SoakFixture::with("Cookie", cookie);
        QCOMPARE(m_f->client().get("/api/player", headers).status, 200);
        if (round % 3 == 0)
            QCOMPARE(m_f->client().post("/api/access/logout", QJsonObject(), headers).status, 204);
        QCOMPARE(m_f->logIn(text("wrong")).status, 401);
    }

    void useToken(int round)
    {
        QString error;
        QByteArray secret;
        const QString name = text("token-%1").arg(round);
        Credentials credentials(m_f->options.stateFolder);
        QVERIFY2(credentials.addToken(name, round % 2 == 0, &secret, &error), qPrintable(error));
        const PanelClient::Headers headers = SoakFixture::with("Authorization", "Bearer " + secret);
        QCOMPARE(m_f->client().get("/api/player", headers).status, 200);
        QVERIFY2(credentials.removeToken(name, &error), qPrintable(error));
        QCOMPARE(m_f->client().get("/api/player", headers).status, 401);
    }

    void askEncrypted()
    {
        QSslSocket socket;
        socket.setPeerVerifyMode(QSslSocket::VerifyNone);
        socket.connectToHostEncrypted(text("127.0.0.1"), m_f->tls->port());
        QVERIFY(until([&socket] { return socket.isEncrypted(); }));
        socket.write("GET /api/access HTTP/1.1\r\nHost: " + proxied + "\r\nConnection: close\r\n\r\n");
        QVERIFY(until([&socket] { return socket.state() == QAbstractSocket::UnconnectedState; }));
        QVERIFY(socket.readAll().contains("\"level\":\"none\""));
    }

    /// Of a value that nobody has followed before.
    void followEvents(int round)
    {
        const QByteArray value = "?value=test:value" + QByteArray::number(round);
        EventReader reader(m_f->port, value, SoakFixture::with("Authorization", "Bearer " + m_token));
        QVERIFY(until([&reader] { return reader.events().size() == 3; }));
        m_f->engine->setMuted(round % 2 == 0);
        QVERIFY(until([&reader] { return reader.events().size() > 3; }));
    }

    void changeQueue(int round)
    {
        QVector<PelkRoles> rows;
        for (int i = 0; i < 3; ++i)
            rows.append(ScriptedPlayWorker::row(QString::number(round * 3 + i)));
        PlayQueue& queue = m_f->engine->queue();
        const QVector<int> ids = queue.add(rows, PlayQueue::Where::Replace);
        queue.setShuffled(round % 2 == 0);
        QVERIFY(queue.remove({ids.at(1)}));
        QVERIFY(m_f->engine->undo());
        queue.clear();
        QVERIFY(m_f->engine->undo());
        QCOMPARE(queue.entries().size(), 3);
        m_f->history.add(rows.first());
        QVERIFY(m_f->history.items().size() <= History::mostItems);
    }

    void sleep(int round)
    {
        QVERIFY(m_f->engine->sleepAfterMinutes(1 + round % SleepTimer::mostMinutes));
        m_f->engine->wake();
        m_f->engine->sleepAtEndOfTrack();
        m_f->engine->sleepAtEndOfQueue();
        m_f->engine->cancelSleep();
    }

    /// As at the end of a run and the start of the next one.
    void saveState()
    {
        {
            PlayerMemory memory(m_f->engine.get(), m_f->options.stateFolder);
            memory.begin();
            m_f->engine->queue().add(QVector<PelkRoles>(4, ScriptedPlayWorker::row(text("1"))),
                                     PlayQueue::Where::Replace);
            memory.end();
            m_f->engine->queue().clear();
        }
        PlayerMemory next(m_f->engine.get(), m_f->options.stateFolder);
        QCOMPARE(next.begin(), QStringList());
        QCOMPARE(m_f->engine->queue().entries().size(), 4);
    }

    void run(int from, int to)
    {
        for (int round = from; round < to && !QTest::currentTestFailed(); ++round) {
            logInAndOut(round);
            useToken(round);
            askEncrypted();
            followEvents(round);
            changeQueue(round);
            sleep(round);
            saveState();
        }
    }

    Use use()
    {
        m_f->engine->queue().clear();
        m_f->history.flush();
        if (!until([this] { return m_f->server->connectionCount() + m_f->tls->connectionCount() == 0; }))
            QTest::qFail("connections that nobody has are left", __FILE__, __LINE__);
        // What is written once a second has been written.
        QTest::qWait(2 * StateFile::intervalMs);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const qint64 objects = liveObjects;
        return {ResourceUse::now(), objects, qint64(heapInUse())};
    }

    QByteArray m_token;

private Q_SLOTS:
    void whatIsBegunThousandsOfTimesLeavesNothingBehind()
    {
        const int rounds = qEnvironmentVariableIsSet("PELK_TEST_LONG") ? longRounds : shortRounds;
        m_f = std::make_unique<SoakFixture>();
        QString error;
        QVERIFY(Credentials(m_f->options.stateFolder).addToken(text("events"), true, &m_token, &error));
        run(0, warmUpRounds);
        const Use first = use();
        run(warmUpRounds, rounds);
        const Use last = use();
        const auto print = [](const char* when, int done, const Use& used) {
            printFigures(
                "%s, %d rounds: %d sockets, %d other descriptors, %d threads, %lld KiB, %lld objects, "
                "%lld bytes of heap",
                when, done, used.resources.sockets, used.resources.otherDescriptors, used.resources.threads,
                static_cast<long long>(used.resources.ownKb), static_cast<long long>(used.objects),
                static_cast<long long>(used.heapBytes));
        };
        print("first", warmUpRounds, first);
        print("last", rounds, last);
        QCOMPARE(m_f->told, QStringList());
        QVERIFY(last.resources.sockets <= first.resources.sockets);
        QVERIFY(last.resources.otherDescriptors <= first.resources.otherDescriptors);
        QVERIFY(last.resources.threads <= first.resources.threads);
        QVERIFY(last.objects - first.objects <= objectLimit);
#ifndef PELK_SANITIZER_ALLOCATOR // which keeps freed memory for its checks
        QVERIFY(last.resources.ownKb - first.resources.ownKb <= memoryLimitKb);
#endif
        QVERIFY(last.heapBytes - first.heapBytes <= heapLimitBytes);
        m_f->tls.reset();
        m_f.reset();
    }
};

QTEST_GUILESS_MAIN(ServerSoakTest)
#include "server_soak_test.moc"

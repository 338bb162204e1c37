#include "tests/e2e/serve.h"
#include "tests/support/figures.h"
#include "tests/support/heap.h" // for PELK_SANITIZER_ALLOCATOR

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <unistd.h>
#include <vector>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

constexpr int scriptBytes = 8 * 1024 * 1024;

/// A connection that sends the given bytes and reads nothing, with a small receive buffer.
class Silent
{
public:
    Silent(quint16 port, const QByteArray& bytes)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const int small = 4096;
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            qFatal("The player cannot be reached.");
        send(bytes);
    }
    ~Silent() { ::close(m_socket); }
    Silent(const Silent&) = delete;
    Silent& operator=(const Silent&) = delete;
    void send(const QByteArray& bytes) const
    {
        ::send(m_socket, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    /// Whether the player has not ended it.
    bool isOpen() const
    {
        char byte = 0;
        const ssize_t got = ::recv(m_socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
        return got > 0 || (got < 0 && errno == EAGAIN);
    }

private:
    int m_socket;
};

using Attack = std::vector<std::unique_ptr<Silent>>;

/// So many connections that each send this.
Attack attack(int count, quint16 port, const QByteArray& bytes)
{
    Attack all;
    for (int i = 0; i < count; ++i)
        all.push_back(std::make_unique<Silent>(port, bytes));
    return all;
}

int openCount(const Attack& attack)
{
    return int(std::count_if(attack.cbegin(), attack.cend(), [](const auto& one) { return one->isOpen(); }));
}

/// The next descriptor that a process would get.
rlim_t lowestFreeDescriptor(pid_t process)
{
    const QStringList open =
        QDir(QStringLiteral("/proc/%1/fd").arg(process)).entryList(QDir::System | QDir::Files | QDir::Dirs);
    rlim_t lowest = 0;
    while (open.contains(QString::number(lowest)))
        ++lowest;
    return lowest;
}

} // namespace

/// Attacks on the player's server, which must keep responding. Each attack is limited in number and time, and
/// stays on this machine.
class AttacksE2ETest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // This program has one end of each connection.
        rlimit descriptors{};
        ::getrlimit(RLIMIT_NOFILE, &descriptors);
        descriptors.rlim_cur = std::min<rlim_t>(descriptors.rlim_max, 4096);
        ::setrlimit(RLIMIT_NOFILE, &descriptors);
        QDir(m_folder.path()).mkpath(text("assets"));
        QFile page(m_folder.filePath(text("index.html")));
        QFile script(m_folder.filePath(text("assets/app.js")));
        QVERIFY(page.open(QIODevice::WriteOnly) && script.open(QIODevice::WriteOnly));
        page.write("<!doctype html>");
        script.write(QByteArray(scriptBytes, ' '));
    }

    void aPauseIsAnsweredDuringAnAttack_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("drip");
        const QByteArray end = " HTTP/1.1\r\nHost: HOST\r\n\r\n";
        const auto row = [](const char* name, int count, const QByteArray& bytes,
                            const QByteArray& drip = "") { QTest::newRow(name) << count << bytes << drip; };
        row("4 do not read the script that they ask for", 4, "GET /assets/app.js" + end);
        row("40 send half a head", 40, "GET /api/player HTTP/1.1\r\nHost: ");
        row("500 send a byte now and then", 500, "G", "E");
        row("32 ask for what is never answered", 32,
            "GET /api/rows?path=qobuz:featured/none&from=0&to=9" + end);
        row("64 do not read the events, 36 not the script", 36, "GET /assets/app.js" + end, "");
        row("1056 connect", 1056, "");
        row("600 send half a head", 600, "GET /api/player HTTP/1.1\r\nHost: ");
        row("600 ask for what is never answered", 600,
            "GET /api/rows?path=qobuz:featured/none&from=0&to=9" + end);
        const QByteArray guess = R"({"password": "wrong horse"})";
        row("600 guess the password", 600,
            "POST /api/access/login HTTP/1.1\r\nHost: HOST\r\nX-Forwarded-For: x\r\nContent-Type: "
            "application/json\r\nContent-Length: " +
                QByteArray::number(guess.size()) + "\r\n\r\n" + guess);
        row("600 form values that are never answered for", 600,
            "POST /api/data HTTP/1.1\r\nHost: HOST\r\nContent-Type: application/json\r\nContent-Length: "
            "60000\r\n\r\n{");
    }
    void aPauseIsAnsweredDuringAnAttack()
    {
        QFETCH(int, count);
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, drip);
        Players players;
        QCOMPARE(players.login().fault(), QString());
        // As many descriptors as a program usually has.
        const Serve serve(players, {text("--panel"), m_folder.path()}, 1024);
        bytes.replace("HOST", serve.client().host());
        Attack events;
        if (QByteArray(QTest::currentDataTag()).contains("events"))
            events = attack(64, serve.port,
                            "GET /api/events HTTP/1.1\r\nHost: " + serve.client().host() + "\r\n\r\n");
        QElapsedTimer since;
        since.start();
        const Attack attackers = attack(count, serve.port, bytes);
        double longestMs = 0;
        constexpr int pauses = 20;
        for (int i = 0; i < pauses; ++i) {
            for (const auto& one : attackers)
                one->send(drip);
            QElapsedTimer time;
            time.start();
            QCOMPARE(serve.client().post("/api/player/pause", QJsonObject()).status, 204);
            longestMs = std::max(longestMs, double(time.nsecsElapsed()) / 1e6);
        }
        const int stillThere = openCount(attackers);
        printFigures(
            "%s: the longest of %d pauses took %.1f ms, %d of %d connections still there after %lld ms",
            QTest::currentDataTag(), pauses, longestMs, stillThere, count,
            static_cast<long long>(since.elapsed()));
        QVERIFY2(stillThere >= std::min(count, 256), "a pause was answered while the attack lasted");
        QCOMPARE(serve.client().get("/").status, 200);
        QCOMPARE(serve.client().get("/api/player").status, 200);
        QCOMPARE(openCount(events), int(events.size()));
        QCOMPARE(serve.end(), 0);
    }

    void aPauseIsAnsweredWithoutADescriptorLeft_data()
    {
        QTest::addColumn<int>("idle");
        QTest::newRow("connections hold them") << 20;
        QTest::newRow("the player itself holds them") << 0;
    }
    void aPauseIsAnsweredWithoutADescriptorLeft()
    {
        QFETCH(int, idle);
#ifdef PELK_SANITIZER_ALLOCATOR
        QSKIP("UndefinedBehaviorSanitizer opens a pipe for its checks, and ends the player when it cannot.");
#endif
        Players players;
        const Serve serve(players);
        const Attack others = attack(idle, serve.port, "");
        QCOMPARE(serve.client().get("/api/player").status, 200); // they are all accepted by now
        rlimit none{};
        const pid_t player = pid_t(serve.process->processId());
        QCOMPARE(::prlimit(player, RLIMIT_NOFILE, nullptr, &none), 0);
        const rlimit usual = none;
        none.rlim_cur = lowestFreeDescriptor(player);
        QCOMPARE(::prlimit(player, RLIMIT_NOFILE, &none, nullptr), 0);
        for (int i = 0; i < 5; ++i)
            QCOMPARE(serve.client().post("/api/player/pause", QJsonObject()).status, 204);
        QCOMPARE(::prlimit(player, RLIMIT_NOFILE, &usual, nullptr), 0);
        QCOMPARE(serve.end(), 0);
    }

    void slowBytesDoNotKeepAConnectionOpen()
    {
        Players players;
        const Serve serve(players, {text("--panel"), m_folder.path()}, 1024);
        const Attack attackers = attack(500, serve.port, "G");
        // As often as would keep it open if a silence counted; the head's ten seconds do.
        constexpr int everyMs = 5000;
        constexpr int limitMs = 40000;
        QElapsedTimer since;
        since.start();
        qint64 next = everyMs;
        while (openCount(attackers) > 0 && since.elapsed() < limitMs) {
            if (since.elapsed() >= next) {
                next += everyMs;
                for (const auto& one : attackers)
                    one->send("E");
            }
            QTest::qWait(50);
        }
        QCOMPARE(openCount(attackers), 0);
        QCOMPARE(serve.client().post("/api/player/pause", QJsonObject()).status, 204);
    }

private:
    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(AttacksE2ETest)
#include "attacks_e2e_test.moc"

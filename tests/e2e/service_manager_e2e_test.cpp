#include "tests/e2e/serve.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <unistd.h>

/// `pelk serve` as a service of systemd: its datagrams to the service manager, and its lines for the journal.
class ServiceManagerE2ETest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Players> m_players;
    int m_socket = -1;

    /// Receives datagrams until one has this line.
    bool hears(const char* line) const
    {
        QByteArray datagram(4096, 0);
        for (;;) {
            const ssize_t size = ::recv(m_socket, datagram.data(), size_t(datagram.size()), 0);
            if (size <= 0)
                return false;
            if (datagram.left(int(size)).split('\n').contains(line))
                return true;
        }
    }

private Q_SLOTS:
    void init()
    {
        m_players = std::make_unique<Players>();
        m_socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const QByteArray name = QFile::encodeName(m_players->home() + QStringLiteral("/notify"));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, name.constData(), sizeof address.sun_path);
        QCOMPARE(::bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const timeval limit{60, 0};
        QCOMPARE(::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit), 0);
        qputenv("NOTIFY_SOCKET", name);
    }
    void cleanup()
    {
        for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "JOURNAL_STREAM"})
            qunsetenv(name);
        ::close(m_socket);
        m_players.reset();
    }

    void itNoticesWhenThePlayerRespondsAndEnds()
    {
        const Serve serve(*m_players);
        QVERIFY(hears("READY=1"));
        QCOMPARE(serve.client().get("/api/player").status, 200);
        QCOMPARE(serve.end(), 0);
        QVERIFY(hears("STOPPING=1"));
    }

    void itsWatchdogIsFedByTheEventLoop()
    {
        qputenv("WATCHDOG_USEC", "200000");
        const Serve serve(*m_players);
        for (int i = 0; i < 3; ++i)
            QVERIFY(hears("WATCHDOG=1"));
    }

    void linesForItsJournalHaveALevelAndNoTime()
    {
        const QString output = m_players->home() + QStringLiteral("/journal");
        QFile file(output);
        QVERIFY(file.open(QIODevice::WriteOnly));
        struct stat status
        {
        };
        QCOMPARE(::fstat(file.handle(), &status), 0);
        qputenv("JOURNAL_STREAM", QByteArray::number(quint64(status.st_dev)) + ':' +
                                      QByteArray::number(quint64(status.st_ino)));
        QProcess process;
        process.setProcessEnvironment(m_players->environment());
        process.setStandardErrorFile(output);
        process.start(QStringLiteral(PELK_BIN_DIR "/pelk"),
                      {QStringLiteral("--log-level"), QStringLiteral("info"), QStringLiteral("rows"),
                       QStringLiteral("qobuz:nothing")});
        QVERIFY(process.waitForFinished(60000));
        file.close();
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().trimmed().split('\n');
        QVERIFY(std::any_of(lines.begin(), lines.end(),
                            [](const QByteArray& line) { return line.startsWith("<3>pelk: "); }));
        for (const QByteArray& line : lines)
            QVERIFY2(QRegularExpression(QStringLiteral("^<[3-7]>[A-Za-z]"))
                         .match(QString::fromUtf8(line))
                         .hasMatch(),
                     line.constData());
    }
};

QTEST_GUILESS_MAIN(ServiceManagerE2ETest)
#include "service_manager_e2e_test.moc"

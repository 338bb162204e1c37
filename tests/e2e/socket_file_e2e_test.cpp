#include "player/server/http/SocketFile.h"
#include "tests/e2e/serve.h"
#include "tests/support/figures.h"
#include "tests/support/heap.h" // for PELK_SANITIZER_ALLOCATOR
#include "tests/support/patience.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QtTest>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <array>
#include <csignal>
#include <pwd.h>
#include <unistd.h>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

uint modeOf(const QString& file)
{
    struct stat found
    {
    };
    return ::stat(QFile::encodeName(file).constData(), &found) == 0 ? found.st_mode & 07777U : 0;
}

/// A socket file as a player leaves it that is killed.
void leaveSocketFile(const QString& file)
{
    QVERIFY(QDir().mkpath(QFileInfo(file).path()));
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(file).constData(), sizeof address.sun_path);
    QCOMPARE(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(socket);
}

} // namespace

/// The file through which programs of this machine reach `pelk serve`, and the one player of a state folder.
class SocketFileE2ETest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_runtime;

    QString file() const { return m_runtime.path() + text("/pelk/player.sock"); }

    /// `pelk serve` with $XDG_RUNTIME_DIR; ready when it says where the panel is or has ended.
    std::unique_ptr<QProcess> serve(const Players& players, const QString& runtime,
                                    const QStringList& options = {}) const
    {
        auto process = std::make_unique<QProcess>();
        QProcessEnvironment environment = players.environment();
        environment.insert(text("XDG_RUNTIME_DIR"), runtime);
        process->setProcessEnvironment(environment);
        process->setStandardInputFile(QProcess::nullDevice());
        process->start(text(PELK_BIN_DIR "/pelk"),
                       QStringList{text("serve"), text("--listen"), text("127.0.0.1:0")} + options);
        return process;
    }
    static bool isReady(QProcess& process)
    {
        while (!process.canReadLine() && process.waitForReadyRead(60000)) {
        }
        return process.canReadLine();
    }
    static void end(QProcess& process, int signal = SIGTERM)
    {
        ::kill(pid_t(process.processId()), signal);
        QVERIFY(process.state() == QProcess::NotRunning || process.waitForFinished(30000));
    }
    /// The state of the player that listens at a file; empty where none does.
    static QString stateAt(const QString& socketFile)
    {
        QProcess curl;
        curl.start(text("curl"), {text("-sS"), text("--max-time"), text("60"), text("--unix-socket"),
                                  socketFile, text("http://pelk/api/player")});
        curl.waitForFinished(60000);
        return QJsonDocument::fromJson(curl.readAllStandardOutput()).object().value(text("state")).toString();
    }

private Q_SLOTS:
    void cleanup() { QDir(m_runtime.path() + text("/pelk")).removeRecursively(); }

    void itsOwnerAloneReachesTheInterfaceThere()
    {
        const Players players;
        const auto process = serve(players, m_runtime.path());
        QVERIFY(isReady(*process));
        QCOMPARE(stateAt(file()), text("stopped"));
        QCOMPARE(modeOf(file()), 0600U);
        QCOMPARE(modeOf(m_runtime.path() + text("/pelk")), 0700U);
        end(*process);
        QVERIFY(!QFile::exists(file()));
    }

    void withoutAFolderOfTheSessionItIsInTheStateFolder()
    {
        const Players players;
        const auto process = serve(players, QString());
        QVERIFY(isReady(*process));
        QCOMPARE(stateAt(players.home() + text("/state/pelk/player.sock")), text("stopped"));
        end(*process);
    }

    void aNamedGroupMayUseIt()
    {
        if (::geteuid() != 0)
            QSKIP("Only root may give a file to any group.");
        const Players players;
        const auto process =
            serve(players, QString(), {text("--socket"), file(), text("--socket-group"), text("audio")});
        QVERIFY(isReady(*process));
        QCOMPARE(modeOf(file()), 0660U);
        QCOMPARE(modeOf(m_runtime.path() + text("/pelk")), 0750U);
        QCOMPARE(QFileInfo(file()).group(), text("audio"));
        end(*process);
    }

    void itsNameMayBeLongerThanAnAddressOfTheKernel()
    {
        const Players players;
        const QString folder = players.home() + QLatin1Char('/') + QString(200, QLatin1Char('x'));
        QVERIFY(QDir().mkpath(folder));
        const auto process =
            serve(players, QString(), {text("--socket"), folder + text("/pelk/player.sock")});
        QVERIFY(isReady(*process));
        QVERIFY(QFile::exists(folder + text("/pelk/player.sock")));
        end(*process);
        QVERIFY(!QFile::exists(folder + text("/pelk/player.sock")));
    }

    void aFileLeftByACrashIsReplaced()
    {
        const Players players;
        auto process = serve(players, m_runtime.path());
        QVERIFY(isReady(*process));
        end(*process, SIGKILL);
        QVERIFY(QFile::exists(file()));
        process = serve(players, m_runtime.path());
        QVERIFY(isReady(*process));
        QCOMPARE(stateAt(file()), text("stopped"));
        end(*process);
    }

    void aFileThatCannotBeReplacedIsReportedInASentence_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<QString>("sentence");
        QTest::newRow("another user's") << text("user") << text(" belongs to another user. Remove it; or ");
        QTest::newRow("no socket file") << text("file") << text(" exists but is not a socket");
        QTest::newRow("in a folder that no longer exists")
            << text("folder") << text(": its folder does not exist. Check XDG_RUNTIME_DIR. ");
        QTest::newRow("another player's") << text("player") << text("Another player listens at ");
        QTest::newRow("for a group that does not exist")
            << text("group") << text("There is no group \"nobody-is-here\" for the socket file.");
    }
    void aFileThatCannotBeReplacedIsReportedInASentence()
    {
        QFETCH(QString, what);
        QFETCH(QString, sentence);
        const Players players;
        const Players other;
        QString runtime = m_runtime.path();
        std::unique_ptr<QProcess> first;
        QStringList options;
        if (what == text("user")) {
            if (::geteuid() != 0)
                QSKIP("Only root may give a file to another user.");
            leaveSocketFile(file());
            const passwd* const nobody = ::getpwnam("nobody");
            QVERIFY(nobody);
            QCOMPARE(::chown(QFile::encodeName(file()).constData(), nobody->pw_uid, gid_t(-1)), 0);
        } else if (what == text("file")) {
            QVERIFY(QDir().mkpath(QFileInfo(file()).path()));
            QFile plain(file());
            QVERIFY(plain.open(QIODevice::WriteOnly));
        } else if (what == text("folder")) {
            runtime += text("/gone");
        } else if (what == text("player")) {
            first = serve(other, runtime);
            QVERIFY(isReady(*first));
        } else {
            options << text("--socket-group") << text("nobody-is-here");
        }
        const auto process = serve(players, runtime, options);
        QVERIFY(process->waitForFinished(60000));
        QCOMPARE(process->exitCode(), 1);
        const QString errors = QString::fromUtf8(process->readAllStandardError());
        QVERIFY2(errors.contains(sentence), qPrintable(errors));
        QCOMPARE(errors.count(QLatin1Char('\n')), 1);
        if (first)
            end(*first);
    }

    void aCommandFallsBackToThePlayerOfTheSystem()
    {
        // A separate /run, because the test must not use that of the machine.
        if (QProcess::execute(text("unshare"), {text("-rm"), text("mount"), text("-t"), text("tmpfs"),
                                                text("none"), text("/run")}) != 0)
            QSKIP("This machine allows no namespaces of its own.");
        const Players players;
        QProcess shell;
        QProcessEnvironment environment = players.environment();
        environment.insert(text("PATH"), text(PELK_BIN_DIR ":/usr/bin:/bin:/usr/sbin:/sbin"));
        shell.setProcessEnvironment(environment);
        shell.setStandardInputFile(QProcess::nullDevice());
        shell.start(text("unshare"), {text("-rm"), text("sh"), text("-ec"),
                                      text("mount -t tmpfs none /run\n"
                                           "mkdir $HOME/system\n"
                                           "mkfifo $HOME/ready\n"
                                           "exec 3<>$HOME/ready\n"
                                           "trap 'kill $(jobs -p)' EXIT\n"
                                           "XDG_STATE_HOME=$HOME/system pelk serve --listen 127.0.0.1:0 "
                                           "--socket /run/pelk/player.sock >&3 &\n"
                                           "read line <&3\n"
                                           "pelk volume 37\n"
                                           "pelk serve --listen 127.0.0.1:0 >&3 &\n"
                                           "read line <&3\n"
                                           "pelk volume\n" // of the user's own player
                                           "pelk --socket /run/pelk/player.sock volume\n")});
        QVERIFY(shell.waitForFinished(patienceMs));
        QCOMPARE(QString::fromUtf8(shell.readAllStandardOutput()), text("37 %\n100 %\n37 %\n"));
    }

    void tenThousandConnectionsLeaveNothingBehind()
    {
        const Players players;
        const auto process = serve(players, m_runtime.path());
        QVERIFY(isReady(*process));
        const QByteArray request = "GET /api/player HTTP/1.1\r\nHost: pelk\r\n\r\n";
        const auto connections = [&](int count) {
            for (int i = 0; i < count; ++i) {
                const int socket = SocketFile::connect(file());
                if (socket < 0)
                    return false;
                // Commands that are answered, that do not wait for it, that are interrupted, that say
                // nothing.
                const QByteArray sent = request.left(i % 4 == 2 ? 20 : i % 4 == 3 ? 0 : request.size());
                std::array<char, 4096> answer{};
                bool isDone =
                    ::send(socket, sent.constData(), size_t(sent.size()), MSG_NOSIGNAL) == sent.size();
                if (isDone && i % 4 == 0)
                    isDone = ::recv(socket, answer.data(), answer.size(), 0) > 0;
                ::close(socket);
                if (!isDone)
                    return false;
            }
            return true;
        };
        const auto inUse = [&process](const char* folder) {
            return int(QDir(text("/proc/%1/%2").arg(process->processId()).arg(text(folder)))
                           .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                           .size());
        };
        const auto memoryKib = [&process] {
            QFile status(text("/proc/%1/status").arg(process->processId()));
            return status.open(QIODevice::ReadOnly) ? QRegularExpression(text("RssAnon:\\s*(\\d+)"))
                                                          .match(QString::fromUtf8(status.readAll()))
                                                          .captured(1)
                                                          .toInt()
                                                    : 0;
        };
        // A file that the player just saves, and a thread that just ends, do not count.
        constexpr int passing = 3;
        const int files = inUse("fd");
        QVERIFY(connections(1000));
        QTRY_VERIFY(inUse("fd") <= files + passing);
        const int threads = inUse("task");
        const int before = memoryKib();
        QVERIFY(connections(10000));
        QTRY_VERIFY(inUse("fd") <= files + passing);
        QTRY_VERIFY(inUse("task") <= threads + passing);
        const int grown = memoryKib() - before;
        printFigures("10,000 connections at the socket file: %d descriptors at first, %d at the end; %d "
                     "threads, %d; memory %+d KiB",
                     files, inUse("fd"), threads, inUse("task"), grown);
#ifndef PELK_SANITIZER_ALLOCATOR // it keeps what is freed
        QVERIFY2(grown <= 512, qPrintable(QString::number(grown)));
#endif
        QCOMPARE(stateAt(file()), text("stopped"));
        end(*process);
    }

    void aSecondPlayerNamesTheHolderOfTheStateFolder()
    {
        const Players players;
        const Serve serve(players);
        const Players::Outcome second = players.pelk({text("serve"), text("--listen"), text("127.0.0.1:0")});
        QCOMPARE(second.exitCode, 1);
        QCOMPARE(second.errors,
                 text("pelk: A player with the state folder %1/state/pelk is running already: process %2 at "
                      "http://127.0.0.1:%3/.\n")
                     .arg(players.home())
                     .arg(serve.process->processId())
                     .arg(serve.port));
        QCOMPARE(serve.state(), text("stopped"));
    }

    void ofPlayersThatStartAtOnceExactlyOneRuns()
    {
        const Players players;
        for (int round = 0; round < 5; ++round) {
            std::array<std::unique_ptr<QProcess>, 4> processes;
            for (auto& process : processes)
                process = serve(players, m_runtime.path());
            int running = 0;
            for (auto& process : processes) {
                if (isReady(*process)) {
                    ++running;
                    continue;
                }
                QVERIFY(process->state() == QProcess::NotRunning || process->waitForFinished(60000));
                const QString errors = QString::fromUtf8(process->readAllStandardError());
                QVERIFY2(errors.contains(text("is running already: process ")), qPrintable(errors));
            }
            QCOMPARE(running, 1);
            QCOMPARE(stateAt(file()), text("stopped"));
            for (auto& process : processes)
                if (process->state() != QProcess::NotRunning)
                    end(*process, SIGKILL);
        }
    }
};

QTEST_GUILESS_MAIN(SocketFileE2ETest)
#include "socket_file_e2e_test.moc"

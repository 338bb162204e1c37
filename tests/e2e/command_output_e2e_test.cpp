#include "player/cli/TextWidth.h"
#include "tests/e2e/serve.h"
#include "tests/e2e/terminalprocess.h"
#include "tests/support/patience.h"

#include <QJsonDocument>
#include <QtTest>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

constexpr int noPlayer = 5;

} // namespace

/// The output of commands on terminals and in pipes, and how `pelk now --follow` ends.
class CommandOutputE2ETest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Players> m_players;
    std::unique_ptr<Serve> m_serve;

    void setVolume(int percent) const
    {
        QCOMPARE(m_serve->client().post("/api/player/volume", QJsonObject{{text("percent"), percent}}).status,
                 204);
    }
    /// `pelk now --follow --json`, which has printed the present state.
    std::unique_ptr<QProcess> follower() const
    {
        auto process = m_players->start({text("now"), text("--follow"), text("--json")});
        while (!process->canReadLine() && process->waitForReadyRead(patienceMs)) {
        }
        return process;
    }
    /// The standard error of a follower that ended because its player did.
    static void verifyEnded(QProcess& process)
    {
        QVERIFY(process.state() == QProcess::NotRunning || process.waitForFinished(patienceMs));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), noPlayer);
        QCOMPARE(QString::fromUtf8(process.readAllStandardError()), text("pelk: The player has ended.\n"));
    }

private Q_SLOTS:
    void init()
    {
        m_players = std::make_unique<Players>();
        m_serve = std::make_unique<Serve>(*m_players);
    }
    void cleanup()
    {
        m_serve.reset();
        m_players.reset();
    }

    void noCommandPrintsColoursOrOtherControls_data()
    {
        QTest::addColumn<QString>("noColor");
        QTest::addColumn<int>("columns");
        QTest::newRow("80 columns") << QString() << 80;
        QTest::newRow("80 columns, NO_COLOR") << text("1") << 80;
        QTest::newRow("200 columns") << QString() << 200;
    }
    void noCommandPrintsColoursOrOtherControls()
    {
        QFETCH(QString, noColor);
        QFETCH(int, columns);
        QCOMPARE(m_serve->login().status, 200);
        m_serve->play("qobuz:favourites/tracks");
        QCOMPARE(m_serve->client().post("/api/player/pause", QJsonObject()).status, 204);
        QTRY_COMPARE(m_serve->state(), text("paused"));
        QProcessEnvironment environment = m_players->environment();
        environment.remove(text("COLUMNS"));
        if (!noColor.isEmpty())
            environment.insert(text("NO_COLOR"), noColor);
        for (const char* line :
             {"now", "queue", "history", "status", "modules", "rows qobuz:", "search summer"}) {
            TerminalProcess terminal(QByteArrayList{PELK_BIN_DIR "/pelk"} + QByteArray(line).split(' '),
                                     environment, columns);
            QCOMPARE(terminal.end(), 0);
            const QStringList lines = QString::fromUtf8(terminal.output()).split(text("\r\n"));
            QVERIFY2(lines.size() > 1, line);
            for (const QString& shown : lines) {
                for (const QChar letter : shown)
                    QVERIFY2(letter.category() != QChar::Other_Control, qPrintable(shown));
                // Paths are never cut.
                if (line != QByteArray("status") && line != QByteArray("modules") &&
                    !shown.contains(text("qobuz:")))
                    QVERIFY2(TextWidth::columns(shown) <= columns, qPrintable(shown));
            }
        }
    }

    void outputToAPipeIsNotCut()
    {
        QCOMPARE(m_serve->login().status, 200);
        m_serve->play("qobuz:favourites/tracks");
        TerminalProcess narrow({PELK_BIN_DIR "/pelk", "queue"}, m_players->environment(), 30);
        QCOMPARE(narrow.end(), 0);
        QVERIFY2(narrow.output().contains("…"), narrow.output().constData());
        const QString piped = m_players->pelk({text("queue")}).output;
        QVERIFY2(!piped.isEmpty() && !piped.contains(text("…")), qPrintable(piped));
    }

    void aClosedPipeEndsACommandSilently()
    {
        QCOMPARE(m_serve->login().status, 200);
        QProcess shell;
        shell.setProcessEnvironment(m_players->environment());
        shell.start(text("/bin/sh"),
                    {text("-c"), text(PELK_BIN_DIR "/pelk rows qobuz:favourites/tracks --to 1200 "
                                                   "| head -n 1")});
        QVERIFY(shell.waitForFinished(patienceMs));
        QCOMPARE(shell.exitCode(), 0);
        QCOMPARE(shell.readAllStandardError(), QByteArray());
        QCOMPARE(shell.readAllStandardOutput().count('\n'), 1);
    }

    void aFollowerWithAClosedPipeEndsAtTheNextChange()
    {
        QProcess shell;
        shell.setProcessEnvironment(m_players->environment());
        shell.start(text("/bin/sh"),
                    {text("-c"), text(PELK_BIN_DIR "/pelk now --follow --json | head -n 1")});
        QVERIFY(shell.waitForReadyRead(patienceMs)); // head has ended or is about to
        for (int i = 0; shell.state() != QProcess::NotRunning && i < 10000; ++i) {
            setVolume(i % 100);
            shell.waitForFinished(10);
        }
        QCOMPARE(shell.state(), QProcess::NotRunning);
        QCOMPARE(shell.readAllStandardError(), QByteArray());
    }

    void aFollowerThatCannotWriteEnds()
    {
        QProcess shell;
        shell.setProcessEnvironment(m_players->environment());
        shell.start(text("/bin/sh"), {text("-c"), text(PELK_BIN_DIR "/pelk now --follow >/dev/full")});
        QVERIFY(shell.waitForFinished(patienceMs));
        QCOMPARE(shell.exitCode(), 1);
        QCOMPARE(shell.readAllStandardError(), QByteArray("pelk: Standard output cannot be written.\n"));
    }

    void aFollowerEndsWithItsPlayer_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("ended") << int(SIGTERM);
        QTest::newRow("killed") << int(SIGKILL);
    }
    void aFollowerEndsWithItsPlayer()
    {
        QFETCH(int, signal);
        const std::unique_ptr<QProcess> process = follower();
        QVERIFY(process->canReadLine());
        m_serve->end(signal);
        verifyEnded(*process);
    }

    void aFollowerDoesNotContinueWithAnotherPlayer()
    {
        const std::unique_ptr<QProcess> process = follower();
        QVERIFY(process->canReadLine());
        process->readLine();
        // Until the next one is there, the follower can do nothing.
        ::kill(pid_t(process->processId()), SIGSTOP);
        m_serve->end(SIGKILL);
        m_serve = std::make_unique<Serve>(*m_players);
        QCOMPARE(m_serve->state(), text("stopped"));
        ::kill(pid_t(process->processId()), SIGCONT);
        verifyEnded(*process);
        QCOMPARE(process->readAllStandardOutput(), QByteArray());
    }
};

QTEST_GUILESS_MAIN(CommandOutputE2ETest)
#include "command_output_e2e_test.moc"

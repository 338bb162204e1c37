#include "tests/e2e/players.h"
#include "tests/support/patience.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QtTest>

#include <csignal>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace

/// The exit codes, as docs/command-line.md lists them.
class ExitCodesE2ETest : public QObject
{
    Q_OBJECT

    Players m_players;
    QSet<int> m_seen;

    /// Runs a line of sh, in which `pelk` is the program; `signal` is sent once a track is playing.
    int run(const QString& line, int signal) const
    {
        QProcess shell;
        QProcessEnvironment environment = m_players.environment();
        environment.insert(text("PATH"), text(PELK_BIN_DIR ":/usr/bin:/bin"));
        shell.setProcessEnvironment(environment);
        shell.setStandardInputFile(QProcess::nullDevice());
        shell.start(text("/bin/sh"), {text("-c"), text("exec ") + line});
        if (signal != 0) {
            QByteArray errors;
            shell.setReadChannel(QProcess::StandardError);
            while (!errors.contains("Playing ") && shell.waitForReadyRead(patienceMs))
                errors += shell.readAllStandardError();
            ::kill(pid_t(shell.processId()), signal);
        }
        const bool ended = shell.waitForFinished(patienceMs) && shell.exitStatus() == QProcess::NormalExit;
        return ended ? shell.exitCode() : -1;
    }

private Q_SLOTS:
    void aCommandEndsWithTheDocumentedCode_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("isLoggedIn");
        QTest::addColumn<int>("signal");
        const auto row = [](int code, const char* line, int signal = 0) {
            QTest::addRow("%d: %s", code, line) << code << text(line) << (code != 4) << signal;
        };
        row(0, "pelk --version");
        row(0, "pelk status");
        row(0, "pelk rows qobuz:favourites/tracks");
        row(1, "pelk rows qobuz:nix");
        row(1, "pelk rows --config $HOME/config/pelk/pelk.ini >/dev/full");
        row(1, "pelk play track xyzzyxyzzy");
        row(2, "pelk");
        row(2, "pelk frobnicate");
        row(2, "pelk rows --nix");
        row(2, "pelk rows 'qobuz:a%zz'");
        row(2, "pelk rows qobuz: --from 9 --to 3");
        row(2, "pelk play qobuz:favourites/tracks --to /nowhere/file.wav");
        row(3, "pelk --config /nowhere/pelk.ini rows");
        row(3, "pelk --modules /nowhere rows");
        row(4, "pelk status");
        row(4, "pelk rows qobuz:favourites/tracks");
        row(4, "pelk play qobuz:favourites/tracks");
        row(5, "pelk pause");
        row(5, "pelk --socket /nowhere/player.sock status");
        row(130, "pelk play qobuz:favourites/tracks --to $HOME/out.wav", SIGINT);
        row(143, "pelk play qobuz:favourites/tracks --to $HOME/out.wav", SIGTERM);
    }
    void aCommandEndsWithTheDocumentedCode()
    {
        QFETCH(int, code);
        QFETCH(QString, line);
        QFETCH(bool, isLoggedIn);
        QFETCH(int, signal);
        QCOMPARE((isLoggedIn ? m_players.login() : m_players.pelk({text("logout")})).fault(), QString());
        QCOMPARE(run(line, signal), code);
        m_seen.insert(code);
    }

    void everyDocumentedCodeWasSeen()
    {
        QFile page(text(PELK_DOCS "/command-line.md"));
        QVERIFY(page.open(QIODevice::ReadOnly));
        const QString section = QString::fromUtf8(page.readAll())
                                    .section(text("## Exit codes\n"), 1)
                                    .section(text("\n## "), 0, 0);
        QSet<int> documented;
        QRegularExpressionMatchIterator rows =
            QRegularExpression(text("\\n\\| ([0-9, ]+) \\|")).globalMatch(section);
        while (rows.hasNext()) {
            const QStringList codes = rows.next().captured(1).split(text(", "));
            for (const QString& code : codes)
                documented.insert(code.toInt());
        }
        QCOMPARE(m_seen, documented);
    }
};

QTEST_GUILESS_MAIN(ExitCodesE2ETest)
#include "exit_codes_e2e_test.moc"

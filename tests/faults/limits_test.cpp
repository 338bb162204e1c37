#include "tests/e2e/players.h"
#include "tests/support/badlink.h"
#include "tests/support/figures.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QtTest>

#include <map>
#include <memory>

/// The player's limits in time, by the player itself: modules that hang, a stream that does not begin, a
/// service that gives no answer. Each takes the time that it is about, so all of them run at once.
class LimitsTest : public QObject
{
    Q_OBJECT

    static constexpr int processLimitMs = 90000;

    struct Run
    {
        QProcess process;
        qint64 endedAfterMs = -1;
        QString output;
        QString errors;
    };

    std::unique_ptr<Players> m_players;
    std::unique_ptr<BadLink> m_deadLink;
    std::map<QString, std::unique_ptr<Run>> m_runs;
    QElapsedTimer m_timer;
    QString m_track;

    /// A folder with these modules; "qobuz" is the service's.
    QString modules(const QStringList& names) const
    {
        const QString folder = m_players->home() + QStringLiteral("/modules-") + names.join(QLatin1Char('-'));
        QDir().mkpath(folder);
        for (const QString& name : names) {
            const QString file = name == QLatin1String("qobuz")
                                     ? QStringLiteral(PELK_MODULE_FILE)
                                     : QStringLiteral(TEST_MODULES "/%1/lib%1.so").arg(name);
            QFile::link(file, QStringLiteral("%1/lib%2.so").arg(folder, name));
        }
        return folder;
    }

    QStringList withModules(const QStringList& names, const QStringList& arguments) const
    {
        return QStringList{QStringLiteral("--modules"), modules(names)} + arguments;
    }

    /// A command of the player whose service is behind the dead link, with a copy of the login.
    QStringList onADeadLink(const QStringList& arguments) const
    {
        return QStringList{QStringLiteral("--config"), m_players->home() + QStringLiteral("/dead.ini")} +
               arguments;
    }

    void start(const char* name, const QStringList& arguments, const QByteArray& input = QByteArray())
    {
        auto run = std::make_unique<Run>();
        QProcessEnvironment environment = m_players->environment();
        // A login clears the user session; the other calls must not see that.
        const QString state = m_players->home() + QLatin1Char('/') + QLatin1String(name);
        QDir().mkpath(state + QStringLiteral("/pelk"));
        QFile::copy(m_players->loginFile(), state + QStringLiteral("/pelk/session.json"));
        environment.insert(QStringLiteral("XDG_STATE_HOME"), state);
        run->process.setProcessEnvironment(environment);
        connect(&run->process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
                [this, started = run.get()] {
                    started->endedAfterMs = m_timer.elapsed();
                    started->output = QString::fromUtf8(started->process.readAllStandardOutput());
                    started->errors = QString::fromUtf8(started->process.readAllStandardError());
                });
        run->process.start(QStringLiteral(PELK_BIN_DIR "/pelk"), arguments);
        run->process.write(input);
        run->process.closeWriteChannel();
        m_runs[QLatin1String(name)] = std::move(run);
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_players = std::make_unique<Players>();
        QCOMPARE(m_players->login().exitCode, 0);
        const QJsonObject track = m_players->controlGet(QStringLiteral("tracks?kind=cd"))
                                      .value(QStringLiteral("cd"))
                                      .toArray()
                                      .first()
                                      .toObject();
        m_track = QStringLiteral("qobuz:track?id=%1").arg(track.value(QStringLiteral("id")).toInt());
        m_players->fault(QStringLiteral("stream"), {{QStringLiteral("kind"), QStringLiteral("delay")},
                                                    {QStringLiteral("ms"), 120000},
                                                    {QStringLiteral("count"), -1}});
        m_deadLink = std::make_unique<BadLink>(m_players->sandboxPort());
        m_deadLink->setAway(true);
        QFile settings(m_players->settingsFile());
        QVERIFY(settings.open(QIODevice::ReadOnly));
        QFile dead(m_players->home() + QStringLiteral("/dead.ini"));
        QVERIFY(dead.open(QIODevice::WriteOnly));
        dead.write(settings.readAll().replace(QByteArray::number(m_players->sandboxPort()),
                                              QByteArray::number(m_deadLink->port())));
        dead.close();
        QVERIFY(dead.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner)); // it has the secret

        const QString qobuz = QStringLiteral("qobuz");
        const QString rows = QStringLiteral("rows");
        const QString play = QStringLiteral("play");
        const QString playlists = QStringLiteral("qobuz:playlists");
        m_timer.start();
        start("asked", withModules({qobuz, QStringLiteral("hangsasked")}, {rows, QStringLiteral("test:")}));
        start("made", withModules({qobuz, QStringLiteral("hangsmade")}, {rows, playlists}));
        start("alone", withModules({QStringLiteral("hangsmade")}, {rows}));
        start("deleted", withModules({qobuz, QStringLiteral("hangsdeleted")}, {rows, playlists}));
        start("stream", {play, m_track});
        start("rows", onADeadLink({rows, playlists}));
        start("track", onADeadLink({play, m_track}));
        start("login",
              onADeadLink({QStringLiteral("login"), QStringLiteral("demo@example.com"),
                           QStringLiteral("--password-stdin")}),
              "demo\n");
    }
    void cleanupTestCase()
    {
        m_runs.clear();
        m_deadLink.reset();
        m_players.reset();
    }

    void theLimitHolds_data()
    {
        QTest::addColumn<QString>("run");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<int>("limitMs");
        QTest::addColumn<QStringList>("sentences");
        const auto row = [](const char* name, const char* run, int exitCode, int limitMs,
                            const QStringList& sentences) {
            QTest::newRow(name) << QString::fromLatin1(run) << exitCode << limitMs << sentences;
        };
        const QString left = QStringLiteral("A module did not stop in time and was abandoned.");
        const QString notReady = QStringLiteral("its worker was not ready within 10 seconds.");
        const QString noAnswer = QStringLiteral(
            "No complete response from the service. Check your network connection. (Unknown error).");
        row("a module that hangs when it is asked", "asked", 1, 35000 + 5000,
            {QStringLiteral("\"test:\" did not respond within 35 seconds."), left});
        row("a module that hangs when it is made", "made", 0, 10000 + 5000, {notReady, left});
        row("no module but one that hangs when it is made", "alone", 3, 10000 + 5000, {notReady, left});
        row("a module that hangs when it ends", "deleted", 0, 5000, {left});
        row("a stream that does not begin", "stream", 1, 30000,
            {QStringLiteral(" cannot be played: The stream did not begin within 30 seconds.")});
        row("rows on a dead link", "rows", 1, 30000, {noAnswer});
        row("a track on a dead link", "track", 1, 30000,
            {QStringLiteral(
                " cannot be played: No complete response from the service. Check your network connection.")});
        row("a login on a dead link", "login", 1, 30000, {noAnswer});
    }
    void theLimitHolds()
    {
        QFETCH(QString, run);
        QFETCH(int, exitCode);
        QFETCH(int, limitMs);
        QFETCH(QStringList, sentences);
        const Run& ended = *m_runs.at(run);
        QTRY_VERIFY_WITH_TIMEOUT(ended.endedAfterMs >= 0, processLimitMs);
        printFigures("%s: ended after %.1f s", QTest::currentDataTag(), double(ended.endedAfterMs) / 1000);
        QCOMPARE(ended.process.exitStatus(), QProcess::NormalExit);
        // The sentences, each on a line, and nothing else.
        QStringList lines = ended.errors.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        lines.removeAll(QStringLiteral("No sound device is available; playback is silent."));
        QVERIFY2(lines.size() == sentences.size(), qPrintable(ended.errors));
        for (int i = 0; i < sentences.size(); ++i)
            QVERIFY2(lines.at(i).startsWith(QLatin1String("pelk: ")) && lines.at(i).endsWith(sentences.at(i)),
                     qPrintable(lines.at(i)));
        QCOMPARE(ended.process.exitCode(), exitCode);
        // A command that was done has its output, whatever became of the module.
        QCOMPARE(ended.output.isEmpty(), exitCode != 0);
        QVERIFY2(ended.endedAfterMs >= limitMs - 500, qPrintable(QString::number(ended.endedAfterMs)));
    }
};

QTEST_GUILESS_MAIN(LimitsTest)
#include "limits_test.moc"

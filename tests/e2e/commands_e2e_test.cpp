#include "tests/e2e/serve.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QtTest>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

QStringList words(const char* line)
{
    return text(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

constexpr int noPlayer = 5;

} // namespace

/// Every command, with a running player and without one.
class CommandsE2ETest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Players> m_players;
    std::unique_ptr<Serve> m_serve;

    Players::Outcome pelk(const char* line, const QByteArray& input = {}) const
    {
        return m_players->pelk(words(line), input);
    }
    /// Twelve tracks, the first of them plays.
    void listen() const
    {
        QCOMPARE(m_serve->login().status, 200);
        QCOMPARE(
            m_serve->client()
                .post("/api/player/queue/add", QJsonObject{{text("path"), text("qobuz:favourites/tracks")},
                                                           {text("where"), text("replace")},
                                                           {text("from"), 0},
                                                           {text("to"), 11}})
                .status,
            202);
        QTRY_COMPARE_WITH_TIMEOUT(m_serve->state(), text("playing"), 30000);
        QTRY_VERIFY(status().value(text("canSeek")).toBool());
        QTRY_COMPARE(titles().size(), 12);
    }
    QJsonObject status() const { return m_serve->client().get("/api/player").json(); }
    QStringList titles() const
    {
        QStringList titles;
        const QJsonArray entries =
            m_serve->client().get("/api/player/queue?from=0&to=99").json().value(text("entries")).toArray();
        for (const QJsonValue& entry : entries)
            titles << entry.toObject().value(text("row")).toObject().value(text("title")).toString();
        return titles;
    }
    /// Compares the output of the running player with that of the command alone.
    static QString comparable(QString output)
    {
        output.replace(QRegularExpression(text("Player       .*")), text("Player"));
        return output.remove(QRegularExpression(text("(Addresses|Socket file)  .*\n")));
    }

private Q_SLOTS:
    void init()
    {
        m_players = std::make_unique<Players>();
        m_serve.reset();
    }
    void cleanup()
    {
        m_serve.reset();
        m_players.reset();
    }

    void aCommandPrintsTheSameWithARunningPlayerAndWithout_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("said");
        const auto row = [](const char* line, int code, const char* said) {
            QTest::newRow(line) << text(line) << code << text(said);
        };
        row("status", 0, "logged in as demo@example.com");
        row("quality", 0, "cd\n");
        row("quality hires96", 0, "hires96\n");
        row("modules", 0, "qobuz:  ");
        row("rows", 0, "folder  qobuz:");
        row("rows qobuz:", 0, "rows 0 to 4 of 5");
        row("rows qobuz:favourites/tracks --from 5 --to 240", 0, "rows 5 to 240 of 1300");
        row("rows qobuz:favourites/tracks --json", 0, "\"count\": 1300");
        row("rows album summer --to 2", 0, "qobuz:track?id=");
        row("rows qobuz:nix", 1, "There is nothing at \"qobuz:nix\".");
        row("rows nix:", 1, "No service answers at \"nix:\".");
        row("rows qobuz:a%zz", 2, "is not a path");
        row("rows qobuz:album?id=nix", 1, "No result matching given argument");
        row("rows song summer", 2, "\"song\" is not a kind of title");
        row("rows album xyzzyxyzzy", 1, "No album was found for \"xyzzyxyzzy\".");
        row("rows xyzzyxyzzy", 1, "Nothing has the title \"xyzzyxyzzy\".");
        row("search summer", 0, "More: pelk rows 'qobuz:search/tracks?query=summer'");
        row("login demo@example.com --password-stdin", 0, "Logged in as demo@example.com.\n");
        row("login nobody@example.com --password-stdin", 1, "Invalid username/email");
        row("logout", 0, "Logged out.\n");
    }
    void aCommandPrintsTheSameWithARunningPlayerAndWithout()
    {
        QFETCH(QString, line);
        QFETCH(int, code);
        QFETCH(QString, said);
        QCOMPARE(m_players->login().fault(), QString());
        const Players::Outcome without = m_players->pelk(line.split(QLatin1Char(' ')), "demo\n");
        QCOMPARE(m_players->login().fault(), QString());
        m_serve = std::make_unique<Serve>(*m_players);
        const Players::Outcome with = m_players->pelk(line.split(QLatin1Char(' ')), "demo\n");
        QCOMPARE(without.exitCode, code);
        QVERIFY2((without.output + without.errors).contains(said),
                 qPrintable(without.output + without.errors));
        QCOMPARE(with.exitCode, code);
        QCOMPARE(comparable(with.output), comparable(without.output));
        QCOMPARE(with.errors, without.errors);
    }

    void changesFromTheCommandLineReachTheRunningPlayerAtOnce()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        QCOMPARE(pelk("status").exitCode, 4);
        QCOMPARE(m_players->login().fault(), QString());
        QCOMPARE(m_serve->client().get("/api/rows?path=qobuz:playlists&from=0&to=1").status, 200);
        QCOMPARE(pelk("quality hires192").output, text("hires192\n"));
        QCOMPARE(m_serve->client()
                     .get("/api/data?path=settings:qobuz/soundQuality&role=value")
                     .json()
                     .value(text("data"))
                     .toObject()
                     .value(text("value"))
                     .toObject()
                     .value(text("qobuzSoundQuality"))
                     .toInt(),
                 3);
        QCOMPARE(pelk("logout").fault(), QString());
        QCOMPARE(m_serve->client().get("/api/rows?path=qobuz:playlists&from=0&to=1").status, 502);
        const QString shown = pelk("status").output;
        QVERIFY2(shown.contains(text("Player       running as process %1\n"
                                     "Addresses    http://127.0.0.1:%2/\n"
                                     "Socket file  %3/state/pelk/player.sock\n")
                                    .arg(m_serve->process->processId())
                                    .arg(m_serve->port)
                                    .arg(m_players->home())),
                 qPrintable(shown));
    }

    void commandsThatNeedAPlayerAreExitCode5WithoutOne_data()
    {
        QTest::addColumn<QString>("line");
        for (const char* line : {"pause",
                                 "resume",
                                 "toggle",
                                 "stop",
                                 "next",
                                 "previous",
                                 "seek 10",
                                 "seek -10",
                                 "volume",
                                 "volume +5",
                                 "now",
                                 "now --follow",
                                 "queue",
                                 "queue add qobuz:x",
                                 "queue next qobuz:x",
                                 "queue remove 1",
                                 "queue move 1 2",
                                 "queue clear",
                                 "queue shuffle",
                                 "queue repeat one",
                                 "queue undo",
                                 "sleep",
                                 "sleep 10",
                                 "history",
                                 "history clear"})
            QTest::newRow(line) << text(line);
    }
    void commandsThatNeedAPlayerAreExitCode5WithoutOne()
    {
        QFETCH(QString, line);
        const Players::Outcome outcome = m_players->pelk(line.split(QLatin1Char(' ')));
        QCOMPARE(outcome.exitCode, noPlayer);
        QCOMPARE(outcome.errors, text("pelk: No player is running. Start one with: pelk serve\n"));
    }

    void aSocketFileWithoutAPlayerIsNamed()
    {
        const Players::Outcome outcome = pelk("--socket /nowhere/player.sock pause");
        QCOMPARE(outcome.exitCode, noPlayer);
        QCOMPARE(
            outcome.errors,
            text("pelk: No player can be reached at /nowhere/player.sock: No such file or directory.\n"));
    }

    void aRunningPlayerWithoutItsSocketFileIsReportedAsUnreachable()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        QVERIFY(QFile::remove(m_players->home() + text("/state/pelk/player.sock")));
        const Players::Outcome outcome = pelk("login demo@example.com --password-stdin", "demo\n");
        QCOMPARE(outcome.exitCode, noPlayer);
        QVERIFY2(outcome.errors.contains(text("but cannot be reached at its socket file")),
                 qPrintable(outcome.errors));
    }

    void otherSettingsOrModulesThanTheRunningPlayersAreRefused()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        QCOMPARE(pelk("--config /nowhere/pelk.ini status").exitCode, 2);
        QCOMPARE(m_players->pelk({text("--config"), m_players->settingsFile(), text("status")}).exitCode, 4);
        const Players::Outcome otherModules = pelk("--modules /nowhere status");
        QCOMPARE(otherModules.exitCode, 2);
        QVERIFY2(otherModules.errors.contains(text("leave out --modules")), qPrintable(otherModules.errors));
    }

    void thePlayerIsPausedResumedAndStopped()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        listen();
        QCOMPARE(pelk("pause").fault(), QString());
        QTRY_COMPARE(m_serve->state(), text("paused"));
        QCOMPARE(pelk("toggle").fault(), QString());
        QTRY_COMPARE(m_serve->state(), text("playing"));
        QCOMPARE(pelk("toggle").fault(), QString());
        QTRY_COMPARE(m_serve->state(), text("paused"));
        QCOMPARE(pelk("seek 0:06").fault(), QString());
        QTRY_COMPARE(status().value(text("positionMs")).toInt(), 6000);
        QCOMPARE(pelk("seek +2").fault(), QString());
        QTRY_COMPARE(status().value(text("positionMs")).toInt(), 8000);
        QCOMPARE(pelk("seek -0:05").fault(), QString());
        QTRY_COMPARE(status().value(text("positionMs")).toInt(), 3000);
        QCOMPARE(pelk("seek -99:00").fault(), QString());
        QTRY_COMPARE(status().value(text("positionMs")).toInt(), 0);
        const QJsonValue first = status().value(text("entry"));
        QCOMPARE(pelk("next").fault(), QString());
        QTRY_VERIFY(status().value(text("entry")) != first);
        QCOMPARE(pelk("previous").fault(), QString());
        QTRY_COMPARE(status().value(text("entry")), first);
        QCOMPARE(pelk("stop").fault(), QString());
        QTRY_COMPARE(m_serve->state(), text("stopped"));
        QCOMPARE(pelk("seek 10").errors, text("pelk: Seeking is not possible now.\n"));
        QCOMPARE(pelk("resume").fault(), QString());
        QTRY_COMPARE_WITH_TIMEOUT(m_serve->state(), text("playing"), 30000);
    }

    void theVolumeIsShownAndSet()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        QCOMPARE(pelk("volume").output, text("100 %\n"));
        QCOMPARE(pelk("volume 40").output, text("40 %\n"));
        QCOMPARE(pelk("volume +15").output, text("55 %\n"));
        QCOMPARE(pelk("volume -60").output, text("0 %\n"));
        QCOMPARE(pelk("volume 30%").output, text("30 %\n"));
        QCOMPARE(pelk("volume mute").output, text("30 %, muted\n"));
        QCOMPARE(pelk("volume unmute").output, text("30 %\n"));
    }

    void anInvalidTimeOrVolumeIsWrongUsage_data()
    {
        QTest::addColumn<QString>("line");
        for (const char* line : {"seek x",
                                 "seek 1:70",
                                 "seek 1:2:3:4",
                                 "seek",
                                 "volume 101",
                                 "volume loud",
                                 "volume -101",
                                 "queue remove 0",
                                 "queue remove 5-3",
                                 "queue remove x",
                                 "queue move 1",
                                 "queue move 0 1",
                                 "queue repeat twice",
                                 "queue shuffle perhaps",
                                 "sleep 0",
                                 "sleep -1",
                                 "sleep 1441",
                                 "sleep 5x",
                                 "sleep soon",
                                 "history forget",
                                 "queue frob",
                                 "completions tcsh",
                                 "play",
                                 "play song x"})
            QTest::newRow(line) << text(line);
    }
    void anInvalidTimeOrVolumeIsWrongUsage()
    {
        QFETCH(QString, line);
        const Players::Outcome outcome = m_players->pelk(line.split(QLatin1Char(' ')));
        QCOMPARE(outcome.exitCode, 2);
        QCOMPARE(outcome.output, QString());
        QVERIFY2(outcome.errors.contains(text("\nTry: pelk ")), qPrintable(outcome.errors));
    }

    void aPathOrTitlePlaysOnTheRunningPlayer_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("said");
        QTest::newRow("container") << text("play qobuz:favourites/tracks") << QString();
        QTest::newRow("album by title") << text("play album summer") << text("Found album \"");
        QTest::newRow("track by title") << text("play track summer") << text("Found track \"");
    }
    void aPathOrTitlePlaysOnTheRunningPlayer()
    {
        QFETCH(QString, line);
        QFETCH(QString, said);
        m_serve = std::make_unique<Serve>(*m_players);
        QCOMPARE(m_serve->login().status, 200);
        const Players::Outcome outcome = m_players->pelk(line.split(QLatin1Char(' ')));
        QCOMPARE(outcome.fault(), QString());
        QVERIFY2(outcome.errors.startsWith(said) && outcome.errors.contains(text("Playing ")),
                 qPrintable(outcome.errors));
        QCOMPARE(m_serve->state(), text("playing"));
        if (line.contains(text("track summer")))
            QCOMPARE(titles().size(), 1);
    }

    void aTrackPlaysByItsPath()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        QCOMPARE(m_serve->login().status, 200);
        const QString path = m_players->rows(text("qobuz:favourites/tracks"), 0, 0)
                                 .value(text("rows"))
                                 .toArray()
                                 .first()
                                 .toObject()
                                 .value(text("path"))
                                 .toString();
        const Players::Outcome outcome = m_players->pelk({text("play"), path});
        QCOMPARE(outcome.fault(), QString());
        QCOMPARE(m_serve->state(), text("playing"));
        QCOMPARE(status().value(text("row")).toObject().value(text("path")).toString(), path);
    }

    void anUnplayableTrackIsReportedWithItsExitCode()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        Players::Outcome outcome = pelk("play qobuz:favourites/tracks");
        QCOMPARE(outcome.exitCode, 4);
        QVERIFY2(outcome.errors.endsWith(text("Log in with: pelk login USER\n")), qPrintable(outcome.errors));
        QCOMPARE(m_serve->login().status, 200);
        outcome = pelk("play qobuz:searchNode");
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY2(!outcome.errors.isEmpty(), "nothing is told");
    }

    void theQueueIsShownAndChanged()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        QCOMPARE(pelk("queue").output, text("The queue is empty.\n"));
        QCOMPARE(pelk("queue remove 1").errors, text("pelk: The queue is empty.\n"));
        listen();
        QCOMPARE(pelk("pause").fault(), QString());
        const QStringList before = titles();
        const QStringList lines = pelk("queue").output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 12);
        QVERIFY2(lines.first().startsWith(text(">  1  ") + before.first()), qPrintable(lines.first()));
        QCOMPARE(pelk("queue move 12 2").fault(), QString());
        QCOMPARE(titles().at(1), before.last());
        QCOMPARE(pelk("queue move 2 12").fault(), QString());
        QCOMPARE(titles(), before);
        QCOMPARE(pelk("queue remove 3 5-12").fault(), QString());
        QCOMPARE(titles(), (QStringList{before.at(0), before.at(1), before.at(3)}));
        QCOMPARE(pelk("queue remove 4").errors, text("pelk: There is no entry 4; the queue has 3.\n"));
        QCOMPARE(pelk("queue shuffle").output, text("off\n"));
        QCOMPARE(pelk("queue shuffle on").fault(), QString());
        QCOMPARE(pelk("queue shuffle").output, text("on\n"));
        QCOMPARE(pelk("queue repeat all").fault(), QString());
        QCOMPARE(pelk("queue repeat").output, text("all\n"));
        const Players::Outcome added = pelk("queue add track summer");
        QCOMPARE(added.fault(), QString());
        QVERIFY2(added.errors.endsWith(text("4 tracks are in the queue.\n")), qPrintable(added.errors));
        QCOMPARE(pelk("queue next track winter").fault(), QString());
        QCOMPARE(titles().size(), 5);
        const QStringList last = titles();
        QCOMPARE(pelk("queue clear").fault(), QString());
        QCOMPARE(titles(), QStringList());
        QCOMPARE(pelk("queue undo").fault(), QString());
        QCOMPARE(titles(), last);
        const Players::Outcome again = pelk("queue undo");
        QCOMPARE(again.exitCode, 1);
        QCOMPARE(again.errors, text("pelk: There is nothing to undo.\n"));
    }

    void theSleepTimerIsShownAndSet()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        QCOMPARE(pelk("sleep").output, text("off\n"));
        QCOMPARE(pelk("sleep 90").fault(), QString());
        const QString left = pelk("sleep").output;
        QVERIFY2(QRegularExpression(text("^in 1:(29|30):\\d\\d\n$")).match(left).hasMatch(),
                 qPrintable(left));
        for (const char* when : {"track", "queue", "off"}) {
            QCOMPARE(m_players->pelk({text("sleep"), text(when)}).fault(), QString());
            QCOMPARE(pelk("sleep").output, text(when) + QLatin1Char('\n'));
        }
        listen();
        QCOMPARE(pelk("sleep track").fault(), QString());
        QVERIFY(pelk("now").output.endsWith(text("Sleep      track\n")));
    }

    void theHistoryIsShownAndCleared()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        QCOMPARE(pelk("history").output, text("The history is empty.\n"));
        listen();
        const QString path = status().value(text("row")).toObject().value(text("path")).toString();
        const QString shown = pelk("history").output;
        QVERIFY2(shown.contains(path) && shown.contains(titles().first()), qPrintable(shown));
        QVERIFY2(QRegularExpression(text("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d  ")).match(shown).hasMatch(),
                 qPrintable(shown));
        const QJsonArray items = pelk("history --json").json().value(text("items")).toArray();
        QVERIFY(!items.isEmpty());
        QCOMPARE(pelk("history clear").fault(), QString());
        QCOMPARE(pelk("history").output, text("The history is empty.\n"));
        QCOMPARE(pelk("history --json").json().value(text("items")).toArray(), QJsonArray());
    }

    void aDisabledHistoryIsNotReportedAsEmpty()
    {
        QFile settings(m_players->settingsFile());
        QVERIFY(settings.open(QIODevice::Append));
        settings.write("[player]\nhistory=off\n");
        settings.close();
        m_serve = std::make_unique<Serve>(*m_players);
        QCOMPARE(pelk("history").output, text("The history is turned off in the settings.\n"));
    }

    void aListFitsTheTerminal_data()
    {
        QTest::addColumn<int>("columns");
        QTest::newRow("narrow") << 80;
        QTest::newRow("wide") << 200;
    }
    void aListFitsTheTerminal()
    {
        QFETCH(int, columns);
        m_serve = std::make_unique<Serve>(*m_players);
        listen();
        qputenv("COLUMNS", QByteArray::number(columns));
        const QString output = pelk("queue").output + pelk("now").output;
        qunsetenv("COLUMNS");
        QCOMPARE(output.count(QLatin1Char('\n')), 12 + 6);
        for (const QString& line : output.split(QLatin1Char('\n')))
            QVERIFY2(line.size() <= columns, qPrintable(line));
    }

    void aFollowerSeesTheLastOfAThousandChanges()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        listen();
        const std::unique_ptr<QProcess> follower =
            m_players->start({text("now"), text("--follow"), text("--json")});
        QByteArray last;
        int lines = 0;
        const auto readAll = [&] {
            while (follower->canReadLine()) {
                last = follower->readLine();
                ++lines;
            }
            return QJsonDocument::fromJson(last).object();
        };
        QTRY_VERIFY_WITH_TIMEOUT(!readAll().isEmpty(), 30000);
        const PanelClient client = m_serve->client();
        for (int i = 1; i <= 1000; ++i)
            QCOMPARE(client.post("/api/player/volume", QJsonObject{{text("percent"), i % 100}}).status, 204);
        QCOMPARE(client.post("/api/player/volume", QJsonObject{{text("percent"), 77}}).status, 204);
        QTRY_COMPARE_WITH_TIMEOUT(readAll().value(text("volumePercent")).toInt(), 77, 30000);
        QVERIFY(lines > 1);
        QCOMPARE(m_serve->end(), 0);
        QVERIFY(follower->waitForFinished(30000));
        QCOMPARE(follower->exitCode(), noPlayer);
    }

    void aFollowerSeesEachChangeOnce()
    {
        m_serve = std::make_unique<Serve>(*m_players);
        listen();
        QCOMPARE(pelk("pause").fault(), QString());
        QTRY_COMPARE(m_serve->state(), text("paused"));
        const std::unique_ptr<QProcess> follower = m_players->start({text("now"), text("--follow")});
        QStringList lines;
        const auto count = [&] {
            while (follower->canReadLine())
                lines << QString::fromUtf8(follower->readLine());
            return lines.size();
        };
        QTRY_VERIFY(count() > 0);
        for (int percent = 0; percent < 50; ++percent)
            QCOMPARE(
                m_serve->client().post("/api/player/volume", QJsonObject{{text("percent"), percent}}).status,
                204);
        QCOMPARE(pelk("stop").fault(), QString());
        QTRY_VERIFY(count() > 1 && lines.last().startsWith(text("stopped  ")));
        for (int i = 0; i + 1 < lines.size(); ++i) {
            QVERIFY2(lines.at(i).startsWith(text("paused  ")), qPrintable(lines.at(i)));
            QVERIFY2(lines.at(i) != lines.at(i + 1), qPrintable(lines.at(i)));
        }
    }
};

QTEST_GUILESS_MAIN(CommandsE2ETest)
#include "commands_e2e_test.moc"

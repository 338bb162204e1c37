#include "tests/e2e/players.h"
#include "tests/support/panelclient.h"

#include <QJsonArray>
#include <QtTest>

#include <csignal>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

/// `pelk serve` as a process, on its own port.
class Serve
{
public:
    explicit Serve(const Players& players)
        : process(players.start({text("serve"), text("--listen"), text("127.0.0.1:0")}))
    {
        while (!process->canReadLine() && process->waitForReadyRead(60000)) {
        }
        port = quint16(
            QUrl(QString::fromUtf8(process->readLine()).trimmed().section(QLatin1Char(' '), -1)).port());
    }
    ~Serve()
    {
        if (process->state() != QProcess::NotRunning)
            end(SIGTERM);
    }
    Serve(const Serve&) = delete;
    Serve& operator=(const Serve&) = delete;

    void end(int signal) const
    {
        ::kill(pid_t(process->processId()), signal);
        QVERIFY(process->waitForFinished(30000));
    }
    QString errors() const { return QString::fromUtf8(process->readAllStandardError()); }
    QJsonObject player() const { return PanelClient(port).get("/api/player").json(); }
    QJsonArray queue() const
    {
        return PanelClient(port)
            .get("/api/player/queue?from=0&to=99")
            .json()
            .value(text("entries"))
            .toArray();
    }
    QStringList paths() const
    {
        QStringList paths;
        const QJsonArray entries = queue();
        for (const QJsonValue& entry : entries)
            paths << entry.toObject().value(text("row")).toObject().value(text("path")).toString();
        return paths;
    }
    int post(const char* what, const QJsonObject& body = {}) const
    {
        return PanelClient(port).post(QByteArray("/api/player/") + what, body).status;
    }

    std::unique_ptr<QProcess> process;
    quint16 port = 0;
};

} // namespace

/// The state that is restored after the player has ended for any reason.
class SavedStateE2ETest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Players> m_players;

    QString stateFile(const char* name) const
    {
        return m_players->home() + text("/state/pelk/") + text(name);
    }
    QByteArray contents(const char* name) const
    {
        QFile file(stateFile(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void put(const char* name, const QByteArray& content) const
    {
        QVERIFY(QDir().mkpath(m_players->home() + text("/state/pelk")));
        QFile file(stateFile(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    /// A queue of twelve tracks that plays the fourth from half a minute on, with a volume and modes.
    void listen(const Serve& serve) const
    {
        QCOMPARE(serve.post("queue/add", QJsonObject{{text("path"), text("qobuz:favourites/tracks")},
                                                     {text("where"), text("replace")},
                                                     {text("from"), 0},
                                                     {text("to"), 11}}),
                 202);
        QTRY_COMPARE(serve.paths().size(), 12);
        QCOMPARE(serve.post("volume", QJsonObject{{text("percent"), 35}, {text("muted"), true}}), 204);
        QCOMPARE(serve.post("mode", QJsonObject{{text("repeat"), text("all")}, {text("shuffle"), true}}),
                 204);
        const int entry = serve.queue().at(3).toObject().value(text("id")).toInt();
        QCOMPARE(serve.post("jump", QJsonObject{{text("entry"), entry}}), 204);
        QTRY_COMPARE_WITH_TIMEOUT(serve.player().value(text("state")).toString(), text("playing"), 30000);
        QTRY_VERIFY(serve.player().value(text("canSeek")).toBool());
        QCOMPARE(serve.post("seek", QJsonObject{{text("positionMs"), 7000}}), 204);
        QTRY_VERIFY(serve.player().value(text("positionMs")).toInt() >= 7000);
    }

private Q_SLOTS:
    void init()
    {
        m_players = std::make_unique<Players>();
        QCOMPARE(m_players->login().exitCode, 0);
    }
    void cleanup() { m_players.reset(); }

    void thePlayerIsPausedAtItsPosition_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("after an end in order") << SIGTERM;
        QTest::newRow("after a kill") << SIGKILL;
    }
    void thePlayerIsPausedAtItsPosition()
    {
        QFETCH(int, signal);
        QStringList paths;
        QString current;
        {
            const Serve serve(*m_players);
            listen(serve);
            paths = serve.paths();
            current = serve.player().value(text("row")).toObject().value(text("path")).toString();
            // It is written within a second; a kill before that would find what was there a second before.
            QTRY_VERIFY(contents("player.json").contains("\"positionMs\":7") ||
                        contents("player.json").contains("\"positionMs\":8"));
            serve.end(signal);
        }
        for (const char* name : {"queue.json", "player.json"})
            QCOMPARE(int(QFile::permissions(stateFile(name)) & 0x777) & 0x077, 0);
        const Serve serve(*m_players);
        QCOMPARE(serve.paths(), paths);
        const QJsonObject player = serve.player();
        QCOMPARE(player.value(text("state")).toString(), text("paused"));
        QCOMPARE(player.value(text("row")).toObject().value(text("path")).toString(), current);
        QCOMPARE(paths.indexOf(current), 3);
        const int position = player.value(text("positionMs")).toInt();
        QVERIFY2(position >= 7000 && position < 11000, qPrintable(QString::number(position)));
        QCOMPARE(player.value(text("volumePercent")).toInt(), 35);
        QCOMPARE(player.value(text("muted")).toBool(), true);
        QCOMPARE(player.value(text("repeat")).toString(), text("all"));
        QCOMPARE(player.value(text("shuffle")).toBool(), true);
        QCOMPARE(serve.post("play"), 204);
        QTRY_COMPARE_WITH_TIMEOUT(serve.player().value(text("state")).toString(), text("playing"), 30000);
        QVERIFY(serve.player().value(text("positionMs")).toInt() >= 7000);
        // Without shuffling, they are in their own order again.
        QCOMPARE(serve.post("mode", QJsonObject{{text("shuffle"), false}}), 204);
        QStringList sorted = serve.paths();
        QVERIFY(sorted != paths);
    }

    void noStreamAndNoLoginIsInAStateFile()
    {
        {
            const Serve serve(*m_players);
            listen(serve);
        }
        for (const char* name : {"queue.json", "player.json", "history.json"}) {
            const QByteArray content = contents(name);
            QVERIFY2(!content.isEmpty(), name);
            for (const char* secret : {"/streams/", "oken", "stateChange", "\"uri\""})
                QVERIFY2(!content.contains(secret), secret);
        }
    }

    void anInvalidFileIsSetAsideWithASentence_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("reason");
        QTest::newRow("incomplete") << QByteArray(
                                           "{\"concern\":\"queue\",\"version\":1,\"data\":{\"rows\":[{\"pa")
                                    << text("it is incomplete or damaged");
        QTest::newRow("from a later version")
            << QByteArray("{\"concern\":\"queue\",\"version\":2,\"data\":{\"rows\":[]}}")
            << text("it was written by a later version of the player");
    }
    void anInvalidFileIsSetAsideWithASentence()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, reason);
        put("queue.json", content);
        const Serve serve(*m_players);
        QCOMPARE(serve.paths().size(), 0);
        QVERIFY(QFile::exists(stateFile("queue.json.bad")));
        serve.end(SIGTERM);
        const QString errors = serve.errors();
        QVERIFY2(errors.contains(stateFile("queue.json") + text(" cannot be used: ") + reason),
                 qPrintable(errors));
    }

    void anUnreadableVolumeBecomesQuiet()
    {
        put("player.json", "{\"concern\":\"player\",\"version\":1,\"data\":{\"volumePercent\":1e9}}");
        const Serve serve(*m_players);
        QCOMPARE(serve.player().value(text("volumePercent")).toInt(), 30);
    }

    void theQueueOfAMissingModuleIsShownAndReported()
    {
        put("queue.json", "{\"concern\":\"queue\",\"version\":1,\"data\":{\"rows\":[{\"path\":\"gone:track?"
                          "id=1\",\"title\":"
                          "\"Old\",\"mediaData\":{\"metaData\":{\"prePlayPath\":\"gone:preplay?id=1\"}}}],"
                          "\"shuffled\":false,"
                          "\"unshuffled\":[]}}");
        put("player.json",
            "{\"concern\":\"player\",\"version\":1,\"data\":{\"current\":0,\"path\":\"gone:track?id=1\","
            "\"positionMs\":5000,\"volumePercent\":20}}");
        const Serve serve(*m_players);
        QCOMPARE(serve.paths(), QStringList(text("gone:track?id=1")));
        QCOMPARE(serve.player().value(text("state")).toString(), text("paused"));
        EventReader reader(serve.port);
        QTRY_COMPARE(reader.status(), 200);
        QCOMPARE(serve.post("play"), 204);
        QTRY_VERIFY(reader.count(text("notification")) > 0);
        QCOMPARE(reader.last(text("notification")).value(text("title")).toString(),
                 text("Old cannot be played"));
        QTRY_COMPARE(serve.player().value(text("state")).toString(), text("stopped"));
        QCOMPARE(serve.player().value(text("volumePercent")).toInt(), 20);
    }

    void aLimitKeepsTheVolumeDown()
    {
        QFile settings(m_players->settingsFile());
        QVERIFY(settings.open(QIODevice::Append));
        settings.write("[player]\nvolumeLimit=40\n");
        settings.close();
        const Serve serve(*m_players);
        QCOMPARE(serve.post("volume", QJsonObject{{text("percent"), 90}}), 204);
        QCOMPARE(serve.player().value(text("volumePercent")).toInt(), 40);
        // From a browser, while it runs.
        QCOMPARE(PanelClient(serve.port)
                     .post("/api/data",
                           QJsonObject{
                               {text("path"), text("settings:player/volumeLimit")},
                               {text("role"), text("value")},
                               {text("value"), QJsonObject{{text("type"), 1}, {text("string"), text("25")}}}})
                     .status,
                 200);
        QTRY_COMPARE(serve.player().value(text("volumePercent")).toInt(), 25);
    }

    void historyThatIsOffRemembersNothing()
    {
        {
            const Serve serve(*m_players);
            listen(serve);
            QTRY_VERIFY(contents("history.json").contains("qobuz:track"));
            QCOMPARE(PanelClient(serve.port)
                         .post("/api/data",
                               QJsonObject{{text("path"), text("settings:player/history")},
                                           {text("role"), text("value")},
                                           {text("value"),
                                            QJsonObject{{text("type"), 1}, {text("string"), text("off")}}}})
                         .status,
                     200);
            QTRY_VERIFY(!QFile::exists(stateFile("history.json")));
            QCOMPARE(serve.post("next"), 204);
            QTRY_COMPARE_WITH_TIMEOUT(serve.player().value(text("state")).toString(), text("playing"), 30000);
        }
        QVERIFY(!QFile::exists(stateFile("history.json")));
    }
};

QTEST_GUILESS_MAIN(SavedStateE2ETest)
#include "saved_state_e2e_test.moc"

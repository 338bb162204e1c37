#include "tests/e2e/serve.h"
#include "tests/support/figures.h"
#include "tests/support/patience.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>
#include <netinet/in.h>
#include <sys/socket.h>

#include <csignal>
#include <unistd.h>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

/// How many reports of a kind the service has heard.
int reports(const Players& players, const char* what)
{
    const QJsonArray requests = players.controlGet(text("requests")).value(text("requests")).toArray();
    int count = 0;
    for (const QJsonValue& request : requests)
        count += request.toObject().value(text("target")).toString().contains(text(what)) ? 1 : 0;
    return count;
}

/// How many requests of a kind it has answered.
int answered(const Players& players, const char* what)
{
    const QJsonArray requests = players.controlGet(text("requests")).value(text("requests")).toArray();
    int count = 0;
    for (const QJsonValue& request : requests)
        if (request.toObject().value(text("endpoint")).toString() == text(what) &&
            request.toObject().value(text("status")).toInt() != 0)
            ++count;
    return count;
}

} // namespace

/// `pelk serve` in front of the sandbox.
class ServeE2ETest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itPrintsThePanelsAddressAndEndsProperly_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("asked to end") << SIGTERM;
        QTest::newRow("interrupted") << SIGINT;
    }
    void itPrintsThePanelsAddressAndEndsProperly()
    {
        QFETCH(int, signal);
        const Players players;
        const Serve serve(players);
        QVERIFY2(serve.line.startsWith(text("The panel is at http://127.0.0.1:")), qPrintable(serve.line));
        QCOMPARE(serve.client().get("/api/player").status, 200);
        EventReader reader(serve.port);
        QTRY_COMPARE(reader.status(), 200);
        QCOMPARE(serve.end(signal), 0);
        QTRY_VERIFY(reader.hasEnded());
    }

    void aPortInUseByAnotherPlayerIsReportedInASentence()
    {
        const Players players;
        const Players other;
        const Serve serve(players);
        const Players::Outcome second =
            other.pelk({text("serve"), text("--listen"), text("127.0.0.1:%1").arg(serve.port)});
        QCOMPARE(second.exitCode, 1);
        QVERIFY2(second.errors.contains(
                     text("Cannot listen on 127.0.0.1 port %1: another player may be running there.")
                         .arg(serve.port)),
                 qPrintable(second.errors));
        QCOMPARE(serve.client().get("/api/player").status, 200);
    }

    void aSocketPassedBySystemdIsUsed_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("listens");
        QTest::newRow("one that listens") << int(SOCK_STREAM) << true;
        QTest::newRow("one that does not") << int(SOCK_STREAM) << false;
        QTest::newRow("one for datagrams") << int(SOCK_DGRAM) << false;
    }
    void aSocketPassedBySystemdIsUsed()
    {
        QFETCH(int, type);
        QFETCH(bool, listens);
        const Players players;
        const int socket = ::socket(AF_INET, type, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        QCOMPARE(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        if (listens)
            QCOMPARE(::listen(socket, 8), 0);
        socklen_t size = sizeof address;
        QCOMPARE(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
        QProcess process;
        process.setProcessEnvironment(players.environment());
        // As the system does it: the socket is descriptor 3, and the program knows that it is meant.
        process.start(text("sh"),
                      {text("-c"),
                       text("exec 3<&%1; export LISTEN_FDS=1 LISTEN_PID=$$; exec \"$0\" serve").arg(socket),
                       text(PELK_BIN_DIR "/pelk")});
        QVERIFY(process.waitForReadyRead(60000) || !listens);
        if (listens) {
            const int port = ntohs(address.sin_port);
            QCOMPARE(QString::fromUtf8(process.readLine()).trimmed(),
                     text("The panel is at http://127.0.0.1:%1/").arg(port));
            QCOMPARE(PanelClient(quint16(port)).get("/api/player").status, 200);
            process.terminate();
        }
        QVERIFY(process.state() == QProcess::NotRunning || process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), listens ? 0 : 1);
        if (!listens)
            QVERIFY(QString::fromUtf8(process.readAllStandardError()).contains(text("ListenStream=PORT")));
        ::close(socket);
    }

    void anAddressOfAnotherMachineIsReportedInASentence()
    {
        const Players players;
        const Players::Outcome outcome = players.pelk({text("serve"), text("--listen"), text("192.0.2.1:0")});
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY2(outcome.errors.contains(
                     text("Cannot listen on 192.0.2.1 port 0: it is not an address of this machine.")),
                 qPrintable(outcome.errors));
    }

    void anInvalidAddressIsWrongUsage_data()
    {
        QTest::addColumn<QString>("address");
        for (const char* address :
             {"8080", "127.0.0.1", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1:70000", ":8080", "::1:8080"})
            QTest::newRow(address) << text(address);
    }
    void anInvalidAddressIsWrongUsage()
    {
        QFETCH(QString, address);
        const Players players;
        const Players::Outcome outcome = players.pelk({text("serve"), text("--listen"), address});
        QCOMPARE(outcome.exitCode, 2);
        QVERIFY2(outcome.errors.contains(text("\"%1\" is not an address with a port").arg(address)),
                 qPrintable(outcome.errors));
    }

    void theFirstPageIsSmallOnTheWire()
    {
        const Players players;
        const Serve serve(players);
        const PanelReply page = serve.client().get("/", {{"Accept-Encoding", "gzip, br"}});
        QCOMPARE(page.headers.value("content-encoding"), QByteArray("br"));
        QCOMPARE(page.headers.value("vary"), QByteArray("Accept-Encoding"));
        int bytes = page.body.size();
        const QString plain = QString::fromUtf8(serve.client().get("/").body);
        static const QRegularExpression part(text("(?:src|href)=\"(/assets/[^\"]+)\""));
        int parts = 0;
        for (auto it = part.globalMatch(plain); it.hasNext(); ++parts) {
            const QByteArray target = it.next().captured(1).toUtf8();
            const PanelReply reply = serve.client().get(target, {{"Accept-Encoding", "br"}});
            QCOMPARE(reply.status, 200);
            QCOMPARE(reply.headers.value("cache-control"), QByteArray("public, max-age=31536000, immutable"));
            bytes += reply.body.size();
        }
        QVERIFY(parts >= 2);
        printFigures("the first page is %d bytes on the wire, %d files", bytes, parts + 1);
        QVERIFY2(bytes <= 40 * 1024, qPrintable(QString::number(bytes)));
    }

    void aFolderWithoutAPanelIsWarnedOf()
    {
        const Players players;
        const std::unique_ptr<QProcess> serve = players.start(
            {text("serve"), text("--listen"), text("127.0.0.1:0"), text("--panel"), players.home()});
        QByteArray errors;
        QTRY_VERIFY2((errors += serve->readAllStandardError())
                         .contains("Warning: " + players.home().toUtf8() + " does not contain the panel"),
                     errors.constData());
        serve->terminate();
        QVERIFY(serve->waitForFinished(patienceMs));
    }

    void twoDoNotShareAFolderForSettings()
    {
        const QTemporaryDir home;
        const QStringList arguments{text("--bin"), text(PELK_BIN_DIR), text("--home"), home.path()};
        QProcess first;
        first.setStandardInputFile(QProcess::nullDevice());
        first.start(text(PELK_SCRIPTS "/serve"), arguments);
        QByteArray said;
        QTRY_VERIFY2_WITH_TIMEOUT((said += first.readAllStandardOutput()).contains("pelk --help"),
                                  said.constData(), 30000);
        const QString settings = home.filePath(text("config/pelk/pelk.ini"));
        const auto contents = [&settings] {
            QFile file(settings);
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        };
        const QByteArray before = contents();
        QVERIFY(!before.isEmpty());
        QProcess second;
        second.start(text(PELK_SCRIPTS "/serve"), arguments);
        const bool ended = second.waitForFinished(20000);
        if (!ended) {
            second.terminate();
            second.waitForFinished(patienceMs);
        }
        first.terminate();
        QVERIFY(first.waitForFinished(patienceMs));
        QVERIFY(ended);
        QCOMPARE(second.exitCode(), 2);
        const QByteArray sentence = second.readAllStandardError();
        QVERIFY2(sentence.contains("another player is using " + home.path().toUtf8()), sentence.constData());
        QCOMPARE(contents(), before);
    }

    void theOutputOfAnEarlierRunIsIgnored()
    {
        const QTemporaryDir home;
        for (const char* said : {"/sandbox.out", "/player.out"}) {
            QFile earlier(home.path() + text(said));
            QVERIFY(earlier.open(QIODevice::WriteOnly));
            earlier.write(
                "qobuz-sandbox: http://127.0.0.1:9/api.json/0.2/\nThe panel is at http://127.0.0.1:9/\n");
        }
        QProcess script;
        script.setStandardInputFile(QProcess::nullDevice());
        script.start(text(PELK_SCRIPTS "/serve"),
                     {text("--bin"), text(PELK_BIN_DIR), text("--home"), home.path()});
        QByteArray said;
        QTRY_VERIFY2_WITH_TIMEOUT((said += script.readAllStandardOutput()).contains("pelk --help"),
                                  said.constData(), 30000);
        const QUrl panel(
            QString::fromUtf8(said.mid(said.indexOf("http://"))).section(QLatin1Char('\n'), 0, 0));
        const int status = PanelClient(quint16(panel.port())).get("/api/player").status;
        script.terminate();
        QVERIFY(script.waitForFinished(patienceMs));
        QVERIFY2(status == 200 && !said.contains("127.0.0.1:9/"), said.constData());
    }

    void theAddressThatIsPrintedOpensInABrowser_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("printed");
        for (const char* address : {"*:0", "0:0", "0.0.0.0:0", "127.1:0", "0x7f000001:0"})
            QTest::newRow(address) << text(address) << text("http://127.0.0.1:");
        QFile interfaces(text("/proc/net/if_inet6"));
        if (interfaces.open(QIODevice::ReadOnly) && !interfaces.readAll().isEmpty())
            for (const char* address : {"[::]:0", "[0:0::0]:0", "[0::1]:0"})
                QTest::newRow(address) << text(address) << text("http://[::1]:");
    }
    void theAddressThatIsPrintedOpensInABrowser()
    {
        QFETCH(QString, address);
        QFETCH(QString, printed);
        const Players players;
        const Serve serve(players, address, {}, {text("--open")});
        QVERIFY2(serve.line.startsWith(text("The panel is at ") + printed), qPrintable(serve.line));
        QVERIFY(serve.port != 0);
        QProcess curl;
        curl.start(text("curl"), {text("-s"), text("--globoff"),
                                  serve.line.section(QLatin1Char(' '), -1) + text("api/player")});
        QVERIFY(curl.waitForFinished(patienceMs));
        QVERIFY(QJsonDocument::fromJson(curl.readAllStandardOutput()).object().contains(text("state")));
    }

    void aFailedSaveNamesNoFileToBrowsers()
    {
        const Players players;
        const Serve serve(players);
        const QString folder = QFileInfo(players.settingsFile()).path();
        QVERIFY(QDir().rename(folder, folder + text(".away")));
        QFile blocker(folder); // where the folder has to be, so that not even root can write the settings
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        const PanelReply reply = serve.client().post(
            "/api/data",
            QJsonObject{{text("path"), text("settings:qobuz/soundQuality")},
                        {text("role"), text("value")},
                        {text("value"), QJsonObject{{text("type"), 141}, {text("qobuzSoundQuality"), 1}}}});
        QCOMPARE(reply.status, 502);
        QVERIFY2(reply.detail().startsWith(text("The settings cannot be saved: ")),
                 qPrintable(reply.detail()));
        QVERIFY2(!reply.body.contains(players.home().toUtf8()), reply.body.constData());
    }

    void anAddressOfTheNetworkIsWarnedOf()
    {
        const Players players;
        const Serve serve(players, text("0.0.0.0:0"), {}, {text("--open")});
        QCOMPARE(serve.client().get("/api/player").status, 200);
        QCOMPARE(serve.client()
                     .get("/api/player", {{"Host", "evil.example:" + QByteArray::number(serve.port)}})
                     .status,
                 403);
        QCOMPARE(serve.end(), 0);
        const QString errors = serve.errors();
        QVERIFY2(errors.contains(text("Warning: everybody who reaches %1 can use this player")
                                     .arg(QSysInfo::machineHostName())),
                 qPrintable(errors));
        QVERIFY2(errors.contains(text("is not encrypted")), qPrintable(errors));
        QVERIFY2(serve.line.startsWith(text("The panel is at http://127.0.0.1:")), qPrintable(serve.line));
    }

    void aLoginIsFollowedAndKept()
    {
        const Players players;
        const Serve serve(players);
        EventReader reader(serve.port, "?value=account:qobuz%2FloginState");
        const auto state = [&] {
            return reader.last(text("value"))
                .value(text("value"))
                .toObject()
                .value(text("qobuzLoginState"))
                .toObject()
                .value(text("state"))
                .toInt(-1);
        };
        QTRY_COMPARE(state(), 2);
        const PanelReply wrong = serve.login("wrong");
        QCOMPARE(wrong.status, 502);
        QCOMPARE(wrong.detail(), text("Invalid username/email and password combination"));
        QTRY_COMPARE(state(), 3);
        QCOMPARE(serve.login().status, 200);
        QTRY_COMPARE(state(), 0);
        QCOMPARE(serve.client().get("/api/rows?path=qobuz:&from=0&to=9").json().value(text("count")).toInt(),
                 5);
        QCOMPARE(serve.end(), 0);
        QCOMPARE(players.pelk({text("status")}).exitCode, 0);
    }

    void aLoginThatCannotBeSavedIsANotice()
    {
        const Players players;
        // There is a file in place of its folder, so that not even root can write it.
        const QString folder = QFileInfo(players.loginFile()).path();
        QVERIFY(QDir().mkpath(QFileInfo(folder).path()));
        QFile file(folder);
        QVERIFY(file.open(QIODevice::WriteOnly));
        const Serve serve(players);
        EventReader reader(serve.port, "?lang=de");
        QTRY_COMPARE(reader.status(), 200);
        QCOMPARE(serve.login().status, 200);
        QTRY_COMPARE(reader.last(text("notification")).value(text("title")).toString(),
                     text("Die Anmeldung konnte nicht gespeichert werden"));
        QVERIFY(!QJsonDocument(reader.last(text("notification"))).toJson().contains(players.home().toUtf8()));
        QCOMPARE(serve.client().get("/api/rows?path=qobuz:&from=0&to=9").status, 200);
    }

    void aLogoutWhilePlayingStopsThePlayer()
    {
        const Players players;
        const Serve serve(players);
        QCOMPARE(serve.login().status, 200);
        serve.play("qobuz:favourites/tracks");
        QCOMPARE(serve.logout().status, 200);
        QTRY_COMPARE(serve.state(), text("stopped"));
        QCOMPARE(serve.client().get("/api/rows?path=qobuz:&from=0&to=9&lang=fr").detail(),
                 text("Aucun compte n’est connecté"));
    }

    void aLogoutWhileTheStreamIsResolvedStopsThePlayer()
    {
        const Players players;
        const Serve serve(players);
        QCOMPARE(serve.login().status, 200);
        players.fault(text("track/getFileUrl"),
                      QJsonObject{{text("kind"), text("delay")}, {text("ms"), 3000}, {text("count"), 1}});
        QCOMPARE(
            serve.client()
                .post("/api/player/queue/add", QJsonObject{{text("path"), text("qobuz:favourites/tracks")},
                                                           {text("where"), text("replace")}})
                .status,
            202);
        QTRY_COMPARE(serve.state(), text("opening"));
        QTRY_COMPARE(reports(players, "track/getFileUrl"), 1);
        QCOMPARE(serve.logout().status, 200);
        QTRY_COMPARE(serve.state(), text("stopped"));
        // Nobody receives the response.
        QTRY_COMPARE(answered(players, "track/getFileUrl"), 1);
        QCOMPARE(serve.state(), text("stopped"));
        QCOMPARE(reports(players, "reportStreaming"), 0);
    }

    void anEndWhilePlayingIsReported()
    {
        const Players players;
        const Serve serve(players);
        QCOMPARE(serve.login().status, 200);
        serve.play("qobuz:favourites/tracks");
        QTRY_COMPARE(reports(players, "reportStreamingStart"), 1);
        QCOMPARE(serve.end(SIGINT), 0);
        QCOMPARE(reports(players, "reportStreamingEnd"), 1);
        QVERIFY2(!serve.errors().contains(text("did not end in time")), "a module was left behind");
    }

    void anUnreachableServiceIsReportedAndRecovers()
    {
        const Players players;
        const Serve serve(players);
        QCOMPARE(serve.login().status, 200);
        const QByteArray albums = "/api/rows?path=qobuz:featured/albums&from=0&to=9";
        QCOMPARE(serve.client().get(albums).status, 200);
        players.fault(text("catalog/getFeatured"),
                      QJsonObject{{text("kind"), text("status")}, {text("status"), 503}, {text("count"), 1}});
        const PanelReply away = serve.client().get(albums);
        QCOMPARE(away.status, 502);
        QVERIFY(!away.detail().isEmpty());
        QTRY_COMPARE(serve.client().get(albums).status, 200);
    }

    void privateValuesCanNeitherBeReadNorSetNorFollowed_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("the saved login") << text("session:qobuz");
        QTest::newRow("the saved login, spelled otherwise") << text("session:%71obuz?x=1");
        QTest::newRow("the settings") << text("settings:qobuz");
        QTest::newRow("the device's identifier") << text("system:memberId");
    }
    void privateValuesCanNeitherBeReadNorSetNorFollowed()
    {
        QFETCH(QString, path);
        const Players players;
        const Serve serve(players);
        QCOMPARE(serve.login().status, 200);
        const QByteArray encoded = QUrl::toPercentEncoding(path);
        for (const char* target :
             {"/api/data?role=value&path=", "/api/rows?from=0&to=9&path=", "/api/events?value="})
            QCOMPARE(serve.client().get(target + encoded).status, 403);
        const QJsonObject value{{text("type"), 140}, {text("qobuzUserSession"), QJsonObject()}};
        QCOMPARE(serve.client()
                     .post("/api/data", QJsonObject{{text("path"), path},
                                                    {text("role"), text("value")},
                                                    {text("value"), value}})
                     .status,
                 403);
        QCOMPARE(serve.client()
                     .post("/api/player/queue/add",
                           QJsonObject{{text("path"), path}, {text("where"), text("end")}})
                     .status,
                 403);
        QCOMPARE(serve.client().get("/api/rows?path=qobuz:&from=0&to=9").status, 200);
    }

    void nothingSecretIsWrittenAnywhere()
    {
        const Players players;
        const Serve serve(players, text("127.0.0.1:0"), {text("--log-level"), text("info")});
        EventReader reader(serve.port, "?value=account:qobuz&value=account:qobuz%2FloginState");
        QTRY_COMPARE(reader.events().size(), 4);
        const PanelReply login = serve.login();
        QCOMPARE(login.status, 200);
        serve.play("qobuz:favourites/tracks");
        QTRY_COMPARE(reader.last(text("player")).value(text("state")).toString(), text("playing"));
        QByteArray told = login.body;
        for (const char* target :
             {"/api/data?role=value&path=account:qobuz", "/api/player", "/api/player/queue?from=0&to=99",
              "/api/rows?path=qobuz:favourites%2Ftracks&from=0&to=99"}) {
            const PanelReply reply = serve.client().get(target);
            QCOMPARE(reply.status, 200);
            told += reply.body;
        }
        for (const EventReader::Event& event : reader.events())
            told += QJsonDocument(event.data).toJson();
        QCOMPARE(serve.logout().status, 200);
        QTRY_COMPARE(serve.state(), text("stopped"));
        QCOMPARE(serve.login().status, 200);
        QCOMPARE(serve.end(), 0);
        const QString log = serve.errors();
        QVERIFY2(log.contains(text("Account removed")), qPrintable(log)); // it was written
        QFile file(players.loginFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString token = QJsonDocument::fromJson(file.readAll())
                                  .object()
                                  .value(text("session:qobuz"))
                                  .toObject()
                                  .value(text("qobuzUserSession"))
                                  .toObject()
                                  .value(text("userAuthToken"))
                                  .toString();
        QVERIFY(token.size() > 10);
        const QString said = serve.line + log + QString::fromUtf8(serve.process->readAllStandardOutput());
        QVERIFY2(!said.contains(token) && !said.contains(text("/streams/")), qPrintable(said));
        for (const char* secret :
             {"oken", "assword", "ecret", "credential", "/streams/", "preplay", "stateChange"})
            QVERIFY2(!told.contains(secret), secret);
    }
};

QTEST_GUILESS_MAIN(ServeE2ETest)
#include "serve_e2e_test.moc"

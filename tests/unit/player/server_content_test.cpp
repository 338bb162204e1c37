#include "player/server/api/ContentRequests.h"
#include "tests/support/patience.h"
#include "tests/unit/player/server_fixture.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QtTest>

#include <limits>
#include <vector>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

QByteArray getBytes(const ServerFixture& f, const QByteArray& target)
{
    return "GET " + target + " HTTP/1.1\r\nHost: " + f.client().host() + "\r\n\r\n";
}

} // namespace

/// The content model over HTTP: rows, data of nodes, values.
class ServerContentTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theRowsOfTheRootAreTheModulesRoots()
    {
        ServerFixture f;
        f.start();
        const PanelReply reply = f.client().get("/api/rows?path=&from=0&to=9");
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.headers.value("content-type"), QByteArray("application/json"));
        QCOMPARE(reply.json().value(text("count")).toInt(), 1);
        const QJsonObject row = reply.json().value(text("rows")).toArray().first().toObject();
        QCOMPARE(row.value(text("path")).toString(), text("test:"));
        QCOMPARE(row.value(text("title")).toString(), text("Root"));
        QCOMPARE(row.value(text("type")).toString(), text("container"));
        QCOMPARE(row.value(text("playable")).toBool(true), false);
    }

    void anImpossibleTotalIsLimited_data()
    {
        QTest::addColumn<int>("stated");
        QTest::addColumn<int>("count");
        QTest::newRow("negative") << std::numeric_limits<int>::min() << 2;
        QTest::newRow("absurd") << std::numeric_limits<int>::max() << 1000000;
    }
    void anImpossibleTotalIsLimited()
    {
        QFETCH(int, stated);
        QFETCH(int, count);
        ServerFixture f;
        f.worker.script.list << text("1") << text("2");
        f.worker.script.statedTotal = stated;
        f.start();
        const PanelReply reply = f.client().get("/api/rows?path=test:list&from=0&to=99");
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.json().value(text("rows")).toArray().size(), 2);
        QCOMPARE(reply.json().value(text("count")).toInt(), count);
    }

    void aRangeIsCompletedFromShortPages()
    {
        ServerFixture f;
        for (int i = 0; i < 230; ++i)
            f.worker.script.list << QString::number(i);
        f.worker.script.pageSize = 30;
        f.start();
        const PanelReply reply = f.client().get("/api/rows?path=test:list&from=100&to=199");
        QCOMPARE(reply.status, 200);
        const QJsonArray rows = reply.json().value(text("rows")).toArray();
        QCOMPARE(rows.size(), 100);
        QCOMPARE(rows.first().toObject().value(text("title")).toString(), text("Track 100"));
        QCOMPARE(rows.last().toObject().value(text("title")).toString(), text("Track 199"));
        QCOMPARE(reply.json().value(text("count")).toInt(), 230);
        QCOMPARE(reply.json().value(text("from")).toInt(), 100);
        QCOMPARE(reply.json().value(text("version")).toInt(), 7);
        QCOMPARE(reply.json().value(text("path")).toString(), text("test:list"));
        QCOMPARE(f.client()
                     .get("/api/rows?path=test:list&from=220&to=319")
                     .json()
                     .value(text("rows"))
                     .toArray()
                     .size(),
                 10);
    }

    void aRowContainsOnlyWhatThePanelNeeds()
    {
        ServerFixture f;
        f.worker.script.list << text("1") << text("-2");
        f.start();
        const QJsonArray rows =
            f.client().get("/api/rows?path=test:list&from=0&to=1").json().value(text("rows")).toArray();
        QCOMPARE(rows.at(0).toObject(), (QJsonObject{{text("title"), text("Track 1")},
                                                     {text("path"), text("test:track?id=1")},
                                                     {text("type"), text("audio")},
                                                     {text("playable"), true}}));
        QCOMPARE(rows.at(1).toObject(), (QJsonObject{{text("title"), text("Track -2")},
                                                     {text("path"), text("test:track?id=-2")},
                                                     {text("type"), text("container")},
                                                     {text("playable"), false}}));
    }

    void anInvalidRangeIsReportedInASentence_data()
    {
        QTest::addColumn<QByteArray>("query");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("detail");
        const auto row = [](const char* name, const char* query, int status, const char* detail) {
            QTest::newRow(name) << QByteArray(query) << status << QString::fromUtf8(detail);
        };
        row("backwards", "path=test:list&from=9&to=3", 400, "\"to\" must be a whole number from 9 to 108.");
        row("negative", "path=test:list&from=-1&to=3", 400,
            "\"from\" must be a whole number from 0 to 2147483547.");
        row("no number", "path=test:list&from=x&to=3", 400,
            "\"from\" must be a whole number from 0 to 2147483547.");
        row("not given", "path=test:list", 400, "\"from\" must be a whole number from 0 to 2147483547.");
        row("too much at once", "path=test:list&from=0&to=100", 400,
            "\"to\" must be a whole number from 0 to 99.");
        row("beyond 32 bits", "path=test:list&from=0&to=4294967296", 400,
            "\"to\" must be a whole number from 0 to 99.");
        row("a path that is none", "path=%25%20x&from=0&to=1", 400, "");
        row("nobody's path", "path=none:x&from=0&to=1", 502, "No service answers at \"none:x\".");
        row("a path that is not there", "path=test:nothing&from=0&to=1", 502, "");
    }
    void anInvalidRangeIsReportedInASentence()
    {
        QFETCH(QByteArray, query);
        QFETCH(int, status);
        QFETCH(QString, detail);
        ServerFixture f;
        f.start();
        const PanelReply reply = f.client().get("/api/rows?" + query);
        QCOMPARE(reply.status, status);
        QCOMPARE(reply.headers.value("content-type"), QByteArray("application/problem+json"));
        QVERIFY(!reply.detail().isEmpty());
        if (!detail.isEmpty())
            QCOMPARE(reply.detail(), detail);
        QCOMPARE(reply.json().value(text("status")).toInt(), status);
        QCOMPARE(reply.json().value(text("name")).toString(), status == 502 ? text("error") : QString());
    }

    void errorsOfTheContentModelAreReportedUnchanged_data()
    {
        QTest::addColumn<CMError>("error");
        QTest::addColumn<QByteArray>("language");
        QTest::addColumn<QString>("detail");
        const TrString own(TrCharData{"Menu", "Albums"}, {});
        const auto withCode = [](const TrString& message, int code) {
            return CMError(message, QVariantHash{{text("ErrorCode"), code}});
        };
        QTest::newRow("the module's own") << CMError(own) << QByteArray("en") << text("Albums");
        QTest::newRow("the service's")
            << withCode(text("Closed for lunch"), 503) << QByteArray("de") << text("Closed for lunch");
        QTest::newRow("no answer")
            << withCode(own, 0) << QByteArray("en")
            << text("No complete response from the service. Check your network connection. (Albums)");
        QTest::newRow("no answer, in German")
            << withCode(own, 0) << QByteArray("de")
            << text("Keine vollständige Antwort vom Dienst. Bitte die Netzwerkverbindung prüfen. (Albums)");
        QTest::newRow("no message") << CMError(PelkHash(QVariantHash{{CMError::Name(), text("refused")}}))
                                    << QByteArray("en") << text("refused");
    }
    void errorsOfTheContentModelAreReportedUnchanged()
    {
        QFETCH(CMError, error);
        QFETCH(QByteArray, language);
        QFETCH(QString, detail);
        ServerFixture f;
        f.options.translationFolders = QStringList{text(PELK_CATALOGUES)};
        f.worker.failure = error;
        f.start();
        const PanelReply reply = f.client().get("/api/rows?path=test:list&from=0&to=9&lang=" + language);
        QCOMPARE(reply.status, 502);
        QCOMPARE(reply.detail(), detail);
        QCOMPARE(reply.json().value(text("name")).toString(), error.name());
    }

    void dataOfNodesIsReadByRole()
    {
        ServerFixture f;
        f.start();
        const PanelReply reply =
            f.client().get("/api/data?path=test:menu&role=title&role=type&role=icon&role=searchPath");
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.json().value(text("data")).toObject(),
                 (QJsonObject{{text("title"), text("Albums")},
                              {text("type"), text("container")},
                              {text("icon"), QJsonValue::Null},
                              {text("searchPath"), text("test:search")}}));
        QCOMPARE(f.client().get("/api/data?path=test:menu&role=mediaData").status, 400);
        QCOMPARE(f.client().get("/api/data?path=test:menu&role=prePlay").status, 400);
        QCOMPARE(f.client().get("/api/data?path=test:menu").status, 400);
    }

    void aKeptValueIsReadAndSet()
    {
        ServerFixture f;
        f.start();
        const QJsonObject loud{{text("type"), 1}, {text("string"), text("loud")}};
        const PanelReply set =
            f.client().post("/api/data", QJsonObject{{text("path"), text("settings:test/tone")},
                                                     {text("role"), text("value")},
                                                     {text("value"), loud}});
        QCOMPARE(set.status, 200);
        QCOMPARE(set.json().value(text("result")).toArray(), (QJsonArray{loud, false}));
        QCOMPARE(f.store->values.value(ServerFixture::tonePath()).string_(), text("loud"));
        const PanelReply get = f.client().get("/api/data?path=settings:test/tone&role=value");
        QCOMPARE(get.json().value(text("data")).toObject().value(text("value")).toObject(), loud);
    }

    void aLoginReachesTheModuleAsItWasTypedAndItsTokenStaysHere()
    {
        ServerFixture f;
        f.start();
        const QJsonObject form{{text("type"), 138},
                               {text("qobuzAccount"), QJsonObject{{text("operation"), 1},
                                                                  {text("username"), text("lïstener")},
                                                                  {text("password"), text("p\"w\\🎵")}}}};
        const PanelReply reply =
            f.client().post("/api/data", QJsonObject{{text("path"), text("account:test")},
                                                     {text("role"), text("value")},
                                                     {text("value"), form}});
        QCOMPARE(reply.status, 200);
        QCOMPARE(f.worker.sets.size(), 1);
        const PelkValue value(PelkHash::fromVariant(f.worker.sets.first().value()));
        QCOMPARE(value.type(), 138);
        QCOMPARE(value.qobuzAccount().operation(), PelkQobuzAccountOperation::Login);
        QCOMPARE(value.qobuzAccount().username(), text("lïstener"));
        QCOMPARE(value.qobuzAccount().password(), text("p\"w\\🎵"));
        QVERIFY2(reply.body.contains("listener"), reply.body.constData());
        QVERIFY2(!reply.body.contains("TOKEN-1"), reply.body.constData());
        const PanelReply get = f.client().get("/api/data?path=account:test&role=value");
        QVERIFY2(get.body.contains("listener"), get.body.constData());
        QVERIFY2(!get.body.contains("TOKEN-1") && !get.body.contains("oken"), get.body.constData());
    }

    void secretsAreRemovedFromAValueAtAnyDepth_data()
    {
        QTest::addColumn<QString>("field");
        for (const char* field : {"userAuthToken", "password", "appSecret", "credentialId", "resources",
                                  "uri", "prePlayPath", "contentStateChangePath"})
            QTest::newRow(field) << text(field);
    }
    void secretsAreRemovedFromAValueAtAnyDepth()
    {
        QFETCH(QString, field);
        ServerFixture f;
        const QVariantHash inner{{field, text("SECRET-3")}, {text("userName"), text("listener")}};
        f.worker.account->setValue(PelkValue(PelkHash(QVariantHash{
            {text("type"), 1},
            {field, text("SECRET-3")},
            {text("hash"), inner},
            {text("record"), QVariant::fromValue(PelkHash(inner))},
            {text("list"), QVariantList{QVariantList{inner}}},
        })));
        f.start();
        const QJsonObject shown{{text("userName"), text("listener")}};
        const QJsonObject expected{{text("type"), 1},
                                   {text("hash"), shown},
                                   {text("record"), shown},
                                   {text("list"), QJsonArray{QJsonArray{shown}}}};
        const PanelReply reply = f.client().get("/api/data?path=account:test&role=value");
        QCOMPARE(reply.json().value(text("data")).toObject().value(text("value")).toObject(), expected);
        EventReader reader(f.port, "?value=account:test");
        QTRY_COMPARE(reader.last(text("value")).value(text("value")).toObject(), expected);
    }

    void blockedValuesCanNeitherBeReadNorSetNorFollowed_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::newRow("as it is") << QByteArray("settings:test");
        QTest::newRow("with a parameter") << QByteArray("settings:test?x=1");
        QTest::newRow("percent-encoded") << QByteArray("settings:%74est");
    }
    void blockedValuesCanNeitherBeReadNorSetNorFollowed()
    {
        QFETCH(QByteArray, path);
        ServerFixture f;
        f.start();
        const QByteArray encoded = path.toPercentEncoding();
        for (const char* target :
             {"/api/data?role=value&path=", "/api/events?value=", "/api/rows?from=0&to=1&path="}) {
            const PanelReply reply = f.client().get(target + encoded);
            QCOMPARE(reply.status, 403);
            QVERIFY(!reply.body.contains("SECRET-1"));
        }
        const QJsonObject body{{text("path"), QString::fromUtf8(path)},
                               {text("role"), text("value")},
                               {text("value"), QJsonObject{{text("type"), 137}}}};
        QCOMPARE(f.client().post("/api/data", body).status, 403);
        QCOMPARE(f.store->values.value(ServerFixture::closedPath()).qobuzSettings().appSecret(),
                 text("SECRET-1"));
    }

    void pathsReservedForThePlayerCannotBeSet_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("role");
        QTest::newRow("a stream's address") << text("test:preplay?id=1") << text("prePlay");
        QTest::newRow("a stream's address as a value") << text("test:preplay?id=1") << text("value");
        QTest::newRow("the state of a track") << text("test:state?id=1") << text("value");
        QTest::newRow("a title") << text("test:menu") << text("title");
        QTest::newRow("a node without value") << text("test:menu") << text("value");
    }
    void pathsReservedForThePlayerCannotBeSet()
    {
        QFETCH(QString, path);
        QFETCH(QString, role);
        ServerFixture f;
        f.addTrack(text("1"), 50);
        f.start();
        const PanelReply reply = f.client().post(
            "/api/data",
            QJsonObject{{text("path"), path},
                        {text("role"), role},
                        {text("value"), QJsonObject{{text("type"), 1}, {text("string"), text("x")}}}});
        QVERIFY2(reply.status == 403 || reply.status == 502, reply.body.constData());
        if (path == text("test:menu")) // a node that is there
            QCOMPARE(reply.status, 403);
        QVERIFY(f.worker.script.states.isEmpty());
        QVERIFY(!reply.body.contains("file:"));
    }

    void anInvalidBodyIsReportedInASentence_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("detail");
        const auto row = [](const char* name, const char* body, const char* detail) {
            QTest::newRow(name) << QByteArray(body) << QString::fromUtf8(detail);
        };
        row("no JSON", "{x", "The body is not JSON: object is missing a name at offset 1");
        row("empty", "", "");
        row("a list", "[]", "The body must be a JSON object.");
        row("a number", "7", "The body must be a JSON object.");
        row("no UTF-8", "{\"path\": \"\xff\"}", "");
        row("no path", "{}", "\"path\" must be a text.");
        row("a path that is no text", R"({"path": 7, "role": "value"})", "\"path\" must be a text.");
        row("no role", R"({"path": "settings:test/tone"})", "\"role\" must be a text.");
        row("no value", R"({"path": "settings:test/tone", "role": "value"})",
            "\"value\" must be a tagged value.");
        row("a value that is a text", R"({"path": "settings:test/tone", "role": "value", "value": "x"})",
            "\"value\" must be a tagged value.");
    }
    void anInvalidBodyIsReportedInASentence()
    {
        QFETCH(QByteArray, body);
        QFETCH(QString, detail);
        ServerFixture f;
        f.start();
        const PanelReply reply = f.client().post("/api/data", body);
        QCOMPARE(reply.status, 400);
        QVERIFY(!reply.detail().isEmpty());
        if (!detail.isEmpty())
            QCOMPARE(reply.detail(), detail);
        QCOMPARE(f.client().get("/api/rows?path=&from=0&to=9").status, 200);
    }

    void aSilentServiceIsWaitedForWithALimit()
    {
        ServerFixture f(300);
        f.worker.silent = true;
        f.start();
        const PanelReply reply = f.client().get("/api/rows?path=test:list&from=0&to=9");
        QCOMPARE(reply.status, 504);
        QCOMPARE(reply.detail(), text("\"test:list\" did not respond within 0 seconds."));
        // A later reply has no receiver.
        QCOMPARE(f.worker.kept.size(), 1);
        f.worker.silent = false;
        f.worker.getRowsRequest(f.worker.kept.takeFirst());
        QCOMPARE(f.client().get("/api/rows?path=test:list&from=0&to=9").status, 200);
    }

    void manyWaitingRequestsDelayNeitherThePlayerNorThePage()
    {
        ServerFixture f;
        f.worker.silent = true;
        f.start();
        std::vector<std::unique_ptr<PendingReply>> waiting;
        for (int i = 0; i < 100; ++i)
            waiting.push_back(
                std::make_unique<PendingReply>(f.port, getBytes(f, "/api/rows?path=test:list&from=0&to=9")));
        QTRY_COMPARE(f.worker.kept.size(), 16); // as many as have a thread
        QCOMPARE(f.client().get("/api/player").status, 200);
        QCOMPARE(f.client().get("/").status, 200);
        QCOMPARE(f.client().post("/api/player/pause", QJsonObject()).status, 204);
        f.worker.silent = false;
        for (const CMGetRowsRequest& request : qAsConst(f.worker.kept))
            f.worker.getRowsRequest(request);
        for (const auto& one : waiting) {
            QVERIFY(one->wait(30000));
            QCOMPARE(one->reply().status, 200);
        }
    }

    void requestsThatMayWaitAreRecognisedInEverySpelling_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("the head alone") << QByteArray("HEAD /api/rows?path=test:list&from=0&to=9");
        QTest::newRow("a slash as a sequence") << QByteArray("GET /api%2Frows?path=test:list&from=0&to=9");
        QTest::newRow("a letter as a sequence") << QByteArray("GET /%61pi/rows?path=test:list&from=0&to=9");
    }
    void requestsThatMayWaitAreRecognisedInEverySpelling()
    {
        QFETCH(QByteArray, line);
        ServerFixture f;
        f.worker.silent = true;
        f.start();
        std::vector<std::unique_ptr<PendingReply>> waiting;
        for (int i = 0; i < 12; ++i)
            waiting.push_back(std::make_unique<PendingReply>(
                f.port, line + " HTTP/1.1\r\nHost: " + f.client().host() + "\r\n\r\n"));
        QTRY_COMPARE(f.worker.kept.size(), 12);
        QCOMPARE(f.client().get("/api/player").status, 200);
    }

    void unansweredFormsDelayNoReader()
    {
        ServerFixture f;
        f.worker.deaf = true;
        f.start();
        const QByteArray form =
            R"({"path": "account:test", "role": "value", "value": {"type": 138, "qobuzAccount": {"operation": 0}}})";
        const QByteArray bytes =
            "POST /api/data HTTP/1.1\r\nHost: " + f.client().host() +
            "\r\nContent-Type: application/json\r\nContent-Length: " + QByteArray::number(form.size()) +
            "\r\n\r\n" + form;
        std::vector<std::unique_ptr<PendingReply>> waiting;
        for (int i = 0; i < 30; ++i)
            waiting.push_back(std::make_unique<PendingReply>(f.port, bytes));
        QTRY_COMPARE(f.worker.sets.size(), 4); // as many as have a thread
        QCOMPARE(f.client().get("/api/rows?path=&from=0&to=9").status, 200);
        QCOMPARE(f.client().get("/api/data?path=test:menu&role=title").status, 200);
        QCOMPARE(f.client().get("/api/player").status, 200);
    }

    void aRequestIsAbandonedWhenItsBrowserDisconnects()
    {
        ServerFixture f;
        f.worker.silent = true;
        f.start();
        std::vector<std::unique_ptr<PendingReply>> waiting;
        for (int i = 0; i < 100; ++i)
            waiting.push_back(
                std::make_unique<PendingReply>(f.port, getBytes(f, "/api/rows?path=test:list&from=0&to=9")));
        QTRY_COMPARE(f.worker.kept.size(), 16);
        // All have sent what they want before they go.
        for (const auto& one : waiting)
            QTRY_COMPARE(one->socket().bytesToWrite(), 0);
        for (const auto& one : waiting)
            one->socket().abort();
        PendingReply next(f.port, getBytes(f, "/api/rows?path=test:menu&from=0&to=9"));
        QTRY_COMPARE(f.worker.kept.size(), 17);
        QCOMPARE(f.worker.kept.last().path(), f.worker.menu->path());
    }

    void waitingRequestsOfARemotePeerAreLimited()
    {
        struct Sink : public ResponseSink
        {
            void respond(HttpResponse response) override { status = response.status; }
            bool isOpen() const override { return true; }
            void onGone(const std::function<void()>& /*gone*/) override {}
            int status = 0;
        };
        ServerFixture f;
        f.worker.silent = true;
        Limits limits;
        limits.readsPerPeer = 2;
        limits.waitingPerPeer = 3;
        const Translations translations{QStringList()}; // the requests answers once more when it goes
        ContentRequests requests({}, limits);
        const auto ask = [&](const Peer& peer) {
            requests.rows({peer, ApiResponder(std::make_shared<Sink>(), translations.find(text("en")))},
                          CMPath(text("test:list")), 0, 9, [](const RowPage&) {});
        };
        const Peer phone{"192.0.2.1", false, false, false};
        for (int i = 0; i < 2 + 3; ++i)
            ask(phone);
        int status = 0;
        try {
            ask(phone);
        } catch (const Problem& problem) {
            status = problem.status;
        }
        QCOMPARE(status, 503);
        ask({"192.0.2.2", false, false, false}); // others wait for their own
        for (int i = 0; i < 20; ++i)
            ask({"127.0.0.1", true, false, false});
    }

    void moreThanCanWaitIsRefusedAtOnce()
    {
        ServerFixture f;
        f.worker.silent = true;
        f.start();
        std::vector<std::unique_ptr<PendingReply>> waiting;
        const auto ask = [&](int times) {
            for (int i = 0; i < times; ++i)
                waiting.push_back(std::make_unique<PendingReply>(
                    f.port, getBytes(f, "/api/rows?path=test:list&from=0&to=9")));
        };
        ask(16);
        QTRY_COMPARE(f.worker.kept.size(), 16); // every thread has one
        ask(300);
        const auto refused = [&] {
            int count = 0;
            for (const auto& one : waiting)
                count += one->isFinished() && one->reply().status == 503 ? 1 : 0;
            return count;
        };
        QTRY_COMPARE(refused(), 300 - 256);
        QCOMPARE(f.client().get("/api/player").status, 200);
    }

    void stoppingAnswersWaitingRequests()
    {
        ServerFixture f;
        f.worker.silent = true;
        f.start();
        PendingReply waiting(f.port, getBytes(f, "/api/rows?path=test:list&from=0&to=9"));
        QTRY_COMPARE(f.worker.kept.size(), 1);
        QElapsedTimer time;
        time.start();
        f.server->stop();
        QVERIFY(waiting.wait(patienceMs));
        QCOMPARE(waiting.reply().status, 503);
        QCOMPARE(waiting.reply().detail(), text("The player is shutting down."));
        QVERIFY2(time.elapsed() < 20000, "it did not wait for the answer of the module");
        QCOMPARE(f.client().get("/").status, 0);
    }
};

QTEST_GUILESS_MAIN(ServerContentTest)
#include "server_content_test.moc"

#include "player/server/http/AccessRules.h"
#include "tests/support/patience.h"
#include "tests/unit/player/server_fixture.h"

#include <QSet>
#include <QtTest>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace

/// Who may use the server, which requests it accepts, and which files it serves.
class ServerAccessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theServerKnowsItsOwnNames_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("own");
        const auto row = [](const char* address, const char* host, bool own) {
            QTest::addRow("%s asked as %s", address, host) << text(address) << text(host) << own;
        };
        row("127.0.0.1", "127.0.0.1:8080", true);
        row("127.0.0.1", "localhost:8080", true);
        row("127.0.0.1", "LOCALHOST:8080", true);
        row("127.0.0.1", "localhost.:8080", true);
        row("127.0.0.1", "[::1]:8080", true);
        row("127.0.0.1", "localhost", false);
        row("127.0.0.1", "localhost:80", false);
        row("127.0.0.1", "evil.example:8080", false);
        row("127.0.0.1", "localhost.evil.example:8080", false);
        row("127.0.0.1", "192.168.1.5:8080", false);
        row("127.0.0.1", "", false);
        row("127.0.0.1", ":8080", false);
        row("127.0.0.1", "[::1:8080", false);
        row("127.0.0.1", "[::1]x:8080", false);
        row("127.0.0.1", "localhost:8080:8080", false);
        row("::1", "[::1]:8080", true);
        row("192.168.1.5", "192.168.1.5:8080", true);
        row("192.168.1.5", "localhost:8080", false);
        row("192.168.1.5", "192.168.1.6:8080", false);
        row("0.0.0.0", "192.168.1.6:8080", true);
        row("0.0.0.0", "[fe80::1]:8080", true);
        row("0.0.0.0", "localhost:8080", true);
        row("0.0.0.0", "evil.example:8080", false);
        row("0.0.0.0", "1.2.3.4.evil.example:8080", false);
    }
    void theServerKnowsItsOwnNames()
    {
        QFETCH(QString, address);
        QFETCH(QString, host);
        QFETCH(bool, own);
        QCOMPARE(AccessRules(address, 8080).isOwnHost(host), own);
    }

    void aProxyIsRecognisedByItsOrigin_data()
    {
        QTest::addColumn<QString>("set");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("origin");
        QTest::addColumn<bool>("own");
        const auto row = [](const char* name, const char* set, const char* host, const char* origin,
                            bool own) {
            QTest::newRow(name) << text(set) << text(host) << text(origin) << own;
        };
        const char* const https = "https://music.home.example";
        row("the proxy's page", https, "music.home.example", https, true);
        row("its usual port is said", https, "music.home.example:443", https, true);
        row("in capitals", "HTTPS://Music.Home.Example/", "MUSIC.home.example", https, true);
        row("another port", "https://music.home.example:8443", "music.home.example:8443",
            "https://music.home.example:8443", true);
        row("plain HTTP in front of it", "http://music.home.example", "music.home.example",
            "http://music.home.example", true);
        row("without encryption where it should be", https, "music.home.example", "http://evil.example",
            false);
        row("another host", https, "evil.example", "https://evil.example", false);
        row("a name that begins so", https, "music.home.example.evil.example",
            "https://music.home.example.evil.example", false);
        row("a port that was not set", https, "music.home.example:8443", "https://music.home.example:8443",
            false);
        row("a host with a path", https, "music.home.example/x", https, false);
        row("a foreign page at the proxy", https, "music.home.example", "https://evil.example", false);
        row("the player itself", https, "127.0.0.1:8080", "http://127.0.0.1:8080", true);
        row("nothing set", "", "music.home.example", https, false);
    }
    void aProxyIsRecognisedByItsOrigin()
    {
        QFETCH(QString, set);
        QFETCH(QString, host);
        QFETCH(QString, origin);
        QFETCH(bool, own);
        const AccessRules rules(text("127.0.0.1"), 8080, AccessRules::originOf(set));
        QCOMPARE(rules.isOwnHost(host) && rules.isOwnOrigin(origin, host), own);
    }

    void anInvalidOriginIsRefused_data()
    {
        QTest::addColumn<QString>("given");
        for (const char* given :
             {"", "music.home.example", "ftp://music.home.example", "https://", "https://a/path",
              "https://a?x", "https://a#x", "https://me@a", "https://a b", "null", "*"})
            QTest::newRow(given) << text(given);
    }
    void anInvalidOriginIsRefused()
    {
        QFETCH(QString, given);
        QCOMPARE(AccessRules::originOf(given), QString());
    }

    void aProxyReachesThePlayerUnderItsOrigin()
    {
        ServerFixture f;
        f.options.origin = text("https://music.home.example");
        f.options.isOpen = true;
        f.start();
        const PanelClient::Headers proxied{{"Host", "music.home.example"},
                                           {"Origin", "https://music.home.example"}};
        QCOMPARE(f.client().post("/api/player/pause", QByteArray("{}"), proxied).status, 204);
        // A proxy's statements about clients are ignored.
        QCOMPARE(f.client()
                     .get("/api/player", {{"Host", "evil.example"},
                                          {"Forwarded", "host=music.home.example;proto=https"},
                                          {"X-Forwarded-Host", "music.home.example"}})
                     .status,
                 403);
    }

    void aServerOfTheNetworkIsCalledAsTheMachineIs()
    {
        const QString machine = QSysInfo::machineHostName();
        QVERIFY(AccessRules(text("0.0.0.0"), 80).isOwnHost(machine));
        QVERIFY(AccessRules(text("0.0.0.0"), 80).isOwnHost(machine + text(".local")));
        QVERIFY(!AccessRules(text("127.0.0.1"), 80).isOwnHost(machine + text(".local")));
    }

    void onlyThisMachineReachesALoopbackAddress_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<bool>("loopback");
        QTest::newRow("v4") << text("127.0.0.1") << true;
        QTest::newRow("another v4") << text("127.0.0.9") << true;
        QTest::newRow("v6") << text("::1") << true;
        QTest::newRow("by name") << text("localhost") << true;
        QTest::newRow("any") << text("0.0.0.0") << false;
        QTest::newRow("any v6") << text("::") << false;
        QTest::newRow("a name that begins so") << text("127.evil.example") << false;
        QTest::newRow("of a network") << text("192.168.1.5") << false;
    }
    void onlyThisMachineReachesALoopbackAddress()
    {
        QFETCH(QString, address);
        QFETCH(bool, loopback);
        QCOMPARE(AccessRules::isLoopback(address), loopback);
    }

    void aStrangerIsRefused_data()
    {
        QTest::addColumn<PanelClient::Headers>("headers");
        QTest::addColumn<int>("status");
        QTest::newRow("another host") << PanelClient::Headers{{"Host", "evil.example"}} << 403;
        QTest::newRow("another host with our port")
            << PanelClient::Headers{{"Host", "evil.example:PORT"}} << 403;
        QTest::newRow("our own name") << PanelClient::Headers{{"Host", "localhost:PORT"}} << 200;
        QTest::newRow("two hosts") << PanelClient::Headers{{"Host", "127.0.0.1:PORT"},
                                                           {"Host", "127.0.0.1:PORT"}}
                                   << 403;
        QTest::newRow("a foreign page") << PanelClient::Headers{{"Origin", "http://evil.example"}} << 403;
        QTest::newRow("a page without origin") << PanelClient::Headers{{"Origin", "null"}} << 403;
        QTest::newRow("a page of another port")
            << PanelClient::Headers{{"Origin", "http://127.0.0.1:1"}} << 403;
        QTest::newRow("a page over TLS") << PanelClient::Headers{{"Origin", "https://127.0.0.1:PORT"}} << 403;
        QTest::newRow("the panel") << PanelClient::Headers{{"Origin", "http://127.0.0.1:PORT"}} << 200;
        QTest::newRow("the panel under another of our names")
            << PanelClient::Headers{{"Host", "127.0.0.1:PORT"}, {"Origin", "http://localhost:PORT"}} << 403;
        QTest::newRow("an element of a foreign page")
            << PanelClient::Headers{{"Sec-Fetch-Site", "cross-site"}} << 403;
        QTest::newRow("an element of another page of this machine")
            << PanelClient::Headers{{"Sec-Fetch-Site", "same-site"}} << 403;
        QTest::newRow("the address bar") << PanelClient::Headers{{"Sec-Fetch-Site", "none"}} << 200;
        QTest::newRow("the panel says so") << PanelClient::Headers{{"Sec-Fetch-Site", "same-origin"}} << 200;
    }
    void aStrangerIsRefused()
    {
        QFETCH(PanelClient::Headers, headers);
        QFETCH(int, status);
        ServerFixture f;
        f.start();
        for (auto& header : headers)
            header.second.replace("PORT", QByteArray::number(f.port));
        const PanelReply get = f.client().get("/api/rows?path=&from=0&to=1", headers);
        QCOMPARE(get.status, status);
        QCOMPARE(get.detail().isEmpty(), status == 200);
        const PanelReply post = f.client().post("/api/player/pause", QByteArray("{}"), headers);
        QCOMPARE(post.status, status == 200 ? 204 : 403);
        const PanelReply events = f.client().send("HEAD", "/api/events", headers);
        QCOMPARE(events.status, status);
    }

    void aLinkFromAnotherSiteOpensThePanel()
    {
        ServerFixture f;
        f.start();
        QCOMPARE(f.client().get("/", {{"Sec-Fetch-Site", "cross-site"}}).status, 200);
        QCOMPARE(f.client().get("/", {{"Host", "evil.example"}}).status, 403);
    }

    void everyAnswerCarriesTheSecurityHeaders_data()
    {
        QTest::addColumn<QByteArray>("target");
        for (const char* target :
             {"/", "/assets/app.js", "/api/rows?path=&from=0&to=1", "/api/nothing", "/assets/none"})
            QTest::newRow(target) << QByteArray(target);
    }
    void everyAnswerCarriesTheSecurityHeaders()
    {
        QFETCH(QByteArray, target);
        ServerFixture f;
        f.start();
        const PanelReply reply = f.client().get(target);
        const QByteArray policy = reply.headers.value("content-security-policy");
        for (const char* rule : {"default-src 'none'", "script-src 'self';", "img-src 'self' http: https:;",
                                 "frame-ancestors 'none'", "base-uri 'none'", "connect-src 'self'"})
            QVERIFY2(policy.contains(rule), rule);
        QVERIFY(!policy.contains("unsafe"));
        QCOMPARE(reply.headers.value("x-content-type-options"), QByteArray("nosniff"));
        QCOMPARE(reply.headers.value("referrer-policy"), QByteArray("no-referrer"));
        QCOMPARE(reply.headers.value("x-frame-options"), QByteArray("DENY"));
        QCOMPARE(reply.headers.value("cross-origin-resource-policy"), QByteArray("same-origin"));
        QVERIFY(!reply.headers.contains("access-control-allow-origin"));
    }

    void answersOfThePlayerAreNotKept()
    {
        ServerFixture f;
        f.start();
        QCOMPARE(f.client().get("/api/player").headers.value("cache-control"), QByteArray("no-store"));
    }

    void aWriteHasToBeJson_data()
    {
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<int>("status");
        QTest::newRow("JSON") << QByteArray("application/json") << 204;
        QTest::newRow("JSON with a character set") << QByteArray("Application/JSON; charset=utf-8") << 204;
        QTest::newRow("what a form sends") << QByteArray("application/x-www-form-urlencoded") << 415;
        QTest::newRow("several parts") << QByteArray("multipart/form-data; boundary=x") << 415;
        QTest::newRow("text") << QByteArray("text/plain") << 415;
        QTest::newRow("nothing said") << QByteArray() << 415;
    }
    void aWriteHasToBeJson()
    {
        QFETCH(QByteArray, type);
        QFETCH(int, status);
        ServerFixture f;
        f.start();
        PanelClient::Headers headers;
        if (!type.isEmpty())
            headers.append({"Content-Type", type});
        QCOMPARE(f.client().send("POST", "/api/player/pause", headers, "{}").status, status);
    }

    void aWrongMethodIsReportedWithTheAllowedOnes_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("allow");
        const auto row = [](const char* method, const char* target, const char* allow) {
            QTest::addRow("%s %s", method, target)
                << QByteArray(method) << QByteArray(target) << QByteArray(allow);
        };
        row("POST", "/api/rows", "GET");
        row("GET", "/api/player/pause", "POST");
        row("PUT", "/api/data", "GET, POST");
        row("DELETE", "/api/player/queue", "GET");
        row("POST", "/api/events", "GET");
        row("POST", "/", "GET, HEAD");
        row("OPTIONS", "/api/rows", "GET");
    }
    void aWrongMethodIsReportedWithTheAllowedOnes()
    {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, allow);
        ServerFixture f;
        f.start();
        const PanelReply reply =
            f.client().send(method, target, {{"Content-Type", "application/json"}}, "{}");
        QCOMPARE(reply.status, 405);
        QCOMPARE(reply.headers.value("allow"), allow);
        QVERIFY(!reply.detail().isEmpty());
    }

    void aMissingNodeIsReportedWithItsPath()
    {
        ServerFixture f;
        f.start();
        const PanelReply reply = f.client().get("/api/nothing");
        QCOMPARE(reply.status, 404);
        QCOMPARE(reply.detail(), text("There is nothing at \"/api/nothing\"."));
        QCOMPARE(f.client().post("/api/player/dance", QJsonObject()).status, 404);
    }

    void largeRequestsAreRefused()
    {
        ServerFixture f;
        f.start();
        const QByteArray start = "{\"entries\": [1], \"x\": \"";
        const QByteArray full = start + QByteArray(64 * 1024 - start.size() - 2, 'a') + "\"}";
        QCOMPARE(f.client().post("/api/player/queue/remove", full).status, 409);
        const PanelReply body = f.client().post("/api/player/queue/remove", full + ' ');
        QCOMPARE(body.status, 413);
        QVERIFY(body.detail().contains(text("64 KiB")));
        const PanelReply path = f.client().get("/api/rows?path=" + QByteArray(9000, 'a'));
        QCOMPARE(path.status, 414);
        QVERIFY2(path.detail().contains(text("8 KiB")), path.body.constData());
        QCOMPARE(f.client().get("/api/rows?from=0&to=1&path=" + QByteArray(5000, 'a')).status, 414);
        QCOMPARE(f.client().get("/", {{"X-Long", QByteArray(20000, 'a')}}).status, 431);
        QCOMPARE(f.client().get("/").status, 200);
    }

    void aBodyWithoutALengthIsNotRead()
    {
        ServerFixture f;
        f.start();
        const QByteArray chunked =
            "POST /api/player/pause HTTP/1.1\r\nHost: " + f.client().host() +
            "\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n";
        const PanelReply refused = f.client().raw(chunked);
        QCOMPARE(refused.status, 400);
        QCOMPARE(refused.detail(),
                 text("A POST request must have a JSON body, at least {}, and a Content-Length."));
        const QByteArray withBody =
            "GET /api/player HTTP/1.1\r\nHost: " + f.client().host() + "\r\nContent-Length: 2\r\n\r\n{}";
        const PanelReply read = f.client().raw(withBody);
        QCOMPARE(read.status, 400);
        QCOMPARE(read.detail(), text("GET and HEAD requests must not have a body."));
    }

    void aClientThatExpectsContinueIsToldToSendTheBody()
    {
        ServerFixture f;
        f.start();
        PendingReply pending(f.port, "POST /api/player/pause HTTP/1.1\r\nHost: " + f.client().host() +
                                         "\r\nContent-Type: application/json\r\nContent-Length: 2\r\n"
                                         "Expect: 100-continue\r\n\r\n");
        QTRY_VERIFY(pending.bytes().startsWith("HTTP/1.1 100 "));
        pending.socket().write("{}");
        QTRY_VERIFY(pending.bytes().contains("HTTP/1.1 204 "));
    }

    void invalidHttpIsRefusedOrClosed_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("noise") << QByteArray("\x16\x03\x01\x02\r\n\r\n");
        QTest::newRow("no version") << QByteArray("GET /\r\n\r\n");
        QTest::newRow("no target") << QByteArray("GET\r\n\r\n");
        QTest::newRow("a head without end") << QByteArray(40000, 'a');
        QTest::newRow("a length that is none")
            << QByteArray("POST /api/player/pause HTTP/1.1\r\nHost: HOST\r\nContent-Type: "
                          "application/json\r\nContent-Length: x\r\n\r\n");
        QTest::newRow("a negative length")
            << QByteArray("POST /api/player/pause HTTP/1.1\r\nHost: HOST\r\nContent-Type: "
                          "application/json\r\nContent-Length: -1\r\n\r\n");
        QTest::newRow("two thousand ranges")
            << QByteArray("GET /assets/app.js HTTP/1.1\r\nHost: HOST\r\nRange: bytes=0-" +
                          QByteArray(",0-").repeated(2000) + "\r\n\r\n");
    }
    void invalidHttpIsRefusedOrClosed()
    {
        QFETCH(QByteArray, bytes);
        ServerFixture f;
        f.start();
        const PanelReply reply = f.client().raw(bytes.replace("HOST", f.client().host()));
        QVERIFY2(reply.status == 0 || reply.status == 200 || (reply.status >= 400 && reply.status < 500),
                 reply.body.constData());
        QVERIFY(reply.body.size() < 1000);
        QCOMPARE(f.client().get("/").status, 200);
    }

    void simultaneousRequestsAreEachAnswered()
    {
        ServerFixture f;
        f.start();
        const QByteArray one = "GET /api/player HTTP/1.1\r\nHost: " + f.client().host() + "\r\n\r\n";
        PendingReply pending(f.port, one + one + one);
        QTRY_COMPARE(pending.bytes().count("HTTP/1.1 200"), 3);
    }

    void thePanelsPagesAreItsIndex_data()
    {
        QTest::addColumn<QByteArray>("target");
        for (const char* target :
             {"/", "/index.html", "/browse?path=qobuz%3Afeatured%2Falbums", "/queue", "/browse/"})
            QTest::newRow(target) << QByteArray(target);
    }
    void thePanelsPagesAreItsIndex()
    {
        QFETCH(QByteArray, target);
        ServerFixture f;
        f.start();
        const PanelReply reply = f.client().get(target);
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.body, QByteArray("<!doctype html>the panel"));
        QCOMPARE(reply.headers.value("content-type"), QByteArray("text/html; charset=utf-8"));
        QCOMPARE(reply.headers.value("cache-control"), QByteArray("no-cache"));
        const QByteArray tag = reply.headers.value("etag");
        QCOMPARE(f.client().get(target, {{"If-None-Match", tag}}).status, 304);
        QCOMPARE(f.client().get(target, {{"If-None-Match", "\"other\""}}).status, 200);
        QCOMPARE(f.client().send("HEAD", target, {}).headers.value("content-length"),
                 QByteArray::number(reply.body.size()));
    }

    void aPartOfThePanelIsKeptForEver()
    {
        ServerFixture f;
        f.start();
        const PanelReply reply = f.client().get("/assets/app.js");
        QCOMPARE(reply.body, QByteArray("let a;"));
        QCOMPARE(reply.headers.value("content-type"), QByteArray("text/javascript; charset=utf-8"));
        QCOMPARE(reply.headers.value("cache-control"), QByteArray("public, max-age=31536000, immutable"));
        QCOMPARE(f.client().get("/assets/gone.js").status, 404);
    }

    void aFileIsSentInTheSmallestEncodingThatIsAccepted_data()
    {
        QTest::addColumn<QByteArray>("accept");
        QTest::addColumn<QByteArray>("encoding");
        const auto row = [](const char* accept, const char* encoding) {
            QTest::newRow(accept) << QByteArray(accept) << QByteArray(encoding);
        };
        row("", "");
        row("identity", "");
        row("gzip", "gzip");
        row("gzip, deflate, br", "br");
        row("GZIP;q=0.5, BR;q=0.1", "br");
        row("br;q=0, gzip", "gzip");
        row("br;q=0, *", "gzip");
        row("*", "br");
        row("*;q=0", "");
        row("brotli", "");
    }
    void aFileIsSentInTheSmallestEncodingThatIsAccepted()
    {
        QFETCH(QByteArray, accept);
        QFETCH(QByteArray, encoding);
        ServerFixture f;
        f.write(text("panel/assets/app.js.br"), "BR");
        f.write(text("panel/assets/app.js.gz"), "GZIP");
        f.start();
        PanelClient::Headers headers;
        if (!accept.isEmpty())
            headers.append({"Accept-Encoding", accept});
        const PanelReply reply = f.client().get("/assets/app.js", headers);
        QCOMPARE(reply.headers.value("content-encoding"), encoding);
        QCOMPARE(reply.body, encoding == "br"     ? QByteArray("BR")
                             : encoding == "gzip" ? QByteArray("GZIP")
                                                  : QByteArray("let a;"));
        QCOMPARE(reply.headers.value("content-type"), QByteArray("text/javascript; charset=utf-8"));
        QCOMPARE(reply.headers.value("vary"), QByteArray("Accept-Encoding"));
        // Each encoding is revalidated for itself.
        const QByteArray tag = reply.headers.value("etag");
        QCOMPARE(
            f.client().get("/assets/app.js", headers + PanelClient::Headers{{"If-None-Match", tag}}).status,
            304);
        QCOMPARE(f.client().get("/assets/app.js", {{"If-None-Match", tag}}).status,
                 encoding.isEmpty() ? 304 : 200);
    }

    void nothingOutsideTheFolderIsServed_data()
    {
        QTest::addColumn<QByteArray>("target");
        for (const char* target : {"/../secret.txt", "/assets/../../secret.txt", "/%2e%2e/secret.txt",
                                   "/..%2fsecret.txt", "/link.txt", "/folder/secret.txt", "//secret.txt",
                                   "/.", "/assets", "/assets/", "/x%00/../../secret.txt", "/..\\secret.txt"})
            QTest::newRow(target) << QByteArray(target);
    }
    void nothingOutsideTheFolderIsServed()
    {
        QFETCH(QByteArray, target);
        ServerFixture f;
        f.write(text("secret.txt"), "SECRET-2");
        QVERIFY(
            QFile::link(f.folder.filePath(text("secret.txt")), f.folder.filePath(text("panel/link.txt"))));
        QVERIFY(QFile::link(f.folder.path(), f.folder.filePath(text("panel/folder"))));
        f.start();
        const PanelReply reply = f.client().get(target);
        QVERIFY(reply.status == 200 || reply.status == 404 || reply.status == 400);
        QVERIFY2(!reply.body.contains("SECRET-2"), reply.body.constData());
    }

    void aMissingPanelIsReportedInASentence()
    {
        ServerFixture f;
        f.options.panelFolder = f.folder.filePath(text("nowhere"));
        f.start();
        const PanelReply reply = f.client().get("/");
        QCOMPARE(reply.status, 404);
        QCOMPARE(reply.detail(),
                 text("The panel is not installed. The player's console output names the folder."));
        QVERIFY(!reply.body.contains("nowhere"));
    }

    void theDocumentDescribesEveryEndpointAndNoOther()
    {
        ServerFixture f;
        f.start();
        const PanelReply reply = f.client().get("/api/openapi.json");
        QCOMPARE(reply.status, 200);
        QSet<QString> described;
        const QJsonObject paths = reply.json().value(text("paths")).toObject();
        for (auto path = paths.begin(); path != paths.end(); ++path)
            for (const QString& method : path.value().toObject().keys())
                described.insert(method.toUpper() + QLatin1Char(' ') + path.key());
        const QStringList served = f.server->endpoints();
        QVERIFY(served.size() > 15);
        QCOMPARE(described, QSet<QString>(served.begin(), served.end()));
    }

    void aPortInUseIsReportedInASentence()
    {
        ServerFixture f;
        f.start();
        PanelServer::Options options = f.options;
        options.port = f.port;
        PanelServer second(options, f.engine.get());
        QString error;
        QVERIFY(!second.start(&error));
        QVERIFY2(error.startsWith(text("Cannot listen on 127.0.0.1 port %1").arg(f.port)), qPrintable(error));
        QCOMPARE(f.client().get("/").status, 200);
    }

    void aStoppedServerClosesEveryConnection()
    {
        ServerFixture f;
        f.start();
        PendingReply idle(f.port, "GET / HTTP/1.1\r\nHost: " + f.client().host() + "\r\n\r\n");
        QVERIFY(idle.wait(patienceMs));
        PendingReply half(f.port, "GET / HTT");
        EventReader reader(f.port);
        QTRY_COMPARE(reader.status(), 200);
        f.server->stop();
        QTRY_VERIFY(reader.hasEnded());
        QTRY_COMPARE(idle.socket().state(), QAbstractSocket::UnconnectedState);
        QTRY_COMPARE(half.socket().state(), QAbstractSocket::UnconnectedState);
        f.server->stop(); // again is no harm
    }
};

QTEST_GUILESS_MAIN(ServerAccessTest)
#include "server_access_test.moc"

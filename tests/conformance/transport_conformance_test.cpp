// The way to the service: which address a request goes to, when that changes, how much of an answer is read
// and which of them are kept.

#include "tests/conformance/servicecalls.h"
#include "tests/module/browsefixture.h"
#include "tests/support/ownprocess.h"

#include <QtTest>

#include <memory>

using Response = TestHttpServer::Response;

Q_DECLARE_METATYPE(Response)

namespace {

const QString first = QStringLiteral("http://api.qobuz.com/api/");
const QString playlistsPath = QStringLiteral("qobuz:playlists");
const QByteArray playlistsUrl = "playlist/getUserPlaylists?offset=0&limit=10";

/// The module, for whatever host name the settings have: the server is the proxy that all requests go
/// through, so that they arrive with their absolute URL.
class Proxied
{
public:
    explicit Proxied(const QString& base)
        : host((qputenv("http_proxy", server.url().toLatin1()), qunsetenv("no_proxy"), qunsetenv("NO_PROXY"),
                base))
    {
        serve(TestHttpServer::json("{}"));
        host.setSession();
        host.start();
    }
    ~Proxied()
    {
        isIdle();
        host.stop();
        qputenv("http_proxy", QByteArray());
        qputenv("no_proxy", "*");
    }
    void serve(const Response& response)
    {
        server.setHandler([response](const TestHttpServer::Request&) { return response; });
    }
    QByteArray target(int index) const { return server.requests().value(index).target; }
    ModuleHost::Rows playlists() { return host.rows(playlistsPath, 0, 9); }

    TestHttpServer server;
    ModuleHost host;
};

Response servedBy(const QByteArray& url, int code = 200, const QByteArray& name = "X-PelkEfectiveUrl")
{
    Response response = TestHttpServer::json(R"({"playlists":{"total":3},"message":"m"})", code);
    response.headers.append(TestHttpServer::Pair(name, url));
    return response;
}

/// Rows that the service allows to be kept, in a body of so many bytes.
Response kept(const QByteArray& control, int bytes)
{
    Response response = TestHttpServer::json("{\"playlists\":" + BrowseFixture::list(3, {}) + "}");
    response.body += QByteArray(bytes - response.body.size(), ' ');
    response.headers.append(TestHttpServer::Pair("Cache-Control", control));
    return response;
}

/// What the child process of the assertion's test does.
int startTheModule(const QString& apiUrl)
{
    ModuleHost host(apiUrl);
    host.start();
    return 0;
}

} // namespace

class TransportConformanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRequestGoesToTheBaseWithItsPathDirectlyBehind_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QByteArray>("start");
        const auto row = [](const char* name, const QString& base, const char* start) {
            QTest::newRow(name) << base << QByteArray(start);
        };
        row("a path", QStringLiteral("http://h.example/api.json/0.2/"), "http://h.example/api.json/0.2/");
        row("the root", QStringLiteral("http://h.example/"), "http://h.example/");
        row("no slash is added", QStringLiteral("http://h.example/api"), "http://h.example/api");
        row("no slash is folded", QStringLiteral("http://h.example//api//"), "http://h.example//api//");
        row("dot segments stay", QStringLiteral("http://h.example/a/../b/./"), "http://h.example/a/../b/./");
        row("a port", QStringLiteral("http://h.example:8443/"), "http://h.example:8443/");
        row("a query goes", QStringLiteral("http://h.example/api/?k=v"), "http://h.example/api/");
        row("a fragment goes", QStringLiteral("http://h.example/api/#part"), "http://h.example/api/");
        row("letters beyond Latin are read as UTF-8", QStringLiteral("http://h.example/m\u00fcsik/%20/"),
            "http://h.example/m%C3%BCsik/%20/");
    }
    void aRequestGoesToTheBaseWithItsPathDirectlyBehind()
    {
        QFETCH(QString, base);
        QFETCH(QByteArray, start);
        Proxied f(base);
        const LogCapture log(QStringLiteral("Qobuz"));
        QVERIFY(!f.playlists().error.isSet());
        QCOMPARE(f.server.requestCount(), 1);
        QCOMPARE(f.target(0), start + playlistsUrl);
        // A fragment would not be sent anyway.
        QVERIFY(
            log.contains(log4cplus::TRACE_LOG_LEVEL,
                         QStringLiteral("Leave PelkUrl QobuzHttpInterface::composeUrl(const PelkUrl&): ") +
                             QString::fromLatin1(start + playlistsUrl)));
    }

    void theUserOfTheBaseGoesAlong()
    {
        Proxied f(QStringLiteral("http://u:p@h.example/"));
        QVERIFY(!f.playlists().error.isSet());
        QCOMPARE(f.server.requests().at(0).header("Authorization"), QByteArray("Basic dTpw"));
    }

    void theBaseIsReadOnceAtTheStart()
    {
        Proxied f(first);
        f.host.setSettings(QStringLiteral("http://other.example/"), QStringLiteral("app-id"), QString());
        QVERIFY(!f.playlists().error.isSet());
        QVERIFY(!logIn(f.host).error.isSet());
        QCOMPARE(f.target(0), first.toLatin1() + playlistsUrl);
        QVERIFY(f.target(1).startsWith(first.toLatin1() + "user/login?"));
    }

    void withoutABaseTheProcessStops()
    {
        const OwnProcess process = OwnProcess::play(QString());
        QVERIFY(process.crashed);
        QVERIFY2(process.errors.contains("ASSERT: \"!m_connectBaseUrl.isEmpty()\""),
                 process.errors.constData());
    }

    void anotherHostOfTheServiceIsTheBaseOfWhatFollows_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<int>("code");
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QString>("newBase");
        const QByteArray name = "X-PelkEfectiveUrl";
        const QString www = QStringLiteral("http://www2.qobuz.com/");
        const auto row = [](const char* tag, const QString& base, const char* header, int code,
                            const QByteArray& headerName, const QString& newBase) {
            QTest::newRow(tag) << base << QByteArray(header) << code << headerName << newBase;
        };
        row("another host", first, "http://www2.qobuz.com/api/playlist", 200, name, www);
        row("the header in another letter case", first, "http://www2.qobuz.com/", 200, "x-pelkefectiveurl",
            www);
        row("without a path", first, "http://www2.qobuz.com", 200, name, www);
        row("with a failure", first, "http://www2.qobuz.com/api/", 500, name, www);
        row("its port, user, query and fragment go", first, "http://u:p@www2.qobuz.com:8080/x?y=z#f", 200,
            name, www);
        row("those of the base go too", QStringLiteral("http://u:p@api.qobuz.com:8080/v1/?k=v#f"),
            "http://www2.qobuz.com/", 200, name, www);
        row("several labels", first, "http://a.b.qobuz.com/", 200, name,
            QStringLiteral("http://a.b.qobuz.com/"));
        row("from a host of someone else", QStringLiteral("http://music.example/api/"),
            "http://www2.qobuz.com/", 200, name, www);
        row("the same host in another letter case", QStringLiteral("http://API.qobuz.com/api/"),
            "http://api.qobuz.com/api/", 200, name, QStringLiteral("http://api.qobuz.com/"));
    }
    void anotherHostOfTheServiceIsTheBaseOfWhatFollows()
    {
        QFETCH(QString, base);
        QFETCH(QByteArray, header);
        QFETCH(int, code);
        QFETCH(QByteArray, name);
        QFETCH(QString, newBase);
        Proxied f(base);
        f.serve(servedBy(header, code, name));
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Rows answer = f.playlists();
        f.host.settle();
        // The answer itself is dealt with as ever, and is not asked for again.
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.isSet(), code != 200);
        QCOMPARE(answer.count, code == 200 ? 3 : 0);
        QCOMPARE(requestsInAll(f.server), 1);
        QCOMPARE(linesOf(log, {QStringLiteral("QobuzHttpInterface.cpp")}).filter(QStringLiteral(" INFO ")),
                 QStringList{QStringLiteral("Qobuz INFO QobuzHttpInterface.cpp: Connect url changed to: ") +
                             newBase});
        QVERIFY(f.playlists().finished);
        QCOMPARE(f.target(1), newBase.toLatin1() + playlistsUrl);
        QCOMPARE(log.texts(log4cplus::INFO_LOG_LEVEL).size(), 1); // the header names the current host now
    }

    void theSchemeOfTheOtherHostIsTakenOver()
    {
        Proxied f(first);
        f.serve(servedBy("https://s.qobuz.com:444/x"));
        const LogCapture log(QStringLiteral("Qobuz"));
        QVERIFY(!f.playlists().error.isSet());
        QCOMPARE(log.texts(log4cplus::INFO_LOG_LEVEL),
                 QStringList{QStringLiteral("Connect url changed to: https://s.qobuz.com/")});
    }

    void noOtherAnswerChangesTheBase_data()
    {
        QTest::addColumn<Response>("response");
        const auto row = [](const char* name, const char* header) {
            QTest::newRow(name) << servedBy(header);
        };
        row("another domain", "http://www.example/api/");
        row("a domain that ends alike", "http://evilqobuz.com/");
        row("the suffix in the middle", "http://api.qobuz.com.example/");
        row("the suffix in another letter case", "http://www2.Qobuz.com/");
        row("the domain itself", "http://qobuz.com/");
        row("the suffix in the path", "http://www.example/www2.qobuz.com");
        row("the suffix in the user", "http://www2.qobuz.com@www.example/");
        row("the current host with another port", "http://api.qobuz.com:1/elsewhere/");
        row("no URL", "http://www2.qobuz.com:port/");
        row("a host with a blank", "http://www2 .qobuz.com/");
        row("only a host", "www2.qobuz.com");
        row("nothing", "");
        QTest::newRow("no header") << TestHttpServer::json(R"({"playlists":{"total":3}})");
        QTest::newRow("a header of the right spelling")
            << servedBy("http://www2.qobuz.com/", 200, "X-PelkEffectiveUrl");
    }
    void noOtherAnswerChangesTheBase()
    {
        QFETCH(Response, response);
        Proxied f(first);
        f.serve(response);
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::DEBUG_LOG_LEVEL);
        QCOMPARE(f.playlists().count, 3);
        QCOMPARE(f.playlists().count, 3);
        QCOMPARE(f.target(1), first.toLatin1() + playlistsUrl);
        QVERIFY(log.records().isEmpty());
    }

    void aLateAnswerOfTheHostBeforeChangesNothing()
    {
        Proxied f(first);
        Response late = servedBy("http://www3.qobuz.com/");
        late.hold = true;
        f.server.answer("http://api.qobuz.com/api/album/get", late);
        f.serve(servedBy("http://www2.qobuz.com/"));
        const CMGetRowsRequest open(CMPath(QStringLiteral("qobuz:album?id=1")), 0, 9, {PelkRoles::Title()});
        f.host.root().getRowsRequest(open);
        QVERIFY(f.server.waitForRequests(1));
        QVERIFY(!f.playlists().error.isSet());
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::DEBUG_LOG_LEVEL);
        f.server.release();
        QVERIFY(ModuleHost::wait(open.reply()));
        QVERIFY(!open.reply().error().isSet());
        QVERIFY(!f.playlists().error.isSet());
        QCOMPARE(f.target(2), "http://www2.qobuz.com/" + playlistsUrl);
        QVERIFY(log.records().isEmpty());
    }

    void aMovedBaseLosesThePathForGood()
    {
        Proxied f(first);
        f.server.answer("http://api.qobuz.com/api/playlist/getUserPlaylists",
                        servedBy("http://www2.qobuz.com/"));
        f.server.answer("http://www2.qobuz.com/playlist/getUserPlaylists",
                        servedBy("http://api.qobuz.com/api/"));
        for (int i = 0; i < 3; ++i)
            QVERIFY(f.playlists().finished);
        QCOMPARE(f.target(2), "http://api.qobuz.com/" + playlistsUrl);
    }

    void theNextStartBeginsWithTheSettings()
    {
        Proxied f(first);
        f.serve(servedBy("http://www2.qobuz.com/"));
        QVERIFY(!f.playlists().error.isSet());
        f.host.stop();
        f.host.start();
        QVERIFY(!f.playlists().error.isSet());
        QCOMPARE(f.target(1), first.toLatin1() + playlistsUrl);
    }

    void everyCallGoesToTheMovedBase()
    {
        Proxied f(first);
        f.serve(servedBy("http://www2.qobuz.com/"));
        QVERIFY(!f.playlists().error.isSet());
        QVERIFY(resolve(f.host).finished);
        QVERIFY(logIn(f.host).finished);
        QVERIFY(f.target(1).startsWith("http://www2.qobuz.com/track/getFileUrl?"));
        QVERIFY(f.target(2).startsWith("http://www2.qobuz.com/user/login?"));
    }

    void aRedirectToAnotherHostOfTheServiceMovesTheBase_data()
    {
        QTest::addColumn<QString>("location");
        QTest::addColumn<QString>("base");
        QTest::newRow("of the service") << QStringLiteral("http://www2.qobuz.com/other/list?x=1")
                                        << QStringLiteral("http://www2.qobuz.com/");
        QTest::newRow("of someone else") << QStringLiteral("http://www.example/list") << first;
    }
    void aRedirectToAnotherHostOfTheServiceMovesTheBase()
    {
        QFETCH(QString, location);
        QFETCH(QString, base);
        Proxied f(first);
        f.serve(TestHttpServer::json(R"({"playlists":{"total":3}})"));
        f.server.answerOnce("http://api.qobuz.com/api/playlist/getUserPlaylists",
                            TestHttpServer::redirect(location));
        QCOMPARE(f.playlists().count, 3);
        QCOMPARE(f.target(1), location.toLatin1());
        QCOMPARE(f.playlists().count, 3);
        QCOMPARE(f.target(2), base.toLatin1() + playlistsUrl);
    }

    void anAnswerIsReadUpTo512KiB_data()
    {
        QTest::addColumn<int>("bytes");
        QTest::addColumn<bool>("chunked");
        QTest::addColumn<bool>("passes");
        QTest::newRow("512 KiB") << 524288 << false << true;
        QTest::newRow("512 KiB of no stated length") << 524288 << true << true;
        QTest::newRow("a byte more") << 524289 << false << false;
        QTest::newRow("a byte more of no stated length") << 524289 << true << false;
    }
    void anAnswerIsReadUpTo512KiB()
    {
        QFETCH(int, bytes);
        QFETCH(bool, chunked);
        QFETCH(bool, passes);
        BrowseFixture f;
        Response response = kept("no-store", bytes);
        response.chunked = chunked;
        f.server.answer("/api/playlist/getUserPlaylists", response);
        const ModuleHost::Rows answer = f.host.rows(playlistsPath, 0, 9);
        QVERIFY(answer.finished);
        QCOMPARE(answer.count, passes ? 3 : 0);
        QCOMPARE(answer.error.isSet(), !passes);
        QCOMPARE(answer.error.data(),
                 passes ? QVariantHash() : QVariantHash({{QStringLiteral("ErrorCode"), 0}}));
    }

    void anAnswerThatMayBeKeptIsNotAskedForAgain()
    {
        BrowseFixture f;
        f.server.answer("/api/playlist/getUserPlaylists", kept("max-age=600", 100));
        for (int i = 0; i < 3; ++i)
            QCOMPARE(f.host.rows(playlistsPath, 0, 9).count, 3);
        QCOMPARE(f.server.requestCount(), 1);
        QCOMPARE(f.host.rows(playlistsPath, 10, 19).count, 3); // another page is another answer
        QCOMPARE(f.server.requestCount(), 2);
    }

    void anotherUserIsNotGivenTheAnswerThatIsKept()
    {
        BrowseFixture f;
        f.server.answer("/api/playlist/getUserPlaylists", kept("max-age=600", 100));
        f.server.answer("/api/user/login",
                        TestHttpServer::json(R"({"user_auth_token":"token-2","user":{"id":1}})"));
        QCOMPARE(f.host.rows(playlistsPath, 0, 9).count, 3);
        QVERIFY(!logIn(f.host).error.isSet());
        QCOMPARE(f.host.rows(playlistsPath, 0, 9).count, 3);
        QCOMPARE(f.server.requestCount(), 3);
        QCOMPARE(f.server.requests().at(2).header("X-User-Auth-Token"), QByteArray("token-2"));
    }

    void oneMebibyteOfAnswersIsKept()
    {
        BrowseFixture f;
        f.server.setHandler([](const TestHttpServer::Request&) { return kept("max-age=600", 400000); });
        // Two of these fit beside each other, three do not: the one not used for longest has gone.
        for (const int page : {0, 1, 1, 0, 2, 1})
            QCOMPARE(f.host.rows(playlistsPath, page * 10, page * 10 + 9).count, 3);
        QByteArrayList offsets;
        for (const TestHttpServer::Request& request : f.server.requests())
            offsets << request.queryValue("offset");
        QCOMPARE(offsets, (QByteArrayList{"0", "10", "20", "10"}));
    }

    void requestsShareAConnection()
    {
        BrowseFixture f;
        f.serve("{}");
        for (int page = 0; page < 3; ++page)
            QVERIFY(!f.host.rows(playlistsPath, page * 10, page * 10 + 9).error.isSet());
        QCOMPARE(f.server.requestCount(), 3);
        QCOMPARE(f.server.connectionCount(), 1);
    }
};

int main(int argc, char** argv)
{
    return OwnProcess::main<TransportConformanceTest>(argc, argv, startTheModule);
}

#include "transport_conformance_test.moc"

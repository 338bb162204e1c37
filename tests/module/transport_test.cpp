// The transport to the service: how a URL is built, how much of a response is read, which responses are
// cached, and what is logged.

#include "tests/module/objecttest.h"
#include "tests/support/ownprocess.h"
#include "tests/support/patience.h"

#include <QTcpServer>
#include <QTcpSocket>

namespace {

constexpr char postSignature[] =
    "void QobuzHttpInterface::post(const PelkUrl&, const QString&, const Callback&)";
constexpr char sendSignature[] = "void QobuzHttpInterface::send(const HttpRequest&)";
constexpr char composeSignature[] = "PelkUrl QobuzHttpInterface::composeUrl(const PelkUrl&)";
constexpr char callbackSignature[] =
    "void QobuzHttpInterface::httpCallback(HttpRequest, const HttpClientResult&)";
constexpr char cancelSignature[] = "void QobuzHttpInterface::cancelRequest(const HttpRequest&, int)";
constexpr char clearSignature[] = "void QobuzHttpInterface::clearCache()";

QString line(const char* word, const char* signature, const QString& argument)
{
    return QLatin1String(word) + QLatin1Char(' ') + QLatin1String(signature) + ": "_s + argument;
}

/// An answer that may be kept, also as rows.
Response cachedFor(const QByteArray& control)
{
    Response response = TestHttpServer::json("{\"playlists\":" + list(3, {}) + "}");
    response.headers.append(TestHttpServer::Pair("Cache-Control", control));
    return response;
}

/// The child process of the assertion's test.
int makeATransportWithoutAnAddress(const QString& /*name*/)
{
    const ModuleHost host{QString()};
    const QobuzHttpInterface http;
    return 0;
}

} // namespace

class TransportTest : public ObjectTest
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        open();
        m_answers.clear();
    }
    void cleanup()
    {
        QVERIFY(isIdle());
        close();
    }

    void aUrlIsAppendedToTheBase_data()
    {
        Rows<QString, QString, QString> row;
        row("a path and a query", "http://h/api/", "user/login?a=b", "http://h/api/user/login?a=b");
        row("slashes are not folded", "http://h/api/", "/a", "http://h/api//a");
        row("slashes are not added", "http://h/api", "user", "http://h/apiuser");
        row("dot segments stay", "http://h/api/", "../a/./b", "http://h/api/../a/./b");
        row("nothing", "http://h/api/", "", "http://h/api/");
        row("another host and scheme are ignored", "http://h/api/", "https://u:p@other:9/a?x=1",
            "http://h/api//a?x=1");
        row("port and user of the base stay", "https://u:p@h:8443/api/", "a", "https://u:p@h:8443/api/a");
        row("the base's query is replaced", "http://h/api/?k=v", "a?x=1", "http://h/api/a?x=1");
        row("by nothing, too", "http://h/api/?k=v", "a", "http://h/api/a");
        row("the fragment is the relative URL's", "http://h/api/#base", "a?x=1#part",
            "http://h/api/a?x=1#part");
        row("and the base's goes", "http://h/api/#base", "a", "http://h/api/a");
        row("letters stay as they are, composed or not", "http://h/%C3%BCu%CC%88/", "a",
            "http://h/%C3%BCu%CC%88/a");
        row("blanks stay", "http://h/%20a%20/", "%20b%20", "http://h/%20a%20/%20b%20");
        row("the letter case of the host stays", "http://WWW.H.example/Api/", "A",
            "http://WWW.H.example/Api/A");
        row("the order of the query stays", "http://h/", "a?z=1&a=2&z=3", "http://h/a?z=1&a=2&z=3");
    }
    void aUrlIsAppendedToTheBase()
    {
        const auto [base, relative, composed] = fetched<QString, QString, QString>();
        host().setSettings(base, QString(), QString());
        const Log log;
        QCOMPARE(http().composeUrl(PelkUrl(relative)).toString(), composed);
        QCOMPARE(log.traces(), (QStringList{line("Enter", composeSignature, PelkUrl(relative).toString()),
                                            line("Leave", composeSignature, composed)}));
        QCOMPARE(http().getBaseUrl().toString(), base); // untouched
    }

    void theBaseIsReadOnce()
    {
        const QString before = http().getBaseUrl().toString();
        QCOMPARE(before, server().url("/api/"_s));
        host().setSettings("http://other.example/"_s, QString(), QString());
        QCOMPARE(http().getBaseUrl().toString(), before);
        // A copy: changing it changes nothing.
        http().getBaseUrl().setHost("x"_s);
        QCOMPARE(http().getBaseUrl().toString(), before);
    }

    void theBaseIsReadAsUtf8()
    {
        host().setSettings("http://h/m\u00fcsik/%41/"_s, QString(), QString());
        QCOMPARE(http().getBaseUrl().path(), "/m\u00fcsik/%41/"_s);
        QCOMPARE(http().getBaseUrl().toString(), "http://h/m%C3%BCsik/%41/"_s);
    }

    void withoutABaseTheProcessStops()
    {
        const OwnProcess outcome = OwnProcess::play("an interface without an address"_s);
        QVERIFY2(outcome.crashed, outcome.errors.constData());
        QVERIFY2(outcome.errors.contains("ASSERT: \"!m_connectBaseUrl.isEmpty()\""),
                 outcome.errors.constData());
    }

    void aFailureReachesTheCallbackAsTheClientReportsIt()
    {
        Response reset;
        reset.reset = true;
        server().answer("/api/a", reset);
        get("a"_s);
        QVERIFY(waitForAnswers(1));
        QCOMPARE(m_answers.at(0).status, int(HttpClientResult::Interrupted));
        QCOMPARE(m_answers.at(0).code, 0);
        QVERIFY(m_answers.at(0).body.isEmpty());
        QVERIFY(m_answers.at(0).headers.isEmpty());
        QCOMPARE(server().requestCount(), 1); // sent once
    }

    void aBodyIsReadUpToTheLimit_data()
    {
        Rows<bool, int, bool, bool> row;
        row("GET, 512 KiB", false, 524288, false, true);
        row("GET, a byte more", false, 524289, false, false);
        row("GET, a byte more, of no stated length", false, 524289, true, false);
        row("POST, 1 MiB", true, 1048576, false, true);
        row("POST, a byte more", true, 1048577, false, false);
    }
    void aBodyIsReadUpToTheLimit()
    {
        const auto [post, bytes, chunked, passes] = fetched<bool, int, bool, bool>();
        Response response = plain(QByteArray(bytes, 'x'));
        response.chunked = chunked;
        server().answer("/api/a", response);
        HttpClientOptions options;
        options.setReadSizeLimit(passes ? 10 : 10000000); // not what counts
        if (post)
            http().post(PelkUrl("a"_s), QString(), collect());
        else
            get("a"_s, options);
        QVERIFY(waitForAnswers(1));
        QCOMPARE(m_answers.at(0).status,
                 int(passes ? HttpClientResult::Complete : HttpClientResult::TooLarge));
        QCOMPARE(m_answers.at(0).code, passes ? 200 : 0);
        QCOMPARE(m_answers.at(0).body.size(), passes ? bytes : 0);
    }

    void theBestVersionOfHttpIsOffered()
    {
        // Whatever the server offers, a client that takes HTTP/2 says so in its first bytes.
        QTcpServer plainServer;
        QVERIFY(plainServer.listen(QHostAddress::LocalHost));
        host().setSettings("https://127.0.0.1:%1/"_s.arg(plainServer.serverPort()), QString(), QString());
        get("a"_s);
        QVERIFY(QTest::qWaitFor([&] { return plainServer.hasPendingConnections(); }, patienceMs));
        const std::unique_ptr<QTcpSocket> socket(plainServer.nextPendingConnection());
        QByteArray hello;
        QVERIFY(
            QTest::qWaitFor([&] { return (hello += socket->readAll()).contains("http/1.1"); }, patienceMs));
        QVERIFY(hello.contains(QByteArray("\x02h2", 3)));
        socket->abort();
        QVERIFY(waitForAnswers(1));
    }

    void aPostSendsItsBodyAsLatin1()
    {
        server().answer("/api/a", plain("ok"));
        const Log log;
        http().post(PelkUrl("a?b=c"_s), "name=\u00e9\u20ac"_s, collect());
        QVERIFY(waitForAnswers(1));
        QCOMPARE(
            log.traces(),
            (QStringList{line("Enter", postSignature, "a?b=c"_s), line("Enter", sendSignature, "a?b=c"_s),
                         line("Enter", composeSignature, "a?b=c"_s),
                         line("Leave", composeSignature, server().url("/api/a?b=c"_s)),
                         line("Leave", sendSignature, QString()), line("Leave", postSignature, QString()),
                         line("Enter", callbackSignature, "code: 200"_s)}));
        const Request request = server().requests().at(0);
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.target, QByteArray("/api/a?b=c"));
        QCOMPARE(request.body, QByteArray("name=\xe9?"));
        QCOMPARE(m_answers.at(0).code, 200);
        QCOMPARE(m_answers.at(0).body, QByteArray("ok"));
    }

    void aCancelledRequestFinishesEarlyWithTheCode()
    {
        server().answer("/api/a", held("late"));
        const QobuzHttpInterface::HttpRequest request{PelkUrl("a?b=%25"_s), 0, {}, QString(), collect()};
        http().send(request);
        QVERIFY(server().waitForRequests(1));
        const Log log;
        http().cancelRequest(request, 7);
        QCOMPARE(m_answers.size(), 1); // at once
        QCOMPARE(m_answers.at(0).status, 0);
        QCOMPARE(m_answers.at(0).code, 7);
        QVERIFY(m_answers.at(0).body.isEmpty());
        QVERIFY(m_answers.at(0).headers.isEmpty());
        QCOMPARE(log.lines(), QStringList{"TRACE QobuzHttpInterface.cpp: "_s +
                                          line("Enter", cancelSignature, "requset url: a?b=%25 code: 7"_s)});
        // The transfer continues, and its response arrives too.
        server().release();
        QVERIFY(waitForAnswers(2));
        QCOMPARE(m_answers.at(1).code, 200);
        QCOMPARE(m_answers.at(1).body, QByteArray("late"));
    }

    void aFreshAnswerIsServedFromTheCacheUntilItIsCleared()
    {
        server().answer("/api/a", cachedFor("max-age=600"));
        for (int i = 1; i <= 2; ++i) {
            get("a"_s);
            QVERIFY(waitForAnswers(i));
        }
        QCOMPARE(server().requestCount(), 1);
        QCOMPARE(m_answers.at(1).body, cachedFor("").body);
        const Log log;
        http().clearCache();
        QCOMPARE(log.lines(),
                 QStringList{"TRACE QobuzHttpInterface.cpp: "_s + line("Enter", clearSignature, QString())});
        get("a"_s);
        QVERIFY(waitForAnswers(3));
        QCOMPARE(server().requestCount(), 2);
    }

    void aCacheableResponseIsNotRequestedAgain()
    {
        start();
        server().answer("/api/playlist/getUserPlaylists", cachedFor("max-age=600"));
        for (int i = 0; i < 3; ++i)
            QCOMPARE(rows("qobuz:playlists"_s).count, 3);
        QCOMPARE(server().requestCount(), 1);
        QCOMPARE(rows("qobuz:playlists"_s, 10, 19).count, 3); // another page is another answer
        QCOMPARE(server().requestCount(), 2);
    }

    void aCachedResponseIsNotUsedForAnotherUser()
    {
        start();
        server().answer("/api/playlist/getUserPlaylists", cachedFor("max-age=600"));
        server().answer("/api/user/login", json(R"({"user_auth_token":"token-2","user":{"id":1}})"));
        QCOMPARE(rows("qobuz:playlists"_s).count, 3);
        QVERIFY(!write(login()).error.isSet());
        QCOMPARE(rows("qobuz:playlists"_s).count, 3);
        QCOMPARE(server().requestCount(), 3);
        QCOMPARE(server().requests().at(2).header("X-User-Auth-Token"), QByteArray("token-2"));
    }

    void requestsShareAConnection()
    {
        start();
        serve("{}");
        for (int page = 0; page < 3; ++page)
            QVERIFY(!rows("qobuz:playlists"_s, page * 10, page * 10 + 9).error.isSet());
        QCOMPARE(server().requestCount(), 3);
        QCOMPARE(server().connectionCount(), 1);
    }

private:
    struct Answer
    {
        int status;
        int code;
        QByteArray body;
        HttpClientHeaders headers;
    };

    QobuzHttpInterface::Callback collect()
    {
        return [this](int status, int code, const QByteArray& body, const HttpClientHeaders& headers) {
            m_answers.append({status, code, body, headers});
        };
    }
    void get(const QString& url, const HttpClientOptions& options = {})
    {
        http().get(PelkUrl(url), options, collect());
    }
    bool waitForAnswers(int count)
    {
        return QTest::qWaitFor([this, count] { return m_answers.size() >= count; }, patienceMs);
    }

    QList<Answer> m_answers;
};

int main(int argc, char** argv)
{
    return OwnProcess::main<TransportTest>(argc, argv, makeATransportWithoutAnAddress);
}

#include "transport_test.moc"

#include "apifixture.h"
#include "tests/support/ownprocess.h"

#include <QtTest>

namespace {

/// The interface in front of a real server, with the base path /api/.
struct HttpFixture
{
    HttpFixture()
        : host(server.url(QStringLiteral("/api/")))
    {
    }

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
            answers.append({status, code, body, headers});
        };
    }
    void get(const QString& url, const HttpClientOptions& options = {})
    {
        http.get(PelkUrl(url), options, collect());
    }
    bool waitForAnswers(int count)
    {
        return QTest::qWaitFor([this, count] { return answers.size() >= count; }, 20000);
    }

    TestHttpServer server;
    ModuleHost host; // for its values
    QobuzHttpInterface http;
    QList<Answer> answers;
};

constexpr char getSignature[] =
    "void QobuzHttpInterface::get(const PelkUrl&, const HttpClientOptions&, const Callback&)";
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
    return QLatin1String(word) + QLatin1Char(' ') + QLatin1String(signature) + QStringLiteral(": ") +
           argument;
}

TestHttpServer::Response cachedFor(const QByteArray& control)
{
    TestHttpServer::Response response = TestHttpServer::text("body");
    response.headers.append(TestHttpServer::Pair("Cache-Control", control));
    return response;
}

/// What the child process of the assertion's test does.
int makeAnInterfaceWithoutAnAddress()
{
    const ModuleHost host{QString()};
    const QobuzHttpInterface http;
    return 0;
}

} // namespace

class HttpInterfaceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aUrlIsJoinedToTheBase_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("relative");
        QTest::addColumn<QString>("composed");
        const auto row = [](const char* name, const char* base, const char* relative, const char* composed) {
            QTest::newRow(name) << QString::fromLatin1(base) << QString::fromLatin1(relative)
                                << QString::fromLatin1(composed);
        };
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
        row("the order of the query stays", "http://h/", "a?z=1&a=2&z=3", "http://h/a?z=1&a=2&z=3");
    }
    void aUrlIsJoinedToTheBase()
    {
        QFETCH(QString, base);
        QFETCH(QString, relative);
        QFETCH(QString, composed);
        const ModuleHost host(base);
        QobuzHttpInterface http;
        LogCapture log(QStringLiteral("Qobuz"));
        QCOMPARE(http.composeUrl(PelkUrl(relative)).toString(), composed);
        QCOMPARE(log.texts(log4cplus::TRACE_LOG_LEVEL),
                 (QStringList{line("Enter", composeSignature, PelkUrl(relative).toString()),
                              line("Leave", composeSignature, composed)}));
        QCOMPARE(http.getBaseUrl().toString(), base); // untouched
    }

    void theBaseIsReadOnce()
    {
        HttpFixture f;
        const QString before = f.http.getBaseUrl().toString();
        QCOMPARE(before, f.server.url(QStringLiteral("/api/")));
        f.host.setSettings(QStringLiteral("http://other.example/"), QString(), QString());
        QCOMPARE(f.http.getBaseUrl().toString(), before);
        // A copy: changing it changes nothing.
        f.http.getBaseUrl().setHost(QStringLiteral("x"));
        QCOMPARE(f.http.getBaseUrl().toString(), before);
    }

    void theBaseIsReadAsUtf8()
    {
        const ModuleHost host(QStringLiteral("http://h/m\u00fcsik/%41/"));
        const QobuzHttpInterface http;
        QCOMPARE(http.getBaseUrl().path(), QStringLiteral("/m\u00fcsik/%41/"));
        QCOMPARE(http.getBaseUrl().toString(), QStringLiteral("http://h/m%C3%BCsik/%41/"));
    }

    void withoutABaseTheProcessStops()
    {
        const OwnProcess outcome = OwnProcess::play(QStringLiteral("an interface without an address"));
        QVERIFY2(outcome.crashed, outcome.errors.constData());
        QVERIFY2(outcome.errors.contains("ASSERT: \"!m_connectBaseUrl.isEmpty()\""),
                 outcome.errors.constData());
    }

    void anAnswerReachesTheCallbackWhateverItsCode_data()
    {
        QTest::addColumn<int>("code");
        for (const int code : {200, 201, 404, 500})
            QTest::addRow("%d", code) << code;
    }
    void anAnswerReachesTheCallbackWhateverItsCode()
    {
        QFETCH(int, code);
        HttpFixture f;
        TestHttpServer::Response response = TestHttpServer::text("body", code);
        response.headers.append(TestHttpServer::Pair("X-Answer", "yes"));
        f.server.answer("/api/a", response);
        f.get(QStringLiteral("a"));
        QVERIFY(f.answers.isEmpty()); // later, from the event loop
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.answers.at(0).status, int(HttpClientResult::Complete));
        QCOMPARE(f.answers.at(0).code, code);
        QCOMPARE(f.answers.at(0).body, QByteArray("body"));
        QCOMPARE(f.answers.at(0).headers.value(QStringLiteral("X-Answer")), QStringLiteral("yes"));
    }

    void aFailureReachesTheCallbackAsTheClientReportsIt()
    {
        HttpFixture f;
        TestHttpServer::Response reset;
        reset.reset = true;
        f.server.answer("/api/a", reset);
        f.get(QStringLiteral("a"));
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.answers.at(0).status, int(HttpClientResult::Interrupted));
        QCOMPARE(f.answers.at(0).code, 0);
        QVERIFY(f.answers.at(0).body.isEmpty());
        QVERIFY(f.answers.at(0).headers.isEmpty());
        QCOMPARE(f.server.requestCount(), 1); // sent once
    }

    void aBodyIsReadUpToTheLimit_data()
    {
        QTest::addColumn<bool>("post");
        QTest::addColumn<int>("bytes");
        QTest::addColumn<bool>("chunked");
        QTest::addColumn<bool>("passes");
        QTest::newRow("GET, 512 KiB") << false << 524288 << false << true;
        QTest::newRow("GET, a byte more") << false << 524289 << false << false;
        QTest::newRow("GET, a byte more, of no stated length") << false << 524289 << true << false;
        QTest::newRow("POST, 1 MiB") << true << 1048576 << false << true;
        QTest::newRow("POST, a byte more") << true << 1048577 << false << false;
    }
    void aBodyIsReadUpToTheLimit()
    {
        QFETCH(bool, post);
        QFETCH(int, bytes);
        QFETCH(bool, chunked);
        QFETCH(bool, passes);
        HttpFixture f;
        TestHttpServer::Response response = TestHttpServer::text(QByteArray(bytes, 'x'));
        response.chunked = chunked;
        f.server.answer("/api/a", response);
        HttpClientOptions options;
        options.setReadSizeLimit(passes ? 10 : 10000000); // not what counts
        if (post)
            f.http.post(PelkUrl(QStringLiteral("a")), QString(), f.collect());
        else
            f.get(QStringLiteral("a"), options);
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.answers.at(0).status,
                 int(passes ? HttpClientResult::Complete : HttpClientResult::TooLarge));
        QCOMPARE(f.answers.at(0).code, passes ? 200 : 0);
        QCOMPARE(f.answers.at(0).body.size(), passes ? bytes : 0);
    }

    void aSlowAnswerOutlastsTheCallersTimeOut()
    {
        HttpFixture f;
        TestHttpServer::Response slow = TestHttpServer::text("late");
        slow.delayMs = 600;
        f.server.answer("/api/a", slow);
        HttpClientOptions options;
        options.setTimeoutMs(200);
        f.get(QStringLiteral("a"), options);
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.answers.at(0).code, 200);
    }

    void theCallersHeadersGoAlong()
    {
        HttpFixture f;
        HttpClientHeaders headers;
        headers.insert(QStringLiteral("X-One"), QStringLiteral("1"));
        HttpClientOptions options;
        options.setHeaders(headers);
        f.get(QStringLiteral("a?b=c"), options);
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.server.requests().at(0).method, QByteArray("GET"));
        QCOMPARE(f.server.requests().at(0).target, QByteArray("/api/a?b=c"));
        QCOMPARE(f.server.requests().at(0).header("X-One"), QByteArray("1"));
    }

    void aPostSendsItsBodyAsLatin1()
    {
        HttpFixture f;
        f.server.answer("/api/a", TestHttpServer::text("ok"));
        f.http.post(PelkUrl(QStringLiteral("a?b=c")), QStringLiteral("name=\u00e9\u20ac"), f.collect());
        QVERIFY(f.waitForAnswers(1));
        const TestHttpServer::Request request = f.server.requests().at(0);
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.target, QByteArray("/api/a?b=c"));
        QCOMPARE(request.body, QByteArray("name=\xe9?"));
        QCOMPARE(f.answers.at(0).code, 200);
        QCOMPARE(f.answers.at(0).body, QByteArray("ok"));
    }

    void aGetWritesTheseRecords()
    {
        HttpFixture f;
        f.server.answer("/api/a", TestHttpServer::text("ok"));
        LogCapture log(QStringLiteral("Qobuz"));
        f.get(QStringLiteral("a?b=%25"));
        QVERIFY(f.waitForAnswers(1));
        compareRecords(log, requestRecords(f, getSignature));
    }

    void aPostWritesTheseRecords()
    {
        HttpFixture f;
        f.server.answer("/api/a", TestHttpServer::text("ok"));
        LogCapture log(QStringLiteral("Qobuz"));
        f.http.post(PelkUrl(QStringLiteral("a?b=%25")), QStringLiteral("body"), f.collect());
        QVERIFY(f.waitForAnswers(1));
        compareRecords(log, requestRecords(f, postSignature));
    }

    void aCancelledRequestFinishesEarlyWithTheCode()
    {
        HttpFixture f;
        TestHttpServer::Response held = TestHttpServer::text("late");
        held.hold = true;
        f.server.answer("/api/a", held);
        const QobuzHttpInterface::HttpRequest request{
            PelkUrl(QStringLiteral("a?b=%25")), 0, {}, QString(), f.collect()};
        f.http.send(request);
        QVERIFY(f.server.waitForRequests(1));
        LogCapture log(QStringLiteral("Qobuz"));
        f.http.cancelRequest(request, 7);
        QCOMPARE(f.answers.size(), 1); // at once
        QCOMPARE(f.answers.at(0).status, 0);
        QCOMPARE(f.answers.at(0).code, 7);
        QVERIFY(f.answers.at(0).body.isEmpty());
        QVERIFY(f.answers.at(0).headers.isEmpty());
        compareRecords(log, {line("Enter", cancelSignature, QStringLiteral("requset url: a?b=%25 code: 7"))});
        // The transfer goes on, and its answer comes too.
        f.server.release();
        QVERIFY(f.waitForAnswers(2));
        QCOMPARE(f.answers.at(1).code, 200);
        QCOMPARE(f.answers.at(1).body, QByteArray("late"));
    }

    void aRequestThatWasNeverSentCanBeCancelled()
    {
        HttpFixture f;
        f.http.cancelRequest({PelkUrl(), 1, {}, QString(), f.collect()}, -1);
        QCOMPARE(f.answers.size(), 1);
        QCOMPARE(f.answers.at(0).code, -1);
    }

    void aFreshAnswerIsServedFromTheCacheUntilItIsCleared()
    {
        HttpFixture f;
        f.server.answer("/api/a", cachedFor("max-age=600"));
        for (int i = 1; i <= 2; ++i) {
            f.get(QStringLiteral("a"));
            QVERIFY(f.waitForAnswers(i));
        }
        QCOMPARE(f.server.requestCount(), 1);
        QCOMPARE(f.answers.at(1).body, QByteArray("body"));
        LogCapture log(QStringLiteral("Qobuz"));
        f.http.clearCache();
        compareRecords(log, {line("Enter", clearSignature, QString())});
        f.get(QStringLiteral("a"));
        QVERIFY(f.waitForAnswers(3));
        QCOMPARE(f.server.requestCount(), 2);
    }

    void anAnswerWithATagIsAskedAboutUntilTheCacheIsCleared()
    {
        HttpFixture f;
        f.server.setHandler([](const TestHttpServer::Request& request) {
            TestHttpServer::Response response = cachedFor("no-cache");
            response.headers.append(TestHttpServer::Pair("ETag", "\"v1\""));
            if (!request.header("If-None-Match").isNull()) {
                response.status = 304;
                response.body.clear();
            }
            return response;
        });
        for (int i = 1; i <= 2; ++i) {
            f.get(QStringLiteral("a"));
            QVERIFY(f.waitForAnswers(i));
            QCOMPARE(f.answers.last().code, 200);
            QCOMPARE(f.answers.last().body, QByteArray("body"));
        }
        f.http.clearCache();
        f.get(QStringLiteral("a"));
        QVERIFY(f.waitForAnswers(3));
        const QList<TestHttpServer::Request> requests = f.server.requests();
        QVERIFY(requests.at(0).header("If-None-Match").isNull());
        QCOMPARE(requests.at(1).header("If-None-Match"), QByteArray("\"v1\""));
        QVERIFY(requests.at(2).header("If-None-Match").isNull());
    }

    void theCacheHoldsOneMebibyte()
    {
        HttpFixture f;
        f.server.setHandler([](const TestHttpServer::Request&) {
            TestHttpServer::Response response = cachedFor("max-age=600");
            response.body = QByteArray(400000, 'x');
            return response;
        });
        // Two of these fit beside each other, three do not: the first has gone when it is asked for again.
        const QStringList urls{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("b"),
                               QStringLiteral("a"), QStringLiteral("c"), QStringLiteral("b")};
        for (int i = 0; i < urls.size(); ++i) {
            f.get(urls.at(i));
            QVERIFY(f.waitForAnswers(i + 1));
        }
        QByteArrayList paths;
        for (const TestHttpServer::Request& request : f.server.requests())
            paths.append(request.path);
        QCOMPARE(paths, (QByteArrayList{"/api/a", "/api/b", "/api/c", "/api/b"}));
    }

private:
    /// What each request writes on its way, whatever its method.
    static QStringList requestRecords(const HttpFixture& f, const char* signature)
    {
        const QString relative = QStringLiteral("a?b=%25");
        return {line("Enter", signature, relative),
                line("Enter", sendSignature, relative),
                line("Enter", composeSignature, relative),
                line("Leave", composeSignature, f.server.url(QStringLiteral("/api/a?b=%25"))),
                line("Leave", sendSignature, QString()),
                line("Leave", signature, QString()),
                line("Enter", callbackSignature, QStringLiteral("code: 200"))};
    }

    static void compareRecords(const LogCapture& log, const QStringList& texts)
    {
        QStringList found;
        for (const LogCapture::Record& record : log.records()) {
            found.append(record.text);
            QCOMPARE(record.level, log4cplus::TRACE_LOG_LEVEL);
            QCOMPARE(record.file, QStringLiteral("QobuzHttpInterface.cpp"));
            QVERIFY(record.line > 0);
        }
        QCOMPARE(found, texts);
    }
};

int main(int argc, char** argv)
{
    return OwnProcess::main<HttpInterfaceTest>(
        argc, argv, [](const QString&) { return makeAnInterfaceWithoutAnAddress(); });
}

#include "http_interface_test.moc"

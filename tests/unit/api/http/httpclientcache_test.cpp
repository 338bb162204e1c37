#include "clientfixture.h"

#include <QtTest>

namespace {

TestHttpServer::Response cached(const QByteArray& body, const QByteArray& control)
{
    return withHeader(TestHttpServer::text(body), "Cache-Control", control);
}

} // namespace

Q_DECLARE_METATYPE(TestHttpServer::Response)

/// The rules themselves are tested with the cache; this is how the client uses it.
class HttpClientCacheTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutASizeNothingIsCached()
    {
        TestHttpServer server;
        server.answer("/", cached("x", "max-age=60"));
        ClientFixture f;
        f.fetch(server.url());
        f.fetch(server.url());
        QCOMPARE(server.requestCount(), 2);
    }

    void aFreshResponseIsNotRequestedAgain()
    {
        TestHttpServer server;
        server.answer("/", withHeader(cached("body", "max-age=60"), "X-A", "1"));
        ClientFixture f;
        f.client.setCacheSize(1048576);
        f.fetch(server.url());
        const int before = f.results.size();
        f.get(server.url());
        QCOMPARE(f.results.size(), before); // from the event loop, like any other
        QVERIFY(f.waitForResults(before + 1));
        const HttpClientResult result = f.results.last();
        QCOMPARE(result.status(), HttpClientResult::Complete);
        QCOMPARE(result.code(), 200);
        QCOMPARE(result.body(), QByteArray("body"));
        QCOMPARE(result.headers().value(QStringLiteral("X-A")), QStringLiteral("1"));
        QVERIFY(result.url() == PelkUrl(server.url()));
        QCOMPARE(server.requestCount(), 1);
    }

    void oneUsersAnswerNeverReachesAnother()
    {
        TestHttpServer server;
        server.setHandler([](const TestHttpServer::Request& request) {
            return cached("for " + request.header("X-User-Auth-Token"), "max-age=60");
        });
        ClientFixture f;
        f.client.setCacheSize(1048576);
        f.setHeader("X-User-Auth-Token", "one");
        QCOMPARE(f.fetch(server.url()).body(), QByteArray("for one"));
        f.setHeader("X-User-Auth-Token", "two");
        QCOMPARE(f.fetch(server.url()).body(), QByteArray("for two"));
        f.options.setHeaders({});
        QCOMPARE(f.fetch(server.url()).body(), QByteArray("for "));
        QCOMPARE(server.requestCount(), 3);
    }

    void aStaleAnswerIsConfirmedByTheServer()
    {
        TestHttpServer server;
        server.setHandler([](const TestHttpServer::Request& request) {
            if (request.header("If-None-Match") == "\"v1\"") {
                TestHttpServer::Response same;
                same.status = 304;
                return withHeader(same, "X-New", "yes");
            }
            return withHeader(cached("long body", "no-cache"), "ETag", "\"v1\"");
        });
        ClientFixture f;
        f.client.setCacheSize(1048576);
        f.setHeader("X-App-Id", "1");
        f.fetch(server.url());
        const HttpClientResult result = f.fetch(server.url());
        QCOMPARE(server.requestCount(), 2);
        QCOMPARE(server.requests().at(1).header("X-App-Id"), QByteArray("1"));
        QCOMPARE(result.code(), 200);
        QCOMPARE(result.body(), QByteArray("long body"));
        QCOMPARE(result.headers().value(QStringLiteral("X-New")), QStringLiteral("yes"));
    }

    void aStaleAnswerIsReplacedByANewOne()
    {
        TestHttpServer server;
        server.answerOnce("/", withHeader(TestHttpServer::text("old"), "ETag", "\"1\""));
        server.answerOnce("/", withHeader(TestHttpServer::text("new"), "ETag", "\"2\""));
        ClientFixture f;
        f.client.setCacheSize(1048576);
        f.fetch(server.url());
        QCOMPARE(f.fetch(server.url()).body(), QByteArray("new"));
        f.fetch(server.url());
        QCOMPARE(server.requests().at(2).header("If-None-Match"), QByteArray("\"2\""));
    }

    void aFailedConfirmationIsNoAnswer()
    {
        TestHttpServer server;
        server.answerOnce("/", withHeader(TestHttpServer::text("old"), "ETag", "\"1\""));
        server.answerOnce("/", TestHttpServer::text("broken", 500));
        ClientFixture f;
        f.client.setCacheSize(1048576);
        f.fetch(server.url());
        QCOMPARE(f.fetch(server.url()).code(), 500);
        f.fetch(server.url()); // kept through a server's bad moment
        QCOMPARE(server.requests().at(2).header("If-None-Match"), QByteArray("\"1\""));
    }

    void onlyCompleteOkAnswersToGetAreKept_data()
    {
        QTest::addColumn<TestHttpServer::Response>("response");
        QTest::newRow("not found") << withHeader(TestHttpServer::text("x", 404), "Cache-Control",
                                                 "max-age=60");
        QTest::newRow("no-store") << cached("x", "no-store, max-age=60");
        TestHttpServer::Response cut = cached("123456", "max-age=60");
        cut.truncateAfter = 3;
        QTest::newRow("cut short") << cut;
        QTest::newRow("redirect") << withHeader(TestHttpServer::redirect(QStringLiteral("/ok")),
                                                "Cache-Control", "max-age=60");
        QTest::newRow("nothing said") << TestHttpServer::text("x");
    }

    void onlyCompleteOkAnswersToGetAreKept()
    {
        QFETCH(TestHttpServer::Response, response);
        TestHttpServer server;
        server.answer("/", response);
        server.answer("/ok", cached("ok", "max-age=60"));
        ClientFixture f;
        f.client.setCacheSize(1048576);
        f.fetch(server.url());
        const int once = server.requestCount();
        f.fetch(server.url());
        QCOMPARE(server.requestCount(), 2 * once);
    }

    void aPostIsNotCachedAndInvalidatesItsAddress()
    {
        TestHttpServer server;
        server.answer("/", cached("x", "max-age=60"));
        ClientFixture f;
        f.client.setCacheSize(1048576);
        f.fetch(server.url());
        for (int i = 2; i <= 3; ++i) {
            f.client.post(PelkUrl(server.url()), "a", f.options, f.collect());
            QVERIFY(f.waitForResults(i));
        }
        QCOMPARE(server.requestCount(), 3);
        f.fetch(server.url());
        QCOMPARE(server.requestCount(), 4);
    }

    void aCachedAnswerKeepsToTheReadSizeLimit()
    {
        TestHttpServer server;
        server.answer("/", cached("0123456789", "max-age=60"));
        ClientFixture f;
        f.client.setCacheSize(1048576);
        f.fetch(server.url());
        f.options.setReadSizeLimit(9);
        QCOMPARE(f.fetch(server.url()).status(), HttpClientResult::TooLarge);
        f.options.setReadSizeLimit(10);
        QCOMPARE(f.fetch(server.url()).body(), QByteArray("0123456789"));
        QCOMPARE(server.requestCount(), 2);
    }

    void aClearedCacheRequestsAgain()
    {
        TestHttpServer server;
        server.answer("/", cached("x", "max-age=60"));
        ClientFixture f;
        f.client.setCacheSize(1048576);
        f.fetch(server.url());
        f.client.clearCache();
        f.fetch(server.url());
        QCOMPARE(server.requestCount(), 2);
    }

    void aRedirectedConfirmationLosesItsConditions()
    {
        TestHttpServer server;
        server.answerOnce("/", withHeader(TestHttpServer::text("old"), "ETag", "\"1\""));
        server.answerOnce("/", TestHttpServer::redirect(QStringLiteral("/b")));
        server.answer("/b", TestHttpServer::text("new"));
        ClientFixture f;
        f.client.setCacheSize(1048576);
        f.setHeader("X-App-Id", "1");
        f.fetch(server.url());
        QCOMPARE(f.fetch(server.url()).body(), QByteArray("new"));
        QVERIFY(server.requests().at(2).header("If-None-Match").isNull());
        QCOMPARE(server.requests().at(2).header("X-App-Id"), QByteArray("1"));
    }
};

QTEST_GUILESS_MAIN(HttpClientCacheTest)
#include "httpclientcache_test.moc"

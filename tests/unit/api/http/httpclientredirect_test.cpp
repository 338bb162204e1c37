#include "clientfixture.h"

#include <QtTest>

namespace {

const QString effectiveUrl = QStringLiteral("X-PelkEfectiveUrl");

} // namespace

class HttpClientRedirectTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void redirectsAreFollowedAndTheServedUrlIsNamed_data()
    {
        QTest::addColumn<QString>("location");
        QTest::addColumn<QString>("served");
        const auto row = [](const char* location, const char* served) {
            QTest::newRow(location) << QString::fromUtf8(location) << QString::fromUtf8(served);
        };
        row("/b?x=a+b&y", "/b?x=a+b&y");
        row("c", "/dir/c");
        row("?q=1", "/dir/a?q=1");
        row("//127.0.0.1:PORT/d", "/d");
        row("http://127.0.0.1:PORT/e%20f", "/e%20f");
        row("/with blank", "/with%20blank");
        row("/é", "/%c3%a9");
    }

    void redirectsAreFollowedAndTheServedUrlIsNamed()
    {
        QFETCH(QString, location);
        QFETCH(QString, served);
        TestHttpServer server;
        location.replace(QLatin1String("PORT"), QString::number(server.port()));
        server.answerOnce("/dir/a", TestHttpServer::redirect(location));
        server.setHandler([](const TestHttpServer::Request&) { return TestHttpServer::text("served"); });
        ClientFixture f;
        f.setHeader("X-App-Id", "42");
        const QString url = server.url(QStringLiteral("/dir/a"));
        const HttpClientResult result = f.fetch(url);
        QCOMPARE(result.code(), 200);
        QCOMPARE(result.body(), QByteArray("served"));
        QCOMPARE(result.headers().value(effectiveUrl), server.url(served));
        QVERIFY(result.url() == PelkUrl(url));
        QCOMPARE(server.requests().at(1).target, served.toUtf8());
        QCOMPARE(server.requests().at(1).header("X-App-Id"), QByteArray("42"));
    }

    void theServersOwnHeaderOfThatNameIsPassedOn()
    {
        TestHttpServer server;
        server.answer("/",
                      withHeader(TestHttpServer::text("x"), "X-PelkEfectiveUrl", "http://other.example/"));
        server.answer("/r", TestHttpServer::redirect(QStringLiteral("/")));
        ClientFixture f;
        QCOMPARE(f.fetch(server.url()).headers().value(effectiveUrl),
                 QStringLiteral("http://other.example/"));
        QCOMPARE(f.fetch(server.url(QStringLiteral("/r"))).headers().value(effectiveUrl), server.url());
    }

    void anotherHostGetsNoneOfTheHeaders_data()
    {
        QTest::addColumn<QByteArray>("address");
        QTest::newRow("another host") << QByteArray("127.0.0.2");
        QTest::newRow("another port") << QByteArray("127.0.0.1");
    }

    void anotherHostGetsNoneOfTheHeaders()
    {
        QFETCH(QByteArray, address);
        TestHttpServer server;
        TestHttpServer other(address);
        server.answer("/a", TestHttpServer::redirect(other.url(QStringLiteral("/b"))));
        // Back to the first server, the headers still stay out: the other one chose the URL.
        other.answer("/b", TestHttpServer::redirect(server.url(QStringLiteral("/c"))));
        server.answer("/c", TestHttpServer::text("end"));
        ClientFixture f;
        f.setHeader("X-User-Auth-Token", "secret");
        const HttpClientResult result = f.fetch(server.url(QStringLiteral("/a")));
        QCOMPARE(result.body(), QByteArray("end"));
        QCOMPARE(result.headers().value(effectiveUrl), server.url(QStringLiteral("/c")));
        QCOMPARE(server.requests().at(0).header("X-User-Auth-Token"), QByteArray("secret"));
        QVERIFY(other.requests().at(0).header("X-User-Auth-Token").isNull());
        QVERIFY(server.requests().at(1).header("X-User-Auth-Token").isNull());
    }

    void theServedHostKeepsItsLetterCase()
    {
        TestHttpServer server;
        server.answer(
            "/a", TestHttpServer::redirect(server.url(QStringLiteral("/b"), QStringLiteral("LocalHost"))));
        server.answer("/b", TestHttpServer::text("x"));
        ClientFixture f;
        const HttpClientResult result = f.fetch(server.url(QStringLiteral("/a")));
        QCOMPARE(result.code(), 200);
        QCOMPARE(PelkUrl(result.headers().value(effectiveUrl)).host(), QStringLiteral("LocalHost"));
    }

    void aRedirectToANonHttpUrlIsRefused_data()
    {
        QTest::addColumn<QString>("location");
        for (const char* location : {"file:///etc/passwd", "ftp://127.0.0.1/x", "javascript:alert(1)",
                                     "http://", "http://[fe80::1%25.example.com]/"})
            QTest::newRow(location) << QString::fromUtf8(location);
    }

    void aRedirectToANonHttpUrlIsRefused()
    {
        QFETCH(QString, location);
        TestHttpServer server;
        server.answer("/", TestHttpServer::redirect(location));
        ClientFixture f;
        const HttpClientResult result = f.fetch(server.url());
        QVERIFY(result.status() == HttpClientResult::RedirectRefused);
        QCOMPARE(result.code(), 0);
        QCOMPARE(server.requestCount(), 1);
    }

    void aRedirectMayLeadToTls()
    {
        TestHttpServer server;
        TestHttpServer notTls;
        server.answer("/",
                      TestHttpServer::redirect(QStringLiteral("https://127.0.0.1:%1/").arg(notTls.port())));
        ClientFixture f;
        QCOMPARE(f.fetch(server.url()).status(), HttpClientResult::TlsFailed);
        QCOMPARE(notTls.connectionCount(), 1);
    }

    void aRedirectLoopEnds()
    {
        TestHttpServer server;
        server.answer("/", TestHttpServer::redirect(QStringLiteral("/")));
        ClientFixture f;
        const HttpClientResult result = f.fetch(server.url());
        QCOMPARE(result.status(), HttpClientResult::RedirectRefused);
        QCOMPARE(result.code(), 0);
        QCOMPARE(server.requestCount(), 11);
    }

    void aRedirectWithoutLocationIsTheAnswer()
    {
        TestHttpServer server;
        server.answer("/", TestHttpServer::text("where?", 302));
        ClientFixture f;
        const HttpClientResult result = f.fetch(server.url());
        QCOMPARE(result.code(), 302);
        QCOMPARE(result.body(), QByteArray("where?"));
    }

    void aRedirectedPostFollowsItsCode_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<bool>("otherServer");
        QTest::addColumn<QByteArray>("method"); // empty: refused
        for (const int code : {301, 302, 303}) {
            QTest::addRow("%d", code) << code << false << QByteArray("GET");
            QTest::addRow("%d to another server", code) << code << true << QByteArray("GET");
        }
        for (const int code : {307, 308}) {
            QTest::addRow("%d", code) << code << false << QByteArray("POST");
            QTest::addRow("%d to another server", code) << code << true << QByteArray();
        }
    }

    void aRedirectedPostFollowsItsCode()
    {
        QFETCH(int, code);
        QFETCH(bool, otherServer);
        QFETCH(QByteArray, method);
        TestHttpServer server;
        TestHttpServer second;
        TestHttpServer& target = otherServer ? second : server;
        target.answer("/b", TestHttpServer::text("x"));
        server.answer("/a", TestHttpServer::redirect(target.url(QStringLiteral("/b")), code));
        ClientFixture f;
        f.client.post(PelkUrl(server.url(QStringLiteral("/a"))), "password", f.options, f.collect());
        QVERIFY(f.waitForResults(1));
        if (method.isEmpty()) {
            QCOMPARE(f.results.at(0).status(), HttpClientResult::RedirectRefused);
            QCOMPARE(second.requestCount(), 0);
        } else {
            QCOMPARE(target.requests().last().method, method);
            QCOMPARE(target.requests().last().body, method == "POST" ? QByteArray("password") : QByteArray());
        }
    }

    void theTimeOutCoversRedirectsToo()
    {
        TestHttpServer server;
        TestHttpServer::Response hop = TestHttpServer::redirect(QStringLiteral("/"));
        hop.delayMs = 60;
        server.answer("/", hop);
        ClientFixture f;
        f.options.setTimeoutMs(200);
        QCOMPARE(f.fetch(server.url()).status(), HttpClientResult::TimedOut);
        QVERIFY(server.requestCount() > 1 && server.requestCount() < 6);
    }
};

QTEST_GUILESS_MAIN(HttpClientRedirectTest)
#include "httpclientredirect_test.moc"

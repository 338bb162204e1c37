#include "clientfixture.h"
#include "tests/support/patience.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <memory>
#include <thread>

namespace {

const QString effectiveUrl = QStringLiteral("X-PelkEfectiveUrl");

/// 100,000 letters "a" as HTTP's "deflate" has them.
QByteArray deflatedLetters()
{
    // Four bytes of length come before the zlib stream.
    return qCompress(QByteArray(100000, 'a'), 9).mid(4);
}

} // namespace

Q_DECLARE_METATYPE(TestHttpServer::Response)

class HttpClientTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aGetBringsCodeBodyAndHeaders_data()
    {
        QTest::addColumn<int>("code");
        for (const int code : {200, 204, 400, 401, 404, 500, 503})
            QTest::addRow("%d", code) << code;
    }

    void aGetBringsCodeBodyAndHeaders()
    {
        QFETCH(int, code);
        TestHttpServer server;
        const QByteArray body = code == 204 ? QByteArray() : QByteArray("{\"a\":1}");
        server.answer("/x/y", withHeader(TestHttpServer::json(body, code), "X-Test", "v"));
        ClientFixture f;
        f.setHeader("X-App-Id", "42");
        f.setHeader("X-Empty", "");
        const QString url = server.url(QStringLiteral("/x/y?a=1&b=%20&a=2#frag"));
        const HttpClientResult result = f.fetch(url);
        QCOMPARE(result.status(), HttpClientResult::Complete);
        QCOMPARE(result.code(), code);
        QCOMPARE(result.body(), body);
        QCOMPARE(result.headers().value(QStringLiteral("x-test")), QStringLiteral("v"));
        QVERIFY(!result.headers().contains(effectiveUrl));
        QVERIFY(result.url() == PelkUrl(url));
        QCOMPARE(result.errorText(), QString());
        const TestHttpServer::Request request = server.requests().at(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.target, QByteArray("/x/y?a=1&b=%20&a=2"));
        QCOMPARE(request.header("X-App-Id"), QByteArray("42"));
        QVERIFY(!request.header("X-Empty").isNull());
        QVERIFY(request.header("Accept-Encoding").contains("gzip"));
    }

    void aPathIsSentAsItIsWritten()
    {
        TestHttpServer server;
        ClientFixture f;
        f.fetch(server.url(QStringLiteral("/api//a/../b/./c%2Fd")));
        QCOMPARE(server.requests().at(0).target, QByteArray("/api//a/../b/./c%2Fd"));
    }

    void aPostSendsItsBody_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("form") << QByteArray("a=1&b=2");
        QTest::newRow("binary") << QByteArray("a\0b", 3);
        QTest::newRow("large") << QByteArray(3000000, 'x');
    }

    void aPostSendsItsBody()
    {
        QFETCH(QByteArray, body);
        TestHttpServer server;
        server.answer("/p", TestHttpServer::text("done"));
        ClientFixture f;
        f.client.post(PelkUrl(server.url(QStringLiteral("/p"))), body, f.options, f.collect());
        QVERIFY(f.waitForResults(1));
        QCOMPARE(f.results.at(0).code(), 200);
        QCOMPARE(f.results.at(0).body(), QByteArray("done"));
        const TestHttpServer::Request request = server.requests().at(0);
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.body, body);
        QCOMPARE(request.header("Content-Type"), QByteArray("application/x-www-form-urlencoded"));
        QVERIFY(request.header("Expect").isNull());
        // The handle is used again, and forgets that it posted.
        f.fetch(server.url(QStringLiteral("/p")));
        QCOMPARE(server.requests().at(1).method, QByteArray("GET"));
        QVERIFY(server.requests().at(1).header("Content-Type").isNull());
    }

    void repeatedHeadersAreJoined()
    {
        TestHttpServer server;
        auto response = withHeader(withHeader(TestHttpServer::text("x"), "X-A", "1"), "x-a", "2");
        server.answer("/", response);
        ClientFixture f;
        QCOMPARE(f.fetch(server.url()).headers().value(QStringLiteral("X-A")), QStringLiteral("1, 2"));
    }

    void aHeaderValueCannotAddAHeader()
    {
        TestHttpServer server;
        ClientFixture f;
        f.setHeader("X-App-Id", "1\r\nX-Evil: 2");
        f.fetch(server.url());
        QVERIFY(server.requests().at(0).header("X-Evil").isNull());
        QCOMPARE(server.requests().at(0).header("X-App-Id"), QByteArray("1X-Evil: 2"));
    }

    void aCallbackNeverRunsInsideTheCall()
    {
        TestHttpServer server;
        ClientFixture f;
        f.get(server.url());
        f.get(QStringLiteral("nonsense"));
        f.client.post(PelkUrl(), QByteArray(), f.options, f.collect());
        QCOMPARE(f.results.size(), 0);
        QCOMPARE(f.client.inFlight(), 3);
        QVERIFY(f.waitForResults(3));
        QCOMPARE(f.client.inFlight(), 0);
    }

    void aUrlThatIsNotHttpIsRefused_data()
    {
        QTest::addColumn<QString>("url");
        for (const char* url : {"", "nonsense", "user/login", "file:///etc/passwd", "ftp://127.0.0.1/",
                                "http:///x", "gopher://127.0.0.1/", "http://h:99999/"})
            QTest::newRow(*url ? url : "empty") << QString::fromUtf8(url);
    }

    void aUrlThatIsNotHttpIsRefused()
    {
        QFETCH(QString, url);
        ClientFixture f;
        const HttpClientResult result = f.fetch(url);
        QCOMPARE(result.status(), HttpClientResult::InvalidUrl);
        QCOMPARE(result.code(), 0);
        QVERIFY(!result.errorText().isEmpty());
    }

    void aTimeOutEndsARequestWithoutAnswer_data()
    {
        QTest::addColumn<TestHttpServer::Response>("response");
        TestHttpServer::Response silent;
        silent.hold = true;
        QTest::newRow("no answer") << silent;
        TestHttpServer::Response slow = TestHttpServer::text(QByteArray(100000, 'x'));
        slow.dripBytes = 1;
        QTest::newRow("an answer that drips") << slow;
    }

    void aTimeOutEndsARequestWithoutAnswer()
    {
        QFETCH(TestHttpServer::Response, response);
        TestHttpServer server;
        server.answer("/", response);
        ClientFixture f;
        f.options.setTimeoutMs(150);
        QElapsedTimer elapsed;
        elapsed.start();
        const HttpClientResult result = f.fetch(server.url());
        QVERIFY2(elapsed.elapsed() >= 145 && elapsed.elapsed() < 2000,
                 qPrintable(QString::number(elapsed.elapsed())));
        QCOMPARE(result.status(), HttpClientResult::TimedOut);
        QCOMPARE(result.code(), 0);
        QCOMPARE(result.body(), QByteArray());
        QVERIFY(result.headers().isEmpty());
        QVERIFY(!result.errorText().isEmpty());
    }

    void aTransferIsStoppedAtTheReadSizeLimit_data()
    {
        QTest::addColumn<TestHttpServer::Response>("response");
        QTest::addColumn<int>("limit");
        QTest::addColumn<bool>("passes");
        const TestHttpServer::Response plain = TestHttpServer::text(QByteArray(100000, 'a'));
        TestHttpServer::Response chunked = plain;
        chunked.chunked = true;
        const TestHttpServer::Response packed =
            withHeader(TestHttpServer::text(deflatedLetters()), "Content-Encoding", "deflate");
        TestHttpServer::Response packedChunks = packed;
        packedChunks.chunked = true;
        const QList<QPair<const char*, TestHttpServer::Response>> kinds = {
            {"plain", plain},
            {"chunked", chunked},
            {"compressed", packed},
            {"compressed, chunked", packedChunks}};
        for (const auto& kind : kinds) {
            QTest::addRow("%s, at the limit", kind.first) << kind.second << 100000 << true;
            QTest::addRow("%s, one byte over", kind.first) << kind.second << 99999 << false;
            QTest::addRow("%s, far over", kind.first) << kind.second << 1000 << false;
            QTest::addRow("%s, no limit", kind.first) << kind.second << 0 << true;
        }
    }

    void aTransferIsStoppedAtTheReadSizeLimit()
    {
        QFETCH(TestHttpServer::Response, response);
        QFETCH(int, limit);
        QFETCH(bool, passes);
        TestHttpServer server;
        server.answer("/", response);
        ClientFixture f;
        f.options.setReadSizeLimit(limit);
        const HttpClientResult result = f.fetch(server.url());
        if (passes) {
            QCOMPARE(result.code(), 200);
            QCOMPARE(result.body(), QByteArray(100000, 'a'));
        } else {
            QCOMPARE(result.status(), HttpClientResult::TooLarge);
            QCOMPARE(result.code(), 0);
            QCOMPARE(result.body(), QByteArray());
            QCOMPARE(result.errorText(), QStringLiteral("The answer is larger than %1 bytes").arg(limit));
        }
    }

    void anEndlessAnswerIsStoppedAtTheLimit()
    {
        TestHttpServer server;
        TestHttpServer::Response endless = TestHttpServer::text(QByteArray(50000000, 'x'));
        server.answer("/", endless);
        ClientFixture f;
        f.options.setReadSizeLimit(524288);
        QCOMPARE(f.fetch(server.url()).status(), HttpClientResult::TooLarge);
        // The connection of a stopped transfer is not used again.
        server.answer("/after", TestHttpServer::text("fine"));
        QCOMPARE(f.fetch(server.url(QStringLiteral("/after"))).body(), QByteArray("fine"));
        QCOMPARE(server.requests().last().connection, 2);
    }

    void aBrokenAnswerIsAFailure_data()
    {
        QTest::addColumn<TestHttpServer::Response>("response");
        TestHttpServer::Response cut = TestHttpServer::text(QByteArray(5000, 'x'));
        cut.truncateAfter = 2500;
        QTest::newRow("body cut short") << cut;
        cut.chunked = true;
        QTest::newRow("chunked body cut short") << cut;
        TestHttpServer::Response reset;
        reset.reset = true;
        QTest::newRow("connection reset") << reset;
        TestHttpServer::Response bare;
        bare.bare = true;
        bare.body = "\x15\x03\x01 no HTTP at all\r\n\r\n";
        QTest::newRow("no HTTP") << bare;
        bare.body.clear();
        QTest::newRow("nothing") << bare;
        QTest::newRow("garbage for gzip")
            << withHeader(TestHttpServer::text("xyz"), "Content-Encoding", "gzip");
        QTest::newRow("unknown compression")
            << withHeader(TestHttpServer::text("xyz"), "Content-Encoding", "pack200");
    }

    void aBrokenAnswerIsAFailure()
    {
        QFETCH(TestHttpServer::Response, response);
        TestHttpServer server;
        server.answer("/", response);
        ClientFixture f;
        const HttpClientResult result = f.fetch(server.url());
        QCOMPARE(result.status(), HttpClientResult::Interrupted);
        QCOMPARE(result.code(), 0);
        QCOMPARE(result.body(), QByteArray());
        QVERIFY(!result.errorText().isEmpty());
    }

    void aRefusedConnectionIsUnreachable()
    {
        ClientFixture f;
        const QString url = QStringLiteral("http://127.0.0.1:%1/").arg(TestHttpServer::unusedPort());
        const HttpClientResult result = f.fetch(url);
        QCOMPARE(result.status(), HttpClientResult::Unreachable);
        QCOMPARE(result.code(), 0);
        QVERIFY(!result.errorText().isEmpty());
    }

    void aServerWithoutTlsFailsAsTls()
    {
        TestHttpServer server;
        ClientFixture f;
        const HttpClientResult result = f.fetch(QStringLiteral("https://127.0.0.1:%1/").arg(server.port()));
        QCOMPARE(result.status(), HttpClientResult::TlsFailed);
        QCOMPARE(server.requestCount(), 0);
    }

    void aCertificateThatDoesNotVerifyIsRefused()
    {
        const QTemporaryDir folder;
        const QString key = folder.filePath(QStringLiteral("key.pem"));
        const QString certificate = folder.filePath(QStringLiteral("certificate.pem"));
        const QString openssl = QStringLiteral("openssl");
        const QStringList request = {QStringLiteral("req"),
                                     QStringLiteral("-x509"),
                                     QStringLiteral("-newkey"),
                                     QStringLiteral("ec"),
                                     QStringLiteral("-pkeyopt"),
                                     QStringLiteral("ec_paramgen_curve:prime256v1"),
                                     QStringLiteral("-nodes"),
                                     QStringLiteral("-days"),
                                     QStringLiteral("2"),
                                     QStringLiteral("-subj"),
                                     QStringLiteral("/CN=localhost"),
                                     QStringLiteral("-addext"),
                                     QStringLiteral("subjectAltName=DNS:localhost"),
                                     QStringLiteral("-keyout"),
                                     key,
                                     QStringLiteral("-out"),
                                     certificate};
        QCOMPARE(QProcess::execute(openssl, request), 0);
        QProcess server;
        server.start(openssl, {QStringLiteral("s_server"), QStringLiteral("-www"), QStringLiteral("-accept"),
                               QStringLiteral("127.0.0.1:0"), QStringLiteral("-key"), key,
                               QStringLiteral("-cert"), certificate});
        QByteArray output;
        const auto accepts = [&] {
            output += server.readAllStandardOutput();
            return output.contains("ACCEPT 127.0.0.1:") && output.endsWith('\n');
        };
        QTRY_VERIFY(accepts());
        const QByteArray port = output.mid(output.lastIndexOf(':') + 1).trimmed();
        ClientFixture f;
        const HttpClientResult result = f.fetch(QStringLiteral("https://localhost:%1/").arg(port.toInt()));
        server.kill();
        server.waitForFinished(patienceMs);
        QCOMPARE(result.status(), HttpClientResult::TlsFailed);
        QVERIFY2(result.errorText().contains(QLatin1String("certificate")), qPrintable(result.errorText()));
    }

    void connectionsAreKept_data()
    {
        QTest::addColumn<bool>("keep");
        QTest::addColumn<int>("connections");
        QTest::newRow("kept") << true << 1;
        QTest::newRow("not kept") << false << 3;
    }

    void connectionsAreKept()
    {
        QFETCH(bool, keep);
        TestHttpServer server;
        server.answer("/", TestHttpServer::text("x"));
        HttpClient client(nullptr, HttpClient::BestVersion, keep);
        for (int i = 0; i < 3; ++i) {
            QSignalSpy idle(&client, &HttpClient::idle);
            client.get(PelkUrl(server.url()), HttpClientOptions(), {});
            QVERIFY(idle.wait(patienceMs));
        }
        QTEST(server.connectionCount(), "connections");
    }

    void aConnectionThatTheServerClosedIsReplaced()
    {
        TestHttpServer server;
        TestHttpServer::Response response = TestHttpServer::text("x");
        server.answerOnce("/", response);
        response.reset = true; // as if it had closed the idle connection just before
        server.answerOnce("/", response);
        server.answer("/", TestHttpServer::text("y"));
        ClientFixture f;
        QCOMPARE(f.fetch(server.url()).body(), QByteArray("x"));
        QCOMPARE(f.fetch(server.url()).body(), QByteArray("y"));
        QCOMPARE(server.requests().last().connection, 2);
    }

    void manyRequestsAtOnceAllEndOnce()
    {
        TestHttpServer server;
        server.setHandler(
            [](const TestHttpServer::Request& request) { return TestHttpServer::text(request.query); });
        ClientFixture f;
        QVector<int> answers(200, 0);
        for (int i = 0; i < answers.size(); ++i) {
            f.client.get(PelkUrl(server.url(QStringLiteral("/?%1").arg(i))), f.options,
                         [&f, &answers, i](const HttpClientResult& result) {
                             f.results.append(result);
                             if (result.body() == QByteArray::number(i) + '=')
                                 ++answers[i];
                         });
        }
        QVERIFY(f.waitForResults(answers.size()));
        QCOMPARE(answers, QVector<int>(200, 1));
    }

    void aCallbackMayAskAgain()
    {
        TestHttpServer server;
        server.answer("/", TestHttpServer::text("x"));
        ClientFixture f;
        QSignalSpy idle(&f.client, &HttpClient::idle);
        f.client.get(PelkUrl(server.url()), f.options, [&](const HttpClientResult& result) {
            f.results.append(result);
            f.get(server.url());
            f.get(QStringLiteral("nonsense"));
        });
        QVERIFY(f.waitForResults(3));
        QTRY_COMPARE(idle.count(), 1);
        QCOMPARE(f.client.inFlight(), 0);
    }

    void idleIsReportedOnceIfACallbackStartsAFailingRequest()
    {
        ClientFixture f;
        QSignalSpy idle(&f.client, &HttpClient::idle);
        f.client.get(PelkUrl(QStringLiteral("nonsense")), f.options, [&](const HttpClientResult& result) {
            f.results.append(result);
            f.get(QStringLiteral("nonsense"));
        });
        QVERIFY(f.waitForResults(2));
        QCoreApplication::processEvents();
        QCOMPARE(idle.count(), 1);
    }

    void aCallbackMayDeleteTheClient()
    {
        TestHttpServer server;
        server.answer("/", TestHttpServer::text("x"));
        TestHttpServer::Response held;
        held.hold = true;
        server.answer("/held", held);
        auto* client = new HttpClient(nullptr, HttpClient::BestVersion, true);
        int calls = 0;
        client->get(PelkUrl(server.url(QStringLiteral("/held"))), HttpClientOptions(),
                    [&](const HttpClientResult&) { calls += 100; });
        client->get(PelkUrl(server.url()), HttpClientOptions(), [&](const HttpClientResult&) {
            ++calls;
            delete client;
        });
        QTRY_COMPARE(calls, 1);
        server.release();
        QVERIFY(HttpClient::waitForIdle(0));
        QCoreApplication::processEvents();
        QCOMPARE(calls, 1);
    }

    void deletingTheClientDropsItsRequests()
    {
        TestHttpServer server;
        TestHttpServer::Response held;
        held.hold = true;
        server.answer("/", held);
        auto client = std::make_unique<HttpClient>(nullptr, HttpClient::BestVersion, true);
        auto token = std::make_shared<int>(0);
        for (int i = 0; i < 5; ++i)
            client->get(PelkUrl(server.url()), HttpClientOptions(),
                        [token](const HttpClientResult&) { ++*token; });
        client->get(PelkUrl(), HttpClientOptions(), [token](const HttpClientResult&) { ++*token; });
        QVERIFY(server.waitForRequests(5));
        *token = 0;
        client.reset();
        server.release();
        QCoreApplication::processEvents();
        QCOMPARE(*token, 0);
        QCOMPARE(token.use_count(), 1L);
        QVERIFY(HttpClient::waitForIdle(0));
    }

    void callbacksRunOnTheClientsThread()
    {
        TestHttpServer server;
        server.answer("/", TestHttpServer::text("x"));
        QThread* ran = nullptr;
        QThread thread;
        QObject context;
        context.moveToThread(&thread);
        thread.start();
        HttpClient* client = nullptr;
        QMetaObject::invokeMethod(
            &context,
            [&] {
                client = new HttpClient(nullptr, HttpClient::BestVersion, true);
                client->get(PelkUrl(server.url()), HttpClientOptions(), [&](const HttpClientResult&) {
                    ran = QThread::currentThread();
                    client->deleteLater();
                });
            },
            Qt::BlockingQueuedConnection);
        // This thread may block: the client does not need it.
        QVERIFY(HttpClient::waitForIdle(5000));
        thread.quit();
        thread.wait();
        QCOMPARE(ran, &thread);
        context.moveToThread(nullptr);
    }

    void waitingForIdleEndsWithTheTime()
    {
        TestHttpServer server;
        TestHttpServer::Response held = TestHttpServer::text("x");
        held.hold = true;
        server.answer("/", held);
        ClientFixture f;
        QVERIFY(HttpClient::waitForIdle(0));
        f.get(server.url());
        QVERIFY(server.waitForRequests(1));
        QVERIFY(!HttpClient::waitForIdle(20));
        bool idle = false;
        std::thread waiter([&idle] { idle = HttpClient::waitForIdle(5000); });
        server.release();
        QVERIFY(f.waitForResults(1));
        waiter.join();
        QVERIFY(idle);
    }

    void aProxyOfTheEnvironmentIsUsed()
    {
        TestHttpServer proxy;
        proxy.setHandler(
            [](const TestHttpServer::Request&) { return TestHttpServer::text("from the proxy"); });
        const QByteArray exempt = qgetenv("no_proxy");
        qunsetenv("no_proxy");
        qputenv("http_proxy", proxy.url().toLatin1());
        ClientFixture f;
        const HttpClientResult result = f.fetch(QStringLiteral("http://somewhere.invalid/x"));
        qputenv("http_proxy", QByteArray());
        qputenv("no_proxy", exempt);
        QCOMPARE(result.body(), QByteArray("from the proxy"));
        QCOMPARE(proxy.requests().at(0).target, QByteArray("http://somewhere.invalid/x"));
    }
};

QTEST_GUILESS_MAIN(HttpClientTest)
#include "httpclient_test.moc"

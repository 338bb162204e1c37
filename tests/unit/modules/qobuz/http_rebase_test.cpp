#include "apifixture.h"

#include <QtTest>

namespace {

/// An interface for any host name: the server is the proxy that all requests go through, so they arrive with
/// their absolute URL.
struct ProxyFixture
{
    explicit ProxyFixture(const QString& base)
        : host((qputenv("http_proxy", server.url().toLatin1()), qunsetenv("no_proxy"), qunsetenv("NO_PROXY"),
                base))
    {
    }
    ~ProxyFixture()
    {
        qputenv("http_proxy", QByteArray());
        qputenv("no_proxy", "*");
    }

    void get(const QString& url)
    {
        HttpClientHeaders headers;
        headers.insert(QStringLiteral("X-App-Id"), QStringLiteral("app-id"));
        HttpClientOptions options;
        options.setHeaders(headers);
        http.get(PelkUrl(url), options,
                 [this](int status, int code, const QByteArray& body, const HttpClientHeaders& answered) {
                     answers.append(
                         QStringLiteral("%1 %2 %3")
                             .arg(QString::number(status), QString::number(code), QString::fromLatin1(body)));
                     effective.append(answered.value(QStringLiteral("X-PelkEfectiveUrl")));
                 });
    }
    bool waitForAnswers(int count)
    {
        return QTest::qWaitFor([this, count] { return answers.size() >= count; }, 20000);
    }
    QByteArray target(int index) const { return server.requests().at(index).target; }
    QString base() const { return http.getBaseUrl().toString(); }

    TestHttpServer server;
    ModuleHost host;
    QobuzHttpInterface http;
    QStringList answers;
    QStringList effective;
};

TestHttpServer::Response servedBy(const QByteArray& url, int code = 200)
{
    TestHttpServer::Response response = TestHttpServer::text("body", code);
    response.headers.append(TestHttpServer::Pair("X-PelkEfectiveUrl", url));
    return response;
}

const QString first = QStringLiteral("http://api.qobuz.com/api/");

} // namespace

class HttpRebaseTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anotherHostOfTheServiceBecomesTheBase_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("newBase");
        const QString www = QStringLiteral("http://www2.qobuz.com/");
        QTest::newRow("another host") << first << QByteArray("http://www2.qobuz.com/api/a") << 200 << www;
        QTest::newRow("without a path") << first << QByteArray("http://www2.qobuz.com") << 200 << www;
        QTest::newRow("a failure counts too")
            << first << QByteArray("http://www2.qobuz.com/api/a") << 500 << www;
        QTest::newRow("port, user, query and fragment are dropped")
            << first << QByteArray("http://u:p@www2.qobuz.com:8080/x?y=z#f") << 200 << www;
        QTest::newRow("and those of the base") << QStringLiteral("http://u:p@api.qobuz.com:8080/v1/?k=v#f")
                                               << QByteArray("http://www2.qobuz.com/") << 200 << www;
        QTest::newRow("several labels")
            << first << QByteArray("http://a.b.qobuz.com/") << 200 << QStringLiteral("http://a.b.qobuz.com/");
        QTest::newRow("the same host in another letter case")
            << QStringLiteral("http://API.qobuz.com/api/") << QByteArray("http://api.qobuz.com/api/a") << 200
            << QStringLiteral("http://api.qobuz.com/");
        QTest::newRow("from a host of someone else") << QStringLiteral("http://music.example/api/")
                                                     << QByteArray("http://www2.qobuz.com/") << 200 << www;
    }
    void anotherHostOfTheServiceBecomesTheBase()
    {
        QFETCH(QString, base);
        QFETCH(QByteArray, header);
        QFETCH(int, code);
        QFETCH(QString, newBase);
        ProxyFixture f(base);
        f.server.setHandler([&](const TestHttpServer::Request&) { return servedBy(header, code); });
        LogCapture log(QStringLiteral("Qobuz"));
        f.get(QStringLiteral("a?b=c"));
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.base(), newBase);
        QCOMPARE(log.texts(log4cplus::INFO_LOG_LEVEL),
                 QStringList{QStringLiteral("Connect url changed to: ") + newBase});
        // The result is handed on as it is, and the request is not sent again.
        QCOMPARE(f.answers, QStringList{QStringLiteral("0 %1 body").arg(code)});
        QCOMPARE(f.effective, QStringList{QString::fromLatin1(header)});
        QCOMPARE(f.server.requestCount(), 1);
        // What follows goes there, at the root.
        f.get(QStringLiteral("user/get?x=y"));
        QVERIFY(f.waitForAnswers(2));
        QCOMPARE(f.target(1), newBase.toLatin1() + "user/get?x=y");
        // Now it names the current host.
        QCOMPARE(f.base(), newBase);
        QCOMPARE(log.texts(log4cplus::INFO_LOG_LEVEL).size(), 1);
    }

    void theSchemeIsTakenOver()
    {
        ProxyFixture f(first);
        f.server.setHandler(
            [](const TestHttpServer::Request&) { return servedBy("https://s.qobuz.com:444/x"); });
        f.get(QStringLiteral("a"));
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.base(), QStringLiteral("https://s.qobuz.com/"));
    }

    void noOtherAnswerChangesTheBase_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::newRow("another domain") << QByteArray("http://www.example/api/");
        QTest::newRow("a domain that ends alike") << QByteArray("http://evilqobuz.com/");
        QTest::newRow("the suffix in the middle") << QByteArray("http://api.qobuz.com.example/");
        QTest::newRow("the suffix in another letter case") << QByteArray("http://www2.Qobuz.com/");
        QTest::newRow("all in capitals") << QByteArray("http://WWW2.QOBUZ.COM/");
        QTest::newRow("the domain itself") << QByteArray("http://qobuz.com/");
        QTest::newRow("a trailing dot") << QByteArray("http://www2.qobuz.com./");
        QTest::newRow("the suffix in the path") << QByteArray("http://www.example/www2.qobuz.com");
        QTest::newRow("the suffix in the user") << QByteArray("http://www2.qobuz.com@www.example/");
        QTest::newRow("an address with the suffix for a zone")
            << QByteArray("http://[2001:db8::1%25.qobuz.com]/");
        QTest::newRow("the current host") << QByteArray("http://api.qobuz.com/elsewhere/");
        QTest::newRow("the current host with another port") << QByteArray("https://api.qobuz.com:1/");
        QTest::newRow("a path") << QByteArray("/www2.qobuz.com");
        QTest::newRow("no URL") << QByteArray("http://www2.qobuz.com:port/");
        QTest::newRow("no host") << QByteArray("http://www2 .qobuz.com/");
        QTest::newRow("garbage") << QByteArray(":::%%%//[.qobuz.com");
        QTest::newRow("nothing") << QByteArray("");
    }
    void noOtherAnswerChangesTheBase()
    {
        QFETCH(QByteArray, header);
        compareUnchanged(servedBy(header));
    }

    void anAnswerWithoutTheHeaderChangesNothing() { compareUnchanged(TestHttpServer::text("body")); }

    void aHeaderOfTheRightSpellingIsAnotherHeader()
    {
        TestHttpServer::Response response = TestHttpServer::text("body");
        response.headers.append(TestHttpServer::Pair("X-PelkEffectiveUrl", "http://www2.qobuz.com/"));
        compareUnchanged(response);
    }

    void aLateAnswerOfTheOldHostChangesNothing()
    {
        ProxyFixture f(first);
        TestHttpServer::Response late = servedBy("http://www3.qobuz.com/");
        late.hold = true;
        f.server.answer("http://api.qobuz.com/api/late", late);
        f.server.answer("http://api.qobuz.com/api/a", servedBy("http://www2.qobuz.com/"));
        f.get(QStringLiteral("late"));
        QVERIFY(f.server.waitForRequests(1));
        f.get(QStringLiteral("a"));
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.base(), QStringLiteral("http://www2.qobuz.com/"));
        LogCapture log(QStringLiteral("Qobuz"));
        f.server.release();
        QVERIFY(f.waitForAnswers(2));
        QCOMPARE(f.base(), QStringLiteral("http://www2.qobuz.com/"));
        QVERIFY(log.texts(log4cplus::INFO_LOG_LEVEL).isEmpty());
        QCOMPARE(f.effective.at(1), QStringLiteral("http://www3.qobuz.com/"));
    }

    void theBaseMovesFromHostToHostAndBack()
    {
        ProxyFixture f(first);
        f.server.answer("http://api.qobuz.com/api/a", servedBy("http://www2.qobuz.com/"));
        f.server.answer("http://www2.qobuz.com/a", servedBy("http://api.qobuz.com/api/a"));
        f.get(QStringLiteral("a"));
        QVERIFY(f.waitForAnswers(1));
        f.get(QStringLiteral("a"));
        QVERIFY(f.waitForAnswers(2));
        QCOMPARE(f.base(), QStringLiteral("http://api.qobuz.com/")); // the old path has gone
    }

    void aRedirectToAnotherHostOfTheServiceMovesTheBase()
    {
        ProxyFixture f(first);
        f.server.answer("http://api.qobuz.com/api/a",
                        TestHttpServer::redirect(QStringLiteral("http://www2.qobuz.com/other/a?x=1")));
        f.server.answer("http://www2.qobuz.com/other/a", TestHttpServer::text("moved"));
        f.get(QStringLiteral("a"));
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.answers, QStringList{QStringLiteral("0 200 moved")});
        QCOMPARE(f.effective, QStringList{QStringLiteral("http://www2.qobuz.com/other/a?x=1")});
        QCOMPARE(f.base(), QStringLiteral("http://www2.qobuz.com/"));
        f.get(QStringLiteral("b"));
        QVERIFY(f.waitForAnswers(2));
        QCOMPARE(f.target(2), QByteArray("http://www2.qobuz.com/b"));
        QCOMPARE(f.server.requests().at(2).header("X-App-Id"), QByteArray("app-id"));
    }

    void aRedirectToAHostOfSomeoneElseDoesNot()
    {
        ProxyFixture f(first);
        f.server.answer("http://api.qobuz.com/api/a",
                        TestHttpServer::redirect(QStringLiteral("http://www.example/a")));
        f.server.answer("http://www.example/a", TestHttpServer::text("moved"));
        f.get(QStringLiteral("a"));
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.answers, QStringList{QStringLiteral("0 200 moved")});
        QCOMPARE(f.base(), first);
    }

    void theBaseHasMovedWhenTheCallbackRuns()
    {
        ProxyFixture f(first);
        f.server.answer("http://api.qobuz.com/api/a", servedBy("http://www2.qobuz.com/"));
        QString seen;
        f.http.get(PelkUrl(QStringLiteral("a")), {},
                   [&](int, int, const QByteArray&, const HttpClientHeaders&) { seen = f.base(); });
        QVERIFY(QTest::qWaitFor([&] { return !seen.isEmpty(); }, 20000));
        QCOMPARE(seen, QStringLiteral("http://www2.qobuz.com/"));
    }

    void anApiCallAfterTheMoveGoesToTheNewHost()
    {
        ProxyFixture f(first);
        f.host.setSession();
        QobuzApi api(&f.http);
        f.server.answer("http://api.qobuz.com/api/genre/get", servedBy("http://www2.qobuz.com/"));
        const auto moved = api.genreGet(1);
        QVERIFY(ModuleHost::wait(moved));
        const auto next = api.userGet();
        QVERIFY(ModuleHost::wait(next));
        QCOMPARE(f.target(0), QByteArray("http://api.qobuz.com/api/genre/get?genre_id=1"));
        QCOMPARE(f.target(1), QByteArray("http://www2.qobuz.com/user/get?user_id=77"));
    }

private:
    static void compareUnchanged(const TestHttpServer::Response& response)
    {
        ProxyFixture f(first);
        f.server.setHandler([&](const TestHttpServer::Request&) { return response; });
        LogCapture log(QStringLiteral("Qobuz"));
        f.get(QStringLiteral("a"));
        QVERIFY(f.waitForAnswers(1));
        QCOMPARE(f.answers, QStringList{QStringLiteral("0 200 body")});
        QCOMPARE(f.base(), first);
        QVERIFY(log.texts(log4cplus::INFO_LOG_LEVEL).isEmpty());
        f.get(QStringLiteral("b"));
        QVERIFY(f.waitForAnswers(2));
        QCOMPARE(f.target(1), QByteArray("http://api.qobuz.com/api/b"));
    }
};

QTEST_GUILESS_MAIN(HttpRebaseTest)
#include "http_rebase_test.moc"

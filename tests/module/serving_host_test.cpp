// How the base moves when the service answers from another of its hosts, and when it does not.

#include "tests/module/objecttest.h"
#include "tests/support/patience.h"

namespace {

const QString first = "http://api.qobuz.com/api/"_s;
const QByteArray www = "http://www2.qobuz.com/";

Response servedBy(const QByteArray& url, int code = 200, const QByteArray& name = "X-PelkEfectiveUrl")
{
    Response response = TestHttpServer::json(R"({"playlists":{"total":3},"message":"m"})", code);
    response.headers.append(TestHttpServer::Pair(name, url));
    return response;
}

} // namespace

/// Any host name is served: the server is the proxy that all requests go through, so that they arrive with
/// their absolute URL.
class ServingHostTest : public ObjectTest
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        open();
        qputenv("http_proxy", server().url().toLatin1());
        qunsetenv("no_proxy");
        qunsetenv("NO_PROXY");
        setBase(first);
        m_answers.clear();
        m_effective.clear();
    }
    void cleanup()
    {
        QVERIFY(isIdle());
        close();
        qputenv("http_proxy", QByteArray());
        qputenv("no_proxy", "*");
    }

    void anotherHostOfTheServiceBecomesTheBase_data()
    {
        Rows<Response, QByteArray> row;
        const QByteArray old = first.toLatin1();
        row("another host", servedBy("http://www2.qobuz.com/api/a"), www);
        row("with a failure", servedBy("http://www2.qobuz.com/api/a", 500), www);
        row("the header in another letter case", servedBy("http://www2.qobuz.com/", 200, "x-pelkefectiveurl"),
            www);
        row("a host of someone else", servedBy("http://www.example/api/"), old);
        row("the suffix in another letter case", servedBy("http://www2.Qobuz.com/"), old);
        row("a header of the right spelling", servedBy("http://www2.qobuz.com/", 200, "X-PelkEffectiveUrl"),
            old);
        row("no header", json("{}"), old);
    }
    void anotherHostOfTheServiceBecomesTheBase()
    {
        const auto [response, newBase] = fetched<Response, QByteArray>();
        serve(response);
        start();
        QCOMPARE(playlists().error.isSet(), response.status != 200);
        QCOMPARE(requestsInAll(), 1);
        QVERIFY(playlists().finished);
        QCOMPARE(target(1), newBase + "playlist/getUserPlaylists?offset=0&limit=10");
    }

    void aLateAnswerOfTheOldHostChangesNothing()
    {
        Response late = servedBy("http://www3.qobuz.com/");
        late.hold = true;
        server().answer("http://api.qobuz.com/api/late", late);
        server().answer("http://api.qobuz.com/api/a", servedBy("http://www2.qobuz.com/"));
        get("late"_s);
        QVERIFY(server().waitForRequests(1));
        get("a"_s);
        QVERIFY(waitForAnswers(1));
        QCOMPARE(base(), "http://www2.qobuz.com/"_s);
        Log log;
        server().release();
        QVERIFY(waitForAnswers(2));
        QCOMPARE(base(), "http://www2.qobuz.com/"_s);
        QVERIFY(log.infos().isEmpty());
        QCOMPARE(m_effective.at(1), "http://www3.qobuz.com/"_s);
    }

    void theBaseMovesFromHostToHostAndBack()
    {
        server().answer("http://api.qobuz.com/api/a", servedBy("http://www2.qobuz.com/"));
        server().answer("http://www2.qobuz.com/a", servedBy("http://api.qobuz.com/api/a"));
        get("a"_s);
        QVERIFY(waitForAnswers(1));
        get("a"_s);
        QVERIFY(waitForAnswers(2));
        QCOMPARE(base(), "http://api.qobuz.com/"_s); // the old path has gone
    }

    void aRedirectToAnotherHostOfTheServiceMovesTheBase()
    {
        server().answer("http://api.qobuz.com/api/a",
                        TestHttpServer::redirect("http://www2.qobuz.com/other/a?x=1"_s));
        server().answer("http://www2.qobuz.com/other/a", plain("moved"));
        get("a"_s);
        QVERIFY(waitForAnswers(1));
        QCOMPARE(m_answers, QStringList{"0 200 moved"_s});
        QCOMPARE(m_effective, QStringList{"http://www2.qobuz.com/other/a?x=1"_s});
        QCOMPARE(base(), "http://www2.qobuz.com/"_s);
        get("b"_s);
        QVERIFY(waitForAnswers(2));
        QCOMPARE(target(2), QByteArray("http://www2.qobuz.com/b"));
        QCOMPARE(server().requests().at(2).header("X-App-Id"), QByteArray("app-id"));
    }

    void theBaseHasMovedWhenTheCallbackRuns()
    {
        server().answer("http://api.qobuz.com/api/a", servedBy("http://www2.qobuz.com/"));
        QString seen;
        http().get(PelkUrl("a"_s), {},
                   [&](int, int, const QByteArray&, const HttpClientHeaders&) { seen = base(); });
        QVERIFY(QTest::qWaitFor([&] { return !seen.isEmpty(); }, patienceMs));
        QCOMPARE(seen, "http://www2.qobuz.com/"_s);
    }

    void aRedirectToAForeignHostDoesNotMoveTheBase()
    {
        server().answer("http://api.qobuz.com/api/a", TestHttpServer::redirect("http://www.example/a"_s));
        server().answer("http://www.example/a", plain("moved"));
        get("a"_s);
        QVERIFY(waitForAnswers(1));
        QCOMPARE(m_answers, QStringList{"0 200 moved"_s});
        QCOMPARE(base(), first);
    }

    void theUserOfTheBaseIsKept()
    {
        setBase("http://u:p@h.example/"_s);
        get("a"_s);
        QVERIFY(waitForAnswers(1));
        QCOMPARE(server().requests().at(0).header("Authorization"), QByteArray("Basic dTpw"));
    }

    void theNextStartBeginsWithTheSettings()
    {
        serve(servedBy(www));
        start();
        QVERIFY(!playlists().error.isSet());
        host().stop();
        host().start();
        QVERIFY(!playlists().error.isSet());
        QCOMPARE(target(1), first.toLatin1() + "playlist/getUserPlaylists?offset=0&limit=10");
    }

    void everyCallGoesToTheMovedBase()
    {
        serve(servedBy(www));
        start();
        QVERIFY(!playlists().error.isSet());
        QVERIFY(resolve().finished);
        QVERIFY(write(login()).finished);
        QVERIFY(target(1).startsWith("http://www2.qobuz.com/track/getFileUrl?"));
        QVERIFY(target(2).startsWith("http://www2.qobuz.com/user/login?"));
    }

private:
    void setBase(const QString& base) { host().setSettings(base, "app-id"_s, "app-secret"_s); }
    QString base() { return http().getBaseUrl().toString(); }
    QByteArray target(int index) const { return targets().value(index); }
    void get(const QString& url)
    {
        HttpClientHeaders headers;
        headers.insert("X-App-Id"_s, "app-id"_s);
        HttpClientOptions options;
        options.setHeaders(headers);
        http().get(PelkUrl(url), options,
                   [this](int status, int code, const QByteArray& body, const HttpClientHeaders& answered) {
                       m_answers << "%1 %2 %3"_s.arg(status).arg(code).arg(QString::fromLatin1(body));
                       m_effective << answered.value("X-PelkEfectiveUrl"_s);
                   });
    }
    bool waitForAnswers(int count)
    {
        return QTest::qWaitFor([this, count] { return m_answers.size() >= count; }, patienceMs);
    }
    ModuleHost::Rows playlists() { return rows("qobuz:playlists"_s); }

    QStringList m_answers;
    QStringList m_effective;
};

QTEST_GUILESS_MAIN(ServingHostTest)
#include "serving_host_test.moc"

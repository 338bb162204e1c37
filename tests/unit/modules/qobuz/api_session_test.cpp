#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"
#include "apifixture.h"

#include <QtTest>

#include <future>
#include <memory>

namespace {

const QByteArray loginAnswer = "{\"user_auth_token\":\"token-2\",\"user\":{\"id\":5,\"login\":\"other\","
                               "\"credential\":{\"id\":6},\"device\":{\"id\":7}}}";
const QString loggedOut = QStringLiteral("||0|0|0");
const QString resumed = QStringLiteral("user@example.com|token-1|77|88|99");

PelkQobuzAccount account(const QString& username = QStringLiteral("me"),
                         const QString& password = QStringLiteral("secret"))
{
    PelkQobuzAccount result;
    result.setUsername(username);
    result.setPassword(password);
    return result;
}

} // namespace

class ApiSessionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSavedLoginIsResumedIfItHasATokenAndAUser_data()
    {
        QTest::addColumn<QString>("token");
        QTest::addColumn<unsigned int>("userId");
        QTest::addColumn<bool>("loggedIn");
        QTest::newRow("both") << QStringLiteral("t") << 1u << true;
        QTest::newRow("user id 0") << QStringLiteral("t") << 0u << false;
        QTest::newRow("no token") << QString() << 1u << false;
        QTest::newRow("neither") << QString() << 0u << false;
    }
    void aSavedLoginIsResumedIfItHasATokenAndAUser()
    {
        QFETCH(QString, token);
        QFETCH(unsigned int, userId);
        QFETCH(bool, loggedIn);
        ApiFixture f(token, userId);
        QCOMPARE(f.api.isLoggedIn(), loggedIn);
        QCOMPARE(f.api.userGet().isFinished(), !loggedIn); // else it failed at once
    }

    void withoutASavedLoginNobodyIsLoggedIn()
    {
        const ModuleHost host(QStringLiteral("http://127.0.0.1/"));
        QobuzHttpInterface http;
        QobuzApi api(&http);
        QVERIFY(!api.isLoggedIn());
        QVERIFY(!api.parent());
    }

    void everyFieldOfASavedLoginIsUsed()
    {
        ApiFixture f;
        QVERIFY(ModuleHost::wait(f.api.reportStreamingStart(1, PelkQobuzAudioFormat::Mp3_320, false, false)));
        const TestHttpServer::Request request = f.server.requests().at(0);
        QCOMPARE(request.header("X-User-Auth-Token"), QByteArray("token-1"));
        QCOMPARE(request.queryValue("user_id"), QByteArray("77"));
        QCOMPARE(request.queryValue("credential_id"), QByteArray("88"));
        QCOMPARE(request.queryValue("device_id"), QByteArray("99"));
        QCOMPARE(f.session(), resumed);
    }

    void anUpdateIsInForceAndWrittenToTheHost()
    {
        ApiFixture f(QString(), 0);
        f.api.updateUserSession(QStringLiteral("n"), QStringLiteral("t"), 1, 2, 3);
        QVERIFY(f.api.isLoggedIn());
        QCOMPARE(f.session(), QStringLiteral("n|t|1|2|3"));
        QVERIFY(ModuleHost::wait(f.api.reportStreamingStart(1, PelkQobuzAudioFormat::Mp3_320, false, false)));
        const TestHttpServer::Request request = f.server.requests().at(0);
        QCOMPARE(request.header("X-User-Auth-Token"), QByteArray("t"));
        QCOMPARE(request.queryValue("user_id"), QByteArray("1"));
        QCOMPARE(request.queryValue("credential_id"), QByteArray("2"));
        QCOMPARE(request.queryValue("device_id"), QByteArray("3"));
        // What is in force next is not the host's value but the object's own.
        f.host.setSession(QStringLiteral("elsewhere"), 0);
        QVERIFY(f.api.isLoggedIn());
    }

    void aLogoutForgetsTheUserAndTellsTheHostButNotTheService()
    {
        ApiFixture f;
        const SessionHistory history(f.host.root());
        f.api.logout();
        QVERIFY(!f.api.isLoggedIn());
        QCOMPARE(f.session(), loggedOut);
        QTRY_COMPARE(history.texts, QStringList{loggedOut});
        // The next request is the first one.
        QVERIFY(ModuleHost::wait(f.api.login(account())));
        QCOMPARE(f.server.requestCount(), 1);
        QCOMPARE(f.server.requests().at(0).path, QByteArray("/api/user/login"));
    }

    void aLoginSendsWhoAndTheDigestOfThePassword_data()
    {
        QTest::addColumn<QString>("username");
        QTest::addColumn<QString>("password");
        QTest::addColumn<QByteArray>("query");
        const QByteArray tail = "&device_manufacturer_id=member-id";
        QTest::newRow("plain") << QStringLiteral("me") << QStringLiteral("secret")
                               << "app_id=app-id&username=me&password=5ebe2294ecd0e0f08eab7690d2a6ee69" +
                                      tail;
        QTest::newRow("a password that is not Latin, and a name to be encoded")
            << QStringLiteral("a+b@c.d") << QStringLiteral("\u043f\u0430\u0440\u043e\u043b\u044c\u20ac")
            << "app_id=app-id&username=a%2Bb%40c.d&password=9194563075948daadd3457ae33547f8c" + tail;
        QTest::newRow("nothing") << QString() << QString()
                                 << "app_id=app-id&username=&password=d41d8cd98f00b204e9800998ecf8427e" +
                                        tail;
    }
    void aLoginSendsWhoAndTheDigestOfThePassword()
    {
        QFETCH(QString, username);
        QFETCH(QString, password);
        QFETCH(QByteArray, query);
        ApiFixture f;
        QVERIFY(ModuleHost::wait(f.api.login(account(username, password))));
        const TestHttpServer::Request request = f.server.requests().at(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.target, "/api/user/login?" + query);
        QVERIFY(request.header("X-App-Id").isNull());
        QVERIFY(request.header("X-User-Auth-Token").isNull());
    }

    void aLoginReadsTheSettingsAndTheDeviceAfresh()
    {
        ApiFixture f;
        f.host.setSettings(f.server.url(), QStringLiteral("id-2"), QString());
        PelkValue device;
        device.setString_(QStringLiteral("device 2"));
        const CMReply<QVariant> written = CMReply<QVariant>::create();
        f.host.root().setValue(PelkSystemMemberIdPath(), device, written);
        QVERIFY(ModuleHost::wait(written));
        QVERIFY(ModuleHost::wait(f.api.login(account())));
        const TestHttpServer::Request request = f.server.requests().at(0);
        QCOMPARE(request.queryValue("app_id"), QByteArray("id-2"));
        QCOMPARE(request.queryValue("device_manufacturer_id"), QByteArray("device 2"));
    }

    void aLoginForgetsTheUserBeforeTheRequestGoes()
    {
        ApiFixture f;
        const SessionHistory history(f.host.root());
        TestHttpServer::Response answer = TestHttpServer::json(loginAnswer);
        answer.hold = true;
        f.server.answer("/api/user/login", answer);
        const auto reply = f.api.login(account());
        QVERIFY(!f.api.isLoggedIn());
        QCOMPARE(f.session(), loggedOut);
        QCOMPARE(f.server.requestCount(), 0);
        QVERIFY(f.server.waitForRequests(1));
        QVERIFY(!reply.isFinished());
        QVERIFY(!f.api.isLoggedIn());
        QTRY_COMPARE(history.texts, QStringList{loggedOut});
        f.server.release();
        QVERIFY(ModuleHost::wait(reply));
        QVERIFY(f.api.isLoggedIn());
        QTRY_COMPARE(history.texts, (QStringList{loggedOut, QStringLiteral("me|token-2|5|6|7")}));
    }

    void theNewUserIsInForceBeforeTheReplyFinishes()
    {
        ApiFixture f;
        f.server.answer("/api/user/login", TestHttpServer::json(loginAnswer));
        const auto reply = f.api.login(account(QStringLiteral("typed name")));
        QString atTheEnd;
        bool loggedIn = false;
        reply.addWatcher(
            [&](const CMVoidReply&) {
                atTheEnd = f.session();
                loggedIn = f.api.isLoggedIn();
            },
            Qt::DirectConnection);
        QVERIFY(ModuleHost::wait(reply));
        QCOMPARE(atTheEnd, QStringLiteral("typed name|token-2|5|6|7"));
        QVERIFY(loggedIn);
        QCOMPARE(reply.value().user_auth_token(), QStringLiteral("token-2"));
        QVERIFY(ModuleHost::wait(f.api.userGet()));
        QCOMPARE(f.server.requests().at(1).target, QByteArray("/api/user/get?user_id=5"));
        QCOMPARE(f.server.requests().at(1).header("X-User-Auth-Token"), QByteArray("token-2"));
    }

    void aLoginThatFailsLeavesNobodyLoggedIn_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("message");
        QTest::newRow("wrong credentials")
            << 401 << QByteArray("{\"message\":\"Invalid username\"}") << QStringLiteral("Invalid username");
        QTest::newRow("no JSON") << 200 << QByteArray("hello") << QStringLiteral("Invalid data returned.");
        QTest::newRow("a whole answer with another code")
            << 201 << loginAnswer << QStringLiteral("Unknown error");
    }
    void aLoginThatFailsLeavesNobodyLoggedIn()
    {
        QFETCH(int, code);
        QFETCH(QByteArray, body);
        QFETCH(QString, message);
        ApiFixture f;
        const SessionHistory history(f.host.root());
        f.server.answer("/api/user/login", TestHttpServer::json(body, code));
        const auto reply = f.api.login(account());
        QVERIFY(ModuleHost::wait(reply));
        QCOMPARE(reply.error().message().toString(), message);
        QVERIFY(!f.api.isLoggedIn());
        QCOMPARE(f.session(), loggedOut);
        QTRY_COMPARE(history.texts, QStringList{loggedOut});
    }

    void aLoginAnswerWithoutAUserKeepsTheNameAlone()
    {
        ApiFixture f;
        f.server.answer("/api/user/login", TestHttpServer::json("{}"));
        const auto reply = f.api.login(account());
        QVERIFY(ModuleHost::wait(reply));
        QVERIFY(!reply.error().isSet());
        QVERIFY(!f.api.isLoggedIn());
        QCOMPARE(f.session(), QStringLiteral("me||0|0|0"));
    }

    void aHostThatCannotKeepTheLoginIsNoHindrance()
    {
        ApiFixture f(QString(), 0);
        const auto store = std::make_shared<BrokenStore>();
        f.host.root().keep(PelkQobuzUserSessionPath(), store);
        f.server.answer("/api/user/login", TestHttpServer::json(loginAnswer));
        const auto reply = f.api.login(account());
        QVERIFY(ModuleHost::wait(reply));
        QTRY_COMPARE(store->writes, 2);
        QVERIFY(!reply.error().isSet());
        QVERIFY(f.api.isLoggedIn());
    }

    void theLoginStateCannotBeReadWhileItIsWritten()
    {
        ApiFixture f;
        SessionProbeRoot root; // the root from here on
        std::future<bool> answer;
        bool blocked = false;
        root.beforeSession = [&] {
            std::promise<void> started;
            answer = std::async(std::launch::async, [&] {
                started.set_value();
                return f.api.isLoggedIn();
            });
            started.get_future().wait();
            // Never in time for as long as the lock is held.
            blocked = answer.wait_for(std::chrono::milliseconds(200)) == std::future_status::timeout;
        };
        f.api.updateUserSession(QString(), QString(), 0, 0, 0);
        QVERIFY(blocked);
        QCOMPARE(answer.get(), false); // the new state
    }
};

QTEST_GUILESS_MAIN(ApiSessionTest)
#include "api_session_test.moc"

// Who is logged in: what a login sends, what it leaves behind when it succeeds and when it fails, and what
// the host is told of it at each step.

#include "api/core/model/cmsubscribe.h"
#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"
#include "tests/conformance/servicecalls.h"
#include "tests/module/browsefixture.h"
#include "tests/support/usersession.h"
#include "tests/support/variantlines.h"

#include <QMutex>
#include <QtTest>

#include <memory>

using Response = TestHttpServer::Response;

Q_DECLARE_METATYPE(Response)

namespace {

const QByteArray loginAnswer = R"({"user_auth_token":"token-2","user":{"id":4711,"login":"another name",)"
                               R"("credential":{"id":12},"device":{"id":13}}})";
const QString nobody = QStringLiteral("||0|0|0");
const QString savedUser = QStringLiteral("user@example.com|token-1|77|88|99");
const QString newUser = QStringLiteral("user@example.com|token-2|4711|12|13");

Response held(const QByteArray& body)
{
    Response response = TestHttpServer::json(body);
    response.hold = true;
    return response;
}

} // namespace

class SessionConformanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        m_server->setHandler([](const TestHttpServer::Request& request) {
            return TestHttpServer::json(request.path == "/api/user/login" ? loginAnswer : "{}");
        });
        m_host = std::make_unique<ModuleHost>(m_server->url(QStringLiteral("/api/")));
    }
    void cleanup()
    {
        QVERIFY(isIdle());
        m_host.reset();
        m_server.reset();
    }

    void aSavedLoginIsResumedIfItHasATokenAndAUser_data()
    {
        QTest::addColumn<QString>("token");
        QTest::addColumn<uint>("userId");
        QTest::addColumn<bool>("loggedIn");
        QTest::newRow("both") << QStringLiteral("t") << 1U << true;
        QTest::newRow("the largest user id") << QStringLiteral("t") << 4294967295U << true;
        QTest::newRow("a token that is a blank") << QStringLiteral(" ") << 1U << true;
        QTest::newRow("user id 0") << QStringLiteral("t") << 0U << false;
        QTest::newRow("no token") << QString() << 1U << false;
        QTest::newRow("neither") << QString() << 0U << false;
    }
    void aSavedLoginIsResumedIfItHasATokenAndAUser()
    {
        QFETCH(QString, token);
        QFETCH(uint, userId);
        QFETCH(bool, loggedIn);
        m_host->setSession(token, userId);
        m_host->start();
        QCOMPARE(isLoggedIn(), loggedIn);
        QCOMPARE(m_server->requestCount(), loggedIn ? 1 : 0); // no login was needed
    }

    void withoutASavedLoginNobodyIsLoggedIn()
    {
        m_host->start();
        QVERIFY(!isLoggedIn());
    }

    void everyFieldOfASavedLoginIsUsed()
    {
        m_host->setSession(QStringLiteral("t"), 4294967295U, 4294967294U, 4294967293U);
        m_host->start();
        compareWhoIsSent("t", "4294967295", "4294967294", "4294967293");
    }

    void theHostsValueIsReadOnlyAtTheStart()
    {
        m_host->setSession();
        m_host->start();
        m_host->setSession(QStringLiteral("elsewhere"), 0, 0, 0);
        QVERIFY(isLoggedIn());
        compareWhoIsSent("token-1", "77", "88", "99");
    }

    void aLoginSendsWhoAndTheDigestOfThePasswordAndNoHeaders_data()
    {
        QTest::addColumn<QString>("username");
        QTest::addColumn<QString>("password");
        QTest::addColumn<QByteArray>("query");
        const QByteArray tail = "&device_manufacturer_id=member-id";
        QTest::newRow("plain") << QStringLiteral("me") << QStringLiteral("secret")
                               << "app_id=app-id&username=me&password=5ebe2294ecd0e0f08eab7690d2a6ee69" +
                                      tail;
        QTest::newRow("a name to be encoded, a password that is not Latin")
            << QStringLiteral("a+b c@d.e") << QStringLiteral("\u043f\u0430\u0440\u043e\u043b\u044c\u20ac")
            << "app_id=app-id&username=a%2Bb%20c%40d.e&password=9194563075948daadd3457ae33547f8c" + tail;
        QTest::newRow("nothing") << QString() << QString()
                                 << "app_id=app-id&username=&password=d41d8cd98f00b204e9800998ecf8427e" +
                                        tail;
    }
    void aLoginSendsWhoAndTheDigestOfThePasswordAndNoHeaders()
    {
        QFETCH(QString, username);
        QFETCH(QString, password);
        QFETCH(QByteArray, query);
        m_host->setSession(); // a user who is there already changes nothing
        m_host->start();
        QVERIFY(!logIn(*m_host, login(username, password)).error.isSet());
        QCOMPARE(m_server->requestCount(), 1);
        const TestHttpServer::Request request = m_server->requests().at(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.target, "/api/user/login?" + query);
        QVERIFY(request.body.isEmpty());
        for (const TestHttpServer::Pair& header : request.headers) {
            QVERIFY2(!header.first.startsWith("X-"), header.first.constData());
            QVERIFY(password.isEmpty() || !header.second.contains(password.toUtf8()));
        }
    }

    void aLoginReadsTheSettingsAndTheDeviceAfresh()
    {
        m_host->start();
        QVERIFY(!logIn(*m_host).error.isSet());
        m_host->setSettings(QStringLiteral("http://unused.example/"), QStringLiteral("id-2"), QString());
        PelkValue device;
        device.setString_(QStringLiteral("device 2"));
        const CMReply<QVariant> written = CMReply<QVariant>::create();
        m_host->root().setValue(PelkSystemMemberIdPath(), device, written);
        QVERIFY(ModuleHost::wait(written));
        QVERIFY(!logIn(*m_host).error.isSet());
        QCOMPARE(m_server->requestCount(), 2);
        QCOMPARE(m_server->requests().at(1).target,
                 QByteArray("/api/user/login?app_id=id-2&username=user%40example.com"
                            "&password=33e1b232a4e6fa0028a6670753749a17&device_manufacturer_id=device%202"));
    }

    void theUserBeforeIsForgottenBeforeTheLoginGoesOut()
    {
        m_host->setSession();
        m_host->start();
        const SessionHistory history(m_host->root());
        m_server->answerOnce("/api/user/login", held(loginAnswer));
        const CMSetDataRequest request(CMPath(accountPath()), PelkRoles::Value(), accountValue(login()));
        m_host->root().setDataRequest(request);
        QVERIFY(m_server->waitForRequests(1));
        // Until the answer comes nobody is logged in.
        QVERIFY(!request.reply().isFinished());
        QVERIFY(!isLoggedIn());
        QCOMPARE(m_server->requestCount(), 1);
        QTRY_COMPARE(history.texts, QStringList{nobody});
        m_server->release();
        QVERIFY(ModuleHost::wait(request.reply()));
        QVERIFY(isLoggedIn());
        QTRY_COMPARE(history.texts, (QStringList{nobody, newUser}));
    }

    void theUserBeforeIsForgottenBeforeTheTransportIsAsked()
    {
        SessionProbeRoot root; // the root from here on
        root.setValue(PelkQobuzSettingsPath(), m_host->root().getValue(PelkQobuzSettingsPath()),
                      CMReply<QVariant>::create());
        m_host->start();
        root.addWorker(m_host->worker());
        const LogCapture log(QStringLiteral("Qobuz"));
        QList<bool> asked;
        root.beforeSession = [&log, &asked] {
            asked << !log.texts(log4cplus::TRACE_LOG_LEVEL)
                          .filter(QStringLiteral("Enter void QobuzHttpInterface::get("))
                          .isEmpty();
        };
        const CMSetDataRequest request(CMPath(accountPath()), PelkRoles::Value(), accountValue(login()));
        root.setDataRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        QVERIFY(!request.reply().error().isSet());
        QCOMPARE(asked, (QList<bool>{false, true})); // nobody; the new user
        m_host->stop();
    }

    void theHostSeesNobodyWhenTheLoginArrives()
    {
        m_host->setSession();
        m_host->start();
        QMutex mutex;
        QStringList atArrival;
        m_server->setHandler([&](const TestHttpServer::Request&) {
            const QMutexLocker locker(&mutex);
            atArrival << sessionText(m_host->session());
            return TestHttpServer::json(loginAnswer);
        });
        QVERIFY(!logIn(*m_host).error.isSet());
        const QMutexLocker locker(&mutex);
        QCOMPARE(atArrival, QStringList{nobody});
        QCOMPARE(sessionText(m_host->session()), newUser);
    }

    void aLoginThatSucceedsIsInForceWithTheNameThatWasTyped()
    {
        m_host->start();
        QVERIFY(!logIn(*m_host, login(QStringLiteral("typed"))).error.isSet());
        // What the host keeps, to the last key.
        const PelkValue value = m_host->root().getValue(PelkQobuzUserSessionPath());
        QCOMPARE(value.type(), int(PelkValue::QobuzUserSessionType));
        const QVariantHash expected{{QStringLiteral("userName"), QStringLiteral("typed")},
                                    {QStringLiteral("userAuthToken"), QStringLiteral("token-2")},
                                    {QStringLiteral("userId"), 4711U},
                                    {QStringLiteral("credentialId"), 12U},
                                    {QStringLiteral("deviceId"), 13U}};
        QCOMPARE(variantLines(value.qobuzUserSession().variant()), variantLines(expected));
        compareWhoIsSent("token-2", "4711", "12", "13");
    }

    void whatTheAnswerOfALoginLacksIsEmpty_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("session");
        QTest::addColumn<bool>("loggedIn");
        const auto row = [](const char* name, const char* body, const char* session, bool loggedIn) {
            QTest::newRow(name) << QByteArray(body) << QString::fromLatin1(session) << loggedIn;
        };
        row("everything", "{}", "user@example.com||0|0|0", false);
        row("an answer that is no object", "[]", "user@example.com||0|0|0", false);
        row("the user", R"({"user_auth_token":"t"})", "user@example.com|t|0|0|0", false);
        row("a user that is null", R"({"user_auth_token":"t","user":null})", "user@example.com|t|0|0|0",
            false);
        row("the token", R"({"user":{"id":1}})", "user@example.com||1|0|0", false);
        row("credential and device", R"({"user_auth_token":"t","user":{"id":1}})", "user@example.com|t|1|0|0",
            true);
        row("nothing, but the ids are texts",
            R"({"user_auth_token":"t","user":{"id":"1","credential":{"id":"2"},"device":{"id":"3"}}})",
            "user@example.com|t|1|2|3", true);
        row("nothing, and the ids are large",
            R"({"user_auth_token":"t","user":{"id":4294967295,"credential":{"id":4294967294},)"
            R"("device":{"id":4294967293}}})",
            "user@example.com|t|4294967295|4294967294|4294967293", true);
    }
    void whatTheAnswerOfALoginLacksIsEmpty()
    {
        QFETCH(QByteArray, body);
        QFETCH(QString, session);
        QFETCH(bool, loggedIn);
        m_server->answer("/api/user/login", TestHttpServer::json(body));
        m_host->setSession();
        m_host->start();
        const SessionHistory history(m_host->root());
        QVERIFY(!logIn(*m_host).error.isSet());
        QCOMPARE(sessionText(m_host->session()), session);
        QCOMPARE(isLoggedIn(), loggedIn);
        QTRY_COMPARE(history.texts, (QStringList{nobody, session}));
    }

    void aLoginThatFailsLeavesNobodyLoggedIn_data()
    {
        QTest::addColumn<Response>("response");
        QTest::addColumn<QString>("message");
        const QString unknown = QStringLiteral("Unknown error");
        QTest::newRow("wrong credentials") << TestHttpServer::json("{\"message\":\"Invalid username\"}", 401)
                                           << QStringLiteral("Invalid username");
        QTest::newRow("no JSON") << TestHttpServer::json("hello") << QStringLiteral("Invalid data returned.");
        QTest::newRow("a whole answer with another code")
            << TestHttpServer::json(loginAnswer, 201) << unknown;
        QTest::newRow("a broken service") << TestHttpServer::text("<html>", 500) << unknown;
        Response cut = TestHttpServer::json(loginAnswer);
        cut.truncateAfter = loginAnswer.size() - 1;
        QTest::newRow("an answer cut short") << cut << unknown;
    }
    void aLoginThatFailsLeavesNobodyLoggedIn()
    {
        QFETCH(Response, response);
        QFETCH(QString, message);
        m_server->answer("/api/user/login", response);
        m_host->setSession();
        m_host->start();
        const SessionHistory history(m_host->root());
        QCOMPARE(logIn(*m_host).error.message().toString(), message);
        QCOMPARE(requestsInAll(*m_server), 1);
        QVERIFY(!isLoggedIn());
        QCOMPARE(sessionText(m_host->session()), nobody);
        // A second one, which succeeds, shows that nothing more was written before.
        m_server->answer("/api/user/login", TestHttpServer::json(loginAnswer));
        QVERIFY(!logIn(*m_host).error.isSet());
        QTRY_COMPARE(history.texts, (QStringList{nobody, nobody, newUser}));
    }

    void aLogoutForgetsTheUserAndTellsTheHostButNotTheService()
    {
        m_host->setSession();
        m_host->start();
        QCOMPARE(sessionText(m_host->session()), savedUser);
        const SessionHistory history(m_host->root());
        QVERIFY(logIn(*m_host, account(PelkQobuzAccountOperation::Remove)).finished);
        QVERIFY(!isLoggedIn());
        const QVariantHash expected{{QStringLiteral("userName"), QString()},
                                    {QStringLiteral("userAuthToken"), QString()},
                                    {QStringLiteral("userId"), 0U},
                                    {QStringLiteral("credentialId"), 0U},
                                    {QStringLiteral("deviceId"), 0U}};
        QCOMPARE(variantLines(m_host->session().variant()), variantLines(expected));
        QTRY_COMPARE(history.texts, QStringList{nobody});
        QCOMPARE(requestsInAll(*m_server), 0);
    }

    void aLogoutDuringALoginIsOverruledByItsAnswer()
    {
        m_host->start();
        m_server->answerOnce("/api/user/login", held(loginAnswer));
        const CMSetDataRequest request(CMPath(accountPath()), PelkRoles::Value(), accountValue(login()));
        m_host->root().setDataRequest(request);
        QVERIFY(m_server->waitForRequests(1));
        QVERIFY(logIn(*m_host, account(PelkQobuzAccountOperation::Remove)).finished);
        QVERIFY(!isLoggedIn());
        m_server->release();
        QVERIFY(ModuleHost::wait(request.reply()));
        QVERIFY(isLoggedIn());
        QCOMPARE(sessionText(m_host->session()), newUser);
    }

    void aHostThatCannotKeepTheLoginIsNoHindrance()
    {
        m_host->start();
        const auto store = std::make_shared<BrokenStore>();
        m_host->root().keep(PelkQobuzUserSessionPath(), store);
        QVERIFY(!logIn(*m_host).error.isSet());
        QTRY_COMPARE(store->writes, 2);
        QVERIFY(isLoggedIn());
        compareWhoIsSent("token-2", "4711", "12", "13");
    }

private:
    bool isLoggedIn()
    {
        const ModuleHost::Rows rows = m_host->rows(QStringLiteral("qobuz:featured/albums"), 0, 9);
        const bool refused = rows.error.message().source() == "User is not logged in";
        return rows.finished && !refused;
    }

    /// What a report of a track, which carries all of it, says of the user.
    void compareWhoIsSent(const QByteArray& token, const QByteArray& user, const QByteArray& credential,
                          const QByteArray& device)
    {
        m_server->clearRequests();
        report(*m_host, PelkPlayLogicState::Playing);
        QVERIFY(m_server->waitForRequests(1));
        const TestHttpServer::Request request = m_server->requests().at(0);
        QCOMPARE(request.header("X-User-Auth-Token"), token);
        QCOMPARE(request.queryValue("user_id"), user);
        QCOMPARE(request.queryValue("credential_id"), credential);
        QCOMPARE(request.queryValue("device_id"), device);
    }

    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<ModuleHost> m_host;
};

QTEST_GUILESS_MAIN(SessionConformanceTest)
#include "session_conformance_test.moc"

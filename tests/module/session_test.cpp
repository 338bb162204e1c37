// The user session: what a login sends, the state after success and failure, and what is reported to the host
// at each step.

#include "tests/module/objecttest.h"

#include <QMutex>

#include <future>

namespace {

const QByteArray loginAnswer = R"({"user_auth_token":"token-2","user":{"id":4711,"login":"another name",)"
                               R"("credential":{"id":12},"device":{"id":13}}})";
const QString nobody = "||0|0|0"_s;
const QString savedUser = "user@example.com|token-1|77|88|99"_s;
const QString newUser = "user@example.com|token-2|4711|12|13"_s;

} // namespace

class SessionTest : public ObjectTest
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        ModuleTest::open();
        server().setHandler([](const Request& request) {
            return json(request.path == "/api/user/login" ? loginAnswer : "{}");
        });
    }
    void cleanup()
    {
        QVERIFY(isIdle());
        close();
    }

    void aSavedLoginIsResumedIfItHasATokenAndAUser_data()
    {
        Rows<QString, uint, bool> row;
        row("both", "t"_s, 1U, true);
        row("the largest user id", "t"_s, 4294967295U, true);
        row("a token that is a blank", " "_s, 1U, true);
        row("user id 0", "t"_s, 0U, false);
        row("no token", QString(), 1U, false);
        row("neither", QString(), 0U, false);
    }
    void aSavedLoginIsResumedIfItHasATokenAndAUser()
    {
        const auto [token, userId, loggedIn] = fetched<QString, uint, bool>();
        host().setSession(token, userId);
        start(false);
        QCOMPARE(isLoggedIn(), loggedIn);
        QCOMPARE(server().requestCount(), loggedIn ? 1 : 0); // no login was needed
    }

    void everyFieldOfASavedLoginIsUsed()
    {
        host().setSession("t"_s, 4294967295U, 4294967294U, 4294967293U);
        start(false);
        compareWhoIsSent("t", "4294967295", "4294967294", "4294967293");
    }

    void theHostsValueIsReadOnlyAtTheStart()
    {
        start();
        host().setSession("elsewhere"_s, 0, 0, 0);
        QVERIFY(isLoggedIn());
        compareWhoIsSent("token-1", "77", "88", "99");
    }

    void aLoginSendsTheUserAndTheDigestOfThePasswordAndNoHeaders_data()
    {
        Rows<QString, QString, QByteArray> row;
        const QByteArray tail = "&device_manufacturer_id=member-id";
        row("plain", "me"_s, "secret"_s,
            "app_id=app-id&username=me&password=5ebe2294ecd0e0f08eab7690d2a6ee69" + tail);
        row("a name to be encoded, a password that is not Latin", "a+b c@d.e"_s,
            "\u043f\u0430\u0440\u043e\u043b\u044c\u20ac"_s,
            "app_id=app-id&username=a%2Bb%20c%40d.e&password=9194563075948daadd3457ae33547f8c" + tail);
        row("nothing", QString(), QString(),
            "app_id=app-id&username=&password=d41d8cd98f00b204e9800998ecf8427e" + tail);
    }
    void aLoginSendsTheUserAndTheDigestOfThePasswordAndNoHeaders()
    {
        const auto [username, password, query] = fetched<QString, QString, QByteArray>();
        host().setSession(); // a user who is there already changes nothing
        start(false);
        QVERIFY(!write(login(username, password)).error.isSet());
        QCOMPARE(server().requestCount(), 1);
        const Request request = server().requests().at(0);
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
        start(false);
        QVERIFY(!write(login()).error.isSet());
        host().setSettings("http://unused.example/"_s, "id-2"_s, QString());
        PelkValue device;
        device.setString_("device 2"_s);
        const CMReply<QVariant> written = CMReply<QVariant>::create();
        host().root().setValue(PelkSystemMemberIdPath(), device, written);
        QVERIFY(wait(written));
        QVERIFY(!write(login()).error.isSet());
        QCOMPARE(server().requestCount(), 2);
        QCOMPARE(server().requests().at(1).target,
                 QByteArray("/api/user/login?app_id=id-2&username=user%40example.com"
                            "&password=33e1b232a4e6fa0028a6670753749a17&device_manufacturer_id=device%202"));
    }

    void thePreviousUserIsForgottenBeforeTheLoginIsSent()
    {
        start();
        const SessionHistory history(host().root());
        server().answerOnce("/api/user/login", held(loginAnswer));
        const CMSetDataRequest request(CMPath(accountPath()), PelkRoles::Value(), accountValue(login()));
        host().root().setDataRequest(request);
        QVERIFY(server().waitForRequests(1));
        // Until the response arrives, nobody is logged in.
        QVERIFY(!request.reply().isFinished());
        QVERIFY(!isLoggedIn());
        QCOMPARE(server().requestCount(), 1);
        QTRY_COMPARE(history.texts, QStringList{nobody});
        server().release();
        QVERIFY(wait(request.reply()));
        QVERIFY(isLoggedIn());
        QTRY_COMPARE(history.texts, (QStringList{nobody, newUser}));
    }

    void thePreviousUserIsForgottenBeforeTheTransportIsCalled()
    {
        SessionProbeRoot root; // the root from here on
        root.setValue(PelkQobuzSettingsPath(), host().root().getValue(PelkQobuzSettingsPath()),
                      CMReply<QVariant>::create());
        start(false);
        root.addWorker(host().worker());
        const Log log;
        QList<bool> asked;
        root.beforeSession = [&log, &asked] {
            asked << !log.traces().filter("Enter void QobuzHttpInterface::get("_s).isEmpty();
        };
        const CMSetDataRequest request(CMPath(accountPath()), PelkRoles::Value(), accountValue(login()));
        root.setDataRequest(request);
        QVERIFY(wait(request.reply()));
        QVERIFY(!request.reply().error().isSet());
        QCOMPARE(asked, (QList<bool>{false, true})); // nobody; the new user
        host().stop();
    }

    void aSuccessfulLoginUsesTheTypedName()
    {
        start(false);
        QVERIFY(!write(login("typed"_s)).error.isSet());
        // The host's record, with every key.
        const PelkValue value = host().root().getValue(PelkQobuzUserSessionPath());
        QCOMPARE(value.type(), int(PelkValue::QobuzUserSessionType));
        const QVariantHash expected{{"userName"_s, "typed"_s},
                                    {"userAuthToken"_s, "token-2"_s},
                                    {"userId"_s, 4711U},
                                    {"credentialId"_s, 12U},
                                    {"deviceId"_s, 13U}};
        QCOMPARE(variantLines(value.qobuzUserSession().variant()), variantLines(expected));
        compareWhoIsSent("token-2", "4711", "12", "13");
    }

    void missingFieldsOfALoginAreEmpty_data()
    {
        Rows<QByteArray, QString, bool> row;

        row("everything", "{}", "user@example.com||0|0|0", false);
        row("an answer that is no object", "[]", "user@example.com||0|0|0", false);
        row("the user", R"({"user_auth_token":"t"})", "user@example.com|t|0|0|0", false);
        row("a user that is null", R"({"user_auth_token":"t","user":null})", "user@example.com|t|0|0|0",
            false);
        row("the token", R"({"user":{"id":1}})", "user@example.com||1|0|0", false);
        row("nothing, and the token is kept as it is",
            R"({"user_auth_token":" t\u0308\u00e9 ","user":{"id":1}})",
            "user@example.com| t\u0308\u00e9 |1|0|0", true);
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
    void missingFieldsOfALoginAreEmpty()
    {
        const auto [body, session, loggedIn] = fetched<QByteArray, QString, bool>();
        server().answer("/api/user/login", json(body));
        start();
        const SessionHistory history(host().root());
        QVERIFY(!write(login()).error.isSet());
        QCOMPARE(sessionText(host().session()), session);
        QCOMPARE(isLoggedIn(), loggedIn);
        QTRY_COMPARE(history.texts, (QStringList{nobody, session}));
    }

    void aLogoutForgetsTheUserAndNotifiesTheHostButNotTheService()
    {
        start();
        QCOMPARE(sessionText(host().session()), savedUser);
        const SessionHistory history(host().root());
        QVERIFY(write(account(PelkQobuzAccountOperation::Remove)).finished);
        QVERIFY(!isLoggedIn());
        const QVariantHash expected{{"userName"_s, QString()},
                                    {"userAuthToken"_s, QString()},
                                    {"userId"_s, 0U},
                                    {"credentialId"_s, 0U},
                                    {"deviceId"_s, 0U}};
        QCOMPARE(variantLines(host().session().variant()), variantLines(expected));
        QTRY_COMPARE(history.texts, QStringList{nobody});
        QCOMPARE(requestsInAll(), 0);
    }

    void aLogoutDuringALoginIsOverruledByItsAnswer()
    {
        start(false);
        server().answerOnce("/api/user/login", held(loginAnswer));
        const CMSetDataRequest request(CMPath(accountPath()), PelkRoles::Value(), accountValue(login()));
        host().root().setDataRequest(request);
        QVERIFY(server().waitForRequests(1));
        QVERIFY(write(account(PelkQobuzAccountOperation::Remove)).finished);
        QVERIFY(!isLoggedIn());
        server().release();
        QVERIFY(wait(request.reply()));
        QVERIFY(isLoggedIn());
        QCOMPARE(sessionText(host().session()), newUser);
    }

    void aHostThatCannotStoreTheLoginDoesNotPreventIt()
    {
        start(false);
        const auto store = std::make_shared<BrokenStore>();
        host().root().keep(PelkQobuzUserSessionPath(), store);
        QVERIFY(!write(login()).error.isSet());
        QTRY_COMPARE(store->writes, 2);
        QVERIFY(isLoggedIn());
        compareWhoIsSent("token-2", "4711", "12", "13");
    }

    void anUpdateIsInForceAndWrittenToTheHost()
    {
        host().setSession(QString(), 0);
        api().updateUserSession("n"_s, "t"_s, 1, 2, 3);
        QVERIFY(api().isLoggedIn());
        QCOMPARE(session(), "n|t|1|2|3"_s);
        QVERIFY(wait(api().reportStreamingStart(1, PelkQobuzAudioFormat::Mp3_320, false, false)));
        const Request request = server().requests().at(0);
        QCOMPARE(request.header("X-User-Auth-Token"), QByteArray("t"));
        QCOMPARE(request.queryValue("user_id"), QByteArray("1"));
        QCOMPARE(request.queryValue("credential_id"), QByteArray("2"));
        QCOMPARE(request.queryValue("device_id"), QByteArray("3"));
        // From now on the object's own value is used, not the host's.
        host().setSession("elsewhere"_s, 0);
        QVERIFY(api().isLoggedIn());
    }

    void theNewUserIsInForceBeforeTheReplyFinishes()
    {
        host().setSession();
        const auto reply = api().login(login("typed name"_s));
        QString atTheEnd;
        bool loggedIn = false;
        reply.addWatcher(
            [&](const CMVoidReply&) {
                atTheEnd = session();
                loggedIn = api().isLoggedIn();
            },
            Qt::DirectConnection);
        QVERIFY(wait(reply));
        QCOMPARE(atTheEnd, "typed name|token-2|4711|12|13"_s);
        QVERIFY(loggedIn);
        QCOMPARE(reply.value().user_auth_token(), "token-2"_s);
        QVERIFY(wait(api().userGet()));
        QCOMPARE(server().requests().at(1).target, QByteArray("/api/user/get?user_id=4711"));
        QCOMPARE(server().requests().at(1).header("X-User-Auth-Token"), QByteArray("token-2"));
    }

    void theLoginStateCannotBeReadWhileItIsWritten()
    {
        host().setSession();
        api();
        SessionProbeRoot root; // the root from here on
        std::future<bool> answer;
        bool blocked = false;
        root.beforeSession = [&] {
            std::promise<void> started;
            answer = std::async(std::launch::async, [&] {
                started.set_value();
                return api().isLoggedIn();
            });
            started.get_future().wait();
            // Never in time for as long as the lock is held.
            blocked = answer.wait_for(std::chrono::milliseconds(200)) == std::future_status::timeout;
        };
        api().updateUserSession(QString(), QString(), 0, 0, 0);
        QVERIFY(blocked);
        QCOMPARE(answer.get(), false); // the new state
    }

private:
    bool isLoggedIn()
    {
        const ModuleHost::Rows rows = host().rows("qobuz:featured/albums"_s, 0, 9);
        const bool refused = rows.error.message().source() == "User is not logged in";
        return rows.finished && !refused;
    }

    /// The user's data in a report of a track, which contains all of it.
    void compareWhoIsSent(const QByteArray& token, const QByteArray& user, const QByteArray& credential,
                          const QByteArray& device)
    {
        server().clearRequests();
        report(PelkPlayLogicState::Playing);
        QVERIFY(server().waitForRequests(1));
        const Request request = server().requests().at(0);
        QCOMPARE(request.header("X-User-Auth-Token"), token);
        QCOMPARE(request.queryValue("user_id"), user);
        QCOMPARE(request.queryValue("credential_id"), credential);
        QCOMPARE(request.queryValue("device_id"), device);
    }
};

QTEST_GUILESS_MAIN(SessionTest)
#include "session_test.moc"

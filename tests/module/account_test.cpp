// The account node: logging in, removing the account, the login state, and what it refuses.

#include "api/core/model/cmsubscribe.h"
#include "api/core/model/cmvalueitem.h"
#include "api/play/playlogicinterface.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkqobuzloginstate.h"
#include "api/types/qobuzpaths.h"
#include "tests/module/account_values.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/testhttpserver.h"

#include <QCryptographicHash>
#include <QtTest>

#include <atomic>
#include <memory>

namespace {

enum LoginState
{
    LoggedIn = 0,
    InProgress = 1,
    LoggedOut = 2,
    Failed = 3
};

const char* const loginAnswer =
    R"({"user":{"id":4711,"credential":{"id":12},"device":{"id":13}},"user_auth_token":"token-2"})";

/// A player that plays what the test says, and counts how often it is stopped.
class Player : public PlayLogicInterface
{
public:
    Player(const QString& service, PelkPlayLogicState::Enum state)
    {
        PelkMetaData metaData;
        metaData.setServiceID(service);
        PelkMediaData mediaData;
        mediaData.setMetaData(metaData);
        PelkRoles row;
        row.setMediaData(mediaData);
        m_data.setTrackRoles(row);
        m_data.setState(state);
    }
    PelkPlayLogicData data() const override { return m_data; }
    CMVoidReply stop(PelkPlayLogicStopReason::Enum reason) override
    {
        ++stops;
        lastReason = int(reason);
        tokenWhenStopped = CMRoot()->getValue(PelkQobuzUserSessionPath()).qobuzUserSession().userAuthToken();
        return CMReply<QVariant>::create(); // and nobody finishes it
    }

    std::atomic<int> stops{0};
    std::atomic<int> lastReason{-1};
    QString tokenWhenStopped = QStringLiteral("not stopped");

private:
    PelkPlayLogicData m_data;
};

} // namespace

class AccountTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<ModuleHost> m_host;
    std::unique_ptr<CMValueItem> m_stateItem;
    QList<int> m_published; // the login states that subscribers are told

    ModuleHost& host() { return *m_host; }

    void start(bool loggedIn = false)
    {
        if (loggedIn)
            host().setSession();
        host().start();
        m_published.clear();
        m_stateItem = std::make_unique<CMValueItem>(nullptr, PelkQobuzLoginStatePath());
        connect(m_stateItem.get(), &CMValueItem::changed, this,
                [this](const PelkValue& value) { m_published << int(value.qobuzLoginState().state()); });
    }
    int state() { return int(host().root().getValue(PelkQobuzLoginStatePath()).qobuzLoginState().state()); }
    ModuleHost::Data write(const PelkQobuzAccount& account, int waitMs = 10000)
    {
        return host().setData(accountPath(), PelkRoles::Value(), accountValue(account), waitMs);
    }
    CMSetDataRequest send(const PelkQobuzAccount& account)
    {
        CMSetDataRequest request(PelkQobuzConfigureAccountPath(), PelkRoles::Value(), accountValue(account));
        host().root().setDataRequest(request);
        return request;
    }
    void answerLogin(const QByteArray& body, int status = 200)
    {
        m_server->answer("/user/login", TestHttpServer::json(body, status));
    }
    static TestHttpServer::Response held(const QByteArray& body, int status = 200)
    {
        TestHttpServer::Response response = TestHttpServer::json(body, status);
        response.hold = true;
        return response;
    }
    void checkSession(const PelkQobuzUserSession& session, const QString& user, const QString& token,
                      unsigned int userId, unsigned int credentialId, unsigned int deviceId)
    {
        QCOMPARE(session.userName(), user);
        QCOMPARE(session.userAuthToken(), token);
        QCOMPARE(session.userId(), userId);
        QCOMPARE(session.credentialId(), credentialId);
        QCOMPARE(session.deviceId(), deviceId);
    }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        m_host = std::make_unique<ModuleHost>(m_server->url());
        answerLogin(loginAnswer);
    }
    void cleanup()
    {
        m_stateItem.reset();
        m_host.reset();
        m_server.reset();
    }

    void theFirstLoginStateIsThatOfTheSavedLogin_data()
    {
        QTest::addColumn<QString>("token");
        QTest::addColumn<uint>("userId");
        QTest::addColumn<int>("expected");
        QTest::newRow("nobody") << QString() << 0U << int(LoggedOut);
        QTest::newRow("a user") << "token" << 77U << int(LoggedIn);
        QTest::newRow("a token without a user") << "token" << 0U << int(LoggedOut);
        QTest::newRow("a user without a token: the id alone counts") << QString() << 77U << int(LoggedIn);
    }
    void theFirstLoginStateIsThatOfTheSavedLogin()
    {
        QFETCH(QString, token);
        QFETCH(uint, userId);
        QFETCH(int, expected);
        host().setSession(token, userId);
        host().start();
        QCOMPARE(state(), expected);
        const PelkValue value = host().root().getValue(PelkQobuzLoginStatePath());
        QCOMPARE(value.type(), int(PelkValue::QobuzLoginStateType));
    }

    void readingTheNodeGivesTheSessionForTheValueRole()
    {
        start(true);
        const QStringList roles{PelkRoles::Value(), PelkRoles::Title(), PelkRoles::Value(), PelkRoles::Path(),
                                QStringLiteral("unheardOf")};
        const ModuleHost::Data data = host().getData(accountPath(), roles);
        QVERIFY(data.finished);
        const QVariantList values = data.value.toList();
        QCOMPARE(values.size(), roles.size());
        for (int i : {0, 2}) {
            QCOMPARE(PelkValue(PelkHash(values.at(i).toHash())).type(), int(PelkValue::QobuzUserSessionType));
            checkSession(sessionIn(values.at(i)), QStringLiteral("user@example.com"),
                         QStringLiteral("token-1"), 77, 88, 99);
        }
        for (int i : {1, 3, 4})
            QVERIFY(!values.at(i).isValid());
    }

    void readingNoRoleGivesAnEmptyList()
    {
        start();
        const ModuleHost::Data data = host().getData(accountPath(), {});
        QVERIFY(data.finished);
        QCOMPARE(data.value.userType(), int(QMetaType::QVariantList));
        QVERIFY(data.value.toList().isEmpty());
    }

    void theAccountIsNeverShown()
    {
        start();
        QVERIFY(!write(login()).error.isSet());
        const ModuleHost::Data data =
            host().getData(accountPath(), {PelkRoles::Value(), PelkQobuzAccount::Password(),
                                           PelkQobuzAccount::Username(), PelkValue::QobuzAccount()});
        const QString text = pelkToString(data.value);
        QVERIFY2(!text.contains(QLatin1String("s3cret")), qPrintable(text));
        QVERIFY(!text.contains(PelkQobuzAccount::Password()));
        for (int i = 1; i < 4; ++i)
            QVERIFY(!data.value.toList().at(i).isValid());
    }

    void anotherRoleIsLeftToTheBaseNode()
    {
        start();
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Data data =
            host().setData(accountPath(), PelkRoles::Title(), accountValue(login()));
        QVERIFY(data.finished);
        QCOMPARE(data.error.message().context(), QByteArray("CMNode"));
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL), QStringList{QStringLiteral("Expected value role!")});
        QCOMPARE(state(), int(LoggedOut));
        QCOMPARE(m_server->requestCount(), 0);
    }

    void theRoleIsLookedAtBeforeTheType()
    {
        start();
        const LogCapture log(QStringLiteral("Qobuz"));
        host().setData(accountPath(), PelkRoles::PrePlay(), 5);
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL), QStringList{QStringLiteral("Expected value role!")});
    }

    void whatIsNoAccountIsRefused_data()
    {
        QTest::addColumn<QVariant>("value");
        PelkValue text;
        text.setString_(QStringLiteral("x"));
        QTest::newRow("a text value") << text.variant();
        PelkValue session;
        session.setQobuzUserSession(PelkQobuzUserSession());
        QTest::newRow("a user session") << session.variant();
        QTest::newRow("an account without its wrapper") << login().variant();
        QTest::newRow("a plain text") << QVariant(QStringLiteral("login"));
        QTest::newRow("nothing") << QVariant();
    }
    void whatIsNoAccountIsRefused()
    {
        QFETCH(QVariant, value);
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Data data = host().setData(accountPath(), PelkRoles::Value(), value);
        QVERIFY(data.finished);
        QCOMPARE(data.error.name(), CMError::DefaultName());
        QVERIFY(data.error.title() == CMError::DefaultTitle());
        const TrString message = data.error.message();
        QCOMPARE(message.source(), QByteArray("Invalid value type for account operation."));
        QCOMPARE(message.context(), QByteArray("Qobuz"));
        QCOMPARE(message.comment(), QByteArray("Account node - invalid input data format"));
        QCOMPARE(message.count(), -1);
        QVERIFY(data.error.data().isEmpty());
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL),
                 QStringList{QStringLiteral("Expected qobuz account value type!")});
        QVERIFY(log.texts(log4cplus::DEBUG_LOG_LEVEL).isEmpty());
        QCOMPARE(state(), int(LoggedIn));
        QCOMPARE(m_server->requestCount(), 0);
    }

    void aLoginNeedsBothKeys_data()
    {
        QTest::addColumn<bool>("user");
        QTest::addColumn<bool>("password");
        QTest::newRow("without a user name") << false << true;
        QTest::newRow("without a password") << true << false;
        QTest::newRow("without both") << false << false;
    }
    void aLoginNeedsBothKeys()
    {
        QFETCH(bool, user);
        QFETCH(bool, password);
        PelkQobuzAccount incomplete = login();
        if (!user)
            incomplete.remove(PelkQobuzAccount::Username());
        if (!password)
            incomplete.remove(PelkQobuzAccount::Password());
        start(true);
        const ModuleHost::Data data = write(incomplete);
        QVERIFY(data.finished);
        QCOMPARE(data.error.name(), CMError::DefaultName());
        QVERIFY(data.error.title() == CMError::DefaultTitle());
        QCOMPARE(data.error.message().source(), QByteArray("Username or password not set"));
        QCOMPARE(data.error.message().context(), QByteArray("Qobuz"));
        QVERIFY(data.error.message().comment().isEmpty());
        QCOMPARE(data.error.message().count(), -1);
        host().settle();
        QCoreApplication::processEvents();
        QCOMPARE(state(), int(LoggedIn));
        QVERIFY(m_published.isEmpty());
        QCOMPARE(host().session().userAuthToken(), QStringLiteral("token-1"));
        QCOMPARE(m_server->requestCount(), 0);
    }

    void emptyTextsAreSentToTheService_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("password");
        QTest::newRow("an empty user name") << QStringLiteral("") << QStringLiteral("s3cret");
        QTest::newRow("an empty password") << QStringLiteral("u") << QStringLiteral("");
        QTest::newRow("both") << QStringLiteral("") << QStringLiteral("");
        QTest::newRow("texts that are null") << QString() << QString();
    }
    void emptyTextsAreSentToTheService()
    {
        QFETCH(QString, user);
        QFETCH(QString, password);
        m_server->answer("/user/login", held(R"({"message":"Invalid username or password"})", 401));
        start();
        const CMSetDataRequest request = send(login(user, password));
        QVERIFY(m_server->waitForRequests(1));
        QCOMPARE(state(), int(InProgress));
        QCOMPARE(m_server->requests().at(0).queryValue("username"), user.toUtf8());
        QCOMPARE(m_server->requests().at(0).queryValue("password"),
                 QCryptographicHash::hash(password.toUtf8(), QCryptographicHash::Md5).toHex());
        m_server->release();
        QVERIFY(ModuleHost::wait(request.reply()));
    }

    void aLoginSendsWhoItIs()
    {
        start(true);
        PelkQobuzAccount full = login();
        full.insert(QStringLiteral("more"), 1);
        QVERIFY(!write(full).error.isSet());
        QCOMPARE(m_server->requestCount(), 1);
        const TestHttpServer::Request request = m_server->requests().at(0);
        QCOMPARE(request.path, QByteArray("/user/login"));
        QCOMPARE(request.queryItems(),
                 (TestHttpServer::Pairs{{"app_id", "app-id"},
                                        {"username", "user@example.com"},
                                        {"password", "33e1b232a4e6fa0028a6670753749a17"},
                                        {"device_manufacturer_id", "member-id"}}));
    }

    void aLoginThatSucceedsGivesTheSession()
    {
        start();
        const ModuleHost::Data data = write(login());
        QVERIFY(data.finished);
        QVERIFY(!data.error.isSet());
        const QVariantList values = data.value.toList();
        QCOMPARE(values.size(), 2);
        QCOMPARE(PelkValue(PelkHash(values.at(0).toHash())).type(), int(PelkValue::QobuzUserSessionType));
        checkSession(sessionIn(values.at(0)), QStringLiteral("user@example.com"), QStringLiteral("token-2"),
                     4711, 12, 13);
        QCOMPARE(values.at(1), QVariant(false));
        checkSession(host().session(), QStringLiteral("user@example.com"), QStringLiteral("token-2"), 4711,
                     12, 13);
        host().settle();
        QCOMPARE(state(), int(LoggedIn));
        QTRY_COMPARE(m_published, (QList<int>{InProgress, LoggedIn}));
        QVERIFY(!host().rows(QStringLiteral("qobuz:"), 0, 1).error.isSet());
    }

    void aLoginThatIsRefusedGivesItsError_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QVariantHash>("data");
        const QString code = QStringLiteral("ErrorCode");
        const QString reply = QStringLiteral("ServerReply");
        QTest::newRow("wrong password")
            << 401 << QByteArray(R"({"message":"Invalid username or password"})")
            << "Invalid username or password"
            << QVariantHash{{code, 401}, {reply, QStringLiteral("Invalid username or password")}};
        QTest::newRow("a service that is broken")
            << 500 << QByteArray("<html>") << "Unknown error" << QVariantHash{{code, 500}};
        QTest::newRow("an answer that is not JSON")
            << 200 << QByteArray("<html>") << "Invalid data returned." << QVariantHash();
    }
    void aLoginThatIsRefusedGivesItsError()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, message);
        QFETCH(QVariantHash, data);
        answerLogin(body, status);
        start(true);
        const ModuleHost::Data answer = write(login());
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.name(), CMError::DefaultName());
        QCOMPARE(answer.error.message().toString(), message);
        QCOMPARE(answer.error.data(), data);
        QVERIFY(answer.value.isNull());
        host().settle();
        QCOMPARE(state(), int(Failed));
        QTRY_COMPARE(m_published, (QList<int>{InProgress, Failed}));
        checkSession(host().session(), QString(), QString(), 0, 0, 0); // the user before is gone too
    }

    void theReplyIsFinishedBeforeTheLoginStateIsSet_data()
    {
        QTest::addColumn<int>("operation");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("before");
        QTest::addColumn<int>("after");
        QTest::newRow("a login that succeeds") << 1 << 200 << int(InProgress) << int(LoggedIn);
        QTest::newRow("a login that fails") << 1 << 401 << int(InProgress) << int(Failed);
        QTest::newRow("the account removed") << 2 << 200 << int(LoggedIn) << int(LoggedOut);
    }
    void theReplyIsFinishedBeforeTheLoginStateIsSet()
    {
        QFETCH(int, operation);
        QFETCH(int, status);
        QFETCH(int, before);
        QFETCH(int, after);
        answerLogin(loginAnswer, status);
        start(true);
        PelkQobuzAccount written = login();
        written.setOperation(static_cast<PelkQobuzAccountOperation::Enum>(operation));
        const CMSetDataRequest request(PelkQobuzConfigureAccountPath(), PelkRoles::Value(),
                                       accountValue(written));
        std::atomic<int> stateAtReply{-1};
        request.reply().addWatcher([&](const CMVoidReply&) { stateAtReply = state(); }, Qt::DirectConnection);
        host().root().setDataRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        host().settle();
        QCOMPARE(int(stateAtReply), before);
        QCOMPARE(state(), after);
    }

    void ofTwoLoginsTheLaterToFinishWins_data()
    {
        QTest::addColumn<int>("laterStatus");
        QTest::addColumn<int>("states0");
        QTest::addColumn<int>("states1");
        QTest::newRow("success, then failure") << 401 << int(LoggedIn) << int(Failed);
        QTest::newRow("failure, then success") << 200 << int(Failed) << int(LoggedIn);
    }
    void ofTwoLoginsTheLaterToFinishWins()
    {
        QFETCH(int, laterStatus);
        QFETCH(int, states0);
        QFETCH(int, states1);
        m_server->answerOnce("/user/login", held(loginAnswer, laterStatus));
        m_server->answerOnce("/user/login",
                             TestHttpServer::json(loginAnswer, laterStatus == 200 ? 401 : 200));
        start();
        const CMSetDataRequest first = send(login(QStringLiteral("first")));
        QVERIFY(m_server->waitForRequests(1));
        const ModuleHost::Data second = write(login(QStringLiteral("second")));
        QVERIFY(second.finished);
        QCOMPARE(second.error.isSet(), laterStatus == 200);
        QVERIFY(!first.reply().isFinished());
        m_server->release();
        QVERIFY(ModuleHost::wait(first.reply()));
        QCOMPARE(first.reply().error().isSet(), laterStatus != 200);
        host().settle();
        QTRY_COMPARE(m_published, (QList<int>{InProgress, InProgress, states0, states1}));
        QCOMPARE(state(), states1);
    }

    void removingTheAccountForgetsTheUser()
    {
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Data data = write(account(PelkQobuzAccountOperation::Remove));
        QVERIFY(data.finished);
        QVERIFY(!data.error.isSet());
        const QVariantList values = data.value.toList();
        QCOMPARE(values.size(), 2);
        QCOMPARE(PelkValue(PelkHash(values.at(0).toHash())).type(), int(PelkValue::QobuzUserSessionType));
        checkSession(sessionIn(values.at(0)), QString(), QString(), 0, 0, 0);
        QCOMPARE(values.at(1), QVariant(false));
        checkSession(host().session(), QString(), QString(), 0, 0, 0);
        host().settle();
        QCOMPARE(state(), int(LoggedOut));
        QTRY_COMPARE(m_published, QList<int>{LoggedOut});
        QCOMPARE(log.texts(log4cplus::INFO_LOG_LEVEL), QStringList{QStringLiteral("Account removed")});
        QCOMPARE(m_server->requestCount(), 0); // the service is not told
        QCOMPARE(host().rows(QStringLiteral("qobuz:"), 0, 1).error.message().source(),
                 QByteArray("User is not logged in"));
    }

    void removingTheAccountStopsATrackOfThisService_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<int>("playState");
        QTest::addColumn<bool>("stopped");
        QTest::newRow("playing") << "qobuz" << int(PelkPlayLogicState::Playing) << true;
        QTest::newRow("paused") << "qobuz" << int(PelkPlayLogicState::Paused) << true;
        QTest::newRow("stopped") << "qobuz" << int(PelkPlayLogicState::Stopped) << true;
        QTest::newRow("another service") << "other" << int(PelkPlayLogicState::Playing) << false;
        QTest::newRow("no service") << QString() << int(PelkPlayLogicState::Playing) << false;
        QTest::newRow("a name that goes on") << "qobuz2" << int(PelkPlayLogicState::Playing) << false;
    }
    void removingTheAccountStopsATrackOfThisService()
    {
        QFETCH(QString, service);
        QFETCH(int, playState);
        QFETCH(bool, stopped);
        Player player(service, static_cast<PelkPlayLogicState::Enum>(playState));
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        // It is not waited for that the player has stopped.
        QVERIFY(write(account(PelkQobuzAccountOperation::Remove)).finished);
        QCOMPARE(int(player.stops), stopped ? 1 : 0);
        QStringList lines{QStringLiteral("Account removed")};
        if (stopped) {
            lines << QStringLiteral("We were playing qobuz when logged out - stopping player");
            QCOMPARE(int(player.lastReason), 0);
            QCOMPARE(player.tokenWhenStopped, QString()); // logged out first
        }
        QCOMPARE(log.texts(log4cplus::INFO_LOG_LEVEL), lines);
    }

    void aLoginDoesNotStopThePlayer()
    {
        Player player(PelkService_Qobuz_Id(), PelkPlayLogicState::Playing);
        start(true);
        QVERIFY(write(login()).finished);
        QCOMPARE(int(player.stops), 0);
    }

    void withoutAnOperationTheReplyStaysOpen_data()
    {
        QTest::addColumn<bool>("given");
        QTest::newRow("operation 0") << true;
        QTest::newRow("the key left out") << false;
    }
    void withoutAnOperationTheReplyStaysOpen()
    {
        QFETCH(bool, given);
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        PelkQobuzAccount written = login();
        written.setOperation(PelkQobuzAccountOperation::None);
        if (!given)
            written.remove(PelkQobuzAccount::Operation());
        const CMSetDataRequest request = send(written);
        host().settle();
        QVERIFY(!request.reply().isFinished());
        QCOMPARE(log.texts(log4cplus::WARN_LOG_LEVEL),
                 QStringList{QStringLiteral("No operation on account node specified!")});
        QCOMPARE(state(), int(LoggedIn));
        QVERIFY(m_published.isEmpty());
    }

    void anUnknownOperationDoesNothing_data()
    {
        QTest::addColumn<int>("operation");
        QTest::newRow("3") << 3;
        QTest::newRow("7") << 7;
        QTest::newRow("a negative number") << -1;
    }
    void anUnknownOperationDoesNothing()
    {
        QFETCH(int, operation);
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::INFO_LOG_LEVEL);
        PelkQobuzAccount written = login();
        written.setOperation(static_cast<PelkQobuzAccountOperation::Enum>(operation));
        const CMSetDataRequest request = send(written);
        host().settle();
        QVERIFY(!request.reply().isFinished());
        QVERIFY(log.records().isEmpty());
        QCOMPARE(state(), int(LoggedIn));
        QCOMPARE(m_server->requestCount(), 0);
    }

    void whatIsWrittenAndItsProcessingAreLoggedAtDebugLevel_data()
    {
        QTest::addColumn<int>("operation");
        for (int operation : {0, 1, 2, 7})
            QTest::newRow(QByteArray::number(operation).constData()) << operation;
    }
    void whatIsWrittenAndItsProcessingAreLoggedAtDebugLevel()
    {
        QFETCH(int, operation);
        start();
        PelkQobuzAccount written = login();
        written.setOperation(static_cast<PelkQobuzAccountOperation::Enum>(operation));
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::DEBUG_LOG_LEVEL);
        m_server->answer("/user/login", held("{}"));
        send(written);
        host().settle();
        const QString function = QStringLiteral(
            "bool QobuzAccountNode::processSetDataRequest(PelkQobuzAccount, CMSetDataRequest): ");
        QCOMPARE(log.texts(log4cplus::DEBUG_LOG_LEVEL),
                 (QStringList{QStringLiteral("Qobuz account value: '{qobuzAccount: {operation: %1, password: "
                                             "\"s3cret\", username: \"user@example.com\"}, type: 138}'")
                                  .arg(operation),
                              QStringLiteral("Enter ") + function, QStringLiteral("Leave ") + function}));
        for (const LogCapture::Record& record : log.records())
            QCOMPARE(record.file, QStringLiteral("QobuzAccountNode.cpp"));
    }

    void anIncompleteLoginIsLeftInTheLogToo()
    {
        start();
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::DEBUG_LOG_LEVEL);
        QVERIFY(write(account(PelkQobuzAccountOperation::Login)).finished);
        host().settle();
        QCOMPARE(log.texts(log4cplus::DEBUG_LOG_LEVEL).size(), 3);
        QVERIFY(log.texts(log4cplus::DEBUG_LOG_LEVEL).at(2).startsWith(QLatin1String("Leave ")));
    }
};

QTEST_GUILESS_MAIN(AccountTest)
#include "account_test.moc"

// The account node: logging in, removing the account, the login state, and what it refuses.

#include "api/core/model/cmvalueitem.h"
#include "api/play/playlogicinterface.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkqobuzloginstate.h"
#include "tests/module/moduletest.h"
#include "tests/support/bareworker.h"

#include <QCryptographicHash>

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
const QString savedUser = "user@example.com|token-1|77|88|99"_s;
const QString newUser = "user@example.com|token-2|4711|12|13"_s;
const QString nobody = "||0|0|0"_s;

int loginState()
{
    return int(CMRoot()->getValue(PelkQobuzLoginStatePath()).qobuzLoginState().state());
}

/// A root that notes the login state at each read and each write of another value.
class WatchingRoot : public CMRootWorker
{
public:
    PelkValue getValue(const CMPath& path) override
    {
        if (watching && !(path == PelkQobuzLoginStatePath()))
            accesses << "read %1 in state %2"_s.arg(path.toString()).arg(loginState());
        return CMRootWorker::getValue(path);
    }
    void setValue(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply) override
    {
        if (watching)
            accesses << "write %1 in state %2"_s.arg(path.toString()).arg(loginState());
        CMRootWorker::setValue(path, value, reply);
    }

    bool watching = false;
    QStringList accesses;

private:
    int loginState()
    {
        return int(CMRootWorker::getValue(PelkQobuzLoginStatePath()).qobuzLoginState().state());
    }
};

/// A player that plays what the test says, and counts how often it is stopped. What else is so then is for
/// the test to see.
class Player : public PlayLogicInterface
{
public:
    Player(
        const QString& service, PelkPlayLogicState::Enum state, std::function<void()> onStop = [] {})
        : m_onStop(std::move(onStop))
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
        m_onStop();
        return CMReply<QVariant>::create(); // and nobody finishes it
    }

    std::atomic<int> stops{0};
    std::atomic<int> lastReason{-1};

private:
    std::function<void()> m_onStop;
    PelkPlayLogicData m_data;
};

} // namespace

class AccountTest : public ModuleTest
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        open();
        answerLogin(loginAnswer);
    }
    void cleanup()
    {
        m_stateItem.reset();
        close();
    }

    void theFirstLoginStateIsThatOfTheSavedLogin_data()
    {
        Rows<QString, uint, int> row;
        row("nobody", QString(), 0U, int(LoggedOut));
        row("a user", "token", 77U, int(LoggedIn));
        row("a token without a user", "token", 0U, int(LoggedOut));
        row("a user without a token: the id alone counts", QString(), 77U, int(LoggedIn));
    }
    void theFirstLoginStateIsThatOfTheSavedLogin()
    {
        const auto [token, userId, expected] = fetched<QString, uint, int>();
        host().setSession(token, userId);
        host().start();
        QCOMPARE(loginState(), expected);
        const PelkValue value = host().root().getValue(PelkQobuzLoginStatePath());
        QCOMPARE(value.type(), int(PelkValue::QobuzLoginStateType));
    }

    void readingTheNodeGivesTheSessionForTheValueRole()
    {
        startWatching(true);
        const QStringList roles{PelkRoles::Value(), PelkRoles::Title(), PelkRoles::Value(), PelkRoles::Path(),
                                "unheardOf"_s};
        const ModuleHost::Data data = host().getData(accountPath(), roles);
        QVERIFY(succeeded(data));
        const QVariantList values = data.value.toList();
        QCOMPARE(values.size(), roles.size());
        for (int i : {0, 2}) {
            QCOMPARE(PelkValue(PelkHash(values.at(i).toHash())).type(), int(PelkValue::QobuzUserSessionType));
            QCOMPARE(sessionText(sessionIn(values.at(i))), savedUser);
        }
        for (int i : {1, 3, 4})
            QVERIFY(!values.at(i).isValid());
    }

    void readingNoRoleGivesAnEmptyList()
    {
        startWatching();
        const ModuleHost::Data data = host().getData(accountPath(), {});
        QVERIFY(succeeded(data));
        QCOMPARE(data.value.userType(), int(QMetaType::QVariantList));
        QVERIFY(data.value.toList().isEmpty());
    }

    void theAccountIsNeverShown()
    {
        startWatching();
        QVERIFY(!write(login()).error.isSet());
        const ModuleHost::Data data =
            host().getData(accountPath(), {PelkRoles::Value(), PelkQobuzAccount::Password(),
                                           PelkQobuzAccount::Username(), PelkValue::QobuzAccount()});
        const QString text = pelkToString(data.value);
        QVERIFY2(!text.contains("s3cret"_l), qPrintable(text));
        QVERIFY(!text.contains(PelkQobuzAccount::Password()));
        for (int i = 1; i < 4; ++i)
            QVERIFY(!data.value.toList().at(i).isValid());
    }

    void anotherRoleIsLeftToTheBaseNode_data()
    {
        Rows<QString, QVariant> row;
        row("an account", PelkRoles::Title(), accountValue(login()));
        row("the role is looked at before the type", PelkRoles::PrePlay(), 5);
        row("no role", QString(), accountValue(login()));
    }
    void anotherRoleIsLeftToTheBaseNode()
    {
        const auto [role, value] = fetched<QString, QVariant>();
        startWatching();
        const Log log;
        const ModuleHost::Data data = host().setData(accountPath(), role, value);
        QVERIFY(data.finished);
        QCOMPARE(data.error.message().context(), QByteArray("CMNode"));
        QCOMPARE(log.errors(), QStringList{"Expected value role!"_s});
        QCOMPARE(loginState(), int(LoggedOut));
        QCOMPARE(server().requestCount(), 0);
    }

    void whatIsNoAccountIsRefused_data()
    {
        Rows<QVariant> row;
        PelkValue text;
        text.setString_("x"_s);
        row("a text value", text.variant());
        PelkValue session;
        session.setQobuzUserSession(PelkQobuzUserSession());
        row("a user session", session.variant());
        row("an account without its wrapper", login().variant());
        row("a plain text", "login"_s);
        row("nothing", QVariant());
    }
    void whatIsNoAccountIsRefused()
    {
        const auto [value] = fetched<QVariant>();
        startWatching(true);
        const Log log;
        const ModuleHost::Data data = host().setData(accountPath(), PelkRoles::Value(), value);
        QVERIFY(data.finished);
        compareError(data.error, TrString(TrCharData{"Qobuz", "Invalid value type for account operation.",
                                                     "Account node - invalid input data format"},
                                          {}));
        QCOMPARE(log.errors(), QStringList{"Expected qobuz account value type!"_s});
        QVERIFY(log.debugs().isEmpty());
        QCOMPARE(loginState(), int(LoggedIn));
        QCOMPARE(server().requestCount(), 0);
    }

    void aLoginNeedsBothKeys_data()
    {
        Rows<bool, bool> row;
        row("without a user name", false, true);
        row("without a password", true, false);
        row("without both", false, false);
    }
    void aLoginNeedsBothKeys()
    {
        const auto [user, password] = fetched<bool, bool>();
        PelkQobuzAccount incomplete = login();
        if (!user)
            incomplete.remove(PelkQobuzAccount::Username());
        if (!password)
            incomplete.remove(PelkQobuzAccount::Password());
        startWatching(true);
        const ModuleHost::Data data = write(incomplete);
        QVERIFY(data.finished);
        compareError(data.error, translatable("Qobuz", "Username or password not set"));
        host().settle();
        QCoreApplication::processEvents();
        QCOMPARE(loginState(), int(LoggedIn));
        QVERIFY(m_published.isEmpty());
        QCOMPARE(host().session().userAuthToken(), "token-1"_s);
        QCOMPARE(server().requestCount(), 0);
    }

    void textsAreSentAsTheyAre_data()
    {
        Rows<QString, QString> row;
        row("an empty user name", ""_s, "s3cret"_s);
        row("an empty password", "u"_s, ""_s);
        row("both", ""_s, ""_s);
        row("texts that are null", QString(), QString());
        row("blanks around", " u ", " p ");
        row("blanks alone", "  ", " ");
        row("line breaks", "u\r\n", "p\n");
        row("composed letters", "\u00fc\u00e9", "\u00fc\u00e9");
        row("the same letters decomposed", "u\u0308e\u0301", "u\u0308e\u0301");
        row("compatible letters", "\ufb01\u212b\u3000", "\uff21");
        row("letter case", "User@Example.COM", "SeCret");
        row("no characters of their own", "\u200b\t", "\u00a0");
    }
    void textsAreSentAsTheyAre()
    {
        const auto [user, password] = fetched<QString, QString>();
        server().answer("/api/user/login", held(R"({"message":"Invalid username or password"})", 401));
        startWatching();
        const CMSetDataRequest request = send(login(user, password));
        QVERIFY(server().waitForRequests(1));
        QCOMPARE(loginState(), int(InProgress));
        QCOMPARE(server().requests().at(0).queryValue("username"), user.toUtf8());
        QCOMPARE(server().requests().at(0).queryValue("password"),
                 QCryptographicHash::hash(password.toUtf8(), QCryptographicHash::Md5).toHex());
        server().release();
        QVERIFY(wait(request.reply()));
        // What succeeds is kept as it was typed.
        answerLogin(loginAnswer);
        QVERIFY(!write(login(user, password)).error.isSet());
        QCOMPARE(host().session().userName(), user);
    }

    void aLoginThatSucceedsGivesTheSession()
    {
        startWatching();
        const ModuleHost::Data data = write(login());
        QVERIFY(succeeded(data));
        QCOMPARE(sessionText(host().session()), newUser);
        host().settle();
        QCOMPARE(loginState(), int(LoggedIn));
        QTRY_COMPARE(m_published, (QList<int>{InProgress, LoggedIn}));
        QVERIFY(!host().rows("qobuz:"_s, 0, 1).error.isSet());
    }

    void aLoginThatIsRefusedGivesItsError_data()
    {
        Rows<int, QByteArray, QString, QVariantHash> row;
        const QString code = "ErrorCode"_s;
        const QString reply = "ServerReply"_s;
        row("wrong password", 401, QByteArray(R"({"message":"Invalid username or password"})"),
            "Invalid username or password",
            QVariantHash{{code, 401}, {reply, "Invalid username or password"_s}});
        row("a service that is broken", 500, "<html>", "Unknown error", QVariantHash{{code, 500}});
        row("an answer that is not JSON", 200, "<html>", "Invalid data returned.", QVariantHash());
        row("a whole answer with another code", 201, loginAnswer, "Unknown error",
            QVariantHash{{code, 201}, {reply, QString()}});
        row("a message that is kept as it is", 401, R"({"message":" No\u0308\r\n %1 "})", " No\u0308\r\n %1 ",
            QVariantHash{{code, 401}, {reply, " No\u0308\r\n %1 "_s}});
    }
    void aLoginThatIsRefusedGivesItsError()
    {
        const auto [status, body, message, data] = fetched<int, QByteArray, QString, QVariantHash>();
        answerLogin(body, status);
        startWatching(true);
        const ModuleHost::Data answer = write(login());
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.name(), CMError::DefaultName());
        QCOMPARE(answer.error.message().toString(), message);
        QCOMPARE(answer.error.data(), data);
        QVERIFY(answer.value.isNull());
        host().settle();
        QCOMPARE(loginState(), int(Failed));
        QTRY_COMPARE(m_published, (QList<int>{InProgress, Failed}));
        QCOMPARE(sessionText(host().session()), nobody); // the user before is gone too
    }

    void theReplyIsFinishedBeforeTheLoginStateIsSet_data()
    {
        Rows<int, int, int, int> row;
        row("a login that succeeds", 1, 200, int(InProgress), int(LoggedIn));
        row("a login that fails", 1, 401, int(InProgress), int(Failed));
        row("the account removed", 2, 200, int(LoggedIn), int(LoggedOut));
    }
    void theReplyIsFinishedBeforeTheLoginStateIsSet()
    {
        const auto row = fetched<int, int, int, int>();
        answerLogin(loginAnswer, std::get<1>(row));
        startWatching(true);
        const CMSetDataRequest request = requestFor(accountValue(loginAs(std::get<0>(row))));
        std::atomic<int> stateAtReply{-1};
        request.reply().addWatcher([&](const CMVoidReply&) { stateAtReply = loginState(); },
                                   Qt::DirectConnection);
        host().root().setDataRequest(request);
        QVERIFY(wait(request.reply()));
        host().settle();
        QCOMPARE(int(stateAtReply), std::get<2>(row));
        QCOMPARE(loginState(), std::get<3>(row));
    }

    void theLogAndTheReplyComeInThisOrder_data()
    {
        Rows<QVariant, QStringList> row;
        const QString reply = "the reply"_s;
        const QStringList entry{"account value"_s, "Enter bool"_s};
        row("an incomplete login", accountValue(account(1)), entry + QStringList{reply, "Leave bool"_s});
        row("a removal", accountValue(account(2)),
            entry + QStringList{"Account removed"_s, reply, "Leave bool"_s});
        row("a login", accountValue(login()), entry + QStringList{"Leave bool"_s, "httpCallback"_s, reply});
        row("no account", 5, {"account value type"_s, reply});
        row("no operation", accountValue(account(0)), entry + QStringList{"No operation"_s, "Leave bool"_s});
    }
    void theLogAndTheReplyComeInThisOrder()
    {
        const auto [value, order] = fetched<QVariant, QStringList>();
        startWatching(true);
        const Log log;
        const CMSetDataRequest request = requestFor(value);
        log.watch(request.reply());
        host().root().setDataRequest(request);
        host().settle();
        QVERIFY(!order.contains("the reply"_s) || wait(request.reply()));
        host().settle();
        QCOMPARE(log.order({"account value type"_s, "account value"_s, "Enter bool"_s, "Leave bool"_s,
                            "Account removed"_s, "No operation"_s, "httpCallback"_s}),
                 order);
    }

    void aLoginWithoutAUserIdSucceedsAllTheSame_data()
    {
        Rows<QByteArray, QString> row;
        row("no user", R"({"user_auth_token":"t"})", "user@example.com|t|0|0|0");
        row("a user without an id", R"({"user_auth_token":"t","user":{"login":"x"}})",
            "user@example.com|t|0|0|0");
        row("nothing", "{}", "user@example.com||0|0|0");
    }
    void aLoginWithoutAUserIdSucceedsAllTheSame()
    {
        const auto [body, session] = fetched<QByteArray, QString>();
        answerLogin(body);
        startWatching();
        const ModuleHost::Data data = write(login());
        QVERIFY(succeeded(data));
        QCOMPARE(sessionText(sessionIn(data.value.toList().value(0))), session);
        host().settle();
        QCOMPARE(loginState(), int(LoggedIn)); // by the reply alone
        QCOMPARE(host().rows("qobuz:"_s, 0, 1).error.message().source(), QByteArray("User is not logged in"));
    }

    void ofTwoLoginsTheLaterToFinishWins_data()
    {
        Rows<int, int, int> row;
        row("success, then failure", 401, int(LoggedIn), int(Failed));
        row("failure, then success", 200, int(Failed), int(LoggedIn));
    }
    void ofTwoLoginsTheLaterToFinishWins()
    {
        const auto [laterStatus, states0, states1] = fetched<int, int, int>();
        server().answerOnce("/api/user/login", held(loginAnswer, laterStatus));
        server().answerOnce("/api/user/login", json(loginAnswer, laterStatus == 200 ? 401 : 200));
        startWatching();
        const CMSetDataRequest first = send(login("first"_s));
        QVERIFY(server().waitForRequests(1));
        const ModuleHost::Data second = write(login("second"_s));
        QVERIFY(second.finished);
        QCOMPARE(second.error.isSet(), laterStatus == 200);
        QVERIFY(!first.reply().isFinished());
        server().release();
        QVERIFY(wait(first.reply()));
        QCOMPARE(first.reply().error().isSet(), laterStatus != 200);
        host().settle();
        QTRY_COMPARE(m_published, (QList<int>{InProgress, InProgress, states0, states1}));
        QCOMPARE(loginState(), states1);
    }

    void removingTheAccountForgetsTheUser()
    {
        startWatching(true);
        const Log log;
        const ModuleHost::Data data = write(account(PelkQobuzAccountOperation::Remove));
        QVERIFY(succeeded(data));
        QCOMPARE(sessionText(host().session()), nobody);
        host().settle();
        QCOMPARE(loginState(), int(LoggedOut));
        QTRY_COMPARE(m_published, QList<int>{LoggedOut});
        QCOMPARE(log.infos(), QStringList{"Account removed"_s});
        QCOMPARE(server().requestCount(), 0); // the service is not told
        QCOMPARE(host().rows("qobuz:"_s, 0, 1).error.message().source(), QByteArray("User is not logged in"));
    }

    void removingTheAccountStopsATrackOfThisService_data()
    {
        Rows<QString, int, bool> row;
        row("playing", "qobuz", int(PelkPlayLogicState::Playing), true);
        row("opening", "qobuz", int(PelkPlayLogicState::Opening), true);
        row("paused", "qobuz", int(PelkPlayLogicState::Paused), true);
        row("stopped", "qobuz", int(PelkPlayLogicState::Stopped), true);
        row("another service", "other", int(PelkPlayLogicState::Playing), false);
        row("no service", QString(), int(PelkPlayLogicState::Playing), false);
        row("another letter case", "Qobuz", int(PelkPlayLogicState::Playing), false);
        row("a blank around", " qobuz", int(PelkPlayLogicState::Playing), false);
        row("a name that goes on", "qobuz2", int(PelkPlayLogicState::Playing), false);
    }
    void removingTheAccountStopsATrackOfThisService()
    {
        const auto [service, playState, stopped] = fetched<QString, int, bool>();
        const Player player(service, static_cast<PelkPlayLogicState::Enum>(playState));
        startWatching(true);
        const Log log;
        // It is not waited for that the player has stopped.
        QVERIFY(write(account(PelkQobuzAccountOperation::Remove)).finished);
        QCOMPARE(int(player.stops), stopped ? 1 : 0);
        QStringList lines{"Account removed"_s};
        if (stopped) {
            lines << "We were playing qobuz when logged out - stopping player"_s;
            QCOMPARE(int(player.lastReason), 0);
        }
        QCOMPARE(log.infos(), lines);
    }

    void aLoginDoesNotStopThePlayer()
    {
        const Player player(PelkService_Qobuz_Id(), PelkPlayLogicState::Playing);
        startWatching(true);
        QVERIFY(write(login()).finished);
        QCOMPARE(int(player.stops), 0);
    }

    void withoutAnOperationTheReplyStaysOpen_data()
    {
        Rows<bool> row;
        row("operation 0", true);
        row("the key left out", false);
    }
    void withoutAnOperationTheReplyStaysOpen()
    {
        const auto [given] = fetched<bool>();
        startWatching(true);
        const Log log;
        PelkQobuzAccount written = login();
        written.setOperation(PelkQobuzAccountOperation::None);
        if (!given)
            written.remove(PelkQobuzAccount::Operation());
        const CMSetDataRequest request = send(written);
        host().settle();
        QVERIFY(!request.reply().isFinished());
        QCOMPARE(log.warnings(), QStringList{"No operation on account node specified!"_s});
        QCOMPARE(loginState(), int(LoggedIn));
        QVERIFY(m_published.isEmpty());
    }

    void anUnknownOperationDoesNothing_data()
    {
        Rows<int> row;
        row("3", 3);
        row("7", 7);
        row("a negative number", -1);
    }
    void anUnknownOperationDoesNothing()
    {
        const auto [operation] = fetched<int>();
        startWatching(true);
        const Log log(log4cplus::INFO_LOG_LEVEL);
        const PelkQobuzAccount written = loginAs(operation);
        const CMSetDataRequest request = send(written);
        host().settle();
        QVERIFY(!request.reply().isFinished());
        QVERIFY(log.records().isEmpty());
        QCOMPARE(loginState(), int(LoggedIn));
        QCOMPARE(server().requestCount(), 0);
    }

    void whatIsWrittenAndItsProcessingAreLoggedAtDebugLevel_data()
    {
        Rows<int> row;
        for (int operation : {0, 1, 2, 7})
            row(QByteArray::number(operation).constData(), operation);
    }
    void whatIsWrittenAndItsProcessingAreLoggedAtDebugLevel()
    {
        const auto [operation] = fetched<int>();
        startWatching();
        const PelkQobuzAccount written = loginAs(operation);
        const Log log(log4cplus::DEBUG_LOG_LEVEL);
        server().answer("/api/user/login", held("{}"));
        send(written);
        host().settle();
        const QString function =
            "bool QobuzAccountNode::processSetDataRequest(PelkQobuzAccount, CMSetDataRequest): "_s;
        QCOMPARE(log.debugs(),
                 (QStringList{"Qobuz account value: '{qobuzAccount: {operation: %1, password: "
                              "\"s3cret\", username: \"user@example.com\"}, type: 138}'"_s.arg(operation),
                              "Enter "_s + function, "Leave "_s + function}));
        for (const LogCapture::Record& record : log.records())
            QCOMPARE(record.file, "QobuzAccountNode.cpp"_s);
    }

    void aLoginIsInProgressBeforeAnythingIsDoneForIt()
    {
        BareWorker<WatchingRoot> bare(server().url("/api/"_s));
        QCOMPARE(loginState(), int(LoggedIn));
        const CMSetDataRequest request = requestFor(accountValue(login()));
        bare.root().watching = true;
        bare.worker()->setDataRequest(request);
        QVERIFY(wait(request.reply()));
        QVERIFY(!bare.root().accesses.isEmpty());
        for (const QString& access : qAsConst(bare.root().accesses))
            QVERIFY2(access.endsWith("in state 1"_l), qPrintable(access));
        // Written when the user before is forgotten and when the new one is known, and read once more for the
        // answer, all of it before the state is set.
        QCOMPARE(bare.root().accesses.filter("write session:qobuz"_s).size(), 2);
        QCOMPARE(bare.root().accesses.last(), "read session:qobuz in state 1"_s);
        QCOMPARE(loginState(), int(LoggedIn));
    }

    void anIncompleteLoginTouchesNothing()
    {
        BareWorker<WatchingRoot> bare(server().url("/api/"_s));
        const CMSetDataRequest request = requestFor(accountValue(account(PelkQobuzAccountOperation::Login)));
        bare.root().watching = true;
        bare.worker()->setDataRequest(request);
        QVERIFY(wait(request.reply()));
        QVERIFY(request.reply().error().isSet());
        QCOMPARE(bare.root().accesses, QStringList());
    }

    void aRemovalGoesStepByStep()
    {
        BareWorker<WatchingRoot> bare(server().url("/api/"_s));
        const Log log;
        const CMSetDataRequest request = requestFor(accountValue(account(PelkQobuzAccountOperation::Remove)));
        const Player player(PelkService_Qobuz_Id(), PelkPlayLogicState::Paused, [&] {
            QCOMPARE(bare.root().accesses, QStringList{"write session:qobuz in state 0"_s});
            QCOMPARE(log.infos(), (QStringList{"Account removed"_s,
                                               "We were playing qobuz when logged out - stopping player"_s}));
            QVERIFY(!request.reply().isFinished());
        });
        bare.root().watching = true;
        bare.worker()->setDataRequest(request);
        QVERIFY(wait(request.reply()));
        QCOMPARE(int(player.stops), 1);
        QCOMPARE(bare.root().accesses,
                 (QStringList{"write session:qobuz in state 0"_s, "read session:qobuz in state 0"_s}));
        QCOMPARE(loginState(), int(LoggedOut));
    }

    void answersAreTheseToTheLeaf_data()
    {
        Rows<int, QStringList> row;
        const auto lines = [](std::initializer_list<const char*> texts) {
            QStringList strings;
            for (const char* text : texts)
                strings << QString::fromLatin1(text);
            return strings;
        };
        row("a login", int(PelkQobuzAccountOperation::Login),
            lines({"credentialId: uint \"12\"", "deviceId: uint \"13\"", "userAuthToken: QString \"token-2\"",
                   "userId: uint \"4711\"", "userName: QString \"user@example.com\""}));
        row("a removal", int(PelkQobuzAccountOperation::Remove),
            lines({"credentialId: uint \"0\"", "deviceId: uint \"0\"", "userAuthToken: QString \"\"",
                   "userId: uint \"0\"", "userName: QString \"\""}));
    }
    void answersAreTheseToTheLeaf()
    {
        const auto [operation, session] = fetched<int, QStringList>();
        startWatching(true);
        const PelkQobuzAccount written = loginAs(operation);
        QStringList expected;
        for (const QString& line : session)
            expected << "/0/qobuzUserSession/"_s + line;
        expected << "/0/type: int \"%1\""_s.arg(int(PelkValue::QobuzUserSessionType));
        QStringList answer = variantLines(write(written).value);
        QCOMPARE(answer.takeFirst(), ": QVariantList of 2"_s);
        QCOMPARE(answer.takeLast(), "/1: bool \"false\""_s);
        QCOMPARE(answer, expected);
        // Who reads the node sees the same.
        answer = variantLines(host().getData(accountPath(), {PelkRoles::Value()}).value);
        QCOMPARE(answer.takeFirst(), ": QVariantList of 1"_s);
        QCOMPARE(answer, expected);
    }

    void whateverTheStateWasTheOperationSetsItsOwn_data()
    {
        Rows<QList<int>, int> row; // 1: a login, -1: a login that is refused, 2: a removal
        row("a login after a refusal", QList<int>{-1, 1}, int(LoggedIn));
        row("a login after a login", QList<int>{1, 1}, int(LoggedIn));
        row("a login after a removal", QList<int>{1, 2, 1}, int(LoggedIn));
        row("a refusal after a login", QList<int>{1, -1}, int(Failed));
        row("a refusal after a removal", QList<int>{2, -1}, int(Failed));
        row("a removal after a refusal", QList<int>{-1, 2}, int(LoggedOut));
        row("a removal after a removal", QList<int>{2, 2}, int(LoggedOut));
        row("a removal while nobody is logged in", QList<int>{2}, int(LoggedOut));
    }
    void whateverTheStateWasTheOperationSetsItsOwn()
    {
        const auto [operations, state] = fetched<QList<int>, int>();
        start(false);
        for (const int operation : qAsConst(operations)) {
            answerLogin(loginAnswer, operation < 0 ? 401 : 200);
            const ModuleHost::Data data = write(operation == 2 ? account(2) : login());
            QVERIFY(data.finished);
            QCOMPARE(data.error.isSet(), operation < 0);
            host().settle();
        }
        QCOMPARE(loginState(), state);
        QCOMPARE(host().rows("qobuz:"_s, 0, 9).error.isSet(), state != LoggedIn);
    }

    void aKeyCountsThoughItsValueIsMissing()
    {
        answerLogin("{}", 401);
        start(false);
        PelkQobuzAccount written = account(PelkQobuzAccountOperation::Login);
        written.insert(PelkQobuzAccount::Username(), QVariant());
        written.insert(PelkQobuzAccount::Password(), QVariant());
        QVERIFY(write(written).error.isSet());
        QCOMPARE(server().requestCount(), 1);
        host().settle();
        QCOMPARE(loginState(), int(Failed));
    }

    void answersAreFinishedOnTheWorkersThread_data()
    {
        Rows<QVariant> row;
        row("a login", accountValue(login()));
        row("an incomplete login", accountValue(account(1)));
        row("a removal", accountValue(account(2)));
        row("no account", QVariant(5));
    }
    void answersAreFinishedOnTheWorkersThread()
    {
        const auto [value] = fetched<QVariant>();
        start(true);
        const CMSetDataRequest request = requestFor(value);
        const auto thread = threadOf(request.reply());
        host().root().setDataRequest(request);
        QVERIFY(wait(request.reply()));
        host().settle();
        QCOMPARE(thread->load(), host().workerThread());
    }

    void theNodeSaysThatItIsMade()
    {
        const Log log;
        startWatching(true);
        QCOMPARE(log.records().size(), 1);
        const LogCapture::Record record = log.records().at(0);
        QCOMPARE(record.level, log4cplus::TRACE_LOG_LEVEL);
        QCOMPARE(record.file, "QobuzAccountNode.cpp"_s);
        QCOMPARE(record.text, "creating Qobuz Account node"_s);
    }

private:
    void startWatching(bool loggedIn = false)
    {
        start(loggedIn);
        m_published.clear();
        m_stateItem = std::make_unique<CMValueItem>(nullptr, PelkQobuzLoginStatePath());
        connect(m_stateItem.get(), &CMValueItem::changed, this,
                [this](const PelkValue& value) { m_published << int(value.qobuzLoginState().state()); });
    }
    static void compareError(const CMError& error, const TrString& message)
    {
        QCOMPARE(variantLines(error.variant()), variantLines(CMError(message).variant()));
        QVERIFY(error.message() == message); // comment, count and arguments too
    }
    static CMSetDataRequest requestFor(const QVariant& value)
    {
        return CMSetDataRequest(PelkQobuzConfigureAccountPath(), PelkRoles::Value(), value);
    }
    CMSetDataRequest send(const PelkQobuzAccount& account)
    {
        const CMSetDataRequest request = requestFor(accountValue(account));
        host().root().setDataRequest(request);
        return request;
    }
    void answerLogin(const QByteArray& body, int status = 200)
    {
        server().answer("/api/user/login", json(body, status));
    }
    static PelkQobuzAccount loginAs(int operation)
    {
        PelkQobuzAccount written = login();
        written.setOperation(static_cast<PelkQobuzAccountOperation::Enum>(operation));
        return written;
    }

    std::unique_ptr<CMValueItem> m_stateItem;
    QList<int> m_published; // the login states that subscribers are told
};

QTEST_GUILESS_MAIN(AccountTest)
#include "account_test.moc"

// The account node: the order of what a login and a removal do, and their answers to the leaf.

#include "api/play/playlogicinterface.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkqobuzloginstate.h"
#include "tests/conformance/bareworker.h"
#include "tests/module/account_values.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/testhttpserver.h"
#include "tests/support/variantlines.h"

#include <QtTest>

#include <memory>

namespace {

enum LoginState
{
    LoggedIn = 0,
    InProgress = 1,
    LoggedOut = 2,
    Failed = 3
};

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
            accesses << QStringLiteral("read %1 in state %2").arg(path.toString()).arg(state());
        return CMRootWorker::getValue(path);
    }
    void setValue(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply) override
    {
        if (watching)
            accesses << QStringLiteral("write %1 in state %2").arg(path.toString()).arg(state());
        CMRootWorker::setValue(path, value, reply);
    }

    bool watching = false;
    QStringList accesses;

private:
    int state() { return int(CMRootWorker::getValue(PelkQobuzLoginStatePath()).qobuzLoginState().state()); }
};

/// A player with a track of this service. What else is so when it is stopped is for the test to see.
class Player : public PlayLogicInterface
{
public:
    explicit Player(std::function<void()> onStop)
        : m_onStop(std::move(onStop))
    {
    }
    PelkPlayLogicData data() const override
    {
        PelkMetaData metaData;
        metaData.setServiceID(PelkService_Qobuz_Id());
        PelkMediaData mediaData;
        mediaData.setMetaData(metaData);
        PelkRoles row;
        row.setMediaData(mediaData);
        PelkPlayLogicData data;
        data.setTrackRoles(row);
        return data;
    }
    CMVoidReply stop(PelkPlayLogicStopReason::Enum /*reason*/) override
    {
        m_onStop();
        return CMReply<QVariant>::create();
    }

private:
    std::function<void()> m_onStop;
};

} // namespace

class AccountConformanceTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<ModuleHost> m_host;
    ModuleHost& host() { return *m_host; }

    void start(bool loggedIn)
    {
        m_host = std::make_unique<ModuleHost>(m_server->url());
        if (loggedIn)
            host().setSession();
        host().start();
    }
    ModuleHost::Data write(const PelkQobuzAccount& account)
    {
        ModuleHost::Data data = host().setData(accountPath(), PelkRoles::Value(), accountValue(account));
        host().settle();
        return data;
    }
    void answerLogin(int status = 200)
    {
        m_server->answer(
            "/user/login",
            TestHttpServer::json(
                R"({"user":{"id":4711,"credential":{"id":12},"device":{"id":13}},"user_auth_token":"token-2"})",
                status));
    }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        answerLogin();
    }
    void cleanup()
    {
        m_host.reset();
        m_server.reset();
    }

    void aLoginIsInProgressBeforeAnythingIsDoneForIt()
    {
        BareWorker<WatchingRoot> bare(m_server->url());
        QCOMPARE(loginState(), int(LoggedIn));
        const CMSetDataRequest request(PelkQobuzConfigureAccountPath(), PelkRoles::Value(),
                                       accountValue(login()));
        bare.root().watching = true;
        bare.worker()->setDataRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        QVERIFY(!bare.root().accesses.isEmpty());
        for (const QString& access : qAsConst(bare.root().accesses))
            QVERIFY2(access.endsWith(QLatin1String("in state 1")), qPrintable(access));
        // Written when the user before is forgotten and when the new one is known, and read once more for the
        // answer, all of it before the state is set.
        QCOMPARE(bare.root().accesses.filter(QStringLiteral("write session:qobuz")).size(), 2);
        QCOMPARE(bare.root().accesses.last(), QStringLiteral("read session:qobuz in state 1"));
        QCOMPARE(loginState(), int(LoggedIn));
    }

    void anIncompleteLoginTouchesNothing()
    {
        BareWorker<WatchingRoot> bare(m_server->url());
        const CMSetDataRequest request(PelkQobuzConfigureAccountPath(), PelkRoles::Value(),
                                       accountValue(account(PelkQobuzAccountOperation::Login)));
        bare.root().watching = true;
        bare.worker()->setDataRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        QVERIFY(request.reply().error().isSet());
        QCOMPARE(bare.root().accesses, QStringList());
    }

    void aRemovalGoesStepByStep()
    {
        BareWorker<WatchingRoot> bare(m_server->url());
        const LogCapture log(QStringLiteral("Qobuz"));
        const CMSetDataRequest request(PelkQobuzConfigureAccountPath(), PelkRoles::Value(),
                                       accountValue(account(PelkQobuzAccountOperation::Remove)));
        int stops = 0;
        const Player player([&] {
            ++stops;
            QCOMPARE(bare.root().accesses, QStringList{QStringLiteral("write session:qobuz in state 0")});
            QCOMPARE(
                log.texts(log4cplus::INFO_LOG_LEVEL),
                (QStringList{QStringLiteral("Account removed"),
                             QStringLiteral("We were playing qobuz when logged out - stopping player")}));
            QVERIFY(!request.reply().isFinished());
        });
        bare.root().watching = true;
        bare.worker()->setDataRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        QCOMPARE(stops, 1);
        QCOMPARE(bare.root().accesses, (QStringList{QStringLiteral("write session:qobuz in state 0"),
                                                    QStringLiteral("read session:qobuz in state 0")}));
        QCOMPARE(loginState(), int(LoggedOut));
    }

    void answersAreTheseToTheLeaf_data()
    {
        QTest::addColumn<int>("operation");
        QTest::addColumn<QStringList>("session");
        const auto lines = [](std::initializer_list<const char*> texts) {
            QStringList strings;
            for (const char* text : texts)
                strings << QString::fromLatin1(text);
            return strings;
        };
        QTest::newRow("a login") << int(PelkQobuzAccountOperation::Login)
                                 << lines({"credentialId: uint \"12\"", "deviceId: uint \"13\"",
                                           "userAuthToken: QString \"token-2\"", "userId: uint \"4711\"",
                                           "userName: QString \"user@example.com\""});
        QTest::newRow("a removal") << int(PelkQobuzAccountOperation::Remove)
                                   << lines({"credentialId: uint \"0\"", "deviceId: uint \"0\"",
                                             "userAuthToken: QString \"\"", "userId: uint \"0\"",
                                             "userName: QString \"\""});
    }
    void answersAreTheseToTheLeaf()
    {
        QFETCH(int, operation);
        QFETCH(QStringList, session);
        start(true);
        PelkQobuzAccount written = login();
        written.setOperation(static_cast<PelkQobuzAccountOperation::Enum>(operation));
        QStringList expected;
        for (const QString& line : session)
            expected << QStringLiteral("/0/qobuzUserSession/") + line;
        expected << QStringLiteral("/0/type: int \"%1\"").arg(int(PelkValue::QobuzUserSessionType));
        QStringList answer = variantLines(write(written).value);
        QCOMPARE(answer.takeFirst(), QStringLiteral(": QVariantList of 2"));
        QCOMPARE(answer.takeLast(), QStringLiteral("/1: bool \"false\""));
        QCOMPARE(answer, expected);
        // Who reads the node sees the same.
        answer = variantLines(host().getData(accountPath(), {PelkRoles::Value()}).value);
        QCOMPARE(answer.takeFirst(), QStringLiteral(": QVariantList of 1"));
        QCOMPARE(answer, expected);
    }

    void theLoginStateIsAValueOfItsOwnType_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("state");
        QTest::newRow("logged in") << 200 << int(LoggedIn);
        QTest::newRow("failed") << 401 << int(Failed);
    }
    void theLoginStateIsAValueOfItsOwnType()
    {
        QFETCH(int, status);
        QFETCH(int, state);
        answerLogin(status);
        start(true);
        QVERIFY(write(login()).finished);
        QCOMPARE(variantLines(host().root().getValue(PelkQobuzLoginStatePath()).variant()),
                 (QStringList{QStringLiteral("/qobuzLoginState/state: int \"%1\"").arg(state),
                              QStringLiteral("/type: int \"%1\"").arg(int(PelkValue::QobuzLoginStateType))}));
    }

    void whateverTheStateWasTheOperationSetsItsOwn_data()
    {
        QTest::addColumn<QList<int>>("operations"); // 1: a login, -1: a login that is refused, 2: a removal
        QTest::addColumn<int>("state");
        QTest::newRow("a login after a refusal") << QList<int>{-1, 1} << int(LoggedIn);
        QTest::newRow("a login after a login") << QList<int>{1, 1} << int(LoggedIn);
        QTest::newRow("a login after a removal") << QList<int>{1, 2, 1} << int(LoggedIn);
        QTest::newRow("a refusal after a login") << QList<int>{1, -1} << int(Failed);
        QTest::newRow("a refusal after a removal") << QList<int>{2, -1} << int(Failed);
        QTest::newRow("a removal after a refusal") << QList<int>{-1, 2} << int(LoggedOut);
        QTest::newRow("a removal after a removal") << QList<int>{2, 2} << int(LoggedOut);
        QTest::newRow("a removal while nobody is logged in") << QList<int>{2} << int(LoggedOut);
    }
    void whateverTheStateWasTheOperationSetsItsOwn()
    {
        QFETCH(QList<int>, operations);
        QFETCH(int, state);
        start(false);
        for (const int operation : qAsConst(operations)) {
            answerLogin(operation < 0 ? 401 : 200);
            const ModuleHost::Data data = write(operation == 2 ? account(2) : login());
            QVERIFY(data.finished);
            QCOMPARE(data.error.isSet(), operation < 0);
        }
        QCOMPARE(loginState(), state);
        QCOMPARE(host().rows(QStringLiteral("qobuz:"), 0, 9).error.isSet(), state != LoggedIn);
    }

    void aKeyCountsThoughItsValueIsMissing()
    {
        answerLogin(401);
        start(false);
        PelkQobuzAccount written = account(PelkQobuzAccountOperation::Login);
        written.insert(PelkQobuzAccount::Username(), QVariant());
        written.insert(PelkQobuzAccount::Password(), QVariant());
        QVERIFY(write(written).error.isSet());
        QCOMPARE(m_server->requestCount(), 1);
        QCOMPARE(loginState(), int(Failed));
    }

    void answersAreFinishedOnTheWorkersThread_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::newRow("a login") << accountValue(login());
        QTest::newRow("an incomplete login") << accountValue(account(1));
        QTest::newRow("a removal") << accountValue(account(2));
        QTest::newRow("no account") << QVariant(5);
    }
    void answersAreFinishedOnTheWorkersThread()
    {
        QFETCH(QVariant, value);
        start(true);
        const CMSetDataRequest request(PelkQobuzConfigureAccountPath(), PelkRoles::Value(), value);
        std::atomic<QThread*> thread{nullptr};
        request.reply().addWatcher([&](const CMVoidReply&) { thread = QThread::currentThread(); },
                                   Qt::DirectConnection);
        host().root().setDataRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        host().settle();
        QCOMPARE(thread.load(), host().workerThread());
    }

    void theNodeSaysThatItIsMade()
    {
        const LogCapture log(QStringLiteral("Qobuz"));
        start(true);
        QCOMPARE(log.records().size(), 1);
        const LogCapture::Record record = log.records().at(0);
        QCOMPARE(record.level, log4cplus::TRACE_LOG_LEVEL);
        QCOMPARE(record.file, QStringLiteral("QobuzAccountNode.cpp"));
        QCOMPARE(record.text, QStringLiteral("creating Qobuz Account node"));
    }
};

QTEST_GUILESS_MAIN(AccountConformanceTest)
#include "account_conformance_test.moc"

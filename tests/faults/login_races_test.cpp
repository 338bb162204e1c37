#include "api/core/model/cmvalueitem.h"
#include "api/http/httpclient.h"
#include "api/play/pelkplaylogicdata.h"
#include "api/types/pelkqobuzloginstate.h"
#include "api/types/qobuzpaths.h"
#include "tests/module/samples.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/patience.h"
#include "tests/support/testhttpserver.h"
#include "tests/support/usersession.h"

#include <QSemaphore>
#include <QtTest>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace {

enum LoginState
{
    LoggedIn = 0,
    InProgress = 1,
    LoggedOut = 2,
    Failed = 3
};

/// The service: lets go the n-th call of a kind when the test says so. The n-th login gives the token
/// "login-n", the user n and so on.
class Service
{
public:
    Service()
    {
        server.setHandler([this](const TestHttpServer::Request& request) { return answer(request); });
    }

    /// The n-th call, from 1, is held until release(), and answered so; a status of 0 is a call that is let
    /// go at once.
    void hold(const char* call, int n, int status = 200)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_held[key(call, n)].status = status;
    }
    void release(const char* call, int n)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_held[key(call, n)].gate.release();
    }
    bool waitFor(const char* call, int n)
    {
        return QTest::qWaitFor([&] { return calls(call).size() >= n; }, patienceMs);
    }
    QList<TestHttpServer::Request> calls(const char* call) const
    {
        QList<TestHttpServer::Request> found;
        const QList<TestHttpServer::Request> requests = server.requests();
        for (const TestHttpServer::Request& request : requests)
            if (request.path == QByteArray("/") + call)
                found << request;
        return found;
    }

private:
    struct Held
    {
        int status = 200;
        QSemaphore gate;
    };

    static QByteArray key(const QByteArray& call, int n) { return call + ' ' + QByteArray::number(n); }

    TestHttpServer::Response answer(const TestHttpServer::Request& request)
    {
        const QByteArray call = request.path.mid(1);
        int n = 0;
        Held* held = nullptr;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            n = ++m_counts[call];
            const auto found = m_held.find(key(call, n));
            held = found == m_held.end() ? nullptr : &found->second;
        }
        // Bounded, so that a test that fails ends.
        if (held && !held->gate.tryAcquire(1, 20000))
            return TestHttpServer::json(R"({"message":"held for too long"})", 500);
        if (held && held->status != 200)
            return TestHttpServer::json(R"({"message":"refused )" + QByteArray::number(n) + "\"}",
                                        held->status);
        const QByteArray number = QByteArray::number(n);
        if (call == "user/login")
            return TestHttpServer::json(R"({"user_auth_token":"login-)" + number + R"(","user":{"id":)" +
                                        number + R"(,"credential":{"id":1)" + number +
                                        R"(},"device":{"id":2)" + number + "}}}");
        if (call == "track/getFileUrl")
            return TestHttpServer::json(R"({"track_id":5,"format_id":6,"url":"http://stream.example/"})");
        return TestHttpServer::json(R"({"playlists":{"total":7,"items":[{"id":1,"name":"A playlist"}]}})");
    }

    std::mutex m_mutex;
    std::map<QByteArray, int> m_counts;
    std::map<QByteArray, Held> m_held;

public:
    TestHttpServer server; // the last, so that its threads end before what they use
};

struct Asked
{
    CMVoidReply reply;
    std::shared_ptr<std::atomic<int>> answers;
};

template <typename Request>
Asked asked(const Request& request)
{
    Asked one{request.reply(), std::make_shared<std::atomic<int>>(0)};
    one.reply.addWatcher([answers = one.answers](const CMVoidReply&) { ++*answers; }, Qt::DirectConnection);
    return one;
}

const QString nobody = QStringLiteral("||0|0|0");

/// The user session that the n-th login gives.
QString sessionOf(const QString& user, int n)
{
    return QStringLiteral("%1|login-%2|%2|1%2|2%2").arg(user).arg(n);
}

} // namespace

/// Logins, log-outs, requests and reports that cross each other: the later finish wins, and each request is
/// answered once.
class LoginRacesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_service = std::make_unique<Service>();
        m_host = std::make_unique<ModuleHost>(m_service->server.url());
        m_log = std::make_unique<LogCapture>(QStringLiteral("Qobuz"), log4cplus::ERROR_LOG_LEVEL);
    }
    void cleanup()
    {
        const bool idle = HttpClient::waitForIdle(patienceMs);
        m_host->settle();
        // Deletes the host in any case, because only one can exist at a time.
        const QList<Asked> all = std::exchange(m_asked, {});
        m_stateItem.reset();
        m_host.reset();
        m_log.reset();
        m_service.reset();
        QVERIFY(idle);
        for (const Asked& one : all)
            QCOMPARE(int(*one.answers), 1);
    }

    void ofTwoLoginsTheLaterFinishWins_data()
    {
        QTest::addColumn<bool>("sameUser");
        QTest::addColumn<bool>("firstSucceeds");
        QTest::addColumn<bool>("secondSucceeds");
        QTest::addColumn<bool>("inOrder");
        for (int row = 0; row < 16; ++row) {
            const bool same = (row & 8) != 0;
            const bool first = (row & 4) != 0;
            const bool second = (row & 2) != 0;
            const bool inOrder = (row & 1) != 0;
            const QByteArray name = QByteArray(same ? "one user" : "two users") + ", the first " +
                                    (first ? "succeeds" : "fails") + ", the second " +
                                    (second ? "succeeds" : "fails") + ", answered " +
                                    (inOrder ? "in order" : "the other way round");
            QTest::newRow(name.constData()) << same << first << second << inOrder;
        }
    }
    void ofTwoLoginsTheLaterFinishWins()
    {
        QFETCH(bool, sameUser);
        QFETCH(bool, firstSucceeds);
        QFETCH(bool, secondSucceeds);
        QFETCH(bool, inOrder);
        m_service->hold("user/login", 1, firstSucceeds ? 200 : 401);
        m_service->hold("user/login", 2, secondSucceeds ? 200 : 401);
        start(true);
        const QStringList users{QStringLiteral("ada"),
                                sameUser ? QStringLiteral("ada") : QStringLiteral("bo")};
        const Asked first = logIn(users.at(0));
        QVERIFY(m_service->waitFor("user/login", 1));
        const Asked second = logIn(users.at(1));
        QVERIFY(m_service->waitFor("user/login", 2));
        QCOMPARE(state(), int(InProgress));
        QCOMPARE(session(), nobody);

        QString sessionNow = nobody;
        QList<int> published{InProgress, InProgress};
        for (const int n : inOrder ? QList<int>{1, 2} : QList<int>{2, 1}) {
            const Asked& one = n == 1 ? first : second;
            const bool succeeds = n == 1 ? firstSucceeds : secondSucceeds;
            m_service->release("user/login", n);
            QVERIFY(ModuleHost::wait(one.reply));
            m_host->settle();
            if (succeeds) {
                sessionNow = sessionOf(users.at(n - 1), n);
                const QVariantList value = one.reply.d()->value().toList();
                QCOMPARE(value.size(), 2);
                QCOMPARE(sessionText(sessionIn(value.at(0))), sessionNow);
                QCOMPARE(value.at(1), QVariant(false));
            } else {
                QCOMPARE(one.reply.error().message().toString(), QStringLiteral("refused %1").arg(n));
                QCOMPARE(one.reply.error().data().value(QStringLiteral("ErrorCode")), QVariant(401));
            }
            QCOMPARE(one.reply.error().isSet(), !succeeds);
            QCOMPARE(session(), sessionNow); // a failure takes nothing away that came meanwhile
            QCOMPARE(state(), int(succeeds ? LoggedIn : Failed));
            published << (succeeds ? LoggedIn : Failed);
        }
        QTRY_COMPARE(m_published, published);
        checkWhoBrowses(sessionNow);
    }

    void anAccountRemovedDuringALoginIsLoggedInInTheEnd_data()
    {
        QTest::addColumn<bool>("succeeds");
        QTest::newRow("the login succeeds") << true;
        QTest::newRow("the login fails") << false;
    }
    void anAccountRemovedDuringALoginIsLoggedInInTheEnd()
    {
        QFETCH(bool, succeeds);
        m_service->hold("user/login", 1, succeeds ? 200 : 401);
        start(true);
        const Asked one = logIn(QStringLiteral("ada"));
        QVERIFY(m_service->waitFor("user/login", 1));
        removeAccount();
        QCOMPARE(state(), int(LoggedOut));
        QCOMPARE(session(), nobody);
        QVERIFY(!one.reply.isFinished());
        m_service->release("user/login", 1);
        QVERIFY(ModuleHost::wait(one.reply));
        m_host->settle();
        QCOMPARE(one.reply.error().isSet(), !succeeds);
        QTRY_COMPARE(m_published, (QList<int>{InProgress, LoggedOut, succeeds ? LoggedIn : Failed}));
        const QString now = succeeds ? sessionOf(QStringLiteral("ada"), 1) : nobody;
        QCOMPARE(session(), now);
        checkWhoBrowses(now);
    }

    void aRequestFromBeforeALogoutIsAnsweredAfterIt_data()
    {
        QTest::addColumn<bool>("logsInAgain");
        QTest::newRow("logged out") << false;
        QTest::newRow("another login under way") << true;
    }
    void aRequestFromBeforeALogoutIsAnsweredAfterIt()
    {
        QFETCH(bool, logsInAgain);
        const char* const rowsCall = "playlist/getUserPlaylists";
        for (const char* call : {rowsCall, "track/getFileUrl", "track/reportStreamingStart"})
            m_service->hold(call, 1);
        m_service->hold("user/login", 1);
        start(true);
        const Asked rows = askRows();
        const Asked stream = askStream();
        const Asked playing = changeState(PelkPlayLogicState::Playing);
        for (const char* call : {rowsCall, "track/getFileUrl", "track/reportStreamingStart"}) {
            QVERIFY(m_service->waitFor(call, 1));
            QCOMPARE(m_service->calls(call).at(0).header("X-User-Auth-Token"), QByteArray("token-1"));
        }
        Asked login;
        if (logsInAgain) {
            login = logIn(QStringLiteral("ada"));
            QVERIFY(m_service->waitFor("user/login", 1));
        } else {
            removeAccount();
        }
        const int stateMeanwhile = logsInAgain ? InProgress : LoggedOut;
        QCOMPARE(state(), stateMeanwhile);

        // The module itself refuses requests from now on.
        checkRefused(askRows(), "void QobuzWorker::on_getRows_invoke(const CMGetRowsRequest&)");
        checkRefused(askStream(), "QobuzApi");
        const Asked stopped = changeState(PelkPlayLogicState::Stopped);
        QVERIFY(ModuleHost::wait(stopped.reply));
        QVERIFY(!stopped.reply.error().isSet());
        QCOMPARE(errorLines(), refusals(3));

        // Earlier requests are not refused.
        for (const char* call : {rowsCall, "track/getFileUrl", "track/reportStreamingStart"})
            m_service->release(call, 1);
        for (const Asked& one : {rows, stream, playing}) {
            QVERIFY(ModuleHost::wait(one.reply));
            QVERIFY(!one.reply.error().isSet());
        }
        QCOMPARE(rows.reply.d()->value().value<PelkRowsRoles>().rowsCount(), 7);
        QVERIFY(stream.reply.d()->value().toHash().contains(PelkRoles::MediaData()));
        QCOMPARE(state(), stateMeanwhile);
        QCOMPARE(session(), nobody);
        QCOMPARE(m_service->server.requestCount(), logsInAgain ? 4 : 3);
        m_service->release("user/login", 1);
        if (logsInAgain)
            QVERIFY(ModuleHost::wait(login.reply));
        QVERIFY(HttpClient::waitForIdle(patienceMs));
        QCOMPARE(errorLines(), QStringList());
    }

    void aLoginWhileATrackPlaysTakesItsReportsOver_data()
    {
        QTest::addColumn<bool>("stopsMeanwhile");
        QTest::newRow("the track stops while the login is under way") << true;
        QTest::newRow("the track stops after the login") << false;
    }
    void aLoginWhileATrackPlaysTakesItsReportsOver()
    {
        QFETCH(bool, stopsMeanwhile);
        m_service->hold("user/login", 1);
        start(true);
        changeState(PelkPlayLogicState::Playing);
        QVERIFY(m_service->waitFor("track/reportStreamingStart", 1));
        QCOMPARE(reporter("track/reportStreamingStart", 1), QByteArray("token-1 77 88 99"));
        const Asked login = logIn(QStringLiteral("ada"));
        QVERIFY(m_service->waitFor("user/login", 1));
        changeState(PelkPlayLogicState::Paused);
        changeState(stopsMeanwhile ? PelkPlayLogicState::Stopped : PelkPlayLogicState::Playing);
        m_host->settle();
        // Neither reported nor reported later.
        QCOMPARE(errorLines(), refusals(stopsMeanwhile ? 1 : 0));
        m_service->release("user/login", 1);
        QVERIFY(ModuleHost::wait(login.reply));
        QVERIFY(HttpClient::waitForIdle(patienceMs));
        QCOMPARE(m_service->calls("track/reportStreamingEnd").size(), 0);

        if (stopsMeanwhile) {
            changeState(PelkPlayLogicState::Playing);
            QVERIFY(m_service->waitFor("track/reportStreamingStart", 2));
            QCOMPARE(reporter("track/reportStreamingStart", 2), QByteArray("login-1 1 11 21"));
        }
        changeState(PelkPlayLogicState::Stopped);
        QVERIFY(m_service->waitFor("track/reportStreamingEnd", 1));
        QCOMPARE(reporter("track/reportStreamingEnd", 1), QByteArray("login-1 1 11 21"));
        QCOMPARE(m_service->calls("track/reportStreamingStart").size(), stopsMeanwhile ? 2 : 1);
    }

    void manyLoginsAndLogOutsAtOnceAreEachAnsweredOnce()
    {
        constexpr int count = 40;
        for (int n = 1; n <= count; ++n)
            m_service->hold("user/login", n, n % 3 == 0 ? 401 : 200);
        start(false);
        QList<Asked> logins;
        for (int n = 1; n <= count; ++n) {
            logins << logIn(QStringLiteral("user%1").arg(n));
            QVERIFY(m_service->waitFor("user/login", n));
            if (n % 5 == 0)
                removeAccount();
        }
        // Backwards, so that the first one is the last to finish.
        for (int n = count; n >= 1; --n) {
            m_service->release("user/login", n);
            QVERIFY(ModuleHost::wait(logins.at(n - 1).reply));
            QCOMPARE(logins.at(n - 1).reply.error().isSet(), n % 3 == 0);
        }
        m_host->settle();
        QCOMPARE(state(), int(LoggedIn));
        QCOMPARE(session(), sessionOf(QStringLiteral("user1"), 1));
        checkWhoBrowses(session());
    }

private:
    void start(bool loggedIn)
    {
        if (loggedIn)
            m_host->setSession();
        m_host->start();
        m_published.clear();
        m_stateItem = std::make_unique<CMValueItem>(nullptr, PelkQobuzLoginStatePath());
        connect(m_stateItem.get(), &CMValueItem::changed, this,
                [this](const PelkValue& value) { m_published << int(value.qobuzLoginState().state()); });
    }
    int state() { return int(m_host->root().getValue(PelkQobuzLoginStatePath()).qobuzLoginState().state()); }
    QString session() { return sessionText(m_host->session()); }
    QStringList errorLines()
    {
        const QStringList lines = m_log->texts(log4cplus::ERROR_LOG_LEVEL);
        m_log->clear();
        return lines;
    }

    static QStringList refusals(int count)
    {
        QStringList lines;
        while (lines.size() < count)
            lines << QStringLiteral("User is not logged in");
        return lines;
    }

    Asked send(const CMSetDataRequest& request)
    {
        m_asked << asked(request);
        m_host->root().setDataRequest(request);
        return m_asked.last();
    }
    Asked logIn(const QString& user)
    {
        return send(CMSetDataRequest(CMPath(accountPath()), PelkRoles::Value(), accountValue(login(user))));
    }
    void removeAccount()
    {
        const Asked one = send(CMSetDataRequest(CMPath(accountPath()), PelkRoles::Value(),
                                                accountValue(account(PelkQobuzAccountOperation::Remove))));
        QVERIFY(ModuleHost::wait(one.reply));
        m_host->settle();
        QVERIFY(!one.reply.error().isSet());
        QCOMPARE(sessionText(sessionIn(one.reply.d()->value().toList().value(0))), nobody);
    }
    Asked askRows()
    {
        const CMGetRowsRequest request(CMPath(QStringLiteral("qobuz:playlists")), 0, 0, {PelkRoles::Title()});
        m_asked << asked(request);
        m_host->root().getRowsRequest(request);
        return m_asked.last();
    }
    Asked askStream()
    {
        return send(CMSetDataRequest(CMPath(QStringLiteral("qobuz:preplay?id=5")), PelkRoles::PrePlay(),
                                     PelkRoles().variant()));
    }
    Asked changeState(int state)
    {
        PelkRoles row;
        row.setPath(CMPath(QStringLiteral("qobuz:track?id=5")));
        PelkPlayLogicData data;
        data.setTrackRoles(row);
        data.setState(static_cast<PelkPlayLogicState::Enum>(state));
        return send(CMSetDataRequest(CMPath(QStringLiteral("qobuz:stateChange?id=5&format=6")),
                                     PelkRoles::Value(), data.variant()));
    }

    /// Whose token and ids a report carries.
    QByteArray reporter(const char* call, int n) const
    {
        const TestHttpServer::Request request = m_service->calls(call).at(n - 1);
        return request.header("X-User-Auth-Token") + ' ' + request.queryValue("user_id") + ' ' +
               request.queryValue("credential_id") + ' ' + request.queryValue("device_id");
    }
    static void checkRefused(const Asked& one, const char* context)
    {
        QVERIFY(ModuleHost::wait(one.reply));
        QCOMPARE(one.reply.error().message().source(), QByteArray("User is not logged in"));
        QCOMPARE(one.reply.error().message().context(), QByteArray(context));
    }
    /// Rows are requested with the token of the user session, or not at all.
    void checkWhoBrowses(const QString& sessionNow)
    {
        const Asked rows = askRows();
        QVERIFY(ModuleHost::wait(rows.reply));
        const QList<TestHttpServer::Request> calls = m_service->calls("playlist/getUserPlaylists");
        if (sessionNow == nobody) {
            checkRefused(rows, "void QobuzWorker::on_getRows_invoke(const CMGetRowsRequest&)");
            QVERIFY(calls.isEmpty());
            return;
        }
        QVERIFY(!rows.reply.error().isSet());
        QCOMPARE(calls.size(), 1);
        QCOMPARE(QString::fromLatin1(calls.at(0).header("X-User-Auth-Token")),
                 sessionNow.section(QLatin1Char('|'), 1, 1));
    }

    std::unique_ptr<Service> m_service;
    std::unique_ptr<ModuleHost> m_host;
    std::unique_ptr<LogCapture> m_log;
    std::unique_ptr<CMValueItem> m_stateItem;
    QList<int> m_published;
    QList<Asked> m_asked;
};

QTEST_GUILESS_MAIN(LoginRacesTest)
#include "login_races_test.moc"

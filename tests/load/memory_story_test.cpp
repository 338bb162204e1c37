// One run through all that the module does, for tools that watch memory: a user logs in, the service moves to
// another host, lists are browsed from several threads, tracks are resolved and played, the user logs out.

#include "api/http/httpclient.h"
#include "api/play/playlogicinterface.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkqobuzloginstate.h"
#include "api/types/qobuzpaths.h"
#include "modules/qobuz/QobuzApi.h"
#include "modules/qobuz/QobuzHttpInterface.h"
#include "modules/qobuz/QobuzWorker.h"
#include "tests/load/hostthread.h"
#include "tests/load/loadserver.h"
#include "tests/module/samples.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/ownprocess.h"

#include <atomic>
#include <memory>

namespace {

constexpr int rowRequests = 2000;
constexpr int threadCount = 2;
constexpr int waitMs = 60000; // under such a tool everything takes long

enum LoginState
{
    LoggedIn = 0,
    LoggedOut = 2,
    Failed = 3
};

/// The objects that a deleted worker leaves behind on purpose. Referenced here, their memory is still
/// reachable when the program ends, so leak checkers report only real leaks.
void holdWhatStays(const CMWorker* worker)
{
    static const QObject* volatile kept[2]; // or the compiler would see that nobody reads them
    const auto* qobuzWorker = static_cast<const QobuzWorker*>(worker);
    kept[0] = qobuzWorker->httpInterface();
    kept[1] = qobuzWorker->qobuzApi();
    QVERIFY(kept[0] && kept[1]);
}

/// A player that plays a track of the service.
class Player : public PlayLogicInterface
{
public:
    PelkPlayLogicData data() const override
    {
        PelkMetaData metaData;
        metaData.setServiceID(PelkService_Qobuz_Id());
        PelkMediaData mediaData;
        mediaData.setMetaData(metaData);
        PelkRoles row;
        row.setPath(CMPath(QStringLiteral("qobuz:track?id=5")));
        row.setMediaData(mediaData);
        PelkPlayLogicData data;
        data.setTrackRoles(row);
        return data;
    }
    CMVoidReply stop(PelkPlayLogicStopReason::Enum /*reason*/) override
    {
        ++stops;
        return CMReply<QVariant>::create();
    }

    std::atomic<int> stops{0};
};

} // namespace

class MemoryStoryTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<LoadServer> m_server;
    std::unique_ptr<ModuleHost> m_host;

    ModuleHost::Data setAccount(const PelkQobuzAccount& account)
    {
        const ModuleHost::Data done =
            m_host->setData(accountPath(), PelkRoles::Value(), accountValue(account), waitMs);
        m_host->settle(); // the login state is published after the answer
        return done;
    }
    int loginState()
    {
        return int(m_host->root().getValue(PelkQobuzLoginStatePath()).qobuzLoginState().state());
    }
    ModuleHost::Rows favourites()
    {
        return m_host->rows(QStringLiteral("qobuz:favourites/tracks"), 0, 9, {PelkRoles::Title()}, 0, waitMs);
    }

    void play(int state)
    {
        PelkPlayLogicData data = PlayLogicInterface::playerInstance()->data();
        data.setState(static_cast<PelkPlayLogicState::Enum>(state));
        const ModuleHost::Data done =
            m_host->setData(QStringLiteral("qobuz:stateChange?id=5&format=6&TrackRestrictedByRightHolders=1"),
                            PelkRoles::Value(), data.variant(), waitMs);
        QVERIFY(done.finished && !done.error.isSet());
    }

    /// Requests of all kinds from two threads, one with its own event loop.
    void browse()
    {
        HostThread direct(m_host->root(), HostThread::Directly, 0, threadCount, rowRequests);
        HostThread looping(m_host->root(), HostThread::ByItsOwnLoop, 1, threadCount, rowRequests);
        direct.sendUpTo(rowRequests);
        looping.sendUpTo(rowRequests);
        QTRY_VERIFY_WITH_TIMEOUT(direct.isIdle() && looping.isIdle(), 20 * waitMs);
        m_host->settle();
        QCOMPARE((direct.faults() + looping.faults()).join(QLatin1Char('\n')), QString());
        QCOMPARE(direct.rowsSent() + looping.rowsSent(), rowRequests);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // The server is the proxy that all requests go through, so any name of a host leads to it.
        m_server = std::make_unique<LoadServer>();
        qputenv("http_proxy", m_server->url().toLatin1());
        qunsetenv("no_proxy");
        m_host = std::make_unique<ModuleHost>(QStringLiteral("http://api.qobuz.com/api/"));
        m_host->start();
        holdWhatStays(m_host->worker());
    }
    void cleanupTestCase()
    {
        m_host.reset();
        m_server.reset();
    }

    void aUserLogsInBrowsesPlaysAndLogsOut()
    {
        const Player player;
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::INFO_LOG_LEVEL);
        QVERIFY(favourites().error.isSet());
        QVERIFY(setAccount(login(QStringLiteral("nobody"))).error.isSet());
        QCOMPARE(loginState(), int(Failed));
        QVERIFY(!setAccount(login()).error.isSet());
        QCOMPARE(loginState(), int(LoggedIn));
        QCOMPARE(m_host->session().userAuthToken(), QStringLiteral("token-2"));

        browse();
        QVERIFY(log.contains(log4cplus::INFO_LOG_LEVEL,
                             QStringLiteral("Connect url changed to: http://www2.qobuz.com/")));
        for (const int state : {1, 2, 3, 2, 0})
            play(state);

        QVERIFY(!setAccount(account(PelkQobuzAccountOperation::Remove)).error.isSet());
        QCOMPARE(int(player.stops), 1);
        QCOMPARE(loginState(), int(LoggedOut));
        QVERIFY(favourites().error.isSet());
        QVERIFY(HttpClient::waitForIdle(waitMs));
    }
};

int main(int argc, char** argv)
{
    qputenv("QTEST_FUNCTION_TIMEOUT", "3600000"); // Qt's own watchdog knows nothing of such tools
    return OwnProcess::main<MemoryStoryTest>(argc, argv,
                                             [](const QString& /*serve*/) { return LoadServer::serve(); });
}

#include "memory_story_test.moc"

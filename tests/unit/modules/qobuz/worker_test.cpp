// What of the worker does not show from outside the module: its members' start values, and what outlives it.

#include "api/core/model/cmrootworker.h"
#include "api/core/model/cmvalueitem.h"
#include "api/core/model/cmvaluenode.h"
#include "api/play/pelkplaylogicdata.h"
#include "api/types/pelkqobuzsettings.h"
#include "api/types/pelkroles.h"
#include "api/types/qobuzpaths.h"
#include "modules/qobuz/QobuzApi.h"
#include "modules/qobuz/QobuzHttpInterface.h"
#include "modules/qobuz/QobuzWorker.h"
#include "tests/support/testhttpserver.h"

#include <QPointer>
#include <QtTest>

#include <memory>

class WorkerTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<QobuzWorker> m_worker;

    void put(const CMPath& path, const PelkValue& value)
    {
        m_root->setValue(path, value, CMReply<QVariant>::create());
    }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        m_server->setHandler([](const TestHttpServer::Request&) { return TestHttpServer::json("{}"); });
        m_root = std::make_unique<CMRootWorker>();
        PelkQobuzSettings settings;
        settings.setApiUrl(m_server->url());
        PelkValue value;
        value.setQobuzSettings(settings);
        put(PelkQobuzSettingsPath(), value);
        PelkQobuzUserSession session;
        session.setUserAuthToken(QStringLiteral("token"));
        session.setUserId(1);
        value = PelkValue();
        value.setQobuzUserSession(session);
        put(PelkQobuzUserSessionPath(), value);
        m_worker = std::make_unique<QobuzWorker>(QHash<QString, QVariant>());
    }
    void cleanup()
    {
        m_worker.reset();
        m_root.reset();
        m_server.reset();
    }

    void itHandsOutWhatItMade()
    {
        QVERIFY(m_worker->httpInterface());
        QVERIFY(m_worker->qobuzApi());
        QVERIFY(m_worker->loginStateNode());
        QCOMPARE(m_worker->loginStateNode()->path().toString(), PelkQobuzLoginStatePath().toString());
        QCOMPARE(m_worker->loginStateNode()->nodes(), m_worker->nodes());
        QVERIFY(!m_worker->httpInterface()->parent());
        QVERIFY(!m_worker->qobuzApi()->parent());
        QCOMPARE(m_worker->httpInterface()->getBaseUrl().toString(), m_server->url());
    }

    void transportAndApiClientOutliveItAndTheQualityItemDoesNot()
    {
        const QPointer<QObject> http(m_worker->httpInterface());
        const QPointer<QObject> api(m_worker->qobuzApi());
        const auto items = m_worker->findChildren<CMValueItem*>(QString(), Qt::FindDirectChildrenOnly);
        QCOMPARE(items.size(), 1);
        QCOMPARE(items.at(0)->path().toString(), PelkQobuzSoundQualityPath().toString());
        const QPointer<QObject> item(items.at(0));
        const QPointer<QObject> node(m_worker->loginStateNode());
        m_worker.reset();
        QVERIFY(http);
        QVERIFY(api);
        QVERIFY(!item);
        QVERIFY(!node); // the registry's own
    }

    void anEndBeforeAnyTrackIsReportedFromTheStartValues()
    {
        m_worker->reportEndOfTrack();
        QVERIFY(m_server->waitForRequests(1));
        const TestHttpServer::Request request = m_server->requests().at(0);
        QCOMPARE(request.path, QByteArray("/track/reportStreamingEnd"));
        QCOMPARE(request.queryValue("track_id"), QByteArray("0"));
        QCOMPARE(request.queryValue("duration"), QByteArray("0"));
        QCOMPARE(request.queryValue("format_id"), QByteArray("0"));
    }

    void anEndThatIsReportedKeepsTheTrack()
    {
        PelkRoles row;
        row.setPath(CMPath(QStringLiteral("qobuz:track?id=5")));
        PelkPlayLogicData data;
        data.setTrackRoles(row);
        data.setState(PelkPlayLogicState::Opening);
        m_worker->on_setData_invoke(CMSetDataRequest(
            CMPath(QStringLiteral("qobuz:stateChange?id=5&format=6")), PelkRoles::Value(), data.variant()));
        for (int ends = 1; ends <= 2; ++ends) {
            m_worker->reportEndOfTrack();
            QVERIFY(m_server->waitForRequests(ends));
            QCOMPARE(m_server->requests().last().queryValue("track_id"), QByteArray("5"));
            QCOMPARE(m_server->requests().last().queryValue("format_id"), QByteArray("6"));
        }
    }
};

QTEST_GUILESS_MAIN(WorkerTest)
#include "worker_test.moc"

// How the module deals with row and set-data requests: which it refuses and which it leaves to its nodes.

#include "api/types/qobuzpaths.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/ownprocess.h"
#include "tests/support/testhttpserver.h"

#include <QtTest>

#include <memory>

namespace {

const char* const getRowsContext = "void QobuzWorker::on_getRows_invoke(const CMGetRowsRequest&)";

} // namespace

class DispatchTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<ModuleHost> m_host;
    ModuleHost& host() { return *m_host; }

    void start(bool loggedIn)
    {
        if (loggedIn)
            host().setSession();
        host().start();
    }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        m_host = std::make_unique<ModuleHost>(m_server->url(QStringLiteral("/api/")));
    }
    void cleanup()
    {
        m_host.reset();
        m_server.reset();
    }

    void aRowRequestIsLoggedWhereItComesInAndWhereItIsDealtWith()
    {
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        QVERIFY(
            host()
                .rows(QStringLiteral("qobuz:favourites/?a=b"), 2, 5, {PelkRoles::Title(), PelkRoles::Path()})
                .finished);
        const QStringList traces = log.texts(log4cplus::TRACE_LOG_LEVEL);
        QCOMPARE(traces.at(0),
                 QStringLiteral("Enter virtual void QobuzWorker::getRowsRequest(const CMGetRowsRequest&): "
                                "path: qobuz:favourites/?a=b, from: 2, to: 5, roles: title, path"));
        QCOMPARE(traces.at(1),
                 QStringLiteral("Enter void QobuzWorker::on_getRows_invoke(const CMGetRowsRequest&): "
                                "path: qobuz:favourites/?a=b, from: 2, to: 5, roles: title, path"));
        QCOMPARE(log.records().at(0).file, QStringLiteral("QobuzWorker.cpp"));
    }

    void aSetDataRequestIsLoggedWhereItComesInAndWhereItIsDealtWith()
    {
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        QVERIFY(host()
                    .setData(QStringLiteral("qobuz:featured/"), PelkRoles::Title(), QStringLiteral("x"))
                    .finished);
        QCOMPARE(log.texts(log4cplus::TRACE_LOG_LEVEL),
                 (QStringList{QStringLiteral("Enter virtual void QobuzWorker::setDataRequest(const "
                                             "CMSetDataRequest&): \"x\""),
                              QStringLiteral("Enter void QobuzWorker::on_setData_invoke(const "
                                             "CMSetDataRequest&): \"x\"")}));
    }

    void entryLinesAreAtTraceLevelOnly()
    {
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::DEBUG_LOG_LEVEL);
        QVERIFY(host().rows(QStringLiteral("qobuz:"), 0, 5).finished);
        QVERIFY(host().setData(QStringLiteral("qobuz:"), PelkRoles::Title(), 1).finished);
        QVERIFY(log.records().isEmpty());
    }

    void anEntryPointReturnsBeforeTheRequestIsDealtWith()
    {
        start(true);
        const CMGetRowsRequest rows(CMPath(QStringLiteral("qobuz:")), 0, 9, {PelkRoles::Title()});
        const CMSetDataRequest data(CMPath(QStringLiteral("qobuz:stateChange")), PelkRoles::Value(), 1);
        bool before = true;
        // Called on the worker's own thread, it still has to queue.
        QMetaObject::invokeMethod(
            host().worker(),
            [&] {
                host().worker()->getRowsRequest(rows);
                host().worker()->setDataRequest(data);
                before = rows.reply().isFinished() || data.reply().isFinished();
            },
            Qt::BlockingQueuedConnection);
        QVERIFY(!before);
        QVERIFY(ModuleHost::wait(rows.reply()));
        QVERIFY(ModuleHost::wait(data.reply()));
    }

    void withoutAUserEveryRowRequestIsRefused_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* path : {"qobuz:",
                                 "qobuz:featured/",
                                 "qobuz:featured/albums",
                                 "qobuz:playlists",
                                 "qobuz:favourites/",
                                 "qobuz:favourites/tracks",
                                 "qobuz:purchases/",
                                 "qobuz:purchases/albums",
                                 "qobuz:search/",
                                 "qobuz:search/artists?query=x",
                                 "qobuz:searchNode",
                                 "qobuz:searchContainer",
                                 "qobuz:album?id=1",
                                 "qobuz:artist?id=1",
                                 "qobuz:playlist?id=1",
                                 "qobuz:article?id=1",
                                 "qobuz:track?id=1",
                                 "qobuz:nothing",
                                 "account:qobuz",
                                 "account:qobuz/loginState"})
            QTest::newRow(path) << QString::fromLatin1(path);
    }
    void withoutAUserEveryRowRequestIsRefused()
    {
        QFETCH(QString, path);
        start(false);
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Rows rows = host().rows(path, 0, 9);
        QVERIFY(rows.finished);
        QCOMPARE(rows.error.message().source(), QByteArray("User is not logged in"));
        QCOMPARE(rows.error.message().context(), QByteArray(getRowsContext));
        QCOMPARE(rows.error.name(), CMError::DefaultName());
        QVERIFY(rows.error.title() == CMError::DefaultTitle());
        QVERIFY(rows.error.data().isEmpty());
        QVERIFY(rows.rows.isEmpty());
        host().settle(); // the record is written after the reply is finished
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL), QStringList{QStringLiteral("User is not logged in")});
        QCOMPARE(m_server->requestCount(), 0);
    }

    void aTokenWithoutAUserIsNobody()
    {
        host().setSession(QStringLiteral("token"), 0);
        host().start();
        QCOMPARE(host().rows(QStringLiteral("qobuz:"), 0, 9).error.message().source(),
                 QByteArray("User is not logged in"));
    }

    void withoutAUserABadRangeIsNotLookedAt()
    {
        start(false);
        QCOMPARE(host().rows(QStringLiteral("qobuz:"), -1, -1).error.message().source(),
                 QByteArray("User is not logged in"));
    }

    void withAUserTheFixedNodesAnswer()
    {
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Rows rows = host().rows(QStringLiteral("qobuz:"), 1, 2);
        QVERIFY(rows.finished);
        QVERIFY(!rows.error.isSet());
        QCOMPARE(rows.count, 5);
        QCOMPARE(rows.rows.size(), 2);
        QCOMPARE(rows.rows.at(0).toList().at(0).toString(), QStringLiteral("My Playlists"));
        QVERIFY(log.texts(log4cplus::ERROR_LOG_LEVEL).isEmpty());
        QCOMPARE(m_server->requestCount(), 0);
    }

    void withAUserTheBrowserComesBeforeTheNodes()
    {
        m_server->answer("/api/catalog/getFeatured",
                         TestHttpServer::json(R"({"albums":{"total":0,"items":[]}})"));
        start(true);
        QVERIFY(host().rows(QStringLiteral("qobuz:featured/albums"), 0, 9).finished);
        QCOMPARE(m_server->requestCount(), 1);
    }

    void whatIsNoPrePlayIsLeftToTheNodes_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("role");
        QTest::newRow("the value role on the pre-play path")
            << "qobuz:preplay?id=1" << QString(PelkRoles::Value());
        QTest::newRow("another letter case of the role") << "qobuz:preplay?id=1"
                                                         << "PREPLAY";
        QTest::newRow("no role") << "qobuz:preplay?id=1" << QString();
        QTest::newRow("the pre-play role on a track") << "qobuz:track?id=1" << QString(PelkRoles::PrePlay());
        QTest::newRow("the pre-play role on the root") << "qobuz:" << QString(PelkRoles::PrePlay());
    }
    void whatIsNoPrePlayIsLeftToTheNodes()
    {
        QFETCH(QString, path);
        QFETCH(QString, role);
        start(true);
        const ModuleHost::Data data = host().setData(path, role, QVariantHash());
        QVERIFY(data.finished);
        QVERIFY(data.error.isSet());
        QVERIFY(data.error.message().context().startsWith("CMNode"));
        QCOMPARE(m_server->requestCount(), 0);
    }

    void aRequestWithoutDataIsAnAssertion_data()
    {
        QTest::addColumn<QString>("name");
        for (const char* name :
             {"rows while nobody is logged in", "rows while a user is logged in", "set-data"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }
    void aRequestWithoutDataIsAnAssertion()
    {
        QFETCH(QString, name);
        const OwnProcess process = OwnProcess::play(name);
        QVERIFY2(process.errors.contains("ASSERT: \"d()\""), process.errors.constData());
        QVERIFY(process.crashed);
    }
};

namespace {

int play(const QString& name)
{
    ModuleHost host(QStringLiteral("http://127.0.0.1:9/"));
    if (name != QLatin1String("rows while nobody is logged in"))
        host.setSession();
    host.start();
    if (name.startsWith(QLatin1String("rows")))
        host.worker()->getRowsRequest(CMGetRowsRequest());
    else
        host.worker()->setDataRequest(CMSetDataRequest());
    host.settle();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    return OwnProcess::main<DispatchTest>(argc, argv, play);
}

#include "dispatch_test.moc"

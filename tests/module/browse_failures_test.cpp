#include "browsefixture.h"
#include "tests/support/logcapture.h"
#include "tests/support/variantlines.h"

#include <QSemaphore>
#include <QSet>
#include <QtTest>

#include <map>
#include <memory>

/// What a row request gets when the service fails, or answers late and in another order.
class BrowseFailuresTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_fixture = std::make_unique<BrowseFixture>(); }
    void cleanupTestCase() { m_fixture.reset(); }

    void anErrorOfTheServicePassesThroughUnchanged_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* path : {"qobuz:featured/albums",         "qobuz:featured/artists",
                                 "qobuz:featured/playlists",      "qobuz:featured/articles",
                                 "qobuz:featured/nonsense",       "qobuz:playlists",
                                 "qobuz:favourites/tracks",       "qobuz:favourites/albums",
                                 "qobuz:favourites/artists",      "qobuz:favourites/nonsense",
                                 "qobuz:purchases/tracks",        "qobuz:purchases/albums",
                                 "qobuz:search/artists?query=x",  "qobuz:search/albums?query=x",
                                 "qobuz:search/tracks?query=x",   "qobuz:search/playlists?query=x",
                                 "qobuz:search/nonsense?query=x", "qobuz:album?id=1",
                                 "qobuz:playlist?id=1",           "qobuz:artist?id=1"})
            QTest::newRow(path) << QString::fromUtf8(path);
    }

    void anErrorOfTheServicePassesThroughUnchanged()
    {
        QFETCH(QString, path);
        const QString message = QStringLiteral("No such thing: 50% of \u97f3");
        m_fixture->serve("{\"status\":\"error\",\"code\":404,\"message\":\"" + message.toUtf8() + "\"}", 404);
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Rows answer = m_fixture->host.rows(path, 0, 49);
        QVERIFY(answer.finished);
        const QVariantHash expected{
            {QStringLiteral("name"), QStringLiteral("error")},
            {QStringLiteral("title"), CMError::DefaultTitle()},
            {QStringLiteral("message"), message},
            {QStringLiteral("data"),
             QVariantHash{{QStringLiteral("ErrorCode"), 404}, {QStringLiteral("ServerReply"), message}}}};
        QCOMPARE(variantLines(answer.error.variant()), variantLines(expected));
        QCOMPARE(answer.rows, QVariantList());
        QCOMPARE(answer.count, 0);
        QCOMPARE(m_fixture->server.requestCount(), 1);
        m_fixture->host.settle();
        QVERIFY(log.texts(log4cplus::TRACE_LOG_LEVEL).filter(QStringLiteral("sendBrowseReply")).isEmpty());
    }

    void anErrorThatTheModuleMadeItselfPassesThroughUnchanged_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QVariantHash>("data");
        QTest::newRow("an answer that is no JSON")
            << QByteArray("<html>") << 200 << QStringLiteral("Invalid data returned.") << QVariantHash();
        QTest::newRow("a failure without a word")
            << QByteArray("<html>") << 502 << QStringLiteral("Unknown error")
            << QVariantHash{{QStringLiteral("ErrorCode"), 502}};
    }

    void anErrorThatTheModuleMadeItselfPassesThroughUnchanged()
    {
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        QFETCH(QString, message);
        QFETCH(QVariantHash, data);
        m_fixture->serve(body, status);
        const ModuleHost::Rows answer = m_fixture->host.rows(QStringLiteral("qobuz:artist?id=1"), 0, 49);
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.name(), CMError::DefaultName());
        QVERIFY(answer.error.title() == CMError::DefaultTitle());
        QCOMPARE(answer.error.message().toString(), message);
        QVERIFY(answer.error.message().isTranslatable());
        QCOMPARE(variantLines(answer.error.data()), variantLines(data));
        QCOMPARE(answer.rows, QVariantList());
    }

    void aLostConnectionIsAnErrorAndTheNextRequestWorks()
    {
        m_fixture->server.setHandler([](const TestHttpServer::Request&) {
            TestHttpServer::Response response = TestHttpServer::json(BrowseFixture::everyList());
            response.truncateAfter = 10;
            return response;
        });
        const ModuleHost::Rows lost = m_fixture->host.rows(QStringLiteral("qobuz:playlists"), 0, 49);
        QVERIFY(lost.finished);
        QVERIFY(lost.error.isSet());
        QCOMPARE(lost.error.data().value(QStringLiteral("ErrorCode")).toInt(), 0);
        QCOMPARE(lost.rows, QVariantList());

        m_fixture->serve(BrowseFixture::everyList());
        const ModuleHost::Rows next = m_fixture->host.rows(QStringLiteral("qobuz:playlists"), 0, 49);
        QVERIFY(next.finished);
        QVERIFY(!next.error.isSet());
        QCOMPARE(next.count, 42);
    }

    void requestsThatAreOpenTogetherAreEachAnsweredWhenTheirAnswerComes()
    {
        struct Open
        {
            QString path;
            int first;
            QByteArray target;
            QStringList titles;
            int total;
        };
        const auto both = [](const char* kind) {
            const QString name = QString::fromLatin1(kind);
            return QStringList({QStringLiteral("First ") + name, QStringLiteral("Second ") + name});
        };
        const QList<Open> all{
            {QStringLiteral("qobuz:featured/albums"), 0,
             "/api/catalog/getFeatured?offset=0&limit=10&type=albums", both("album"), 1200},
            {QStringLiteral("qobuz:featured/albums"), 10,
             "/api/catalog/getFeatured?offset=10&limit=10&type=albums", both("album"), 1200},
            {QStringLiteral("qobuz:purchases/tracks"), 0,
             "/api/purchase/getUserPurchases?offset=0&limit=10&flat=1", both("track"), 70},
            {QStringLiteral("qobuz:purchases/albums"), 10,
             "/api/purchase/getUserPurchases?offset=10&limit=10&flat=1", both("album"), 1200},
            {QStringLiteral("qobuz:favourites/artists"), 0,
             "/api/favorite/getUserFavorites?offset=0&limit=10&type=artists", both("artist"), 310},
            {QStringLiteral("qobuz:search/playlists?query=x"), 20, "/api/playlist/search?offset=20&query=x",
             both("playlist"), 42}};

        // Each answer waits for its own gate; bounded, so that a failing test ends.
        const auto gates = std::make_shared<std::map<QByteArray, QSemaphore>>();
        for (const Open& one : all)
            (*gates)[one.target];
        m_fixture->server.clearRequests();
        m_fixture->server.setHandler([gates](const TestHttpServer::Request& request) {
            const auto gate = gates->find(request.target);
            if (gate == gates->end() || !gate->second.tryAcquire(1, 20000))
                return TestHttpServer::json("{}", 500);
            return TestHttpServer::json(BrowseFixture::everyList());
        });

        QList<CMGetRowsRequest> requests;
        for (const Open& one : all) {
            requests << CMGetRowsRequest(CMPath(one.path), one.first, one.first + 9, {PelkRoles::Title()},
                                         one.first);
            m_fixture->host.root().getRowsRequest(requests.last());
        }
        QVERIFY(m_fixture->server.waitForRequests(all.size()));
        const QList<QByteArray> targets = m_fixture->targets();
        QCOMPARE(QSet<QByteArray>(targets.begin(), targets.end()).size(), all.size());

        for (int i = all.size() - 1; i >= 0; --i) {
            QVERIFY(!requests.at(i).reply().isFinished());
            gates->at(all.at(i).target).release();
            QVERIFY(ModuleHost::wait(requests.at(i).reply()));
            QVERIFY(!requests.at(i).reply().error().isSet());
            const PelkRowsRoles answer = requests.at(i).reply().value();
            QCOMPARE(BrowseFixture::texts(answer.rows().toList()), all.at(i).titles);
            QCOMPARE(answer.rowsCount(), all.at(i).total);
            QCOMPARE(answer.rowsVersion(), all.at(i).first);
            for (int earlier = 0; earlier < i; ++earlier)
                QVERIFY(!requests.at(earlier).reply().isFinished());
        }
    }

private:
    std::unique_ptr<BrowseFixture> m_fixture;
};

QTEST_GUILESS_MAIN(BrowseFailuresTest)
#include "browse_failures_test.moc"

#include "tests/module/browsefixture.h"
#include "tests/support/variantlines.h"

#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>

/// How a row request is answered as a whole: what the answer holds, where it is made, and that it needs
/// nobody who waits for it.
class BrowseConformanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_fixture = std::make_unique<BrowseFixture>(); }
    void cleanupTestCase() { m_fixture.reset(); }

    void anAnswerIsItsRowsTheirTotalAndTheVersion_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");
        QTest::addColumn<int>("served");
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("versionBack");
        QTest::newRow("a full page") << 0 << 49 << 50 << 7 << 50 << 7;
        QTest::newRow("the first row alone") << 0 << 0 << 1 << 0 << 1 << 0;
        QTest::newRow("a short page") << 10 << 19 << 4 << 0 << 4 << 0;
        QTest::newRow("a page that is longer than asked for") << 10 << 12 << 9 << 1 << 3 << 1;
        QTest::newRow("a range that ends before it begins") << 9 << 2 << 3 << 2 << 0 << 2;
        QTest::newRow("a negative version") << 0 << 9 << 1 << -3 << 1 << 0;
    }

    void anAnswerIsItsRowsTheirTotalAndTheVersion()
    {
        QFETCH(int, first);
        QFETCH(int, last);
        QFETCH(int, served);
        QFETCH(int, version);
        QFETCH(int, rows);
        QFETCH(int, versionBack);
        m_fixture->serve("{\"albums\":" + BrowseFixture::list(1200, BrowseFixture::albums(served)) + "}");
        const CMGetRowsRequest request(CMPath(QStringLiteral("qobuz:featured/albums")), first, last,
                                       {PelkRoles::Title(), PelkRoles::MediaData(), PelkRoles::Path()},
                                       version);
        m_fixture->host.root().getRowsRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        QVariantList expected;
        for (int i = 0; i < rows; ++i)
            expected << QVariant(QVariantList{QStringLiteral("Album %1").arg(i), QVariant(),
                                              QStringLiteral("qobuz:album?id=a%1").arg(i)});
        const QVariantHash answer{{QStringLiteral("rows"), expected},
                                  {QStringLiteral("rowsCount"), 1200},
                                  {QStringLiteral("rowsVersion"), versionBack}};
        QCOMPARE(variantLines(request.reply().value().variant()), variantLines(answer));
        QCOMPARE(m_fixture->server.requestCount(), 1);
    }

    void anAnswerIsMadeOnTheWorkersThread_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");
        for (const char* path :
             {"qobuz:featured/albums", "qobuz:playlists", "qobuz:favourites/tracks", "qobuz:purchases/albums",
              "qobuz:search/artists?query=x", "qobuz:album?id=1", "qobuz:playlist?id=1", "qobuz:artist?id=1"})
            for (const int status : {200, 404})
                QTest::addRow("%s, %d", path, status) << QString::fromUtf8(path) << status;
    }

    void anAnswerIsMadeOnTheWorkersThread()
    {
        QFETCH(QString, path);
        QFETCH(int, status);
        m_fixture->serve(BrowseFixture::everyList(), status);
        std::atomic<QThread*> made{nullptr};
        const CMGetRowsRequest request(CMPath(path), 0, 9, {PelkRoles::Title()});
        request.reply().addWatcher([&made](const CMVoidReply&) { made = QThread::currentThread(); },
                                   Qt::DirectConnection);
        m_fixture->host.root().getRowsRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        m_fixture->host.settle();
        QCOMPARE(request.reply().error().isSet(), status != 200);
        QCOMPARE(made.load(), m_fixture->host.workerThread());
    }

    void aRequestLivesUntilItsAnswerHasCome()
    {
        TestHttpServer::Response held = TestHttpServer::json(BrowseFixture::everyList());
        held.hold = true;
        m_fixture->server.clearRequests();
        m_fixture->server.setHandler([held](const TestHttpServer::Request&) { return held; });
        // Of the request nothing is kept here but its reply.
        const auto send = [this] {
            const CMGetRowsRequest request(CMPath(QStringLiteral("qobuz:playlist?id=7")), 3, 3,
                                           {PelkRoles::Title()}, 11);
            m_fixture->host.root().getRowsRequest(request);
            return request.reply();
        };
        const CMReply<PelkRowsRoles> reply = send();
        QVERIFY(m_fixture->server.waitForRequests(1));
        m_fixture->host.settle();
        QVERIFY(!reply.isFinished());
        m_fixture->server.release();
        QVERIFY(ModuleHost::wait(reply));
        const PelkRowsRoles answer = reply.value();
        QCOMPARE(BrowseFixture::texts(answer.rows().toList()), QStringList{QStringLiteral("First track")});
        QCOMPARE(answer.rowsCount(), 70);
        QCOMPARE(answer.rowsVersion(), 11);
    }

    void theServiceIsAskedAgainForTheSamePage()
    {
        m_fixture->serve("{\"albums\":" + BrowseFixture::list(2, BrowseFixture::albums(2)) + "}");
        const QString path = QStringLiteral("qobuz:favourites/albums");
        QCOMPARE(m_fixture->host.rows(path, 0, 9).count, 2);
        const QByteArray target = "/api/favorite/getUserFavorites?offset=0&limit=10&type=albums";
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{target});
        m_fixture->serve("{\"albums\":" + BrowseFixture::list(1, BrowseFixture::albums(1)) + "}");
        const ModuleHost::Rows again = m_fixture->host.rows(path, 0, 9);
        QCOMPARE(again.count, 1);
        QCOMPARE(again.rows.size(), 1);
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{target});
    }

private:
    std::unique_ptr<BrowseFixture> m_fixture;
};

QTEST_GUILESS_MAIN(BrowseConformanceTest)
#include "browse_conformance_test.moc"

// What goes to the service as it is, and comes back as the service refuses it: no call looks at its
// arguments.

#include "tests/conformance/servicecalls.h"
#include "tests/module/browsefixture.h"

#include <QtTest>

#include <memory>

class CatalogueConformanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_fixture = std::make_unique<BrowseFixture>(); }
    void cleanupTestCase() { m_fixture.reset(); }

    void whatMakesNoSenseIsTheServicesToRefuse_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");
        QTest::addColumn<QByteArray>("url");
        const auto row = [](const char* name, const char* path, int first, int last, const char* url) {
            QTest::newRow(name) << QString::fromLatin1(path) << first << last << QByteArray(url);
        };
        row("a negative artist", "qobuz:artist?id=-1", 0, 9,
            "artist/get?artist_id=-1&offset=0&limit=10&extra=albums");
        row("a negative playlist", "qobuz:playlist?id=-2147483648", 0, 9,
            "playlist/get?playlist_id=-2147483648&offset=0&limit=10&extra=tracks");
        row("an album without an id", "qobuz:album", 0, 9, "album/get?album_id=&offset=0&limit=10");
        row("an unknown kind of the catalogue", "qobuz:featured/nonsense", 0, 9,
            "catalog/getFeatured?offset=0&limit=10&type=");
        row("an unknown kind of favourites", "qobuz:favourites/nonsense", 0, 9,
            "favorite/getUserFavorites?offset=0&limit=10&type=");
        row("an unknown kind of search", "qobuz:search/nonsense?query=x", 0, 9, "?offset=0&query=x");
        row("more rows than the service has on a page", "qobuz:purchases/tracks", 0, 99999,
            "purchase/getUserPurchases?offset=0&limit=100000&flat=1");
        row("rows far behind the end", "qobuz:playlists", 2147483646, 2147483647,
            "playlist/getUserPlaylists?offset=2147483646&limit=2");
    }
    void whatMakesNoSenseIsTheServicesToRefuse()
    {
        QFETCH(QString, path);
        QFETCH(int, first);
        QFETCH(int, last);
        QFETCH(QByteArray, url);
        m_fixture->serve("{\"message\":\"Bad argument\"}", 400);
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::DEBUG_LOG_LEVEL);
        const ModuleHost::Rows answer = m_fixture->host.rows(path, first, last);
        QVERIFY(answer.finished);
        QCOMPARE(requestsInAll(m_fixture->server), 1);
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{"/api/" + url});
        QCOMPARE(answer.error.message().toString(), QStringLiteral("Bad argument"));
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL),
                 QStringList{QStringLiteral("HTTP call to ") + QString::fromLatin1(url) +
                             QStringLiteral(" failed (400): Bad argument")});
    }

    void theSameRowsAgainAreAskedForAgain()
    {
        m_fixture->serve(BrowseFixture::everyList());
        const QString path = QStringLiteral("qobuz:album?id=1");
        QVERIFY(m_fixture->host.rows(path, 0, 9).finished);
        QVERIFY(m_fixture->host.rows(path, 0, 9).finished);
        QCOMPARE(m_fixture->targets(), (QList<QByteArray>{"/api/album/get?album_id=1&offset=0&limit=10",
                                                          "/api/album/get?album_id=1&offset=0&limit=10"}));
    }

private:
    std::unique_ptr<BrowseFixture> m_fixture;
};

QTEST_GUILESS_MAIN(CatalogueConformanceTest)
#include "catalogue_conformance_test.moc"

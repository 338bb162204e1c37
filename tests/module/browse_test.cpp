#include "browsefixture.h"
#include "tests/support/logcapture.h"
#include "tests/support/variantlines.h"

#include <QtTest>

#include <memory>

/// Which path leads to which request, and which list of the answer becomes rows.
class BrowseTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_fixture = std::make_unique<BrowseFixture>(); }
    void cleanupTestCase() { m_fixture.reset(); }
    void init() { m_fixture->serve(BrowseFixture::everyList()); }

    void aRouteAsksForExactlyOnePageAndAnswersWithItsList_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("withToken");

        const auto row = [](const char* path, const char* target, const char* kind, bool withToken = true) {
            QTest::newRow(path) << QString::fromUtf8(path) << QByteArray(target) << QString::fromUtf8(kind)
                                << withToken;
        };
        row("qobuz:featured/albums", "/api/catalog/getFeatured?offset=10&limit=20&type=albums", "album",
            false);
        row("qobuz:featured/artists", "/api/catalog/getFeatured?offset=10&limit=20&type=artists", "artist",
            false);
        row("qobuz:featured/playlists", "/api/catalog/getFeatured?offset=10&limit=20&type=playlists",
            "playlist", false);
        row("qobuz:playlists", "/api/playlist/getUserPlaylists?offset=10&limit=20", "playlist");
        row("qobuz:favourites/tracks", "/api/favorite/getUserFavorites?offset=10&limit=20&type=tracks",
            "track");
        row("qobuz:favourites/albums", "/api/favorite/getUserFavorites?offset=10&limit=20&type=albums",
            "album");
        row("qobuz:favourites/artists", "/api/favorite/getUserFavorites?offset=10&limit=20&type=artists",
            "artist");
        row("qobuz:purchases/tracks", "/api/purchase/getUserPurchases?offset=10&limit=20&flat=1", "track");
        row("qobuz:purchases/albums", "/api/purchase/getUserPurchases?offset=10&limit=20&flat=1", "album");
        row("qobuz:search/artists?query=moon", "/api/artist/search?limit=20&offset=10&query=moon", "artist");
        row("qobuz:search/albums?query=moon", "/api/album/search?offset=10&query=moon", "album");
        row("qobuz:search/tracks?query=moon", "/api/track/search?offset=10&query=moon", "track");
        row("qobuz:search/playlists?query=moon", "/api/playlist/search?offset=10&query=moon", "playlist");
        row("qobuz:album?id=0886443927087", "/api/album/get?album_id=0886443927087&offset=10&limit=20",
            "track");
        row("qobuz:playlist?id=7001", "/api/playlist/get?playlist_id=7001&offset=10&limit=20&extra=tracks",
            "track");
        row("qobuz:artist?id=8001", "/api/artist/get?artist_id=8001&offset=10&limit=20&extra=albums",
            "album");
        // A parameter that the route does not know changes nothing.
        row("qobuz:featured/albums?id=5&query=x", "/api/catalog/getFeatured?offset=10&limit=20&type=albums",
            "album", false);
        row("qobuz:playlist?query=x&id=7001&id=7002",
            "/api/playlist/get?playlist_id=7001&offset=10&limit=20&extra=tracks", "track");
    }

    void aRouteAsksForExactlyOnePageAndAnswersWithItsList()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, target);
        QFETCH(QString, kind);
        QFETCH(bool, withToken);
        const ModuleHost::Rows rows = m_fixture->host.rows(path, 10, 29);
        QVERIFY(rows.finished);
        QVERIFY(!rows.error.isSet());
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{target});
        const TestHttpServer::Request request = m_fixture->server.requests().at(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.header("X-App-Id"), QByteArray("app-id"));
        QCOMPARE(request.header("X-User-Auth-Token"), withToken ? QByteArray("token-1") : QByteArray());

        const QString first = QStringLiteral("First ") + kind;
        QCOMPARE(BrowseFixture::texts(rows.rows), QStringList({first, QStringLiteral("Second ") + kind}));
        const QHash<QString, int> totals{{QStringLiteral("artist"), 310},
                                         {QStringLiteral("album"), 1200},
                                         {QStringLiteral("track"), 70},
                                         {QStringLiteral("playlist"), 42}};
        QCOMPARE(rows.count, totals.value(kind));
    }

    void theRestOfAPathIsReadInLowerCaseAndWithoutItsRouteAnywhere_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("target");

        const auto row = [](const char* path, const char* target) {
            QTest::newRow(path) << QString::fromUtf8(path) << QByteArray(target);
        };
        row("qobuz:featured/ALBUMS", "/api/catalog/getFeatured?offset=0&limit=50&type=albums");
        row("qobuz:featured/Artists", "/api/catalog/getFeatured?offset=0&limit=50&type=artists");
        row("qobuz:favourites/Tracks", "/api/favorite/getUserFavorites?offset=0&limit=50&type=tracks");
        row("qobuz:search/PlayLists?query=x", "/api/playlist/search?offset=0&query=x");
        row("qobuz:featured/featured/albums", "/api/catalog/getFeatured?offset=0&limit=50&type=albums");
        row("qobuz:featured/albfeatured/ums", "/api/catalog/getFeatured?offset=0&limit=50&type=albums");
        row("qobuz:featured/playlistsfeatured/featured/",
            "/api/catalog/getFeatured?offset=0&limit=50&type=playlists");
        row("qobuz:favourites/favourites/albums",
            "/api/favorite/getUserFavorites?offset=0&limit=50&type=albums");
        row("qobuz:search/search/tracks?query=x", "/api/track/search?offset=0&query=x");
    }

    void theRestOfAPathIsReadInLowerCaseAndWithoutItsRouteAnywhere()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, target);
        const ModuleHost::Rows rows = m_fixture->host.rows(path, 0, 49);
        QVERIFY(rows.finished);
        QVERIFY(!rows.error.isSet());
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{target});
        QCOMPARE(rows.rows.size(), 2);
    }

    void aListWithNothingBehindItsRootIsTheHostsOwn_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QStringList>("paths");

        const auto row = [](const char* path, const QStringList& paths) {
            QTest::newRow(path) << QString::fromUtf8(path) << paths;
        };
        row("qobuz:featured/",
            {QStringLiteral("qobuz:featured/albums"), QStringLiteral("qobuz:featured/artists"),
             QStringLiteral("qobuz:featured/playlists")});
        row("qobuz:favourites/",
            {QStringLiteral("qobuz:favourites/tracks"), QStringLiteral("qobuz:favourites/albums"),
             QStringLiteral("qobuz:favourites/artists")});
        row("qobuz:search/",
            {QStringLiteral("qobuz:search/artists"), QStringLiteral("qobuz:search/albums"),
             QStringLiteral("qobuz:search/tracks"), QStringLiteral("qobuz:search/playlists")});
        row("qobuz:search/?query=moon", {QStringLiteral("qobuz:search/artists?query=moon"),
                                         QStringLiteral("qobuz:search/albums?query=moon"),
                                         QStringLiteral("qobuz:search/tracks?query=moon"),
                                         QStringLiteral("qobuz:search/playlists?query=moon")});
        row("qobuz:purchases/",
            {QStringLiteral("qobuz:purchases/tracks"), QStringLiteral("qobuz:purchases/albums")});
        row("qobuz:searchContainer", {QStringLiteral("qobuz:searchNode")});
    }

    void aListWithNothingBehindItsRootIsTheHostsOwn()
    {
        QFETCH(QString, path);
        QFETCH(QStringList, paths);
        const ModuleHost::Rows rows = m_fixture->host.rows(path, 0, 49, {PelkRoles::Path()});
        QVERIFY(rows.finished);
        QVERIFY(!rows.error.isSet());
        QCOMPARE(BrowseFixture::texts(rows.rows), paths);
        QCOMPARE(rows.count, paths.size());
        QCOMPARE(m_fixture->server.requestCount(), 0);
    }

    void aPathWithoutARouteIsLeftToTheHost_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* path :
             {"qobuz:article?id=51", "qobuz:track?id=31", "qobuz:preplay?id=31",
              "qobuz:stateChange?id=31&format=5", "qobuz:nowhere", "qobuz:purchases/tracks/",
              "qobuz:purchases/playlists", "qobuz:Featured/albums", "qobuz:PLAYLISTS", "qobuz:featured",
              "qobuz:featured/featured/", "qobuz:favourites/favourites/", "qobuz:search/search/?query=x",
              "qobuz:/featured/albums", "qobuz:x/album?id=1", "qobuz:searchAlbums"})
            QTest::newRow(path) << QString::fromUtf8(path);
    }

    void aPathWithoutARouteIsLeftToTheHost()
    {
        QFETCH(QString, path);
        const ModuleHost::Rows rows = m_fixture->host.rows(path, 0, 49);
        QVERIFY(rows.finished);
        QCOMPARE(rows.error.message().toString(),
                 QStringLiteral("There is nothing at \"%1\".").replace(QLatin1String("%1"), path));
        QCOMPARE(m_fixture->server.requestCount(), 0);
    }

    void aRouteThatIsABeginningCatchesWhateverFollows_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("target");

        const auto row = [](const char* path, const char* target) {
            QTest::newRow(path) << QString::fromUtf8(path) << QByteArray(target);
        };
        row("qobuz:album/tracks?id=1", "/api/album/get?album_id=1&offset=0&limit=50");
        row("qobuz:albums", "/api/album/get?album_id=&offset=0&limit=50");
        row("qobuz:playlists/?id=3", "/api/playlist/get?playlist_id=3&offset=0&limit=50&extra=tracks");
        row("qobuz:artists?id=3", "/api/artist/get?artist_id=3&offset=0&limit=50&extra=albums");
    }

    void aRouteThatIsABeginningCatchesWhateverFollows()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, target);
        QVERIFY(m_fixture->host.rows(path, 0, 49).finished);
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{target});
    }

    void aKindThatNoListHasIsAskedForAndNeverAnswered_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("target");

        const auto row = [](const char* path, const char* target) {
            QTest::newRow(path) << QString::fromUtf8(path) << QByteArray(target);
        };
        row("qobuz:featured/articles", "/api/catalog/getFeatured?offset=0&limit=50&type=articles");
        row("qobuz:featured/tracks", "/api/catalog/getFeatured?offset=0&limit=50&type=");
        row("qobuz:featured/albums/", "/api/catalog/getFeatured?offset=0&limit=50&type=");
        row("qobuz:favourites/playlists", "/api/favorite/getUserFavorites?offset=0&limit=50&type=");
        row("qobuz:search/articles?query=moon", "/api/?offset=0&query=moon");
        // In another case a route's text is a text like any other, and stays.
        row("qobuz:featured/FEATURED/albums", "/api/catalog/getFeatured?offset=0&limit=50&type=");
        row("qobuz:favourites/Favourites/albums", "/api/favorite/getUserFavorites?offset=0&limit=50&type=");
        row("qobuz:search/Search/albums?query=moon", "/api/?offset=0&query=moon");
    }

    void aKindThatNoListHasIsAskedForAndNeverAnswered()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, target);
        const CMGetRowsRequest open(CMPath(path), 0, 49, {PelkRoles::Title()});
        {
            const LogCapture log(QStringLiteral("Qobuz"));
            m_fixture->host.root().getRowsRequest(open);
            const auto answerCame = [&log] {
                const QStringList lines = log.texts(log4cplus::TRACE_LOG_LEVEL);
                return !lines.filter(QStringLiteral("::httpCallback(")).isEmpty();
            };
            QTRY_VERIFY(answerCame());
            m_fixture->host.settle(); // what follows from the answer has happened
        }
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{target});
        QVERIFY(!open.reply().isFinished());

        // The module is as good as before.
        const ModuleHost::Rows rows = m_fixture->host.rows(QStringLiteral("qobuz:featured/albums"), 0, 49);
        QVERIFY(rows.finished);
        QCOMPARE(rows.count, 1200);
        QVERIFY(!open.reply().isFinished());
    }

    void anAlbumIdGoesOutAsTheTextThatItIs_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QByteArray>("encoded");

        const auto row = [](const char* name, const char* id, const char* encoded) {
            QTest::newRow(name) << QString::fromUtf8(id) << QByteArray(encoded);
        };
        row("digits with leading zeros", "0004012", "0004012");
        row("letters", "b3fogo6m771yc", "b3fogo6m771yc");
        row("not lower-cased", "B3Fogo", "B3Fogo");
        row("empty", "", "");
        row("spaces", " a b ", "%20a%20b%20");
        row("plus", "a+b", "a%2Bb");
        row("percent text", "50%25", "50%2525");
        row("marks", "a&b=c?d#e/f", "a%26b%3Dc%3Fd%23e%2Ff");
        row("non-Latin", "\xE9\x9F\xB3", "%E9%9F%B3");
    }

    void anAlbumIdGoesOutAsTheTextThatItIs()
    {
        QFETCH(QString, id);
        QFETCH(QByteArray, encoded);
        const QString path = BrowseFixture::pathWith(QStringLiteral("qobuz:album"), QStringLiteral("id"), id);
        QVERIFY(m_fixture->host.rows(path, 0, 49).finished);
        QCOMPARE(m_fixture->targets(),
                 QList<QByteArray>{"/api/album/get?album_id=" + encoded + "&offset=0&limit=50"});
        QCOMPARE(m_fixture->server.requests().at(0).queryValue("album_id"), id.toUtf8());
    }

    void anAlbumWithoutIdIsAskedForWithAnEmptyOne()
    {
        QVERIFY(m_fixture->host.rows(QStringLiteral("qobuz:album"), 0, 49).finished);
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{"/api/album/get?album_id=&offset=0&limit=50"});
    }

    void thePlaylistAndArtistIdsAreWholeNumbersOrZero_data()
    {
        QTest::addColumn<QString>("params");
        QTest::addColumn<QByteArray>("id");

        const auto row = [](const char* name, const char* params, const char* id) {
            QTest::newRow(name) << QString::fromUtf8(params) << QByteArray(id);
        };
        row("a number", "?id=134217729", "134217729");
        row("the largest", "?id=2147483647", "2147483647");
        row("negative", "?id=-7", "-7");
        row("leading zeros", "?id=0010", "10");
        row("none", "", "0");
        row("another parameter", "?query=5", "0");
        row("empty", "?id=", "0");
        row("text", "?id=abc", "0");
        row("a number with text behind", "?id=12x", "0");
        row("hexadecimal", "?id=0x10", "0");
        row("a fraction", "?id=1.5", "0");
        row("beyond 32 bits", "?id=2147483648", "0");
        row("full-width digits", "?id=%EF%BC%91", "0");
    }

    void thePlaylistAndArtistIdsAreWholeNumbersOrZero()
    {
        QFETCH(QString, params);
        QFETCH(QByteArray, id);
        QVERIFY(m_fixture->host.rows(QStringLiteral("qobuz:playlist") + params, 0, 49).finished);
        QVERIFY(m_fixture->host.rows(QStringLiteral("qobuz:artist") + params, 0, 49).finished);
        QCOMPARE(m_fixture->targets(),
                 QList<QByteArray>({"/api/playlist/get?playlist_id=" + id + "&offset=0&limit=50&extra=tracks",
                                    "/api/artist/get?artist_id=" + id + "&offset=0&limit=50&extra=albums"}));
    }

    void aSearchTextReachesTheServiceUnchanged_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("encoded");

        const auto row = [](const char* name, const char* text, const char* encoded) {
            QTest::newRow(name) << QString::fromUtf8(text) << QByteArray(encoded);
        };
        row("words", "blue moon", "blue%20moon");
        row("case kept", "Blue MOON", "Blue%20MOON");
        row("reserved marks", "+ % & = ? #", "%2B%20%25%20%26%20%3D%20%3F%20%23");
        row("percent text", "100%25", "100%2525");
        row("slashes and colons", "a/b:c", "a%2Fb%3Ac");
        row("Japanese", "\xE5\xA4\x9C\xE3\x81\xAE\xE9\x9F\xB3", "%E5%A4%9C%E3%81%AE%E9%9F%B3");
        row("a letter of two surrogates", "\xF0\x9F\x8E\xB5", "%F0%9F%8E%B5");
        row("empty", "", "");
    }

    void aSearchTextReachesTheServiceUnchanged()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, encoded);
        const QString path =
            BrowseFixture::pathWith(QStringLiteral("qobuz:search/tracks"), QStringLiteral("query"), text);
        const ModuleHost::Rows rows = m_fixture->host.rows(path, 0, 49);
        QVERIFY(rows.finished);
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{"/api/track/search?offset=0&query=" + encoded});
        QCOMPARE(m_fixture->server.requests().at(0).queryValue("query"), text.toUtf8());
        QCOMPARE(rows.count, 70);
    }

    void aSearchWithoutTextSendsAnEmptyOne()
    {
        const ModuleHost::Rows rows = m_fixture->host.rows(QStringLiteral("qobuz:search/albums"), 0, 49);
        QVERIFY(rows.finished);
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{"/api/album/search?offset=0&query="});
        QCOMPARE(rows.count, 1200);
    }

private:
    std::unique_ptr<BrowseFixture> m_fixture;
};

QTEST_GUILESS_MAIN(BrowseTest)
#include "browse_test.moc"

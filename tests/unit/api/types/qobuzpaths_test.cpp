#include "api/types/cmpath.h"
#include "api/types/pelkqobuzfavouritetypes.h"
#include "api/types/pelkqobuzquerytypes.h"
#include "api/types/pelkqobuzrecommendationtypes.h"
#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"

#include <QtTest>

namespace {

/// The routes that a base is tested against, in this order; the first that hits answers.
QString routeOf(const QString& base)
{
    struct Route
    {
        const char* name;
        QString path;
        bool whole;
    };
    const QList<Route> routes = {
        {"featured", PelkQobuzFeaturedPath(), false},
        {"user playlists", PelkQobuzUserPlaylistsPath(), true},
        {"favourites", PelkQobuzUserFavouritesPath(), false},
        {"purchases", PelkQobuzUserPurchasedTracksPath(), true},
        {"purchases", PelkQobuzUserPurchasedAlbumsPath(), true},
        {"search", PelkQobuzSearchRootPath(), false},
        {"album", PelkQobuzAlbumPath(), false},
        {"playlist", PelkQobuzPlaylistPath(), false},
        {"artist", PelkQobuzArtistPath(), false},
    };
    for (const Route& route : routes)
        if (route.whole ? base == route.path : base.startsWith(route.path))
            return QString::fromLatin1(route.name);
    return QString();
}

} // namespace

class QobuzPathsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachPathHasItsTextAndMatchesItsRoute_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("route");
        const auto row = [](const QString& path, const char* text, const char* route) {
            QTest::newRow(text) << path << QString::fromLatin1(text) << QString::fromLatin1(route);
        };
        row(PelkQobuzFeaturedPath(), "featured/", "featured");
        row(PelkQobuzFeaturedAlbumsPath(), "featured/albums", "featured");
        row(PelkQobuzFeaturedArtistsPath(), "featured/artists", "featured");
        row(PelkQobuzFeaturedPlaylistsPath(), "featured/playlists", "featured");
        row(PelkQobuzUserPlaylistsPath(), "playlists", "user playlists");
        row(PelkQobuzUserFavouritesPath(), "favourites/", "favourites");
        row(PelkQobuzUserFavouriteTracksPath(), "favourites/tracks", "favourites");
        row(PelkQobuzUserFavouriteAlbumsPath(), "favourites/albums", "favourites");
        row(PelkQobuzUserFavouriteArtistsPath(), "favourites/artists", "favourites");
        row(PelkQobuzUserPurchasesPath(), "purchases/", "");
        row(PelkQobuzUserPurchasedTracksPath(), "purchases/tracks", "purchases");
        row(PelkQobuzUserPurchasedAlbumsPath(), "purchases/albums", "purchases");
        row(PelkQobuzSearchRootPath(), "search/", "search");
        row(PelkQobuzSearchArtistsPath(), "search/artists", "search");
        row(PelkQobuzSearchAlbumsPath(), "search/albums", "search");
        row(PelkQobuzSearchTracksPath(), "search/tracks", "search");
        row(PelkQobuzSearchPlaylistsPath(), "search/playlists", "search");
        row(PelkQobuzSearchNodePath(), "searchNode", "");
        row(QStringLiteral("searchContainer"), "searchContainer", "");
        row(PelkQobuzAlbumPath(), "album", "album");
        row(PelkQobuzPlaylistPath(), "playlist", "playlist");
        row(PelkQobuzArtistPath(), "artist", "artist");
        row(PelkQobuzArticlePath(), "article", "");
        row(PelkQobuzTrackPath(), "track", "");
        row(PelkQobuzPreplayPath(), "preplay", "");
        row(PelkQobuzStateChange(), "stateChange", "");
    }

    void eachPathHasItsTextAndMatchesItsRoute()
    {
        QFETCH(QString, path);
        QTEST(path, "text");
        const CMPath whole = PelkQobuzBrowsePath() + path;
        QCOMPARE(whole.base(), path);
        QTEST(routeOf(whole.base()), "route");
        QCOMPARE(whole.contains(QStringLiteral("preplay")), path == PelkQobuzPreplayPath());
    }

    void theRootOfTheBranchHitsNoRoute()
    {
        QCOMPARE(PelkQobuzBrowsePath().toString(), QStringLiteral("qobuz:"));
        QCOMPARE(routeOf(PelkQobuzBrowsePath().base()), QString());
    }

    void anAbsolutePathMatchesNoRouteAndIsNotAPrePlayPath_data()
    {
        QTest::addColumn<CMPath>("path");
        QTest::newRow("quality") << PelkQobuzSoundQualityPath();
        QTest::newRow("settings") << PelkQobuzSettingsPath();
        QTest::newRow("session") << PelkQobuzUserSessionPath();
        QTest::newRow("account") << PelkQobuzConfigureAccountPath();
        QTest::newRow("login state") << PelkQobuzLoginStatePath();
        QTest::newRow("member id") << PelkSystemMemberIdPath();
        QTest::newRow("notifications") << PelkNotificationDisplayOpenPath();
    }

    void anAbsolutePathMatchesNoRouteAndIsNotAPrePlayPath()
    {
        QFETCH(CMPath, path);
        QVERIFY(!path.contains(QStringLiteral("preplay")));
        QVERIFY(!path.prefix().isEmpty());
        QVERIFY(path.prefix() != PelkQobuzBrowsePath().prefix());
        QCOMPARE(routeOf(path.base()), QString());
    }

    void aListIsItsRootAndAWordOfItsEnumeration()
    {
        using Featured = PelkQobuzRecommendationTypes;
        QCOMPARE(PelkQobuzFeaturedPath() + Featured::toString(Featured::Albums),
                 PelkQobuzFeaturedAlbumsPath());
        QCOMPARE(PelkQobuzFeaturedPath() + Featured::toString(Featured::Artists),
                 PelkQobuzFeaturedArtistsPath());
        QCOMPARE(PelkQobuzFeaturedPath() + Featured::toString(Featured::Playlists),
                 PelkQobuzFeaturedPlaylistsPath());
        using Favourite = PelkQobuzFavouriteTypes;
        QCOMPARE(PelkQobuzUserFavouritesPath() + Favourite::toString(Favourite::Tracks),
                 PelkQobuzUserFavouriteTracksPath());
        QCOMPARE(PelkQobuzUserFavouritesPath() + Favourite::toString(Favourite::Albums),
                 PelkQobuzUserFavouriteAlbumsPath());
        QCOMPARE(PelkQobuzUserFavouritesPath() + Favourite::toString(Favourite::Artists),
                 PelkQobuzUserFavouriteArtistsPath());
        using Query = PelkQobuzQueryTypes;
        QCOMPARE(PelkQobuzSearchRootPath() + Query::toString(Query::Artists), PelkQobuzSearchArtistsPath());
        QCOMPARE(PelkQobuzSearchRootPath() + Query::toString(Query::Albums), PelkQobuzSearchAlbumsPath());
        QCOMPARE(PelkQobuzSearchRootPath() + Query::toString(Query::Tracks), PelkQobuzSearchTracksPath());
        QCOMPARE(PelkQobuzSearchRootPath() + Query::toString(Query::Playlists),
                 PelkQobuzSearchPlaylistsPath());
    }
};

QTEST_GUILESS_MAIN(QobuzPathsTest)
#include "qobuzpaths_test.moc"

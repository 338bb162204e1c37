#include "apifixture.h"

#include <QtTest>

using Make = std::function<CMVoidReply(QobuzApi&)>;

Q_DECLARE_METATYPE(Make)

namespace {

using Favourites = QSet<PelkQobuzFavouriteTypes::Enum>;
using Featured = QSet<PelkQobuzRecommendationTypes::Enum>;

constexpr auto noType = static_cast<PelkQobuzRecommendations::Enum>(-1);

void row(const char* name, const QByteArray& target, bool withToken, const Make& make)
{
    QTest::newRow(name) << make << "/api/" + target << withToken;
}

/// What one method sends: for each row the call, the request's target byte for byte, and the token.
void addColumns()
{
    QTest::addColumn<Make>("make");
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<bool>("withToken");
}

void compareRequest()
{
    QFETCH(Make, make);
    QFETCH(QByteArray, target);
    QFETCH(bool, withToken);
    ApiFixture f;
    QVERIFY(ModuleHost::wait(make(f.api)));
    QCOMPARE(f.server.requestCount(), 1);
    const TestHttpServer::Request request = f.server.requests().at(0);
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(request.target, target);
    QCOMPARE(request.header("X-User-Auth-Token"), withToken ? QByteArray("token-1") : QByteArray());
    QCOMPARE(request.header("X-App-Id"), QByteArray("app-id"));
}

/// The texts of a set in the set's own order, joined as in a query.
template <typename Enum, typename ToString>
QByteArray inOrderOf(const QSet<Enum>& values, ToString toString)
{
    QByteArrayList texts;
    for (const Enum value : values)
        texts.append(toString(value).toLatin1());
    return texts.join("%2C");
}

} // namespace

class ApiEndpointsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aGenreIsAskedForByItsId_data()
    {
        addColumns();
        row("an id", "genre/get?genre_id=64", false, [](QobuzApi& a) { return a.genreGet(64); });
        row("zero", "genre/get?genre_id=0", false, [](QobuzApi& a) { return a.genreGet(0); });
        row("a negative id is sent", "genre/get?genre_id=-5", false,
            [](QobuzApi& a) { return a.genreGet(-5); });
    }
    void aGenreIsAskedForByItsId() { compareRequest(); }

    void genresAreListed_data()
    {
        addColumns();
        row("nothing given sends no query", "genre/list", false,
            [](QobuzApi& a) { return a.genreList(-1, -1, -1); });
        row("zeros are given", "genre/list?offset=0&limit=0&parent_id=0", false,
            [](QobuzApi& a) { return a.genreList(0, 0, 0); });
        row("only the offset", "genre/list?offset=3", false,
            [](QobuzApi& a) { return a.genreList(3, -1, -1); });
        row("only the limit", "genre/list?limit=4", false,
            [](QobuzApi& a) { return a.genreList(-1, 4, -1); });
        row("only the parent", "genre/list?parent_id=5", false,
            [](QobuzApi& a) { return a.genreList(-7, -8, 5); });
        row("the largest numbers", "genre/list?offset=2147483647&limit=2147483647&parent_id=2147483647",
            false, [](QobuzApi& a) { return a.genreList(INT_MAX, INT_MAX, INT_MAX); });
    }
    void genresAreListed() { compareRequest(); }

    void anAlbumIsAskedForByItsText_data()
    {
        addColumns();
        row("whole", "album/get?album_id=0060254788359", true,
            [](QobuzApi& a) { return a.albumGet(QStringLiteral("0060254788359"), -1, -1); });
        row("a page", "album/get?album_id=ab1&offset=50&limit=25", true,
            [](QobuzApi& a) { return a.albumGet(QStringLiteral("ab1"), 50, 25); });
        row("zeros", "album/get?album_id=x&offset=0&limit=0", true,
            [](QobuzApi& a) { return a.albumGet(QStringLiteral("x"), 0, 0); });
        row("the empty text", "album/get?album_id=", true,
            [](QobuzApi& a) { return a.albumGet(QString(), -1, -1); });
        row("characters that a query cannot have",
            "album/get?album_id=a%2Bb%26c%3Dd%3F%23%25%2F%20%C3%A9&limit=1", true,
            [](QobuzApi& a) { return a.albumGet(QStringLiteral("a+b&c=d?#%/ \u00e9"), -1, 1); });
    }
    void anAlbumIsAskedForByItsText() { compareRequest(); }

    void featuredAlbumsAreListed_data()
    {
        using Type = PelkQobuzRecommendations;
        addColumns();
        row("only a page", "album/getFeatured?offset=0&limit=20", false,
            [](QobuzApi& a) { return a.albumGetFeatured(0, 20, -1, {}, noType); });
        row("nothing", "album/getFeatured", false,
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, noType); });
        row("genres in the order of the list", "album/getFeatured?genre_ids=10%2C2%2C64", false,
            [](QobuzApi& a) {
                return a.albumGetFeatured(-1, -1, -1, {10, 2, 64}, noType);
            });
        row("genres given twice, and negative ones", "album/getFeatured?genre_ids=2%2C2%2C-1", false,
            [](QobuzApi& a) {
                return a.albumGetFeatured(-1, -1, -1, {2, 2, -1}, noType);
            });
        row("everything", "album/getFeatured?offset=1&limit=2&supplier_id=0&genre_ids=7&type=press-awards",
            false, [](QobuzApi& a) { return a.albumGetFeatured(1, 2, 0, {7}, Type::PressAwards); });
        row("the type 0", "album/getFeatured?type=new-releases", false,
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, Type::NewReleases); });
        row("the type 2", "album/getFeatured?type=editor-picks", false,
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, Type::EditorPicks); });
        row("the type 3", "album/getFeatured?type=most-streamed", false,
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, Type::MostStreamed); });
        row("the type 4", "album/getFeatured?type=best-sellers", false,
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, Type::BestSellers); });
        row("an unknown type goes to the service", "album/getFeatured?type=", false,
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, static_cast<Type::Enum>(-2)); });
    }
    void featuredAlbumsAreListed() { compareRequest(); }

    void anArtistIsAskedForByItsId_data()
    {
        addColumns();
        row("with albums", "artist/get?artist_id=9&offset=0&limit=10&extra=albums", true,
            [](QobuzApi& a) { return a.artistGet(9, 0, 10, true); });
        row("alone", "artist/get?artist_id=9", true,
            [](QobuzApi& a) { return a.artistGet(9, -1, -1, false); });
    }
    void anArtistIsAskedForByItsId() { compareRequest(); }

    void aPlaylistIsAskedForByItsId_data()
    {
        addColumns();
        row("with tracks", "playlist/get?playlist_id=9&offset=0&limit=10&extra=tracks", true,
            [](QobuzApi& a) { return a.playlistGet(9, 0, 10, true); });
        row("alone", "playlist/get?playlist_id=9", true,
            [](QobuzApi& a) { return a.playlistGet(9, -1, -1, false); });
    }
    void aPlaylistIsAskedForByItsId() { compareRequest(); }

    void theUsersPlaylistsAreListedWithAtMostOneFilter_data()
    {
        addColumns();
        row("the owner's", "playlist/getUserPlaylists?offset=0&limit=5&filter=owner", true,
            [](QobuzApi& a) { return a.userPlaylistsGet(0, 5, true, false); });
        row("those subscribed to", "playlist/getUserPlaylists?offset=0&limit=5&filter=subscriber", true,
            [](QobuzApi& a) { return a.userPlaylistsGet(0, 5, false, true); });
        row("both", "playlist/getUserPlaylists?offset=0&limit=5", true,
            [](QobuzApi& a) { return a.userPlaylistsGet(0, 5, true, true); });
        row("neither", "playlist/getUserPlaylists", true,
            [](QobuzApi& a) { return a.userPlaylistsGet(-1, -1, false, false); });
    }
    void theUsersPlaylistsAreListedWithAtMostOneFilter() { compareRequest(); }

    void anArticleIsAskedForByItsId_data()
    {
        addColumns();
        row("an id", "article/get?article_id=3", false, [](QobuzApi& a) { return a.articleGet(3); });
    }
    void anArticleIsAskedForByItsId() { compareRequest(); }

    void favouritesAreListedByKind_data()
    {
        using Type = PelkQobuzFavouriteTypes;
        addColumns();
        row("tracks", "favorite/getUserFavorites?offset=0&limit=5&type=tracks", true,
            [](QobuzApi& a) { return a.userFavouritesGet(0, 5, {Type::Tracks}); });
        row("albums", "favorite/getUserFavorites?limit=5&type=albums", true,
            [](QobuzApi& a) { return a.userFavouritesGet(-1, 5, {Type::Albums}); });
        row("artists", "favorite/getUserFavorites?offset=5&type=artists", true,
            [](QobuzApi& a) { return a.userFavouritesGet(5, -1, {Type::Artists}); });
        row("no kind", "favorite/getUserFavorites", true,
            [](QobuzApi& a) { return a.userFavouritesGet(-1, -1, {}); });
        const Favourites all{Type::Artists, Type::Tracks, Type::Albums};
        row("several, in the order of the set",
            "favorite/getUserFavorites?offset=0&limit=5&type=" + inOrderOf(all, Type::toString), true,
            [all](QobuzApi& a) { return a.userFavouritesGet(0, 5, all); });
    }
    void favouritesAreListedByKind() { compareRequest(); }

    void theCatalogueIsListedByKind_data()
    {
        using Type = PelkQobuzRecommendationTypes;
        addColumns();
        row("albums", "catalog/getFeatured?offset=0&limit=5&type=albums", false,
            [](QobuzApi& a) { return a.catalogGetFeatured(0, 5, {}, {Type::Albums}); });
        row("articles", "catalog/getFeatured?type=articles", false,
            [](QobuzApi& a) { return a.catalogGetFeatured(-1, -1, {}, {Type::Articles}); });
        row("artists", "catalog/getFeatured?type=artists", false,
            [](QobuzApi& a) { return a.catalogGetFeatured(-1, -1, {}, {Type::Artists}); });
        row("playlists of genres", "catalog/getFeatured?offset=1&limit=2&genre_ids=64%2C10&type=playlists",
            false, [](QobuzApi& a) {
                return a.catalogGetFeatured(1, 2, {64, 10}, {Type::Playlists});
            });
        row("nothing", "catalog/getFeatured", false,
            [](QobuzApi& a) { return a.catalogGetFeatured(-1, -1, {}, {}); });
        const Featured all{Type::Playlists, Type::Artists, Type::Articles, Type::Albums};
        row("several, in the order of the set", "catalog/getFeatured?type=" + inOrderOf(all, Type::toString),
            false, [all](QobuzApi& a) { return a.catalogGetFeatured(-1, -1, {}, all); });
    }
    void theCatalogueIsListedByKind() { compareRequest(); }

    void purchasesAreListedFlat_data()
    {
        addColumns();
        row("a page", "purchase/getUserPurchases?offset=0&limit=5&flat=1", true,
            [](QobuzApi& a) { return a.userPurchasesGet(0, 5); });
        row("all", "purchase/getUserPurchases?flat=1", true,
            [](QobuzApi& a) { return a.userPurchasesGet(-1, -1); });
    }
    void purchasesAreListedFlat() { compareRequest(); }

    void onlyTheSearchForArtistsSendsALimit_data()
    {
        using Type = PelkQobuzQueryTypes;
        const QString q = QStringLiteral("q");
        addColumns();
        row("artists", "artist/search?limit=50&offset=0&query=q", true,
            [q](QobuzApi& a) { return a.query(q, Type::Artists, 0, 50); });
        row("artists, limit 1", "artist/search?limit=1&query=q", true,
            [q](QobuzApi& a) { return a.query(q, Type::Artists, -1, 1); });
        row("artists, limit 0", "artist/search?offset=0&query=q", true,
            [q](QobuzApi& a) { return a.query(q, Type::Artists, 0, 0); });
        row("artists, no limit", "artist/search?query=q", true,
            [q](QobuzApi& a) { return a.query(q, Type::Artists, -1, -1); });
        row("albums", "album/search?offset=0&query=q", true,
            [q](QobuzApi& a) { return a.query(q, Type::Albums, 0, 50); });
        row("tracks", "track/search?offset=20&query=q", true,
            [q](QobuzApi& a) { return a.query(q, Type::Tracks, 20, 50); });
        row("playlists", "playlist/search?query=q", true,
            [q](QobuzApi& a) { return a.query(q, Type::Playlists, -1, 50); });
        row("anything else asks the bare base URL", "?offset=0&query=q", true,
            [q](QobuzApi& a) { return a.query(q, static_cast<Type::Enum>(4), 0, 50); });
        row("a negative kind too", "?query=q", true,
            [q](QobuzApi& a) { return a.query(q, static_cast<Type::Enum>(-1), -1, 50); });
        row("no text", "album/search?query=", true,
            [](QobuzApi& a) { return a.query(QString(), Type::Albums, -1, -1); });
        row("a text of many kinds of characters",
            "track/search?query=AC%2FDC%20%26%20Bj%C3%B6rk%2B%E2%82%AC%F0%9F%8E%B5", true, [](QobuzApi& a) {
                return a.query(QStringLiteral("AC/DC & Bj\u00f6rk+\u20ac\U0001F3B5"), Type::Tracks, -1, -1);
            });
    }
    void onlyTheSearchForArtistsSendsALimit() { compareRequest(); }

    void theUserIsAskedForByTheIdOfTheSavedLogin_data()
    {
        QTest::addColumn<unsigned int>("id");
        QTest::newRow("one") << 1u;
        QTest::newRow("the largest") << 4294967295u;
    }
    void theUserIsAskedForByTheIdOfTheSavedLogin()
    {
        QFETCH(unsigned int, id);
        ApiFixture f(QStringLiteral("t"), id);
        QVERIFY(ModuleHost::wait(f.api.userGet()));
        QCOMPARE(f.server.requests().at(0).target, "/api/user/get?user_id=" + QByteArray::number(id));
        QCOMPARE(f.server.requests().at(0).header("X-User-Auth-Token"), QByteArray("t"));
    }

    void whatTheServiceRefusesComesBackAsItsMessage()
    {
        ApiFixture f;
        f.server.answer("/api/artist/get", TestHttpServer::json("{\"message\":\"Bad artist_id\"}", 400));
        LogCapture log(QStringLiteral("Qobuz"));
        const auto reply = f.api.artistGet(-1, -1, -1, false);
        QVERIFY(ModuleHost::wait(reply));
        QCOMPARE(reply.error().message().toString(), QStringLiteral("Bad artist_id"));
        QVERIFY(
            log.contains(log4cplus::ERROR_LOG_LEVEL,
                         QStringLiteral("HTTP call to artist/get?artist_id=-1 failed (400): Bad artist_id")));
    }
};

QTEST_GUILESS_MAIN(ApiEndpointsTest)
#include "api_endpoints_test.moc"

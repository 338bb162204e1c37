// The exact request of each call for the catalogue and the user's lists. No call checks its arguments:
// refusing invalid ones is up to the service.

#include "tests/module/objecttest.h"

namespace {

using Favourites = QSet<PelkQobuzFavouriteTypes::Enum>;
using Featured = QSet<PelkQobuzRecommendationTypes::Enum>;

constexpr auto noType = static_cast<PelkQobuzRecommendations::Enum>(-1);

using Call = Rows<QByteArray, Make>;

#define CALL(call) [](QobuzApi& a) { return a.call; }

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

class CatalogueTest : public ObjectTest
{
    Q_OBJECT

private Q_SLOTS:
    void init() { open(); }
    void cleanup() { close(); }

    void aGenreIsRequestedByItsId_data()
    {
        Call row;
        row("an id", "genre/get?genre_id=64", CALL(genreGet(64)));
        row("zero", "genre/get?genre_id=0", CALL(genreGet(0)));
        row("a negative id is sent", "genre/get?genre_id=-5", CALL(genreGet(-5)));
    }
    void aGenreIsRequestedByItsId() { compareRequest(false); }

    void genresAreListed_data()
    {
        Call row;
        row("nothing given sends no query", "genre/list", CALL(genreList(-1, -1, -1)));
        row("zeros are given", "genre/list?offset=0&limit=0&parent_id=0", CALL(genreList(0, 0, 0)));
        row("only the offset", "genre/list?offset=3", CALL(genreList(3, -1, -1)));
        row("only the limit", "genre/list?limit=4", CALL(genreList(-1, 4, -1)));
        row("only the parent", "genre/list?parent_id=5", CALL(genreList(-7, -8, 5)));
        row("the largest numbers", "genre/list?offset=2147483647&limit=2147483647&parent_id=2147483647",
            CALL(genreList(INT_MAX, INT_MAX, INT_MAX)));
    }
    void genresAreListed() { compareRequest(false); }

    void anAlbumIsRequestedByItsText_data()
    {
        Call row;
        row("whole", "album/get?album_id=0060254788359", CALL(albumGet("0060254788359"_s, -1, -1)));
        row("a page", "album/get?album_id=ab1&offset=50&limit=25", CALL(albumGet("ab1"_s, 50, 25)));
        row("zeros", "album/get?album_id=x&offset=0&limit=0", CALL(albumGet("x"_s, 0, 0)));
        row("the empty text", "album/get?album_id=", CALL(albumGet(QString(), -1, -1)));
        row("characters that a query cannot have",
            "album/get?album_id=a%2Bb%26c%3Dd%3F%23%25%2F%20%C3%A9&limit=1",
            CALL(albumGet("a+b&c=d?#%/ \u00e9"_s, -1, 1)));
    }
    void anAlbumIsRequestedByItsText() { compareRequest(true); }

    void featuredAlbumsAreListed_data()
    {
        using Type = PelkQobuzRecommendations;
        Call row;
        row("only a page", "album/getFeatured?offset=0&limit=20",
            [](QobuzApi& a) { return a.albumGetFeatured(0, 20, -1, {}, noType); });
        row("nothing", "album/getFeatured",
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, noType); });
        row("genres in the order of the list", "album/getFeatured?genre_ids=10%2C2%2C64", [](QobuzApi& a) {
            return a.albumGetFeatured(-1, -1, -1, {10, 2, 64}, noType);
        });
        row("genres given twice, and negative ones", "album/getFeatured?genre_ids=2%2C2%2C-1",
            [](QobuzApi& a) {
                return a.albumGetFeatured(-1, -1, -1, {2, 2, -1}, noType);
            });
        row("everything", "album/getFeatured?offset=1&limit=2&supplier_id=0&genre_ids=7&type=press-awards",
            [](QobuzApi& a) { return a.albumGetFeatured(1, 2, 0, {7}, Type::PressAwards); });
        row("the type 0", "album/getFeatured?type=new-releases",
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, Type::NewReleases); });
        row("the type 2", "album/getFeatured?type=editor-picks",
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, Type::EditorPicks); });
        row("the type 3", "album/getFeatured?type=most-streamed",
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, Type::MostStreamed); });
        row("the type 4", "album/getFeatured?type=best-sellers",
            [](QobuzApi& a) { return a.albumGetFeatured(-1, -1, -1, {}, Type::BestSellers); });
        row("an unknown type goes to the service", "album/getFeatured?type=", [](QobuzApi& a) {
            return a.albumGetFeatured(-1, -1, -1, {}, static_cast<Type::Enum>(-2));
        });
    }
    void featuredAlbumsAreListed() { compareRequest(false); }

    void anArtistIsRequestedByItsId_data()
    {
        Call row;
        row("with albums", "artist/get?artist_id=9&offset=0&limit=10&extra=albums",
            CALL(artistGet(9, 0, 10, true)));
        row("a negative id", "artist/get?artist_id=-9", CALL(artistGet(-9, -1, -1, false)));
        row("alone", "artist/get?artist_id=9", CALL(artistGet(9, -1, -1, false)));
    }
    void anArtistIsRequestedByItsId() { compareRequest(true); }

    void aPlaylistIsRequestedByItsId_data()
    {
        Call row;
        row("with tracks", "playlist/get?playlist_id=9&offset=0&limit=10&extra=tracks",
            CALL(playlistGet(9, 0, 10, true)));
        row("a negative id", "playlist/get?playlist_id=-9", CALL(playlistGet(-9, -1, -1, false)));
        row("id 0", "playlist/get?playlist_id=0", CALL(playlistGet(0, -1, -1, false)));
        row("alone", "playlist/get?playlist_id=9", CALL(playlistGet(9, -1, -1, false)));
    }
    void aPlaylistIsRequestedByItsId() { compareRequest(true); }

    void theUsersPlaylistsAreListedWithAtMostOneFilter_data()
    {
        Call row;
        row("the owner's", "playlist/getUserPlaylists?offset=0&limit=5&filter=owner",
            CALL(userPlaylistsGet(0, 5, true, false)));
        row("those subscribed to", "playlist/getUserPlaylists?offset=0&limit=5&filter=subscriber",
            CALL(userPlaylistsGet(0, 5, false, true)));
        row("both", "playlist/getUserPlaylists?offset=0&limit=5", CALL(userPlaylistsGet(0, 5, true, true)));
        row("neither", "playlist/getUserPlaylists", CALL(userPlaylistsGet(-1, -1, false, false)));
    }
    void theUsersPlaylistsAreListedWithAtMostOneFilter() { compareRequest(true); }

    void anArticleIsRequestedByItsId_data()
    {
        Call row;
        row("a negative id", "article/get?article_id=-3", CALL(articleGet(-3)));
        row("an id", "article/get?article_id=3", CALL(articleGet(3)));
    }
    void anArticleIsRequestedByItsId() { compareRequest(false); }

    void favouritesAreListedByKind_data()
    {
        using Type = PelkQobuzFavouriteTypes;
        Call row;
        row("tracks", "favorite/getUserFavorites?offset=0&limit=5&type=tracks",
            [](QobuzApi& a) { return a.userFavouritesGet(0, 5, {Type::Tracks}); });
        row("albums", "favorite/getUserFavorites?limit=5&type=albums",
            [](QobuzApi& a) { return a.userFavouritesGet(-1, 5, {Type::Albums}); });
        row("artists", "favorite/getUserFavorites?offset=5&type=artists",
            [](QobuzApi& a) { return a.userFavouritesGet(5, -1, {Type::Artists}); });
        row("no kind", "favorite/getUserFavorites",
            [](QobuzApi& a) { return a.userFavouritesGet(-1, -1, {}); });
        const Favourites all{Type::Artists, Type::Tracks, Type::Albums};
        const Favourites unsorted{Type::Artists, static_cast<Type::Enum>(18)};
        QVERIFY(*unsorted.begin() >
                *std::next(unsorted.begin())); // the set's order is not that of the numbers
        row("in the order of the set, which is not that of the numbers",
            "favorite/getUserFavorites?type=%2Cartists",
            [unsorted](QobuzApi& a) { return a.userFavouritesGet(-1, -1, unsorted); });
        row("several, in the order of the set",
            "favorite/getUserFavorites?offset=0&limit=5&type=" + inOrderOf(all, Type::toString),
            [all](QobuzApi& a) { return a.userFavouritesGet(0, 5, all); });
    }
    void favouritesAreListedByKind() { compareRequest(true); }

    void theCatalogueIsListedByKind_data()
    {
        using Type = PelkQobuzRecommendationTypes;
        Call row;
        row("albums", "catalog/getFeatured?offset=0&limit=5&type=albums",
            [](QobuzApi& a) { return a.catalogGetFeatured(0, 5, {}, {Type::Albums}); });
        row("articles", "catalog/getFeatured?type=articles",
            [](QobuzApi& a) { return a.catalogGetFeatured(-1, -1, {}, {Type::Articles}); });
        row("artists", "catalog/getFeatured?type=artists",
            [](QobuzApi& a) { return a.catalogGetFeatured(-1, -1, {}, {Type::Artists}); });
        row("playlists of genres", "catalog/getFeatured?offset=1&limit=2&genre_ids=64%2C10&type=playlists",
            [](QobuzApi& a) {
                return a.catalogGetFeatured(1, 2, {64, 10}, {Type::Playlists});
            });
        row("nothing", "catalog/getFeatured",
            [](QobuzApi& a) { return a.catalogGetFeatured(-1, -1, {}, {}); });
        const Featured all{Type::Playlists, Type::Artists, Type::Articles, Type::Albums};
        const Featured unsorted{Type::Playlists, static_cast<Type::Enum>(-16)};
        row("in the order of the set, a negative kind among them",
            "catalog/getFeatured?type=" + inOrderOf(unsorted, Type::toString),
            [unsorted](QobuzApi& a) { return a.catalogGetFeatured(-1, -1, {}, unsorted); });
        const Featured above{Type::Artists, static_cast<Type::Enum>(18)};
        QVERIFY(*above.begin() > *std::next(above.begin())); // the set's order is not that of the numbers
        row("in the order of the set, which is not that of the numbers",
            "catalog/getFeatured?type=%2Cartists",
            [above](QobuzApi& a) { return a.catalogGetFeatured(-1, -1, {}, above); });
        row("several, in the order of the set", "catalog/getFeatured?type=" + inOrderOf(all, Type::toString),
            [all](QobuzApi& a) { return a.catalogGetFeatured(-1, -1, {}, all); });
    }
    void theCatalogueIsListedByKind() { compareRequest(false); }

    void purchasesAreListedFlat_data()
    {
        Call row;
        row("a page", "purchase/getUserPurchases?offset=0&limit=5&flat=1", CALL(userPurchasesGet(0, 5)));
        row("all", "purchase/getUserPurchases?flat=1", CALL(userPurchasesGet(-1, -1)));
    }
    void purchasesAreListedFlat() { compareRequest(true); }

    void onlyTheSearchForArtistsSendsALimit_data()
    {
        using Type = PelkQobuzQueryTypes;
        Call row;
        row("artists", "artist/search?limit=50&offset=0&query=q", CALL(query("q"_s, Type::Artists, 0, 50)));
        row("artists, limit 1", "artist/search?limit=1&query=q", CALL(query("q"_s, Type::Artists, -1, 1)));
        row("artists, limit 0", "artist/search?offset=0&query=q", CALL(query("q"_s, Type::Artists, 0, 0)));
        row("artists, no limit", "artist/search?query=q", CALL(query("q"_s, Type::Artists, -1, -1)));
        row("albums", "album/search?offset=0&query=q", CALL(query("q"_s, Type::Albums, 0, 50)));
        row("tracks", "track/search?offset=20&query=q", CALL(query("q"_s, Type::Tracks, 20, 50)));
        row("playlists", "playlist/search?query=q", CALL(query("q"_s, Type::Playlists, -1, 50)));
        row("anything else asks the bare base URL", "?offset=0&query=q",
            CALL(query("q"_s, static_cast<Type::Enum>(4), 0, 50)));
        row("a negative kind too", "?query=q", CALL(query("q"_s, static_cast<Type::Enum>(-1), -1, 50)));
        row("no text", "album/search?query=", CALL(query(QString(), Type::Albums, -1, -1)));
        row("a text of many kinds of characters",
            "track/search?query=AC%2FDC%20%26%20Bj%C3%B6rk%2B%E2%82%AC%F0%9F%8E%B5",
            CALL(query("AC/DC & Bj\u00f6rk+\u20ac\U0001F3B5"_s, Type::Tracks, -1, -1)));
    }
    void onlyTheSearchForArtistsSendsALimit() { compareRequest(true); }

    void theUserIsRequestedByTheIdOfTheSavedLogin_data()
    {
        Rows<unsigned int> row;
        row("one", 1u);
        row("the largest", 4294967295u);
    }
    void theUserIsRequestedByTheIdOfTheSavedLogin()
    {
        const auto [id] = fetched<unsigned int>();
        host().setSession("t"_s, id);
        QVERIFY(wait(api().userGet()));
        QCOMPARE(server().requests().at(0).target, "/api/user/get?user_id=" + QByteArray::number(id));
        QCOMPARE(server().requests().at(0).header("X-User-Auth-Token"), QByteArray("t"));
    }

    void invalidArgumentsAreSentToTheService_data()
    {
        Rows<QString, int, int, QByteArray> row;
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
    void invalidArgumentsAreSentToTheService()
    {
        const auto [path, first, last, url] = fetched<QString, int, int, QByteArray>();
        serve("{\"message\":\"Bad argument\"}", 400);
        start();
        const Log log(log4cplus::DEBUG_LOG_LEVEL);
        const ModuleHost::Rows answer = host().rows(path, first, last);
        QVERIFY(answer.finished);
        QCOMPARE(requestsInAll(), 1);
        QCOMPARE(targets(), QList<QByteArray>{"/api/" + url});
        QCOMPARE(answer.error.message().toString(), "Bad argument"_s);
        QCOMPARE(log.errors(),
                 QStringList{"HTTP call to "_s + QString::fromLatin1(url) + " failed (400): Bad argument"_s});
    }

private:
    void compareRequest(bool withToken)
    {
        const auto [target, make] = fetched<QByteArray, Make>();
        QVERIFY(wait(make(api())));
        QCOMPARE(targets(), QByteArrayList{"/api/" + target});
        const Request request = server().requests().at(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.header("X-User-Auth-Token"), withToken ? QByteArray("token-1") : QByteArray());
        QCOMPARE(request.header("X-App-Id"), QByteArray("app-id"));
    }
};

QTEST_GUILESS_MAIN(CatalogueTest)
#include "catalogue_test.moc"

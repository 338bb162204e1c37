// Which path leads to which request, which list of the answer becomes rows, and what becomes of a failure.

#include "modules/qobuz/QobuzBrowser.h"
#include "tests/module/moduletest.h"
#include "tests/support/ownprocess.h"

#include <QSemaphore>

#include <limits>
#include <map>

class BrowseTest : public ModuleTest
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        open();
        start();
    }
    void cleanupTestCase() { close(); }
    void init()
    {
        host().settle(); // what the test before led to has been written
        serve(everyList());
    }

    void aRouteRequestsExactlyOnePageAndReturnsItsList_data()
    {
        Rows<QString, QByteArray, QString, bool> row;
        row.named("qobuz:featured/albums", "/api/catalog/getFeatured?offset=10&limit=20&type=albums", "album",
                  false);
        row.named("qobuz:featured/artists", "/api/catalog/getFeatured?offset=10&limit=20&type=artists",
                  "artist", false);
        row.named("qobuz:featured/playlists", "/api/catalog/getFeatured?offset=10&limit=20&type=playlists",
                  "playlist", false);
        row.named("qobuz:playlists", "/api/playlist/getUserPlaylists?offset=10&limit=20", "playlist", true);
        row.named("qobuz:favourites/tracks", "/api/favorite/getUserFavorites?offset=10&limit=20&type=tracks",
                  "track", true);
        row.named("qobuz:favourites/albums", "/api/favorite/getUserFavorites?offset=10&limit=20&type=albums",
                  "album", true);
        row.named("qobuz:favourites/artists",
                  "/api/favorite/getUserFavorites?offset=10&limit=20&type=artists", "artist", true);
        row.named("qobuz:purchases/tracks", "/api/purchase/getUserPurchases?offset=10&limit=20&flat=1",
                  "track", true);
        row.named("qobuz:purchases/albums", "/api/purchase/getUserPurchases?offset=10&limit=20&flat=1",
                  "album", true);
        row.named("qobuz:search/artists?query=moon", "/api/artist/search?limit=20&offset=10&query=moon",
                  "artist", true);
        row.named("qobuz:search/albums?query=moon", "/api/album/search?offset=10&query=moon", "album", true);
        row.named("qobuz:search/tracks?query=moon", "/api/track/search?offset=10&query=moon", "track", true);
        row.named("qobuz:search/playlists?query=moon", "/api/playlist/search?offset=10&query=moon",
                  "playlist", true);
        row.named("qobuz:album?id=0886443927087", "/api/album/get?album_id=0886443927087&offset=10&limit=20",
                  "track", true);
        row.named("qobuz:playlist?id=7001",
                  "/api/playlist/get?playlist_id=7001&offset=10&limit=20&extra=tracks", "track", true);
        row.named("qobuz:artist?id=8001", "/api/artist/get?artist_id=8001&offset=10&limit=20&extra=albums",
                  "album", true);
        // A parameter that the route does not know changes nothing.
        row.named("qobuz:featured/albums?id=5&query=x",
                  "/api/catalog/getFeatured?offset=10&limit=20&type=albums", "album", false);
        row.named("qobuz:playlist?query=x&id=7001&id=7002",
                  "/api/playlist/get?playlist_id=7001&offset=10&limit=20&extra=tracks", "track", true);
    }
    void aRouteRequestsExactlyOnePageAndReturnsItsList()
    {
        const auto [path, target, kind, withToken] = fetched<QString, QByteArray, QString, bool>();
        const ModuleHost::Rows rows = host().rows(path, 10, 29);
        QVERIFY(succeeded(rows));
        QCOMPARE(targets(), QList<QByteArray>{target});
        const Request request = server().requests().at(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.header("X-App-Id"), QByteArray("app-id"));
        QCOMPARE(request.header("X-User-Auth-Token"), withToken ? QByteArray("token-1") : QByteArray());

        const QString first = "First "_s + kind;
        QCOMPARE(texts(rows.rows), QStringList({first, "Second "_s + kind}));
        const QHash<QString, int> totals{
            {"artist"_s, 310}, {"album"_s, 1200}, {"track"_s, 70}, {"playlist"_s, 42}};
        QCOMPARE(rows.count, totals.value(kind));
    }

    void theRestOfAPathIsReadInLowerCaseWithoutItsRoute_data()
    {
        Rows<QString, QByteArray> row;
        // Each word of each route, in three other letter cases.
        const auto cases = [&row](const QByteArray& route, const QByteArrayList& words,
                                  const QByteArray& target) {
            for (const QByteArray& word : words) {
                const QByteArray capital = word.left(1).toUpper() + word.mid(1);
                const QByteArray end = word.left(word.size() - 1) + word.right(1).toUpper();
                for (const QByteArray& written : {word.toUpper(), capital, end})
                    row.named("qobuz:" + route + '/' + written,
                              QByteArray("/api/" + target)
                                  .replace("%1", word)
                                  .replace("%2", word.left(word.size() - 1)));
            }
        };
        cases("featured", {"albums", "artists", "playlists"},
              "catalog/getFeatured?offset=0&limit=50&type=%1");
        cases("favourites", {"tracks", "albums", "artists"},
              "favorite/getUserFavorites?offset=0&limit=50&type=%1");
        cases("search", {"albums", "tracks", "playlists"}, "%2/search?offset=0&query=");
        cases("search", {"artists"}, "artist/search?limit=50&offset=0&query=");

        row.named("qobuz:featured/featured/albums", "/api/catalog/getFeatured?offset=0&limit=50&type=albums");
        row.named("qobuz:featured/albfeatured/ums", "/api/catalog/getFeatured?offset=0&limit=50&type=albums");
        row.named("qobuz:featured/playlistsfeatured/featured/",
                  "/api/catalog/getFeatured?offset=0&limit=50&type=playlists");
        row.named("qobuz:favourites/favourites/albums",
                  "/api/favorite/getUserFavorites?offset=0&limit=50&type=albums");
        row.named("qobuz:search/search/tracks?query=x", "/api/track/search?offset=0&query=x");
    }
    void theRestOfAPathIsReadInLowerCaseWithoutItsRoute()
    {
        const auto [path, target] = fetched<QString, QByteArray>();
        const ModuleHost::Rows rows = host().rows(path, 0, 49);
        QVERIFY(succeeded(rows));
        QCOMPARE(targets(), QList<QByteArray>{target});
        QCOMPARE(rows.rows.size(), 2);
    }

    void aPathWithoutARouteIsLeftToTheHost_data()
    {
        addTexts({"qobuz:article?id=51",
                  "qobuz:track?id=31",
                  "qobuz:preplay?id=31",
                  "qobuz:stateChange?id=31&format=5",
                  "qobuz:nowhere",
                  "qobuz:purchases/tracks/",
                  "qobuz:purchases/playlists",
                  "qobuz:Featured/albums",
                  "qobuz:FAVOURITES/tracks",
                  "qobuz:Purchases/tracks",
                  "qobuz:purchases/Albums",
                  "qobuz:Search/albums?query=x",
                  "qobuz:Album?id=1",
                  "qobuz:ALBUM?id=1",
                  "qobuz:Playlist?id=1",
                  "qobuz:Artist?id=1",
                  "qobuz:Playlists",
                  "qobuz:PLAYLISTS",
                  "qobuz:featured",
                  "qobuz:featured/featured/",
                  "qobuz:favourites/favourites/",
                  "qobuz:search/search/?query=x",
                  "qobuz:/featured/albums",
                  "qobuz:x/album?id=1",
                  "qobuz:searchAlbums"});
    }
    void aPathWithoutARouteIsLeftToTheHost()
    {
        const auto [path] = fetched<QString>();
        const ModuleHost::Rows rows = host().rows(path, 0, 49);
        QVERIFY(rows.finished);
        QCOMPARE(rows.error.message().toString(), "There is nothing at \"%1\"."_s.replace("%1"_l, path));
        QCOMPARE(server().requestCount(), 0);
    }

    void aPrefixRouteMatchesEveryPathThatStartsWithIt_data()
    {
        Rows<QString, QByteArray> row;
        row.named("qobuz:album/tracks?id=1", "/api/album/get?album_id=1&offset=0&limit=50");
        row.named("qobuz:albums", "/api/album/get?album_id=&offset=0&limit=50");
        row.named("qobuz:playlists/?id=3", "/api/playlist/get?playlist_id=3&offset=0&limit=50&extra=tracks");
        row.named("qobuz:artists?id=3", "/api/artist/get?artist_id=3&offset=0&limit=50&extra=albums");
    }
    void aPrefixRouteMatchesEveryPathThatStartsWithIt()
    {
        const auto [path, target] = fetched<QString, QByteArray>();
        QVERIFY(host().rows(path, 0, 49).finished);
        QCOMPARE(targets(), QList<QByteArray>{target});
    }

    void anUnknownKindIsRequestedAndNeverAnswered_data()
    {
        Rows<QString, QByteArray> row;
        row.named("qobuz:featured/articles", "/api/catalog/getFeatured?offset=0&limit=50&type=articles");
        row.named("qobuz:featured/tracks", "/api/catalog/getFeatured?offset=0&limit=50&type=");
        row.named("qobuz:featured/albums/", "/api/catalog/getFeatured?offset=0&limit=50&type=");
        row.named("qobuz:favourites/playlists", "/api/favorite/getUserFavorites?offset=0&limit=50&type=");
        row.named("qobuz:search/articles?query=moon", "/api/?offset=0&query=moon");
        // In another case a route's text is a text like any other, and stays.
        row.named("qobuz:featured/FEATURED/albums", "/api/catalog/getFeatured?offset=0&limit=50&type=");
        row.named("qobuz:favourites/Favourites/albums",
                  "/api/favorite/getUserFavorites?offset=0&limit=50&type=");
        row.named("qobuz:search/Search/albums?query=moon", "/api/?offset=0&query=moon");
    }
    void anUnknownKindIsRequestedAndNeverAnswered()
    {
        const auto [path, target] = fetched<QString, QByteArray>();
        const CMGetRowsRequest open(CMPath(path), 0, 49, {PelkRoles::Title()});
        {
            const Log log;
            host().root().getRowsRequest(open);
            QTRY_VERIFY(!log.traces().filter("::httpCallback("_s).isEmpty());
            host().settle(); // what follows from the answer has happened
        }
        QCOMPARE(targets(), QList<QByteArray>{target});
        QVERIFY(!open.reply().isFinished());

        // The module is as good as before.
        const ModuleHost::Rows rows = host().rows("qobuz:featured/albums"_s, 0, 49);
        QVERIFY(rows.finished);
        QCOMPARE(rows.count, 1200);
        QVERIFY(!open.reply().isFinished());
    }

    void anAlbumIdIsSentAsUnchangedText_data()
    {
        Rows<QString, QByteArray> row;
        row("digits with leading zeros", "0004012", "0004012");
        row("letters", "b3fogo6m771yc", "b3fogo6m771yc");
        row("not lower-cased", "B3Fogo", "B3Fogo");
        row("empty", "", "");
        row("blanks alone", "  ", "%20%20");
        row("a line break", "a\r\n", "a%0D%0A");
        row("composed", "\u00fc", "%C3%BC");
        row("decomposed", "u\u0308", "u%CC%88");
        row("compatible letters", "\ufb01\u212b\u3000", "%EF%AC%81%E2%84%AB%E3%80%80");
        row("spaces", " a b ", "%20a%20b%20");
        row("plus", "a+b", "a%2Bb");
        row("percent text", "50%25", "50%2525");
        row("marks", "a&b=c?d#e/f", "a%26b%3Dc%3Fd%23e%2Ff");
        row("non-Latin", "\xE9\x9F\xB3", "%E9%9F%B3");
    }
    void anAlbumIdIsSentAsUnchangedText()
    {
        const auto [id, encoded] = fetched<QString, QByteArray>();
        const QString path = pathWith("qobuz:album"_s, "id"_s, id);
        QVERIFY(host().rows(path, 0, 49).finished);
        QCOMPARE(targets(), QList<QByteArray>{"/api/album/get?album_id=" + encoded + "&offset=0&limit=50"});
        QCOMPARE(server().requests().at(0).queryValue("album_id"), id.toUtf8());
    }

    void thePlaylistAndArtistIdsAreWholeNumbersOrZero_data()
    {
        Rows<QString, QByteArray> row;
        row("a number", "?id=134217729", "134217729");
        row("the largest", "?id=2147483647", "2147483647");
        row("negative", "?id=-7", "-7");
        row("the least", "?id=-2147483648", "-2147483648");
        row("a plus sign", "?id=%2B7", "7");
        row("blanks around", "?id=%207%20", "7");
        row("blanks alone", "?id=%20", "0");
        row("another letter case of the name", "?ID=5&Id=6", "0");
        row("the first of two, empty as it is", "?id=&id=5", "0");
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
        const auto [params, id] = fetched<QString, QByteArray>();
        QVERIFY(host().rows("qobuz:playlist"_s + params, 0, 49).finished);
        QVERIFY(host().rows("qobuz:artist"_s + params, 0, 49).finished);
        QCOMPARE(targets(),
                 QList<QByteArray>({"/api/playlist/get?playlist_id=" + id + "&offset=0&limit=50&extra=tracks",
                                    "/api/artist/get?artist_id=" + id + "&offset=0&limit=50&extra=albums"}));
    }

    void aSearchTextReachesTheServiceUnchanged_data()
    {
        Rows<QString, QByteArray> row;
        row("words", "blue moon", "blue%20moon");
        row("blanks around", "  blue  moon ", "%20%20blue%20%20moon%20");
        row("blanks alone", "   ", "%20%20%20");
        row("line breaks and tabs", "a\r\nb\n\t", "a%0D%0Ab%0A%09");
        row("composed", "Bj\u00f6rk", "Bj%C3%B6rk");
        row("decomposed", "Bjo\u0308rk", "Bjo%CC%88rk");
        row("compatible letters", "\ufb01\u212b\u3000\u00a0", "%EF%AC%81%E2%84%AB%E3%80%80%C2%A0");
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
        const auto [text, encoded] = fetched<QString, QByteArray>();
        const QString path = pathWith("qobuz:search/tracks"_s, "query"_s, text);
        const ModuleHost::Rows rows = host().rows(path, 0, 49);
        QVERIFY(rows.finished);
        QCOMPARE(targets(), QList<QByteArray>{"/api/track/search?offset=0&query=" + encoded});
        QCOMPARE(server().requests().at(0).queryValue("query"), text.toUtf8());
        QCOMPARE(rows.count, 70);
    }

    void anErrorOfTheServicePassesThroughUnchanged_data()
    {
        addTexts({"qobuz:featured/albums",         "qobuz:featured/artists",
                  "qobuz:featured/playlists",      "qobuz:featured/articles",
                  "qobuz:featured/nonsense",       "qobuz:playlists",
                  "qobuz:favourites/tracks",       "qobuz:favourites/albums",
                  "qobuz:favourites/artists",      "qobuz:favourites/nonsense",
                  "qobuz:purchases/tracks",        "qobuz:purchases/albums",
                  "qobuz:search/artists?query=x",  "qobuz:search/albums?query=x",
                  "qobuz:search/tracks?query=x",   "qobuz:search/playlists?query=x",
                  "qobuz:search/nonsense?query=x", "qobuz:album?id=1",
                  "qobuz:playlist?id=1",           "qobuz:artist?id=1"});
    }
    void anErrorOfTheServicePassesThroughUnchanged()
    {
        const auto [path] = fetched<QString>();
        const QString message = "No such thing: 50% of \u97f3"_s;
        serve("{\"status\":\"error\",\"code\":404,\"message\":\"" + message.toUtf8() + "\"}", 404);
        const Log log;
        const ModuleHost::Rows answer = host().rows(path, 0, 49);
        QVERIFY(answer.finished);
        const QVariantHash expected{
            {"name"_s, "error"_s},
            {"title"_s, CMError::DefaultTitle()},
            {"message"_s, message},
            {"data"_s, QVariantHash{{"ErrorCode"_s, 404}, {"ServerReply"_s, message}}}};
        QCOMPARE(variantLines(answer.error.variant()), variantLines(expected));
        QCOMPARE(answer.rows, QVariantList());
        QCOMPARE(answer.count, 0);
        QCOMPARE(server().requestCount(), 1);
        host().settle();
        QVERIFY(log.traces().filter("sendBrowseReply"_s).isEmpty());
    }

    void simultaneousRequestsAreEachAnsweredWhenTheirResponseArrives()
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
            return QStringList({"First "_s + name, "Second "_s + name});
        };
        const QList<Open> all{
            {"qobuz:featured/albums"_s, 0, "/api/catalog/getFeatured?offset=0&limit=10&type=albums",
             both("album"), 1200},
            {"qobuz:featured/albums"_s, 10, "/api/catalog/getFeatured?offset=10&limit=10&type=albums",
             both("album"), 1200},
            {"qobuz:purchases/tracks"_s, 0, "/api/purchase/getUserPurchases?offset=0&limit=10&flat=1",
             both("track"), 70},
            {"qobuz:purchases/albums"_s, 10, "/api/purchase/getUserPurchases?offset=10&limit=10&flat=1",
             both("album"), 1200},
            {"qobuz:favourites/artists"_s, 0, "/api/favorite/getUserFavorites?offset=0&limit=10&type=artists",
             both("artist"), 310},
            {"qobuz:search/playlists?query=x"_s, 20, "/api/playlist/search?offset=20&query=x",
             both("playlist"), 42}};

        // Each answer waits for its own gate; bounded, so that a failing test ends.
        const auto gates = std::make_shared<std::map<QByteArray, QSemaphore>>();
        for (const Open& one : all)
            (*gates)[one.target];
        server().clearRequests();
        server().setHandler([gates](const Request& request) {
            const auto gate = gates->find(request.target);
            if (gate == gates->end() || !gate->second.tryAcquire(1, 20000))
                return json("{}", 500);
            return json(everyList());
        });

        QList<CMGetRowsRequest> requests;
        for (const Open& one : all) {
            requests << CMGetRowsRequest(CMPath(one.path), one.first, one.first + 9, {PelkRoles::Title()},
                                         one.first);
            host().root().getRowsRequest(requests.last());
        }
        QVERIFY(server().waitForRequests(all.size()));
        const QByteArrayList sent = targets();
        QCOMPARE(QSet<QByteArray>(sent.begin(), sent.end()).size(), all.size());

        for (int i = all.size() - 1; i >= 0; --i) {
            QVERIFY(!requests.at(i).reply().isFinished());
            gates->at(all.at(i).target).release();
            QVERIFY(wait(requests.at(i).reply()));
            QVERIFY(!requests.at(i).reply().error().isSet());
            const PelkRowsRoles answer = requests.at(i).reply().value();
            QCOMPARE(texts(answer.rows().toList()), all.at(i).titles);
            QCOMPARE(answer.rowsCount(), all.at(i).total);
            QCOMPARE(answer.rowsVersion(), all.at(i).first);
            for (int earlier = 0; earlier < i; ++earlier)
                QVERIFY(!requests.at(earlier).reply().isFinished());
        }
    }

    void anAnswerIsMadeOnTheWorkersThread_data()
    {
        Rows<QString, int> row;
        for (const char* path :
             {"qobuz:featured/albums", "qobuz:playlists", "qobuz:favourites/tracks", "qobuz:purchases/albums",
              "qobuz:search/artists?query=x", "qobuz:album?id=1", "qobuz:playlist?id=1", "qobuz:artist?id=1"})
            for (const int status : {200, 404})
                row(QByteArray(path) + ", " + QByteArray::number(status), path, status);
    }
    void anAnswerIsMadeOnTheWorkersThread()
    {
        const auto [path, status] = fetched<QString, int>();
        serve(everyList(), status);
        const Log log;
        const CMGetRowsRequest request(CMPath(path), 0, 9, {PelkRoles::Title()});
        const auto thread = threadOf(request.reply());
        log.watch(request.reply());
        host().root().getRowsRequest(request);
        QVERIFY(wait(request.reply()));
        host().settle();
        QCOMPARE(request.reply().error().isSet(), status != 200);
        QCOMPARE(thread->load(), host().workerThread());
        // Log records about rows surround the reply; those about a failure precede it.
        const QString enter = "Enter void QobuzBrowser::sendBrowseReply"_s;
        const QString leave = "Leave void QobuzBrowser::sendBrowseReply"_s;
        const QString failed = "HTTP call"_s;
        const QString reply = "the reply"_s;
        QCOMPARE(log.order({enter, leave, failed}),
                 status == 200 ? QStringList({enter, reply, leave}) : QStringList({failed, reply}));
    }

    void aRequestLivesUntilItsResponseArrives()
    {
        Response held = json(everyList());
        held.hold = true;
        server().clearRequests();
        server().setHandler([held](const Request&) { return held; });
        // Of the request nothing is kept here but its reply.
        const auto send = [this] {
            const CMGetRowsRequest request(CMPath("qobuz:playlist?id=7"_s), 3, 3, {PelkRoles::Title()}, 11);
            host().root().getRowsRequest(request);
            return request.reply();
        };
        const CMReply<PelkRowsRoles> reply = send();
        QVERIFY(server().waitForRequests(1));
        host().settle();
        QVERIFY(!reply.isFinished());
        server().release();
        QVERIFY(wait(reply));
        const PelkRowsRoles answer = reply.value();
        QCOMPARE(texts(answer.rows().toList()), QStringList{"First track"_s});
        QCOMPARE(answer.rowsCount(), 70);
        QCOMPARE(answer.rowsVersion(), 11);
    }

    void theSamePageIsRequestedAgain()
    {
        serve("{\"albums\":" + list(2, albums(2)) + "}");
        const QString path = "qobuz:favourites/albums"_s;
        QCOMPARE(host().rows(path, 0, 9).count, 2);
        const QByteArray target = "/api/favorite/getUserFavorites?offset=0&limit=10&type=albums";
        QCOMPARE(targets(), QList<QByteArray>{target});
        serve("{\"albums\":" + list(1, albums(1)) + "}");
        const ModuleHost::Rows again = host().rows(path, 0, 9);
        QCOMPARE(again.count, 1);
        QCOMPARE(again.rows.size(), 1);
        QCOMPARE(targets(), QList<QByteArray>{target});
    }

    void itIsAnObjectWithoutParentSignalsOrSlots()
    {
        const QobuzBrowser browser(nullptr, nullptr);
        QCOMPARE(browser.metaObject()->className(), "QobuzBrowser");
        QCOMPARE(browser.metaObject()->methodCount(), QObject::staticMetaObject.methodCount());
        QCOMPARE(browser.metaObject()->propertyCount(), QObject::staticMetaObject.propertyCount());
        QVERIFY(browser.inherits("QobuzBrowser"));
        QCOMPARE(browser.parent(), nullptr);
        QVERIFY(browser.children().isEmpty());
    }

    void aRequestWithoutDataIsAFatalAssertion()
    {
        const OwnProcess process = OwnProcess::play("no data"_s);
        QVERIFY2(process.errors.contains("ASSERT: \"d()\""), process.errors.constData());
        QVERIFY(process.crashed);
    }
};

namespace {

int browseWithoutData(const QString& /*name*/)
{
    QobuzBrowser(nullptr, nullptr).browse(CMGetRowsRequest());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    return OwnProcess::main<BrowseTest>(argc, argv, browseWithoutData);
}

#include "browse_test.moc"

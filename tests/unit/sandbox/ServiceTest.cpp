#include "Client.h"
#include "sandbox/catalogue/Library.h"

#include <QtTest>

#include <algorithm>

using sandbox::Json;

namespace {

/// The largest response that a client reads.
constexpr std::size_t readLimitBytes = 524288;

bool hasKeys(const Json& record, std::initializer_list<const char*> keys)
{
    return std::all_of(keys.begin(), keys.end(), [&](const char* key) {
        if (!record.contains(key))
            qWarning("no key %s", key);
        return record.contains(key);
    });
}

} // namespace

class ServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_client.started());
        QVERIFY(!m_client.login().empty());
        m_albumId = m_client.json("catalog/getFeatured?type=albums&limit=1")["albums"]["items"][0]["id"];
    }

    void refusesAWrongApplicationOrToken_data()
    {
        QTest::addColumn<QByteArray>("call");
        QTest::addColumn<QByteArray>("appId");
        QTest::addColumn<QByteArray>("token");
        QTest::addColumn<int>("status");
        QTest::newRow("no application id") << QByteArray("genre/list") << QByteArray() << QByteArray() << 400;
        QTest::newRow("another application id")
            << QByteArray("genre/list") << QByteArray("1") << QByteArray() << 401;
        QTest::newRow("id in the query")
            << QByteArray("genre/list?app_id=100000001") << QByteArray() << QByteArray() << 200;
        for (const char* call :
             {"user/get", "album/get", "artist/get", "playlist/get", "playlist/getUserPlaylists",
              "favorite/getUserFavorites", "purchase/getUserPurchases", "artist/search", "album/search",
              "track/search", "playlist/search", "track/getFileUrl", "track/reportStreamingStart",
              "track/reportStreamingEnd"})
            QTest::newRow(call) << QByteArray(call) << QByteArray("100000001") << QByteArray("1-2-forged")
                                << 401;
        for (const char* call : {"genre/list", "album/getFeatured", "catalog/getFeatured",
                                 "genre/get?genre_id=10", "article/get?article_id=171700"})
            QTest::newRow(call) << QByteArray(call) << QByteArray("100000001") << QByteArray() << 200;
    }

    void refusesAWrongApplicationOrToken()
    {
        QFETCH(QByteArray, call);
        QFETCH(QByteArray, appId);
        QFETCH(QByteArray, token);
        QFETCH(int, status);
        httplib::Headers headers;
        if (!appId.isEmpty())
            headers.emplace("X-App-Id", appId.toStdString());
        if (!token.isEmpty())
            headers.emplace("X-User-Auth-Token", token.toStdString());
        const auto answer = m_client.http().Get("/api.json/0.2/" + call.toStdString(), headers);
        QVERIFY(answer);
        QCOMPARE(answer->status, status);
        if (status != 200)
            QCOMPARE(Client::json(answer)["code"], Json(status));
    }

    void loginTakesTheDemoAccountOnly_data()
    {
        QTest::addColumn<QByteArray>("query");
        QTest::addColumn<int>("status");
        const QByteArray md5 = QByteArray::fromStdString(sandbox::md5Hex("demo"));
        QTest::newRow("right") << QByteArray("username=demo@example.com&password=" + md5) << 200;
        QTest::newRow("clear password") << QByteArray("username=demo@example.com&password=demo") << 401;
        QTest::newRow("upper-case digest")
            << QByteArray("username=demo@example.com&password=" + md5.toUpper()) << 401;
        QTest::newRow("another name") << QByteArray("username=nobody&password=" + md5) << 401;
        QTest::newRow("nothing") << QByteArray() << 401;
    }

    void loginTakesTheDemoAccountOnly()
    {
        QFETCH(QByteArray, query);
        QFETCH(int, status);
        const auto answer = m_client.api("user/login?device_manufacturer_id=box7&" + query.toStdString());
        QCOMPARE(answer->status, status);
        const Json json = Client::json(answer);
        if (status == 200) {
            QCOMPARE(json["user"]["id"], Json(sandbox::demo::userId));
            QCOMPARE(json["user"]["credential"]["id"], Json(sandbox::demo::credentialId));
            QCOMPARE(json["user"]["device"]["id"], Json(sandbox::demo::deviceId));
            QCOMPARE(json["user"]["device"]["device_manufacturer_id"], Json("box7"));
            QVERIFY(!json["user_auth_token"].get<std::string>().empty());
        } else {
            QCOMPARE(json["message"], Json("Invalid username/email and password combination"));
        }
    }

    void aTokenOutlivesARestartButNotItsTime()
    {
        sandbox::Options options;
        std::string token;
        {
            sandbox::Access first(options);
            token = first.issueToken();
        }
        sandbox::Access second(options);
        QVERIFY(second.acceptsToken(token));
        QVERIFY(!second.acceptsToken(token + "0"));
        QVERIFY(!second.acceptsToken(""));
        options.tokenTtlSeconds = 0;
        sandbox::Access brief(options);
        QVERIFY(!brief.acceptsToken(brief.issueToken()));
    }

    void signatureFollowsTheSortedItems()
    {
        const sandbox::Access access(sandbox::Options{});
        const std::string expected = sandbox::md5Hex(
            "trackgetFileUrlformat_id27track_id123451700000000sandbox-secret-0123456789abcdef");
        QCOMPARE(access.signature("track/getFileUrl",
                                  {{"track_id", "12345"},
                                   {"format_id", "27"},
                                   {"app_id", "1"},
                                   {"request_ts", "1700000000"},
                                   {"request_sig", "x"}},
                                  "1700000000"),
                 expected);
    }

    void fileUrlChecksSignatureAndAge_data()
    {
        QTest::addColumn<int>("secondsFromNow");
        QTest::addColumn<QByteArray>("suffix");
        QTest::addColumn<int>("status");
        QTest::newRow("right") << 0 << QByteArray() << 200;
        QTest::newRow("four minutes old") << -240 << QByteArray() << 200;
        QTest::newRow("six minutes old") << -360 << QByteArray() << 400;
        QTest::newRow("six minutes ahead") << 360 << QByteArray() << 400;
        QTest::newRow("signature altered") << 0 << QByteArray("0") << 400;
        QTest::newRow("item not signed") << 0 << QByteArray("&intent=stream") << 400;
    }

    void fileUrlChecksSignatureAndAge()
    {
        QFETCH(int, secondsFromNow);
        QFETCH(QByteArray, suffix);
        QFETCH(int, status);
        const auto call = m_client.signedCall(m_client.trackOfKind("cd"), 6, secondsFromNow);
        const auto answer = m_client.api(call + suffix.toStdString());
        QCOMPARE(answer->status, status);
    }

    void absurdTimeStampsAreRefused()
    {
        for (const char* stamp : {"-9223372036854775808", "99999999999999999999", "", "soon"})
            QCOMPARE(m_client.api(std::string("track/getFileUrl?request_ts=") + stamp)->status, 400);
    }

    void servesTheBestAvailableFormat_data()
    {
        QTest::addColumn<QByteArray>("kind");
        QTest::addColumn<int>("asked");
        QTest::addColumn<int>("format");
        QTest::addColumn<double>("kilohertz");
        QTest::addColumn<int>("bits");
        QTest::addColumn<QByteArray>("restriction");
        const QByteArray lower = "FormatRestrictedByFormatAvailability";
        const QByteArray rights = "TrackRestrictedByRightHolders";
        QTest::newRow("MP3 of a CD") << QByteArray("cd") << 5 << 5 << 44.1 << 16 << QByteArray();
        QTest::newRow("CD") << QByteArray("cd") << 6 << 6 << 44.1 << 16 << QByteArray();
        QTest::newRow("more than a CD has") << QByteArray("cd") << 27 << 6 << 44.1 << 16 << lower;
        QTest::newRow("MP3 only") << QByteArray("mp3") << 6 << 5 << 44.1 << 16 << lower;
        QTest::newRow("24/48") << QByteArray("24-48") << 7 << 7 << 48.0 << 24 << QByteArray();
        QTest::newRow("24/96 asked for 192") << QByteArray("24-96") << 27 << 7 << 96.0 << 24 << lower;
        QTest::newRow("24/192 at 7") << QByteArray("24-192") << 7 << 7 << 96.0 << 24 << QByteArray();
        QTest::newRow("24/192") << QByteArray("24-192") << 27 << 27 << 192.0 << 24 << QByteArray();
        QTest::newRow("24/176.4 at 7") << QByteArray("24-176.4") << 7 << 7 << 88.2 << 24 << QByteArray();
        QTest::newRow("24/176.4") << QByteArray("24-176.4") << 27 << 27 << 176.4 << 24 << QByteArray();
        QTest::newRow("excerpt") << QByteArray("restricted-sample") << 6 << 5 << 44.1 << 16 << rights;
    }

    void servesTheBestAvailableFormat()
    {
        QFETCH(QByteArray, kind);
        QFETCH(int, asked);
        QFETCH(int, format);
        QFETCH(double, kilohertz);
        QFETCH(int, bits);
        QFETCH(QByteArray, restriction);
        const Json json = m_client.json(m_client.signedCall(m_client.trackOfKind(kind.toStdString()), asked));
        QCOMPARE(json["format_id"], Json(format));
        QCOMPARE(json["sampling_rate"].get<double>(), kilohertz);
        QCOMPARE(json["sampling_rate"].is_number_integer(), kilohertz == int(kilohertz));
        QCOMPARE(json["bit_depth"], Json(bits));
        QCOMPARE(json["mime_type"], Json(format == 5 ? "audio/mpeg" : "audio/flac"));
        QVERIFY(json.contains("url"));
        QCOMPARE(json.contains("restrictions"), !restriction.isEmpty());
        if (!restriction.isEmpty())
            QCOMPARE(json["restrictions"][0]["code"], Json(restriction.toStdString()));
        if (kind == "restricted-sample") {
            QCOMPARE(json["sample"], Json(true));
            QCOMPARE(json["duration"], Json(30));
        }
    }

    void aForbiddenTrackHasNoUrl()
    {
        const Json json = m_client.json(m_client.signedCall(m_client.trackOfKind("restricted-no-stream"), 6));
        QVERIFY(!json.contains("url"));
        QCOMPARE(json["restrictions"][0]["code"], Json("TrackRestrictedByRightHolders"));
    }

    void unknownThingsAreNotFound_data()
    {
        QTest::addColumn<QByteArray>("call");
        for (const char* call :
             {"album/get?album_id=nothing", "album/get", "artist/get?artist_id=1", "artist/get?artist_id=x",
              "playlist/get?playlist_id=-5", "genre/get?genre_id=9999", "article/get?article_id=0",
              "user/get?user_id=3", "genre/list?parent_id=77", "track/reportStreamingStart?track_id=1",
              "no/such/method"})
            QTest::newRow(call) << QByteArray(call);
    }

    void unknownThingsAreNotFound()
    {
        QFETCH(QByteArray, call);
        const auto answer = m_client.api(call.toStdString());
        QCOMPARE(answer->status, 404);
        QCOMPARE(Client::json(answer)["status"], Json("error"));
        QVERIFY(!Client::json(answer)["message"].get<std::string>().empty());
    }

    void pagesFollowOffsetAndLimit_data()
    {
        QTest::addColumn<QByteArray>("query");
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("limit");
        QTest::addColumn<int>("count");
        QTest::newRow("nothing given") << QByteArray() << 0 << 50 << 50;
        QTest::newRow("a page") << QByteArray("&offset=40&limit=20") << 40 << 20 << 20;
        QTest::newRow("limit 0") << QByteArray("&limit=0") << 0 << 0 << 0;
        QTest::newRow("clipped") << QByteArray("&limit=5000") << 0 << 500 << 500;
        QTest::newRow("the last page") << QByteArray("&offset=1250&limit=100") << 1250 << 100 << 50;
        QTest::newRow("beyond the end") << QByteArray("&offset=9000") << 9000 << 50 << 0;
        QTest::newRow("nonsense") << QByteArray("&offset=-3&limit=x") << 0 << 50 << 50;
    }

    void pagesFollowOffsetAndLimit()
    {
        QFETCH(QByteArray, query);
        QFETCH(int, offset);
        QFETCH(int, limit);
        QFETCH(int, count);
        const Json page =
            m_client.json("favorite/getUserFavorites?type=tracks" + query.toStdString())["tracks"];
        QCOMPARE(page["offset"], Json(offset));
        QCOMPARE(page["limit"], Json(limit));
        QCOMPARE(page["total"], Json(1300));
        QCOMPARE(int(page["items"].size()), count);
    }

    void everyLargestPageStaysBelowTheReadLimit_data()
    {
        QTest::addColumn<QByteArray>("call");
        for (const char* call :
             {"favorite/getUserFavorites?type=tracks", "favorite/getUserFavorites?type=tracks&offset=500",
              "favorite/getUserFavorites?type=albums", "favorite/getUserFavorites?type=artists",
              "catalog/getFeatured?type=albums", "catalog/getFeatured?type=artists",
              "catalog/getFeatured?type=playlists", "catalog/getFeatured?type=articles",
              "purchase/getUserPurchases?flat=1", "track/search?query=night",
              "track/search?query=%D0%BA%D0%B0", "track/search?query=%CE%BB%CE%BF", "album/search?query=or",
              "album/search?query=%D0%BA%D0%B0", "artist/search?query=a", "playlist/search?query=a",
              "artist/get?artist_id=30011&extra=albums", "playlist/get?playlist_id=1100024&extra=tracks",
              "playlist/getUserPlaylists?x=1"})
            QTest::newRow(call) << QByteArray(call);
    }

    void everyLargestPageStaysBelowTheReadLimit()
    {
        QFETCH(QByteArray, call);
        const auto answer = m_client.api(call.toStdString() + "&limit=500");
        QCOMPARE(answer->status, 200);
        QVERIFY2(answer->body.size() < readLimitBytes, std::to_string(answer->body.size()).c_str());
    }

    void pagesAreAsHeavyAsTheServices()
    {
        const std::size_t albums = m_client.api("catalog/getFeatured?type=albums&limit=50")->body.size();
        QVERIFY(albums > 90000 && albums < 130000);
        QVERIFY(m_client.api("favorite/getUserFavorites?type=tracks&limit=500")->body.size() > 450000);
    }

    void theLibraryHasItsSizes()
    {
        const Json favourites = m_client.json("favorite/getUserFavorites?limit=1");
        QCOMPARE(favourites["tracks"]["total"], Json(1300));
        QCOMPARE(favourites["albums"]["total"], Json(300));
        QCOMPARE(favourites["artists"]["total"], Json(120));
        QVERIFY(favourites["tracks"]["items"][0].contains("favorited_at"));
        QCOMPARE(m_client.json("playlist/getUserPlaylists")["playlists"]["total"], Json(40));
        QCOMPARE(m_client.json("playlist/getUserPlaylists?filter=owner")["playlists"]["total"], Json(28));
        QCOMPARE(m_client.json("playlist/getUserPlaylists?filter=subscriber")["playlists"]["total"],
                 Json(12));
        const Json purchases = m_client.json("purchase/getUserPurchases?flat=1");
        QCOMPARE(purchases["albums"]["total"], Json(75));
        QCOMPARE(purchases["tracks"]["total"], Json(75));
        QVERIFY(purchases["tracks"]["items"][0].contains("purchased_at"));
    }

    void theLongPlaylistIsReachableToItsEnd()
    {
        const Json playlist =
            m_client.json("playlist/get?playlist_id=1100024&extra=tracks&offset=1990&limit=500");
        QCOMPARE(playlist["tracks_count"], Json(2000));
        QCOMPARE(playlist["tracks"]["total"], Json(2000));
        QCOMPARE(playlist["tracks"]["items"].size(), std::size_t(10));
        QVERIFY(hasKeys(playlist["tracks"]["items"][9],
                        {"position", "playlist_track_id", "created_at", "album"}));
        QCOMPARE(playlist["tracks"]["items"][9]["position"], Json(2000));
    }

    void recordsHaveTheirKeys()
    {
        const Json album = m_client.json("album/get?album_id=" + m_albumId);
        QVERIFY(hasKeys(album, {"id",
                                "title",
                                "version",
                                "artist",
                                "composer",
                                "genre",
                                "genres_list",
                                "label",
                                "image",
                                "released_at",
                                "duration",
                                "tracks_count",
                                "media_count",
                                "copyright",
                                "description",
                                "upc",
                                "url",
                                "parental_warning",
                                "popularity",
                                "hires",
                                "streamable",
                                "purchasable",
                                "displayable",
                                "maximum_bit_depth",
                                "maximum_sampling_rate",
                                "maximum_channel_count",
                                "articles",
                                "goodies",
                                "awards",
                                "tracks"}));
        QVERIFY(album["id"].is_string());
        QVERIFY(album.size() >= 45);
        const Json track = album["tracks"]["items"][0];
        QVERIFY(hasKeys(track, {"id", "title", "version", "work", "duration", "track_number", "media_number",
                                "isrc", "copyright", "performers", "performer", "composer"}));
        QVERIFY(!track.contains("album"));
        QVERIFY(track.size() >= 38);
        const Json listed = m_client.json("track/search?query=night")["tracks"]["items"][0];
        QVERIFY(hasKeys(listed["album"], {"id", "title", "artist", "image"}));
        const Json playlist = m_client.json("playlist/get?playlist_id=1100024");
        QVERIFY(hasKeys(playlist, {"id", "name", "description", "owner", "tracks_count", "users_count",
                                   "duration", "is_public", "is_collaborative", "created_at", "updated_at",
                                   "genres", "images", "images150", "images300"}));
        QVERIFY(!playlist.contains("tracks"));
        QVERIFY(hasKeys(m_client.json("artist/get?artist_id=30011"),
                        {"id", "name", "slug", "picture", "image", "albums_count", "biography"}));
        QVERIFY(hasKeys(m_client.json("article/get?article_id=171700"),
                        {"id", "title", "category", "abstract", "author", "content", "thumbnail",
                         "published_at", "url"}));
        QVERIFY(hasKeys(m_client.json("genre/get?genre_id=67"), {"id", "name", "slug", "color", "path"}));
    }

    void someFieldsAreNull()
    {
        const Json albums = m_client.json("catalog/getFeatured?type=albums&limit=200")["albums"]["items"];
        const Json tracks =
            m_client.json("favorite/getUserFavorites?type=tracks&limit=500")["tracks"]["items"];
        const Json artists = m_client.json("catalog/getFeatured?type=artists&limit=200")["artists"]["items"];
        const auto anyNull = [](const Json& items, const char* key) {
            return std::any_of(items.begin(), items.end(),
                               [key](const Json& item) { return item[key].is_null(); });
        };
        const auto anySet = [](const Json& items, const char* key) {
            return std::any_of(items.begin(), items.end(),
                               [key](const Json& item) { return !item[key].is_null(); });
        };
        for (const char* key : {"image", "version", "composer", "copyright"})
            QVERIFY2(anyNull(albums, key) && anySet(albums, key), key);
        for (const char* key : {"version", "composer", "copyright", "work", "performers"})
            QVERIFY2(anyNull(tracks, key) && anySet(tracks, key), key);
        for (const char* key : {"image", "picture", "biography"})
            QVERIFY2(anyNull(artists, key) && anySet(artists, key), key);
    }

    void featuredListsFollowTypeAndGenre()
    {
        const Json two = m_client.json("catalog/getFeatured?type=artists,playlists&limit=1");
        QVERIFY(two.contains("artists") && two.contains("playlists") && !two.contains("albums"));
        const Json all = m_client.json("catalog/getFeatured?limit=1");
        QCOMPARE(all.size(), std::size_t(4));
        const Json jazz = m_client.json("album/getFeatured?genre_ids=80&limit=100")["albums"];
        QVERIFY(jazz["total"] > 20 && jazz["total"] < 500);
        for (const Json& album : jazz["items"])
            QCOMPARE(album["genre"]["path"][0], Json(80));
    }

    void aGenresChildrenAreListedBelowIt()
    {
        const Json roots = m_client.json("genre/list");
        QVERIFY(roots["parent"].is_null());
        QCOMPARE(roots["genres"]["total"], Json(8));
        const Json children = m_client.json("genre/list?parent_id=64");
        QCOMPARE(children["parent"]["id"], Json(64));
        QCOMPARE(children["genres"]["items"][0]["path"], Json({64, 65}));
    }

    void aSearchFillsItsOwnListOnly_data()
    {
        QTest::addColumn<QByteArray>("kind");
        for (const char* kind : {"artist", "album", "track", "playlist"})
            QTest::newRow(kind) << QByteArray(kind);
    }

    void aSearchFillsItsOwnListOnly()
    {
        QFETCH(QByteArray, kind);
        const Json answer = m_client.json(kind.toStdString() + "/search?query=KA");
        QCOMPARE(answer["query"], Json("KA"));
        for (const char* list : {"artists", "albums", "tracks", "playlists"}) {
            QVERIFY(answer[list].contains("items"));
            QCOMPARE(!answer[list]["items"].empty(), kind + "s" == list);
        }
        const std::string name = kind == "artist" || kind == "playlist" ? "name" : "title";
        for (const Json& item : answer[kind.toStdString() + "s"]["items"])
            QVERIFY(sandbox::names::folded(item[name].get<std::string>()).find("ka") != std::string::npos);
    }

    void aCommonWordHasALargeTotalThatIsReachable()
    {
        const Json page = m_client.json("track/search?query=e&offset=60000&limit=10")["tracks"];
        QVERIFY(page["total"] > 60000);
        QCOMPARE(page["items"].size(), std::size_t(10));
    }

    void oddQueriesAreAnswered_data()
    {
        QTest::addColumn<QByteArray>("query");
        QTest::addColumn<QByteArray>("echo");
        QTest::newRow("empty") << QByteArray("") << QByteArray("");
        QTest::newRow("encoded") << QByteArray("a%2Bb%26c%3Dd%3F%23") << QByteArray("a+b&c=d?#");
        QTest::newRow("broken UTF-8") << QByteArray("%FF") << QByteArray("\xEF\xBF\xBD");
    }

    void oddQueriesAreAnswered()
    {
        QFETCH(QByteArray, query);
        QFETCH(QByteArray, echo);
        const Json answer = m_client.json("track/search?query=" + query.toStdString());
        QCOMPARE(answer["query"], Json(echo.toStdString()));
        QCOMPARE(answer["tracks"]["total"], Json(0));
    }

    void theApiIsFoundBelowTheRootToo()
    {
        const auto answer = m_client.http().Get("/genre/list", m_client.headers());
        QCOMPARE(answer->status, 200);
        QVERIFY(Client::json(answer).contains("genres"));
    }

    void onlyGetIsUnderstood()
    {
        const auto answer =
            m_client.http().Post("/api.json/0.2/user/login", "a=b", "application/x-www-form-urlencoded");
        QCOMPARE(answer->status, 405);
        QCOMPARE(m_client.api("genre/list")->status, 200);
    }

private:
    Client m_client;
    std::string m_albumId;
};

QTEST_GUILESS_MAIN(ServiceTest)
#include "ServiceTest.moc"

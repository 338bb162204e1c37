// How a range of rows becomes a page, and a page an answer.

#include "tests/module/moduletest.h"

#include <limits>

namespace {

constexpr int intMax = std::numeric_limits<int>::max();
constexpr int intMin = std::numeric_limits<int>::min();

} // namespace

class PagingTest : public ModuleTest
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

    void aRangeBecomesOffsetAndLimitAndBoundsTheRows_data()
    {
        Rows<int, int, QByteArray, int, int> row;
        row("a full first page", 0, 49, "offset=0&limit=50&", 50, 50);
        row("the first row alone", 0, 0, "offset=0&limit=1&", 1, 1);
        row("a single row", 7, 7, "offset=7&limit=1&", 1, 1);
        row("fewer items than asked for", 10, 19, "offset=10&limit=10&", 4, 4);
        row("no item", 10, 19, "offset=10&limit=10&", 0, 0);
        row("more items than asked for", 10, 12, "offset=10&limit=3&", 9, 3);
        row("last one before first", 5, 4, "offset=5&limit=0&", 3, 0);
        row("last well before first", 9, 2, "offset=9&", 3, 0);
        row("0 after the largest", intMax, 0, "offset=2147483647&", 3, 0);
        row("up to the largest", 0, intMax, "offset=0&limit=2147483647&", 3, 3);
        row("up to the largest from 1", 1, intMax, "offset=1&limit=2147483647&", 3, 3);
        row("up to the largest from 2", 2, intMax, "offset=2&limit=2147483646&", 3, 3);
        row("only the largest", intMax, intMax, "offset=2147483647&limit=1&", 2, 1);
        row("the two before the largest", intMax - 1, intMax, "offset=2147483646&limit=2&", 3, 2);
    }
    void aRangeBecomesOffsetAndLimitAndBoundsTheRows()
    {
        const auto [first, last, page, served, rows] = fetched<int, int, QByteArray, int, int>();
        serve("{\"total\":3,\"albums\":" + list(1200, albums(served)) + "}");
        const CMGetRowsRequest request(CMPath("qobuz:featured/albums"_s), first, last,
                                       {PelkRoles::Title(), PelkRoles::MediaData(), PelkRoles::Path()}, 7);
        host().root().getRowsRequest(request);
        QVERIFY(wait(request.reply()));
        QCOMPARE(targets(), QByteArrayList{"/api/catalog/getFeatured?" + page + "type=albums"});
        QVariantList expected;
        for (int i = 0; i < rows; ++i) // the page's first row is the first one asked for
            expected << QVariant(
                QVariantList{"Album %1"_s.arg(i), QVariant(), "qobuz:album?id=a%1"_s.arg(i)});
        const QVariantHash answer{{"rows"_s, expected}, {"rowsCount"_s, 1200}, {"rowsVersion"_s, 7}};
        QCOMPARE(variantLines(request.reply().value().variant()), variantLines(answer));
    }

    void everyRouteTakesARangeThatEndsBeforeItBegins_data()
    {
        Rows<QString, QByteArray, QByteArray> row;
        row.named("qobuz:playlists", "/api/playlist/getUserPlaylists?offset=5&limit=0",
                  "/api/playlist/getUserPlaylists?offset=5");
        row.named("qobuz:favourites/tracks", "/api/favorite/getUserFavorites?offset=5&limit=0&type=tracks",
                  "/api/favorite/getUserFavorites?offset=5&type=tracks");
        row.named("qobuz:purchases/albums", "/api/purchase/getUserPurchases?offset=5&limit=0&flat=1",
                  "/api/purchase/getUserPurchases?offset=5&flat=1");
        // A search for artists sends a limit only above 0, the other searches never.
        row.named("qobuz:search/artists?query=x", "/api/artist/search?offset=5&query=x",
                  "/api/artist/search?offset=5&query=x");
        row.named("qobuz:search/tracks?query=x", "/api/track/search?offset=5&query=x",
                  "/api/track/search?offset=5&query=x");
        row.named("qobuz:album?id=1", "/api/album/get?album_id=1&offset=5&limit=0",
                  "/api/album/get?album_id=1&offset=5");
        row.named("qobuz:playlist?id=1", "/api/playlist/get?playlist_id=1&offset=5&limit=0&extra=tracks",
                  "/api/playlist/get?playlist_id=1&offset=5&extra=tracks");
        row.named("qobuz:artist?id=1", "/api/artist/get?artist_id=1&offset=5&limit=0&extra=albums",
                  "/api/artist/get?artist_id=1&offset=5&extra=albums");
    }
    void everyRouteTakesARangeThatEndsBeforeItBegins()
    {
        const auto [path, oneBefore, wellBefore] = fetched<QString, QByteArray, QByteArray>();
        serve(everyList());
        for (const int last : {4, 0}) {
            const ModuleHost::Rows answer = host().rows(path, 5, last);
            QVERIFY(succeeded(answer));
            QCOMPARE(answer.rows, QVariantList());
            QVERIFY(answer.count > 0);
        }
        QCOMPARE(targets(), QList<QByteArray>({oneBefore, wellBefore}));
    }

    void aNegativeRangeIsRefusedWithoutARequest_data()
    {
        Rows<QString, int, int> row;
        const QString albums = "qobuz:featured/albums"_s;
        row("first is -1", albums, -1, 10);
        row("last is -1", albums, 0, -1);
        row("last is -1, first is not 0", albums, 10, -1);
        row("both are -1", albums, -1, -1);
        row("first is the least", albums, intMin, 0);
        row("last is the least", albums, 0, intMin);
        row("first is -1, last is the largest", albums, -1, intMax);
        // The range is looked at before the path.
        row("on a list of the host", "qobuz:featured/"_s, -1, 10);
        row("on the root", "qobuz:"_s, 0, -1);
        row("on a path of nothing", "qobuz:nowhere"_s, -1, -1);
    }
    void aNegativeRangeIsRefusedWithoutARequest()
    {
        const auto [path, first, last] = fetched<QString, int, int>();
        serve(everyList());
        const ModuleHost::Rows answer = host().rows(path, first, last);
        QVERIFY(answer.finished);
        const CMError expected(TrString(
            TrCharData{"bool QobuzBrowser::browse(const CMGetRowsRequest&)", "Bad rows request range"}, {}));
        QCOMPARE(variantLines(answer.error.variant()), variantLines(expected.variant()));
        QCOMPARE(answer.error.message().toString(), "Bad rows request range"_s);
        QCOMPARE(answer.rows, QVariantList());
        QCOMPARE(answer.count, 0);
        host().settle();
        QCOMPARE(server().requestCount(), 0);
    }

    void theRowsVersionIsReturnedAndNeverNegative_data()
    {
        Rows<int, int> row;
        row("0", 0, 0);
        row("7", 7, 7);
        row("the largest", intMax, intMax);
        row("-1", -1, 0);
        row("the least", intMin, 0);
    }
    void theRowsVersionIsReturnedAndNeverNegative()
    {
        const auto [asked, answered] = fetched<int, int>();
        serve(everyList());
        const ModuleHost::Rows answer = host().rows("qobuz:playlists"_s, 0, 49, {PelkRoles::Title()}, asked);
        QVERIFY(answer.finished);
        QCOMPARE(answer.rows.size(), 2);
        QCOMPARE(answer.version, answered);
    }

    void aRowHasTheRolesInTheRequestedOrder_data()
    {
        Rows<QStringList, QVariantList> row;
        const QVariant title = "First playlist"_s;
        const QVariant path = "qobuz:playlist?id=41"_s;
        row("two", QStringList({PelkRoles::Title(), PelkRoles::Path()}), QVariantList({title, path}));
        row("the other way round", QStringList({PelkRoles::Path(), PelkRoles::Title()}),
            QVariantList({path, title}));
        row("one twice", QStringList({PelkRoles::Title(), PelkRoles::ContainerType(), PelkRoles::Title()}),
            QVariantList({title, 10, title}));
        row("unknown ones", QStringList({"nonsense"_s, PelkRoles::Title(), "TITLE"_s, QString()}),
            QVariantList({QVariant(), title, QVariant(), QVariant()}));
        row("ones that a playlist has not",
            QStringList(
                {PelkRoles::AudioType(), PelkRoles::Value(), PelkRoles::PrePlay(), PelkRoles::SearchPath()}),
            QVariantList({QVariant(), QVariant(), QVariant(), QVariant()}));
        row("none", QStringList(), QVariantList());
    }
    void aRowHasTheRolesInTheRequestedOrder()
    {
        const auto [roles, row] = fetched<QStringList, QVariantList>();
        serve(everyList());
        const ModuleHost::Rows answer = host().rows("qobuz:playlists"_s, 0, 49, roles);
        QVERIFY(answer.finished);
        QCOMPARE(answer.rows.size(), 2);
        QCOMPARE(variantLines(answer.rows.at(0)), variantLines(row));
        QCOMPARE(answer.rows.at(1).toList().size(), roles.size());
        QCOMPARE(answer.count, 42);
    }

    void aMissingListHasNoRows_data()
    {
        Rows<QByteArray, int, int> row;
        row("no list", "{}", 0, 0);
        row("a null list", QByteArray(R"({"albums":null})"), 0, 0);
        row("no items", QByteArray(R"({"albums":{"total":3}})"), 0, 3);
        row("null items", QByteArray(R"({"albums":{"total":3,"items":null}})"), 0, 3);
        row("no total", QByteArray(R"({"albums":{"items":[{"id":"1","title":"A"}]}})"), 1, 0);
        row("a total as text", QByteArray(R"({"albums":{"total":"12","items":[{"id":"1","title":"A"}]}})"), 1,
            12);
        row("an item that is no object", QByteArray(R"({"albums":{"total":3,"items":[null,7,{}]}})"), 3, 3);
    }
    void aMissingListHasNoRows()
    {
        const auto [body, rows, total] = fetched<QByteArray, int, int>();
        serve(body);
        const ModuleHost::Rows answer = host().rows("qobuz:favourites/albums"_s, 0, 49);
        QVERIFY(succeeded(answer));
        QCOMPARE(answer.rows.size(), rows);
        QCOMPARE(answer.count, total);
    }

    void theRangeIsWrittenToTheLogBeforeTheRouteIsChosen_data()
    {
        Rows<QString, int, int, QStringList> row;
        row("a route", "qobuz:featured/albums"_s, 0, 49,
            QStringList{"browse request range: 0-49, path: \"featured/albums\" path: "
                        "\"qobuz:featured/albums\""_s});
        row("with a parameter", "qobuz:album?id=a%20b"_s, 10, 2,
            QStringList{"browse request range: 10-2, path: \"album\" path: \"qobuz:album?id=a%20b\""_s});
        row("no route", "qobuz:"_s, 0, intMax,
            QStringList{"browse request range: 0-2147483647, path: \"\" path: \"qobuz:\""_s});
        row("a bad range", "qobuz:featured/albums"_s, -1, 49, QStringList());
    }
    void theRangeIsWrittenToTheLogBeforeTheRouteIsChosen()
    {
        const auto [path, first, last, lines] = fetched<QString, int, int, QStringList>();
        serve(everyList());
        const Log log;
        QVERIFY(host().rows(path, first, last).finished);
        host().settle();
        QCOMPARE(log.traces().filter("browse request"_s), lines);
    }

    void buildingAReplyIsLoggedOnEntryAndExit()
    {
        serve("{\"albums\":" + list(1200, albums(5)) + "}");
        const Log log;
        QVERIFY(host().rows("qobuz:featured/albums"_s, 0, 2).finished);
        host().settle();
        QStringList found;
        const QList<LogCapture::Record> records = log.records();
        for (const LogCapture::Record& record : records) {
            if (!record.text.contains("sendBrowseReply"_s))
                continue;
            found << record.text;
            QCOMPARE(record.level, int(log4cplus::TRACE_LOG_LEVEL));
            QCOMPARE(record.file, "QobuzBrowser.cpp"_s);
        }
        QCOMPARE(found, QStringList({"Enter void QobuzBrowser::sendBrowseReply(const QList<PelkRoles>&, "
                                     "int, const CMGetRowsRequest&): Number of reply rows: 5 all "
                                     "rows: 1200"_s,
                                     "Leave void QobuzBrowser::sendBrowseReply(const QList<PelkRoles>&, "
                                     "int, const CMGetRowsRequest&): "_s}));
    }
};

QTEST_GUILESS_MAIN(PagingTest)
#include "paging_test.moc"

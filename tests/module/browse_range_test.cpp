#include "browsefixture.h"
#include "tests/support/logcapture.h"
#include "tests/support/variantlines.h"

#include <QtTest>

#include <limits>
#include <memory>

namespace {

constexpr int intMax = std::numeric_limits<int>::max();
constexpr int intMin = std::numeric_limits<int>::min();

} // namespace

/// How a range of rows becomes a page, and a page an answer.
class BrowseRangeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_fixture = std::make_unique<BrowseFixture>(); }
    void cleanupTestCase() { m_fixture.reset(); }

    void aRangeBecomesOffsetAndLimitAndBoundsTheRows_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<int>("served");
        QTest::addColumn<int>("rows");

        const auto row = [](const char* name, int first, int last, const char* page, int served, int rows) {
            QTest::newRow(name) << first << last << QByteArray(page) << served << rows;
        };
        row("a full first page", 0, 49, "offset=0&limit=50&", 50, 50);
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
        QFETCH(int, first);
        QFETCH(int, last);
        QFETCH(QByteArray, page);
        QFETCH(int, served);
        QFETCH(int, rows);
        m_fixture->serve("{\"albums\":" + BrowseFixture::list(1200, BrowseFixture::albums(served)) + "}");
        const ModuleHost::Rows answer =
            m_fixture->host.rows(QStringLiteral("qobuz:featured/albums"), first, last);
        QVERIFY(answer.finished);
        QVERIFY(!answer.error.isSet());
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{"/api/catalog/getFeatured?" + page + "type=albums"});
        QStringList titles;
        for (int i = 0; i < rows; ++i)
            titles << QStringLiteral("Album %1").arg(i); // the page's first row is the first one asked for
        QCOMPARE(BrowseFixture::texts(answer.rows), titles);
        QCOMPARE(answer.count, 1200);
    }

    void everyRouteTakesARangeThatEndsBeforeItBegins_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("oneBefore");
        QTest::addColumn<QByteArray>("wellBefore");

        const auto row = [](const char* path, const char* oneBefore, const char* wellBefore) {
            QTest::newRow(path) << QString::fromUtf8(path) << QByteArray(oneBefore) << QByteArray(wellBefore);
        };
        row("qobuz:playlists", "/api/playlist/getUserPlaylists?offset=5&limit=0",
            "/api/playlist/getUserPlaylists?offset=5");
        row("qobuz:favourites/tracks", "/api/favorite/getUserFavorites?offset=5&limit=0&type=tracks",
            "/api/favorite/getUserFavorites?offset=5&type=tracks");
        row("qobuz:purchases/albums", "/api/purchase/getUserPurchases?offset=5&limit=0&flat=1",
            "/api/purchase/getUserPurchases?offset=5&flat=1");
        // A search for artists sends a limit only above 0, the other searches never.
        row("qobuz:search/artists?query=x", "/api/artist/search?offset=5&query=x",
            "/api/artist/search?offset=5&query=x");
        row("qobuz:search/tracks?query=x", "/api/track/search?offset=5&query=x",
            "/api/track/search?offset=5&query=x");
        row("qobuz:album?id=1", "/api/album/get?album_id=1&offset=5&limit=0",
            "/api/album/get?album_id=1&offset=5");
        row("qobuz:playlist?id=1", "/api/playlist/get?playlist_id=1&offset=5&limit=0&extra=tracks",
            "/api/playlist/get?playlist_id=1&offset=5&extra=tracks");
        row("qobuz:artist?id=1", "/api/artist/get?artist_id=1&offset=5&limit=0&extra=albums",
            "/api/artist/get?artist_id=1&offset=5&extra=albums");
    }

    void everyRouteTakesARangeThatEndsBeforeItBegins()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, oneBefore);
        QFETCH(QByteArray, wellBefore);
        m_fixture->serve(BrowseFixture::everyList());
        for (const int last : {4, 0}) {
            const ModuleHost::Rows answer = m_fixture->host.rows(path, 5, last);
            QVERIFY(answer.finished);
            QVERIFY(!answer.error.isSet());
            QCOMPARE(answer.rows, QVariantList());
            QVERIFY(answer.count > 0);
        }
        QCOMPARE(m_fixture->targets(), QList<QByteArray>({oneBefore, wellBefore}));
    }

    void aNegativeRangeIsRefusedWithoutAskingTheService_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");

        const QString albums = QStringLiteral("qobuz:featured/albums");
        QTest::newRow("first is -1") << albums << -1 << 10;
        QTest::newRow("last is -1") << albums << 0 << -1;
        QTest::newRow("last is -1, first is not 0") << albums << 10 << -1;
        QTest::newRow("both are -1") << albums << -1 << -1;
        QTest::newRow("first is the least") << albums << intMin << 0;
        QTest::newRow("last is the least") << albums << 0 << intMin;
        QTest::newRow("first is -1, last is the largest") << albums << -1 << intMax;
        // The range is looked at before the path.
        QTest::newRow("on a list of the host") << QStringLiteral("qobuz:featured/") << -1 << 10;
        QTest::newRow("on the root") << QStringLiteral("qobuz:") << 0 << -1;
        QTest::newRow("on a path of nothing") << QStringLiteral("qobuz:nowhere") << -1 << -1;
    }

    void aNegativeRangeIsRefusedWithoutAskingTheService()
    {
        QFETCH(QString, path);
        QFETCH(int, first);
        QFETCH(int, last);
        m_fixture->serve(BrowseFixture::everyList());
        const ModuleHost::Rows answer = m_fixture->host.rows(path, first, last);
        QVERIFY(answer.finished);
        const CMError expected(TrString(
            TrCharData{"bool QobuzBrowser::browse(const CMGetRowsRequest&)", "Bad rows request range"}, {}));
        QCOMPARE(variantLines(answer.error.variant()), variantLines(expected.variant()));
        QCOMPARE(answer.error.message().toString(), QStringLiteral("Bad rows request range"));
        QCOMPARE(answer.rows, QVariantList());
        QCOMPARE(answer.count, 0);
        m_fixture->host.settle();
        QCOMPARE(m_fixture->server.requestCount(), 0);
    }

    void theRowsVersionComesBackAndNeverBelowZero_data()
    {
        QTest::addColumn<int>("asked");
        QTest::addColumn<int>("answered");
        QTest::newRow("0") << 0 << 0;
        QTest::newRow("7") << 7 << 7;
        QTest::newRow("the largest") << intMax << intMax;
        QTest::newRow("-1") << -1 << 0;
        QTest::newRow("the least") << intMin << 0;
    }

    void theRowsVersionComesBackAndNeverBelowZero()
    {
        QFETCH(int, asked);
        QFETCH(int, answered);
        m_fixture->serve(BrowseFixture::everyList());
        const ModuleHost::Rows answer =
            m_fixture->host.rows(QStringLiteral("qobuz:playlists"), 0, 49, {PelkRoles::Title()}, asked);
        QVERIFY(answer.finished);
        QCOMPARE(answer.rows.size(), 2);
        QCOMPARE(answer.version, answered);
    }

    void aRowCarriesTheRolesInTheOrderAsked_data()
    {
        QTest::addColumn<QStringList>("roles");
        QTest::addColumn<QVariantList>("row");

        const QVariant title = QStringLiteral("First playlist");
        const QVariant path = QStringLiteral("qobuz:playlist?id=41");
        QTest::newRow("two") << QStringList({PelkRoles::Title(), PelkRoles::Path()})
                             << QVariantList({title, path});
        QTest::newRow("the other way round")
            << QStringList({PelkRoles::Path(), PelkRoles::Title()}) << QVariantList({path, title});
        QTest::newRow("one twice") << QStringList({PelkRoles::Title(), PelkRoles::ContainerType(),
                                                   PelkRoles::Title()})
                                   << QVariantList({title, 10, title});
        QTest::newRow("unknown ones") << QStringList({QStringLiteral("nonsense"), PelkRoles::Title(),
                                                      QStringLiteral("TITLE"), QString()})
                                      << QVariantList({QVariant(), title, QVariant(), QVariant()});
        QTest::newRow("ones that a playlist has not")
            << QStringList({PelkRoles::AudioType(), PelkRoles::Value(), PelkRoles::PrePlay(),
                            PelkRoles::SearchPath()})
            << QVariantList({QVariant(), QVariant(), QVariant(), QVariant()});
        QTest::newRow("none") << QStringList() << QVariantList();
    }

    void aRowCarriesTheRolesInTheOrderAsked()
    {
        QFETCH(QStringList, roles);
        QFETCH(QVariantList, row);
        m_fixture->serve(BrowseFixture::everyList());
        const ModuleHost::Rows answer = m_fixture->host.rows(QStringLiteral("qobuz:playlists"), 0, 49, roles);
        QVERIFY(answer.finished);
        QCOMPARE(answer.rows.size(), 2);
        QCOMPARE(variantLines(answer.rows.at(0)), variantLines(row));
        QCOMPARE(answer.rows.at(1).toList().size(), roles.size());
        QCOMPARE(answer.count, 42);
    }

    void aListThatTheAnswerLacksHasNoRows_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("total");
        QTest::newRow("no list") << QByteArray("{}") << 0 << 0;
        QTest::newRow("a null list") << QByteArray(R"({"albums":null})") << 0 << 0;
        QTest::newRow("no items") << QByteArray(R"({"albums":{"total":3}})") << 0 << 3;
        QTest::newRow("null items") << QByteArray(R"({"albums":{"total":3,"items":null}})") << 0 << 3;
        QTest::newRow("no total") << QByteArray(R"({"albums":{"items":[{"id":"1","title":"A"}]}})") << 1 << 0;
        QTest::newRow("a total as text")
            << QByteArray(R"({"albums":{"total":"12","items":[{"id":"1","title":"A"}]}})") << 1 << 12;
        QTest::newRow("an item that is no object")
            << QByteArray(R"({"albums":{"total":3,"items":[null,7,{}]}})") << 3 << 3;
    }

    void aListThatTheAnswerLacksHasNoRows()
    {
        QFETCH(QByteArray, body);
        QFETCH(int, rows);
        QFETCH(int, total);
        m_fixture->serve(body);
        const ModuleHost::Rows answer =
            m_fixture->host.rows(QStringLiteral("qobuz:favourites/albums"), 0, 49);
        QVERIFY(answer.finished);
        QVERIFY(!answer.error.isSet());
        QCOMPARE(answer.rows.size(), rows);
        QCOMPARE(answer.count, total);
    }

    void theRangeIsWrittenToTheLogBeforeTheRouteIsChosen_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");
        QTest::addColumn<QStringList>("lines");

        QTest::newRow("a route") << QStringLiteral("qobuz:featured/albums") << 0 << 49
                                 << QStringList{QStringLiteral(
                                        "browse request range: 0-49, path: \"featured/albums\" path: "
                                        "\"qobuz:featured/albums\"")};
        QTest::newRow("with a parameter")
            << QStringLiteral("qobuz:album?id=a%20b") << 10 << 2
            << QStringList{QStringLiteral(
                   "browse request range: 10-2, path: \"album\" path: \"qobuz:album?id=a%20b\"")};
        QTest::newRow("no route") << QStringLiteral("qobuz:") << 0 << intMax
                                  << QStringList{QStringLiteral(
                                         "browse request range: 0-2147483647, path: \"\" path: \"qobuz:\"")};
        QTest::newRow("a bad range") << QStringLiteral("qobuz:featured/albums") << -1 << 49 << QStringList();
    }

    void theRangeIsWrittenToTheLogBeforeTheRouteIsChosen()
    {
        QFETCH(QString, path);
        QFETCH(int, first);
        QFETCH(int, last);
        QFETCH(QStringList, lines);
        m_fixture->serve(BrowseFixture::everyList());
        const LogCapture log(QStringLiteral("Qobuz"));
        QVERIFY(m_fixture->host.rows(path, first, last).finished);
        m_fixture->host.settle();
        QCOMPARE(log.texts(log4cplus::TRACE_LOG_LEVEL).filter(QStringLiteral("browse request")), lines);
    }

    void anAnswerIsWrittenToTheLogOnEntryAndExit()
    {
        m_fixture->serve("{\"albums\":" + BrowseFixture::list(1200, BrowseFixture::albums(5)) + "}");
        const LogCapture log(QStringLiteral("Qobuz"));
        QVERIFY(m_fixture->host.rows(QStringLiteral("qobuz:featured/albums"), 0, 2).finished);
        m_fixture->host.settle();
        QStringList found;
        const QList<LogCapture::Record> records = log.records();
        for (const LogCapture::Record& record : records) {
            if (!record.text.contains(QStringLiteral("sendBrowseReply")))
                continue;
            found << record.text;
            QCOMPARE(record.level, int(log4cplus::TRACE_LOG_LEVEL));
            QCOMPARE(record.file, QStringLiteral("QobuzBrowser.cpp"));
        }
        QCOMPARE(
            found,
            QStringList({QStringLiteral("Enter void QobuzBrowser::sendBrowseReply(const QList<PelkRoles>&, "
                                        "int, const CMGetRowsRequest&): Number of reply rows: 5 all "
                                        "rows: 1200"),
                         QStringLiteral("Leave void QobuzBrowser::sendBrowseReply(const QList<PelkRoles>&, "
                                        "int, const CMGetRowsRequest&): ")}));
    }

private:
    std::unique_ptr<BrowseFixture> m_fixture;
};

QTEST_GUILESS_MAIN(BrowseRangeTest)
#include "browse_range_test.moc"

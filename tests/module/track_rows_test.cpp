#include "rowfixture.h"
#include "tests/support/variantlines.h"

#include <QtTest>

#include <memory>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

/// A track with everything that the service sends. (No "//" and no escaped quotes in the raw texts: moc does
/// not know raw strings, and would find no class behind them.)
const char fullTrack[] = R"({
    "id": 134217801, "title": "Tide \u0022One\u0022\r\nsecond line", "version": "Live", "work": "Tides", "duration": 251,
    "track_number": 4, "media_number": 2, "isrc": "XX0000000001", "copyright": "Track notice",
    "performers": "Ada Quill, Vocals\r - Ben Oder, Bass",
    "performer": {"id": 5, "name": "Ada Quill"}, "composer": {"id": 6, "name": "\u97f3 Writer"},
    "album": {
        "id": "0004012", "title": "Harbour & <Light>", "artist": {"id": 7, "name": "The Quills"},
        "composer": {"name": "Not this one"}, "genre": {"id": 3, "name": "Jazz"}, "genres_list": ["Pop"],
        "image": {"thumbnail": "img/50", "small": "img/230", "large": "img/600"},
        "released_at": 1262304000, "copyright": "Album notice", "maximum_sampling_rate": 44.1
    },
    "hires": true, "streamable": true, "maximum_bit_depth": 24, "favorited_at": 1500000000
})";

/// Its meta data.
QVariantHash fullMetaData()
{
    return {{text("genre"), text("Jazz")},
            {text("composer"), text("\xE9\x9F\xB3 Writer")},
            {text("performer"), text("Ada Quill")},
            {text("album"), text("Harbour & <Light>")},
            {text("artist"), text("The Quills")},
            {text("serviceID"), text("qobuz")},
            {text("copyright"), text("Track notice")},
            {text("originalTrackNumber"), 4},
            {text("date"), 1262304000LL},
            {text("allowSeekTime"), true},
            {text("allowSeekBytes"), true},
            {text("allowPause"), true},
            {text("prePlayPath"), text("qobuz:preplay?id=134217801")}};
}

QVariantHash fullRow()
{
    return {{text("title"), text("Tide \"One\"\r\nsecond line")},       {text("icon"), text("img/600")},
            {text("path"), text("qobuz:track?id=134217801")},           {text("type"), 3},
            {text("mediaData"), RowFixture::mediaData(fullMetaData())}, {text("audioType"), 1}};
}

/// The meta data of a track of which only the id is known, and which has no album.
QVariantHash bareMetaData()
{
    QVariantHash metaData{
        {text("originalTrackNumber"), 0}, {text("serviceID"), text("qobuz")},
        {text("allowSeekTime"), true},    {text("allowSeekBytes"), true},
        {text("allowPause"), true},       {text("prePlayPath"), text("qobuz:preplay?id=9")}};
    for (const char* key : {"genre", "composer", "performer", "album", "artist", "copyright"})
        metaData.insert(text(key), QString());
    return metaData;
}

QVariantHash bareRow(const QVariantHash& metaDataChanges = {}, const QVariantHash& changes = {})
{
    const QVariantHash row{
        {text("title"), QString()},
        {text("path"), text("qobuz:track?id=9")},
        {text("type"), 3},
        {text("mediaData"), RowFixture::mediaData(RowFixture::with(bareMetaData(), metaDataChanges))},
        {text("audioType"), 1}};
    return RowFixture::with(row, changes);
}

} // namespace

/// Tracks as rows, field by field, wherever they come from.
class TrackRowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_fixture = std::make_unique<RowFixture>(); }
    void cleanupTestCase() { m_fixture.reset(); }

    void aTrackBecomesARow_data()
    {
        QTest::addColumn<QByteArray>("track");
        QTest::addColumn<QVariantHash>("row");

        const auto row = [](const char* name, const char* track, const QVariantHash& expected) {
            QTest::newRow(name) << QByteArray(track) << expected;
        };
        // An album of any content gives a date and an icon, if only an empty one.
        const QVariantHash dated{{text("date"), 0LL}};
        const QVariantHash iconned{{text("icon"), QString()}};

        row("with everything", fullTrack, fullRow());
        row("with an id alone", R"({"id":9})", bareRow());
        row("with null where there can be null",
            R"({"id":9,"title":null,"copyright":null,"performer":null,"composer":null,"album":null,
                "track_number":null})",
            bareRow());
        row("with empty objects", R"({"id":9,"performer":{},"composer":{},"album":{}})", bareRow());
        row("with a numeric id as text", R"({"id":"9"})", bareRow());
        row("with a number as text", R"({"id":9,"track_number":"12"})",
            bareRow({{text("originalTrackNumber"), 12}}));
        row("with the largest id", R"({"id":2147483647})",
            bareRow({{text("prePlayPath"), text("qobuz:preplay?id=2147483647")}},
                    {{text("path"), text("qobuz:track?id=2147483647")}}));
        row("without album", R"({"id":9,"title":"T","copyright":"C","performer":{"name":"P"},
                                 "composer":{"name":"K"},"track_number":3})",
            bareRow({{text("copyright"), text("C")},
                     {text("performer"), text("P")},
                     {text("composer"), text("K")},
                     {text("originalTrackNumber"), 3}},
                    {{text("title"), text("T")}}));
        row("with an album that has a title alone", R"({"id":9,"album":{"title":"A"}})",
            bareRow({{text("album"), text("A")}, {text("date"), 0LL}}, iconned));
        row("with an album of nulls",
            R"({"id":9,"album":{"title":null,"artist":null,"genre":null,"image":null,"copyright":null,
                                "released_at":null}})",
            bareRow(dated, iconned));
        row("with an album of empty objects", R"({"id":9,"album":{"artist":{},"genre":{},"image":{}}})",
            bareRow(dated, iconned));
        row("with an artist and a genre without name",
            R"({"id":9,"album":{"artist":{"id":1},"genre":{"id":2}}})", bareRow(dated, iconned));
        row("with the album's artist, not the performer",
            R"({"id":9,"performer":{"name":"P"},"album":{"artist":{"name":"R"}}})",
            bareRow({{text("performer"), text("P")}, {text("artist"), text("R")}, {text("date"), 0LL}},
                    iconned));
        row("with the album's genre", R"({"id":9,"genre":{"name":"X"},"album":{"genre":{"name":"G"}}})",
            bareRow({{text("genre"), text("G")}, {text("date"), 0LL}}, iconned));
        row("with the track's own composer", R"({"id":9,"album":{"composer":{"name":"X"}}})",
            bareRow(dated, iconned));
        row("with the album's copyright where the track's is empty",
            R"({"id":9,"copyright":"","album":{"copyright":"A"}})",
            bareRow({{text("copyright"), text("A")}, {text("date"), 0LL}}, iconned));
        row("with the album's copyright where the track's is null",
            R"({"id":9,"copyright":null,"album":{"copyright":"A"}})",
            bareRow({{text("copyright"), text("A")}, {text("date"), 0LL}}, iconned));
        row("with the track's copyright before the album's",
            R"({"id":9,"copyright":"T","album":{"copyright":"A"}})",
            bareRow({{text("copyright"), text("T")}, {text("date"), 0LL}}, iconned));
        row("from before 1970", R"({"id":9,"album":{"released_at":-315619200}})",
            bareRow({{text("date"), -315619200LL}}, iconned));
        row("from a day beyond 32 bits", R"({"id":9,"album":{"released_at":4102444800}})",
            bareRow({{text("date"), 4102444800LL}}, iconned));
        row("with a day as text", R"({"id":9,"album":{"released_at":"86400"}})",
            bareRow({{text("date"), 86400LL}}, iconned));
        row("with a title that a translation or markup would change",
            R"({"id":9,"title":"100 %1 <b>A</b> \ud83c\udfb5\r"})",
            bareRow({}, {{text("title"), text("100 %1 <b>A</b> \xF0\x9F\x8E\xB5\r")}}));
        row("with a picture of the track, which is none", R"({"id":9,"image":{"large":"img/x"}})", bareRow());
    }

    void aTrackBecomesARow()
    {
        QFETCH(QByteArray, track);
        QFETCH(QVariantHash, row);
        const QVariantHash found =
            m_fixture->rowOf(track, "tracks", QStringLiteral("qobuz:favourites/tracks"));
        QCOMPARE(variantLines(found), variantLines(row));
    }

    void aTrackIsTheSameRowInEveryList_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* path : {"qobuz:favourites/tracks", "qobuz:purchases/tracks",
                                 "qobuz:search/tracks?query=x", "qobuz:playlist?id=1"})
            QTest::newRow(path) << QString::fromUtf8(path);
    }

    void aTrackIsTheSameRowInEveryList()
    {
        QFETCH(QString, path);
        QCOMPARE(variantLines(m_fixture->rowOf(fullTrack, "tracks", path)), variantLines(fullRow()));
    }

    void theTracksOfAnAlbumTakeWhatTheyLackFromIt()
    {
        const QByteArray album = R"({"id":"0004012","title":"Harbour","artist":{"name":"The Quills"},
            "genre":{"name":"Jazz"},"image":{"small":"img/230"},"released_at":-86400,
            "copyright":"Album notice","tracks":)" +
                                 BrowseFixture::list(2, {R"({"id":9,"title":"One","track_number":1})",
                                                         R"({"id":9,"title":"Two","copyright":"Own notice",
                                                             "performer":{"name":"Ada Quill"}})"}) +
                                 "}";
        const QVariantHash ofAlbum{{text("album"), text("Harbour")},
                                   {text("artist"), text("The Quills")},
                                   {text("genre"), text("Jazz")},
                                   {text("date"), -86400LL},
                                   {text("copyright"), text("Album notice")}};
        const QVariantHash icon{{text("icon"), text("img/230")}};
        const QList<QVariantHash> rows = m_fixture->rowsOf(album, QStringLiteral("qobuz:album?id=0004012"));
        QCOMPARE(rows.size(), 2);
        QCOMPARE(variantLines(rows.at(0)),
                 variantLines(bareRow(RowFixture::with(ofAlbum, {{text("originalTrackNumber"), 1}}),
                                      RowFixture::with(icon, {{text("title"), text("One")}}))));
        QCOMPARE(variantLines(rows.at(1)),
                 variantLines(bareRow(RowFixture::with(ofAlbum, {{text("copyright"), text("Own notice")},
                                                                 {text("performer"), text("Ada Quill")}}),
                                      RowFixture::with(icon, {{text("title"), text("Two")}}))));
    }

    void theTracksOfAnAlbumTakeItInPlaceOfTheirOwn()
    {
        const QByteArray album = R"({"id":"1","title":"Harbour","tracks":)" +
                                 BrowseFixture::list(1, {R"({"id":9,"album":{"title":"Other","released_at":5,
                                        "image":{"large":"img/other"},"artist":{"name":"Other"}}})"}) +
                                 "}";
        const QList<QVariantHash> rows = m_fixture->rowsOf(album, QStringLiteral("qobuz:album?id=1"));
        QCOMPARE(rows.size(), 1);
        QCOMPARE(variantLines(rows.at(0)),
                 variantLines(bareRow({{text("album"), text("Harbour")}, {text("date"), 0LL}},
                                      {{text("icon"), QString()}})));
    }

    void theTracksOfAPlaylistKeepTheirOwnAlbumsAndOrder()
    {
        const QByteArray playlist =
            R"({"id":1,"name":"List","title":"List","images300":["img/list"],"genre":{"name":"X"},
                "tracks":)" +
            BrowseFixture::list(3, {R"({"id":9,"position":2,"album":{"title":"B","released_at":2}})",
                                    R"({"id":9,"position":1})",
                                    R"({"id":9,"position":3,"album":{"title":"A","released_at":1}})"}) +
            "}";
        const QList<QVariantHash> rows = m_fixture->rowsOf(playlist, QStringLiteral("qobuz:playlist?id=1"));
        QCOMPARE(rows.size(), 3);
        const QVariantHash icon{{text("icon"), QString()}};
        QCOMPARE(variantLines(rows.at(0)),
                 variantLines(bareRow({{text("album"), text("B")}, {text("date"), 2LL}}, icon)));
        QCOMPARE(variantLines(rows.at(1)), variantLines(bareRow()));
        QCOMPARE(variantLines(rows.at(2)),
                 variantLines(bareRow({{text("album"), text("A")}, {text("date"), 1LL}}, icon)));
    }

    void theLargestPictureOfTheAlbumIsTheIcon_data()
    {
        QTest::addColumn<QByteArray>("image");
        QTest::addColumn<QString>("icon");

        const auto row = [](const char* name, const char* image, const char* icon) {
            QTest::newRow(name) << QByteArray(image) << QString::fromUtf8(icon);
        };
        row("all sizes",
            R"({"thumbnail":"t","small":"s","medium":"m","large":"l","extralarge":"x","mega":"g","back":"b"})",
            "x");
        row("extralarge empty", R"({"thumbnail":"t","small":"s","medium":"m","large":"l","extralarge":""})",
            "l");
        row("extralarge null", R"({"thumbnail":"t","small":"s","medium":"m","large":"l","extralarge":null})",
            "l");
        row("up to medium", R"({"thumbnail":"t","small":"s","medium":"m"})", "m");
        row("large empty", R"({"thumbnail":"t","small":"s","medium":"m","large":""})", "m");
        row("up to small", R"({"thumbnail":"t","small":"s"})", "s");
        row("only a thumbnail", R"({"thumbnail":"t"})", "t");
        row("only a thumbnail, others empty",
            R"({"thumbnail":"t","small":"","medium":"","large":"","extralarge":""})", "t");
        row("an empty thumbnail", R"({"thumbnail":""})", "");
        row("none that counts", R"({"mega":"g","back":"b"})", "");
        row("no size", "{}", "");
        row("no object", R"("img/x")", "");
        row("null", "null", "");
    }

    void theLargestPictureOfTheAlbumIsTheIcon()
    {
        QFETCH(QByteArray, image);
        QFETCH(QString, icon);
        const QByteArray track = "{\"id\":9,\"album\":{\"id\":\"1\",\"image\":" + image + "}}";
        const QVariantHash row = m_fixture->rowOf(track, "tracks", QStringLiteral("qobuz:purchases/tracks"));
        QCOMPARE(variantLines(row.value(PelkRoles::Icon())), variantLines(icon));
    }

private:
    std::unique_ptr<RowFixture> m_fixture;
};

QTEST_GUILESS_MAIN(TrackRowsTest)
#include "track_rows_test.moc"

// Every kind of record as a row, field by field and from every list, and the path from a row to its content.

#include "api/core/json/pelkjson.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "modules/qobuz/QobuzBrowser.h"
#include "tests/module/moduletest.h"

namespace {

/// Meta data as stored in the media data of a row.
QVariantHash mediaData(const QVariantHash& metaData)
{
    return {{"metaData"_s, metaData}};
}

/// `hash` with the entries of `changes` put in or, where those are invalid, taken out.
QVariantHash with(QVariantHash hash, const QVariantHash& changes)
{
    for (auto it = changes.begin(); it != changes.end(); ++it) {
        if (it.value().isValid())
            hash.insert(it.key(), it.value());
        else
            hash.remove(it.key());
    }
    return hash;
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
    return {{"genre"_s, "Jazz"_s},
            {"composer"_s, "\xE9\x9F\xB3 Writer"_s},
            {"performer"_s, "Ada Quill"_s},
            {"album"_s, "Harbour & <Light>"_s},
            {"artist"_s, "The Quills"_s},
            {"serviceID"_s, "qobuz"_s},
            {"copyright"_s, "Track notice"_s},
            {"originalTrackNumber"_s, 4},
            {"date"_s, 1262304000LL},
            {"allowSeekTime"_s, true},
            {"allowSeekBytes"_s, true},
            {"allowPause"_s, true},
            {"prePlayPath"_s, "qobuz:preplay?id=134217801"_s}};
}

QVariantHash fullRow()
{
    return {{"title"_s, "Tide \"One\"\r\nsecond line"_s}, {"icon"_s, "img/600"_s},
            {"path"_s, "qobuz:track?id=134217801"_s},     {"type"_s, 3},
            {"mediaData"_s, mediaData(fullMetaData())},   {"audioType"_s, 1}};
}

/// The meta data of a track of which only the id is known, and which has no album.
QVariantHash bareMetaData()
{
    QVariantHash metaData{{"originalTrackNumber"_s, 0}, {"serviceID"_s, "qobuz"_s},
                          {"allowSeekTime"_s, true},    {"allowSeekBytes"_s, true},
                          {"allowPause"_s, true},       {"prePlayPath"_s, "qobuz:preplay?id=9"_s}};
    for (const char* key : {"genre", "composer", "performer", "album", "artist", "copyright"})
        metaData.insert(QString::fromUtf8(key), QString());
    return metaData;
}

QVariantHash bareRow(const QVariantHash& metaDataChanges = {}, const QVariantHash& changes = {})
{
    const QVariantHash row{{"title"_s, QString()},
                           {"path"_s, "qobuz:track?id=9"_s},
                           {"type"_s, 3},
                           {"mediaData"_s, mediaData(with(bareMetaData(), metaDataChanges))},
                           {"audioType"_s, 1}};
    return with(row, changes);
}

const char fullAlbum[] = R"({
    "id": "0004012", "title": "Harbour & <Light>\r", "version": "Remastered",
    "artist": {"id": 7, "name": "The Quills", "image": {"extralarge": "img/artist"}},
    "composer": {"name": "Composer"}, "genre": {"id": 3, "name": "Jazz"}, "label": {"name": "Label"},
    "image": {"thumbnail": "img/50", "small": "img/230", "large": "img/600"},
    "released_at": 1262304000, "copyright": "Notice", "description": "<p>Text</p>", "tracks_count": 9,
    "hires": true, "maximum_bit_depth": 24, "tracks": {"total": 9, "items": []}
})";

QVariantHash albumRow(const QVariantHash& changes = {})
{
    const QVariantHash row{{"title"_s, QString()}, {"icon"_s, QString()},  {"path"_s, "qobuz:album?id="_s},
                           {"type"_s, 1},          {"containerType"_s, 2}, {"containerPlayable"_s, true}};
    return with(row, changes);
}

QVariantHash fullAlbumRow()
{
    return albumRow({{"title"_s, "Harbour & <Light>\r"_s},
                     {"icon"_s, "img/600"_s},
                     {"path"_s, "qobuz:album?id=0004012"_s}});
}

const char fullArtist[] = R"({
    "id": 268435457, "name": "\u97f3 & The Quills", "slug": "quills", "picture": "img/picture",
    "image": {"small": "img/s", "medium": "img/m", "large": "img/l",
              "extralarge": "img/x", "mega": "img/g"},
    "albums_count": 12, "biography": {"summary": "Short", "content": "<p>Long</p>"}
})";

QVariantHash artistRow(const char* name, const char* icon, const char* id)
{
    return {{"title"_s, QString::fromUtf8(name)},
            {"icon"_s, QString::fromUtf8(icon)},
            {"path"_s, "qobuz:artist?id="_s + QString::fromUtf8(id)},
            {"type"_s, 1},
            {"containerType"_s, 1},
            {"containerPlayable"_s, true},
            {"audioType"_s, 1},
            {"mediaData"_s, mediaData({{"artist"_s, QString::fromUtf8(name)}, {"serviceID"_s, "qobuz"_s}})}};
}

const char fullPlaylist[] = R"({
    "id": 134217729, "name": "Rainy \u0022Days\u0022\r", "description": "Text", "owner": {"id": 2, "name": "Cleo"},
    "tracks_count": 30, "duration": 7000, "is_public": true, "created_at": 1500000000,
    "genres": [{"id": 3, "name": "Jazz", "percent": 60.5}, {"id": 4, "name": "Pop"}],
    "images": ["img/50a"], "images150": ["img/150a"], "images300": ["img/300a", "img/300b"]
})";

/// A playlist's row; without `genre` where that is null.
QVariantHash playlistRow(const char* name, const char* icon, const char* id, const char* genre = nullptr)
{
    QVariantHash metaData{{"serviceID"_s, "qobuz"_s}};
    if (genre)
        metaData.insert("genre"_s, QString::fromUtf8(genre));
    return {{"title"_s, QString::fromUtf8(name)},
            {"icon"_s, QString::fromUtf8(icon)},
            {"path"_s, "qobuz:playlist?id="_s + QString::fromUtf8(id)},
            {"type"_s, 1},
            {"containerType"_s, 10},
            {"containerPlayable"_s, true},
            {"mediaData"_s, mediaData(metaData)}};
}

} // namespace

class RowsTest : public ModuleTest
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        open();
        start();
    }
    void cleanupTestCase() { close(); }
    void init() { serve(everyList()); }

    void aTrackBecomesARow_data()
    {
        Rows<QByteArray, QVariantHash> row;
        const auto numbered = [](const char* id) {
            return bareRow({{"prePlayPath"_s, "qobuz:preplay?id="_s + QLatin1String(id)}},
                           {{"path"_s, "qobuz:track?id="_s + QLatin1String(id)}});
        };
        // An album of any content gives a date and an icon, if only an empty one.
        const QVariantHash dated{{"date"_s, 0LL}};
        const QVariantHash iconned{{"icon"_s, QString()}};

        row("with everything", fullTrack, fullRow());
        row("with an id alone", R"({"id":9})", bareRow());
        row("with null where there can be null",
            R"({"id":9,"title":null,"copyright":null,"performer":null,"composer":null,"album":null,
                "track_number":null})",
            bareRow());
        row("with empty objects", R"({"id":9,"performer":{},"composer":{},"album":{}})", bareRow());
        row("with a numeric id as text", R"({"id":"9"})", bareRow());
        row("without an id", "{}", numbered("0"));
        row("with an id that is null", R"({"id":null})", numbered("0"));
        row("with an id that is no number", R"({"id":"x"})", numbered("0"));
        row("with a negative id", R"({"id":-9})", numbered("-9"));
        row("with texts that are kept as they are",
            R"({"id":9,"title":" A\u0308\u00c4\t\n ","copyright":"  ","performer":{"name":" P "},
                "composer":{"name":"K\r"},"album":{"title":" a ","artist":{"name":"\ufb01 "},
                "genre":{"name":" \u3000"},"copyright":"A"}})",
            bareRow({{"copyright"_s, "  "_s},
                     {"performer"_s, " P "_s},
                     {"composer"_s, "K\r"_s},
                     {"album"_s, " a "_s},
                     {"artist"_s, "\ufb01 "_s},
                     {"genre"_s, " \u3000"_s},
                     {"date"_s, 0LL}},
                    {{"title"_s, " A\u0308\u00c4\t\n "_s}, {"icon"_s, QString()}}));
        row("with a number as text", R"({"id":9,"track_number":"12"})",
            bareRow({{"originalTrackNumber"_s, 12}}));
        row("with the largest id", R"({"id":2147483647})", numbered("2147483647"));
        row("without album", R"({"id":9,"title":"T","copyright":"C","performer":{"name":"P"},
                                 "composer":{"name":"K"},"track_number":3})",
            bareRow({{"copyright"_s, "C"_s},
                     {"performer"_s, "P"_s},
                     {"composer"_s, "K"_s},
                     {"originalTrackNumber"_s, 3}},
                    {{"title"_s, "T"_s}}));
        row("with an album that has a title alone", R"({"id":9,"album":{"title":"A"}})",
            bareRow({{"album"_s, "A"_s}, {"date"_s, 0LL}}, iconned));
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
            bareRow({{"performer"_s, "P"_s}, {"artist"_s, "R"_s}, {"date"_s, 0LL}}, iconned));
        row("with the album's genre", R"({"id":9,"genre":{"name":"X"},"album":{"genre":{"name":"G"}}})",
            bareRow({{"genre"_s, "G"_s}, {"date"_s, 0LL}}, iconned));
        row("with the track's own composer", R"({"id":9,"album":{"composer":{"name":"X"}}})",
            bareRow(dated, iconned));
        row("with the album's copyright where the track's is empty",
            R"({"id":9,"copyright":"","album":{"copyright":"A"}})",
            bareRow({{"copyright"_s, "A"_s}, {"date"_s, 0LL}}, iconned));
        row("with the album's copyright where the track's is null",
            R"({"id":9,"copyright":null,"album":{"copyright":"A"}})",
            bareRow({{"copyright"_s, "A"_s}, {"date"_s, 0LL}}, iconned));
        row("with the track's copyright before the album's",
            R"({"id":9,"copyright":"T","album":{"copyright":"A"}})",
            bareRow({{"copyright"_s, "T"_s}, {"date"_s, 0LL}}, iconned));
        row("from before 1970", R"({"id":9,"album":{"released_at":-315619200}})",
            bareRow({{"date"_s, -315619200LL}}, iconned));
        row("from a day beyond 32 bits", R"({"id":9,"album":{"released_at":4102444800}})",
            bareRow({{"date"_s, 4102444800LL}}, iconned));
        row("with a day as text", R"({"id":9,"album":{"released_at":"86400"}})",
            bareRow({{"date"_s, 86400LL}}, iconned));
        row("with a title that a translation or markup would change",
            R"({"id":9,"title":"100 %1 <b>A</b> \ud83c\udfb5\r"})",
            bareRow({}, {{"title"_s, "100 %1 <b>A</b> \xF0\x9F\x8E\xB5\r"_s}}));
        row("with a picture of the track, which is none", R"({"id":9,"image":{"large":"img/x"}})", bareRow());
    }
    void aTrackBecomesARow()
    {
        const auto [track, row] = fetched<QByteArray, QVariantHash>();
        const QVariantHash found = rowOf(track, "tracks", "qobuz:favourites/tracks"_s);
        QCOMPARE(variantLines(found), variantLines(row));
    }

    void aRecordIsTheSameRowInEveryList_data()
    {
        Rows<QString, QByteArray, QByteArray, QVariantHash> row;
        for (const char* path : {"qobuz:favourites/tracks", "qobuz:purchases/tracks",
                                 "qobuz:search/tracks?query=x", "qobuz:playlist?id=1"})
            row.named(path, "tracks", fullTrack, fullRow());
        for (const char* path : {"qobuz:featured/albums", "qobuz:favourites/albums", "qobuz:purchases/albums",
                                 "qobuz:search/albums?query=x", "qobuz:artist?id=7"})
            row.named(path, "albums", fullAlbum, fullAlbumRow());
        for (const char* path :
             {"qobuz:featured/artists", "qobuz:favourites/artists", "qobuz:search/artists?query=x"})
            row.named(path, "artists", fullArtist,
                      artistRow("\xE9\x9F\xB3 & The Quills", "img/s", "268435457"));
        for (const char* path :
             {"qobuz:featured/playlists", "qobuz:playlists", "qobuz:search/playlists?query=x"})
            row.named(path, "playlists", fullPlaylist,
                      playlistRow("Rainy \"Days\"\r", "img/300a", "134217729", "Jazz"));
    }
    void aRecordIsTheSameRowInEveryList()
    {
        const auto [path, list, item, row] = fetched<QString, QByteArray, QByteArray, QVariantHash>();
        QCOMPARE(variantLines(rowOf(item, list, path)), variantLines(row));
    }

    void theTracksOfAnAlbumAreCompletedFromIt()
    {
        const QByteArray album = R"({"id":"0004012","title":"Harbour","artist":{"name":"The Quills"},
            "genre":{"name":"Jazz"},"image":{"small":"img/230"},"released_at":-86400,
            "copyright":"Album notice","tracks":)" +
                                 list(2, {R"({"id":9,"title":"One","track_number":1})",
                                          R"({"id":9,"title":"Two","copyright":"Own notice",
                                                             "performer":{"name":"Ada Quill"}})"}) +
                                 "}";
        const QVariantHash ofAlbum{{"album"_s, "Harbour"_s},
                                   {"artist"_s, "The Quills"_s},
                                   {"genre"_s, "Jazz"_s},
                                   {"date"_s, -86400LL},
                                   {"copyright"_s, "Album notice"_s}};
        const QVariantHash icon{{"icon"_s, "img/230"_s}};
        const QList<QVariantHash> rows = rowsOf(album, "qobuz:album?id=0004012"_s);
        QCOMPARE(rows.size(), 2);
        QCOMPARE(variantLines(rows.at(0)), variantLines(bareRow(with(ofAlbum, {{"originalTrackNumber"_s, 1}}),
                                                                with(icon, {{"title"_s, "One"_s}}))));
        QCOMPARE(variantLines(rows.at(1)),
                 variantLines(
                     bareRow(with(ofAlbum, {{"copyright"_s, "Own notice"_s}, {"performer"_s, "Ada Quill"_s}}),
                             with(icon, {{"title"_s, "Two"_s}}))));
    }

    void theTracksOfAnAlbumTakeItInPlaceOfTheirOwn()
    {
        const QByteArray album = R"({"id":"1","title":"Harbour","tracks":)" +
                                 list(1, {R"({"id":9,"album":{"title":"Other","released_at":5,
                                        "image":{"large":"img/other"},"artist":{"name":"Other"}}})"}) +
                                 "}";
        const QList<QVariantHash> rows = rowsOf(album, "qobuz:album?id=1"_s);
        QCOMPARE(rows.size(), 1);
        QCOMPARE(variantLines(rows.at(0)),
                 variantLines(bareRow({{"album"_s, "Harbour"_s}, {"date"_s, 0LL}}, {{"icon"_s, QString()}})));
    }

    void theTracksOfAPlaylistKeepTheirOwnAlbumsAndOrder()
    {
        const QByteArray playlist =
            R"({"id":1,"name":"List","title":"List","images300":["img/list"],"genre":{"name":"X"},
                "tracks":)" +
            list(3, {R"({"id":9,"position":2,"album":{"title":"B","released_at":2}})",
                     R"({"id":9,"position":1})",
                     R"({"id":9,"position":3,"album":{"title":"A","released_at":1}})"}) +
            "}";
        const QList<QVariantHash> rows = rowsOf(playlist, "qobuz:playlist?id=1"_s);
        QCOMPARE(rows.size(), 3);
        const QVariantHash icon{{"icon"_s, QString()}};
        QCOMPARE(variantLines(rows.at(0)),
                 variantLines(bareRow({{"album"_s, "B"_s}, {"date"_s, 2LL}}, icon)));
        QCOMPARE(variantLines(rows.at(1)), variantLines(bareRow()));
        QCOMPARE(variantLines(rows.at(2)),
                 variantLines(bareRow({{"album"_s, "A"_s}, {"date"_s, 1LL}}, icon)));
    }

    void theLargestPictureOfTheAlbumIsTheIcon_data()
    {
        Rows<QByteArray, QString> row;
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
        const auto [image, icon] = fetched<QByteArray, QString>();
        const QByteArray track = "{\"id\":9,\"album\":{\"id\":\"1\",\"image\":" + image + "}}";
        const QVariantHash row = rowOf(track, "tracks", "qobuz:purchases/tracks"_s);
        QCOMPARE(variantLines(row.value(PelkRoles::Icon())), variantLines(icon));
    }

    void anAlbumBecomesARowWithoutMediaData_data()
    {
        Rows<QByteArray, QVariantHash> row;
        const auto path = [](const char* id) {
            return albumRow({{"path"_s, "qobuz:album?id="_s + QString::fromUtf8(id)}});
        };
        row("with everything", fullAlbum, fullAlbumRow());
        row("with nothing", "{}", albumRow());
        row("with nulls", R"({"id":null,"title":null,"image":null,"artist":null,"genre":null,"tracks":null})",
            albumRow());
        row("with empty objects", R"({"image":{},"artist":{},"genre":{},"tracks":{}})", albumRow());
        row("with an id that keeps its zeros", R"({"id":"0886443927087"})", path("0886443927087"));
        row("with an id of letters", R"({"id":"B3fogo6m771yc"})", path("B3fogo6m771yc"));
        row("with an id that came as a number", R"({"id":886443927087})", path("886443927087"));
        row("with a negative id", R"({"id":-9})", path("-9"));
        row("with an id of blanks", R"({"id":"  "})", path("%20%20"));
        row("with texts that are kept as they are",
            R"({"id":"1","title":" A\u0308\n ","image":{"small":" s "}})",
            with(path("1"), {{"title"_s, " A\u0308\n "_s}, {"icon"_s, " s "_s}}));
        row("with an id of marks", R"({"id":"a b+c&d=%25\u97f3"})", path("a%20b%2Bc%26d%3D%2525%E9%9F%B3"));
        row("with a thumbnail alone", R"({"id":"1","image":{"thumbnail":"t"}})",
            with(path("1"), {{"icon"_s, "t"_s}}));
        row("with an empty extralarge and a large picture",
            R"({"id":"1","image":{"thumbnail":"t","large":"l","extralarge":""}})",
            with(path("1"), {{"icon"_s, "l"_s}}));
        row("with an extralarge picture", R"({"id":"1","image":{"large":"l","extralarge":"x","mega":"g"}})",
            with(path("1"), {{"icon"_s, "x"_s}}));
    }
    void anAlbumBecomesARowWithoutMediaData()
    {
        const auto [album, row] = fetched<QByteArray, QVariantHash>();
        const QVariantHash found = rowOf(album, "albums", "qobuz:favourites/albums"_s);
        QCOMPARE(variantLines(found), variantLines(row));
        QVERIFY(!found.contains(PelkRoles::MediaData()));
    }

    void anArtistBecomesARow_data()
    {
        Rows<QByteArray, QVariantHash> row;
        row("with everything", fullArtist, artistRow("\xE9\x9F\xB3 & The Quills", "img/s", "268435457"));
        row("with nothing", "{}", artistRow("", "", "0"));
        row("with nulls", R"({"id":null,"name":null,"image":null,"picture":null})", artistRow("", "", "0"));
        row("with an empty image", R"({"id":7,"name":"A","image":{}})", artistRow("A", "", "7"));
        row("with an id as text", R"({"id":"7","name":"A"})", artistRow("A", "", "7"));
        row("with an id that is no number", R"({"id":"x"})", artistRow("", "", "0"));
        row("with a negative id", R"({"id":-7})", artistRow("", "", "-7"));
        row("with texts that are kept as they are",
            R"({"id":7,"name":" A\u0308\n ","image":{"small":" s "}})", artistRow(" A\u0308\n ", " s ", "7"));
        row("with all sizes but small",
            R"({"id":7,"name":"A","picture":"p","image":{"thumbnail":"t","medium":"m","large":"l",
                "extralarge":"x"}})",
            artistRow("A", "", "7"));
        row("with an empty small picture", R"({"id":7,"name":"A","image":{"small":"","large":"l"}})",
            artistRow("A", "", "7"));
    }
    void anArtistBecomesARow()
    {
        const auto [artist, row] = fetched<QByteArray, QVariantHash>();
        const QVariantHash found = rowOf(artist, "artists", "qobuz:favourites/artists"_s);
        QCOMPARE(variantLines(found), variantLines(row));
    }

    void aPlaylistBecomesARow_data()
    {
        Rows<QByteArray, QVariantHash> row;
        row("with everything", fullPlaylist,
            playlistRow("Rainy \"Days\"\r", "img/300a", "134217729", "Jazz"));
        row("with nothing", "{}", playlistRow("", "", "0"));
        row("with nulls",
            R"({"id":null,"name":null,"genres":null,"images":null,"images150":null,"images300":null})",
            playlistRow("", "", "0"));
        row("with an id as text", R"({"id":"41","name":"A"})", playlistRow("A", "", "41"));
        row("with an id that is no number", R"({"id":"x"})", playlistRow("", "", "0"));
        row("with a negative id", R"({"id":-41})", playlistRow("", "", "-41"));
        row("with texts that are kept as they are", R"({"id":4,"name":" A\u0308\n ","genres":[{"name":" g "}],
            "images":[" i "]})",
            playlistRow(" A\u0308\n ", " i ", "4", " g "));
        row("without genres", R"({"id":4,"name":"A","genres":[]})", playlistRow("A", "", "4"));
        row("with the first genre of several", R"({"id":4,"name":"A","genres":[{"name":"G"},{"name":"H"}]})",
            playlistRow("A", "", "4", "G"));
        row("with a first genre without name", R"({"id":4,"name":"A","genres":[{"id":1},{"name":"H"}]})",
            playlistRow("A", "", "4", ""));
    }
    void aPlaylistBecomesARow()
    {
        const auto [playlist, row] = fetched<QByteArray, QVariantHash>();
        const QVariantHash found = rowOf(playlist, "playlists", "qobuz:playlists"_s);
        QCOMPARE(variantLines(found), variantLines(row));
    }

    void theFirstPictureOfTheLargestSizeIsTheIconOfAPlaylist_data()
    {
        Rows<QByteArray, QString> row;
        row("all sizes", R"("images":["a"],"images150":["b"],"images300":["c","d"])", "c");
        row("300 empty", R"("images":["a"],"images150":["b","d"],"images300":[])", "b");
        row("300 null", R"("images":["a"],"images150":["b"],"images300":null)", "b");
        row("300 absent", R"("images":["a"],"images150":["b"])", "b");
        row("300 and 150 empty", R"("images":["a","d"],"images150":[],"images300":[])", "a");
        row("only the smallest", R"("images":["a"])", "a");
        row("all empty", R"("images":[],"images150":[],"images300":[])", "");
        row("first of 300 an empty text", R"("images":["a"],"images150":["b"],"images300":["","d"])", "");
        row("first of 150 an empty text", R"("images":["a"],"images150":["","d"],"images300":[])", "");
        row("first of 50 an empty text", R"("images":["","d"])", "");
        row("a number", R"("images300":[7,"b"])", "7");
        row("an object, which is no text", R"("images":["a"],"images150":[{"url":"b"}])", "");
        row("first of 300 null", R"("images":["a"],"images150":["b"],"images300":[null,"d"])", "");
    }
    void theFirstPictureOfTheLargestSizeIsTheIconOfAPlaylist()
    {
        const auto [images, icon] = fetched<QByteArray, QString>();
        const QVariantHash row = rowOf("{\"id\":4," + images + "}", "playlists", "qobuz:playlists"_s);
        QCOMPARE(variantLines(row), variantLines(playlistRow("", icon.toUtf8().constData(), "4")));
    }

    void thePrePlayPathOfATrackResolvesThatTrack_data()
    {
        addTexts({"qobuz:favourites/tracks", "qobuz:purchases/tracks", "qobuz:search/tracks?query=x",
                  "qobuz:playlist?id=1", "qobuz:album?id=1"});
    }
    void thePrePlayPathOfATrackResolvesThatTrack()
    {
        const auto [path] = fetched<QString>();
        const QVariantHash row = rowOf(R"({"id":134217801,"title":"Tide","track_number":4})", "tracks", path);
        const PelkMetaData before = PelkRoles(PelkHash(row)).mediaData().metaData();
        QCOMPARE(PelkRoles(PelkHash(row)).mediaData().resources().size(), 0);

        serve(R"({"track_id":134217801,"format_id":5,"url":"stream-1","duration":9})");
        const ModuleHost::Data resolved =
            host().setData(before.prePlayPath().toString(), PelkRoles::PrePlay(), row);
        QVERIFY(succeeded(resolved));
        QCOMPARE(server().requests().at(0).path, QByteArray("/api/track/getFileUrl"));
        QCOMPARE(server().requests().at(0).queryValue("track_id"), QByteArray("134217801"));

        const PelkRoles playable(PelkHash(resolved.value.toHash()));
        QCOMPARE(playable.mediaData().resources().size(), 1);
        QCOMPARE(playable.mediaData().resources().at(0).uri(), "stream-1"_s);
        PelkMetaData expected = before;
        expected.setStartTime(0);
        expected.setContentStateChangePath(CMPath("qobuz:stateChange?id=134217801&format=5"_s));
        QCOMPARE(variantLines(playable.mediaData().metaData().variant()), variantLines(expected.variant()));
    }

    void theRowOfAListLeadsToThatList_data()
    {
        Rows<QByteArray, QByteArray, QString, QByteArray> row;
        row("an artist", QByteArray(R"({"id":268435457,"name":"A"})"), "artists", "qobuz:favourites/artists",
            "/api/artist/get?artist_id=268435457&offset=0&limit=10&extra=albums");
        row("a playlist", QByteArray(R"({"id":134217729,"name":"P"})"), "playlists", "qobuz:playlists",
            "/api/playlist/get?playlist_id=134217729&offset=0&limit=10&extra=tracks");
        row("an album", QByteArray(R"({"id":"0004012","title":"A"})"), "albums", "qobuz:artist?id=7",
            "/api/album/get?album_id=0004012&offset=0&limit=10");
        for (const char* id : {"b3fogo6m771yc", " a b+c&d=%25\xE9\x9F\xB3"})
            row(QByteArray("an album of id ") + id, QByteArray("{\"id\":\"") + id + "\"}", "albums",
                "qobuz:featured/albums",
                "/api/album/get?album_id=" + QByteArray(id).toPercentEncoding() + "&offset=0&limit=10");
    }
    void theRowOfAListLeadsToThatList()
    {
        const auto [item, list, path, target] = fetched<QByteArray, QByteArray, QString, QByteArray>();
        const PelkRoles row = PelkRoles(PelkHash(rowOf(item, list, path)));
        serve(everyList());
        const ModuleHost::Rows rows = host().rows(row.path().toString(), 0, 9);
        QVERIFY(succeeded(rows));
        QCOMPARE(rows.rows.size(), 2);
        QCOMPARE(targets(), QList<QByteArray>{target});
    }

    void anArticleBecomesARow_data()
    {
        Rows<QByteArray, QVariantHash> row;
        const auto article = [](const char* title, const char* icon, const char* id, const char* genre,
                                const char* comment) {
            return QVariantHash{{"title"_s, QString::fromUtf8(title)},
                                {"icon"_s, QString::fromUtf8(icon)},
                                {"path"_s, "qobuz:article?id="_s + QString::fromUtf8(id)},
                                {"type"_s, 3},
                                {"mediaData"_s, mediaData({{"genre"_s, QString::fromUtf8(genre)},
                                                           {"comment"_s, QString::fromUtf8(comment)},
                                                           {"serviceID"_s, "qobuz"_s}})},
                                {"audioType"_s, 1}};
        };
        row("with everything", R"({"id":268435457,"title":" \u97f3 <b>&</b>\r ","category":" Portraits",
            "abstract":"The short\ntext ","author":"Cleo","content":"<p>The long text</p>","thumbnail":"img/50",
            "image":{"large":"img/600"},"images300":["img/300"],"published_at":1500000000,"url":"page"})",
            article(" \xE9\x9F\xB3 <b>&</b>\r ", "img/50", "268435457", " Portraits", "The short\ntext "));
        row("with nothing", "{}", article("", "", "0", "", ""));
        row("with nulls", R"({"id":null,"title":null,"category":null,"abstract":null,"thumbnail":null})",
            article("", "", "0", "", ""));
        row("with an id as text", R"({"id":"51"})", article("", "", "51", "", ""));
        row("with a negative id", R"({"id":-51})", article("", "", "-51", "", ""));
        row("without a thumbnail but with other pictures", R"({"id":51,"image":{"large":"img/600"}})",
            article("", "", "51", "", ""));
    }
    void anArticleBecomesARow()
    {
        const auto [article, row] = fetched<QByteArray, QVariantHash>();
        PelkError error;
        PelkQobuzArticle record{PelkHash(PelkJson::parse(article, error).toHash())};
        QCOMPARE(variantLines(m_browser.toRole(record).variant()), variantLines(row));
    }

    void aRecordIsOnlyRead()
    {
        const QVariantHash album{{"id"_s, "1"_s}, {"title"_s, "A"_s}};
        const QVariantHash hash{
            {"id"_s, "1"_s}, {"album"_s, album}, {"genres"_s, QVariantList{QVariantHash{{"name"_s, "G"_s}}}}};
        PelkQobuzTrack track{PelkHash(hash)};
        PelkQobuzAlbum ofAlbum{PelkHash(hash)};
        PelkQobuzArtist artist{PelkHash(hash)};
        PelkQobuzPlaylist playlist{PelkHash(hash)};
        PelkQobuzArticle article{PelkHash(hash)};
        m_browser.toRole(article);
        m_browser.toRole(track);
        m_browser.toRole(ofAlbum);
        m_browser.toRole(artist);
        m_browser.toRole(playlist);
        for (const PelkHash& record : QList<PelkHash>{track, ofAlbum, artist, playlist, article})
            QCOMPARE(variantLines(record.variant()), variantLines(hash));
    }

    void aTitleIsATextWithoutContext()
    {
        PelkQobuzTrack track{PelkHash({{"title"_s, "Albums"_s}})};
        const TrString title = TrString::fromVariant(m_browser.toRole(track).value(PelkRoles::Title()));
        QVERIFY(!title.isTranslatable());
        QVERIFY(title.context().isEmpty());
        QCOMPARE(title.toString(), "Albums"_s);
    }

private:
    /// The rows at a path when the service answers so, each with the values it has; a role without a value is
    /// left out. One entry with the error's text if the answer is an error.
    QList<QVariantHash> rowsOf(const QByteArray& body, const QString& path)
    {
        serve(body);
        const ModuleHost::Rows answer = host().rows(path, 0, 49, allRoles());
        if (!answer.finished || answer.error.isSet())
            return {QVariantHash{{"error"_s, answer.error.toString()}}};
        QList<QVariantHash> found;
        for (const QVariant& row : answer.rows) {
            QVariantHash hash;
            const QVariantList values = row.toList();
            for (int i = 0; i < values.size(); ++i)
                if (values.at(i).isValid())
                    hash.insert(allRoles().at(i), values.at(i));
            found << hash;
        }
        return found;
    }

    /// The row of the only item of a list named `list`, at a path whose answer has that list.
    QVariantHash rowOf(const QByteArray& item, const QByteArray& list, const QString& path)
    {
        return rowsOf("{\"" + list + "\":" + ::list(1, {item}) + "}", path).value(0);
    }

    QobuzBrowser m_browser{nullptr, nullptr}; // without an API behind it, a call of the service ends the test
};

QTEST_GUILESS_MAIN(RowsTest)
#include "rows_test.moc"

#include "rowfixture.h"
#include "tests/support/variantlines.h"

#include <QtTest>

#include <memory>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
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
    const QVariantHash row{
        {text("title"), QString()}, {text("icon"), QString()},  {text("path"), text("qobuz:album?id=")},
        {text("type"), 1},          {text("containerType"), 2}, {text("containerPlayable"), true}};
    return RowFixture::with(row, changes);
}

QVariantHash fullAlbumRow()
{
    return albumRow({{text("title"), text("Harbour & <Light>\r")},
                     {text("icon"), text("img/600")},
                     {text("path"), text("qobuz:album?id=0004012")}});
}

const char fullArtist[] = R"({
    "id": 268435457, "name": "\u97f3 & The Quills", "slug": "quills", "picture": "img/picture",
    "image": {"small": "img/s", "medium": "img/m", "large": "img/l",
              "extralarge": "img/x", "mega": "img/g"},
    "albums_count": 12, "biography": {"summary": "Short", "content": "<p>Long</p>"}
})";

QVariantHash artistRow(const char* name, const char* icon, const char* id)
{
    return {{text("title"), text(name)},
            {text("icon"), text(icon)},
            {text("path"), text("qobuz:artist?id=") + text(id)},
            {text("type"), 1},
            {text("containerType"), 1},
            {text("containerPlayable"), true},
            {text("audioType"), 1},
            {text("mediaData"),
             RowFixture::mediaData({{text("artist"), text(name)}, {text("serviceID"), text("qobuz")}})}};
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
    QVariantHash metaData{{text("serviceID"), text("qobuz")}};
    if (genre)
        metaData.insert(text("genre"), text(genre));
    return {{text("title"), text(name)},
            {text("icon"), text(icon)},
            {text("path"), text("qobuz:playlist?id=") + text(id)},
            {text("type"), 1},
            {text("containerType"), 10},
            {text("containerPlayable"), true},
            {text("mediaData"), RowFixture::mediaData(metaData)}};
}

} // namespace

/// Albums, artists and playlists as rows, field by field.
class ContainerRowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_fixture = std::make_unique<RowFixture>(); }
    void cleanupTestCase() { m_fixture.reset(); }

    void anAlbumBecomesARowWithoutMediaData_data()
    {
        QTest::addColumn<QByteArray>("album");
        QTest::addColumn<QVariantHash>("row");

        const auto row = [](const char* name, const char* album, const QVariantHash& expected) {
            QTest::newRow(name) << QByteArray(album) << expected;
        };
        const auto path = [](const char* id) {
            return albumRow({{text("path"), text("qobuz:album?id=") + text(id)}});
        };
        row("with everything", fullAlbum, fullAlbumRow());
        row("with nothing", "{}", albumRow());
        row("with nulls", R"({"id":null,"title":null,"image":null,"artist":null,"genre":null,"tracks":null})",
            albumRow());
        row("with empty objects", R"({"image":{},"artist":{},"genre":{},"tracks":{}})", albumRow());
        row("with an id that keeps its zeros", R"({"id":"0886443927087"})", path("0886443927087"));
        row("with an id of letters", R"({"id":"B3fogo6m771yc"})", path("B3fogo6m771yc"));
        row("with an id that came as a number", R"({"id":886443927087})", path("886443927087"));
        row("with an id of marks", R"({"id":"a b+c&d=%25\u97f3"})", path("a%20b%2Bc%26d%3D%2525%E9%9F%B3"));
        row("with a thumbnail alone", R"({"id":"1","image":{"thumbnail":"t"}})",
            RowFixture::with(path("1"), {{text("icon"), text("t")}}));
        row("with an empty extralarge and a large picture",
            R"({"id":"1","image":{"thumbnail":"t","large":"l","extralarge":""}})",
            RowFixture::with(path("1"), {{text("icon"), text("l")}}));
        row("with an extralarge picture", R"({"id":"1","image":{"large":"l","extralarge":"x","mega":"g"}})",
            RowFixture::with(path("1"), {{text("icon"), text("x")}}));
    }

    void anAlbumBecomesARowWithoutMediaData()
    {
        QFETCH(QByteArray, album);
        QFETCH(QVariantHash, row);
        const QVariantHash found =
            m_fixture->rowOf(album, "albums", QStringLiteral("qobuz:favourites/albums"));
        QCOMPARE(variantLines(found), variantLines(row));
        QVERIFY(!found.contains(PelkRoles::MediaData()));
    }

    void anAlbumIsTheSameRowInEveryList_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* path : {"qobuz:featured/albums", "qobuz:favourites/albums", "qobuz:purchases/albums",
                                 "qobuz:search/albums?query=x", "qobuz:artist?id=7"})
            QTest::newRow(path) << QString::fromUtf8(path);
    }

    void anAlbumIsTheSameRowInEveryList()
    {
        QFETCH(QString, path);
        QCOMPARE(variantLines(m_fixture->rowOf(fullAlbum, "albums", path)), variantLines(fullAlbumRow()));
    }

    void theRowOfAnAlbumLeadsToThatAlbum_data()
    {
        QTest::addColumn<QString>("id");
        for (const char* id : {"0004012", "b3fogo6m771yc", "a b+c&d=%25\xE9\x9F\xB3"})
            QTest::newRow(id) << QString::fromUtf8(id);
    }

    void theRowOfAnAlbumLeadsToThatAlbum()
    {
        QFETCH(QString, id);
        const QByteArray album = "{\"id\":\"" + id.toUtf8() + "\"}";
        const QVariantHash row = m_fixture->rowOf(album, "albums", QStringLiteral("qobuz:featured/albums"));
        m_fixture->serve(BrowseFixture::everyList());
        QVERIFY(m_fixture->host.rows(row.value(PelkRoles::Path()).toString(), 0, 9).finished);
        QCOMPARE(m_fixture->server.requests().at(0).path, QByteArray("/api/album/get"));
        QCOMPARE(m_fixture->server.requests().at(0).queryValue("album_id"), id.toUtf8());
    }

    void anArtistBecomesARow_data()
    {
        QTest::addColumn<QByteArray>("artist");
        QTest::addColumn<QVariantHash>("row");

        const auto row = [](const char* name, const char* artist, const QVariantHash& expected) {
            QTest::newRow(name) << QByteArray(artist) << expected;
        };
        row("with everything", fullArtist, artistRow("\xE9\x9F\xB3 & The Quills", "img/s", "268435457"));
        row("with nothing", "{}", artistRow("", "", "0"));
        row("with nulls", R"({"id":null,"name":null,"image":null,"picture":null})", artistRow("", "", "0"));
        row("with an empty image", R"({"id":7,"name":"A","image":{}})", artistRow("A", "", "7"));
        row("with an id as text", R"({"id":"7","name":"A"})", artistRow("A", "", "7"));
        row("with all sizes but small",
            R"({"id":7,"name":"A","picture":"p","image":{"thumbnail":"t","medium":"m","large":"l",
                "extralarge":"x"}})",
            artistRow("A", "", "7"));
        row("with an empty small picture", R"({"id":7,"name":"A","image":{"small":"","large":"l"}})",
            artistRow("A", "", "7"));
    }

    void anArtistBecomesARow()
    {
        QFETCH(QByteArray, artist);
        QFETCH(QVariantHash, row);
        const QVariantHash found =
            m_fixture->rowOf(artist, "artists", QStringLiteral("qobuz:favourites/artists"));
        QCOMPARE(variantLines(found), variantLines(row));
    }

    void anArtistIsTheSameRowInEveryList_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* path :
             {"qobuz:featured/artists", "qobuz:favourites/artists", "qobuz:search/artists?query=x"})
            QTest::newRow(path) << QString::fromUtf8(path);
    }

    void anArtistIsTheSameRowInEveryList()
    {
        QFETCH(QString, path);
        QCOMPARE(variantLines(m_fixture->rowOf(fullArtist, "artists", path)),
                 variantLines(artistRow("\xE9\x9F\xB3 & The Quills", "img/s", "268435457")));
    }

    void aPlaylistBecomesARow_data()
    {
        QTest::addColumn<QByteArray>("playlist");
        QTest::addColumn<QVariantHash>("row");

        const auto row = [](const char* name, const char* playlist, const QVariantHash& expected) {
            QTest::newRow(name) << QByteArray(playlist) << expected;
        };
        row("with everything", fullPlaylist,
            playlistRow("Rainy \"Days\"\r", "img/300a", "134217729", "Jazz"));
        row("with nothing", "{}", playlistRow("", "", "0"));
        row("with nulls",
            R"({"id":null,"name":null,"genres":null,"images":null,"images150":null,"images300":null})",
            playlistRow("", "", "0"));
        row("with an id as text", R"({"id":"41","name":"A"})", playlistRow("A", "", "41"));
        row("without genres", R"({"id":4,"name":"A","genres":[]})", playlistRow("A", "", "4"));
        row("with the first genre of several", R"({"id":4,"name":"A","genres":[{"name":"G"},{"name":"H"}]})",
            playlistRow("A", "", "4", "G"));
        row("with a first genre without name", R"({"id":4,"name":"A","genres":[{"id":1},{"name":"H"}]})",
            playlistRow("A", "", "4", ""));
    }

    void aPlaylistBecomesARow()
    {
        QFETCH(QByteArray, playlist);
        QFETCH(QVariantHash, row);
        const QVariantHash found = m_fixture->rowOf(playlist, "playlists", QStringLiteral("qobuz:playlists"));
        QCOMPARE(variantLines(found), variantLines(row));
    }

    void aPlaylistIsTheSameRowInEveryList_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* path :
             {"qobuz:featured/playlists", "qobuz:playlists", "qobuz:search/playlists?query=x"})
            QTest::newRow(path) << QString::fromUtf8(path);
    }

    void aPlaylistIsTheSameRowInEveryList()
    {
        QFETCH(QString, path);
        QCOMPARE(variantLines(m_fixture->rowOf(fullPlaylist, "playlists", path)),
                 variantLines(playlistRow("Rainy \"Days\"\r", "img/300a", "134217729", "Jazz")));
    }

    void theFirstPictureOfTheLargestSizeIsTheIconOfAPlaylist_data()
    {
        QTest::addColumn<QByteArray>("images");
        QTest::addColumn<QString>("icon");

        const auto row = [](const char* name, const char* images, const char* icon) {
            QTest::newRow(name) << QByteArray(images) << QString::fromUtf8(icon);
        };
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
        row("first of 300 null", R"("images":["a"],"images150":["b"],"images300":[null,"d"])", "");
    }

    void theFirstPictureOfTheLargestSizeIsTheIconOfAPlaylist()
    {
        QFETCH(QByteArray, images);
        QFETCH(QString, icon);
        const QVariantHash row =
            m_fixture->rowOf("{\"id\":4," + images + "}", "playlists", QStringLiteral("qobuz:playlists"));
        QCOMPARE(variantLines(row), variantLines(playlistRow("", icon.toUtf8().constData(), "4")));
    }

private:
    std::unique_ptr<RowFixture> m_fixture;
};

QTEST_GUILESS_MAIN(ContainerRowsTest)
#include "container_rows_test.moc"

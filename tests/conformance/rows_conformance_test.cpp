#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "tests/module/rowfixture.h"
#include "tests/support/variantlines.h"

#include <QtTest>

#include <memory>

namespace {

/// The row of the answer as a record.
PelkRoles record(const QVariantHash& row)
{
    return PelkRoles(PelkHash(row));
}

} // namespace

/// That the paths in rows lead back into the module: from a row to what it stands for.
class RowsConformanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_fixture = std::make_unique<RowFixture>(); }
    void cleanupTestCase() { m_fixture.reset(); }

    void thePrePlayPathOfATrackResolvesThatTrack_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* path : {"qobuz:favourites/tracks", "qobuz:purchases/tracks",
                                 "qobuz:search/tracks?query=x", "qobuz:playlist?id=1", "qobuz:album?id=1"})
            QTest::newRow(path) << QString::fromUtf8(path);
    }

    void thePrePlayPathOfATrackResolvesThatTrack()
    {
        QFETCH(QString, path);
        const QVariantHash row =
            m_fixture->rowOf(R"({"id":134217801,"title":"Tide","track_number":4})", "tracks", path);
        const PelkMetaData before = record(row).mediaData().metaData();
        QCOMPARE(record(row).mediaData().resources().size(), 0);

        m_fixture->serve(R"({"track_id":134217801,"format_id":5,"url":"stream-1","duration":9})");
        const ModuleHost::Data resolved =
            m_fixture->host.setData(before.prePlayPath().toString(), PelkRoles::PrePlay(), row);
        QVERIFY(resolved.finished);
        QVERIFY(!resolved.error.isSet());
        QCOMPARE(m_fixture->server.requests().at(0).path, QByteArray("/api/track/getFileUrl"));
        QCOMPARE(m_fixture->server.requests().at(0).queryValue("track_id"), QByteArray("134217801"));

        const PelkRoles playable(PelkHash(resolved.value.toHash()));
        QCOMPARE(playable.mediaData().resources().size(), 1);
        QCOMPARE(playable.mediaData().resources().at(0).uri(), QStringLiteral("stream-1"));
        PelkMetaData expected = before;
        expected.setStartTime(0);
        expected.setContentStateChangePath(CMPath(QStringLiteral("qobuz:stateChange?id=134217801&format=5")));
        QCOMPARE(variantLines(playable.mediaData().metaData().variant()), variantLines(expected.variant()));
    }

    void theRowOfAListLeadsToThatList_data()
    {
        QTest::addColumn<QByteArray>("item");
        QTest::addColumn<QByteArray>("list");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("an artist")
            << QByteArray(R"({"id":268435457,"name":"A"})") << QByteArray("artists")
            << "qobuz:favourites/artists"
            << QByteArray("/api/artist/get?artist_id=268435457&offset=0&limit=10&extra=albums");
        QTest::newRow("a playlist")
            << QByteArray(R"({"id":134217729,"name":"P"})") << QByteArray("playlists") << "qobuz:playlists"
            << QByteArray("/api/playlist/get?playlist_id=134217729&offset=0&limit=10&extra=tracks");
        QTest::newRow("an album") << QByteArray(R"({"id":"0004012","title":"A"})") << QByteArray("albums")
                                  << "qobuz:artist?id=7"
                                  << QByteArray("/api/album/get?album_id=0004012&offset=0&limit=10");
    }

    void theRowOfAListLeadsToThatList()
    {
        QFETCH(QByteArray, item);
        QFETCH(QByteArray, list);
        QFETCH(QString, path);
        QFETCH(QByteArray, target);
        const PelkRoles row = record(m_fixture->rowOf(item, list.constData(), path));
        m_fixture->serve(BrowseFixture::everyList());
        const ModuleHost::Rows rows = m_fixture->host.rows(row.path().toString(), 0, 9);
        QVERIFY(rows.finished);
        QVERIFY(!rows.error.isSet());
        QCOMPARE(rows.rows.size(), 2);
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{target});
    }

    void aPictureOfAPlaylistIsReadAsAText_data()
    {
        QTest::addColumn<QByteArray>("images");
        QTest::addColumn<QString>("icon");
        QTest::newRow("a number") << QByteArray(R"("images300":[7,"b"])") << "7";
        QTest::newRow("an object, which is no text")
            << QByteArray(R"("images":["a"],"images150":[{"url":"b"}])") << QString();
    }

    void aPictureOfAPlaylistIsReadAsAText()
    {
        QFETCH(QByteArray, images);
        QFETCH(QString, icon);
        const QVariantHash row =
            m_fixture->rowOf("{\"id\":4," + images + "}", "playlists", QStringLiteral("qobuz:playlists"));
        QCOMPARE(variantLines(row.value(PelkRoles::Icon())), variantLines(icon));
    }

private:
    std::unique_ptr<RowFixture> m_fixture;
};

QTEST_GUILESS_MAIN(RowsConformanceTest)
#include "rows_conformance_test.moc"

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "player/content/KnownContainers.h"

#include <QtTest>

namespace {

CMPath albumPath(int id)
{
    CMPath path(QStringLiteral("test:album"));
    path.addParam(QStringLiteral("id"), QString::number(id));
    return path;
}

PelkRoles album(int id)
{
    PelkRoles row;
    row.setPath(albumPath(id));
    row.setType(PelkRolesType::Container);
    row.setContainerType(PelkRolesContainerType::Album);
    row.setContainerPlayable(true);
    row.setTitle(TrString(QStringLiteral("Album %1").arg(id)));
    row.setIcon(QStringLiteral("http://covers/%1").arg(id));
    return row;
}

PelkRoles track(const QString& icon, const QString& albumTitle)
{
    PelkMetaData meta;
    meta.setAlbum(albumTitle);
    meta.setPerformer(QStringLiteral("Somebody"));
    PelkMediaData media;
    media.setMetaData(meta);
    PelkRoles row;
    row.setType(PelkRolesType::Audio);
    row.setPath(CMPath(QStringLiteral("test:track?id=1")));
    row.setIcon(icon);
    row.setMediaData(media);
    return row;
}

} // namespace

/// The stored data of containers, and what is added to their tracks.
class KnownContainersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlySeenContainersAreKnown()
    {
        KnownContainers known;
        known.add({album(1), track({}, {})});
        QCOMPARE(known.find(albumPath(1)).title().toString(), QStringLiteral("Album 1"));
        QCOMPARE(known.find(albumPath(1)).icon(), QStringLiteral("http://covers/1"));
        QVERIFY(known.find(albumPath(1)).containerPlayable());
        QVERIFY(known.find(albumPath(2)).isEmpty());
        QVERIFY(known.find(CMPath(QStringLiteral("test:track?id=1"))).isEmpty());
    }

    void theLatestAreKept()
    {
        KnownContainers known;
        for (int i = 0; i < KnownContainers::most; ++i)
            known.add({album(i)});
        QVERIFY(!known.find(albumPath(0)).isEmpty()); // and is the latest by that
        known.add({album(KnownContainers::most)});
        QVERIFY(!known.find(albumPath(0)).isEmpty());
        QVERIFY(known.find(albumPath(1)).isEmpty());
        QVERIFY(!known.find(albumPath(KnownContainers::most)).isEmpty());
    }

    void aTrackIsCompletedFromItsAlbum_data()
    {
        QTest::addColumn<QString>("icon");
        QTest::addColumn<QString>("title");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("expectedIcon");
        QTest::addColumn<QString>("expectedTitle");
        const QString cover = QStringLiteral("http://covers/7");
        const QString own = QStringLiteral("own");
        const QString title = QStringLiteral("Album 7");
        const int isAlbum = PelkRolesContainerType::Album;
        QTest::newRow("both") << QString() << QString() << isAlbum << cover << title;
        QTest::newRow("the cover") << QString() << own << isAlbum << cover << own;
        QTest::newRow("the title") << own << QString() << isAlbum << own << title;
        QTest::newRow("nothing") << own << own << isAlbum << own << own;
        QTest::newRow("nothing of a playlist")
            << QString() << QString() << int(PelkRolesContainerType::TrackList) << QString() << QString();
    }
    void aTrackIsCompletedFromItsAlbum()
    {
        QFETCH(QString, icon);
        QFETCH(QString, title);
        QFETCH(int, kind);
        PelkRoles container = album(7);
        container.setContainerType(PelkRolesContainerType::Enum(kind));
        const PelkRoles row = KnownContainers::completed(track(icon, title), container);
        QTEST(row.icon(), "expectedIcon");
        QTEST(row.mediaData().metaData().album(), "expectedTitle");
        QCOMPARE(row.mediaData().metaData().performer(), QStringLiteral("Somebody"));
        QCOMPARE(row.path().toString(), QStringLiteral("test:track?id=1"));
    }
};

QTEST_GUILESS_MAIN(KnownContainersTest)
#include "knowncontainers_test.moc"

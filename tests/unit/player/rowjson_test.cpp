#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "player/content/RowJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

class RowJsonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPageIsWhatTheReplyHeld()
    {
        RowPage page;
        page.from = 10;
        page.total = 1200;
        page.version = 3;
        const QJsonObject json = QJsonDocument::fromJson(rowsToJson(page)).object();
        QCOMPARE(json, (QJsonObject{{QStringLiteral("from"), 10},
                                    {QStringLiteral("count"), 1200},
                                    {QStringLiteral("version"), 3},
                                    {QStringLiteral("rows"), QJsonArray()}}));
    }

    void aRowCarriesEveryRoleThatItHas()
    {
        PelkMetaData metaData;
        metaData.setArtist(QStringLiteral("Ελοθα \"x\""));
        metaData.setDate(-86400);
        metaData.setAllowPause(true);
        metaData.setPrePlayPath(CMPath(QStringLiteral("t:preplay?id=1")));
        PelkResource resource;
        resource.setUri(QStringLiteral("file:///a"));
        resource.setDuration(5000000000LL);
        PelkMediaData mediaData;
        mediaData.setMetaData(metaData);
        PelkList<PelkResource> resources;
        resources.append(resource);
        mediaData.setResources(resources);
        PelkRoles row;
        row.setTitle(TrString(TrCharData{"Test", "%1 of %2"}, {1, 2}));
        row.setPath(CMPath(QStringLiteral("t:track?id=a%26b")));
        row.setType(PelkRolesType::Audio);
        row.setContainerType(PelkRolesContainerType::TrackList);
        row.setContainerPlayable(false);
        row.setAudioType(PelkRolesAudioType::Music);
        row.setIcon(QStringLiteral("http://i/1"));
        row.setMediaData(mediaData);
        RowPage page;
        page.rows = {row};
        const QJsonObject json = QJsonDocument::fromJson(rowsToJson(page))
                                     .object()
                                     .value(QStringLiteral("rows"))
                                     .toArray()
                                     .at(0)
                                     .toObject();
        const QByteArray expected =
            "{\"title\": \"1 of 2\", \"path\": \"t:track?id=a%26b\", \"type\": \"audio\", "
            "\"containerType\": \"trackList\", \"containerPlayable\": false, \"audioType\": \"music\", "
            "\"icon\": \"http://i/1\", "
            "\"mediaData\": {\"metaData\": {\"artist\": \"Ελοθα \\\"x\\\"\", \"date\": -86400, "
            "\"allowPause\": true, "
            "\"prePlayPath\": \"t:preplay?id=1\"}, "
            "\"resources\": [{\"uri\": \"file:///a\", \"duration\": 5000000000}]}}";
        QCOMPARE(json, QJsonDocument::fromJson(expected).object());
    }
};

QTEST_GUILESS_MAIN(RowJsonTest)
#include "rowjson_test.moc"

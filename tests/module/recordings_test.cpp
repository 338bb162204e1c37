#include "api/core/json/pelkjson.h"
#include "api/types/qobuzpaths.h"
#include "tests/support/memoryservice.h"
#include "tests/support/patience.h"

#include <QProcess>
#include <QtTest>

namespace {

struct Recording
{
    QString list; ///< the list's path
    QByteArray body;
};

QDir folder()
{
    return QDir(QStringLiteral(PELK_RECORDINGS));
}

/// The recordings whose names begin so, each an object as it was sent.
QList<QByteArray> items(const char* kind)
{
    QList<QByteArray> bodies;
    const QStringList names =
        folder().entryList({QLatin1String(kind) + QStringLiteral("-*.json")}, QDir::Files, QDir::Name);
    for (const QString& name : names) {
        QFile file(folder().filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            qFatal("%s cannot be read", qPrintable(name));
        bodies.append(file.readAll().trimmed());
    }
    return bodies;
}

/// A page of a list, in all forms of pages.
QList<QByteArray> pages(const char* kind)
{
    const QByteArray all = "[" + items(kind).join(',') + "]";
    return {R"({"offset":0,"limit":50,"total":60000,"items":)" + all + "}",
            R"({"items":[],"total":1,"total":"7","items":)" + all + R"(,"limit":"50"})",
            R"({"offset":null,"limit":null,"total":null,"items":null})",
            "null",
            "[]",
            R"({"total":3,"items":[null,"text",[]]})"};
}

/// An object with another key behind its own.
QByteArray with(const QByteArray& object, const char* key, const QByteArray& value)
{
    const QByteArray start = object.left(object.lastIndexOf('}'));
    return start + (start.trimmed() == "{" ? "" : ",") + "\"" + key + "\":" + value + "}";
}

void addList(QVector<Recording>* recordings, const QString& list, const char* key, const char* kind)
{
    for (const QByteArray& page : pages(kind))
        recordings->append({list, with(R"({"user":{"id":1},"query":"x"})", key, page)});
    recordings->append({list, "{}"});
    recordings->append({list, "[]"});
}

/// A record that contains a list.
void addRecord(QVector<Recording>* recordings, const QString& list, const char* record, const char* key,
               const char* kind)
{
    for (const QByteArray& body : items(record))
        for (const QByteArray& page : pages(kind))
            recordings->append({list, with(body, key, page)});
}

QVector<Recording> allRecordings()
{
    QVector<Recording> all;
    addList(&all, PelkQobuzFeaturedAlbumsPath(), "albums", "album");
    addList(&all, PelkQobuzFeaturedArtistsPath(), "artists", "artist");
    addList(&all, PelkQobuzFeaturedPlaylistsPath(), "playlists", "playlist");
    addList(&all, PelkQobuzUserPlaylistsPath(), "playlists", "playlist");
    addList(&all, PelkQobuzUserFavouriteTracksPath(), "tracks", "track");
    addList(&all, PelkQobuzUserFavouriteAlbumsPath(), "albums", "album");
    addList(&all, PelkQobuzUserFavouriteArtistsPath(), "artists", "artist");
    addList(&all, PelkQobuzUserPurchasedTracksPath(), "tracks", "track");
    addList(&all, PelkQobuzUserPurchasedAlbumsPath(), "albums", "album");
    addList(&all, PelkQobuzSearchArtistsPath(), "artists", "artist");
    addList(&all, PelkQobuzSearchAlbumsPath(), "albums", "album");
    addList(&all, PelkQobuzSearchTracksPath(), "tracks", "track");
    addList(&all, PelkQobuzSearchPlaylistsPath(), "playlists", "playlist");
    addRecord(&all, PelkQobuzAlbumPath(), "album", "tracks", "track");
    addRecord(&all, PelkQobuzPlaylistPath(), "playlist", "tracks", "track");
    addRecord(&all, PelkQobuzArtistPath(), "artist", "albums", "album");
    return all;
}

/// The output of the script, one line each.
QList<QByteArray> expectations(const QVector<Recording>& recordings)
{
    QProcess script;
    script.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    script.start(QStringLiteral(PELK_PYTHON),
                 {QStringLiteral("-B"), folder().filePath(QStringLiteral("expected_rows.py"))});
    for (const Recording& recording : recordings)
        script.write(recording.list.toUtf8() + ' ' + recording.body + '\n');
    script.closeWriteChannel();
    script.waitForFinished(patienceMs);
    return script.readAllStandardOutput().trimmed().split('\n');
}

} // namespace

/// Each list, of answers in all shapes that the service sends.
class RecordingsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyFieldOfARowIsWhatItsJsonSays_data()
    {
        QTest::addColumn<QString>("list");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("expected");
        const QVector<Recording> recordings = allRecordings();
        const QList<QByteArray> expected = expectations(recordings);
        QCOMPARE(expected.size(), recordings.size());
        for (int i = 0; i < expected.size(); ++i)
            QTest::addRow("%d: %s", i, qPrintable(recordings.at(i).list))
                << recordings.at(i).list << recordings.at(i).body << expected.at(i);
    }
    void everyFieldOfARowIsWhatItsJsonSays()
    {
        QFETCH(QString, list);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, expected);
        static MemoryService service;
        MemoryService::reset();
        const QStringList roles = {PelkRoles::Title(),
                                   PelkRoles::Path(),
                                   PelkRoles::Type(),
                                   PelkRoles::ContainerType(),
                                   PelkRoles::ContainerPlayable(),
                                   PelkRoles::AudioType(),
                                   PelkRoles::Icon(),
                                   PelkRoles::MediaData(),
                                   PelkRoles::SearchPath(),
                                   PelkRoles::Query(),
                                   PelkRoles::QueryPath()};
        const CMGetRowsRequest request(PelkQobuzBrowsePath() + list, 0, 49, roles);
        QVERIFY(service.browser.browse(request));
        MemoryService::answer(200, body);
        QVERIFY(request.reply().isFinished());
        const PelkRowsRoles reply = request.reply().value();

        PelkError error;
        const QVariantHash answer = PelkJson::parse(expected, error).toHash();
        QVERIFY2(error.isEmpty(), qPrintable(error.message()));
        const QVariantList rows = answer.value(QStringLiteral("rows")).toList();
        QCOMPARE(reply.rowsCount(), answer.value(QStringLiteral("total")).toInt());
        QCOMPARE(reply.rows().toList().size(), rows.size());
        for (int i = 0; i < rows.size(); ++i) {
            QVariantHash row;
            const QVariantList values = reply.rows().toList().at(i).toList();
            for (int role = 0; role < roles.size(); ++role)
                if (values.at(role).isValid())
                    row.insert(roles.at(role), values.at(role));
            // Both as JSON, since the numbers of a row have types of their own.
            QCOMPARE(PelkJson::serialize(row), PelkJson::serialize(rows.at(i)));
        }
    }
};

QTEST_GUILESS_MAIN(RecordingsTest)
#include "recordings_test.moc"

#include "api/types/pelkmediadata.h"
#include "api/types/pelkresource.h"
#include "player/content/History.h"
#include "tests/support/scriptedplayworker.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

PelkRoles track(const QString& id)
{
    return ScriptedPlayWorker::row(id);
}

} // namespace

class HistoryTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;

    QString name() const { return m_folder->filePath(QStringLiteral("history.json")); }
    static QStringList ids(const History& history)
    {
        QStringList ids;
        for (const History::Item& item : history.items())
            ids << item.row.path().param(QStringLiteral("id"));
        return ids;
    }

private Q_SLOTS:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

    void theLatestComesFirstAndSurvivesARestart()
    {
        const qint64 before = QDateTime::currentMSecsSinceEpoch();
        {
            History history(name());
            QCOMPARE(history.load(), QString());
            history.add(track(QStringLiteral("1")));
            history.add(track(QStringLiteral("+album")));
            history.add(track(QStringLiteral("1")));
        }
        History next(name());
        QCOMPARE(next.load(), QString());
        QCOMPARE(ids(next), QStringList({QStringLiteral("1"), QStringLiteral("+album")}));
        QCOMPARE(next.items().at(1).row, track(QStringLiteral("+album")));
        QVERIFY(next.items().at(0).timeMs >= before);
        QVERIFY(next.items().at(0).timeMs <= QDateTime::currentMSecsSinceEpoch());
    }

    void theOldestIsRemovedWhenThereAreTooMany()
    {
        History history(name());
        for (int i = 0; i < History::mostItems + 5; ++i)
            history.add(track(QString::number(i)));
        QCOMPARE(history.items().size(), History::mostItems);
        QCOMPARE(ids(history).last(), QStringLiteral("5"));
    }

    void aClockThatJumpsByADayKeepsTheOrder()
    {
        QFile file(name());
        QVERIFY(file.open(QIODevice::WriteOnly));
        // As if the clock had been set back by a day after the last track.
        file.write("{\"concern\":\"history\",\"version\":1,\"data\":{\"items\":[{\"row\":{\"path\":\"test:"
                   "track?id=1\"},"
                   "\"timeMs\":" +
                   QByteArray::number(QDateTime::currentMSecsSinceEpoch() + 86400000) + "}]}}");
        file.close();
        History history(name());
        QCOMPARE(history.load(), QString());
        history.add(track(QStringLiteral("2")));
        QCOMPARE(ids(history), QStringList({QStringLiteral("2"), QStringLiteral("1")}));
    }

    void noStreamIsKept()
    {
        PelkResource resource;
        resource.setUri(QStringLiteral("https://streams.example/S3CRET"));
        PelkList<PelkResource> resources;
        resources.append(resource);
        PelkRoles row = track(QStringLiteral("1"));
        PelkMediaData media = row.mediaData();
        media.setResources(resources);
        row.setMediaData(media);
        History history(name());
        history.add(row);
        history.flush();
        QCOMPARE(history.items().at(0).row, track(QStringLiteral("1")));
        QFile file(name());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(!file.readAll().contains("S3CRET"));
    }

    void clearedHistoryIsAlsoDeletedFromTheDisk()
    {
        History history(name());
        history.add(track(QStringLiteral("1")));
        history.flush();
        QVERIFY(QFile::exists(name()));
        history.add(track(QStringLiteral("2")));
        QSignalSpy changed(&history, &History::changed);
        QString error;
        QVERIFY(history.clear(&error));
        history.flush();
        QCOMPARE(changed.size(), 1);
        QVERIFY(history.items().isEmpty() && !QFile::exists(name()));
    }

    void historyThatIsOffKeepsNothing()
    {
        History history(name());
        history.add(track(QStringLiteral("1")));
        history.flush();
        history.setKeeping(false);
        history.add(track(QStringLiteral("2")));
        history.flush();
        QVERIFY(history.items().isEmpty() && !QFile::exists(name()));
        history.setKeeping(true);
        history.add(track(QStringLiteral("3")));
        QCOMPARE(ids(history), QStringList(QStringLiteral("3")));
    }

    void anInvalidFileIsReportedInASentence()
    {
        QFile file(name());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{\"concern\":\"history\",\"version\":1,\"data\":{\"items\":[{\"row\"");
        file.close();
        History history(name());
        QVERIFY(history.load().contains(QStringLiteral("it is incomplete or damaged")));
        QVERIFY(history.items().isEmpty());
    }

    void invalidItemsAreDropped()
    {
        QFile file(name());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{\"concern\":\"history\",\"version\":1,\"data\":{\"items\":[7,{},{\"row\":[]},{\"row\":{"
                   "\"title\":\"x\"}},"
                   "{\"row\":{\"path\":\"test:track?id=1\"}}]}}");
        file.close();
        History history(name());
        QCOMPARE(history.load(), QString());
        QCOMPARE(ids(history), QStringList(QStringLiteral("1")));
        history.add(PelkRoles());
        QCOMPARE(history.items().size(), 1);
    }
};

QTEST_GUILESS_MAIN(HistoryTest)
#include "history_test.moc"

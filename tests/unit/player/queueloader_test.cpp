#include "api/core/model/cmrootworker.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "player/play/QueueLoader.h"
#include "tests/support/patience.h"
#include "tests/support/scriptedplayworker.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

/// Which rows of a container are added to a queue, and in which pages they are requested.
class QueueLoaderTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<ScriptedPlayWorker> m_worker;
    std::unique_ptr<PlayQueue> m_queue;

    QStringList ids() const
    {
        QStringList ids;
        for (const QueueEntry& entry : m_queue->entries())
            ids << entry.row.path().param(QStringLiteral("id"));
        return ids;
    }

    static QStringList words(const QString& text) { return text.split(QLatin1Char(' ')); }

    /// Loads the list, and gives the sentence at the end.
    QString load(PlayQueue::Where where, int from = 0, int to = -1,
                 const CMPath& path = ScriptedPlayWorker::listPath())
    {
        QueueLoader loader(m_queue.get(), path, where, from, to);
        QSignalSpy finished(&loader, &QueueLoader::finished);
        loader.start();
        if (finished.isEmpty() && !finished.wait(60000))
            return QStringLiteral("never finished");
        return finished.size() == 1 ? finished.at(0).at(0).toString() : QStringLiteral("finished twice");
    }

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<CMRootWorker>();
        m_worker = std::make_unique<ScriptedPlayWorker>();
        m_root->addWorker(m_worker.get());
        m_queue = std::make_unique<PlayQueue>();
    }

    void cleanup()
    {
        m_queue.reset();
        m_worker.reset();
        m_root.reset();
    }

    void shortPagesAreCompletedAndUnplayableRowsAreLeftOut()
    {
        m_worker->list = words(QStringLiteral("-a 1 -b -c 2"));
        m_worker->pageSize = 2;
        QCOMPARE(load(PlayQueue::Where::End), QString());
        QCOMPARE(m_worker->rowRequests, words(QStringLiteral("0-49 2-51 4-53")));
        QCOMPARE(ids(), words(QStringLiteral("1 2")));
        QVERIFY(!m_queue->turns().isGrowing());
    }

    void aListWithoutEndIsLeftOneDay()
    {
        for (int i = 0; i < 3 * PlayQueue::mostEntries; ++i)
            m_worker->list << QStringLiteral("-a");
        m_worker->list[10] = QStringLiteral("1");
        QCOMPARE(load(PlayQueue::Where::End),
                 QStringLiteral("The list is too long: only its first 40000 rows were checked."));
        QCOMPARE(ids(), words(QStringLiteral("1")));
        QVERIFY(!m_queue->turns().isGrowing());
    }

    void onlyTheRangeIsRequested()
    {
        m_worker->list = words(QStringLiteral("1 2 3 4 5 6"));
        m_worker->pageSize = 2;
        QCOMPARE(load(PlayQueue::Where::End, 1, 4), QString());
        QCOMPARE(m_worker->rowRequests, words(QStringLiteral("1-4 3-4")));
        QCOMPARE(ids(), words(QStringLiteral("2 3 4 5")));
    }

    void pagesStayInTheirOrderWhereverTheyGo_data()
    {
        QTest::addColumn<int>("where");
        QTest::addColumn<QString>("expected");
        QTest::newRow("end") << int(PlayQueue::Where::End) << QStringLiteral("a b c 1 2 3 4 5");
        QTest::newRow("next") << int(PlayQueue::Where::Next) << QStringLiteral("a 1 2 3 4 5 b c");
        QTest::newRow("replace") << int(PlayQueue::Where::Replace) << QStringLiteral("1 2 3 4 5");
    }
    void pagesStayInTheirOrderWhereverTheyGo()
    {
        QFETCH(int, where);
        QFETCH(QString, expected);
        const QVector<int> before = m_queue->add({ScriptedPlayWorker::row(QStringLiteral("a")),
                                                  ScriptedPlayWorker::row(QStringLiteral("b")),
                                                  ScriptedPlayWorker::row(QStringLiteral("c"))},
                                                 PlayQueue::Where::End);
        m_queue->setCurrent(before.first());
        m_worker->list = words(QStringLiteral("1 2 3 4 5"));
        m_worker->pageSize = 2;
        QCOMPARE(load(PlayQueue::Where(where)), QString());
        QCOMPARE(ids(), words(expected));
    }

    void eachPageSaysWhichRowsItsEntriesAre()
    {
        m_worker->list = words(QStringLiteral("-a 1 2 -b 3"));
        m_worker->pageSize = 3;
        QueueLoader loader(m_queue.get(), ScriptedPlayWorker::listPath(), PlayQueue::Where::End);
        QVector<int> rows;
        QVector<int> added;
        connect(&loader, &QueueLoader::pageAdded, this, [&](const QVector<int>& ids, const QVector<int>& at) {
            added += ids;
            rows += at;
        });
        loader.start();
        QTRY_COMPARE(rows, (QVector<int>{1, 2, 4}));
        QCOMPARE(added.size(), 3);
        QCOMPARE(m_queue->entries().at(2).id, added.at(2));
    }

    void aPlayableContainerIsReplacedByItsTracks_data()
    {
        QTest::addColumn<int>("where");
        QTest::addColumn<QString>("expected");
        QTest::newRow("end") << int(PlayQueue::Where::End) << QStringLiteral("a b 1 A1 A2 A3 2 C1");
        QTest::newRow("replace") << int(PlayQueue::Where::Replace) << QStringLiteral("1 A1 A2 A3 2 C1");
    }
    void aPlayableContainerIsReplacedByItsTracks()
    {
        QFETCH(int, where);
        QFETCH(QString, expected);
        m_queue->add(
            {ScriptedPlayWorker::row(QStringLiteral("a")), ScriptedPlayWorker::row(QStringLiteral("b"))},
            PlayQueue::Where::End);
        m_worker->list = words(QStringLiteral("1 +A -x 2 +B +C"));
        m_worker->albums = {{QStringLiteral("+A"), words(QStringLiteral("A1 A2 A3"))},
                            {QStringLiteral("+B"), {}},
                            {QStringLiteral("+C"), words(QStringLiteral("C1 +A"))}}; // no further down
        m_worker->pageSize = 2;
        QueueLoader loader(m_queue.get(), ScriptedPlayWorker::listPath(), PlayQueue::Where(where));
        QVector<int> places;
        connect(&loader, &QueueLoader::pageAdded, this,
                [&places](const QVector<int>& ids, const QVector<int>& rows) {
                    QCOMPARE(ids.size(), rows.size());
                    places += rows;
                });
        QSignalSpy finished(&loader, &QueueLoader::finished);
        loader.start();
        QTRY_COMPARE(finished.size(), 1);
        QCOMPARE(finished.at(0).at(0).toString(), QString());
        QCOMPARE(ids(), words(expected));
        QCOMPARE(places, (QVector<int>{0, 1, 1, 1, 3, 5}));
        QVERIFY(!m_queue->turns().isGrowing());
    }

    void theTracksOfAnAlbumHaveItsTitleAndCover()
    {
        m_worker->list = words(QStringLiteral("+A"));
        m_worker->albums = {{QStringLiteral("+A"), words(QStringLiteral("A1"))}};
        QCOMPARE(load(PlayQueue::Where::End), QString());
        const PelkRoles byItsRow = m_queue->entries().first().row;
        QCOMPARE(byItsRow.icon(), QStringLiteral("http://covers/+A"));
        QCOMPARE(byItsRow.mediaData().metaData().album(), QStringLiteral("Track +A"));
        QCOMPARE(byItsRow.mediaData().metaData().prePlayPath().param(QStringLiteral("id")),
                 QStringLiteral("A1"));

        const PelkRoles album = ScriptedPlayWorker::row(QStringLiteral("+A"));
        QueueLoader loader(m_queue.get(), album.path(), PlayQueue::Where::End);
        loader.setContainerRow(album);
        QSignalSpy finished(&loader, &QueueLoader::finished);
        loader.start();
        QTRY_COMPARE(finished.size(), 1);
        QCOMPARE(m_queue->entries().last().row.icon(), QStringLiteral("http://covers/+A"));
    }

    void failedRowsAreReportedInASentence()
    {
        const QString sentence = load(PlayQueue::Where::End, 0, -1, CMPath(QStringLiteral("test:nothing")));
        QVERIFY2(sentence.endsWith(QLatin1Char('.')), qPrintable(sentence));
        QVERIFY(m_queue->entries().isEmpty());
        QVERIFY(!m_queue->turns().isGrowing());
    }

    void aQueueThatIsReplacedMeanwhileGetsNoMoreOfTheOldRows()
    {
        m_worker->list = words(QStringLiteral("1 2 3 4 5 6"));
        m_worker->pageSize = 2;
        QueueLoader loader(m_queue.get(), ScriptedPlayWorker::listPath(), PlayQueue::Where::End);
        QSignalSpy finished(&loader, &QueueLoader::finished);
        connect(&loader, &QueueLoader::pageAdded, this, [this] { m_queue->clear(); });
        loader.start();
        QTRY_COMPARE(finished.size(), 1);
        QVERIFY(m_queue->entries().isEmpty());
        QCOMPARE(m_worker->rowRequests.size(), 2);
    }

    void theLastRequestedListWins_data()
    {
        using Where = PlayQueue::Where;
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("second");
        QTest::addColumn<bool>("firstComesFirst");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, Where first, Where second, const char* expected) {
            for (const bool inOrder : {true, false})
                QTest::addRow("%s, %s", name, inOrder ? "in order" : "the other way round")
                    << int(first) << int(second) << inOrder << QString::fromLatin1(expected);
        };
        row("one list after the other", Where::Replace, Where::Replace, "B1 B2 B3");
        row("more at the end of a new list", Where::Replace, Where::End, "A1 A2 A3 B1 B2 B3");
        row("a new list after more", Where::End, Where::Replace, "B1 B2 B3");
    }
    void theLastRequestedListWins()
    {
        QFETCH(int, first);
        QFETCH(int, second);
        QFETCH(bool, firstComesFirst);
        QFETCH(QString, expected);
        m_queue->add({ScriptedPlayWorker::row(QStringLiteral("old"))}, PlayQueue::Where::End);
        m_worker->albums = {{QStringLiteral("+A"), words(QStringLiteral("A1 A2 A3"))},
                            {QStringLiteral("+B"), words(QStringLiteral("B1 B2 B3"))}};
        m_worker->holdRows = true;
        const auto path = [](const char* id) {
            return ScriptedPlayWorker::row(QString::fromLatin1(id)).path();
        };
        QueueLoader a(m_queue.get(), path("+A"), PlayQueue::Where(first));
        QueueLoader b(m_queue.get(), path("+B"), PlayQueue::Where(second));
        QSignalSpy finishedA(&a, &QueueLoader::finished);
        QSignalSpy finishedB(&b, &QueueLoader::finished);
        a.start();
        b.start();
        QCOMPARE(m_worker->heldRows.size(), 2);
        m_worker->holdRows = false;
        for (const int index : {firstComesFirst ? 0 : 1, firstComesFirst ? 1 : 0}) {
            m_worker->getRowsRequest(m_worker->heldRows.at(index));
            QCoreApplication::processEvents();
        }
        QTRY_VERIFY(finishedA.size() == 1 && finishedB.size() == 1);
        QCOMPARE(ids(), words(expected));
        QVERIFY(!b.wasOvertaken());
        QVERIFY(!m_queue->turns().isGrowing());
    }

    void aListThatCannotBeLoadedDoesNotBlockOthers()
    {
        m_queue->add({ScriptedPlayWorker::row(QStringLiteral("old"))}, PlayQueue::Where::End);
        m_worker->list = words(QStringLiteral("1 2"));
        m_worker->albums = {{QStringLiteral("+A"), {}}};
        m_worker->holdRows = true;
        QueueLoader none(m_queue.get(), ScriptedPlayWorker::row(QStringLiteral("+A")).path(),
                         PlayQueue::Where::Replace);
        QueueLoader more(m_queue.get(), ScriptedPlayWorker::listPath(), PlayQueue::Where::End);
        none.start();
        more.start();
        m_worker->holdRows = false;
        m_worker->getRowsRequest(m_worker->heldRows.at(1));
        QCoreApplication::processEvents();
        QCOMPARE(ids(), words(QStringLiteral("old")));
        m_worker->getRowsRequest(m_worker->heldRows.at(0));
        QTRY_COMPARE(ids(), words(QStringLiteral("old 1 2")));
        QVERIFY(!m_queue->turns().isGrowing());
    }

    void tenThousandTracksFitAndAFullQueueIsReported()
    {
        QVector<PelkRoles> rows(PlayQueue::mostEntries - 10000, ScriptedPlayWorker::row(QStringLiteral("x")));
        m_queue->add(rows, PlayQueue::Where::End);
        for (int i = 0; i < 10000; ++i)
            m_worker->list << QString::number(i);
        QCOMPARE(load(PlayQueue::Where::End), QString());
        QCOMPARE(m_queue->entries().size(), PlayQueue::mostEntries);
        QCOMPARE(ids().last(), QStringLiteral("9999"));
        QCOMPARE(load(PlayQueue::Where::End), QStringLiteral("The queue is full: it holds 20000 tracks."));
        QCOMPARE(m_queue->entries().size(), PlayQueue::mostEntries);
    }
};

QTEST_GUILESS_MAIN(QueueLoaderTest)
#include "queueloader_test.moc"

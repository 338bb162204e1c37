#include "player/play/PlayOrder.h"
#include "tests/support/scriptedplayworker.h"

#include <QSet>
#include <QSignalSpy>
#include <QtTest>

/// The places of the queue and the order in which they are played.
class PlayQueueTest : public QObject
{
    Q_OBJECT

    static QVector<PelkRoles> rows(const QString& names)
    {
        QVector<PelkRoles> rows;
        for (const QString& name : names.split(QLatin1Char(' ')))
            rows.append(ScriptedPlayWorker::row(name));
        return rows;
    }

    static QString text(const PlayQueue& queue)
    {
        QStringList names;
        for (const QueueEntry& entry : queue.entries())
            names << entry.row.path().param(QStringLiteral("id"));
        return names.join(QLatin1Char(' '));
    }

    /// The order from the current entry on, as far as it goes by itself.
    static QVector<int> walk(PlayOrder order, int most)
    {
        QVector<int> ids;
        while (ids.size() < most) {
            const int id = order.next(true);
            if (id == 0)
                break;
            ids.append(id);
            order.setCurrent(id);
        }
        return ids;
    }

private Q_SLOTS:
    void rowsGoWhereTheyAreWanted()
    {
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c")), PlayQueue::Where::End);
        queue.setCurrent(ids.at(1));
        queue.add(rows(QStringLiteral("d e")), PlayQueue::Where::Next);
        QCOMPARE(text(queue), QStringLiteral("a b d e c"));
        queue.add(rows(QStringLiteral("f")), PlayQueue::Where::End);
        QCOMPARE(text(queue), QStringLiteral("a b d e c f"));
        queue.add(rows(QStringLiteral("g")), PlayQueue::Where::Replace);
        QCOMPARE(text(queue), QStringLiteral("g"));
    }

    void idsAreNeverUsedTwice()
    {
        QSet<int> seen;
        PlayQueue queue;
        PlayQueue another;
        for (int i = 0; i < 3; ++i) {
            for (const int id : queue.add(rows(QStringLiteral("a b")), PlayQueue::Where::Replace) +
                                    another.add(rows(QStringLiteral("a")), PlayQueue::Where::End)) {
                QVERIFY(id > 0 && !seen.contains(id));
                seen.insert(id);
            }
        }
    }

    void aMovePutsAnEntryBeforeAnotherOrAtTheEnd()
    {
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c d")), PlayQueue::Where::End);
        QVERIFY(queue.move(ids.at(3), ids.at(0)));
        QCOMPARE(text(queue), QStringLiteral("d a b c"));
        QVERIFY(queue.move(ids.at(0), 0));
        QCOMPARE(text(queue), QStringLiteral("d b c a"));
        QVERIFY(queue.move(ids.at(1), ids.at(0)));
        QCOMPARE(text(queue), QStringLiteral("d c b a"));
        QVERIFY(queue.move(ids.at(1), ids.at(1)));
        QCOMPARE(text(queue), QStringLiteral("d c b a"));
    }

    void twoClientsThatMoveTheSameQueueLoseNothing()
    {
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c d")), PlayQueue::Where::End);
        // Both saw "a b c d". One removes c; the other moves it, puts something before it, removes it too.
        QVERIFY(queue.remove({ids.at(2)}));
        const quint64 revision = queue.revision();
        QVERIFY(!queue.move(ids.at(2), ids.at(0)));
        QVERIFY(!queue.move(ids.at(3), ids.at(2)));
        QVERIFY(!queue.remove({ids.at(2)}));
        QCOMPARE(queue.revision(), revision);
        QCOMPARE(text(queue), QStringLiteral("a b d"));
        QVERIFY(queue.remove({ids.at(2), ids.at(0)}));
        QCOMPARE(text(queue), QStringLiteral("b d"));
    }

    void everyChangeIsToldAndCounted()
    {
        PlayQueue queue;
        QSignalSpy changed(&queue, &PlayQueue::changed);
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b")), PlayQueue::Where::End);
        queue.move(ids.at(1), ids.at(0));
        queue.remove({ids.at(0)});
        queue.clear();
        QCOMPARE(changed.size(), 4);
        QCOMPARE(queue.revision(), quint64(4));
    }

    void repeatDecidesWhatComesAfterTheLast_data()
    {
        QTest::addColumn<int>("repeat");
        QTest::addColumn<QVector<int>>("places"); // of what follows the second of three
        QTest::newRow("off") << int(RepeatMode::Off) << QVector<int>{2};
        QTest::newRow("one") << int(RepeatMode::One) << QVector<int>{1, 1, 1, 1};
        QTest::newRow("all") << int(RepeatMode::All) << QVector<int>{2, 0, 1, 2};
    }
    void repeatDecidesWhatComesAfterTheLast()
    {
        QFETCH(int, repeat);
        QFETCH(QVector<int>, places);
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c")), PlayQueue::Where::End);
        PlayOrder order;
        order.sync(queue);
        order.setRepeat(RepeatMode(repeat));
        order.setCurrent(ids.at(1));
        QVector<int> expected;
        for (const int place : places)
            expected.append(ids.at(place));
        QCOMPARE(walk(order, 4), expected);
        // A listener who goes on always goes to another one.
        QCOMPARE(order.next(false), ids.at(2));
        QCOMPARE(order.previous(), ids.at(0));
    }

    void shuffledEachIsPlayedOnceAndTheCurrentOneFirst()
    {
        PlayQueue queue;
        QVector<PelkRoles> many;
        for (int i = 0; i < 200; ++i)
            many.append(ScriptedPlayWorker::row(QString::number(i)));
        const QVector<int> ids = queue.add(many, PlayQueue::Where::End);
        PlayOrder order;
        order.sync(queue);
        order.setCurrent(ids.at(77));
        order.setShuffled(true, queue);
        QVector<int> played = walk(order, 1000);
        QCOMPARE(played.size(), 199);
        QVERIFY(!played.contains(ids.at(77)));
        QVector<int> rest = ids;
        rest.removeAt(77);
        QVERIFY(played != rest);
        std::sort(played.begin(), played.end());
        QCOMPARE(played, rest);
        order.setShuffled(false, queue);
        QCOMPARE(order.next(true), ids.at(78));
    }

    void shuffledWhatIsToBePlayedNextIsAndTheRestIsSpread()
    {
        PlayQueue queue;
        PlayOrder order;
        connect(&queue, &PlayQueue::added, this,
                [&order](const QVector<int>& ids, int after) { order.add(ids, after); });
        connect(&queue, &PlayQueue::changed, this, [&] { order.sync(queue); });
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c d e")), PlayQueue::Where::End);
        order.setCurrent(ids.at(0));
        queue.setCurrent(ids.at(0));
        order.setShuffled(true, queue);
        QVector<int> next = queue.add(rows(QStringLiteral("x y")), PlayQueue::Where::Next);
        const QVector<int> spread = queue.add(
            QVector<PelkRoles>(100, ScriptedPlayWorker::row(QStringLiteral("z"))), PlayQueue::Where::End);
        QCOMPARE(queue.entries().at(1).id, next.at(0));
        QCOMPARE(walk(order, 2), next);
        // What comes in pieces comes in its order.
        next += queue.addAfter(next.last(), rows(QStringLiteral("u v")));
        QCOMPARE(walk(order, 4), next);
        QVector<int> played = walk(order, 1000);
        QCOMPARE(played.size(), 108);
        QVERIFY(played != ids.mid(1) + next + spread);
        for (const int id : spread)
            QCOMPARE(played.count(id), 1);
    }

    void whatFollowsARemovedEntryTakesItsPlace()
    {
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c d")), PlayQueue::Where::End);
        PlayOrder order;
        order.sync(queue);
        order.setCurrent(ids.at(1));
        queue.remove({ids.at(1), ids.at(2)});
        order.sync(queue);
        QCOMPARE(order.current(), 0);
        QCOMPARE(order.heir(), ids.at(3));
        order.setCurrent(ids.at(3));
        queue.remove({ids.at(3)});
        order.sync(queue);
        QCOMPARE(order.heir(), 0);
        order.setCurrent(ids.at(0));
        const int last = queue.add(rows(QStringLiteral("e")), PlayQueue::Where::End).first();
        order.sync(queue);
        order.setCurrent(last);
        order.setRepeat(RepeatMode::All);
        queue.remove({last});
        order.sync(queue);
        QCOMPARE(order.heir(), ids.at(0)); // round and round
    }
};

QTEST_GUILESS_MAIN(PlayQueueTest)
#include "playqueue_test.moc"

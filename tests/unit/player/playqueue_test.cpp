#include "player/play/PlayQueue.h"
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

    /// The playback order from the current entry to the end. Afterwards the last entry is current.
    static QVector<int> walk(PlayQueue& queue, int most)
    {
        QVector<int> ids;
        while (ids.size() < most) {
            const int id = queue.next(true);
            if (id == 0)
                break;
            ids.append(id);
            queue.setCurrent(id);
        }
        return ids;
    }

    static QVector<int> idsOf(const PlayQueue& queue)
    {
        QVector<int> ids;
        for (const QueueEntry& entry : queue.entries())
            ids.append(entry.id);
        return ids;
    }

private Q_SLOTS:
    void rowsAreAddedWhereRequested()
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
        QVERIFY(queue.move({ids.at(3)}, ids.at(0)));
        QCOMPARE(text(queue), QStringLiteral("d a b c"));
        QVERIFY(queue.move({ids.at(0)}, 0));
        QCOMPARE(text(queue), QStringLiteral("d b c a"));
        QVERIFY(queue.move({ids.at(1)}, ids.at(0)));
        QCOMPARE(text(queue), QStringLiteral("d c b a"));
        QVERIFY(queue.move({ids.at(1)}, ids.at(1)));
        QCOMPARE(text(queue), QStringLiteral("d c b a"));
    }

    void severalEntriesMoveTogetherInTheOrderInWhichTheyStand_data()
    {
        QTest::addColumn<QString>("moved");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("order");
        QTest::newRow("to the start") << "d b"
                                      << "a"
                                      << "b d a c e";
        QTest::newRow("to the end") << "a c"
                                    << ""
                                    << "b d e a c";
        QTest::newRow("before one that stays") << "a e"
                                               << "c"
                                               << "b a e c d";
        QTest::newRow("before one of them") << "b d e"
                                            << "d"
                                            << "a c b d e";
        QTest::newRow("all of them") << "e d c b a"
                                     << "c"
                                     << "a b c d e";
        QTest::newRow("with one that has gone") << "x d"
                                                << "b"
                                                << "a d b c e";
        QTest::newRow("only one that has gone") << "x"
                                                << "b"
                                                << "";
        QTest::newRow("before one that has gone") << "a"
                                                  << "x"
                                                  << "";
    }
    void severalEntriesMoveTogetherInTheOrderInWhichTheyStand()
    {
        QFETCH(QString, moved);
        QFETCH(QString, before);
        QFETCH(QString, order);
        PlayQueue queue;
        const QString names = QStringLiteral("a b c d e");
        const QVector<int> ids = queue.add(rows(names), PlayQueue::Where::End);
        const auto idOf = [&](const QString& name) {
            return name.isEmpty() ? 0 : ids.value(names.split(QLatin1Char(' ')).indexOf(name), 999999);
        };
        QVector<int> chosen;
        for (const QString& name : moved.split(QLatin1Char(' ')))
            chosen.append(idOf(name));
        const quint64 revision = queue.revision();
        QCOMPARE(queue.move(chosen, idOf(before)), !order.isEmpty());
        QCOMPARE(text(queue), order.isEmpty() ? names : order);
        QCOMPARE(queue.revision(), revision + (order.isEmpty() ? 0 : 1));
    }

    void anEntryKnowsItsContainer()
    {
        const CMPath album(QStringLiteral("test:album?id=1"));
        const CMPath list(QStringLiteral("test:list"));
        PlayQueue queue;
        const QVector<int> ids = queue.replace(rows(QStringLiteral("a")), 0, album);
        queue.addAfter(ids.first(), rows(QStringLiteral("b")), album);
        queue.add(rows(QStringLiteral("c")), PlayQueue::Where::End, list);
        queue.add(rows(QStringLiteral("d")), PlayQueue::Where::End);
        queue.setShuffled(true);
        queue.clear();
        QCOMPARE(queue.undoCount(), 4);
        QVERIFY(queue.undo());
        queue.setShuffled(false);
        QVector<CMPath> sources;
        for (const QueueEntry& entry : queue.entries())
            sources.append(entry.source);
        QCOMPARE(sources, (QVector<CMPath>{album, album, list, CMPath()}));
    }

    void twoClientsReorderingTheSameQueueLoseNothing()
    {
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c d")), PlayQueue::Where::End);
        // Both saw "a b c d". One removes c; the other moves it, puts something before it, removes it too.
        QVERIFY(queue.remove({ids.at(2)}));
        const quint64 revision = queue.revision();
        QVERIFY(!queue.move({ids.at(2)}, ids.at(0)));
        QVERIFY(!queue.move({ids.at(3)}, ids.at(2)));
        QVERIFY(!queue.remove({ids.at(2)}));
        QCOMPARE(queue.revision(), revision);
        QCOMPARE(text(queue), QStringLiteral("a b d"));
        QVERIFY(queue.remove({ids.at(2), ids.at(0)}));
        QCOMPARE(text(queue), QStringLiteral("b d"));
    }

    void everyChangeIsReportedAndCounted()
    {
        PlayQueue queue;
        QSignalSpy changed(&queue, &PlayQueue::changed);
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b")), PlayQueue::Where::End);
        queue.move({ids.at(1)}, ids.at(0));
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
        queue.setRepeat(RepeatMode(repeat));
        queue.setCurrent(ids.at(1));
        // Next always selects another entry.
        QCOMPARE(queue.next(false), ids.at(2));
        QCOMPARE(queue.previous(), ids.at(0));
        QVector<int> expected;
        for (const int place : places)
            expected.append(ids.at(place));
        QCOMPARE(walk(queue, 4), expected);
    }

    void shuffledEntriesAreInPlaybackOrderWithTheCurrentOneFirst()
    {
        PlayQueue queue;
        QVector<PelkRoles> many;
        for (int i = 0; i < 200; ++i)
            many.append(ScriptedPlayWorker::row(QString::number(i)));
        const QVector<int> ids = queue.add(many, PlayQueue::Where::End);
        queue.setCurrent(ids.at(77));
        queue.setShuffled(true);
        const QVector<int> shown = idsOf(queue);
        QCOMPARE(shown.first(), ids.at(77));
        QVERIFY(shown.mid(1) != ids.mid(0, 77) + ids.mid(78));
        QCOMPARE(walk(queue, 1000), shown.mid(1));
        QVector<int> sorted = shown;
        std::sort(sorted.begin(), sorted.end());
        QCOMPARE(sorted, ids);
    }

    void shufflingOffBringsBackTheOrderAroundTheCurrentEntry()
    {
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c d e")), PlayQueue::Where::End);
        queue.setShuffled(true);
        queue.setCurrent(ids.at(3));
        const int next = queue.add(rows(QStringLiteral("x")), PlayQueue::Where::Next).first();
        queue.add(rows(QStringLiteral("f")), PlayQueue::Where::End);
        queue.remove({ids.at(1)});
        queue.setShuffled(false);
        QCOMPARE(text(queue), QStringLiteral("a c d x e f"));
        QCOMPARE(queue.current(), ids.at(3));
        QCOMPARE(queue.next(true), next);
    }

    void whileShuffledPlayNextIsNextAndOtherAdditionsAreSpread()
    {
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c d e")), PlayQueue::Where::End);
        queue.setCurrent(ids.at(0));
        queue.setShuffled(true);
        QVector<int> next = queue.add(rows(QStringLiteral("x y")), PlayQueue::Where::Next);
        const QVector<int> spread = queue.add(
            QVector<PelkRoles>(100, ScriptedPlayWorker::row(QStringLiteral("z"))), PlayQueue::Where::End);
        // Pieces are added in their order.
        next += queue.addAfter(next.last(), rows(QStringLiteral("u v")));
        QCOMPARE(idsOf(queue).mid(1, 4), next);
        QVERIFY(idsOf(queue) != ids.mid(0, 1) + next + ids.mid(1) + spread);
        QCOMPARE(queue.entries().size(), 109);
        for (const int id : spread)
            QCOMPARE(idsOf(queue).count(id), 1);
    }

    void theSuccessorOfARemovedEntryTakesItsPlace()
    {
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c d")), PlayQueue::Where::End);
        queue.setCurrent(ids.at(1));
        queue.remove({ids.at(1), ids.at(2)});
        QCOMPARE(queue.current(), ids.at(3));
        queue.remove({ids.at(3)});
        QCOMPARE(queue.current(), 0);
        const int last = queue.add(rows(QStringLiteral("e")), PlayQueue::Where::End).first();
        queue.setCurrent(last);
        queue.setRepeat(RepeatMode::All);
        queue.remove({last});
        QCOMPARE(queue.current(), ids.at(0)); // round and round
    }

    void aLossCanBeUndoneOnce_data()
    {
        QTest::addColumn<QString>("loss");
        QTest::newRow("clear") << QStringLiteral("clear");
        QTest::newRow("replace") << QStringLiteral("replace");
        QTest::newRow("replace, in pieces") << QStringLiteral("pieces");
        QTest::newRow("remove") << QStringLiteral("remove");
    }
    void aLossCanBeUndoneOnce()
    {
        QFETCH(QString, loss);
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c")), PlayQueue::Where::End);
        queue.setCurrent(ids.at(1));
        QCOMPARE(queue.undoCount(), 0);
        if (loss == QLatin1String("clear"))
            queue.clear();
        else if (loss == QLatin1String("remove"))
            queue.remove({ids.at(0), ids.at(1)});
        else
            queue.addAfter(
                queue.add(rows(QStringLiteral("x")), PlayQueue::Where::Replace).first(),
                rows(loss == QLatin1String("pieces") ? QStringLiteral("y z") : QStringLiteral("y")));
        QVERIFY(queue.undoCount() > 0);
        QSignalSpy changed(&queue, &PlayQueue::changed);
        QVERIFY(queue.undo());
        QCOMPARE(changed.size(), 1);
        QCOMPARE(idsOf(queue), ids);
        QCOMPARE(queue.current(), loss == QLatin1String("remove") ? ids.at(2) : ids.at(1));
        QVERIFY(!queue.undo());
    }

    void anyOtherChangeOfTheQueueDiscardsTheUndo_data()
    {
        QTest::addColumn<QString>("change");
        for (const char* change : {"add", "next", "move", "shuffle", "replace what is empty"})
            QTest::newRow(change) << QString::fromLatin1(change);
    }
    void anyOtherChangeOfTheQueueDiscardsTheUndo()
    {
        QFETCH(QString, change);
        PlayQueue queue;
        const QVector<int> ids = queue.add(rows(QStringLiteral("a b c")), PlayQueue::Where::End);
        queue.remove({ids.at(0)});
        if (change.startsWith(QLatin1String("replace")))
            queue.clear();
        QVERIFY(queue.undoCount() > 0);
        if (change == QLatin1String("add"))
            queue.add(rows(QStringLiteral("x")), PlayQueue::Where::End);
        else if (change == QLatin1String("next"))
            queue.add(rows(QStringLiteral("x")), PlayQueue::Where::Next);
        else if (change == QLatin1String("move"))
            queue.move({ids.at(1)}, 0);
        else if (change == QLatin1String("shuffle"))
            queue.setShuffled(true);
        else
            queue.add(rows(QStringLiteral("x")), PlayQueue::Where::Replace);
        QCOMPARE(queue.undoCount(), 0);
        QVERIFY(!queue.undo());
    }

    void anUndoneReplacementGetsNoMoreOfItsRows()
    {
        PlayQueue queue;
        queue.add(rows(QStringLiteral("a")), PlayQueue::Where::End);
        const int turn = queue.turns().begin(true);
        queue.replace(rows(QStringLiteral("x")), turn);
        QVERIFY(!queue.turns().isOvertaken(turn));
        QVERIFY(queue.undo());
        QVERIFY(queue.turns().isOvertaken(turn));
    }

    void savedStateIsRestored_data()
    {
        QTest::addColumn<QVector<int>>("unshuffled");
        QTest::addColumn<bool>("shuffled");
        QTest::newRow("not shuffled") << QVector<int>{} << false;
        QTest::newRow("shuffled") << QVector<int>{2, 0, 1} << true;
        QTest::newRow("too short") << QVector<int>{1, 0} << false;
        QTest::newRow("a place twice") << QVector<int>{1, 1, 0} << false;
        QTest::newRow("a place out of range") << QVector<int>{1, 3, 0} << false;
        QTest::newRow("a negative place") << QVector<int>{1, -1, 0} << false;
    }
    void savedStateIsRestored()
    {
        QFETCH(QVector<int>, unshuffled);
        QFETCH(bool, shuffled);
        PlayQueue queue;
        queue.add(rows(QStringLiteral("old")), PlayQueue::Where::End);
        queue.restore(rows(QStringLiteral("c a b")), 1, unshuffled);
        QCOMPARE(text(queue), QStringLiteral("c a b"));
        QCOMPARE(queue.row(queue.current()).path().param(QStringLiteral("id")), QStringLiteral("a"));
        QCOMPARE(queue.isShuffled(), shuffled);
        QCOMPARE(queue.undoCount(), 0);
        queue.setShuffled(false);
        QCOMPARE(text(queue), shuffled ? QStringLiteral("a b c") : QStringLiteral("c a b"));
    }
};

QTEST_GUILESS_MAIN(PlayQueueTest)
#include "playqueue_test.moc"

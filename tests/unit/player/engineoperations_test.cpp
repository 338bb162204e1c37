#include "api/core/model/cmnodesworker.h"
#include "api/core/model/cmrootworker.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "player/play/PlayEngine.h"
#include "tests/support/scriptedplayworker.h"
#include "tests/support/scriptedstream.h"

#include <QSignalSpy>
#include <QtTest>

/// The engine's operations besides playing: undo, sleep timer, volume limit, relative seeks, and saving and
/// restoring its state. The real engine with a scripted stream and clock.
class EngineOperationsTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<ScriptedPlayWorker> m_worker;
    std::unique_ptr<PlayEngine> m_engine;
    ScriptedStream* m_stream = nullptr;
    ScriptedClock* m_clock = nullptr;

    QVector<int> fill(const QString& names)
    {
        QVector<PelkRoles> rows;
        for (const QString& name : names.split(QLatin1Char(' '))) {
            rows.append(ScriptedPlayWorker::row(name));
            m_worker->uris.insert(name, QStringLiteral("http://") + name);
        }
        return m_engine->queue().add(rows, PlayQueue::Where::Replace);
    }

    QString order()
    {
        QStringList names;
        for (const QueueEntry& entry : m_engine->queue().entries())
            names << entry.row.path().param(QStringLiteral("id"));
        return names.join(QLatin1Char(' '));
    }

    void go(qint64 ms)
    {
        m_clock->now += ms;
        m_engine->wake();
    }

    void playFrom(int entry)
    {
        QVERIFY(m_engine->jump(entry));
        QVERIFY(m_stream->settle());
    }

    PlayerStatus status() const { return m_engine->status(); }

    void makeEngine()
    {
        auto clock = std::make_unique<ScriptedClock>();
        m_clock = clock.get();
        auto stream = std::make_unique<ScriptedStream>(m_clock);
        m_stream = stream.get();
        m_engine = std::make_unique<PlayEngine>(std::move(stream), std::move(clock), PlayProfile());
    }

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<CMRootWorker>();
        m_worker = std::make_unique<ScriptedPlayWorker>();
        m_root->addWorker(m_worker.get());
        makeEngine();
    }

    void cleanup()
    {
        m_engine.reset();
        m_worker.reset();
        m_root.reset();
    }

    void anUndoneClearIsPausedAtItsPosition()
    {
        const QVector<int> ids = fill(QStringLiteral("a b c"));
        playFrom(ids.at(1));
        go(42000);
        m_engine->queue().clear();
        QCOMPARE(status().state, PelkPlayLogicState::Stopped);
        QCOMPARE(status().undoCount, 3);
        QVERIFY(m_engine->undo());
        QCOMPARE(status().undoCount, 0);
        QCOMPARE(status().entry, ids.at(1));
        QCOMPARE(status().state, PelkPlayLogicState::Paused);
        QCOMPARE(status().positionMs, 42000);
        m_stream->opened.clear();
        m_engine->play();
        QCOMPARE(m_stream->opened.size(), 1);
        QCOMPARE(m_stream->opened.first().uri, QStringLiteral("http://b"));
        QCOMPARE(m_stream->opened.first().startMs, 42000);
        QCOMPARE(m_worker->resolvedAtMs.last(), 42000);
        QVERIFY(!m_engine->undo());
    }

    void anUndoneReplacementContinuesAtItsPosition()
    {
        const QVector<int> ids = fill(QStringLiteral("a b c"));
        playFrom(ids.at(1));
        go(42000);
        playFrom(fill(QStringLiteral("x y")).first());
        m_worker->states.clear();
        m_stream->opened.clear();
        QVERIFY(m_engine->undo());
        QCOMPARE(order(), QStringLiteral("a b c"));
        QCOMPARE(status().entry, ids.at(1));
        QCOMPARE(m_stream->opened.first().startMs, 42000);
        QVERIFY(m_stream->settle());
        QCOMPARE(m_worker->states, (QStringList{QStringLiteral("x stopped userSkip"),
                                                QStringLiteral("b opening"), QStringLiteral("b playing")}));
    }

    void undoingARemovalDoesNotInterruptPlayback()
    {
        const QVector<int> ids = fill(QStringLiteral("a b c"));
        playFrom(ids.at(1));
        QVERIFY(m_engine->queue().remove({ids.at(0), ids.at(2)}));
        m_worker->states.clear();
        QVERIFY(m_engine->undo());
        QCOMPARE(order(), QStringLiteral("a b c"));
        QCOMPARE(status().entry, ids.at(1));
        QVERIFY(m_worker->states.isEmpty());
    }

    void afterAnUndoTracksOfAModuleThatIsNoLongerLoadedFailAndStayInTheQueue()
    {
        auto gone = std::make_unique<CMNodesWorker>(QVariantHash(), QStringLiteral("gone"));
        m_root->addWorker(gone.get());
        QVector<PelkRoles> rows;
        for (const QString& name : {QStringLiteral("old"), QStringLiteral("a")})
            rows.append(ScriptedPlayWorker::row(name));
        m_worker->uris.insert(QStringLiteral("a"), QStringLiteral("http://a"));
        PelkMetaData metaData;
        metaData.setPrePlayPath(CMPath(QStringLiteral("gone:preplay?id=old")));
        PelkMediaData media;
        media.setMetaData(metaData);
        rows[0].setPath(CMPath(QStringLiteral("gone:track?id=old")));
        rows[0].setMediaData(media);
        m_engine->queue().add(rows, PlayQueue::Where::Replace);
        m_engine->queue().clear();
        gone.reset();
        QVERIFY(m_engine->undo());
        QCOMPARE(order(), QStringLiteral("old a"));
        QSignalSpy failed(m_engine.get(), &PlayEngine::trackFailed);
        m_engine->play();
        QCOMPARE(failed.size(), 1);
        QCOMPARE(failed.first().at(1).value<TrString>().toString(),
                 QStringLiteral("No service answers at \"gone:preplay?id=old\"."));
        QVERIFY(m_stream->settle());
        QCOMPARE(m_stream->opened.last().uri, QStringLiteral("http://a"));
        QCOMPARE(order(), QStringLiteral("old a"));
    }

    void anUnresolvableTrackStillFailsAfterAnUndo()
    {
        fill(QStringLiteral("a b"));
        m_engine->queue().clear();
        m_worker->uris.clear(); // the service no longer offers them
        QVERIFY(m_engine->undo());
        QSignalSpy failed(m_engine.get(), &PlayEngine::trackFailed);
        m_engine->play();
        QCOMPARE(failed.size(), 2);
        QCOMPARE(status().state, PelkPlayLogicState::Stopped);
    }

    void aListStartedShuffledBeginsWithARandomTrackAndShowsItsOrder()
    {
        QSet<int> firsts;
        for (int i = 0; i < 30; ++i) {
            m_engine->prepareStart();
            const QVector<int> ids = fill(QStringLiteral("a b c d e f g h"));
            QVERIFY(m_engine->startPrepared(ids.first(), PlayEngine::StartOrder::Shuffled));
            QVERIFY(status().shuffled);
            QCOMPARE(m_engine->queue().first(), status().entry);
            firsts.insert(ids.indexOf(status().entry));
        }
        QVERIFY(firsts.size() > 1);
    }

    void aListStartedInItsOwnOrderTurnsShufflingOff()
    {
        m_engine->setShuffled(true);
        m_engine->prepareStart();
        const QVector<int> ids = fill(QStringLiteral("a b c d e f g h"));
        QVERIFY(m_engine->startPrepared(ids.first()));
        QVERIFY(!status().shuffled);
        QCOMPARE(order(), QStringLiteral("a b c d e f g h"));
        QCOMPARE(status().entry, ids.first());
    }

    void seeksByADistanceAddUpAndStayInTheTrack()
    {
        playFrom(fill(QStringLiteral("a b")).first());
        go(30000);
        m_engine->seekBy(10000);
        m_engine->seekBy(10000); // the first one has not arrived
        QCOMPARE(status().positionMs, 50000);
        QVERIFY(m_stream->arrive());
        QCOMPARE(status().positionMs, 50000);
        m_engine->seekBy(-1000000);
        QCOMPARE(status().positionMs, 0);
        m_engine->seekBy(1000000);
        QCOMPARE(status().positionMs, ScriptedStream::lengthMs);
    }

    void aPauseAfterTheEndOfATrackAppliesToTheNext_data()
    {
        QTest::addColumn<int>("end");
        QTest::newRow("after its end") << 0;
        QTest::newRow("after a break") << 1;
        QTest::newRow("while its address is asked for, in vain") << 2;
    }
    void aPauseAfterTheEndOfATrackAppliesToTheNext()
    {
        QFETCH(int, end);
        const QVector<int> ids = fill(QStringLiteral("a b"));
        if (end == 2) {
            m_worker->holdAnswers = true;
            m_worker->uris.remove(QStringLiteral("a"));
            QVERIFY(m_engine->jump(ids.at(0)));
            m_engine->pause();
            m_worker->holdAnswers = false;
            m_worker->resolve(m_worker->held.takeFirst());
        } else {
            playFrom(ids.at(0));
            m_engine->pause();
            QVERIFY(end == 0 ? m_stream->finish() : m_stream->breakOff());
        }
        QTRY_COMPARE(status().entry, ids.at(1));
        QTRY_VERIFY(m_stream->isOpen());
        QCOMPARE(m_stream->opened.last().uri, QStringLiteral("http://b"));
        QVERIFY(m_stream->opened.last().paused);
        m_engine->next(); // "next" is for hearing something
        QCOMPARE(status().state, PelkPlayLogicState::Stopped);
        m_engine->previous();
        QVERIFY(!m_stream->opened.last().paused);
    }

    void previousLeavesATrackThatCannotSeek()
    {
        const QVector<int> ids = fill(QStringLiteral("a b"));
        m_stream->seekable = false;
        playFrom(ids.at(1));
        go(30000);
        m_engine->previous();
        QCOMPARE(status().entry, ids.at(0));
    }

    void aStallDoesNotRestartTheAgeOfAPause()
    {
        m_worker->maxIdleMs = 40000;
        playFrom(fill(QStringLiteral("a b")).first());
        m_engine->pause();
        QVERIFY(m_stream->settle());
        go(30000);
        m_engine->play();
        QVERIFY(m_stream->stall());
        go(20000);
        m_worker->resolved.clear();
        m_engine->play(); // silent for longer than the address holds
        QCOMPARE(m_worker->resolved, QStringList{QStringLiteral("a")});
    }

    void theVolumeStaysBelowItsLimit()
    {
        m_engine->setVolume(90);
        m_engine->setVolumeLimit(60);
        QCOMPARE(status().volumePercent, 60);
        QCOMPARE(m_stream->volumePercent, 60);
        m_engine->setVolume(100);
        QCOMPARE(status().volumePercent, 60);
        m_engine->setVolumeLimit(1000);
        QCOMPARE(status().volumeLimitPercent, 100);
        QCOMPARE(status().volumePercent, 60); // nothing becomes louder by itself
        m_engine->setVolumeLimit(-1);
        QCOMPARE(status().volumePercent, 0);
    }

    void aSleepTimerTakesMinutesWithinADay_data()
    {
        QTest::addColumn<int>("minutes");
        QTest::addColumn<bool>("taken");
        QTest::newRow("none") << 0 << false;
        QTest::newRow("negative") << -1 << false;
        QTest::newRow("one") << 1 << true;
        QTest::newRow("a day") << 1440 << true;
        QTest::newRow("more than a day") << 1441 << false;
        QTest::newRow("absurd") << 1000000000 << false;
    }
    void aSleepTimerTakesMinutesWithinADay()
    {
        QFETCH(int, minutes);
        QFETCH(bool, taken);
        playFrom(fill(QStringLiteral("a b")).first());
        QCOMPARE(m_engine->sleepAfterMinutes(minutes), taken);
        QCOMPARE(status().sleep, taken ? SleepTimer::Kind::Time : SleepTimer::Kind::Off);
        QCOMPARE(status().sleepLeftMs, taken ? minutes * 60000LL : 0);
    }

    void minutesEndInAPauseAfterTenSecondsOfFading()
    {
        playFrom(fill(QStringLiteral("a b")).first());
        QVERIFY(m_engine->sleepAfterMinutes(1));
        go(49900);
        QCOMPARE(m_stream->gain, 1.0);
        go(5100);
        QVERIFY2(qAbs(m_stream->gain - 0.5) < 0.001, qPrintable(QString::number(m_stream->gain)));
        QVERIFY(m_stream->isHeard());
        go(5000);
        QVERIFY(m_stream->settle());
        QCOMPARE(status().state, PelkPlayLogicState::Paused);
        QCOMPARE(status().sleep, SleepTimer::Kind::Off);
        QCOMPARE(m_stream->gain, 0.0); // nothing becomes louder while it is still heard
        m_engine->play();
        QCOMPARE(m_stream->gain, 1.0);
    }

    void theEndOfTheTrackIsFadedAndTheNextOneWaits()
    {
        const QVector<int> ids = fill(QStringLiteral("a b"));
        playFrom(ids.at(0));
        m_engine->sleepAtEndOfTrack();
        go(ScriptedStream::lengthMs - 5000);
        QVERIFY(qAbs(m_stream->gain - 0.5) < 0.001);
        QVERIFY(m_stream->nextUri().isEmpty());
        go(5000);
        QVERIFY(m_stream->finish());
        QCOMPARE(status().state, PelkPlayLogicState::Stopped);
        QCOMPARE(status().entry, ids.at(1));
        QCOMPARE(m_worker->states.last(), QStringLiteral("a stopped"));
        QCOMPARE(m_stream->gain, 1.0);
    }

    void theEndOfTheQueueEndsThePlayingEvenIfItRepeats()
    {
        const QVector<int> ids = fill(QStringLiteral("a b"));
        m_engine->setRepeat(RepeatMode::All);
        playFrom(ids.at(0));
        m_engine->sleepAtEndOfQueue();
        go(ScriptedStream::lengthMs - 5000);
        QCOMPARE(m_stream->gain, 1.0);
        go(5000);
        QVERIFY(m_stream->finish());
        QCOMPARE(status().entry, ids.at(1));
        go(ScriptedStream::lengthMs - 5000);
        QVERIFY(qAbs(m_stream->gain - 0.5) < 0.001);
        go(5000);
        QVERIFY(m_stream->finish());
        QCOMPARE(status().state, PelkPlayLogicState::Stopped);
    }

    void aCancelledSleepTimerChangesNothing()
    {
        playFrom(fill(QStringLiteral("a b")).first());
        QVERIFY(m_engine->sleepAfterMinutes(1));
        go(55000);
        QVERIFY(m_stream->gain < 1);
        m_engine->cancelSleep();
        QCOMPARE(m_stream->gain, 1.0);
        go(20000);
        QCOMPARE(m_stream->gain, 1.0);
        QVERIFY(m_stream->isHeard());
    }

    void aRestoredPlayerIsPausedAtItsPositionAndReportsNothing()
    {
        fill(QStringLiteral("a b c d e"));
        m_engine->setShuffled(true);
        m_engine->setRepeat(RepeatMode::All);
        playFrom(m_engine->queue().entries().at(2).id);
        const QString name = status().row.path().param(QStringLiteral("id"));
        go(12345);
        m_engine->setVolume(40);
        m_engine->setMuted(true);
        const QString shown = order();
        const SavedPlayer saved = m_engine->saved();

        m_engine.reset();
        makeEngine();
        m_worker->states.clear();
        m_worker->resolved.clear();
        m_engine->restore(saved);
        QCOMPARE(order(), shown);
        const PlayerStatus restored = status();
        QCOMPARE(restored.state, PelkPlayLogicState::Paused);
        QCOMPARE(restored.positionMs, 12345);
        QCOMPARE(restored.durationMs, ScriptedStream::lengthMs);
        QCOMPARE(restored.row.path().param(QStringLiteral("id")), name);
        QCOMPARE(restored.volumePercent, 40);
        QVERIFY(restored.muted);
        QVERIFY(restored.shuffled);
        QCOMPARE(restored.repeat, RepeatMode::All);
        QVERIFY(m_worker->states.isEmpty() && m_worker->resolved.isEmpty() && m_stream->opened.isEmpty());

        m_engine->seekBy(-2345);
        QCOMPARE(status().positionMs, 10000);
        QCOMPARE(m_engine->saved().positionMs, 10000);
        m_engine->play();
        QCOMPARE(m_stream->opened.first().startMs, 10000);
        m_engine->setShuffled(false);
        QCOMPARE(order(), QStringLiteral("a b c d e"));
    }

    void aRestoredPlayerThatIsStoppedForgetsItsPlace()
    {
        playFrom(fill(QStringLiteral("a b")).first());
        go(5000);
        const SavedPlayer saved = m_engine->saved();
        m_engine->restore(saved);
        QCOMPARE(status().state, PelkPlayLogicState::Paused);
        m_engine->stop();
        QCOMPARE(status().state, PelkPlayLogicState::Stopped);
        QCOMPARE(status().positionMs, 0);
    }

    void savedValuesOutOfRangeAreClamped()
    {
        fill(QStringLiteral("a b"));
        SavedPlayer saved = m_engine->saved();
        saved.current = 7;
        saved.positionMs = -5;
        saved.durationMs = -1;
        saved.volumePercent = 900;
        saved.unshuffled = {4, 4};
        m_engine->setVolumeLimit(70);
        m_engine->restore(saved);
        QCOMPARE(status().entry, 0);
        QCOMPARE(status().state, PelkPlayLogicState::Stopped);
        QCOMPARE(status().volumePercent, 70);
        QVERIFY(!status().shuffled);
        saved.current = 1;
        saved.positionMs = 1000000;
        saved.durationMs = 2000;
        m_engine->restore(saved);
        QCOMPARE(status().positionMs, 2000);
        m_engine->restore(SavedPlayer());
        QCOMPARE(status().queueCount, 0);
        QCOMPARE(status().state, PelkPlayLogicState::Stopped);
    }
};

QTEST_GUILESS_MAIN(EngineOperationsTest)
#include "engineoperations_test.moc"

#include "api/core/model/cmrootworker.h"
#include "api/play/pelkplaylogicerrorname.h"
#include "player/play/AudioOutput.h"
#include "player/play/PlayEngine.h"
#include "player/play/QueueLoader.h"
#include "tests/support/mediaserver.h"
#include "tests/support/patience.h"
#include "tests/support/scriptedplayworker.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <gst/gst.h>

namespace {

constexpr PcmFormat voice{16000, 1, 16};

} // namespace

/// Real sound through the real pipeline, into a file; only the worker is scripted.
class PlayEngineTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    MediaServer m_media;
    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<ScriptedPlayWorker> m_worker;
    std::unique_ptr<WavWriter> m_writer;
    std::unique_ptr<WavOutput> m_output;
    std::unique_ptr<PlayEngine> m_engine;

    /// The address of a sound of so many milliseconds.
    QString sound(int milliseconds, const PcmFormat& format = voice)
    {
        const QString name = m_dir.filePath(QStringLiteral("%1-%2.wav").arg(milliseconds).arg(format.rateHz));
        WavWriter writer(name);
        QString error;
        const QByteArray data(format.rateHz * milliseconds / 1000 * format.frameBytes(), 'u');
        if (!writer.open(&error) || !writer.write(format, data.constData(), data.size(), &error) ||
            !writer.finish(&error))
            qFatal("%s", qPrintable(error));
        QFile file(name);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("%s cannot be read", qPrintable(name));
        return m_media.add(QFileInfo(name).fileName(), file.readAll());
    }

    bool playAll(int seconds = 0)
    {
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        m_engine->stopAfter(seconds);
        playList();
        return finished.wait(patienceMs) && finished.size() == 1;
    }

    /// Puts the worker's list into the queue and plays it.
    void playList()
    {
        QVector<PelkRoles> rows;
        for (const QString& id : qAsConst(m_worker->list))
            rows.append(ScriptedPlayWorker::row(id));
        m_engine->queue().add(rows, PlayQueue::Where::Replace);
        m_engine->play();
    }

    static QStringList stateTexts(const QString& texts) { return texts.split(QStringLiteral(", ")); }

private Q_SLOTS:
    void initTestCase() { gst_init(nullptr, nullptr); }

    void init()
    {
        m_root = std::make_unique<CMRootWorker>();
        m_worker = std::make_unique<ScriptedPlayWorker>();
        m_root->addWorker(m_worker.get());
        m_writer = std::make_unique<WavWriter>(m_dir.filePath(QStringLiteral("out.wav")));
        QString error;
        QVERIFY(m_writer->open(&error));
        m_output = std::make_unique<WavOutput>(m_writer.get());
        m_engine = std::make_unique<PlayEngine>(m_output.get());
        m_worker->uris = {{QStringLiteral("1"), sound(100)},
                          {QStringLiteral("2"), sound(150)},
                          {QStringLiteral("long"), sound(20000)},
                          {QStringLiteral("broken"), m_media.url(QStringLiteral("nowhere"))},
                          {QStringLiteral("nowhere"), QString()}};
    }

    void cleanup()
    {
        m_engine.reset();
        m_output.reset();
        m_writer.reset();
        m_worker.reset();
        m_root.reset();
    }

    void eachTrackReportsItsStatesOnceAndInOrder()
    {
        m_worker->list = QStringList{QStringLiteral("1"), QStringLiteral("2")};
        QVERIFY(playAll());
        QCOMPARE(m_worker->states, stateTexts(QStringLiteral("1 opening, 1 playing, 1 stopped, "
                                                             "2 opening, 2 playing, 2 stopped")));
        QCOMPARE(m_engine->data().state(), PelkPlayLogicState::Stopped);
    }

    void theSameTrackAgainIsStoppedBeforeItPlaysAgain()
    {
        m_worker->list = QStringList{QStringLiteral("1"), QStringLiteral("1")};
        QVERIFY(playAll());
        QCOMPARE(m_worker->states, stateTexts(QStringLiteral("1 opening, 1 playing, 1 stopped, "
                                                             "1 opening, 1 playing, 1 stopped")));
    }

    void aSkipIsReportedAsTheListenersAndPlaysTheNextTrack()
    {
        m_worker->list = QStringList{QStringLiteral("long"), QStringLiteral("1")};
        connect(m_engine.get(), &PlayEngine::trackStarted, this, [this](const PelkRoles& row) {
            if (row.path().param(QStringLiteral("id")) == QLatin1String("long"))
                m_engine->next();
        });
        QVERIFY(playAll());
        QCOMPARE(m_worker->states,
                 stateTexts(QStringLiteral("long opening, long playing, long stopped userSkip, "
                                           "1 opening, 1 playing, 1 stopped")));
    }

    void aStopIsReportedOnceHoweverOftenItIsRequested()
    {
        m_worker->list = QStringList{QStringLiteral("long"), QStringLiteral("1")};
        connect(m_engine.get(), &PlayEngine::trackStarted, this, [this] {
            m_engine->stop();
            m_engine->stop();
        });
        QVERIFY(playAll());
        QCOMPARE(m_worker->states,
                 stateTexts(QStringLiteral("long opening, long playing, long stopped userStop")));
    }

    void aPauseAndItsEndAreReported()
    {
        m_worker->list = QStringList{QStringLiteral("long")};
        QSignalSpy started(m_engine.get(), &PlayEngine::trackStarted);
        playList();
        QVERIFY(started.wait(patienceMs));
        m_engine->pause();
        QTRY_COMPARE(m_worker->states.last(), QStringLiteral("long paused"));
        m_engine->play();
        QTRY_COMPARE(m_worker->states.last(), QStringLiteral("long playing"));
        m_engine->stop();
        QCOMPARE(m_worker->states, stateTexts(QStringLiteral("long opening, long playing, long paused, "
                                                             "long playing, long stopped userStop")));
        QCOMPARE(started.size(), 1);
    }

    void aBrokenStreamFailsAndTheQueueContinues()
    {
        m_worker->list = QStringList{QStringLiteral("broken"), QStringLiteral("1")};
        QSignalSpy failed(m_engine.get(), &PlayEngine::trackFailed);
        QVERIFY(playAll());
        QCOMPARE(failed.size(), 1);
        QVERIFY(!failed.at(0).at(1).toString().isEmpty());
        QCOMPARE(m_worker->states, stateTexts(QStringLiteral("broken opening, broken stopped streamFailed, "
                                                             "1 opening, 1 playing, 1 stopped")));
    }

    void anUnresolvableTrackFailsWithoutReports_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("sentence");
        QTest::newRow("refused") << QStringLiteral("unknown") << QStringLiteral("no track");
        QTest::newRow("no address") << QStringLiteral("nowhere")
                                    << QStringLiteral("No stream is available for this track.");
    }
    void anUnresolvableTrackFailsWithoutReports()
    {
        QFETCH(QString, id);
        QFETCH(QString, sentence);
        m_worker->list = QStringList{id, QStringLiteral("1")};
        QSignalSpy failed(m_engine.get(), &PlayEngine::trackFailed);
        QVERIFY(playAll());
        QCOMPARE(failed.size(), 1);
        QCOMPARE(failed.at(0).at(1).toString(), sentence);
        QCOMPARE(m_worker->states, stateTexts(QStringLiteral("1 opening, 1 playing, 1 stopped")));
    }

    void threeFailuresInARowEndTheQueue()
    {
        for (int i = 0; i < 10; ++i)
            m_worker->list << QStringLiteral("unknown");
        QSignalSpy failed(m_engine.get(), &PlayEngine::trackFailed);
        QVERIFY(playAll());
        QCOMPARE(failed.size(), 3);
    }

    void playbackContinuesWithRowsThatAreStillLoading()
    {
        m_worker->list = QStringList{QStringLiteral("-a"), QStringLiteral("1"), QStringLiteral("-b"),
                                     QStringLiteral("-c"), QStringLiteral("2")};
        m_worker->pageSize = 2;
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        QueueLoader loader(&m_engine->queue(), ScriptedPlayWorker::listPath(), PlayQueue::Where::Replace);
        connect(&loader, &QueueLoader::pageAdded, m_engine.get(), [this] { m_engine->play(); });
        loader.start();
        QVERIFY(finished.wait(patienceMs));
        QTRY_COMPARE(m_worker->states.size(), 6);
    }

    void backwardsIsToTheTrackBeforeOrToTheStart()
    {
        m_worker->list = QStringList{QStringLiteral("long"), QStringLiteral("long"), QStringLiteral("1")};
        playList();
        const QVector<QueueEntry> entries = m_engine->queue().entries();
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        m_engine->next();
        QTRY_COMPARE(m_engine->status().entry, entries.at(1).id);
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        m_engine->previous();
        QCOMPARE(m_engine->status().entry, entries.at(0).id);
        QTRY_VERIFY(m_engine->status().canSeek);
        QSignalSpy seeked(m_engine.get(), &PlayEngine::seeked);
        m_engine->seek(10000);
        QTRY_COMPARE(seeked.size(), 1);
        m_engine->previous();
        QTRY_COMPARE(seeked.size(), 2);
        QVERIFY(m_engine->status().positionMs < 5000);
        QCOMPARE(m_engine->status().entry, entries.at(0).id);
        m_engine->stop();
        QCOMPARE(m_worker->states.filter(QStringLiteral("userSkip")).size(), 2);
    }

    void aJumpPlaysItsEntryAndAnUnknownEntryIsRefused()
    {
        m_worker->list = QStringList{QStringLiteral("long"), QStringLiteral("1"), QStringLiteral("2")};
        playList();
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        QVERIFY(!m_engine->jump(0));
        QCOMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        QVERIFY(m_engine->jump(m_engine->queue().entries().at(2).id));
        QVERIFY(finished.wait(patienceMs));
        QTRY_COMPARE(m_worker->states,
                     stateTexts(QStringLiteral("long opening, long playing, long stopped userSkip, "
                                               "2 opening, 2 playing, 2 stopped")));
    }

    void aStopKeepsThePlaceAndPlayBeginsThereAgain()
    {
        m_worker->list = QStringList{QStringLiteral("1"), QStringLiteral("long")};
        playList();
        const int second = m_engine->queue().entries().at(1).id;
        m_engine->next();
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        m_engine->stop();
        QCOMPARE(m_engine->status().state, PelkPlayLogicState::Stopped);
        QCOMPARE(m_engine->status().entry, second);
        m_engine->play();
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        QCOMPARE(m_engine->status().entry, second);
    }

    void removingTheCurrentEntryMakesTheNextOneCurrent()
    {
        m_worker->list = QStringList{QStringLiteral("long"), QStringLiteral("1")};
        playList();
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        QVERIFY(m_engine->queue().remove({m_engine->status().entry}));
        QVERIFY(finished.wait(patienceMs));
        QTRY_COMPARE(m_worker->states,
                     stateTexts(QStringLiteral("long opening, long playing, long stopped userSkip, "
                                               "1 opening, 1 playing, 1 stopped")));
    }

    void aPauseOutlastsTheRemovalOfItsEntry()
    {
        m_worker->list = QStringList{QStringLiteral("long"), QStringLiteral("1")};
        playList();
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        m_engine->pause();
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Paused);
        QVERIFY(m_engine->queue().remove({m_engine->status().entry}));
        QTRY_COMPARE(m_worker->states.last(), QStringLiteral("1 paused"));
        QCOMPARE(m_engine->status().state, PelkPlayLogicState::Paused);
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        m_engine->play();
        QVERIFY(finished.wait(patienceMs));
        QTRY_COMPARE(m_worker->states.mid(4),
                     stateTexts(QStringLiteral("1 opening, 1 paused, 1 playing, 1 stopped")));
    }

    void aPauseWhileTheStreamIsResolvedHolds()
    {
        m_worker->list = QStringList{QStringLiteral("1")};
        m_worker->holdAnswers = true;
        playList();
        m_engine->pause();
        m_worker->holdAnswers = false;
        m_worker->setDataRequest(m_worker->held.first());
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Paused);
        QCOMPARE(m_worker->states, stateTexts(QStringLiteral("1 opening, 1 paused")));
    }

    void aTrackIsCurrentWhileItIsResolvedAndAFailureNamesIt()
    {
        m_worker->list = QStringList{QStringLiteral("unknown")};
        m_worker->holdAnswers = true;
        playList();
        // A caller that stops the player because content is gone must see the track that is about to play.
        const PelkPlayLogicData asked = m_engine->data();
        QCOMPARE(asked.trackRoles().path().param(QStringLiteral("id")), QStringLiteral("unknown"));
        QCOMPARE(asked.state(), PelkPlayLogicState::Opening);
        QCOMPARE(asked.error(), QString());
        m_worker->holdAnswers = false;
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        m_worker->setDataRequest(m_worker->held.first());
        QVERIFY(finished.wait(patienceMs));
        const PelkPlayLogicData failed = m_engine->data();
        QCOMPARE(failed.state(), PelkPlayLogicState::Stopped);
        QCOMPARE(failed.error(), PelkPlaylogicErrorName::PelkPlaylogicResolveFailed());
        QVERIFY(m_worker->states.isEmpty());
    }

    void aTrackThatFailsIsNotRepeated()
    {
        m_worker->list = stateTexts(QStringLiteral("unknown, 1"));
        m_engine->setRepeat(RepeatMode::One);
        connect(m_engine.get(), &PlayEngine::trackStarted, this,
                [this] { m_engine->setRepeat(RepeatMode::Off); });
        QSignalSpy failed(m_engine.get(), &PlayEngine::trackFailed);
        QVERIFY(playAll());
        QCOMPARE(failed.size(), 1);
        QCOMPARE(m_worker->states.last(), QStringLiteral("1 stopped"));
    }

    void aSuccessBetweenStartsTheCountOfFailuresAnew()
    {
        m_worker->list = stateTexts(QStringLiteral("unknown, unknown, 1, unknown, broken, 2, unknown"));
        QSignalSpy failed(m_engine.get(), &PlayEngine::trackFailed);
        QVERIFY(playAll());
        QCOMPARE(failed.size(), 5);
        QCOMPARE(m_worker->states.filter(QStringLiteral("playing")).size(), 2);
    }

    void aSeekPastTheEndIsTheEnd()
    {
        m_worker->list = QStringList{QStringLiteral("long"), QStringLiteral("1")};
        playList();
        QTRY_VERIFY(m_engine->status().canSeek);
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        QSignalSpy failed(m_engine.get(), &PlayEngine::trackFailed);
        m_engine->seek(1000000);
        QVERIFY(finished.wait(patienceMs));
        QVERIFY(failed.isEmpty());
        // The seek may have had to wait for the stream, which is silence.
        QStringList told = m_worker->states;
        told.removeAll(QStringLiteral("long paused"));
        told.removeDuplicates();
        QCOMPARE(told, stateTexts(QStringLiteral("long opening, long playing, long stopped, "
                                                 "1 opening, 1 playing, 1 stopped")));
    }

    void aQueueThatIsClearedIsSilent()
    {
        m_worker->list = QStringList{QStringLiteral("long"), QStringLiteral("1")};
        playList();
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        m_engine->queue().clear();
        QVERIFY(finished.wait(patienceMs));
        QCOMPARE(m_engine->status().state, PelkPlayLogicState::Stopped);
        QCOMPARE(m_engine->status().entry, 0);
        QCOMPARE(m_worker->states.last(), QStringLiteral("long stopped userSkip"));
        m_engine->play();
        QCOMPARE(m_engine->status().state, PelkPlayLogicState::Stopped);
    }

    void tenThousandTracksArePlayedFromAnywhere()
    {
        QVector<PelkRoles> rows(10000, ScriptedPlayWorker::row(QStringLiteral("1")));
        const QVector<int> ids = m_engine->queue().add(rows, PlayQueue::Where::Replace);
        m_engine->setShuffled(true);
        m_engine->setShuffled(false);
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        QVERIFY(m_engine->jump(ids.at(9998)));
        QVERIFY(finished.wait(patienceMs));
        QTRY_COMPARE(m_worker->states.size(), 6);
        QCOMPARE(m_engine->status().queueCount, 10000);
    }

    void theVolumeIsHeard_data()
    {
        QTest::addColumn<int>("percent");
        QTest::addColumn<bool>("muted");
        QTest::addColumn<int>("loudest"); // of the file, which is at 30069 throughout
        QTest::newRow("full") << 100 << false << 30069;
        QTest::newRow("half, to the ear") << 50 << false << 30069 / 8;
        QTest::newRow("none") << 0 << false << 0;
        QTest::newRow("muted") << 100 << true << 0;
        QTest::newRow("out of range") << 1000 << false << 30069;
    }
    void theVolumeIsHeard()
    {
        QFETCH(int, percent);
        QFETCH(bool, muted);
        QFETCH(int, loudest);
        m_worker->list = QStringList{QStringLiteral("1")};
        m_engine->setVolume(percent);
        m_engine->setMuted(muted);
        QCOMPARE(m_engine->status().volumePercent, qMin(percent, 100));
        QCOMPARE(m_engine->status().muted, muted);
        QVERIFY(playAll());
        QString error;
        QVERIFY(m_writer->finish(&error));
        QFile file(m_dir.filePath(QStringLiteral("out.wav")));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray last = file.readAll().right(2);
        const int sample = qint16(quint8(last.at(0)) | quint8(last.at(1)) << 8);
        QVERIFY2(qAbs(sample - loudest) <= 2, qPrintable(QString::number(sample)));
    }

    void anotherThreadsStopReturnsAtOnceAndIsAnswered()
    {
        m_worker->list = QStringList{QStringLiteral("long")};
        QSignalSpy started(m_engine.get(), &PlayEngine::trackStarted);
        playList();
        QVERIFY(started.wait(patienceMs));
        CMVoidReply reply;
        PelkPlayLogicData seen;
        // Waits for the thread with the engine's own thread standing still: nothing may need it.
        std::unique_ptr<QThread> thread(QThread::create([&] {
            seen = PlayLogicInterface::playerInstance()->data();
            reply = PlayLogicInterface::playerInstance()->stop(PelkPlayLogicStopReason::ContentGone);
        }));
        thread->start();
        QVERIFY(thread->wait(5000));
        QCOMPARE(seen.state(), PelkPlayLogicState::Playing);
        QCOMPARE(m_worker->states.last(), QStringLiteral("long playing"));
        QTRY_VERIFY(reply.isFinished());
        QCOMPARE(m_worker->states.last(), QStringLiteral("long stopped userStop"));
    }

    void aReplyAfterTheStopPlaysNothing()
    {
        m_worker->list = QStringList{QStringLiteral("1")};
        m_worker->holdAnswers = true;
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        playList();
        QCOMPARE(m_worker->held.size(), 1);
        m_engine->stop();
        QVERIFY(finished.wait(patienceMs));
        m_worker->holdAnswers = false;
        m_worker->setDataRequest(m_worker->held.first());
        QCoreApplication::processEvents();
        QVERIFY(m_worker->states.isEmpty());
    }

    void secondsEndThePlayingAsAListenerWould()
    {
        m_worker->list = QStringList{QStringLiteral("long")};
        m_writer->setLimit(1);
        QElapsedTimer timer;
        timer.start();
        QVERIFY(playAll(1));
        // Reports use clock time, so the sound must not be faster than real time.
        QVERIFY(timer.elapsed() >= 1000);
        QCOMPARE(m_worker->states.last(), QStringLiteral("long stopped userStop"));
        QCOMPARE(m_writer->milliseconds(), 1000);
    }

    void aPauseDoesNotCountAsHeard()
    {
        m_worker->list = QStringList{QStringLiteral("long")};
        m_engine->stopAfter(1);
        playList();
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        m_engine->pause();
        QTRY_COMPARE(m_engine->status().state, PelkPlayLogicState::Paused);
        QElapsedTimer paused;
        paused.start();
        QTRY_VERIFY(paused.hasExpired(1200));
        QCOMPARE(m_engine->status().state, PelkPlayLogicState::Paused);
        QSignalSpy finished(m_engine.get(), &PlayEngine::finished);
        m_engine->play();
        QVERIFY(finished.wait(patienceMs));
        QTRY_COMPARE(m_worker->states.last(), QStringLiteral("long stopped userStop"));
    }

    void theNextTrackIsResolvedShortlyBeforeItsTurn()
    {
        m_worker->uris.insert(QStringLiteral("longer"), sound(30000));
        m_worker->list = QStringList{QStringLiteral("longer"), QStringLiteral("1")};
        playList();
        QTRY_VERIFY(m_engine->status().canSeek);
        QTRY_VERIFY(m_engine->status().positionMs > 700); // it was looked at by then
        QCOMPARE(m_worker->resolved, QStringList{QStringLiteral("longer")});
        m_engine->seek(15000);
        QTRY_COMPARE(m_worker->resolved.size(), 2);
        QVERIFY(m_engine->status().positionMs < 20000);
        m_engine->stop();
    }

    void theTracksOfAContainerAreWrittenToOneFileInTheFormatOfTheFirst()
    {
        // Long enough that each is prepared in time: it has to be brought into form within one pipeline.
        m_worker->uris.insert(QStringLiteral("second"), sound(1000));
        m_worker->uris.insert(QStringLiteral("fast"), sound(500, {48000, 2, 24}));
        m_worker->list = QStringList{QStringLiteral("second"), QStringLiteral("fast"), QStringLiteral("2")};
        QVERIFY(playAll());
        QCOMPARE(m_writer->format().rateHz, voice.rateHz);
        QCOMPARE(m_writer->format().channels, voice.channels);
        QVERIFY2(qAbs(m_writer->milliseconds() - 1650) <= 5,
                 qPrintable(QString::number(m_writer->milliseconds())));
    }

    void theFormatIsTheStreamsOwn()
    {
        m_worker->uris.insert(QStringLiteral("24"), sound(5000, {96000, 2, 24}));
        m_worker->list = QStringList{QStringLiteral("24")};
        QString format;
        connect(m_engine.get(), &PlayEngine::trackStarted, this, [&] {
            format = m_engine->status().format.toString();
            m_engine->stop();
        });
        QVERIFY(playAll());
        QVERIFY2(format.endsWith(QStringLiteral("24 bit / 96 kHz")), qPrintable(format));
    }
};

QTEST_GUILESS_MAIN(PlayEngineTest)
#include "playengine_test.moc"

#include "api/types/pelkvalue.h"
#include "api/types/qobuzpaths.h"
#include "player/host/ServiceAccount.h"
#include "tests/support/enginehost.h"
#include "tests/support/patience.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>
#include <gst/gst.h>

namespace {

QStringList list(const QString& text)
{
    return text.split(QStringLiteral(", "));
}

} // namespace

/// The change from one track to the next: what is heard, what is reported, and what happens if something
/// changes after the next track was prepared. Real FLAC through the real pipeline into an output that stores
/// the samples.
class GaplessTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<EngineHost> m_host;
    QMap<QString, QByteArray> m_flac;
    QMap<QString, QByteArray> m_decoded;

    PlayEngine& engine() { return m_host->engine; }
    const QStringList& states() const { return m_host->worker.states; }
    /// Without silences and what follows them: on a slow machine a stream may have to be waited for.
    QStringList toldOfPlaying() const
    {
        QStringList told = states();
        for (int i = told.size() - 2; i >= 0; --i)
            if (told.at(i).endsWith(QLatin1String(" paused")) &&
                told.at(i + 1).endsWith(QLatin1String(" playing")))
                told.erase(told.begin() + i, told.begin() + i + 2);
        return told;
    }

    /// Plays, and waits until the track after the first one is prepared.
    QVector<int> playUntilPrepared(const QStringList& ids)
    {
        const QVector<int> places = m_host->fill(ids);
        engine().play();
        if (!QTest::qWaitFor([this] { return m_host->worker.resolved.size() >= 2; }, patienceMs))
            return {};
        return places;
    }

    /// The element that feeds the second input of the engine's `concat`, once it exists; null if it does not
    /// appear.
    GstElement* waitForNextStream()
    {
        QElapsedTimer limit;
        limit.start();
        while (!limit.hasExpired(10000)) {
            QCoreApplication::processEvents();
            GstObject* pipeline = m_host->output.sink() ? GST_OBJECT_PARENT(m_host->output.sink()) : nullptr;
            for (GList* part = pipeline ? GST_BIN_CHILDREN(pipeline) : nullptr; part; part = part->next) {
                const GList* entrances = GST_ELEMENT(part->data)->sinkpads;
                if (entrances && entrances->next)
                    return GST_ELEMENT(GST_OBJECT_PARENT(GST_PAD_PEER(entrances->next->data)));
            }
        }
        return nullptr;
    }

    /// Waits until the sound of the track after "a" is being sent to the output.
    void waitForSoundAfterA()
    {
        QElapsedTimer limit;
        limit.start();
        while (m_host->output.samples().size() <= m_decoded.value(QStringLiteral("a")).size() &&
               !limit.hasExpired(10000))
            QCoreApplication::processEvents();
    }

    bool waitForEnd()
    {
        QSignalSpy finished(&engine(), &PlayEngine::finished);
        return finished.wait(patienceMs);
    }

    /// Checks that exactly these samples were heard.
    QString difference(const QByteArray& expected) const
    {
        const QByteArray heard = m_host->output.samples();
        if (heard == expected)
            return QString();
        int at = 0;
        while (at < heard.size() && at < expected.size() && heard.at(at) == expected.at(at))
            ++at;
        return QStringLiteral("%1 frames instead of %2, the first other one is %3")
            .arg(heard.size() / EngineHost::frameBytes)
            .arg(expected.size() / EngineHost::frameBytes)
            .arg(at / EngineHost::frameBytes);
    }

private Q_SLOTS:
    void initTestCase()
    {
        gst_init(nullptr, nullptr);
        EngineHost host;
        int tune = 0;
        for (const char* id : {"a", "b", "c"}) {
            m_flac.insert(QString::fromLatin1(id), EngineHost::flac(++tune, 1));
            m_decoded.insert(QString::fromLatin1(id), host.decoded(m_flac.value(QString::fromLatin1(id))));
            QCOMPARE(m_decoded.value(QString::fromLatin1(id)).size(),
                     EngineHost::rateHz * EngineHost::frameBytes);
        }
        QVERIFY(m_decoded.value(QStringLiteral("a")) != m_decoded.value(QStringLiteral("b")));
    }

    void init()
    {
        m_host = std::make_unique<EngineHost>();
        for (auto it = m_flac.begin(); it != m_flac.end(); ++it)
            m_host->addFlac(it.key(), it.value());
    }

    void cleanup()
    {
        if (QTest::currentTestFailed())
            qDebug() << states() << m_host->worker.resolved;
        m_host.reset();
    }

    void tracksFollowEachOtherSampleForSample_data()
    {
        QTest::addColumn<QStringList>("ids");
        QTest::newRow("two tracks") << list(QStringLiteral("a, b"));
        QTest::newRow("three tracks") << list(QStringLiteral("a, b, c"));
        QTest::newRow("the same track again") << list(QStringLiteral("a, a"));
    }
    void tracksFollowEachOtherSampleForSample()
    {
        QFETCH(QStringList, ids);
        QVERIFY(m_host->playAll(ids));
        QByteArray expected;
        QStringList told;
        for (const QString& id : ids) {
            expected += m_decoded.value(id);
            told << id + QStringLiteral(" opening") << id + QStringLiteral(" playing")
                 << id + QStringLiteral(" stopped");
        }
        QCOMPARE(difference(expected), QString());
        QCOMPARE(toldOfPlaying(), told);
        QCOMPARE(m_host->worker.resolved, ids);
        // All in one pipeline, or there would be a gap that no sample shows.
        QCOMPARE(m_host->output.sinksAsked(), 1);
    }

    void theChangeOfTracksIsReportedWhenItIsHeard()
    {
        QElapsedTimer clock;
        QMap<QString, qint64> times;
        connect(&engine(), &PlayEngine::trackStarted, this, [&](const PelkRoles& row) {
            times.insert(QStringLiteral("start ") + row.path().param(QStringLiteral("id")), clock.elapsed());
        });
        clock.start();
        QVERIFY(m_host->playAll(list(QStringLiteral("a, b"))));
        // There is one second of sound between them; on a busy machine it may be reported late, but never
        // early.
        QVERIFY(times.value(QStringLiteral("start b")) - times.value(QStringLiteral("start a")) >= 1000);
    }

    void afterTheSeamThePositionIsTheNewTracks()
    {
        QSignalSpy started(&engine(), &PlayEngine::trackStarted);
        m_host->fill(list(QStringLiteral("a, b")));
        const int second = engine().queue().entries().at(1).id;
        engine().play();
        QTRY_COMPARE(started.size(), 2);
        const PlayerStatus status = engine().status();
        QCOMPARE(status.entry, second);
        QCOMPARE(status.state, PelkPlayLogicState::Playing);
        QCOMPARE(status.durationMs, 1000);
        QVERIFY2(status.positionMs < 1000, qPrintable(QString::number(status.positionMs)));
        QVERIFY(waitForEnd());
    }

    void anEditAfterTheNextTrackIsPreparedTakesEffect_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QString>("heard");
        QTest::newRow("nothing") << QString() << QStringLiteral("abc");
        QTest::newRow("the next one is removed") << QStringLiteral("remove") << QStringLiteral("ac");
        QTest::newRow("the next one is moved away") << QStringLiteral("move") << QStringLiteral("acb");
        QTest::newRow("another one is put before it") << QStringLiteral("next") << QStringLiteral("aabc");
        QTest::newRow("all others are removed") << QStringLiteral("alone") << QStringLiteral("a");
    }
    void anEditAfterTheNextTrackIsPreparedTakesEffect()
    {
        QFETCH(QString, edit);
        QFETCH(QString, heard);
        const QVector<int> ids = playUntilPrepared(list(QStringLiteral("a, b, c")));
        QCOMPARE(ids.size(), 3);
        PlayQueue& queue = engine().queue();
        if (edit == QLatin1String("remove"))
            queue.remove({ids.at(1)});
        else if (edit == QLatin1String("move"))
            queue.move({ids.at(1)}, 0);
        else if (edit == QLatin1String("next"))
            queue.add({ScriptedPlayWorker::row(QStringLiteral("a"))}, PlayQueue::Where::Next);
        else if (edit == QLatin1String("alone"))
            queue.remove({ids.at(1), ids.at(2)});
        QVERIFY(waitForEnd());
        QByteArray expected;
        for (const QChar id : heard)
            expected += m_decoded.value(id);
        QCOMPARE(difference(expected), QString());
        QCOMPARE(toldOfPlaying().filter(QStringLiteral("playing")).size(), heard.size());
        QCOMPARE(states().filter(QStringLiteral("stopped")).size(), heard.size());
    }

    void anEditAtTheVeryEndIsRight()
    {
        const QVector<int> ids = playUntilPrepared(list(QStringLiteral("a, b, c")));
        // The sound of the next track is already being sent and cannot be withdrawn; the change is reported a
        // little later, so there is time for this.
        waitForSoundAfterA();
        const bool isInTime = engine().status().entry == ids.at(0);
        engine().queue().remove({ids.at(1)});
        QVERIFY(waitForEnd());
        QVERIFY(m_host->output.samples().endsWith(m_decoded.value(QStringLiteral("c"))));
        if (isInTime)
            QCOMPARE(toldOfPlaying(), list(QStringLiteral("a opening, a playing, a stopped, "
                                                          "c opening, c playing, c stopped")));
        QCOMPARE(states().last(), QStringLiteral("c stopped"));
        QCOMPARE(states().filter(QStringLiteral("stopped")).size(),
                 states().filter(QStringLiteral("opening")).size());
    }

    void aModeChangedAfterTheNextTrackIsPreparedTakesEffect()
    {
        QVERIFY(!playUntilPrepared(list(QStringLiteral("a, b"))).isEmpty());
        engine().setRepeat(RepeatMode::One);
        QSignalSpy started(&engine(), &PlayEngine::trackStarted);
        QTRY_COMPARE(started.size(), 1);
        engine().setRepeat(RepeatMode::Off);
        QVERIFY(waitForEnd());
        QCOMPARE(difference(m_decoded.value(QStringLiteral("a")) + m_decoded.value(QStringLiteral("a")) +
                            m_decoded.value(QStringLiteral("b"))),
                 QString());
        QCOMPARE(toldOfPlaying(),
                 list(QStringLiteral("a opening, a playing, a stopped, a opening, a playing, a stopped, "
                                     "b opening, b playing, b stopped")));
    }

    void aQualityChosenAfterTheNextTrackIsPreparedAppliesToIt()
    {
        QVERIFY(!playUntilPrepared(list(QStringLiteral("a, b"))).isEmpty());
        PelkValue value;
        value.setQobuzSoundQuality(PelkQobuzSoundQuality::Hires96);
        const CMReply<QVariant> chosen = CMReply<QVariant>::create();
        CMRoot()->setValue(PelkQobuzSoundQualityPath(), value, chosen);
        QTRY_VERIFY(chosen.isFinished());
        QCOMPARE(ServiceAccount::quality(), QStringLiteral("hires96"));
        QVERIFY(waitForEnd());
        QCOMPARE(m_host->worker.resolved, list(QStringLiteral("a, b, b")));
        QCOMPARE(difference(m_decoded.value(QStringLiteral("a")) + m_decoded.value(QStringLiteral("b"))),
                 QString());
    }

    void aSkipUsesWhatIsPrepared()
    {
        QVERIFY(!playUntilPrepared(list(QStringLiteral("a, b"))).isEmpty());
        engine().next();
        QVERIFY(waitForEnd());
        QCOMPARE(m_host->worker.resolved, list(QStringLiteral("a, b")));
        QVERIFY(m_host->output.samples().endsWith(m_decoded.value(QStringLiteral("b"))));
        QCOMPARE(toldOfPlaying(), list(QStringLiteral("a opening, a playing, a stopped userSkip, "
                                                      "b opening, b playing, b stopped")));
    }

    void aJumpWhileTheNextTrackIsResolvedPlaysItsEntry()
    {
        ScriptedPlayWorker& worker = m_host->worker;
        connect(&engine(), &PlayEngine::trackStarted, this, [&worker] { worker.holdAnswers = true; });
        const QVector<int> ids = m_host->fill(list(QStringLiteral("a, b, c")));
        engine().play();
        QTRY_COMPARE(worker.held.size(), 1);
        QVERIFY(engine().jump(ids.at(2)));
        QCOMPARE(worker.resolved, list(QStringLiteral("a, b, c")));
        worker.holdAnswers = false;
        for (const CMSetDataRequest& request : qAsConst(worker.held))
            worker.setDataRequest(request);
        QVERIFY(waitForEnd());
        QCOMPARE(toldOfPlaying(), list(QStringLiteral("a opening, a playing, a stopped userSkip, "
                                                      "c opening, c playing, c stopped")));
    }

    void aSkipWhileTheNextTrackIsResolvedUsesThatReply()
    {
        ScriptedPlayWorker& worker = m_host->worker;
        connect(&engine(), &PlayEngine::trackStarted, this, [&worker] { worker.holdAnswers = true; });
        m_host->fill(list(QStringLiteral("a, b")));
        engine().play();
        QTRY_COMPARE(worker.held.size(), 1);
        engine().next();
        QCOMPARE(engine().status().state, PelkPlayLogicState::Opening);
        QCOMPARE(worker.held.size(), 1);
        worker.holdAnswers = false;
        worker.setDataRequest(worker.held.first());
        QVERIFY(waitForEnd());
        QCOMPARE(states().last(), QStringLiteral("b stopped"));
    }

    void anUnplayableNextTrackIsSkippedWhenItsTurnComes_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("told");
        QTest::newRow("no stream") << QStringLiteral("unknown") << QString();
        QTest::newRow("broken stream")
            << QStringLiteral("broken") << QStringLiteral("broken opening, broken stopped streamFailed, ");
        QTest::newRow("no sound") << QStringLiteral("text")
                                  << QStringLiteral("text opening, text stopped streamFailed, ");
    }
    void anUnplayableNextTrackIsSkippedWhenItsTurnComes()
    {
        QFETCH(QString, id);
        QFETCH(QString, told);
        m_host->worker.uris.insert(QStringLiteral("broken"), m_host->media.url(QStringLiteral("nowhere")));
        m_host->worker.uris.insert(QStringLiteral("text"),
                                   m_host->media.add(QStringLiteral("t"), QByteArray(5000, 'x')));
        QSignalSpy noticed(&engine(), &PlayEngine::noticed);
        QVERIFY(m_host->playAll({QStringLiteral("a"), id, QStringLiteral("b")}));
        QCOMPARE(noticed.size(), 1);
        QCOMPARE(difference(m_decoded.value(QStringLiteral("a")) + m_decoded.value(QStringLiteral("b"))),
                 QString());
        QCOMPARE(toldOfPlaying(), list(QStringLiteral("a opening, a playing, a stopped, ") + told +
                                       QStringLiteral("b opening, b playing, b stopped")));
    }

    void aPauseNearTheEndHoldsTheSeam()
    {
        QVERIFY(!playUntilPrepared(list(QStringLiteral("a, b"))).isEmpty());
        engine().pause();
        QTRY_COMPARE(states().last(), QStringLiteral("a paused"));
        const QByteArray before = m_host->output.samples();
        engine().play();
        QVERIFY(waitForEnd());
        QVERIFY(before.size() < m_decoded.value(QStringLiteral("a")).size());
        QCOMPARE(difference(m_decoded.value(QStringLiteral("a")) + m_decoded.value(QStringLiteral("b"))),
                 QString());
        QCOMPARE(states(), list(QStringLiteral("a opening, a playing, a paused, a playing, a stopped, "
                                               "b opening, b playing, b stopped")));
    }

    void aPauseWhenTheNextTrackBecomesReadyCanBeEnded()
    {
        m_host->fill(list(QStringLiteral("a, b")));
        engine().play();
        GstElement* next = waitForNextStream();
        QVERIFY(next);
        // It gets ready, and no step further.
        GST_STATE_LOCK(next);
        while (GST_STATE(next) != GST_STATE_PAUSED)
            g_usleep(100);
        engine().pause();
        GST_STATE_UNLOCK(next);
        QTRY_COMPARE(states().last(), QStringLiteral("a paused"));
        engine().play();
        QVERIFY(waitForEnd());
        QCOMPARE(difference(m_decoded.value(QStringLiteral("a")) + m_decoded.value(QStringLiteral("b"))),
                 QString());
    }

    void aSeekAfterTheNextOneIsPreparedKeepsTheSeam()
    {
        QVERIFY(!playUntilPrepared(list(QStringLiteral("a, b"))).isEmpty());
        QTRY_VERIFY(!m_host->output.samples().isEmpty());
        QSignalSpy seeked(&engine(), &PlayEngine::seeked);
        engine().seek(400);
        QTRY_COMPARE(seeked.size(), 1);
        QVERIFY(waitForEnd());
        const QByteArray a = m_decoded.value(QStringLiteral("a"));
        const QByteArray rest = a.mid(400 * EngineHost::rateHz / 1000 * EngineHost::frameBytes);
        QVERIFY(m_host->output.samples().endsWith(rest + m_decoded.value(QStringLiteral("b"))));
        QCOMPARE(m_host->output.sinksAsked(), 1);
        QCOMPARE(m_host->worker.resolved, list(QStringLiteral("a, b")));
        QCOMPARE(toldOfPlaying(), list(QStringLiteral("a opening, a playing, a stopped, "
                                                      "b opening, b playing, b stopped")));
    }

    void aTrackThatIsRepeatedHasNoGapEither()
    {
        engine().setRepeat(RepeatMode::One);
        QSignalSpy started(&engine(), &PlayEngine::trackStarted);
        m_host->fill(list(QStringLiteral("a, b")));
        engine().play();
        QTRY_COMPARE(started.size(), 3);
        engine().setRepeat(RepeatMode::Off);
        QVERIFY(waitForEnd());
        const QByteArray a = m_decoded.value(QStringLiteral("a"));
        QCOMPARE(difference(a + a + a + m_decoded.value(QStringLiteral("b"))), QString());
        QCOMPARE(m_host->output.sinksAsked(), 1);
    }

    void aSeekBackFromTheVeryEndKeepsTheSeam()
    {
        const QVector<int> ids = playUntilPrepared(list(QStringLiteral("a, b")));
        // The sound of the next one is on the way already.
        waitForSoundAfterA();
        const bool isInTime = engine().status().entry == ids.at(0);
        engine().seek(200);
        QVERIFY(waitForEnd());
        if (!isInTime)
            return;
        QCOMPARE(m_host->output.sinksAsked(), 2);
        const QByteArray rest = m_decoded.value(QStringLiteral("a"))
                                    .mid(200 * EngineHost::rateHz / 1000 * EngineHost::frameBytes);
        QVERIFY(m_host->output.samples().endsWith(rest + m_decoded.value(QStringLiteral("b"))));
        QCOMPARE(toldOfPlaying(), list(QStringLiteral("a opening, a playing, a stopped, "
                                                      "b opening, b playing, b stopped")));
    }

    void aPauseDuringAChangeOfTracksAppliesToTheNextTrack()
    {
        QVERIFY(!playUntilPrepared(list(QStringLiteral("a, b"))).isEmpty());
        waitForSoundAfterA();
        // The change becomes due, and the player does not look at it before the pause.
        const int due =
            m_decoded.value(QStringLiteral("a")).size() + EngineHost::rateHz / 5 * EngineHost::frameBytes;
        QElapsedTimer limit;
        limit.start();
        while (m_host->output.samples().size() < due && !limit.hasExpired(10000))
            g_usleep(1000);
        engine().pause();
        QTRY_COMPARE(states().last(), QStringLiteral("b paused"));
        QCOMPARE(engine().status().state, PelkPlayLogicState::Paused);
        engine().play();
        QVERIFY(waitForEnd());
        QCOMPARE(difference(m_decoded.value(QStringLiteral("a")) + m_decoded.value(QStringLiteral("b"))),
                 QString());
        QStringList told = states();
        told.removeAll(QStringLiteral("a paused")); // depends on which of the two comes first, as does ...
        if (told.count(QStringLiteral("b playing")) == 2)
            told.removeOne(QStringLiteral("b playing"));
        QCOMPARE(told, list(QStringLiteral("a opening, a playing, a stopped, "
                                           "b opening, b paused, b playing, b stopped")));
    }

    void aSeamAfterALongPauseHasNoGapEither()
    {
        m_host->worker.maxIdleMs = 400;
        QVERIFY(!playUntilPrepared(list(QStringLiteral("a, b"))).isEmpty());
        engine().pause();
        QTRY_COMPARE(states().last(), QStringLiteral("a paused"));
        QElapsedTimer idle;
        idle.start();
        QTRY_VERIFY(idle.hasExpired(m_host->worker.maxIdleMs));
        m_host->worker.maxIdleMs = 0;
        engine().play();
        QTRY_COMPARE(states().last(), QStringLiteral("a playing"));
        const int asked = m_host->output.sinksAsked();
        QCOMPARE(asked, 2);
        QVERIFY(waitForEnd());
        QCOMPARE(m_host->output.sinksAsked(), asked);
        QVERIFY(m_host->output.samples().endsWith(m_decoded.value(QStringLiteral("b"))));
    }

    void anExpiredAddressIsResolvedAgain()
    {
        m_host->worker.maxIdleMs = 200;
        QVERIFY(m_host->playAll(list(QStringLiteral("a, b"))));
        // Prepared at the start of a second of music, and again before it was due.
        QVERIFY2(m_host->worker.resolved.size() > 2,
                 qPrintable(m_host->worker.resolved.join(QLatin1Char(' '))));
        QCOMPARE(difference(m_decoded.value(QStringLiteral("a")) + m_decoded.value(QStringLiteral("b"))),
                 QString());
        QCOMPARE(toldOfPlaying(), list(QStringLiteral("a opening, a playing, a stopped, "
                                                      "b opening, b playing, b stopped")));
    }
};

QTEST_GUILESS_MAIN(GaplessTest)
#include "gapless_test.moc"

#include "tests/support/enginehost.h"
#include "tests/support/patience.h"
#include "tests/support/testhttpserver.h"

#include <QSignalSpy>
#include <QtTest>
#include <gst/gst.h>

#include <atomic>

/// Streams from a misbehaving server, expired addresses, seeks, and an output that disappears. The samples
/// heard are compared with those of the file.
class StreamsTest : public QObject
{
    Q_OBJECT

    static constexpr int seconds = 2;

    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<EngineHost> m_host;
    QByteArray m_flac;
    QByteArray m_file; // what the server has
    QByteArray m_decoded;
    std::atomic<int> m_breakAfter{0};   // bytes of a body; 0 is none
    std::atomic<int> m_breaksLeft{0};   // answers that break off
    std::atomic<bool> m_refused{false}; // whether the address holds no longer
    std::atomic<bool> m_rangesRefused{false};
    std::atomic<int> m_dripBytes{0}; // each time; 0: all at once
    std::atomic<int> m_dripPauseMs{50};
    std::atomic<int> m_holdAfter{-1}; // bytes of a body, until the server releases the rest
    std::atomic<int> m_unanswered{0}; // requests that come now and are kept waiting
    QTemporaryDir m_dir;
    QString m_onDisk;     // a file with the same music
    QString m_redirectTo; // for "/redirect"; set before the request

    PlayEngine& engine() { return m_host->engine; }
    const QStringList& states() const { return m_host->worker.states; }

    TestHttpServer::Response serve(const TestHttpServer::Request& request)
    {
        TestHttpServer::Response response;
        if (request.path == "/redirect")
            return TestHttpServer::redirect(m_redirectTo);
        if (request.path == "/missing") {
            response.status = 404;
            return response;
        }
        const bool hasRange = !request.header("Range").isNull();
        if ((m_refused && request.path != "/fresh.flac") || (m_rangesRefused && hasRange)) {
            response.status = 403;
            return response;
        }
        response.headers = {{"Content-Type", "audio/flac"}, {"Accept-Ranges", "bytes"}};
        const QByteArray range = request.header("Range");
        const int from = range.startsWith("bytes=") ? range.mid(6, range.indexOf('-') - 6).toInt() : 0;
        response.body = m_file.mid(from);
        if (hasRange) {
            response.status = 206;
            response.headers.append({"Content-Range", "bytes " + QByteArray::number(from) + '-' +
                                                          QByteArray::number(m_file.size() - 1) + '/' +
                                                          QByteArray::number(m_file.size())});
        }
        if (m_breakAfter > 0 && m_breaksLeft.fetch_sub(1) > 0)
            response.truncateAfter = m_breakAfter;
        response.hold = m_unanswered.fetch_sub(1) > 0;
        response.holdAfter = m_holdAfter;
        response.dripBytes = m_dripBytes;
        response.dripPauseMs = m_dripPauseMs;
        return response;
    }

    QList<QByteArray> ranges() const
    {
        QList<QByteArray> ranges;
        for (const TestHttpServer::Request& request : m_server->requests())
            ranges.append(request.header("Range"));
        return ranges;
    }

    void startAndHear()
    {
        QSignalSpy started(&engine(), &PlayEngine::trackStarted);
        m_host->fill({QStringLiteral("1")});
        engine().play();
        QVERIFY(started.wait(patienceMs));
        QTRY_VERIFY(!m_host->output.samples().isEmpty());
    }

    /// Silence of 24 bits at 192 kHz, which is a lot of bytes.
    QByteArray wav(int lengthSeconds) const
    {
        const PcmFormat format{192000, 2, 24};
        const QString name = m_host->dir.filePath(QStringLiteral("silence.wav"));
        WavWriter writer(name);
        QString error;
        const QByteArray data(format.rateHz * lengthSeconds * format.frameBytes(), 0);
        QFile file(name);
        if (!writer.open(&error) || !writer.write(format, data.constData(), data.size(), &error) ||
            !writer.finish(&error) || !file.open(QIODevice::ReadOnly))
            qFatal("%s", qPrintable(error));
        return file.readAll();
    }

private Q_SLOTS:
    void initTestCase()
    {
        gst_init(nullptr, nullptr);
        m_flac = EngineHost::flac(5, seconds);
        m_onDisk = m_dir.filePath(QStringLiteral("a.flac"));
        QFile file(m_onDisk);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(m_flac) == m_flac.size());
        EngineHost host;
        m_decoded = host.decoded(m_flac);
        QCOMPARE(m_decoded.size(), seconds * EngineHost::rateHz * EngineHost::frameBytes);
    }

    void init()
    {
        m_breakAfter = m_breaksLeft = m_dripBytes = m_unanswered = 0;
        m_dripPauseMs = 50;
        m_holdAfter = -1;
        m_refused = m_rangesRefused = false;
        m_file = m_flac;
        m_server = std::make_unique<TestHttpServer>();
        m_server->setHandler([this](const TestHttpServer::Request& request) { return serve(request); });
        m_host = std::make_unique<EngineHost>();
        m_host->worker.uris.insert(QStringLiteral("1"), m_server->url(QStringLiteral("/1.flac")));
    }

    void cleanup()
    {
        if (QTest::currentTestFailed())
            qDebug() << states() << m_host->worker.resolved << ranges();
        m_host.reset();
        m_server.reset();
    }

    void aStreamIsHeardCompletely()
    {
        QVERIFY(m_host->playAll({QStringLiteral("1")}));
        QVERIFY(m_host->output.samples() == m_decoded);
        QCOMPARE(states(), (QStringList{QStringLiteral("1 opening"), QStringLiteral("1 playing"),
                                        QStringLiteral("1 stopped")}));
    }

    void aStreamThatBreaksIsResumedByARangeRequest_data()
    {
        QTest::addColumn<int>("breaks");
        QTest::newRow("once") << 1;
        QTest::newRow("twice") << 2;
        QTest::newRow("three times") << 3;
    }
    void aStreamThatBreaksIsResumedByARangeRequest()
    {
        QFETCH(int, breaks);
        m_breakAfter = m_file.size() / 5;
        m_breaksLeft = breaks;
        QVERIFY(m_host->playAll({QStringLiteral("1")}));
        QVERIFY(m_host->output.samples() == m_decoded);
        QCOMPARE(ranges().size(), breaks + 1);
        for (int i = 1; i <= breaks; ++i)
            QCOMPARE(ranges().at(i), "bytes=" + QByteArray::number(i * m_breakAfter) + '-');
        QCOMPARE(states().last(), QStringLiteral("1 stopped"));
    }

    void aStreamThatBreaksForTheFourthTimeIsAbandoned()
    {
        m_breakAfter = m_file.size() / 8;
        m_breaksLeft = 100;
        QSignalSpy failed(&engine(), &PlayEngine::trackFailed);
        QVERIFY(m_host->playAll({QStringLiteral("1")}));
        QCOMPARE(ranges().size(), 5); // the answer to the last one is refused
        QCOMPARE(failed.size(), 1);
        QCOMPARE(failed.at(0).at(1).toString(), QStringLiteral("The connection was lost too many times."));
    }

    void aLateNextTrackDelaysNothingAndIsPlayedFromItsStart()
    {
        m_host->addFlac(QStringLiteral("a"), EngineHost::flac(1, 1));
        const QByteArray first = m_host->decoded(EngineHost::flac(1, 1));
        m_unanswered = 1;
        m_host->fill({QStringLiteral("a"), QStringLiteral("1")});
        QSignalSpy finished(&engine(), &PlayEngine::finished);
        engine().play();
        // The end of the first one is the end of what was listened to, whatever becomes of the next one.
        QTRY_VERIFY(states().contains(QStringLiteral("a stopped")));
        QVERIFY(finished.wait(patienceMs));
        QCOMPARE(states(), (QStringList{QStringLiteral("a opening"), QStringLiteral("a playing"),
                                        QStringLiteral("a stopped"), QStringLiteral("1 opening"),
                                        QStringLiteral("1 playing"), QStringLiteral("1 stopped")}));
        QCOMPARE(m_host->worker.resolved.size(), 2);
        QVERIFY(m_host->output.samples() == first + m_decoded);
    }

    void resumingDoesNotWaitForTheNextTrack()
    {
        startAndHear();
        m_unanswered = 1;
        engine().queue().add({ScriptedPlayWorker::row(QStringLiteral("1"))}, PlayQueue::Where::End);
        QTRY_COMPARE(m_unanswered.load(), 0); // it is being prepared
        for (int i = 0; i < 2; ++i) {
            engine().pause();
            QTRY_COMPARE(states().last(), QStringLiteral("1 paused"));
            engine().play();
            QTRY_COMPARE(states().last(), QStringLiteral("1 playing"));
        }
    }

    void aHeardTrackThatBreaksOffIsReportedAsFailedAndThenAsEnded()
    {
        // Two seconds more than the initial buffer of 2 MB.
        m_file = wav(6);
        m_breakAfter = 4500000;
        m_breaksLeft = 100;
        m_rangesRefused = true;
        QSignalSpy brokeOff(&engine(), &PlayEngine::trackBrokeOff);
        QVERIFY(m_host->playAll({QStringLiteral("1")}));
        QCOMPARE(brokeOff.size(), 1);
        QVERIFY(!brokeOff.at(0).at(1).toString().isEmpty());
        QVERIFY(!m_host->output.samples().isEmpty());
        // The failure, and the end of listening; the player itself shows the failure.
        QCOMPARE(states(),
                 (QStringList{QStringLiteral("1 opening"), QStringLiteral("1 playing"),
                              QStringLiteral("1 stopped streamFailed"), QStringLiteral("1 stopped")}));
        QCOMPARE(engine().data().error(), QStringLiteral("streamFailed"));
    }

    void aStallNoticedAfterABufferUnderrunIsReportedAtOnce()
    {
        // The first part lasts two seconds, and the rest takes ten seconds to arrive.
        m_file = wav(4);
        m_dripBytes = 2400000;
        m_dripPauseMs = 10000;
        startAndHear();
        QThread::sleep(3);
        QTRY_VERIFY(engine().status().stalled);
        QVERIFY(m_host->output.samples().size() < m_dripBytes);
    }

    void aPauseWhileBufferingIsReportedAndHolds_data()
    {
        QTest::addColumn<bool>("heard");
        QTest::newRow("before it is heard") << false;
        QTest::newRow("in a stall") << true;
    }
    void aPauseWhileBufferingIsReportedAndHolds()
    {
        QFETCH(bool, heard);
        // One second takes 1.1 MB. The test releases the rest.
        m_file = wav(4);
        m_holdAfter = heard ? 2400000 : 200000;
        m_host->fill({QStringLiteral("1")});
        engine().play();
        QTRY_VERIFY(heard ? engine().status().stalled : engine().status().format.rateHz > 0);
        QCOMPARE(engine().status().state, heard ? PelkPlayLogicState::Playing : PelkPlayLogicState::Opening);
        engine().pause();
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        QVERIFY(!engine().status().stalled);
        QCOMPARE(states().last(), QStringLiteral("1 paused"));
        // It is silent until more data arrives, and this is not a pause by the listener.
        engine().play();
        QTRY_VERIFY(engine().status().stalled || states().last() == QLatin1String("1 playing"));
        QCOMPARE(engine().status().state, PelkPlayLogicState::Playing);
        engine().pause();
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        engine().play();
        QSignalSpy finished(&engine(), &PlayEngine::finished);
        m_holdAfter = -1;
        m_server->release();
        QVERIFY(finished.wait(patienceMs));
        QCOMPARE(m_host->output.samples().size(), m_file.size() - 44);
        QCOMPARE(states().last(), QStringLiteral("1 stopped"));
        QCOMPARE(states().filter(QStringLiteral("opening")).size(), 1);
    }

    void aSeekArrivesWithin50Milliseconds_data()
    {
        QTest::addColumn<int>("toMs");
        QTest::addColumn<bool>("paused");
        for (const int to : {0, 333, 1000, 1777})
            for (const bool paused : {false, true})
                QTest::addRow("to %d ms%s", to, paused ? ", paused" : "") << to << paused;
    }
    void aSeekArrivesWithin50Milliseconds()
    {
        QFETCH(int, toMs);
        QFETCH(bool, paused);
        startAndHear();
        QSignalSpy changed(&engine(), &PlayEngine::statusChanged);
        if (paused) {
            engine().pause();
            QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        }
        m_host->output.clear();
        engine().seek(toMs);
        if (paused) {
            QTRY_VERIFY(qAbs(engine().status().positionMs - toMs) <= 50);
            engine().play();
        }
        QSignalSpy finished(&engine(), &PlayEngine::finished);
        QVERIFY(finished.wait(patienceMs));
        // The last samples are the rest of the file from that position; a buffer from the old position may
        // precede them.
        const QByteArray heard = m_host->output.samples();
        const int rest = m_decoded.size() - toMs * EngineHost::rateHz / 1000 * EngineHost::frameBytes;
        const int slackBytes = 50 * EngineHost::rateHz / 1000 * EngineHost::frameBytes;
        int same = 0;
        const int most = qMin(heard.size(), m_decoded.size());
        while (same < most && heard.at(heard.size() - 1 - same) == m_decoded.at(m_decoded.size() - 1 - same))
            ++same;
        QVERIFY2(qAbs(same - rest) <= slackBytes,
                 qPrintable(QStringLiteral("%1 ms off")
                                .arg((same - rest) * 1000.0 / EngineHost::frameBytes / EngineHost::rateHz)));
    }

    void aSeekDoesNotCountAsABreak()
    {
        startAndHear();
        engine().pause();
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        QSignalSpy seeked(&engine(), &PlayEngine::seeked);
        m_breakAfter = m_file.size() / 5;
        // More seeks than a stream has resumptions; it can still be resumed afterwards.
        for (int i = 1; i <= 5; ++i) {
            m_breaksLeft = i == 5 ? 1 : 0;
            engine().seek(i * 10);
            QTRY_COMPARE(seeked.size(), i);
        }
        m_host->output.clear();
        engine().play();
        QSignalSpy finished(&engine(), &PlayEngine::finished);
        QVERIFY(finished.wait(patienceMs));
        QCOMPARE(states().last(), QStringLiteral("1 stopped"));
        QCOMPARE(states().filter(QStringLiteral("stopped")).size(), 1);
        QVERIFY(m_host->output.samples().size() > m_decoded.size() * 9 / 10);
        QVERIFY(m_decoded.endsWith(m_host->output.samples()));
    }

    void aSeekReportsItsTargetUntilItCompletes()
    {
        m_file = wav(6);
        startAndHear();
        engine().pause();
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        QList<qint64> places;
        connect(&engine(), &PlayEngine::seeked, this, [&places](qint64 place) { places.append(place); });
        engine().seek(3000);
        // That has arrived, and the player does not know it yet.
        GstObject* pipeline = GST_OBJECT_PARENT(m_host->output.sink());
        QCOMPARE(gst_element_get_state(GST_ELEMENT(pipeline), nullptr, nullptr, 10 * GST_SECOND),
                 GST_STATE_CHANGE_SUCCESS);
        m_unanswered = 1;
        engine().seek(1000);
        QTRY_COMPARE(m_unanswered.load(), 0);
        QCoreApplication::processEvents();
        QCOMPARE(places, QList<qint64>());
        QCOMPARE(engine().status().positionMs, 1000);
        m_server->release();
        QTRY_COMPARE(places, QList<qint64>{1000});
    }

    void aPauseIsReportedWhileASeekReceivesNoData_data()
    {
        QTest::addColumn<bool>("stallsFirst");
        QTest::newRow("at once") << false;
        QTest::newRow("after a stall") << true;
    }
    void aPauseIsReportedWhileASeekReceivesNoData()
    {
        QFETCH(bool, stallsFirst);
        m_file = wav(6);
        startAndHear();
        m_unanswered = 1000;
        engine().seek(4000);
        if (stallsFirst)
            QTRY_VERIFY(engine().status().stalled);
        engine().pause();
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        QCOMPARE(states().last(), QStringLiteral("1 paused"));
        QTRY_VERIFY(m_unanswered < 1000);
        m_unanswered = 0;
        engine().play();
        QTRY_VERIFY(engine().status().stalled);
        m_server->release();
        QTRY_COMPARE(states().last(), QStringLiteral("1 playing"));
        QVERIFY(engine().status().positionMs >= 4000);
    }

    void anAddressThatExpiredDuringAPauseIsResolvedAgain()
    {
        m_host->worker.maxIdleMs = 300;
        startAndHear();
        engine().pause();
        QTRY_COMPARE(states().last(), QStringLiteral("1 paused"));
        const qint64 position = engine().status().positionMs;
        m_refused = true;
        m_host->worker.uris.insert(QStringLiteral("1"), m_server->url(QStringLiteral("/fresh.flac")));
        QElapsedTimer idle;
        idle.start();
        QTRY_VERIFY(idle.hasExpired(m_host->worker.maxIdleMs));
        m_host->output.clear();
        engine().play();
        QSignalSpy finished(&engine(), &PlayEngine::finished);
        QVERIFY(finished.wait(patienceMs));
        QCOMPARE(m_host->worker.resolvedAtMs, (QVector<qint64>{0, position}));
        QCOMPARE(m_host->worker.lastStream, 2);
        const int heardMs =
            m_host->output.samples().size() / EngineHost::frameBytes * 1000 / EngineHost::rateHz;
        QVERIFY2(qAbs(heardMs - (seconds * 1000 - position)) <= 50,
                 qPrintable(QStringLiteral("%1 ms from %2 ms on").arg(heardMs).arg(position)));
        QVERIFY(m_decoded.endsWith(m_host->output.samples()));
        QCOMPARE(states(), (QStringList{QStringLiteral("1 opening"), QStringLiteral("1 playing"),
                                        QStringLiteral("1 paused"), QStringLiteral("1 playing"),
                                        QStringLiteral("1 stopped")}));
    }

    void anAddressThatExpiredBeforeABreakIsResolvedAgain()
    {
        // As above: it is heard before it breaks.
        m_file = wav(6);
        m_breakAfter = 4500000;
        m_breaksLeft = 1;
        m_host->worker.maxIdleMs = 300;
        startAndHear();
        m_refused = true;
        m_host->worker.uris.insert(QStringLiteral("1"), m_server->url(QStringLiteral("/fresh.flac")));
        QSignalSpy finished(&engine(), &PlayEngine::finished);
        QVERIFY(finished.wait(patienceMs));
        QCOMPARE(m_host->worker.resolved.size(), 2);
        QCOMPARE(states().first(), QStringLiteral("1 opening"));
        QCOMPARE(states().last(), QStringLiteral("1 stopped"));
        QCOMPARE(states().filter(QStringLiteral("stopped")).size(), 1);
        const qint64 lost = m_file.size() - 44 - m_host->output.samples().size();
        QVERIFY2(qAbs(lost) <= 192 * 6 * 250, qPrintable(QString::number(lost))); // 250 ms on the way out
    }

    void aSeekInAPausedTrackCompletesAfterItsAddressIsRenewed()
    {
        m_host->worker.maxIdleMs = 300;
        startAndHear();
        engine().pause();
        QTRY_COMPARE(states().last(), QStringLiteral("1 paused"));
        QElapsedTimer idle;
        idle.start();
        QTRY_VERIFY(idle.hasExpired(m_host->worker.maxIdleMs));
        m_host->output.clear();
        engine().play();
        engine().pause();
        QTRY_VERIFY(engine().status().canSeek);
        engine().seek(1000);
        QTRY_VERIFY(qAbs(engine().status().positionMs - 1000) <= 50);
        QTRY_VERIFY(engine().status().canSeek);
        engine().play();
        QSignalSpy finished(&engine(), &PlayEngine::finished);
        QVERIFY(finished.wait(patienceMs));
        QVERIFY(m_decoded.endsWith(m_host->output.samples()));
        const int heardMs =
            m_host->output.samples().size() / EngineHost::frameBytes * 1000 / EngineHost::rateHz;
        QVERIFY2(qAbs(heardMs - (seconds * 1000 - 1000)) <= 50, qPrintable(QString::number(heardMs)));
    }

    void anOutputThatNeverWorkedEndsPlaybackAtOnce()
    {
        m_host->output.unplug();
        QSignalSpy failed(&engine(), &PlayEngine::trackFailed);
        QVERIFY(m_host->playAll({QStringLiteral("1"), QStringLiteral("1"), QStringLiteral("1")}));
        QCOMPARE(failed.size(), 1);
        QCOMPARE(failed.at(0).at(1).toString(), QStringLiteral("There is no sound device."));
        QCOMPARE(states(),
                 (QStringList{QStringLiteral("1 opening"), QStringLiteral("1 stopped streamFailed")}));
    }

    void playWhilePlayingIsANoOp()
    {
        m_host->worker.maxIdleMs = 300;
        startAndHear();
        engine().pause();
        QTRY_COMPARE(states().last(), QStringLiteral("1 paused"));
        engine().play();
        QTRY_COMPARE(states().last(), QStringLiteral("1 playing"));
        QElapsedTimer idle;
        idle.start();
        QTRY_VERIFY(idle.hasExpired(m_host->worker.maxIdleMs));
        engine().play();
        QSignalSpy finished(&engine(), &PlayEngine::finished);
        QVERIFY(finished.wait(patienceMs));
        QCOMPARE(m_host->output.sinksAsked(), 1);
        QCOMPARE(m_host->worker.resolved.size(), 1);
        QVERIFY(m_host->output.samples() == m_decoded);
    }

    void anOutputThatIsStillLostIsReportedAgainAfterPlay()
    {
        startAndHear();
        QSignalSpy noticed(&engine(), &PlayEngine::noticed);
        m_host->output.unplug();
        QTRY_COMPARE(states().last(), QStringLiteral("1 paused"));
        engine().stop();
        QCOMPARE(states().last(), QStringLiteral("1 stopped userStop"));
        QCOMPARE(noticed.size(), 1);
        engine().play();
        QTRY_COMPARE(noticed.size(), 2);
        m_host->output.plug();
        QTRY_COMPARE(states().last(), QStringLiteral("1 playing"));
    }

    void aLostOutputPausesPlaybackUntilItIsBack()
    {
        startAndHear();
        // More than what may be lost below.
        QTRY_VERIFY(m_host->output.samples().size() > m_decoded.size() / 4);
        QSignalSpy noticed(&engine(), &PlayEngine::noticed);
        m_host->output.unplug();
        QTRY_COMPARE(states().last(), QStringLiteral("1 paused"));
        const QByteArray before = m_host->output.samples();
        const int asked = m_host->output.sinksAsked();
        QTRY_VERIFY(m_host->output.sinksAsked() > asked + 1);
        QCOMPARE(noticed.size(), 1);
        QCOMPARE(noticed.at(0).at(0).toString(), QStringLiteral("Audio output lost"));
        m_host->output.clear();
        m_host->output.plug();
        QSignalSpy finished(&engine(), &PlayEngine::finished);
        QVERIFY(finished.wait(patienceMs));
        QCOMPARE(states(), (QStringList{QStringLiteral("1 opening"), QStringLiteral("1 playing"),
                                        QStringLiteral("1 paused"), QStringLiteral("1 playing"),
                                        QStringLiteral("1 stopped")}));
        // It continues at the same position, except for the sound in the output's buffer.
        const QByteArray after = m_host->output.samples();
        QVERIFY(m_decoded.endsWith(after));
        const int lost = (m_decoded.size() - after.size() - before.size()) / EngineHost::frameBytes * 1000 /
                         EngineHost::rateHz;
        QVERIFY2(qAbs(lost) <= 250, qPrintable(QStringLiteral("%1 ms").arg(lost)));
    }

    void onlyHttpAndHttpsAreOpened_data()
    {
        QTest::addColumn<QString>("uri");
        for (const QString& uri :
             {QStringLiteral("file://") + m_onDisk, QStringLiteral("FILE://") + m_onDisk, m_onDisk,
              QStringLiteral("v4l2:///dev/video0"), QStringLiteral("cdda://1"), QStringLiteral("fd://0"),
              QStringLiteral("rtsp://127.0.0.1/a"), QStringLiteral("udp://127.0.0.1:5004"),
              QStringLiteral("data:audio/flac;base64,AAAA"), QStringLiteral("httpx://127.0.0.1/"),
              QStringLiteral(" http://127.0.0.1/")})
            QTest::newRow(qPrintable(uri.section(QLatin1Char('/'), 0, 1))) << uri;
    }
    void onlyHttpAndHttpsAreOpened()
    {
        QFETCH(QString, uri);
        m_host->worker.uris.insert(QStringLiteral("2"), uri);
        QSignalSpy failed(&engine(), &PlayEngine::trackFailed);
        // Alone, and as the next one, which is opened ahead of its turn.
        QVERIFY(m_host->playAll({QStringLiteral("2"), QStringLiteral("1"), QStringLiteral("2")}));
        QCOMPARE(failed.size(), 2);
        for (const QList<QVariant>& failure : qAsConst(failed))
            QCOMPARE(failure.at(1).toString(),
                     QStringLiteral(
                         "This stream is not playable: its address must begin with http:// or https://."));
        QVERIFY(m_host->output.samples() == m_decoded);
    }

    void aRedirectIsFollowedToHttpAndHttpsAlone_data()
    {
        QTest::addColumn<QString>("to");
        QTest::newRow("file") << QStringLiteral("file://") + m_onDisk;
        QTest::newRow("rtsp") << QStringLiteral("rtsp://127.0.0.1/a");
        QTest::newRow("udp") << QStringLiteral("udp://127.0.0.1:5004");
        QTest::newRow("data") << QStringLiteral("data:audio/flac;base64,AAAA");
    }
    void aRedirectIsFollowedToHttpAndHttpsAlone()
    {
        QFETCH(QString, to);
        m_redirectTo = to;
        m_host->worker.uris.insert(QStringLiteral("2"), m_server->url(QStringLiteral("/redirect")));
        QSignalSpy failed(&engine(), &PlayEngine::trackFailed);
        QVERIFY(m_host->playAll({QStringLiteral("2")}));
        QCOMPARE(failed.size(), 1);
        QCOMPARE(failed.at(0).at(1).toString(),
                 QStringLiteral("This stream is not playable: its server redirects to an address that does "
                                "not begin with http:// or https://."));
        QVERIFY(m_host->output.samples().isEmpty());
    }

    void aRedirectWithinTheNetworkIsFollowed()
    {
        m_redirectTo = m_server->url(QStringLiteral("/1.flac"));
        m_host->worker.uris.insert(QStringLiteral("2"), m_server->url(QStringLiteral("/redirect")));
        QVERIFY(m_host->playAll({QStringLiteral("2")}));
        QVERIFY(m_host->output.samples() == m_decoded);
    }

    void anErrorOfTheServerIsNoRedirect_data()
    {
        QTest::addColumn<QString>("uri");
        QTest::newRow("404") << QStringLiteral("/missing");
        QTest::newRow("refused connection") << QStringLiteral("http://127.0.0.1:1/a.flac");
        QTest::newRow("unknown host") << QStringLiteral("http://nowhere.invalid/a.flac");
    }
    void anErrorOfTheServerIsNoRedirect()
    {
        QFETCH(QString, uri);
        m_host->worker.uris.insert(QStringLiteral("2"),
                                   uri.startsWith(QLatin1Char('/')) ? m_server->url(uri) : uri);
        QSignalSpy failed(&engine(), &PlayEngine::trackFailed);
        QVERIFY(m_host->playAll({QStringLiteral("2")}));
        QCOMPARE(failed.size(), 1);
        const QString sentence = failed.at(0).at(1).toString();
        QVERIFY(!sentence.isEmpty());
        QVERIFY2(!sentence.contains(QLatin1String("redirect")), qPrintable(sentence));
    }

    void otherFormatsAreReportedInASentence_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::newRow("text") << QByteArray(20000, 'x');
        QTest::newRow("a page") << QByteArray("<!DOCTYPE html><html><body>Sorry</body></html>");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("a picture") << QByteArray::fromBase64(
            "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg="
            "=");
    }
    void otherFormatsAreReportedInASentence()
    {
        QFETCH(QByteArray, file);
        m_file = file;
        QSignalSpy failed(&engine(), &PlayEngine::trackFailed);
        QVERIFY(m_host->playAll({QStringLiteral("1")}));
        QCOMPARE(failed.size(), 1);
        QVERIFY(!failed.at(0).at(1).toString().isEmpty());
        QCOMPARE(states(),
                 (QStringList{QStringLiteral("1 opening"), QStringLiteral("1 stopped streamFailed")}));
    }
};

QTEST_GUILESS_MAIN(StreamsTest)
#include "streams_test.moc"

#include "tests/e2e/players.h"
#include "tests/support/badlink.h"
#include "tests/support/figures.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QtTest>

#include <memory>

/// The real player and the real sandbox with a bad link between them. PELK_TEST_LONG makes the outages a
/// minute long.
class BadLinkPlayerTest : public QObject
{
    Q_OBJECT

    static constexpr int processLimitMs = 60000;

    const bool m_long = qEnvironmentVariableIsSet("PELK_TEST_LONG");
    std::unique_ptr<Players> m_players;
    std::unique_ptr<BadLink> m_link;
    QString m_track;
    int m_trackId = 0;

    static void addLinks()
    {
        QTest::addColumn<int>("latencyMs");
        QTest::addColumn<double>("loss");
        QTest::newRow("500 ms each way") << 500 << 0.0;
        QTest::newRow("2 % loss") << 0 << 0.02;
        QTest::newRow("10 % loss") << 0 << 0.1;
    }

    void print(const QString& text, qint64 elapsedMs) const
    {
        const BadLink::Counters counters = m_link->counters();
        printFigures("%s: %s (%.1f s, %d connections, %lld segments, %lld lost)", QTest::currentDataTag(),
                     qPrintable(text), double(elapsedMs) / 1000, counters.connections,
                     qlonglong(counters.segments), qlonglong(counters.lost));
    }

    QStringList playFor(int seconds) const
    {
        return {QStringLiteral("play"), m_track, QStringLiteral("--seconds"), QString::number(seconds),
                QStringLiteral("--to"), wav()};
    }
    /// Plays with hardly more bytes a second than the sound has, so that little of it is here at any time.
    std::unique_ptr<QProcess> playSlowly(int seconds) const
    {
        m_players->pelk({QStringLiteral("quality"), QStringLiteral("hires192")});
        m_players->fault(QStringLiteral("stream"), {{QStringLiteral("kind"), QStringLiteral("drip")},
                                                    {QStringLiteral("bytes"), 4000},
                                                    {QStringLiteral("interval_ms"), 20}});
        return m_players->start(playFor(seconds));
    }
    QString wav() const { return m_players->home() + QStringLiteral("/out.wav"); }

    /// The streaming reports of the track: "start", "end SECONDS".
    QStringList reports() const
    {
        QStringList told;
        const QJsonArray all =
            m_players->controlGet(QStringLiteral("reports")).value(QStringLiteral("reports")).toArray();
        for (const QJsonValue& value : all) {
            const QJsonObject report = value.toObject();
            const QJsonObject items = report.value(QStringLiteral("items")).toObject();
            if (items.value(QStringLiteral("track_id")).toVariant().toInt() != m_trackId)
                told << QStringLiteral("another track");
            else if (report.value(QStringLiteral("endpoint")) == QLatin1String("track/reportStreamingStart"))
                told << QStringLiteral("start");
            else
                told << QStringLiteral("end ") +
                            items.value(QStringLiteral("duration")).toVariant().toString();
        }
        return told;
    }

    /// One start and one end, whose duration is what was heard, to the second.
    void verifyReports(int seconds) const
    {
        const QStringList told = reports();
        QVERIFY2(told.size() == 2, qPrintable(told.join(QLatin1String(", "))));
        QCOMPARE(told.first(), QStringLiteral("start"));
        const int duration = told.last().section(QLatin1Char(' '), 1).toInt();
        QVERIFY2(told.last().startsWith(QLatin1String("end ")) && qAbs(duration - seconds) <= 1,
                 qPrintable(told.last()));
    }

private Q_SLOTS:
    void init()
    {
        m_players = std::make_unique<Players>();
        QCOMPARE(m_players->login().exitCode, 0);
        const QJsonObject track = m_players->controlGet(QStringLiteral("tracks?kind=24-192"))
                                      .value(QStringLiteral("24-192"))
                                      .toArray()
                                      .first()
                                      .toObject();
        m_trackId = track.value(QStringLiteral("id")).toInt();
        m_track = QStringLiteral("qobuz:track?id=%1").arg(m_trackId);
        m_link = std::make_unique<BadLink>(m_players->sandboxPort());
        m_players->writeSettingsFor(m_link->url(QUrl(m_players->apiUrl()).path()));
    }
    void cleanup()
    {
        m_link.reset();
        m_players.reset();
    }

    void rowsComeThrough_data() { addLinks(); }
    void rowsComeThrough()
    {
        QFETCH(int, latencyMs);
        QFETCH(double, loss);
        const QString path = QStringLiteral("qobuz:favourites/tracks");
        const QJsonObject onAGoodLink = m_players->rows(path, 0, 199);
        QCOMPARE(onAGoodLink.value(QStringLiteral("rows")).toArray().size(), 200);
        m_link->setLatencyMs(latencyMs);
        m_link->setLoss(loss);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(m_players->rows(path, 0, 199), onAGoodLink);
        print(QStringLiteral("200 rows"), timer.elapsed());
    }

    void aTrackPlaysAndIsReportedOnce_data() { addLinks(); }
    void aTrackPlaysAndIsReportedOnce()
    {
        QFETCH(int, latencyMs);
        QFETCH(double, loss);
        m_link->setLatencyMs(latencyMs);
        m_link->setLoss(loss);
        QElapsedTimer timer;
        timer.start();
        const Players::Outcome play = m_players->pelk(playFor(3));
        QVERIFY2(play.exitCode == 0, qPrintable(play.errors));
        QVERIFY2(play.errors.contains(QLatin1String("Wrote 3 seconds of sound")), qPrintable(play.errors));
        const QStringList told = reports();
        // How long it was heard depends on how soon a busy machine handles the change of state.
        const QRegularExpression once(QStringLiteral("^start, end [1-9]\\d*$"));
        QVERIFY2(once.match(told.join(QLatin1String(", "))).hasMatch(),
                 qPrintable(told.join(QLatin1String(", "))));
        print(QStringLiteral("3 seconds of sound"), timer.elapsed());
    }

    void anOutageWhileRowsAreRequested()
    {
        const int outageMs = m_long ? 60000 : 3000;
        const QStringList rows{QStringLiteral("rows"), QStringLiteral("qobuz:playlists")};
        const Players::Outcome onAGoodLink = m_players->pelk(rows);
        QCOMPARE(onAGoodLink.exitCode, 0);
        const int connections = m_link->counters().connections;
        m_link->setLatencyMs(300);
        const std::unique_ptr<QProcess> asking = m_players->start(rows);
        QTRY_VERIFY_WITH_TIMEOUT(m_link->counters().connections > connections, processLimitMs);
        m_link->setAway(true);
        QElapsedTimer timer;
        timer.start();
        if (m_long) {
            QVERIFY(asking->waitForFinished(processLimitMs));
            QCOMPARE(asking->readAllStandardError(),
                     QByteArray("pelk: No complete response from the service. Check your network connection. "
                                "(Unknown error).\n"));
            QCOMPARE(asking->exitCode(), 1);
            printFigures("an outage of a minute while rows are asked for: told after %.1f s",
                         double(timer.elapsed()) / 1000);
        }
        // Nothing is waited for here: this is how long the link is away.
        QTest::qWait(int(qMax<qint64>(0, outageMs - timer.elapsed())));
        m_link->setAway(false);
        m_link->setLatencyMs(0);
        timer.restart();
        if (!m_long) {
            QVERIFY(asking->waitForFinished(processLimitMs));
            QCOMPARE(asking->exitCode(), 0);
            QCOMPARE(QString::fromUtf8(asking->readAllStandardOutput()), onAGoodLink.output);
            printFigures("an outage of %d s while rows are asked for: they are there %.1f s after its end",
                         outageMs / 1000, double(timer.elapsed()) / 1000);
        }
        QCOMPARE(m_players->pelk(rows).output, onAGoodLink.output);
    }

    void anOutageWhileATrackPlays_data()
    {
        QTest::addColumn<int>("outageMs");
        QTest::addColumn<QString>("brokenOff");
        if (!m_long) {
            QTest::newRow("an outage of 5 s") << 5000 << QString();
            return;
        }
        QTest::newRow("an outage of a minute") << 60000 << QString();
        QTest::newRow("an outage of more than two minutes")
            << 150000
            << QStringLiteral("No data was received for 120 seconds. Check your network connection.");
    }
    void anOutageWhileATrackPlays()
    {
        QFETCH(int, outageMs);
        QFETCH(QString, brokenOff);
        // So long that part of it is missing when the link goes down, even on a busy machine.
        constexpr int seconds = 12;
        const std::unique_ptr<QProcess> play = playSlowly(seconds);
        QByteArray errors;
        const auto says = [&](const char* text) {
            errors += play->readAllStandardError();
            return errors.contains(text);
        };
        QTRY_VERIFY_WITH_TIMEOUT(says("Playing "), processLimitMs);
        // The service has heard of the start.
        QTRY_COMPARE_WITH_TIMEOUT(reports(), QStringList{QStringLiteral("start")}, processLimitMs);
        m_link->setAway(true);
        QElapsedTimer timer;
        timer.start();
        QTRY_VERIFY2_WITH_TIMEOUT(says("Buffering "), errors.constData(), processLimitMs);
        const qint64 stalledMs = timer.elapsed();
        if (brokenOff.isEmpty()) {
            QTest::qWait(int(qMax<qint64>(0, outageMs - timer.elapsed())));
            m_link->setAway(false);
        }
        QTRY_COMPARE_WITH_TIMEOUT(play->state(), QProcess::NotRunning, processLimitMs + outageMs);
        print(QStringLiteral("silent after %1 s, over after %2 s")
                  .arg(double(stalledMs) / 1000, 0, 'f', 1)
                  .arg(double(timer.elapsed()) / 1000, 0, 'f', 1),
              timer.elapsed());
        if (brokenOff.isEmpty()) {
            QVERIFY2(says("Wrote 12 seconds of sound"), errors.constData());
            QCOMPARE(play->exitCode(), 0);
            verifyReports(seconds);
            return;
        }
        // Without a link the end cannot be reported to the service, and the player does not wait for it.
        QVERIFY2(says((" was interrupted: " + brokenOff.toUtf8()).constData()), errors.constData());
        QCOMPARE(play->exitCode(), 1);
        m_link->setAway(false);
        QCOMPARE(m_players->pelk({QStringLiteral("rows"), QStringLiteral("qobuz:playlists")}).exitCode, 0);
    }

    void aBrokenStreamIsShownAndItsEndReported()
    {
        const std::unique_ptr<QProcess> play = playSlowly(15);
        m_players->fault(QStringLiteral("stream"), {{QStringLiteral("kind"), QStringLiteral("status")},
                                                    {QStringLiteral("status"), 503},
                                                    {QStringLiteral("count"), -1}});
        QTRY_COMPARE_WITH_TIMEOUT(reports(), QStringList{QStringLiteral("start")}, processLimitMs);
        m_link->cut();
        QVERIFY(play->waitForFinished(processLimitMs));
        QCOMPARE(play->exitCode(), 1);
        const QString errors = QString::fromUtf8(play->readAllStandardError());
        printFigures("a stream that breaks off: %s", qPrintable(errors.simplified()));
        QVERIFY2(errors.contains(QLatin1String(" was interrupted: ")), qPrintable(errors));
        QCOMPARE(errors.count(QLatin1String("pelk: ")), 1);
        const QRegularExpressionMatch wrote =
            QRegularExpression(QStringLiteral("Wrote ([0-9.]+) seconds")).match(errors);
        QVERIFY2(wrote.hasMatch(), qPrintable(errors));
        verifyReports(int(wrote.captured(1).toDouble()));
    }
};

QTEST_GUILESS_MAIN(BadLinkPlayerTest)
#include "bad_link_player_test.moc"

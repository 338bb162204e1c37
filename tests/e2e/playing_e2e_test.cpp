#include "tests/e2e/players.h"

#include <QFile>
#include <QJsonArray>
#include <QtEndian>
#include <QtTest>

#include <memory>

/// Playing the sandbox's audio with the real programs into WAV files, and what the service hears of it.
class PlayingE2ETest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Players> m_players;

    /// The facts of a PCM WAV file (Multimedia Programming Interface and Data Specifications 1.0, 1991).
    struct Wav
    {
        int channels = 0;
        int rateHz = 0;
        int bits = 0;
        double seconds = 0;
        double loudest = 0; ///< of full scale
    };

    static Wav readWav(const QString& name)
    {
        QFile file(name);
        Wav wav;
        if (!file.open(QIODevice::ReadOnly))
            return wav;
        const QByteArray bytes = file.readAll();
        const auto number = [&bytes](int at, int width) {
            quint32 value = 0;
            for (int i = 0; i < width; ++i)
                value |= quint32(quint8(bytes.at(at + i))) << (8 * i);
            return value;
        };
        for (int at = 12; at + 8 <= bytes.size(); at += 8 + int(number(at + 4, 4))) {
            if (bytes.mid(at, 4) == "fmt ") {
                wav.channels = int(number(at + 10, 2));
                wav.rateHz = int(number(at + 12, 4));
                wav.bits = int(number(at + 22, 2));
            } else if (bytes.mid(at, 4) == "data") {
                const int width = wav.bits / 8;
                const int size = qMin(int(number(at + 4, 4)), bytes.size() - at - 8);
                wav.seconds = double(size) / (wav.channels * width) / wav.rateHz;
                for (int i = at + 8; i + width <= at + 8 + size; i += width)
                    wav.loudest = qMax(wav.loudest, qAbs(double(qint16(number(i + width - 2, 2)))) / 32768.0);
                break;
            }
        }
        return wav;
    }

    QJsonArray reports() const
    {
        return m_players->controlGet(QStringLiteral("reports")).value(QStringLiteral("reports")).toArray();
    }

    /// The Range of each request for a stream, in order; empty for all of it.
    static QStringList streamRanges(const Players& players)
    {
        QStringList ranges;
        const QJsonArray requests =
            players.controlGet(QStringLiteral("requests?all=1")).value(QStringLiteral("requests")).toArray();
        for (const QJsonValue& request : requests) {
            if (request.toObject().value(QStringLiteral("endpoint")) != QStringLiteral("stream"))
                continue;
            QString range;
            const QJsonArray headers = request.toObject().value(QStringLiteral("headers")).toArray();
            for (const QJsonValue& header : headers)
                if (header.toArray().at(0).toString().toLower() == QLatin1String("range"))
                    range = header.toArray().at(1).toString();
            ranges << range;
        }
        return ranges;
    }

    /// Each report as "endpoint track duration".
    QStringList told() const
    {
        QStringList told;
        const QJsonArray heard = reports();
        for (const QJsonValue& report : heard) {
            const QJsonObject items = report.toObject().value(QStringLiteral("items")).toObject();
            told << QStringLiteral("%1 %2 %3")
                        .arg(report.toObject()
                                 .value(QStringLiteral("endpoint"))
                                 .toString()
                                 .section(QLatin1Char('/'), 1),
                             items.value(QStringLiteral("track_id")).toVariant().toString(),
                             items.value(QStringLiteral("duration")).toVariant().toString())
                        .trimmed();
        }
        return told;
    }

    static QString idOf(const QJsonObject& track)
    {
        return QString::number(track.value(QStringLiteral("id")).toInt());
    }

    QJsonObject trackOfKind(const QString& kind) const
    {
        return m_players->controlGet(QStringLiteral("tracks?kind=") + kind)
            .value(kind)
            .toArray()
            .first()
            .toObject();
    }

    static QString pathOf(const QJsonObject& track)
    {
        return QStringLiteral("qobuz:track?id=%1").arg(track.value(QStringLiteral("id")).toInt());
    }

private Q_SLOTS:
    void init()
    {
        m_players = std::make_unique<Players>();
        QCOMPARE(m_players->login().fault(), QString());
    }

    void aTrackPlaysInTheRequestedQuality_data()
    {
        QTest::addColumn<QString>("quality");
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("formatId");
        QTest::addColumn<int>("rateHz");
        QTest::newRow("mp3") << QStringLiteral("mp3") << QStringLiteral("MP3 320 kbit/s")
                             << QStringLiteral("5") << 44100;
        QTest::newRow("cd") << QStringLiteral("cd") << QStringLiteral("FLAC 16 bit / 44.1 kHz")
                            << QStringLiteral("6") << 44100;
        QTest::newRow("hires96") << QStringLiteral("hires96") << QStringLiteral("FLAC 24 bit / 96 kHz")
                                 << QStringLiteral("7") << 96000;
        QTest::newRow("hires192") << QStringLiteral("hires192") << QStringLiteral("FLAC 24 bit / 192 kHz")
                                  << QStringLiteral("27") << 192000;
    }
    void aTrackPlaysInTheRequestedQuality()
    {
        QFETCH(QString, quality);
        QFETCH(QString, format);
        QFETCH(QString, formatId);
        QFETCH(int, rateHz);
        const QJsonObject track = trackOfKind(QStringLiteral("24-192"));
        QCOMPARE(m_players->pelk({QStringLiteral("quality"), quality}).exitCode, 0);
        const QString target = m_players->home() + QStringLiteral("/out.wav");
        const Players::Outcome play =
            m_players->pelk({QStringLiteral("play"), pathOf(track), QStringLiteral("--seconds"),
                             QStringLiteral("2"), QStringLiteral("--to"), target});
        QVERIFY2(play.exitCode == 0, qPrintable(play.errors));
        QVERIFY2((play.output + play.errors).contains(format), qPrintable(play.output + play.errors));
        const Wav wav = readWav(target);
        QCOMPARE(wav.rateHz, rateHz);
        QVERIFY2(qAbs(wav.seconds - 2.0) < 0.3, qPrintable(QString::number(wav.seconds)));
        QVERIFY(wav.loudest > 0.01);

        const QJsonArray heard = reports();
        QCOMPARE(heard.size(), 2);
        QCOMPARE(heard.at(0).toObject().value(QStringLiteral("endpoint")).toString(),
                 QStringLiteral("track/reportStreamingStart"));
        QCOMPARE(heard.at(1).toObject().value(QStringLiteral("endpoint")).toString(),
                 QStringLiteral("track/reportStreamingEnd"));
        for (const QJsonValue& report : heard) {
            const QJsonObject items = report.toObject().value(QStringLiteral("items")).toObject();
            QCOMPARE(items.value(QStringLiteral("track_id")).toVariant().toInt(),
                     track.value(QStringLiteral("id")).toInt());
            QCOMPARE(items.value(QStringLiteral("format_id")).toVariant().toString(), formatId);
        }
        const int listened = heard.at(1)
                                 .toObject()
                                 .value(QStringLiteral("items"))
                                 .toObject()
                                 .value(QStringLiteral("duration"))
                                 .toVariant()
                                 .toInt();
        QVERIFY2(listened >= 1 && listened <= 4, qPrintable(QString::number(listened)));
    }

    void aTrackAvailableOnlyInLowerQualityPlaysInThatQuality()
    {
        QCOMPARE(m_players->pelk({QStringLiteral("quality"), QStringLiteral("hires192")}).exitCode, 0);
        const Players::Outcome play = m_players->pelk(
            {QStringLiteral("play"), pathOf(trackOfKind(QStringLiteral("cd"))), QStringLiteral("--seconds"),
             QStringLiteral("1"), QStringLiteral("--to"), m_players->home() + QStringLiteral("/out.wav")});
        QCOMPARE(play.exitCode, 0);
        QVERIFY2(
            (play.output + play.errors).contains(QLatin1String("FLAC 16 bit / 44.1 kHz, below your setting")),
            qPrintable(play.output));
    }

    void anExcerptIsPlayedWithTheNoticeOfTheRightsHolders()
    {
        const Players::Outcome play =
            m_players->pelk({QStringLiteral("play"), pathOf(trackOfKind(QStringLiteral("restricted-sample"))),
                             QStringLiteral("--seconds"), QStringLiteral("1"), QStringLiteral("--to"),
                             m_players->home() + QStringLiteral("/out.wav")});
        QVERIFY2(play.exitCode == 0, qPrintable(play.errors));
        QVERIFY2(play.errors.contains(
                     QLatin1String("The rights-holders have not made the streaming of this track possible")),
                 qPrintable(play.errors));
        QCOMPARE(reports().size(), 2);
    }

    void aTrackWithoutAStreamIsAFailureToPlay()
    {
        const Players::Outcome play = m_players->pelk(
            {QStringLiteral("play"), pathOf(trackOfKind(QStringLiteral("restricted-no-stream"))),
             QStringLiteral("--to"), m_players->home() + QStringLiteral("/out.wav")});
        QCOMPARE(play.exitCode, 1);
        QVERIFY(!play.errors.isEmpty());
    }

    void aStreamThatBreaksIsResumedAndReportedLikeAnyOther()
    {
        const QJsonObject track = trackOfKind(QStringLiteral("cd"));
        const auto target = [](const Players& players) {
            return players.home() + QStringLiteral("/out.wav");
        };
        const auto play = [&](const Players& players) {
            return players.start(
                {QStringLiteral("play"), pathOf(track), QStringLiteral("--to"), target(players)});
        };
        // The same track from another service, which has no such trouble, to compare with.
        const Players whole;
        QCOMPARE(whole.login().fault(), QString());
        m_players->fault(QStringLiteral("stream"),
                         QJsonObject{{QStringLiteral("kind"), QStringLiteral("truncate")},
                                     {QStringLiteral("bytes"), 200000},
                                     {QStringLiteral("count"), 3}});
        const std::unique_ptr<QProcess> broken = play(*m_players);
        const std::unique_ptr<QProcess> undisturbed = play(whole);
        QVERIFY(broken->waitForFinished(120000) && undisturbed->waitForFinished(120000));
        QVERIFY2(broken->exitCode() == 0, broken->readAllStandardError().constData());
        QCOMPARE(undisturbed->exitCode(), 0);
        QCOMPARE(streamRanges(whole), QStringList{QString()});
        QCOMPARE(streamRanges(*m_players),
                 (QStringList{QString(), QStringLiteral("bytes=200000-"), QStringLiteral("bytes=400000-"),
                              QStringLiteral("bytes=600000-")}));
        QFile one(target(*m_players));
        QFile other(target(whole));
        QVERIFY(one.open(QIODevice::ReadOnly) && other.open(QIODevice::ReadOnly));
        QVERIFY(one.readAll() == other.readAll());
        const int duration = track.value(QStringLiteral("duration")).toInt();
        QVERIFY(duration > 0);
        QCOMPARE(readWav(one.fileName()).seconds, double(duration));
        QCOMPARE(told(),
                 (QStringList{QStringLiteral("reportStreamingStart %1 0").arg(idOf(track)),
                              QStringLiteral("reportStreamingEnd %1 %2").arg(idOf(track)).arg(duration)}));
    }

    void theTracksOfAnAlbumFollowEachOtherAndEachIsReportedOnceWithItsDuration()
    {
        const QJsonArray tracks =
            m_players->controlGet(QStringLiteral("tracks?kind=cd")).value(QStringLiteral("cd")).toArray();
        const QString album = tracks.at(0).toObject().value(QStringLiteral("album_id")).toString();
        QCOMPARE(tracks.at(1).toObject().value(QStringLiteral("album_id")).toString(), album);
        const int first = tracks.at(0).toObject().value(QStringLiteral("duration")).toInt();
        QVERIFY(first > 0);
        // The first track is over well before the time; the second one plays on.
        const QString target = m_players->home() + QStringLiteral("/out.wav");
        const Players::Outcome play = m_players->pelk(
            {QStringLiteral("play"), QStringLiteral("qobuz:album?id=") + album, QStringLiteral("--seconds"),
             QString::number(first + 3), QStringLiteral("--to"), target});
        QVERIFY2(play.exitCode == 0, qPrintable(play.errors));
        const auto id = [&tracks](int index) { return idOf(tracks.at(index).toObject()); };
        // Each track's own, since the end of one and the start of the next one go by two connections.
        const auto toldOf = [all = told(), &id](int index) {
            return all.filter(QStringLiteral(" %1 ").arg(id(index)));
        };
        QCOMPARE(toldOf(0), (QStringList{QStringLiteral("reportStreamingStart %1 0").arg(id(0)),
                                         QStringLiteral("reportStreamingEnd %1 %2").arg(id(0)).arg(first)}));
        QCOMPARE(toldOf(1), (QStringList{QStringLiteral("reportStreamingStart %1 0").arg(id(1)),
                                         QStringLiteral("reportStreamingEnd %1 3").arg(id(1))}));
        QCOMPARE(told().size(), 4);
        const Wav wav = readWav(target);
        QCOMPARE(wav.seconds, double(first + 3));
        QVERIFY(wav.loudest > 0.01);
    }
};

QTEST_GUILESS_MAIN(PlayingE2ETest)
#include "playing_e2e_test.moc"

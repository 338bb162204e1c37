#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "player/mpris/MprisService.h"
#include "tests/support/enginehost.h"
#include "tests/support/patience.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QProcess>
#include <QSignalSpy>
#include <QtTest>
#include <gst/gst.h>

#include <unistd.h>

/// The real player on a real session bus, spoken to by `playerctl`.
class MprisTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<EngineHost> m_host;
    std::unique_ptr<MprisService> m_mpris;
    QByteArray m_flac;
    QVector<int> m_ids;
    QList<QVariantMap> m_changes;

    PlayEngine& engine() { return m_host->engine; }

    /// Runs playerctl with this thread's event loop going on; gives what it printed.
    static QString ctl(const QStringList& arguments)
    {
        QProcess process;
        process.start(QStringLiteral("playerctl"), QStringList{QStringLiteral("--player=pelk")} + arguments);
        if (!process.waitForStarted(patienceMs))
            return QStringLiteral("playerctl is not installed; scripts/setup test installs it");
        if (!QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, patienceMs))
            return QStringLiteral("playerctl gave no answer");
        return QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError()).trimmed();
    }
    static QString ctl(const char* arguments)
    {
        return ctl(QString::fromLatin1(arguments).split(QLatin1Char(' ')));
    }

    void play()
    {
        QSignalSpy started(&engine(), &PlayEngine::trackStarted);
        QCOMPARE(ctl("play"), QString());
        if (started.isEmpty())
            QVERIFY(started.wait(patienceMs));
    }

private Q_SLOTS:
    void onChange(const QString& interface, const QVariantMap& changed, const QStringList& /*gone*/)
    {
        if (interface == QLatin1String("org.mpris.MediaPlayer2.Player"))
            m_changes.append(changed);
    }

    void initTestCase()
    {
        gst_init(nullptr, nullptr);
        m_flac = EngineHost::flac(3, 20);
        QVERIFY(QDBusConnection::sessionBus().connect(QString(), QStringLiteral("/org/mpris/MediaPlayer2"),
                                                      QStringLiteral("org.freedesktop.DBus.Properties"),
                                                      QStringLiteral("PropertiesChanged"), this,
                                                      SLOT(onChange(QString, QVariantMap, QStringList))));
    }

    void init()
    {
        m_host = std::make_unique<EngineHost>();
        QVector<PelkRoles> rows;
        for (const char* id : {"a", "b", "c"}) {
            m_host->addFlac(QString::fromLatin1(id), m_flac);
            PelkRoles row = ScriptedPlayWorker::row(QString::fromLatin1(id));
            PelkMediaData mediaData = row.mediaData();
            PelkMetaData metaData = mediaData.metaData();
            metaData.setArtist(QStringLiteral("Ärtist of %1").arg(QLatin1String(id)));
            metaData.setAlbum(QStringLiteral("Album"));
            metaData.setOriginalTrackNumber(7);
            mediaData.setMetaData(metaData);
            row.setMediaData(mediaData);
            row.setIcon(QStringLiteral("http://127.0.0.1/cover/%1.jpg").arg(QLatin1String(id)));
            rows.append(row);
        }
        m_mpris = std::make_unique<MprisService>(&engine());
        QVERIFY(m_mpris->start());
        QCOMPARE(m_mpris->name(), QStringLiteral("org.mpris.MediaPlayer2.pelk"));
        m_ids = engine().queue().add(rows, PlayQueue::Where::Replace);
        m_changes.clear();
    }

    void cleanup()
    {
        m_mpris.reset();
        m_host.reset();
    }

    void itPlaysPausesAndStops()
    {
        QCOMPARE(ctl("status"), QStringLiteral("Stopped"));
        play();
        QCOMPARE(ctl("status"), QStringLiteral("Playing"));
        QCOMPARE(ctl("pause"), QString());
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        QCOMPARE(ctl("status"), QStringLiteral("Paused"));
        QCOMPARE(ctl("play-pause"), QString());
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Playing);
        QCOMPARE(ctl("play-pause"), QString());
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        QCOMPARE(ctl("stop"), QString());
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Stopped);
        QCOMPARE(m_host->worker.states.last(), QStringLiteral("a stopped userStop"));
    }

    void itSkipsForwardsAndBackwards()
    {
        play();
        QCOMPARE(ctl("next"), QString());
        QTRY_COMPARE(engine().status().entry, m_ids.at(1));
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Playing);
        QVERIFY(m_host->worker.states.contains(QStringLiteral("a stopped userSkip")));
        QCOMPARE(ctl("previous"), QString());
        QTRY_COMPARE(engine().status().entry, m_ids.at(0));
    }

    void nextWhilePausedStaysPaused()
    {
        play();
        QCOMPARE(ctl("pause"), QString());
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        QCOMPARE(ctl("next"), QString());
        QTRY_COMPARE(engine().status().entry, m_ids.at(1));
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        QVERIFY(!m_host->worker.states.contains(QStringLiteral("b playing")));
    }

    void itSeeks()
    {
        play();
        QCOMPARE(ctl("pause"), QString());
        QTRY_COMPARE(engine().status().state, PelkPlayLogicState::Paused);
        QSignalSpy seeked(&engine(), &PlayEngine::seeked);
        QCOMPARE(ctl("position 12.5"), QString());
        QTRY_COMPARE(seeked.size(), 1);
        QVERIFY(qAbs(engine().status().positionMs - 12500) <= 50);
        QCOMPARE(ctl("position 5-"), QString());
        QTRY_COMPARE(seeked.size(), 2);
        QVERIFY(qAbs(engine().status().positionMs - 7500) <= 50);
        QVERIFY(qAbs(ctl("position").toDouble() - 7.5) <= 0.05);
    }

    void itShowsTheTrackAndItsCoverButNotItsAddress()
    {
        play();
        QCOMPARE(ctl("metadata xesam:title"), QStringLiteral("Track a"));
        QCOMPARE(ctl("metadata xesam:artist"), QStringLiteral("Ärtist of a"));
        QCOMPARE(ctl("metadata xesam:album"), QStringLiteral("Album"));
        QCOMPARE(ctl("metadata xesam:trackNumber"), QStringLiteral("7"));
        QCOMPARE(ctl("metadata mpris:artUrl"), QStringLiteral("http://127.0.0.1/cover/a.jpg"));
        QCOMPARE(ctl("metadata mpris:length"), QStringLiteral("20000000"));
        const QString all = ctl("metadata");
        QVERIFY2(!all.contains(QStringLiteral("file:")) && !all.contains(QStringLiteral("xesam:url")),
                 qPrintable(all));
    }

    void volumeLoopAndShuffleAreReadAndSet()
    {
        QCOMPARE(ctl("volume"), QStringLiteral("1.000000"));
        QCOMPARE(ctl("volume 0.4"), QString());
        QTRY_COMPARE(engine().status().volumePercent, 40);
        QCOMPARE(ctl("loop"), QStringLiteral("None"));
        QCOMPARE(ctl("loop Track"), QString());
        QTRY_COMPARE(engine().status().repeat, RepeatMode::One);
        QCOMPARE(ctl("loop Playlist"), QString());
        QTRY_COMPARE(engine().status().repeat, RepeatMode::All);
        QCOMPARE(ctl("shuffle"), QStringLiteral("Off"));
        QCOMPARE(ctl("shuffle On"), QString());
        QTRY_VERIFY(engine().status().shuffled);
    }

    void eachChangeIsReportedOnce()
    {
        engine().setVolume(30);
        engine().setVolume(30);
        engine().setShuffled(true);
        QTRY_VERIFY(!m_changes.isEmpty() && m_changes.last().value(QStringLiteral("Shuffle")).toBool() &&
                    m_changes.size() >= 2);
        QCOMPARE(m_changes.last().keys(), QStringList{QStringLiteral("Shuffle")});
        int volumes = 0;
        for (const QVariantMap& change : qAsConst(m_changes))
            volumes += change.contains(QStringLiteral("Volume")) ? 1 : 0;
        QCOMPARE(volumes, 1);
        play();
        QTRY_COMPARE(m_changes.last().value(QStringLiteral("CanSeek")).toBool(), true);
    }

    void aSecondPlayerHasANameOfItsOwn()
    {
        // The bus knows a process by its connection, so another player is another process.
        QDBusConnection another =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("another"));
        m_mpris.reset();
        QVERIFY(another.registerService(QStringLiteral("org.mpris.MediaPlayer2.pelk")));
        MprisService second(&engine());
        QVERIFY(second.start());
        QCOMPARE(
            second.name(),
            QStringLiteral("org.mpris.MediaPlayer2.pelk.instance%1").arg(QCoreApplication::applicationPid()));
        QVERIFY(another.unregisterService(QStringLiteral("org.mpris.MediaPlayer2.pelk")));
    }

    void withoutABusNothingIsWrong()
    {
        const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        const QByteArray folder = qgetenv("XDG_RUNTIME_DIR");
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("XDG_RUNTIME_DIR", "/nowhere");
        MprisService service(&engine());
        QVERIFY(!service.start());
        QCOMPARE(service.name(), QString());
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        qputenv("XDG_RUNTIME_DIR", folder);
    }
};

/// Starts itself again, with its own session bus.
int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("PELK_TEST_BUS")) {
        qputenv("PELK_TEST_BUS", "1");
        std::vector<char*> command{const_cast<char*>("dbus-run-session"), const_cast<char*>("--")};
        QByteArray emulator = qgetenv("PELK_TEST_EMULATOR"); // see tests/support/builtprogram.h
        if (!emulator.isEmpty())
            command.push_back(emulator.data());
        command.insert(command.end(), argv, argv + argc);
        command.push_back(nullptr);
        execvp(command.front(), command.data());
        qFatal("dbus-run-session is not installed; scripts/setup test installs it");
    }
    QCoreApplication application(argc, argv);
    MprisTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "mpris_test.moc"

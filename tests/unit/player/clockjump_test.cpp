#include "api/core/json/pelkjson.h"
#include "api/core/model/cmrootworker.h"
#include "player/content/History.h"
#include "player/memory/PlayerMemory.h"
#include "player/play/PlayEngine.h"
#include "tests/support/scriptedplayworker.h"
#include "tests/support/scriptedstream.h"

#include <QTemporaryDir>
#include <QtTest>
#include <sys/syscall.h>
#include <sys/time.h>

#include <atomic>
#include <ctime>
#include <unistd.h>

namespace {

constexpr int daySeconds = 24 * 3600;

/// By how much the time of day is off.
std::atomic<time_t> offSeconds{0};

} // namespace

// Qt and the C++ library take these, not the C library's, since the program comes first when symbols are
// looked up. Clocks that only go forwards go on as they do.
extern "C" Q_DECL_EXPORT int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const long result = ::syscall(SYS_clock_gettime, clock, time);
    if (clock == CLOCK_REALTIME)
        time->tv_sec += offSeconds;
    return int(result);
}
extern "C" Q_DECL_EXPORT int gettimeofday(timeval* time, void* /*zone*/) noexcept
{
    timespec now{};
    const int result = ::clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return result;
}
extern "C" Q_DECL_EXPORT time_t time(time_t* seconds) noexcept
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    if (seconds)
        *seconds = now.tv_sec;
    return now.tv_sec;
}

/// The time of day jumps by a day, as when a machine without a clock of its own finds the network: what the
/// player does after some time, it does after that time.
class ClockJumpTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<ScriptedPlayWorker> m_worker;
    std::unique_ptr<ScriptedClock> m_streamClock;
    std::unique_ptr<PlayEngine> m_engine;
    ScriptedStream* m_stream = nullptr;

    static void addJumps()
    {
        QTest::addColumn<int>("seconds");
        QTest::newRow("forwards") << daySeconds;
        QTest::newRow("back") << -daySeconds;
    }
    /// By so much as the row says.
    static void jump()
    {
        QFETCH(int, seconds);
        const QDateTime before = QDateTime::currentDateTimeUtc();
        offSeconds += seconds;
        const qint64 passed = before.secsTo(QDateTime::currentDateTimeUtc());
        QVERIFY(seconds > 0 ? passed >= seconds : passed < 0);
    }

    void makeEngine()
    {
        auto stream = std::make_unique<ScriptedStream>(m_streamClock.get());
        m_stream = stream.get();
        m_engine =
            std::make_unique<PlayEngine>(std::move(stream), std::make_unique<PlayClock>(), PlayProfile());
    }
    void play()
    {
        m_worker->uris.insert(QStringLiteral("a"), QStringLiteral("http://a"));
        const QVector<PelkRoles> rows(3, ScriptedPlayWorker::row(QStringLiteral("a")));
        m_engine->jump(m_engine->queue().add(rows, PlayQueue::Where::Replace).first());
        QVERIFY(m_stream->settle());
    }
    qint64 savedPosition() const
    {
        QFile file(m_folder->filePath(QStringLiteral("player.json")));
        PelkError error;
        if (!file.open(QIODevice::ReadOnly))
            return -1;
        return PelkHash::fromVariant(PelkJson::parse(file.readAll(), error))
            .record(QStringLiteral("data"))
            .value(QStringLiteral("positionMs"))
            .toLongLong();
    }

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_root = std::make_unique<CMRootWorker>();
        m_worker = std::make_unique<ScriptedPlayWorker>();
        m_root->addWorker(m_worker.get());
        m_streamClock = std::make_unique<ScriptedClock>();
        makeEngine();
    }
    void cleanup()
    {
        m_engine.reset();
        m_worker.reset();
        m_root.reset();
        offSeconds = 0;
    }

    void aSleepTimerCountsTheMinutesThatPass_data() { addJumps(); }
    void aSleepTimerCountsTheMinutesThatPass()
    {
        constexpr int minutes = 600;
        play();
        QVERIFY(m_engine->sleepAfterMinutes(minutes));
        jump();
        m_engine->wake();
        QVERIFY(m_stream->isHeard());
        QCOMPARE(m_engine->status().state, PelkPlayLogicState::Playing);
        const qint64 leftMs = m_engine->status().sleepLeftMs;
        QVERIFY2(leftMs > 0 && leftMs <= minutes * 60000LL, qPrintable(QString::number(leftMs)));
    }

    void theStateIsSavedAsBeforeAndComesBack_data() { addJumps(); }
    void theStateIsSavedAsBeforeAndComesBack()
    {
        {
            PlayerMemory memory(m_engine.get(), m_folder->path());
            QCOMPARE(memory.begin(), QStringList());
            play();
            m_engine->seek(41000);
            QTRY_COMPARE(savedPosition(), 41000);
            jump();
            m_engine->seek(42000);
            QTRY_COMPARE(savedPosition(), 42000);
        }
        jump();
        makeEngine();
        PlayerMemory memory(m_engine.get(), m_folder->path());
        QCOMPARE(memory.begin(), QStringList());
        QCOMPARE(m_engine->status().positionMs, 42000);
        QCOMPARE(m_engine->queue().entries().size(), 3);
    }

    void theHistoryKeepsTheOrderInWhichWasPlayed_data() { addJumps(); }
    void theHistoryKeepsTheOrderInWhichWasPlayed()
    {
        const QStringList latestFirst{QStringLiteral("3"), QStringLiteral("1"), QStringLiteral("2")};
        const auto ids = [](const History& history) {
            QStringList found;
            for (const History::Item& item : history.items())
                found << item.row.path().param(QStringLiteral("id"));
            return found;
        };
        const QString name = m_folder->filePath(QStringLiteral("history.json"));
        {
            History history(name);
            QCOMPARE(history.load(), QString());
            history.add(ScriptedPlayWorker::row(QStringLiteral("1")));
            history.add(ScriptedPlayWorker::row(QStringLiteral("2")));
            jump();
            history.add(ScriptedPlayWorker::row(QStringLiteral("1")));
            history.add(ScriptedPlayWorker::row(QStringLiteral("3")));
            QCOMPARE(ids(history), latestFirst);
        }
        jump();
        History history(name);
        QCOMPARE(history.load(), QString());
        QCOMPARE(ids(history), latestFirst);
    }
};

QTEST_GUILESS_MAIN(ClockJumpTest)
#include "clockjump_test.moc"

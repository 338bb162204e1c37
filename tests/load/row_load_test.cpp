// Many host threads and a great many requests, against the real module and a real server: every request is
// answered once and rightly, and the process does not grow.

#include "api/http/httpclient.h"
#include "tests/load/hostthread.h"
#include "tests/load/loadserver.h"
#include "tests/load/resourceuse.h"
#include "tests/support/figures.h"
#include "tests/support/heap.h" // for PELK_SANITIZER_ALLOCATOR
#include "tests/support/modulehost.h"
#include "tests/support/ownprocess.h"

#include <QElapsedTimer>
#include <QTextStream>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <vector>

namespace {

constexpr int threadCount = 8;
constexpr int rounds = 10;
// The maximum number of connections that the HTTP client keeps, however many requests were pending at once
// (reports to the service are not counted by their causes), and libcurl's own socket pair.
constexpr int keptSockets = 64 + 2;

#ifdef __SANITIZE_THREAD__
constexpr bool memoryIsBounded = false;
constexpr int shortCount = 2000; // for races, which take one meeting and not many
constexpr int shortestWarmUp = 500;
#elif defined(PELK_SANITIZER_ALLOCATOR)
constexpr bool memoryIsBounded = false;
constexpr int shortCount = 10000; // all takes several times the time
constexpr int shortestWarmUp = 2000;
#else
constexpr bool memoryIsBounded = true;
constexpr int shortCount = 50000;
constexpr int shortestWarmUp = 20000;
#endif
constexpr int longCount = 1000000;

/// The player's log as it is without an option: records from "warn" up are made, and go nowhere here.
void logAsThePlayerDoes()
{
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    root.setLogLevel(log4cplus::WARN_LOG_LEVEL);
}

} // namespace

class RowLoadTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<LoadServer> m_server;
    std::vector<std::unique_ptr<HostThread>> m_threads;
    std::unique_ptr<ModuleHost> m_host;

    /// Starts everything for the numbers below `end`.
    void startWith(int end)
    {
        m_server = std::make_unique<LoadServer>();
        m_host = std::make_unique<ModuleHost>(m_server->url());
        m_host->setSession();
        m_host->start();
        for (int i = 0; i < threadCount; ++i)
            m_threads.push_back(std::make_unique<HostThread>(
                m_host->root(), i % 2 == 0 ? HostThread::Directly : HostThread::ByItsOwnLoop, i, threadCount,
                end));
    }

    /// Lets all threads send up to this number and waits until they are idle and nothing is pending.
    void sendUpTo(int number)
    {
        for (const auto& thread : m_threads)
            thread->sendUpTo(number);
        QTimer tick; // the root's events are dealt with here meanwhile
        tick.start(20);
        while (!std::all_of(m_threads.begin(), m_threads.end(), [](const auto& t) { return t->isIdle(); }))
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        // Reports to the service have no answer that anybody waits for.
        QVERIFY(HttpClient::waitForIdle(patienceMs));
        m_host->settle();
        QStringList faults;
        for (const auto& thread : m_threads)
            faults += thread->faults();
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(QLatin1Char('\n'))));
    }

    template <typename Count>
    int sum(Count count) const
    {
        return std::accumulate(m_threads.begin(), m_threads.end(), 0, [count](int all, const auto& thread) {
            return all + (thread.get()->*count)();
        });
    }

private Q_SLOTS:
    void initTestCase() { logAsThePlayerDoes(); }
    void cleanup()
    {
        m_host.reset(); // before the threads, to which its answers go
        m_threads.clear();
        m_server.reset();
    }

    void everyRequestIsAnsweredOnceAndNothingGrows()
    {
        const int count = qEnvironmentVariableIsSet("PELK_TEST_LONG") ? longCount : shortCount;
        const int warmUp = std::max(count / rounds, shortestWarmUp);
        startWith(warmUp + count);
        sendUpTo(warmUp);
        if (QTest::currentTestFailed())
            return;
        const ResourceUse before = ResourceUse::now();
        ResourceUse most = before;
        ResourceUse use;
        QElapsedTimer clock;
        clock.start();
        for (int round = 1; round <= rounds; ++round) {
            sendUpTo(warmUp + int(qint64(count) * round / rounds));
            if (QTest::currentTestFailed())
                return;
            use = ResourceUse::now();
            most.sockets = std::max(most.sockets, use.sockets);
            most.otherDescriptors = std::max(most.otherDescriptors, use.otherDescriptors);
            most.threads = std::max(most.threads, use.threads);
            most.ownKb = std::max(most.ownKb, use.ownKb);
        }
        const qint64 elapsedMs = clock.elapsed();
        m_host->settle();
        sendUpTo(warmUp + count); // nothing more; but an answer that came twice is seen now
        const auto served = m_server->stop();

        const int rows = sum(&HostThread::rowsSent) - warmUp;
        QString line;
        QTextStream(&line) << rows << " requests for rows after a warm-up of " << warmUp << ", and "
                           << sum(&HostThread::othersSent)
                           << " others; answered: " << sum(&HostThread::answeredOnce)
                           << ", each once; left open on purpose: " << sum(&HostThread::openOnPurpose)
                           << "; asked of the server: " << served.first << ", over " << served.second
                           << " connections; own memory: " << before.ownKb << " KiB after the warm-up, "
                           << use.ownKb << " KiB at the end, " << most.ownKb << " KiB at most"
                           << (memoryIsBounded ? "" : " (not judged: a sanitizer keeps what is freed)")
                           << "; resident: " << before.residentKb << " KiB, " << use.residentKb
                           << " KiB; descriptors: " << before.otherDescriptors << " + " << before.sockets
                           << " sockets, " << use.otherDescriptors << " + " << use.sockets
                           << "; threads: " << before.threads << ", " << use.threads
                           << "; requests/s: " << qint64(count) * 1000 / std::max<qint64>(elapsedMs, 1);
        printFigures("%s", qPrintable(line));
        QCOMPARE(rows, count);
        QCOMPARE(sum(&HostThread::answeredOnce) + sum(&HostThread::openOnPurpose),
                 sum(&HostThread::rowsSent) + sum(&HostThread::othersSent));
        QCOMPARE(most.otherDescriptors, before.otherDescriptors);
        QVERIFY2(most.sockets <= keptSockets, qPrintable(QString::number(most.sockets)));
        QCOMPARE(most.threads, before.threads);
        if (memoryIsBounded)
            QVERIFY2(most.ownKb - before.ownKb <= std::max<qint64>(1024, before.ownKb / 100),
                     "the memory that is the process's own grew");
    }
};

int main(int argc, char** argv)
{
    qputenv("QTEST_FUNCTION_TIMEOUT", "7200000"); // Qt's own watchdog ends a test function after five minutes
    return OwnProcess::main<RowLoadTest>(argc, argv,
                                         [](const QString& /*serve*/) { return LoadServer::serve(); });
}

#include "row_load_test.moc"

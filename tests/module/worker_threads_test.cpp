// Many host threads at once, and many requests: each is answered exactly once, and nothing is left behind.

#include "api/play/pelkplaylogicdata.h"
#include "tests/support/heap.h"
#include "tests/support/modulehost.h"
#include "tests/support/rows.h"
#include "tests/support/testhttpserver.h"

#include <QtTest>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int threadCount = 4;
constexpr int requestsPerThread = 2500;

/// Counts the answers of one thread's requests.
struct Tally
{
    std::vector<std::atomic<int>> answers = std::vector<std::atomic<int>>(requestsPerThread);
    std::atomic<int> wrong{0};
};

QVariant stateOf(const QString& track)
{
    PelkRoles row;
    row.setPath(CMPath(track));
    PelkPlayLogicData data;
    data.setTrackRoles(row);
    data.setState(PelkPlayLogicState::Opening);
    return data.variant();
}

/// Sends every kind of request that is answered without the service, in turn.
void send(CMAbstractWorker& worker, int number, const std::function<void(bool right)>& answered)
{
    switch (number % 6) {
    case 0:
    case 1: {
        const bool root = number % 6 == 0;
        const CMGetRowsRequest request(CMPath(root ? "qobuz:"_s : "qobuz:search/?query=%1"_s.arg(number)), 0,
                                       99, {PelkRoles::Title(), PelkRoles::Path()}, number);
        request.reply().addWatcher(
            [answered, root, number](const CMVoidReply& reply) {
                const PelkRowsRoles rows = CMReply<PelkRowsRoles>::from(reply).value();
                answered(!reply.error().isSet() && rows.rowsCount() == (root ? 5 : 4) &&
                         rows.rowsVersion() == number);
            },
            Qt::DirectConnection);
        worker.getRowsRequest(request);
        break;
    }
    case 2: {
        const CMGetRowsRequest request(CMPath("qobuz:"_s), -1, 5, {PelkRoles::Title()});
        request.reply().addWatcher([answered](const CMVoidReply& reply) { answered(reply.error().isSet()); },
                                   Qt::DirectConnection);
        worker.getRowsRequest(request);
        break;
    }
    default: {
        const bool acknowledged = number % 6 == 3;
        const bool refused = number % 6 == 4; // a pre-play without an id; else a node without a value
        const QString path = acknowledged ? "qobuz:stateChange?id=1"_s
                             : refused    ? "qobuz:preplay"_s
                                          : "qobuz:featured/"_s;
        const CMSetDataRequest request(CMPath(path), PelkRoles::PrePlay(),
                                       stateOf(number % 4 < 2 ? "qobuz:track?id=1"_s : "other:track"_s));
        request.reply().addWatcher(
            [answered, acknowledged](const CMVoidReply& reply) {
                answered(reply.error().isSet() != acknowledged);
            },
            Qt::DirectConnection);
        worker.setDataRequest(request);
        break;
    }
    }
}

} // namespace

class WorkerThreadsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<ModuleHost> m_host;
    ModuleHost& host() { return *m_host; }

    void startWith(bool user)
    {
        m_host = std::make_unique<ModuleHost>("http://127.0.0.1:9/"_s);
        if (user)
            host().setSession();
        host().start();
    }

    /// Asks for the root's rows so many times and waits for the last answer.
    void askForRows(int times, const QString& path)
    {
        CMReply<PelkRowsRoles> last;
        for (int i = 0; i < times; ++i) {
            const CMGetRowsRequest request(CMPath(path), 0, 99, {PelkRoles::Title(), PelkRoles::Path()});
            host().root().getRowsRequest(request);
            last = request.reply();
        }
        QVERIFY(ModuleHost::wait(last));
        host().settle();
    }

private Q_SLOTS:
    void cleanup() { m_host.reset(); }

    void everyRequestOfFourThreadsIsAnsweredOnce()
    {
        startWith(true);
        std::vector<Tally> tallies(threadCount);
        std::vector<std::thread> threads;
        threads.reserve(threadCount);
        for (int t = 0; t < threadCount; ++t)
            threads.emplace_back([this, &tally = tallies[std::size_t(t)]] {
                for (int i = 0; i < requestsPerThread; ++i)
                    send(host().root(), i, [&tally, i](bool right) {
                        ++tally.answers[std::size_t(i)];
                        if (!right)
                            ++tally.wrong;
                    });
            });
        for (std::thread& thread : threads)
            thread.join();
        host().settle(); // the queue keeps its order: all that was sent has been dealt with
        for (const Tally& tally : tallies) {
            QCOMPARE(int(tally.wrong), 0);
            for (const std::atomic<int>& count : tally.answers)
                QCOMPARE(int(count), 1);
        }
    }

    void answersComeInTheOrderOfOneThreadsRequests()
    {
        startWith(true);
        std::vector<int> order;
        for (int i = 0; i < 600; ++i)
            send(host().root(), i, [&order, i](bool) { order.push_back(i); });
        host().settle();
        QCOMPARE(int(order.size()), 600);
        QVERIFY(std::is_sorted(order.begin(), order.end()));
    }

    void answersAreMadeOnTheWorkersThread()
    {
        startWith(true);
        QThread* made = nullptr;
        send(host().root(), 0, [&made](bool) { made = QThread::currentThread(); });
        host().settle();
        QCOMPARE(made, host().workerThread());
    }

    void requestsLeaveNoMemoryBehind_data()
    {
        Rows<bool, QString> row;
        row("rows of the root", true, "qobuz:");
        row("rows with parameters", true, "qobuz:search/?query=text");
        row("rows that are refused", false, "qobuz:");
        row("a path without a node", true, "qobuz:nothing");
    }
    void requestsLeaveNoMemoryBehind()
    {
        const auto [user, path] = fetched<bool, QString>();
        startWith(user);
        askForRows(1000, path);
        const std::size_t before = heapInUse();
        constexpr int times = 10000;
        for (int i = 0; i < times / 100; ++i)
            askForRows(100, path);
        const qint64 more = qint64(heapInUse()) - qint64(before);
        // One block kept per request would be at least 16 bytes each.
        QVERIFY2(more < times * 4, qPrintable("%1 bytes more"_s.arg(more)));
    }
};

QTEST_GUILESS_MAIN(WorkerThreadsTest)
#include "worker_threads_test.moc"

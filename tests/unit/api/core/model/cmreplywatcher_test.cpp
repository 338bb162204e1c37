#include "api/core/model/cmrequest.h"

#include <QSemaphore>
#include <QThread>
#include <QtTest>

#include <thread>

namespace {

/// A thread with an event loop, ended and joined by the destructor.
class LoopThread : public QThread
{
public:
    LoopThread() { start(); }
    ~LoopThread() override
    {
        quit();
        wait();
    }
    /// Runs `work` on the thread and waits for it.
    void run_(const std::function<void()>& work)
    {
        QObject target;
        target.moveToThread(this);
        QMetaObject::invokeMethod(&target, work, Qt::BlockingQueuedConnection);
        QObject* const object = &target;
        QThread* const home = QThread::currentThread();
        QMetaObject::invokeMethod(
            object, [object, home] { object->moveToThread(home); }, Qt::BlockingQueuedConnection);
    }
};

} // namespace

class CMReplyWatcherTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void watchersAreCalledInTheOrderInWhichTheyWereAdded()
    {
        const auto reply = CMReply<int>::create();
        QList<int> order;
        for (int i = 0; i < 5; ++i)
            reply.addWatcher([&order, i](const CMVoidReply&) { order << i; },
                             i % 2 ? Qt::AutoConnection : Qt::DirectConnection);
        reply.setValue(1);
        QCOMPARE(order, (QList<int>{0, 1, 2, 3, 4}));
    }

    void aWatcherReceivesTheReply()
    {
        const auto reply = CMReply<int>::create();
        int value = 0;
        reply.addWatcher([&](const CMVoidReply& finished) {
            QCOMPARE(finished.d(), reply.d());
            value = CMReply<int>::from(finished).value();
        });
        reply.setValue(7);
        QCOMPARE(value, 7);
    }

    void anErrorCallsTheWatchersToo()
    {
        const auto reply = CMReply<int>::create();
        QString message;
        reply.addWatcher(
            [&](const CMVoidReply& finished) { message = finished.error().message().toString(); });
        reply.setError(CMError(TrString(QStringLiteral("gone"))));
        QCOMPARE(message, QStringLiteral("gone"));
    }

    void aWatcherAddedToAFinishedReplyRunsAtOnce_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("automatic") << int(Qt::AutoConnection);
        QTest::newRow("direct") << int(Qt::DirectConnection);
        QTest::newRow("queued") << int(Qt::QueuedConnection);
    }

    void aWatcherAddedToAFinishedReplyRunsAtOnce()
    {
        QFETCH(int, type);
        const auto reply = CMReply<int>::create();
        std::thread([&] { reply.setValue(1); }).join();
        QThread* thread = nullptr;
        reply.addWatcher([&](const CMVoidReply&) { thread = QThread::currentThread(); },
                         Qt::ConnectionType(type));
        QCOMPARE(thread, QThread::currentThread());
    }

    void aWatcherMayReadTheReplyAndAddWatchers()
    {
        const auto reply = CMReply<int>::create();
        QStringList calls;
        reply.addWatcher([&](const CMVoidReply& finished) {
            calls << QStringLiteral("first");
            QVERIFY(finished.isFinished());
            QVERIFY(finished.waitForFinished(0));
            QVERIFY(!finished.error().isSet());
            QCOMPARE(finished.d()->value().toInt(), 3);
            finished.addWatcher([&](const CMVoidReply&) { calls << QStringLiteral("added"); });
        });
        reply.addWatcher([&](const CMVoidReply&) { calls << QStringLiteral("second"); });
        reply.setValue(3);
        QCOMPARE(calls,
                 (QStringList{QStringLiteral("first"), QStringLiteral("added"), QStringLiteral("second")}));
    }

    void waitingThreadsAreWokenBeforeTheWatchers()
    {
        const auto reply = CMReply<int>::create();
        QSemaphore started;
        QSemaphore woken;
        bool inTime = false;
        reply.addWatcher([&](const CMVoidReply&) { inTime = woken.tryAcquire(1, 10000); });
        std::thread waiter([&] {
            started.release();
            if (reply.waitForFinished(20000))
                woken.release();
        });
        started.acquire();
        reply.setValue(1);
        waiter.join();
        QVERIFY(inTime);
    }

    void anotherThreadsCompletionIsQueuedToTheAddingThread()
    {
        const auto reply = CMReply<int>::create();
        QThread* thread = nullptr;
        reply.addWatcher([&](const CMVoidReply&) { thread = QThread::currentThread(); });
        std::thread([&] { reply.setValue(1); }).join();
        QCOMPARE(thread, nullptr);
        QTRY_COMPARE(thread, QThread::currentThread());
    }

    void queuedWatchersKeepTheirOrder()
    {
        const auto reply = CMReply<int>::create();
        QList<int> order;
        for (int i = 0; i < 5; ++i)
            reply.addWatcher([&order, i](const CMVoidReply&) { order << i; });
        std::thread([&] { reply.setValue(1); }).join();
        QTRY_COMPARE(order, (QList<int>{0, 1, 2, 3, 4}));
    }

    void aWatcherOfALoopThreadRunsThere()
    {
        LoopThread loop;
        const auto reply = CMReply<int>::create();
        QSemaphore called;
        std::atomic<QThread*> thread{nullptr};
        loop.run_([&] {
            reply.addWatcher([&](const CMVoidReply&) {
                thread = QThread::currentThread();
                called.release();
            });
        });
        reply.setValue(1);
        QVERIFY(called.tryAcquire(1, 10000));
        QCOMPARE(thread.load(), &loop);
    }

    void aDirectWatcherRunsOnTheCompletingThread()
    {
        LoopThread loop;
        const auto reply = CMReply<int>::create();
        QThread* thread = nullptr;
        reply.addWatcher([&](const CMVoidReply&) { thread = QThread::currentThread(); },
                         Qt::DirectConnection);
        loop.run_([&] { reply.setValue(1); });
        QCOMPARE(thread, &loop);
    }

    void aQueuedWatcherGoesThroughTheQueueEvenOnItsOwnThread()
    {
        const auto reply = CMReply<int>::create();
        int calls = 0;
        reply.addWatcher([&](const CMVoidReply&) { ++calls; }, Qt::QueuedConnection);
        reply.setValue(1);
        QCOMPARE(calls, 0);
        QCoreApplication::processEvents();
        QCOMPARE(calls, 1);
    }

    void withoutAnEventDispatcherAWatcherRunsDirectly()
    {
        const auto reply = CMReply<int>::create();
        QThread* thread = nullptr;
        std::thread([&] {
            reply.addWatcher([&](const CMVoidReply&) { thread = QThread::currentThread(); });
        }).join();
        reply.setValue(1);
        QCOMPARE(thread, QThread::currentThread());
    }

    void aWatcherOfAnEndedThreadIsDropped()
    {
        const auto reply = CMReply<int>::create();
        const auto held = std::make_shared<int>(0);
        std::atomic<int> calls{0};
        {
            LoopThread loop;
            loop.run_([&] { reply.addWatcher([&calls, held](const CMVoidReply&) { ++calls; }); });
        }
        reply.setValue(1);
        QCoreApplication::processEvents();
        QCOMPARE(calls.load(), 0);
        QVERIFY(reply.isFinished());
    }

    void callsQueuedToAnEndingThreadAreDroppedWithTheirReplies()
    {
        const auto held = std::make_shared<int>(0);
        std::atomic<int> calls{0};
        {
            const auto reply = CMReply<int>::create();
            QSemaphore added;
            QSemaphore end;
            // It has a queue and never looks into it.
            const std::unique_ptr<QThread> thread(QThread::create([&] {
                reply.addWatcher([&calls, held](const CMVoidReply&) { ++calls; });
                added.release();
                end.acquire();
            }));
            thread->start();
            added.acquire();
            reply.setValue(1);
            end.release();
            QVERIFY(thread->wait());
        }
        // The thread frees what it had a moment after it counts as finished.
        QTRY_COMPARE(held.use_count(), 1L);
        QCOMPARE(calls.load(), 0);
    }

    void watchersAddedWhileAnotherThreadCompletesAreEachCalledOnce()
    {
        for (int round = 0; round < 200; ++round) {
            const auto reply = CMReply<int>::create();
            std::atomic<int> calls{0};
            std::thread adder([&] {
                for (int i = 0; i < 20; ++i)
                    reply.addWatcher([&](const CMVoidReply&) { ++calls; }, Qt::DirectConnection);
            });
            reply.setValue(1);
            adder.join();
            QCOMPARE(calls.load(), 20);
        }
    }

    void theReplyLivesUntilItsQueuedWatchersHaveRun()
    {
        int value = 0;
        {
            const auto reply = CMReply<int>::create();
            reply.addWatcher(
                [&](const CMVoidReply& finished) { value = CMReply<int>::from(finished).value(); });
            std::thread([&] { reply.setValue(8); }).join();
        }
        QTRY_COMPARE(value, 8);
    }
};

QTEST_GUILESS_MAIN(CMReplyWatcherTest)
#include "cmreplywatcher_test.moc"

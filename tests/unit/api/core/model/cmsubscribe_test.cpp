#include "api/core/model/cmsubscribe.h"
#include "tests/support/patience.h"

#include <QSemaphore>
#include <QThread>
#include <QtTest>

#include <thread>

namespace {

PelkValue value(const char* text)
{
    PelkValue result;
    result.setString_(QString::fromUtf8(text));
    return result;
}

const CMPath here(QStringLiteral("p:here"));
const CMPath there(QStringLiteral("p:there"));

} // namespace

class CMSubscribeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aChangeIsQueuedToItsSubscribers()
    {
        CMSubscribe subscribe;
        QStringList heard;
        subscribe.add(CMSubscribe::Value, here, this, [&](const PelkValue& v) { heard << v.string_(); });
        subscribe.publish(CMSubscribe::Value, here, value("a"));
        subscribe.publish(CMSubscribe::Value, here, value("b"));
        subscribe.publish(CMSubscribe::Value, there, value("another path"));
        subscribe.publish(CMSubscribe::Rows, here);
        QVERIFY(heard.isEmpty());
        QCoreApplication::processEvents();
        QCOMPARE(heard, (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
        subscribe.remove(this);
    }

    void nothingIsReportedAfterASubscriptionEnds_data()
    {
        QTest::addColumn<bool>("deleted");
        QTest::newRow("its context is gone") << true;
        QTest::newRow("it was removed") << false;
    }

    void nothingIsReportedAfterASubscriptionEnds()
    {
        QFETCH(bool, deleted);
        CMSubscribe subscribe;
        int calls = 0;
        auto context = std::make_unique<QObject>();
        subscribe.add(CMSubscribe::Value, here, context.get(), [&](const PelkValue&) { ++calls; });
        subscribe.publish(CMSubscribe::Value, here, value("on its way"));
        if (deleted)
            context.reset();
        else
            subscribe.remove(context.get());
        subscribe.publish(CMSubscribe::Value, here, value("after"));
        QCoreApplication::processEvents();
        QCOMPARE(calls, 0);
    }

    void aSubscriptionEndedByAnotherThreadDropsPendingNotifications()
    {
        CMSubscribe subscribe;
        QThread thread;
        thread.start();
        auto* context = new QObject;
        context->moveToThread(&thread);
        std::atomic<int> calls{0};
        subscribe.add(CMSubscribe::Value, here, context, [&](const PelkValue&) { ++calls; });
        QSemaphore busy;
        QSemaphore goOn;
        QMetaObject::invokeMethod(context, [&] {
            busy.release();
            goOn.acquire();
        });
        busy.acquire();
        subscribe.publish(CMSubscribe::Value, here, value("on its way"));
        subscribe.remove(context);
        goOn.release();
        QMetaObject::invokeMethod(
            context, [] {}, Qt::BlockingQueuedConnection);
        QCOMPARE(calls.load(), 0);
        context->deleteLater();
        thread.quit();
        QVERIFY(thread.wait(patienceMs));
    }

    void aSubscriberMayOutliveWhereItSubscribed()
    {
        QObject context;
        {
            CMSubscribe subscribe;
            subscribe.add(CMSubscribe::Value, here, &context, [](const PelkValue&) {});
        }
    }

    void theFirstAndTheLastSubscriberOfAPathAreReported()
    {
        CMSubscribe subscribe;
        QStringList told;
        const auto text = [](const char* what, CMSubscribe::Kind kind, const CMPath& path) {
            return QStringLiteral("%1 %2 %3").arg(QLatin1String(what)).arg(kind).arg(path.toString());
        };
        connect(&subscribe, &CMSubscribe::subscribed, this,
                [&](CMSubscribe::Kind kind, const CMPath& path) { told << text("first", kind, path); });
        connect(&subscribe, &CMSubscribe::unsubscribed, this,
                [&](CMSubscribe::Kind kind, const CMPath& path) { told << text("last", kind, path); });
        QObject one;
        {
            QObject two;
            subscribe.add(CMSubscribe::Rows, here, &one, [](const PelkValue&) {});
            subscribe.add(CMSubscribe::Rows, here, &two, [](const PelkValue&) {});
            subscribe.add(CMSubscribe::Data, here, &two, [](const PelkValue&) {});
            QCOMPARE(told, (QStringList{QStringLiteral("first 2 p:here"), QStringLiteral("first 1 p:here")}));
            told.clear();
        }
        QCOMPARE(told, QStringList{QStringLiteral("last 1 p:here")});
        subscribe.remove(&one);
        QCOMPARE(told.last(), QStringLiteral("last 2 p:here"));
    }

    void theFirstSubscriberIsReportedAcrossThreads()
    {
        CMSubscribe subscribe;
        QString told;
        connect(&subscribe, &CMSubscribe::subscribed, this,
                [&](CMSubscribe::Kind, const CMPath& path) { told = path.toString(); });
        QObject context;
        std::thread([&] {
            subscribe.add(CMSubscribe::Rows, here, &context, [](const PelkValue&) {});
        }).join();
        QTRY_COMPARE(told, QStringLiteral("p:here"));
    }

    void valuesPublishedBySeveralThreadsArriveInOneOrderForAll()
    {
        CMSubscribe subscribe;
        QStringList first;
        QStringList second;
        subscribe.add(CMSubscribe::Value, here, this, [&](const PelkValue& v) { first << v.string_(); });
        subscribe.add(CMSubscribe::Value, here, this, [&](const PelkValue& v) { second << v.string_(); });
        std::vector<std::thread> threads;
        for (const char* name : {"a", "b", "c"})
            threads.emplace_back([&subscribe, name] {
                for (int i = 0; i < 100; ++i)
                    subscribe.publish(CMSubscribe::Value, here, value(name));
            });
        for (std::thread& thread : threads)
            thread.join();
        QCoreApplication::processEvents();
        QCOMPARE(first.size(), 300);
        QCOMPARE(first, second);
        subscribe.remove(this);
    }

    void subscribersMayBeAddedAndRemovedWhileOthersPublish()
    {
        CMSubscribe subscribe;
        std::atomic<bool> done{false};
        std::thread publisher([&] {
            while (!done)
                subscribe.publish(CMSubscribe::Value, here, value("x"));
        });
        std::vector<std::thread> threads;
        std::atomic<int> wrongThread{0};
        for (int t = 0; t < 3; ++t)
            threads.emplace_back([&] {
                QEventLoop loop;
                for (int i = 0; i < 100; ++i) {
                    QObject context;
                    QThread* const thread = QThread::currentThread();
                    subscribe.add(CMSubscribe::Value, here, &context,
                                  [&wrongThread, thread](const PelkValue&) {
                                      if (QThread::currentThread() != thread)
                                          ++wrongThread;
                                  });
                    loop.processEvents();
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        done = true;
        publisher.join();
        QCOMPARE(wrongThread.load(), 0);
    }
};

QTEST_GUILESS_MAIN(CMSubscribeTest)
#include "cmsubscribe_test.moc"

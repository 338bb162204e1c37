// What a run under ThreadSanitizer detects: each way in which this project passes data between threads, once
// with a race that must be reported and once synchronised, without a report. Each case runs in its own
// process.

#include "api/core/model/cmrequest.h"
#include "tests/support/ownprocess.h"

#include <QMutex>
#include <QReadWriteLock>
#include <QSemaphore>
#include <QThread>
#include <QWaitCondition>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <map>
#include <memory>
#include <thread>

/// An argument of a call, which Qt copies into the event.
struct Parcel
{
    int number = 0;
};
Q_DECLARE_METATYPE(Parcel)

/// Lives on the other thread, where its slots read what the caller wrote.
class Receiver : public QObject
{
    Q_OBJECT

public:
    explicit Receiver(int* field)
        : m_field(field)
    {
    }
    ~Receiver() override { m_seen = *m_field; }

public Q_SLOTS:
    void take(const Parcel& parcel) { m_seen = parcel.number + *m_field; }

private:
    int* m_field;
    int m_seen = 0;
};

class Sender : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void sent(const Parcel& parcel);
};

namespace {

/// A thread with an event loop and a receiver on it.
struct Loop
{
    Loop()
    {
        receiver = new Receiver(&field);
        receiver->moveToThread(&thread);
        thread.start();
    }
    ~Loop()
    {
        QMetaObject::invokeMethod(
            receiver, [this] { delete receiver; }, Qt::BlockingQueuedConnection);
        thread.quit();
        thread.wait();
    }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    int field = 0;
    QThread thread;
    Receiver* receiver = nullptr;
};

/// Keeps the loop busy until it may go on. The flag says when, and orders nothing.
void holdUntil(const std::atomic<bool>& flag, const Loop& loop)
{
    QMetaObject::invokeMethod(
        loop.receiver,
        [&flag] {
            while (!flag.load(std::memory_order_relaxed))
                std::this_thread::yield();
        },
        Qt::QueuedConnection);
}

/// Two threads that do the same, each as often as it takes to be seen once.
template <typename Work>
void onTwoThreads(Work work)
{
    std::thread one(work, true);
    std::thread other(work, false);
    one.join();
    other.join();
}

void counter(bool inOrder)
{
    int count = 0;
    QMutex mutex;
    onTwoThreads([&](bool) {
        if (inOrder)
            mutex.lock();
        ++count;
        if (inOrder)
            mutex.unlock();
    });
}

void lockOnOneSide(bool inOrder)
{
    int count = 0;
    QMutex mutex;
    onTwoThreads([&](bool careful) {
        QMutexLocker locker(careful || inOrder ? &mutex : nullptr);
        ++count;
    });
}

void triedLock(bool inOrder)
{
    int count = 0;
    QMutex mutex;
    onTwoThreads([&](bool) {
        while (!mutex.tryLock(10)) {
        }
        if (!inOrder)
            mutex.unlock();
        ++count;
        if (inOrder)
            mutex.unlock();
    });
}

void lockForReading(bool inOrder)
{
    int count = 0;
    QReadWriteLock lock;
    onTwoThreads([&](bool) {
        inOrder ? lock.lockForWrite() : lock.lockForRead();
        ++count;
        lock.unlock();
    });
}

void condition(bool inOrder)
{
    int field = 0;
    bool ready = false;
    QMutex mutex;
    QWaitCondition changed;
    std::thread waiter([&] {
        {
            const QMutexLocker locker(&mutex);
            while (!ready)
                changed.wait(&mutex);
        }
        ++field;
    });
    if (inOrder)
        ++field;
    {
        const QMutexLocker locker(&mutex);
        ready = true;
        changed.wakeAll();
    }
    if (!inOrder)
        ++field;
    waiter.join();
}

void semaphore(bool inOrder)
{
    int field = 0;
    QSemaphore ready;
    std::thread waiter([&] {
        ready.acquire();
        ++field;
    });
    if (inOrder)
        ++field;
    ready.release();
    if (!inOrder)
        ++field;
    waiter.join();
}

void queuedCall(bool inOrder)
{
    int seen = 0;
    Loop loop;
    if (inOrder)
        loop.field = 1;
    QMetaObject::invokeMethod(
        loop.receiver, [&] { seen = loop.field; }, Qt::QueuedConnection);
    if (!inOrder)
        loop.field = 1;
}

void blockingCall(bool inOrder)
{
    Loop loop;
    QMetaObject::invokeMethod(
        loop.receiver, [&] { ++loop.field; }, inOrder ? Qt::BlockingQueuedConnection : Qt::QueuedConnection);
    ++loop.field;
}

void callByName(bool inOrder)
{
    Loop loop;
    if (inOrder)
        loop.field = 1;
    QMetaObject::invokeMethod(loop.receiver, "take", Qt::QueuedConnection, Q_ARG(Parcel, Parcel{7}));
    if (!inOrder)
        loop.field = 1;
}

/// A later event to any receiver does not order a late write.
void laterCall(bool inOrder)
{
    std::atomic<bool> posted{false};
    int seen = 0;
    Loop loop;
    Loop other;
    holdUntil(posted, loop);
    if (inOrder)
        loop.field = 1;
    QMetaObject::invokeMethod(loop.receiver, "take", Qt::QueuedConnection, Q_ARG(Parcel, Parcel{7}));
    QMetaObject::invokeMethod(
        loop.receiver, [&] { seen = loop.field; }, Qt::QueuedConnection);
    if (!inOrder)
        loop.field = 1;
    for (const Loop* later : {&other, &loop}) {
        QMetaObject::invokeMethod(later->receiver, "take", Qt::QueuedConnection, Q_ARG(Parcel, Parcel{8}));
        QMetaObject::invokeMethod(
            later->receiver, [] {}, Qt::QueuedConnection);
    }
    posted.store(true, std::memory_order_relaxed);
}

void queuedSignal(bool inOrder)
{
    Loop loop;
    Sender sender;
    QObject::connect(&sender, &Sender::sent, loop.receiver, &Receiver::take);
    if (inOrder)
        loop.field = 1;
    Q_EMIT sender.sent(Parcel{7});
    if (!inOrder)
        loop.field = 1;
}

void directSignal(bool inOrder)
{
    int count = 0;
    QMutex mutex;
    Sender sender;
    QObject::connect(
        &sender, &Sender::sent, &sender,
        [&](const Parcel&) {
            const QMutexLocker locker(inOrder ? &mutex : nullptr);
            ++count;
        },
        Qt::DirectConnection);
    onTwoThreads([&](bool) { Q_EMIT sender.sent(Parcel{7}); });
}

void postedEvent(bool inOrder)
{
    class Reader : public QObject
    {
    public:
        explicit Reader(const int* field)
            : m_field(field)
        {
        }
        void customEvent(QEvent* /*event*/) override { m_seen = *m_field; }

    private:
        const int* m_field;
        int m_seen = 0;
    };
    Loop loop;
    auto* const reader = new Reader(&loop.field);
    reader->moveToThread(&loop.thread);
    if (inOrder)
        loop.field = 1;
    QCoreApplication::postEvent(reader, new QEvent(QEvent::User));
    if (!inOrder)
        loop.field = 1;
    reader->deleteLater();
}

void deletion(bool inOrder)
{
    Loop loop;
    auto* const receiver = new Receiver(&loop.field);
    receiver->moveToThread(&loop.thread);
    if (inOrder)
        loop.field = 1;
    receiver->deleteLater();
    if (!inOrder)
        loop.field = 1;
}

void endOfAThread(bool inOrder)
{
    int field = 0;
    const std::unique_ptr<QThread> thread(QThread::create([&] { field = 1; }));
    thread->start();
    if (inOrder)
        thread->wait();
    ++field;
    thread->wait();
}

/// Objects that are deleted with a thread, after its loop, are deleted before a waiting thread continues.
void deletionAtTheEnd(bool inOrder)
{
    class Last : public QObject
    {
    public:
        explicit Last(int* field)
            : m_field(field)
        {
        }
        ~Last() override { ++*m_field; }

    private:
        int* m_field;
    };
    int field = 0;
    QThread thread;
    auto* const last = new Last(&field);
    last->moveToThread(&thread);
    QObject::connect(&thread, &QThread::finished, last, &QObject::deleteLater);
    thread.start();
    thread.quit();
    if (inOrder)
        thread.wait();
    ++field;
    thread.wait();
}

void reply(bool inOrder)
{
    QString outcome;
    const CMReply<QVariant> finished = CMReply<QVariant>::create();
    std::thread worker([&] {
        outcome = QStringLiteral("done");
        finished.setValue(true);
    });
    if (inOrder)
        finished.waitForFinished(20000);
    const QString seen = outcome;
    worker.join();
}

void watcher(bool inOrder)
{
    std::atomic<bool> written{false};
    Loop loop;
    const CMReply<QVariant> finished = CMReply<QVariant>::create();
    QMetaObject::invokeMethod(
        loop.receiver, [&] { finished.addWatcher([&loop](const CMVoidReply&) { ++loop.field; }); },
        Qt::BlockingQueuedConnection);
    holdUntil(written, loop); // else the reply's owners may come in order by chance
    if (inOrder)
        ++loop.field;
    finished.setValue(true);
    if (!inOrder)
        ++loop.field;
    written.store(true, std::memory_order_relaxed);
}

// Assigned inside Qt, where ThreadSanitizer sees nothing by itself.

void string(bool inOrder)
{
    QString shared;
    QMutex mutex;
    onTwoThreads([&](bool writing) {
        const QString other = QString::number(1);
        QString mine;
        const QMutexLocker locker(inOrder ? &mutex : nullptr);
        if (writing)
            shared = other;
        else
            mine = shared;
    });
}

void variant(bool inOrder)
{
    QVariant shared;
    QMutex mutex;
    onTwoThreads([&](bool writing) {
        const QVariant other(1);
        QVariant mine;
        const QMutexLocker locker(inOrder ? &mutex : nullptr);
        if (writing)
            shared = other;
        else
            mine = shared;
    });
}

void record(bool inOrder)
{
    CMError shared;
    QMutex mutex;
    onTwoThreads([&](bool writing) {
        const CMError other(TrString(QStringLiteral("text")));
        const QMutexLocker locker(inOrder ? &mutex : nullptr);
        if (writing)
            shared = other;
        else
            shared.isSet();
    });
}

/// A list that is copied under a lock is read without it; the last owner may then write in place.
void copiedList(bool inOrder)
{
    QList<int> shared = {1, 2, 3};
    QMutex mutex;
    std::atomic<bool> dropped{false};
    std::thread reader([&] {
        {
            QMutexLocker locker(&mutex);
            const QList<int> copy = inOrder ? shared : QList<int>();
            const QList<int>& list = inOrder ? copy : shared;
            locker.unlock();
            if (std::count(list.begin(), list.end(), 4) > 0)
                std::abort(); // the list is of before
        }
        dropped.store(true, std::memory_order_relaxed); // says when, and orders nothing
    });
    while (!dropped.load(std::memory_order_relaxed))
        std::this_thread::yield();
    {
        const QMutexLocker locker(&mutex);
        shared[0] = 4;
        shared.append(5);
    }
    reader.join();
}

const std::map<QString, void (*)(bool)>& cases()
{
    static const std::map<QString, void (*)(bool)> all = {
        {QStringLiteral("a counter"), counter},
        {QStringLiteral("a lock that one side takes"), lockOnOneSide},
        {QStringLiteral("a lock that is tried and given back"), triedLock},
        {QStringLiteral("writing under a lock for reading"), lockForReading},
        {QStringLiteral("beside a condition"), condition},
        {QStringLiteral("beside a semaphore"), semaphore},
        {QStringLiteral("beside a queued call"), queuedCall},
        {QStringLiteral("a call that is not waited for"), blockingCall},
        {QStringLiteral("beside a call by name"), callByName},
        {QStringLiteral("beside a queued call, before a later one"), laterCall},
        {QStringLiteral("beside a queued signal"), queuedSignal},
        {QStringLiteral("a signal of two threads"), directSignal},
        {QStringLiteral("beside a posted event"), postedEvent},
        {QStringLiteral("beside a deletion"), deletion},
        {QStringLiteral("a thread that is not waited for"), endOfAThread},
        {QStringLiteral("a deletion at a thread's end"), deletionAtTheEnd},
        {QStringLiteral("a reply that is not waited for"), reply},
        {QStringLiteral("beside a watcher"), watcher},
        {QStringLiteral("a string"), string},
        {QStringLiteral("a variant"), variant},
        {QStringLiteral("a record"), record},
        {QStringLiteral("a list that is not copied"), copiedList},
    };
    return all;
}

const QString inOrderMark = QStringLiteral(" in order");

/// Plays one case as "name" or "name in order".
int play(const QString& name)
{
    const bool inOrder = name.endsWith(inOrderMark);
    const auto found = cases().find(inOrder ? name.chopped(inOrderMark.size()) : name);
    if (found == cases().end())
        return 1;
    qRegisterMetaType<Parcel>();
    found->second(inOrder);
    qInfo("played");
    return 0;
}

} // namespace

class QtRacesTest : public QObject
{
    Q_OBJECT

    static void names()
    {
        QTest::addColumn<QString>("name");
        for (const auto& entry : cases())
            QTest::newRow(qPrintable(entry.first)) << entry.first;
    }

private Q_SLOTS:
    void aRaceIsReportedAtItsLine_data() { names(); }
    void aRaceIsReportedAtItsLine()
    {
        QFETCH(QString, name);
        const OwnProcess process = OwnProcess::play(name);
        QVERIFY2(process.errors.contains("played"), process.errors.constData());
        QVERIFY2(process.errors.contains("ThreadSanitizer: data race"), process.errors.constData());
        QVERIFY2(process.errors.contains("qtraces_test.cpp"), process.errors.constData());
    }

    void theSameInOrderIsNotReported_data() { names(); }
    void theSameInOrderIsNotReported()
    {
        QFETCH(QString, name);
        const OwnProcess process = OwnProcess::play(name + inOrderMark);
        QVERIFY2(process.errors.contains("played"), process.errors.constData());
        QVERIFY2(!process.errors.contains("ThreadSanitizer"), process.errors.constData());
    }
};

int main(int argc, char** argv)
{
    return OwnProcess::main<QtRacesTest>(argc, argv, play);
}

#include "qtraces_test.moc"

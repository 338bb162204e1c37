#include "api/core/model/cmlistrowsnode.h"
#include "api/core/model/cmnodesworker.h"
#include "api/core/model/cmrootworker.h"
#include "api/core/model/cmvaluenode.h"

#include <QSemaphore>
#include <QThread>
#include <QtTest>

#include <thread>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

PelkValue value(const QString& string)
{
    PelkValue result;
    result.setString_(string);
    return result;
}

/// A store that records what it receives, and fails on request.
class ListStore : public CMValueStore
{
public:
    PelkValue read(const CMPath& path) const override { return value(QLatin1String("kept ") + path.base()); }
    bool accepts(const CMPath& /*path*/, const PelkValue& v, QString* error) const override
    {
        if (v.string_() == text("odd"))
            *error = text("That is odd.");
        return error->isEmpty();
    }
    bool write(const CMPath& /*path*/, const PelkValue& v, QString* error) override
    {
        written << v.string_();
        thread = QThread::currentThread();
        if (fails)
            *error = text("The disk is full.");
        return !fails;
    }
    QStringList written;
    QThread* thread = nullptr;
    bool fails = false;
};

/// A worker that is held up inside a call.
class SlowWorker : public CMNodesWorker
{
public:
    SlowWorker()
        : CMNodesWorker(QVariantHash(), QStringLiteral("slow"))
    {
    }
    void getRowsRequest(const CMGetRowsRequest& request) override
    {
        entered.release();
        goOn.acquire();
        request.reply().setValue(PelkRowsRoles());
    }
    QSemaphore entered;
    QSemaphore goOn;
};

} // namespace

class CMRootWorkerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_root = std::make_unique<CMRootWorker>(); }
    void cleanup() { m_root.reset(); }

    void theRootIsTheOneThatWasMade()
    {
        QCOMPARE(CMRoot(), m_root.get());
        QCOMPARE(CMRootWorker::instance(), m_root.get());
    }

    void aRequestGoesToTheWorkerThatThePathNames_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("title");
        QTest::newRow("by prefix") << text("one:list") << text("one's list");
        QTest::newRow("by another prefix") << text("two:list") << text("two's list");
        QTest::newRow("by a registered path") << text("shared:list") << text("two's shared list");
        QTest::newRow("a registered path with parameters")
            << text("shared:list?a=b") << text("two's shared list");
    }

    void aRequestGoesToTheWorkerThatThePathNames()
    {
        QFETCH(QString, path);
        CMNodesWorker one(QVariantHash(), text("one"));
        CMNodesWorker two(QVariantHash(), text("two"));
        addList(&one, "one:list", "one's list");
        addList(&two, "two:list", "two's list");
        addList(&two, "shared:list", "two's shared list");
        m_root->addWorker(&one);
        m_root->addWorker(&two);
        const CMGetDataRequest data(CMPath(path), {PelkRoles::Title()});
        m_root->getDataRequest(data);
        QTEST(data.reply().value().toList().value(0).toString(), "title");
        const CMGetRowsRequest rows(CMPath(path), 0, 9, {});
        m_root->getRowsRequest(rows);
        QVERIFY(rows.reply().isFinished() && !rows.reply().error().isSet());
        const CMSetDataRequest set(CMPath(path), PelkRoles::Title(), QVariant());
        m_root->setDataRequest(set);
        QVERIFY(
            set.reply().error().message().toString().contains(QLatin1String("has no value that can be set")));
    }

    void anUnansweredPathIsReportedInASentence()
    {
        CMNodesWorker notAdded(QVariantHash(), text("qobuz"));
        const CMGetRowsRequest rows(CMPath(text("qobuz:x?a=1")), 0, 1, {});
        const CMGetDataRequest data(CMPath(text("qobuz:x?a=1")), {});
        const CMSetDataRequest set(CMPath(text("qobuz:x?a=1")), QString(), QVariant());
        m_root->getRowsRequest(rows);
        m_root->getDataRequest(data);
        m_root->setDataRequest(set);
        for (const CMVoidReply& reply :
             {CMVoidReply(rows.reply()), CMVoidReply(data.reply()), CMVoidReply(set.reply())})
            QCOMPARE(reply.error().message().toString(), text("No service answers at \"qobuz:x?a=1\"."));
    }

    void theRootsRowsAreTheRootsOfItsWorkers_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QStringList>("titles");
        QTest::newRow("all") << 0 << 99 << QStringList{text("A"), QString(), text("C")};
        QTest::newRow("first") << 0 << 0 << QStringList{text("A")};
        QTest::newRow("page") << 1 << 2 << QStringList{QString(), text("C")};
        QTest::newRow("beyond the end") << 3 << 5 << QStringList();
        QTest::newRow("far beyond the end") << 2000000000 << 2000000001 << QStringList();
        QTest::newRow("backwards") << 2 << 1 << QStringList();
    }

    void theRootsRowsAreTheRootsOfItsWorkers()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        CMNodesWorker a(QVariantHash(), text("a"));
        CMNodesWorker b(QVariantHash(), text("b")); // has no root node
        CMNodesWorker c(QVariantHash(), text("c"));
        addList(&a, "a:", "A");
        addList(&c, "c:", "C");
        for (CMNodesWorker* worker : {&a, &b, &c})
            m_root->addWorker(worker);
        const CMGetRowsRequest request(CMPath(), from, to, {PelkRoles::Title(), PelkRoles::Path()}, 4);
        m_root->getRowsRequest(request);
        QVERIFY(request.reply().isFinished());
        const PelkRowsRoles reply = request.reply().value();
        QCOMPARE(reply.rowsCount(), 3);
        QCOMPARE(reply.rowsVersion(), 4);
        QStringList titles;
        const QStringList paths = {text("a:"), text("b:"), text("c:")};
        for (const QVariant& row : reply.rows().toList()) {
            titles << row.toList().value(0).toString();
            QCOMPARE(row.toList().value(1).toString(), paths.value(from + titles.size() - 1));
        }
        QTEST(titles, "titles");
    }

    void aNegativeRangeOfTheRootIsAnError()
    {
        const CMGetRowsRequest request(CMPath(), -1, 0, {});
        m_root->getRowsRequest(request);
        QVERIFY(request.reply().error().isSet());
    }

    void aWorkerOnItsOwnThreadAnswersThere()
    {
        QThread thread;
        thread.start();
        auto* worker = new CMNodesWorker(QVariantHash(), text("far"));
        addList(worker, "far:list", "Far");
        worker->moveToThread(&thread);
        m_root->addWorker(worker);
        const CMGetDataRequest request(CMPath(text("far:list")), {PelkRoles::Title()});
        std::atomic<QThread*> answered{nullptr};
        request.reply().addWatcher([&](const CMVoidReply&) { answered = QThread::currentThread(); },
                                   Qt::DirectConnection);
        m_root->getDataRequest(request);
        QVERIFY(request.reply().waitForFinished(10000));
        QTRY_COMPARE(answered.load(), &thread);
        m_root->removeWorker(worker);
        worker->deleteLater();
        thread.quit();
        thread.wait();
    }

    void aValueIsVisibleAtOnceAndEverythingElseIsQueued()
    {
        const CMPath path(text("settings:x"));
        const auto reply = CMReply<QVariant>::create();
        QStringList told;
        reply.addWatcher([&](const CMVoidReply&) { told << text("reply"); }, Qt::DirectConnection);
        m_root->subscribe(path)->add(CMSubscribe::Value, path, this, [&](const PelkValue& v) {
            told << QLatin1String("subscriber ") + v.string_();
        });
        m_root->setValue(path, value(text("a")), reply);
        QCOMPARE(m_root->getValue(path), value(text("a")));
        QVERIFY(told.isEmpty());
        QVERIFY(!reply.isFinished());
        QTRY_COMPARE(told.size(), 2);
        QVERIFY(told.contains(text("subscriber a")));
        QCOMPARE(reply.value().toHash(), value(text("a")).hash());
        m_root->subscribe(path)->remove(this);
    }

    void theCallerOfSetValueMayHoldALockThatItsSubscribersTake()
    {
        const CMPath path(text("settings:x"));
        QMutex mutex;
        bool told = false;
        m_root->subscribe(path)->add(CMSubscribe::Value, path, this, [&](const PelkValue&) {
            const QMutexLocker locker(&mutex);
            told = true;
        });
        {
            const QMutexLocker locker(&mutex);
            m_root->setValue(path, value(text("a")), CMReply<QVariant>::create());
        }
        QTRY_VERIFY(told);
        m_root->subscribe(path)->remove(this);
    }

    void theReplyFinishesAfterTheStoreHasWritten()
    {
        const CMPath path(text("session:x"));
        const auto store = std::make_shared<ListStore>();
        m_root->keep(path, store);
        QCOMPARE(m_root->getValue(path), value(text("kept x")));
        const auto reply = CMReply<QVariant>::create();
        QStringList atReply;
        reply.addWatcher([&](const CMVoidReply&) { atReply = store->written; }, Qt::DirectConnection);
        std::thread([&] { m_root->setValue(path, value(text("a")), reply); }).join();
        QVERIFY(store->written.isEmpty());
        QTRY_VERIFY(reply.isFinished());
        QCOMPARE(atReply, QStringList{text("a")});
        QCOMPARE(store->thread, m_root->thread());
        QVERIFY(!reply.error().isSet());
    }

    void aStoreThatFailsIsAnErrorAndTheValueStaysVisible()
    {
        const CMPath path(text("session:x"));
        const auto store = std::make_shared<ListStore>();
        store->fails = true;
        m_root->keep(path, store);
        const auto reply = CMReply<QVariant>::create();
        m_root->setValue(path, value(text("a")), reply);
        QTRY_VERIFY(reply.isFinished());
        QCOMPARE(reply.error().message().toString(), text("The disk is full."));
        QCOMPARE(m_root->getValue(path), value(text("a")));
    }

    void theLastVisibleValueIsTheLastStoredOne()
    {
        const CMPath path(text("session:x"));
        const auto store = std::make_shared<ListStore>();
        m_root->keep(path, store);
        constexpr int count = 3;
        constexpr int sets = 5;
        for (int round = 0; round < 300; ++round) {
            std::atomic<int> ready{0};
            std::vector<std::thread> threads;
            for (int t = 0; t < count; ++t)
                threads.emplace_back([&, t] {
                    for (++ready; ready < count;)
                        std::this_thread::yield();
                    for (int i = 0; i < sets; ++i)
                        m_root->setValue(path, value(QString::number(t * 10 + i)),
                                         CMReply<QVariant>::create());
                });
            for (std::thread& thread : threads)
                thread.join();
            QCoreApplication::processEvents();
            QCOMPARE(store->written.size(), (round + 1) * count * sets);
            QCOMPARE(store->written.last(), m_root->getValue(path).string_());
        }
    }

    void severalThreadsReadWhileOneWrites()
    {
        const CMPath path(text("settings:x"));
        m_root->setValue(path, value(text("0")), CMReply<QVariant>::create());
        std::atomic<bool> done{false};
        std::atomic<int> torn{0};
        std::atomic<int> backwards{0};
        std::vector<std::thread> readers;
        for (int t = 0; t < 4; ++t)
            readers.emplace_back([&] {
                int last = 0;
                while (!done) {
                    const PelkValue read = m_root->getValue(path);
                    if (read.type() != PelkValue::StringType)
                        ++torn;
                    if (read.string_().toInt() < last)
                        ++backwards;
                    last = read.string_().toInt();
                }
            });
        for (int i = 1; i <= 2000; ++i)
            m_root->setValue(path, value(QString::number(i)), CMReply<QVariant>::create());
        done = true;
        for (std::thread& reader : readers)
            reader.join();
        QCOMPARE(torn.load(), 0);
        QCOMPARE(backwards.load(), 0);
    }

    void aKeptValueIsReadAndSetByRequestsToo()
    {
        const auto store = std::make_shared<ListStore>();
        const CMPath path(text("settings:tone"));
        m_root->keep(path, store);
        const CMGetDataRequest get(path, {PelkRoles::Value(), PelkRoles::Path(), PelkRoles::Title()});
        m_root->getDataRequest(get);
        QVERIFY(get.reply().isFinished());
        QCOMPARE(get.reply().value().toList(),
                 QVariantList({value(text("kept tone")).variant(), path.toString(), QVariant()}));
        const CMSetDataRequest set(path, PelkRoles::Value(), value(text("loud")).variant());
        m_root->setDataRequest(set);
        QVERIFY(!set.reply().isFinished());
        QTRY_VERIFY(set.reply().isFinished());
        QCOMPARE(set.reply().value().toList(), QVariantList({value(text("loud")).variant(), false}));
        QCOMPARE(store->written, QStringList{text("loud")});
        QCOMPARE(m_root->getValue(path).string_(), text("loud"));
    }

    void aValueOfTheWrongKindIsRefused_data()
    {
        QTest::addColumn<QString>("role");
        QTest::addColumn<QVariant>("wanted");
        QTest::addColumn<QString>("sentence");
        PelkValue other;
        other.setQobuzSoundQuality(PelkQobuzSoundQuality::Cd);
        QTest::newRow("of another kind")
            << text("value") << other.variant() << text("The value at \"settings:tone\" has another type.");
        QTest::newRow("without a kind")
            << text("value") << QVariant(QVariantHash{{text("string"), text("x")}})
            << text("The value at \"settings:tone\" has another type.");
        QTest::newRow("no record") << text("value") << QVariant(7)
                                   << text("The value at \"settings:tone\" has another type.");
        QTest::newRow("another role")
            << text("title") << value(text("x")).variant()
            << text("The value at \"settings:tone\" can only be set with the role \"value\".");
        QTest::newRow("one that the store does not accept")
            << text("value") << value(text("odd")).variant() << text("That is odd.");
    }
    void aValueOfTheWrongKindIsRefused()
    {
        QFETCH(QString, role);
        QFETCH(QVariant, wanted);
        QFETCH(QString, sentence);
        const auto store = std::make_shared<ListStore>();
        const CMPath path(text("settings:tone"));
        m_root->keep(path, store);
        const CMSetDataRequest set(path, role, wanted);
        m_root->setDataRequest(set);
        QTRY_VERIFY(set.reply().isFinished());
        QCOMPARE(set.reply().error().message().toString(), sentence);
        QVERIFY(store->written.isEmpty());
        QCOMPARE(m_root->getValue(path).string_(), text("kept tone"));
    }

    void aStoredValueThatCannotBeWrittenFailsTheRequest()
    {
        const auto store = std::make_shared<ListStore>();
        store->fails = true;
        const CMPath path(text("settings:tone"));
        m_root->keep(path, store);
        const CMSetDataRequest set(path, PelkRoles::Value(), value(text("loud")).variant());
        m_root->setDataRequest(set);
        QTRY_VERIFY(set.reply().isFinished());
        QCOMPARE(set.reply().error().message().toString(), text("The disk is full."));
    }

    void theValueOfANodeIsSetByItsOwnServiceOnly_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("path with a prefix of its own") << text("account:state");
        QTest::newRow("path with the worker's prefix") << text("one:state");
    }

    void theValueOfANodeIsSetByItsOwnServiceOnly()
    {
        QFETCH(QString, path);
        CMNodesWorker one(QVariantHash(), text("one"));
        auto* node = CMValueNode::create(one.nodes(), CMPath(path), nullptr);
        m_root->addWorker(&one);
        node->setValue(value(text("a")));
        const auto reply = CMReply<QVariant>::create();
        m_root->setValue(CMPath(path), value(text("b")), reply);
        QTRY_VERIFY(reply.isFinished());
        QCOMPARE(reply.error().message().toString(),
                 QStringLiteral("The value at \"%1\" can only be set by its own service.").arg(path));
        QCOMPARE(m_root->getValue(CMPath(path)), value(text("a")));
    }

    void aDeletedNodeHasNoValue()
    {
        CMNodesWorker one(QVariantHash(), text("one"));
        const CMPath path(text("account:state"));
        auto* node = CMValueNode::create(one.nodes(), path, nullptr);
        m_root->addWorker(&one);
        node->setValue(value(text("a")));
        delete node;
        QCOMPARE(m_root->getValue(path), PelkValue());
        const auto reply = CMReply<QVariant>::create();
        m_root->setValue(path, value(text("b")), reply);
        QTRY_VERIFY(reply.isFinished());
        QVERIFY(!reply.error().isSet());
    }

    void anOperationIsCalledQueuedWithItsArguments()
    {
        PelkHash received;
        m_root->registerOperation(CMPath(text("n:open")),
                                  [&](const PelkHash& arguments, const CMReply<QVariant>& reply) {
                                      received = arguments;
                                      reply.setValue(text("done"));
                                  });
        const auto reply = CMReply<QVariant>::create();
        const PelkHash arguments(QVariantHash{{text("a"), 1}});
        m_root->invoke(CMPath(text("n:open")), arguments, reply);
        QVERIFY(!reply.isFinished());
        QTRY_VERIFY(reply.isFinished());
        QCOMPARE(received, arguments);
        QCOMPARE(reply.value(), QVariant(text("done")));
    }

    void anUnknownOperationIsReportedInASentence()
    {
        const auto reply = CMReply<QVariant>::create();
        m_root->invoke(CMPath(text("n:open")), PelkHash(), reply);
        QTRY_VERIFY(reply.isFinished());
        QCOMPARE(reply.error().message().toString(), text("There is no operation at \"n:open\"."));
    }

    void aWorkerLeavesValuesAndOperationsToTheRoot()
    {
        CMNodesWorker one(QVariantHash(), text("one"));
        const auto set = CMReply<QVariant>::create();
        one.setValue(CMPath(text("settings:x")), value(text("a")), set);
        QCOMPARE(one.getValue(CMPath(text("settings:x"))), value(text("a")));
        const auto invoked = CMReply<QVariant>::create();
        one.invoke(CMPath(text("n:open")), PelkHash(), invoked);
        QTRY_VERIFY(set.isFinished() && invoked.isFinished());
        QVERIFY(invoked.error().isSet());
    }

    void aWorkerThatIsRemovedFreesItsPathsAndValues()
    {
        const CMPath path(text("account:state"));
        {
            CMNodesWorker one(QVariantHash(), text("one"));
            CMValueNode::create(one.nodes(), path, nullptr)->setValue(value(text("a")));
            m_root->addWorker(&one);
        }
        QCOMPARE(m_root->getValue(path), PelkValue());
        CMNodesWorker two(QVariantHash(), text("two"));
        CMValueNode::create(two.nodes(), path, nullptr)->setValue(value(text("b")));
        m_root->addWorker(&two);
        const CMGetDataRequest request(path, {PelkRoles::Value()});
        m_root->getDataRequest(request);
        QCOMPARE(request.reply().value().toList().value(0), value(text("b")).variant());
        m_root->removeWorker(&two);
        const CMGetDataRequest after(path, {});
        m_root->getDataRequest(after);
        QVERIFY(after.reply().error().isSet());
    }

    void removingAWorkerWaitsForTheCallsIntoIt()
    {
        SlowWorker slow;
        m_root->addWorker(&slow);
        const CMGetRowsRequest request(CMPath(text("slow:x")), 0, 1, {});
        std::thread caller([&] { m_root->getRowsRequest(request); });
        slow.entered.acquire();
        std::atomic<bool> inTime{false};
        QSemaphore removed;
        std::thread remover([&] {
            m_root->removeWorker(&slow);
            inTime = request.reply().isFinished();
            removed.release();
        });
        QVERIFY(!removed.tryAcquire(1, 50));
        slow.goOn.release();
        caller.join();
        remover.join();
        QVERIFY(inTime);
    }

    void aWorkerMayBeRemovedFromWithinItsOwnCall()
    {
        CMNodesWorker one(QVariantHash(), text("one"));
        addList(&one, "one:list", "x");
        m_root->addWorker(&one);
        const CMGetRowsRequest request(CMPath(text("one:list")), 0, 1, {});
        request.reply().addWatcher([&](const CMVoidReply&) { m_root->removeWorker(&one); },
                                   Qt::DirectConnection);
        m_root->getRowsRequest(request);
        QVERIFY(request.reply().isFinished());
    }

    void aWorkerMayOutliveTheRoot()
    {
        CMNodesWorker one(QVariantHash(), text("one"));
        m_root->addWorker(&one);
        m_root.reset();
    }

private:
    static void addList(CMNodesWorker* worker, const char* path, const char* title)
    {
        CMListRowsNode::create(worker->nodes(), CMPath(text(path)))->setTitle(TrString(text(title)));
    }

    std::unique_ptr<CMRootWorker> m_root;
};

QTEST_GUILESS_MAIN(CMRootWorkerTest)
#include "cmrootworker_test.moc"

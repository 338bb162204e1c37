#include "api/core/model/cmnodesworker.h"
#include "api/core/model/cmrootworker.h"
#include "api/core/model/cmvalueitem.h"
#include "api/core/model/cmvaluenode.h"
#include "api/types/pelkroles.h"

#include <QtTest>

#include <thread>

namespace {

PelkValue value(const QString& text)
{
    PelkValue result;
    result.setString_(text);
    return result;
}

PelkValue value(const char* text)
{
    return value(QString::fromUtf8(text));
}

const CMPath statePath(QStringLiteral("account:state"));

} // namespace

class CMValueNodeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<CMRootWorker>();
        m_worker = std::make_unique<CMNodesWorker>(QVariantHash(), QStringLiteral("qobuz"));
        m_root->addWorker(m_worker.get());
    }
    void cleanup()
    {
        m_worker.reset();
        m_root.reset();
    }

    void aValueIsReadableThroughTheRootAtOnce()
    {
        auto* node = CMValueNode::create(m_worker->nodes(), statePath, nullptr);
        QCOMPARE(m_root->getValue(statePath), PelkValue());
        node->setValue(value("a"));
        QCOMPARE(node->value(), value("a"));
        QCOMPARE(m_root->getValue(statePath), value("a"));
    }

    void aDataRequestReadsTheValue()
    {
        auto* node = CMValueNode::create(m_worker->nodes(), statePath, nullptr);
        node->setValue(value("a"));
        const CMGetDataRequest request(statePath,
                                       {PelkRoles::Value(), PelkRoles::Path(), PelkRoles::Title()});
        m_root->getDataRequest(request);
        QCOMPARE(request.reply().value().toList(),
                 (QVariantList{value("a").variant(), statePath.toString(), QVariant()}));
    }

    void theGivenMutexGuardsTheValue()
    {
        QMutex mutex;
        QCOMPARE(CMValueNode::create(m_worker->nodes(), statePath, &mutex)->mutex(), &mutex);
        auto* own = CMValueNode::create(m_worker->nodes(), CMPath(QStringLiteral("qobuz:own")), nullptr);
        QVERIFY(own->mutex());
    }

    void anItemReceivesChangesQueuedAndInOrder_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("path with a prefix of its own") << statePath.toString();
        QTest::newRow("path with the worker's prefix") << QStringLiteral("qobuz:state");
    }

    void anItemReceivesChangesQueuedAndInOrder()
    {
        QFETCH(QString, path);
        auto* node = CMValueNode::create(m_worker->nodes(), CMPath(path), nullptr);
        node->setValue(value("before"));
        CMValueItem item(nullptr, CMPath(path));
        QCOMPARE(item.value(), value("before"));
        QCOMPARE(item.path(), CMPath(path));
        QStringList heard;
        connect(&item, &CMValueItem::changed, this, [&](const PelkValue& v) {
            QCOMPARE(item.value(), v);
            heard << v.string_();
        });
        node->setValue(value("a"));
        node->setValue(value("b"));
        QVERIFY(heard.isEmpty());
        QCoreApplication::processEvents();
        QCOMPARE(heard, (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    }

    void anItemCreatedBeforeItsWorkerReceivesChangesToo()
    {
        CMValueItem item(nullptr, CMPath(QStringLiteral("late:state")));
        CMNodesWorker late(QVariantHash(), QStringLiteral("late"));
        auto* node = CMValueNode::create(late.nodes(), item.path(), nullptr);
        m_root->addWorker(&late);
        QSignalSpy changes(&item, &CMValueItem::changed);
        node->setValue(value("a"));
        QCoreApplication::processEvents();
        QCOMPARE(changes.count(), 1);
        QCOMPARE(item.value(), value("a"));
    }

    void aDeletedItemReceivesNothing()
    {
        auto* node = CMValueNode::create(m_worker->nodes(), statePath, nullptr);
        int calls = 0;
        {
            CMValueItem item(nullptr, statePath);
            connect(&item, &CMValueItem::changed, this, [&] { ++calls; });
            node->setValue(value("on its way"));
        }
        node->setValue(value("after"));
        QCoreApplication::processEvents();
        QCOMPARE(calls, 0);
    }

    void anItemMirrorsAValueOfTheRoot()
    {
        const CMPath path(QStringLiteral("settings:x"));
        CMValueItem item(this, path);
        QCOMPARE(item.value(), PelkValue());
        QSignalSpy changes(&item, &CMValueItem::changed);
        m_root->setValue(path, value("a"), CMReply<QVariant>::create());
        QCOMPARE(changes.count(), 0);
        QTRY_COMPARE(changes.count(), 1);
        QCOMPARE(item.value(), value("a"));
    }

    void nodeRootAndSubscribersAgreeWhenThreadsSetValues()
    {
        auto* node = CMValueNode::create(m_worker->nodes(), statePath, nullptr);
        CMValueItem item(nullptr, statePath);
        for (int round = 0; round < 300; ++round) {
            std::atomic<int> ready{0};
            std::vector<std::thread> threads;
            for (int t = 0; t < 3; ++t)
                threads.emplace_back([&, t] {
                    for (++ready; ready < 3;)
                        std::this_thread::yield();
                    for (int i = 0; i < 5; ++i)
                        node->setValue(value(QString::number(t * 10 + i)));
                });
            for (std::thread& thread : threads)
                thread.join();
            QCoreApplication::processEvents();
            QCOMPARE(m_root->getValue(statePath), node->value());
            QCOMPARE(item.value(), node->value());
        }
    }

    void theNodeLearnsOfItsFirstAndLastSubscriber()
    {
        class Watched : public CMNode
        {
        public:
            using CMNode::CMNode;
            void valuePathAdd(const CMPath& path) override { calls << QLatin1String("value+") + path.base(); }
            void valuePathRemove(const CMPath& path) override
            {
                calls << QLatin1String("value-") + path.base();
            }
            void dataPathAdd(const CMPath&) override { calls << QStringLiteral("data+"); }
            void dataPathRemove(const CMPath&) override { calls << QStringLiteral("data-"); }
            void rowsPathAdd(const CMPath&) override { calls << QStringLiteral("rows+"); }
            void rowsPathRemove(const CMPath&) override { calls << QStringLiteral("rows-"); }
            QStringList calls;
        };
        auto* node = new Watched(statePath);
        node->setNodes(m_worker->nodes());
        {
            CMValueItem one(nullptr, statePath);
            CMValueItem two(nullptr, statePath);
            QObject context;
            const auto nothing = [](const PelkValue&) {};
            m_root->subscribe(statePath)->add(CMSubscribe::Data, statePath, &context, nothing);
            m_root->subscribe(statePath)->add(CMSubscribe::Rows, statePath, &context, nothing);
        }
        QCOMPARE(node->calls.mid(0, 3), (QStringList{QStringLiteral("value+state"), QStringLiteral("data+"),
                                                     QStringLiteral("rows+")}));
        QStringList ended = node->calls.mid(3);
        ended.sort();
        QCOMPARE(ended, (QStringList{QStringLiteral("data-"), QStringLiteral("rows-"),
                                     QStringLiteral("value-state")}));
    }

private:
    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<CMNodesWorker> m_worker;
};

QTEST_GUILESS_MAIN(CMValueNodeTest)
#include "cmvaluenode_test.moc"

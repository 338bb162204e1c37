#include "api/core/model/cmlistrowsnode.h"
#include "api/core/model/cmnodesworker.h"
#include "api/core/model/cmquerynode.h"
#include "api/core/model/cmrootworker.h"
#include "tests/unit/api/core/model/virtualslot.h"

#include <QtTest>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

CMPath path(const char* utf8)
{
    return CMPath(text(utf8));
}

const QStringList someRoles = {PelkRoles::Title(), PelkRoles::Path()};

} // namespace

class NodesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<CMRootWorker>();
        m_worker = std::make_unique<CMNodesWorker>(QVariantHash{{text("key"), 1}}, text("qobuz"));
        m_root->addWorker(m_worker.get());
    }
    void cleanup()
    {
        m_worker.reset();
        m_root.reset();
    }

    void theVirtualOperationsOfANodeKeepTheirOrder()
    {
        // Behind those of QObject; modules are compiled against the order.
        const QList<int> slots_ = {
            virtualSlot(&CMNode::deleteLater),     virtualSlot(&CMNode::mutex),
            virtualSlot(&CMNode::request),         virtualSlot(&CMNode::getDataRequest),
            virtualSlot(&CMNode::getRowsRequest),  virtualSlot(&CMNode::matchRowRequest),
            virtualSlot(&CMNode::setDataRequest),  virtualSlot(&CMNode::valuePathAdd),
            virtualSlot(&CMNode::valuePathRemove), virtualSlot(&CMNode::dataPathAdd),
            virtualSlot(&CMNode::dataPathRemove),  virtualSlot(&CMNode::rowsPathAdd),
            virtualSlot(&CMNode::rowsPathRemove)};
        QCOMPARE(virtualSlot(&QObject::eventFilter), 6);
        for (int i = 0; i < slots_.size(); ++i)
            QCOMPARE(slots_.at(i), 12 + i);
    }

    void theRowsInTheRangeAreReturned_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QStringList>("titles");
        const auto row = [](int from, int to, const QStringList& titles) {
            QTest::addRow("%d to %d", from, to) << from << to << titles;
        };
        const QString a = text("a");
        const QString b = text("b");
        const QString c = text("c");
        row(0, 2, {a, b, c});
        row(0, 0, {a});
        row(1, 1, {b});
        row(1, 2, {b, c});
        row(2, 2, {c});
        row(0, 99, {a, b, c});
        row(2, std::numeric_limits<int>::max(), {c});
        row(3, 5, {});
        row(std::numeric_limits<int>::max(), std::numeric_limits<int>::max(), {});
        row(2, 1, {});
        row(1, 0, {});
    }

    void theRowsInTheRangeAreReturned()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        auto* list = CMListRowsNode::create(m_worker->nodes(), m_worker->addPrefix(text("list")));
        for (const char* name : {"a", "b", "c"}) {
            auto* node = CMListRowsNode::create(m_worker->nodes(), m_worker->addPrefix(text(name)));
            node->setTitle(TrString(text(name)));
            list->rowsAppend(node->path());
        }
        const CMGetRowsRequest request(list->path(), from, to, {PelkRoles::Title()}, 7);
        m_root->getRowsRequest(request);
        QVERIFY(request.reply().isFinished());
        const PelkRowsRoles rows = request.reply().value();
        QCOMPARE(rows.rowsCount(), 3);
        QCOMPARE(rows.rowsVersion(), 7);
        QStringList titles;
        for (const QVariant& row : rows.rows().toList())
            titles << row.toList().value(0).toString();
        QTEST(titles, "titles");
    }

    void aNegativeRangeIsAnError_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::newRow("from") << -1 << 3;
        QTest::newRow("to") << 0 << -1;
        QTest::newRow("both") << -5 << -1;
    }

    void aNegativeRangeIsAnError()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        auto* list = CMListRowsNode::create(m_worker->nodes(), m_worker->addPrefix(text("list")));
        const CMGetRowsRequest request(list->path(), from, to, {});
        m_root->getRowsRequest(request);
        QCOMPARE(request.reply().error().message().toString(),
                 QStringLiteral("Invalid range %1 to %2: rows are counted from 0.").arg(from).arg(to));
    }

    void aVersionBelowZeroIsAnsweredWithZero()
    {
        auto* list = CMListRowsNode::create(m_worker->nodes(), m_worker->addPrefix(text("list")));
        const CMGetRowsRequest request(list->path(), 0, 1, {}, -3);
        m_root->getRowsRequest(request);
        QCOMPARE(request.reply().value().rowsVersion(), 0);
    }

    void aRowIsMadeAnewWhenItsNodeOrTheQuestionChanges()
    {
        auto* list = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list"));
        auto* child = CMListRowsNode::create(m_worker->nodes(), path("qobuz:child"));
        list->rowsAppend(child->path());
        const auto row = [&](const QStringList& roles) {
            const CMGetRowsRequest request(list->path(), 0, 0, roles);
            m_root->getRowsRequest(request);
            return request.reply().value().rows().toList().value(0).toList();
        };
        child->setTitle(TrString(text("First")));
        QCOMPARE(row({PelkRoles::Title()}), QVariantList{text("First")});
        QVariantList kept = row({PelkRoles::Title()});
        kept[0] = 5; // the asker's own
        QCOMPARE(row({PelkRoles::Title()}), QVariantList{text("First")});
        QCOMPARE(row({PelkRoles::ContainerPlayable()}), QVariantList{false});
        child->setPlayable(true);
        QCOMPARE(row({PelkRoles::ContainerPlayable()}), QVariantList{true});
        child->setTitle(TrString(text("Second")));
        QCOMPARE(row({PelkRoles::ContainerPlayable(), PelkRoles::Title()}),
                 (QVariantList{true, text("Second")}));
        QCOMPARE(row({}), QVariantList());
        const CMGetDataRequest data(child->path(), {PelkRoles::Title()});
        m_root->getDataRequest(data);
        QCOMPARE(data.reply().value().toList(), QVariantList{text("Second")});
    }

    void aRowHasTheRequestedRolesInTheirOrder()
    {
        auto* list = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list"));
        auto* child = CMListRowsNode::create(m_worker->nodes(), path("qobuz:child"));
        child->setTitle(TrString(TrCharData{"Lists", "Child"}, {}));
        child->setContainerType(PelkRolesContainerType::TrackList);
        child->setPlayable(true);
        child->setSearchPath(path("qobuz:find"));
        list->rowsAppend(child->path());
        const QStringList roles = {PelkRoles::SearchPath(),
                                   PelkRoles::ContainerPlayable(),
                                   PelkRoles::ContainerType(),
                                   PelkRoles::Type(),
                                   PelkRoles::Title(),
                                   PelkRoles::Path(),
                                   QStringLiteral("no such role"),
                                   PelkRoles::Path()};
        const CMGetRowsRequest rows(list->path(), 0, 0, roles);
        m_root->getRowsRequest(rows);
        const QVariantList expected = {
            text("qobuz:find"), true, 10, 1, child->title(), text("qobuz:child"), QVariant(),
            text("qobuz:child")};
        QCOMPARE(rows.reply().value().rows().toList(), (QVariantList{QVariant(expected)}));
        const CMGetDataRequest data(child->path(), roles);
        m_root->getDataRequest(data);
        QCOMPARE(data.reply().value().toList(), expected);
    }

    void aRowFollowsEveryChangeOfItsNode()
    {
        auto* list = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list"));
        list->setTitle(TrString(text("First")));
        QCOMPARE(list->roles().title().toString(), text("First"));
        list->setTitle(TrString(text("Second")));
        QCOMPARE(list->roles().title().toString(), text("Second"));
        list->setPlayable(true);
        QCOMPARE(list->roles().containerPlayable(), true);
        list->setContainerType(PelkRolesContainerType::Album);
        QCOMPARE(int(list->roles().containerType()), int(PelkRolesContainerType::Album));
        list->setSearchPath(path("qobuz:search"));
        QCOMPARE(list->roles().searchPath(), path("qobuz:search"));
        auto* query = CMQueryNode::create(m_worker->nodes(), path("qobuz:query"));
        QVERIFY(query->roles().query().isEmpty());
        query->setQuery(text("words"));
        QCOMPARE(query->roles().query(), text("words"));
        query->setQueryPath(path("qobuz:results"));
        QCOMPARE(query->roles().queryPath(), path("qobuz:results"));
    }

    void aContainerIsAnUnplayableFolderByDefault()
    {
        auto* list = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list"));
        QCOMPARE(list->roles().containerPlayable(), false);
        QCOMPARE(int(list->roles().containerType()), 0);
        QVERIFY(!list->roles().contains(PelkRoles::SearchPath()));
    }

    void aRowMayBeRegisteredLater()
    {
        auto* list = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list"));
        list->rowsAppend(path("qobuz:later"));
        const CMGetRowsRequest before(list->path(), 0, 0, someRoles);
        m_root->getRowsRequest(before);
        QCOMPARE(before.reply().value().rows().toList().value(0).toList(),
                 (QVariantList{QVariant(), text("qobuz:later")}));
        CMListRowsNode::create(m_worker->nodes(), path("qobuz:later"))->setTitle(TrString(text("Later")));
        const CMGetRowsRequest after(list->path(), 0, 0, someRoles);
        m_root->getRowsRequest(after);
        QCOMPARE(after.reply().value().rows().toList().value(0).toList(),
                 (QVariantList{text("Later"), text("qobuz:later")}));
    }

    void requestParametersAreCopiedToTheRowsOnDemand_data()
    {
        QTest::addColumn<bool>("copy");
        QTest::addColumn<QString>("rowPath");
        QTest::newRow("copied") << true << text("qobuz:row?own=1&query=a%20%26%20b&own=2");
        QTest::newRow("not copied") << false << text("qobuz:row?own=1");
    }

    void requestParametersAreCopiedToTheRowsOnDemand()
    {
        QFETCH(bool, copy);
        auto* list = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list/"));
        list->setCopyPathParams(copy);
        list->rowsAppend(path("qobuz:row?own=1"));
        const CMGetRowsRequest request(path("qobuz:list/?query=a%20%26%20b&own=2"), 0, 0,
                                       {PelkRoles::Path()});
        m_root->getRowsRequest(request);
        QTEST(request.reply().value().rows().toList().value(0).toList().value(0).toString(), "rowPath");
    }

    void onlyANodeWithRowsMatchesARowRequest()
    {
        auto* list = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list"));
        auto* query = CMQueryNode::create(m_worker->nodes(), path("qobuz:query"));
        const CMGetRowsRequest request(list->path(), 0, 0, {});
        QVERIFY(list->matchRowRequest(request));
        QVERIFY(!query->matchRowRequest(request));
    }

    void aQueryRowHasItsParameterAndItsResultPath()
    {
        auto* query = CMQueryNode::create(m_worker->nodes(), path("qobuz:searchNode"));
        query->setTitle(TrString(text("Search")));
        query->setQuery(text("query"));
        query->setQueryPath(path("qobuz:search/"));
        const CMGetDataRequest request(query->path(), {PelkRoles::Type(), PelkRoles::Query(),
                                                       PelkRoles::QueryPath(), PelkRoles::Title()});
        m_root->getDataRequest(request);
        QCOMPARE(request.reply().value().toList(), (QVariantList{int(PelkRolesType::Query), text("query"),
                                                                 text("qobuz:search/"), text("Search")}));
        QCOMPARE(query->resultPath(text("a&b")).toString(), text("qobuz:search/?query=a%26b"));
    }

    void aQueryTurnsATextIntoThePathOfItsResults_data()
    {
        QTest::addColumn<QVariant>("value");
        PelkValue tagged;
        tagged.setString_(text("a b"));
        QTest::newRow("plain text") << QVariant(text("a b"));
        QTest::newRow("hash of a value") << tagged.variant();
        QTest::newRow("value") << QVariant::fromValue(tagged);
    }

    void aQueryTurnsATextIntoThePathOfItsResults()
    {
        QFETCH(QVariant, value);
        auto* query = CMQueryNode::create(m_worker->nodes(), path("qobuz:searchNode"));
        query->setQuery(text("query"));
        query->setQueryPath(path("qobuz:search/"));
        const CMSetDataRequest request(query->path(), PelkRoles::Value(), value);
        m_root->setDataRequest(request);
        QCOMPARE(request.reply().value().toList(), (QVariantList{text("qobuz:search/?query=a%20b"), false}));
    }

    void settingAReadOnlyNodeIsAnError()
    {
        auto* query = CMQueryNode::create(m_worker->nodes(), path("qobuz:searchNode"));
        const CMSetDataRequest request(query->path(), PelkRoles::Title(), text("x"));
        m_root->setDataRequest(request);
        QCOMPARE(request.reply().error().message().toString(),
                 text("\"qobuz:searchNode\" has no value that can be set as \"title\"."));
    }

    void aMissingNodeOrUnsupportedRequestIsReportedInASentence()
    {
        const CMGetDataRequest nothing(path("qobuz:nowhere?id=1"), {});
        m_root->getDataRequest(nothing);
        QCOMPARE(nothing.reply().error().message().toString(),
                 text("There is nothing at \"qobuz:nowhere?id=1\"."));
        CMQueryNode::create(m_worker->nodes(), path("qobuz:leaf"));
        const CMGetRowsRequest rows(path("qobuz:leaf"), 0, 0, {});
        m_root->getRowsRequest(rows);
        QCOMPARE(rows.reply().error().message().toString(),
                 text("\"qobuz:leaf\" does not answer this kind of request."));
    }

    void aPlainNodeKnowsItsPathOnly()
    {
        auto* node = new CMNode(path("qobuz:plain?x=1"));
        QCOMPARE(node->path(), path("qobuz:plain"));
        QVERIFY(!node->nodes());
        QVERIFY(!node->mutex());
        node->setNodes(m_worker->nodes());
        QCOMPARE(node->nodes(), m_worker->nodes());
        const CMGetDataRequest request(node->path(), someRoles);
        m_root->getDataRequest(request);
        QCOMPARE(request.reply().value().toList(), (QVariantList{QVariant(), text("qobuz:plain")}));
    }

    void aNodeIsFoundWithoutItsParametersAndWithItsTrailingSlash()
    {
        auto* node = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list/"));
        QCOMPARE(m_worker->nodes()->node(path("qobuz:list/?x=1")), node);
        QCOMPARE(m_worker->nodes()->node(path("qobuz:list")), nullptr);
    }

    void aNodeIsRemovedWhenAnotherTakesItsPath()
    {
        const QPointer<CMNode> first = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list"));
        auto* second = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list"));
        QVERIFY(first.isNull());
        QCOMPARE(m_worker->nodes()->node(path("qobuz:list")), second);
    }

    void aNodeToBeDeletedIsNotFound()
    {
        const QPointer<CMNode> node = CMListRowsNode::create(m_worker->nodes(), path("other:list"));
        node->deleteLater();
        QVERIFY(!node.isNull());
        QVERIFY(!m_worker->nodes()->node(path("other:list")));
        const CMGetDataRequest request(path("other:list"), {});
        m_root->getDataRequest(request);
        QCOMPARE(request.reply().error().message().toString(), text("No service answers at \"other:list\"."));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(node.isNull());
    }

    void aNodeMovesToItsNewRegistry()
    {
        CMNodesWorker other(QVariantHash(), text("other"));
        auto* node = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list"));
        node->setNodes(other.nodes());
        QVERIFY(!m_worker->nodes()->node(path("qobuz:list")));
        QCOMPARE(other.nodes()->node(path("qobuz:list")), node);
    }

    void theRegistryOwnsItsNodes()
    {
        const QPointer<CMNode> node = CMListRowsNode::create(m_worker->nodes(), path("qobuz:list"));
        m_worker.reset();
        QVERIFY(node.isNull());
    }

    void aWorkerKnowsItsNameAndConfiguration()
    {
        QCOMPARE(m_worker->name(), text("qobuz"));
        QCOMPARE(m_worker->configuration().value(text("key")).toInt(), 1);
        QCOMPARE(m_worker->addPrefix(text("x/")).toString(), text("qobuz:x/"));
        QCOMPARE(m_worker->addPrefix(QString()).toString(), text("qobuz:"));
        QCOMPARE(m_worker->nodes()->worker(), m_worker.get());
    }

private:
    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<CMNodesWorker> m_worker;
};

QTEST_GUILESS_MAIN(NodesTest)
#include "nodes_test.moc"

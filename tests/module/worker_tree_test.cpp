// The module's worker as the host gets it: how it is made, its fixed nodes, and what it leaves behind.

#include "api/core/model/cmnodesworker.h"
#include "api/types/pelkqobuzsettings.h"
#include "api/types/qobuzpaths.h"
#include "tests/support/heap.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/testhttpserver.h"

#include <QLibrary>
#include <QtTest>

#include <memory>
#include <stdexcept>

namespace {

using WorkerCreate = void* (*)(void*, const QHash<QString, QVariant>&);

WorkerCreate workerCreate()
{
    static QLibrary library(QStringLiteral(PELK_MODULE_FILE));
    library.setLoadHints(QLibrary::PreventUnloadHint);
    return reinterpret_cast<WorkerCreate>(library.resolve("worker_create"));
}

/// A root that records what is read through it and throws at one of the reads.
class ThrowingRoot : public CMRootWorker
{
public:
    PelkValue getValue(const CMPath& path) override
    {
        reads << path.toString();
        if (reads.size() == throwAt)
            throw std::runtime_error("no value for " + path.toString().toStdString());
        // What stands at the login state's path by then tells how far the construction is.
        statesAtReads << CMRootWorker::getValue(PelkQobuzLoginStatePath()).type();
        return CMRootWorker::getValue(path);
    }
    CMSubscribe* subscribe(const CMPath& path) override
    {
        subscriptions << path.toString();
        return CMRootWorker::subscribe(path);
    }
    /// A value as the player would have it, without waiting for its being saved.
    void put(const CMPath& path, const PelkValue& value)
    {
        setValue(path, value, CMReply<QVariant>::create());
    }
    void putSettings()
    {
        PelkQobuzSettings settings;
        settings.setApiUrl(QStringLiteral("http://127.0.0.1:9/"));
        PelkValue value;
        value.setQobuzSettings(settings);
        put(PelkQobuzSettingsPath(), value);
    }

    int throwAt = 0; // 0: never
    QStringList reads;
    QStringList subscriptions;
    QList<int> statesAtReads;
};

/// The row of a list, or the answer of a node, as a record again.
PelkRoles asRoles(const QStringList& roles, const QVariantList& values)
{
    PelkHash hash;
    for (int i = 0; i < roles.size() && i < values.size(); ++i)
        if (values.at(i).isValid())
            hash.insert(roles.at(i), values.at(i));
    return PelkRoles(hash);
}

const QStringList& allRoles()
{
    static const QStringList roles{
        PelkRoles::Title(),     PelkRoles::Path(),       PelkRoles::Type(),  PelkRoles::ContainerType(),
        PelkRoles::MediaData(), PelkRoles::SearchPath(), PelkRoles::Query(), PelkRoles::QueryPath(),
        PelkRoles::Icon(),      PelkRoles::AudioType(),  PelkRoles::Value(), PelkRoles::ContainerPlayable()};
    return roles;
}

const char* const titleContext = "void QobuzWorker::createRootMenu()";

struct Node
{
    const char* path;
    const char* title;
    bool query;
    int containerType;
    bool playable;
    const char* searchPath;
    QStringList rows; // of a list with fixed rows
};

QStringList paths(const char* text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QList<Node> tree()
{
    return {
        {"qobuz:", "Qobuz root", false, 0, false, "qobuz:searchContainer",
         paths("qobuz:featured/ qobuz:playlists qobuz:favourites/ qobuz:purchases/ qobuz:searchNode")},
        {"qobuz:featured/", "Discover", false, 0, false, "",
         paths("qobuz:featured/albums qobuz:featured/artists qobuz:featured/playlists")},
        {"qobuz:featured/albums", "Albums", false, 0, false, "", {}},
        {"qobuz:featured/artists", "Artists", false, 0, false, "", {}},
        {"qobuz:featured/playlists", "Playlists", false, 0, false, "", {}},
        {"qobuz:playlists", "My Playlists", false, 0, false, "", {}},
        {"qobuz:favourites/", "Favourites", false, 0, false, "",
         paths("qobuz:favourites/tracks qobuz:favourites/albums qobuz:favourites/artists")},
        {"qobuz:favourites/tracks", "Tracks", false, 10, true, "", {}},
        {"qobuz:favourites/albums", "Albums", false, 0, false, "", {}},
        {"qobuz:favourites/artists", "Artists", false, 0, false, "", {}},
        {"qobuz:purchases/", "Purchases", false, 0, false, "",
         paths("qobuz:purchases/tracks qobuz:purchases/albums")},
        {"qobuz:purchases/tracks", "Tracks", false, 10, true, "", {}},
        {"qobuz:purchases/albums", "Albums", false, 0, false, "", {}},
        {"qobuz:search/", "Search", false, 0, false, "",
         paths("qobuz:search/artists qobuz:search/albums qobuz:search/tracks qobuz:search/playlists")},
        {"qobuz:search/artists", "Artists", false, 0, false, "", {}},
        {"qobuz:search/albums", "Albums", false, 0, false, "", {}},
        {"qobuz:search/tracks", "Tracks", false, 0, false, "", {}},
        {"qobuz:search/playlists", "Playlists", false, 0, false, "", {}},
        {"qobuz:searchNode", "Search", true, 0, false, "", {}},
        {"qobuz:searchContainer", "Search artists, albums, tracks and playlists", false, 101, false, "",
         paths("qobuz:searchNode")},
    };
}

} // namespace

class WorkerTreeTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<ModuleHost> m_host;
    ModuleHost& host() { return *m_host; }

    void checkRoles(const PelkRoles& roles, const Node& node)
    {
        const TrString title = roles.title();
        QCOMPARE(title.source(), QByteArray(node.title));
        QCOMPARE(title.context(), QByteArray(titleContext));
        QVERIFY(title.comment().isEmpty());
        QCOMPARE(title.count(), -1);
        QVERIFY(title.arguments().isEmpty());
        QCOMPARE(roles.path().toString(), QString::fromLatin1(node.path));
        QCOMPARE(int(roles.type()), node.query ? 2 : 1);
        QCOMPARE(int(roles.containerType()), node.containerType);
        QCOMPARE(roles.containerPlayable(), node.playable);
        QCOMPARE(roles.searchPath().toString(), QString::fromLatin1(node.searchPath));
        QCOMPARE(roles.query(), node.query ? QStringLiteral("query") : QString());
        QCOMPARE(roles.queryPath().toString(), node.query ? QStringLiteral("qobuz:search/") : QString());
        for (const QString& unset :
             {PelkRoles::Icon(), PelkRoles::MediaData(), PelkRoles::AudioType(), PelkRoles::Value()})
            QVERIFY2(!roles.contains(unset), qPrintable(unset));
    }

private Q_SLOTS:
    void init()
    {
        m_host = std::make_unique<ModuleHost>(QStringLiteral("http://127.0.0.1:9/"));
        m_host->setSession();
    }
    void cleanup() { m_host.reset(); }

    void everyNodeShowsWhatItIs_data()
    {
        QTest::addColumn<int>("row");
        const auto nodes = tree();
        for (int i = 0; i < nodes.size(); ++i)
            QTest::newRow(nodes.at(i).path) << i;
    }
    void everyNodeShowsWhatItIs()
    {
        QFETCH(int, row);
        host().start();
        const Node node = tree().at(row);
        const ModuleHost::Data data = host().getData(QString::fromLatin1(node.path), allRoles());
        QVERIFY(data.finished);
        QVERIFY(!data.error.isSet());
        checkRoles(asRoles(allRoles(), data.value.toList()), node);
    }

    void everyFixedListHoldsItsRowsInOrder_data()
    {
        QTest::addColumn<int>("row");
        const auto nodes = tree();
        for (int i = 0; i < nodes.size(); ++i)
            if (!nodes.at(i).rows.isEmpty())
                QTest::newRow(nodes.at(i).path) << i;
    }
    void everyFixedListHoldsItsRowsInOrder()
    {
        QFETCH(int, row);
        host().start();
        const auto nodes = tree();
        const Node& node = nodes.at(row);
        const ModuleHost::Rows rows = host().rows(QString::fromLatin1(node.path), 0, 99, allRoles());
        QVERIFY(rows.finished);
        QVERIFY(!rows.error.isSet());
        QCOMPARE(rows.count, node.rows.size());
        QCOMPARE(rows.rows.size(), node.rows.size());
        for (int i = 0; i < rows.rows.size(); ++i) {
            const auto expected = std::find_if(nodes.begin(), nodes.end(), [&](const Node& candidate) {
                return node.rows.at(i) == QLatin1String(candidate.path);
            });
            QVERIFY(expected != nodes.end());
            checkRoles(asRoles(allRoles(), rows.rows.at(i).toList()), *expected);
        }
    }

    void theRootHasFiveRows()
    {
        host().start();
        const ModuleHost::Rows rows = host().rows(QStringLiteral("qobuz:"), 0, 99);
        QStringList titles;
        for (const QVariant& row : rows.rows)
            titles << row.toList().at(0).toString();
        QCOMPARE(titles, (QStringList{QStringLiteral("Discover"), QStringLiteral("My Playlists"),
                                      QStringLiteral("Favourites"), QStringLiteral("Purchases"),
                                      QStringLiteral("Search")}));
    }

    void aSearchTextIsHandedToEachKindOfResult()
    {
        host().start();
        const ModuleHost::Rows rows =
            host().rows(QStringLiteral("qobuz:search/?query=a%26b"), 0, 9, {PelkRoles::Path()});
        QStringList found;
        for (const QVariant& row : rows.rows)
            found << row.toList().at(0).toString();
        QCOMPARE(found, paths("qobuz:search/artists?query=a%26b qobuz:search/albums?query=a%26b "
                              "qobuz:search/tracks?query=a%26b qobuz:search/playlists?query=a%26b"));
    }

    void onlyTheSearchResultsHandParametersOn()
    {
        host().start();
        for (const char* list : {"qobuz:", "qobuz:featured/", "qobuz:favourites/", "qobuz:purchases/",
                                 "qobuz:searchContainer"}) {
            const ModuleHost::Rows rows =
                host().rows(QString::fromLatin1(list) + QLatin1String("?query=x"), 0, 9, {PelkRoles::Path()});
            QVERIFY2(!rows.rows.isEmpty(), list);
            for (const QVariant& row : rows.rows)
                QVERIFY2(!row.toList().at(0).toString().contains(QLatin1Char('?')), list);
        }
    }

    void loginStateAndAccountStandAtPathsWithoutThePrefix()
    {
        host().start();
        for (const char* path : {"account:qobuz/loginState", "account:qobuz"}) {
            const ModuleHost::Data data = host().getData(QString::fromLatin1(path), {PelkRoles::Value()});
            QVERIFY2(data.finished && !data.error.isSet(), path);
            QVERIFY2(data.value.toList().at(0).isValid(), path);
            const QString prefixed = QStringLiteral("qobuz:") + QString::fromLatin1(path);
            QVERIFY2(host().getData(prefixed, {PelkRoles::Value()}).error.isSet(), path);
        }
    }

    void aChangeOfTheSoundQualityReachesTheWorker()
    {
        host().start();
        const LogCapture log(QStringLiteral("Qobuz"));
        host().setQuality(PelkQobuzSoundQuality::Hires192);
        host().settle();
        QCOMPARE(log.texts(log4cplus::TRACE_LOG_LEVEL),
                 QStringList{QStringLiteral("Enter void QobuzWorker::on_qualityItem_changed(const "
                                            "PelkValue&): {qobuzSoundQuality: 3, type: 141}")});
        QCOMPARE(log.records().size(), 1);
    }

    void constructionLogsNothingButTheAccountNode()
    {
        const LogCapture log(QStringLiteral("Qobuz"));
        host().start();
        QCOMPARE(log.records().size(), 1);
        QCOMPARE(log.texts(log4cplus::TRACE_LOG_LEVEL),
                 QStringList{QStringLiteral("creating Qobuz Account node")});
    }

    void allSourceUnitsLogUnderOneName()
    {
        TestHttpServer server;
        host().setSettings(server.url(), QStringLiteral("app-id"), QStringLiteral("app-secret"));
        server.answer("/catalog/getFeatured", TestHttpServer::json("{}"));
        const LogCapture log(QStringLiteral("Qobuz"));
        host().start();
        QVERIFY(host().rows(QStringLiteral("qobuz:featured/albums"), 0, 1).finished);
        QSet<QString> files;
        for (const LogCapture::Record& record : log.records()) {
            QCOMPARE(record.logger, QStringLiteral("Qobuz"));
            QVERIFY(record.line > 0);
            files.insert(record.file);
        }
        QCOMPARE(files, (QSet<QString>{QStringLiteral("QobuzWorker.cpp"), QStringLiteral("QobuzApi.cpp"),
                                       QStringLiteral("QobuzAccountNode.cpp"),
                                       QStringLiteral("QobuzHttpInterface.cpp"),
                                       QStringLiteral("QobuzBrowser.cpp")}));
    }

    void theEntryGivesAWorkerWithTheConfigurationItGot()
    {
        m_host.reset();
        ThrowingRoot root;
        root.putSettings();
        int unused = 0;
        const QHash<QString, QVariant> configuration{{QStringLiteral("a"), 1},
                                                     {QStringLiteral("apiUrl"), QStringLiteral("x")}};
        const std::unique_ptr<CMAbstractWorker> made(
            static_cast<CMAbstractWorker*>(workerCreate()(&unused, configuration)));
        const auto* const worker = dynamic_cast<CMNodesWorker*>(made.get());
        QVERIFY(worker);
        QCOMPARE(worker->name(), QStringLiteral("qobuz"));
        QCOMPARE(worker->configuration(), configuration);
        QCOMPARE(QByteArray(made->metaObject()->className()), QByteArray("QobuzWorker"));
    }

    void valuesAreReadAndNodesMadeInOrder()
    {
        m_host.reset();
        ThrowingRoot root;
        root.putSettings();
        const std::unique_ptr<CMAbstractWorker> made(
            static_cast<CMAbstractWorker*>(workerCreate()(nullptr, {})));
        // The transport, the API client, the account node, the sound-quality item.
        QCOMPARE(root.reads, paths("settings:qobuz session:qobuz session:qobuz settings:qobuz/soundQuality"));
        // The login state is published by the account node, so before the tree is made.
        QCOMPARE(root.statesAtReads, (QList<int>{0, 0, 0, PelkValue::QobuzLoginStateType}));
        QCOMPARE(root.subscriptions, paths("settings:qobuz/soundQuality"));
    }

    void whatTheHostThrowsLeavesTheEntry_data()
    {
        QTest::addColumn<int>("read");
        QTest::addColumn<QString>("text");
        QTest::newRow("while the transport is made") << 1 << "no value for settings:qobuz";
        QTest::newRow("while the API client is made") << 2 << "no value for session:qobuz";
        QTest::newRow("while the account node is made") << 3 << "no value for session:qobuz";
        QTest::newRow("while the sound-quality item is made")
            << 4 << "no value for settings:qobuz/soundQuality";
    }
    void whatTheHostThrowsLeavesTheEntry()
    {
        QFETCH(int, read);
        QFETCH(QString, text);
        m_host.reset();
        ThrowingRoot root;
        root.putSettings();
        root.throwAt = read;
        QString caught;
        try {
            workerCreate()(nullptr, {});
        } catch (const std::runtime_error& error) {
            caught = QString::fromLatin1(error.what());
        }
        QCOMPARE(caught, text);
        // Nothing of the worker is known to the root any more.
        QCOMPARE(root.CMRootWorker::getValue(PelkQobuzLoginStatePath()).type(), 0);
        const CMGetDataRequest request(PelkQobuzConfigureAccountPath(), {PelkRoles::Value()});
        root.getDataRequest(request);
        QVERIFY(request.reply().error().isSet());
        // A change that the half-made item would have followed calls nobody.
        root.throwAt = 0;
        PelkValue quality;
        quality.setQobuzSoundQuality(PelkQobuzSoundQuality::Cd);
        const LogCapture log(QStringLiteral("Qobuz"));
        root.put(PelkQobuzSoundQualityPath(), quality);
        QCoreApplication::processEvents();
        QVERIFY(log.records().isEmpty());
    }

    void aConstructionThatThrowsGivesAllMemoryBack_data() { whatTheHostThrowsLeavesTheEntry_data(); }
    void aConstructionThatThrowsGivesAllMemoryBack()
    {
        QFETCH(int, read);
        m_host.reset();
        ThrowingRoot root;
        root.putSettings();
        const auto fail = [&root, read](int times) {
            for (int i = 0; i < times; ++i) {
                root.reads.clear();
                root.statesAtReads.clear();
                root.subscriptions.clear();
                root.throwAt = read;
                try {
                    workerCreate()(nullptr, {});
                } catch (const std::runtime_error&) {
                    continue;
                }
            }
            QCoreApplication::sendPostedEvents(nullptr, 0);
            QCoreApplication::processEvents();
        };
        fail(50);
        const std::size_t before = heapInUse();
        fail(3000);
        const qint64 more = qint64(heapInUse()) - qint64(before);
        QVERIFY2(more < 3000 * 8, qPrintable(QStringLiteral("%1 bytes more").arg(more)));
    }

    void aWorkerThatGoesLeavesTheTransportToTheAnswersUnderWay()
    {
        TestHttpServer server;
        host().setSettings(server.url(), QStringLiteral("app-id"), QStringLiteral("app-secret"));
        TestHttpServer::Response held = TestHttpServer::json("{}");
        held.hold = true;
        server.answer("/catalog/getFeatured", held);
        host().start();
        const CMGetRowsRequest request(CMPath(QStringLiteral("qobuz:featured/albums")), 0, 1,
                                       {PelkRoles::Title()});
        host().root().getRowsRequest(request);
        QVERIFY(server.waitForRequests(1));
        host().stop(); // a transport that went with the worker would have closed the connection
        server.release();
        host().start(); // and the next worker works
        QVERIFY(host().rows(QStringLiteral("qobuz:"), 0, 9).finished);
    }
};

QTEST_GUILESS_MAIN(WorkerTreeTest)
#include "worker_tree_test.moc"

// The worker as the host gets it: how it is made, its fixed nodes, its logger, and its end.

#include "api/core/model/cmnodesworker.h"
#include "api/core/model/cmvalueitem.h"
#include "api/core/model/cmvaluenode.h"
#include "modules/qobuz/QobuzAccountNode.h"
#include "modules/qobuz/QobuzWorker.h"
#include "tests/module/objecttest.h"
#include "tests/support/bareworker.h"
#include "tests/support/heap.h"

#include <QPointer>

// Qt's list of functions that it calls when objects are created and deleted; meant for tools, so no public
// header declares it.
extern quintptr Q_CORE_EXPORT qtHookData[];

namespace {

/// A root that records what is read through it and throws at one of the reads.
class ThrowingRoot : public CMRootWorker
{
public:
    PelkValue getValue(const CMPath& path) override
    {
        reads << path.toString();
        if (reads.size() == throwAt)
            throw std::runtime_error("no value for " + path.toString().toStdString());
        // The value at the login state's path shows how far the construction has proceeded.
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

    int throwAt = 0; // 0: never
    QStringList reads;
    QStringList subscriptions;
    QList<int> statesAtReads;
};

/// The objects of this thread that live, from its making on.
class LivingObjects
{
public:
    LivingObjects()
    {
        objects().clear();
        qtHookData[added] = reinterpret_cast<quintptr>(&add);
        qtHookData[removed] = reinterpret_cast<quintptr>(&remove);
    }
    ~LivingObjects()
    {
        qtHookData[added] = 0;
        qtHookData[removed] = 0;
    }
    LivingObjects(const LivingObjects&) = delete;
    LivingObjects& operator=(const LivingObjects&) = delete;

    /// Those of a class, by its name.
    static QList<const QObject*> of(const char* className)
    {
        QList<const QObject*> found;
        for (const QObject* object : qAsConst(objects()))
            if (qstrcmp(object->metaObject()->className(), className) == 0)
                found << object;
        return found;
    }

private:
    enum Index
    {
        added = 3,
        removed = 4
    };
    static QSet<const QObject*>& objects()
    {
        static thread_local QSet<const QObject*> set;
        return set;
    }
    static void add(QObject* object) { objects().insert(object); }
    static void remove(QObject* object) { objects().remove(object); }
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

/// Everything that the fixed nodes answer.
QStringList treeLines(ModuleHost& host)
{
    QStringList lines;
    for (const char* list : {"qobuz:", "qobuz:featured/", "qobuz:favourites/", "qobuz:purchases/",
                             "qobuz:search/", "qobuz:searchContainer"}) {
        const QString path = QString::fromLatin1(list);
        lines += variantLines(host.getData(path, allRoles()).value, path);
        lines += variantLines(host.rows(path, 0, 99, allRoles()).rows, path + " rows"_s);
    }
    return lines;
}

} // namespace

class WorkerTest : public ModuleTest
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        open();
        host().setSession();
        serve("{}");
    }
    void cleanup()
    {
        m_worker.reset();
        close();
    }

    void everyNodeShowsWhatItIs_data()
    {
        Rows<int> row;
        const auto nodes = tree();
        for (int i = 0; i < nodes.size(); ++i)
            row(nodes.at(i).path, i);
    }
    void everyNodeShowsWhatItIs()
    {
        const auto [row] = fetched<int>();
        host().start();
        const Node node = tree().at(row);
        const ModuleHost::Data data = host().getData(QString::fromLatin1(node.path), allRoles());
        QVERIFY(succeeded(data));
        checkRoles(asRoles(allRoles(), data.value.toList()), node);
    }

    void everyFixedListHoldsItsRowsInOrder_data()
    {
        Rows<int> row;
        const auto nodes = tree();
        for (int i = 0; i < nodes.size(); ++i)
            if (!nodes.at(i).rows.isEmpty())
                row(nodes.at(i).path, i);
    }
    void everyFixedListHoldsItsRowsInOrder()
    {
        const auto [row] = fetched<int>();
        host().start();
        const auto nodes = tree();
        const Node& node = nodes.at(row);
        const ModuleHost::Rows rows = host().rows(QString::fromLatin1(node.path), 0, 99, allRoles());
        QVERIFY(succeeded(rows));
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

    void aSearchTextIsHandedToEachKindOfResult()
    {
        host().start();
        const ModuleHost::Rows rows = host().rows("qobuz:search/?query=a%26b"_s, 0, 9, {PelkRoles::Path()});
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
                host().rows(QString::fromLatin1(list) + "?query=x"_l, 0, 9, {PelkRoles::Path()});
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
            const QString prefixed = "qobuz:"_s + QString::fromLatin1(path);
            QVERIFY2(host().getData(prefixed, {PelkRoles::Value()}).error.isSet(), path);
        }
    }

    void aChangeOfTheSoundQualityReachesTheWorker()
    {
        host().start();
        const Log log;
        host().setQuality(PelkQobuzSoundQuality::Hires192);
        host().settle();
        QCOMPARE(log.traces(), QStringList{"Enter void QobuzWorker::on_qualityItem_changed(const "
                                           "PelkValue&): {qobuzSoundQuality: 3, type: 141}"_s});
        QCOMPARE(log.records().size(), 1);
    }

    void allSourceUnitsLogUnderOneName()
    {
        server().answer("/api/catalog/getFeatured", json("{}"));
        const Log log;
        host().start();
        QVERIFY(host().rows("qobuz:featured/albums"_s, 0, 1).finished);
        QSet<QString> files;
        for (const LogCapture::Record& record : log.records()) {
            QCOMPARE(record.logger, "Qobuz"_s);
            QVERIFY(record.line > 0);
            files.insert(record.file);
        }
        QCOMPARE(files, (QSet<QString>{"QobuzWorker.cpp"_s, "QobuzApi.cpp"_s, "QobuzAccountNode.cpp"_s,
                                       "QobuzHttpInterface.cpp"_s, "QobuzBrowser.cpp"_s}));
    }

    void theEntryReturnsAWorkerWithItsConfiguration()
    {
        dropHost();
        ThrowingRoot root;
        putValues(root, "http://127.0.0.1:9/"_s);
        int unused = 0;
        const QHash<QString, QVariant> configuration{{"a"_s, 1}, {"apiUrl"_s, "x"_s}};
        const std::unique_ptr<CMAbstractWorker> made(createWorker(configuration, &unused));
        const auto* const worker = dynamic_cast<CMNodesWorker*>(made.get());
        QVERIFY(worker);
        QCOMPARE(worker->name(), "qobuz"_s);
        QCOMPARE(worker->configuration(), configuration);
        QCOMPARE(QByteArray(made->metaObject()->className()), QByteArray("QobuzWorker"));
    }

    void valuesAreReadAndNodesMadeInOrder()
    {
        dropHost();
        ThrowingRoot root;
        putValues(root, "http://127.0.0.1:9/"_s);
        const std::unique_ptr<CMAbstractWorker> made(createWorker());
        // The transport, the API client, the account node, the sound-quality item.
        QCOMPARE(root.reads, paths("settings:qobuz session:qobuz session:qobuz settings:qobuz/soundQuality"));
        // The login state is published by the account node, so before the tree is made.
        QCOMPARE(root.statesAtReads, (QList<int>{0, 0, 0, PelkValue::QobuzLoginStateType}));
        QCOMPARE(root.subscriptions, paths("settings:qobuz/soundQuality"));
    }

    void exceptionsOfTheHostLeaveTheEntry_data()
    {
        Rows<int, QString> row;
        row("while the transport is made", 1, "no value for settings:qobuz");
        row("while the API client is made", 2, "no value for session:qobuz");
        row("while the account node is made", 3, "no value for session:qobuz");
        row("while the sound-quality item is made", 4, "no value for settings:qobuz/soundQuality");
    }
    void exceptionsOfTheHostLeaveTheEntry()
    {
        const auto [read, text] = fetched<int, QString>();
        dropHost();
        ThrowingRoot root;
        putValues(root, "http://127.0.0.1:9/"_s);
        root.throwAt = read;
        QString caught;
        try {
            createWorker();
        } catch (const std::runtime_error& error) {
            caught = QString::fromLatin1(error.what());
        }
        QCOMPARE(caught, text);
        // Nothing of the worker is known to the root any more.
        QCOMPARE(root.CMRootWorker::getValue(PelkQobuzLoginStatePath()).type(), 0);
        const CMGetDataRequest request(PelkQobuzConfigureAccountPath(), {PelkRoles::Value()});
        root.getDataRequest(request);
        QVERIFY(request.reply().error().isSet());
        // A change that the partly constructed item would have followed has no receiver.
        root.throwAt = 0;
        PelkValue quality;
        quality.setQobuzSoundQuality(PelkQobuzSoundQuality::Cd);
        const Log log;
        root.put(PelkQobuzSoundQualityPath(), quality);
        QCoreApplication::processEvents();
        QVERIFY(log.records().isEmpty());
    }

    void aFailedConstructionFreesAllMemory_data() { exceptionsOfTheHostLeaveTheEntry_data(); }
    void aFailedConstructionFreesAllMemory()
    {
        const int read = std::get<0>(fetched<int, QString>());
        dropHost();
        ThrowingRoot root;
        putValues(root, "http://127.0.0.1:9/"_s);
        const auto fail = [&root, read](int times) {
            for (int i = 0; i < times; ++i) {
                root.reads.clear();
                root.statesAtReads.clear();
                root.subscriptions.clear();
                root.throwAt = read;
                try {
                    createWorker();
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
        QVERIFY2(more < 3000 * 8, qPrintable("%1 bytes more"_s.arg(more)));
    }

    void itsClassesHaveThisOrder()
    {
        start();
        QByteArrayList classes;
        for (const QMetaObject* meta = host().worker()->metaObject(); meta; meta = meta->superClass())
            classes << meta->className();
        QCOMPARE(classes,
                 (QByteArrayList{"QobuzWorker", "CMNodesWorker", "CMWorker", "CMAbstractWorker", "QObject"}));
    }

    void functionsCalledByNameExist_data()
    {
        Rows<QByteArray> row;
        for (const char* method :
             {"on_getRows_invoke(CMGetRowsRequest)", "on_setData_invoke(CMSetDataRequest)",
              "on_qualityItem_changed(PelkValue)"})
            row(method, QByteArray(method));
    }
    void functionsCalledByNameExist()
    {
        const auto [method] = fetched<QByteArray>();
        start();
        const QMetaObject* const meta = host().worker()->metaObject();
        QVERIFY(meta->indexOfMethod(method.constData()) >= meta->methodOffset());
    }

    void theTreeStaysAsItWasMade()
    {
        server().setHandler([](const Request&) {
            return json(
                R"({"user":{"id":4711},"user_auth_token":"token-2","albums":{"total":1,"items":[{"id":"1"}]}})");
        });
        start();
        const QStringList made = treeLines(host());
        QVERIFY(made.size() > 100);
        QVERIFY(!host().rows("qobuz:featured/albums"_s, 0, 9).error.isSet());
        QVERIFY(!host().rows("qobuz:search/albums?query=x"_s, 0, 9).error.isSet());
        host().setQuality(PelkQobuzSoundQuality::Cd);
        QCOMPARE(treeLines(host()), made);
        for (const PelkQobuzAccount& written : {account(PelkQobuzAccountOperation::Remove), login()})
            QVERIFY(!write(written).error.isSet());
        QCOMPARE(treeLines(host()), made);
    }

    void aResponsePendingWhenTheWorkerIsDeletedStillBecomesRows()
    {
        Response held = json(R"({"albums":{"total":1,"items":[{"id":"1","title":"An album"}]}})");
        held.hold = true;
        server().answer("/api/catalog/getFeatured", held);
        BareWorker<> bare(server().url("/api/"_s));
        const CMGetRowsRequest request(CMPath("qobuz:featured/albums"_s), 0, 9, {PelkRoles::Title()});
        bare.worker()->getRowsRequest(request);
        QVERIFY(server().waitForRequests(1));
        // Transport, API client and browser are all needed for the rest.
        bare.deleteWorker();
        server().release();
        QVERIFY(wait(request.reply()));
        QCOMPARE(request.reply().value().rows().toList().at(0).toList().at(0).toString(), "An album"_s);
    }

    void itLeavesTransportApiClientAndBrowserAndNothingElseBehind()
    {
        const LivingObjects living;
        BareWorker<> bare(server().url("/api/"_s));
        for (const char* gone : {"QobuzWorker", "CMValueItem"})
            QVERIFY2(LivingObjects::of(gone).size() == 1, gone);
        bare.deleteWorker();
        for (const char* left : {"QobuzHttpInterface", "QobuzApi", "QobuzBrowser", "HttpClient"})
            QVERIFY2(LivingObjects::of(left).size() == 1, left);
        for (const char* gone : {"QobuzWorker", "CMValueItem"})
            QVERIFY2(LivingObjects::of(gone).isEmpty(), gone);
    }

    void constructionLogsNothingButTheAccountNode()
    {
        const Log log;
        start();
        QCOMPARE(log.records().size(), 1);
        const LogCapture::Record record = log.records().at(0);
        QCOMPARE(record.level, log4cplus::TRACE_LOG_LEVEL);
        QCOMPARE(record.file, "QobuzAccountNode.cpp"_s);
        QCOMPARE(record.text, "creating Qobuz Account node"_s);
    }

    void itReturnsTheObjectsThatItCreated()
    {
        QVERIFY(worker().httpInterface());
        QVERIFY(worker().qobuzApi());
        QVERIFY(worker().loginStateNode());
        QCOMPARE(worker().loginStateNode()->path().toString(), PelkQobuzLoginStatePath().toString());
        QCOMPARE(worker().loginStateNode()->nodes(), worker().nodes());
        QVERIFY(!worker().httpInterface()->parent());
        QVERIFY(!worker().qobuzApi()->parent());
        QCOMPARE(worker().httpInterface()->getBaseUrl().toString(), server().url("/api/"_s));
    }

    void theAccountNodeIsRegisteredAndReturned()
    {
        const CMPath path("another:account"_s);
        const Log log;
        QobuzAccountNode* const node = QobuzAccountNode::create(&worker(), worker().nodes(), path);
        QVERIFY(node);
        QCOMPARE(log.traces().last(), "creating Qobuz Account node"_s);
        QCOMPARE(node->path().toString(), path.toString());
        QCOMPARE(node->nodes(), worker().nodes());
        const CMGetDataRequest request(path, {PelkRoles::Value()});
        QVERIFY(node->getDataRequest(request));
        QVERIFY(request.reply().isFinished());
        QVERIFY(!request.reply().error().isSet());
    }

    void transportAndApiClientOutliveItAndTheQualityItemDoesNot()
    {
        const QPointer<QObject> http(worker().httpInterface());
        const QPointer<QObject> api(worker().qobuzApi());
        const auto items = worker().findChildren<CMValueItem*>(QString(), Qt::FindDirectChildrenOnly);
        QCOMPARE(items.size(), 1);
        QCOMPARE(items.at(0)->path().toString(), PelkQobuzSoundQualityPath().toString());
        const QPointer<QObject> item(items.at(0));
        const QPointer<QObject> node(worker().loginStateNode());
        m_worker.reset();
        QVERIFY(http);
        QVERIFY(api);
        QVERIFY(!item);
        QVERIFY(!node); // the registry's own
    }

    void anEndBeforeAnyTrackIsReportedFromTheStartValues()
    {
        worker().reportEndOfTrack();
        QVERIFY(server().waitForRequests(1));
        const Request request = server().requests().at(0);
        QCOMPARE(request.path, QByteArray("/api/track/reportStreamingEnd"));
        QCOMPARE(request.queryValue("track_id"), QByteArray("0"));
        QCOMPARE(request.queryValue("duration"), QByteArray("0"));
        QCOMPARE(request.queryValue("format_id"), QByteArray("0"));
    }

    void aReportedEndKeepsTheTrack()
    {
        worker().on_setData_invoke(CMSetDataRequest(CMPath("qobuz:stateChange?id=5&format=6"_s),
                                                    PelkRoles::Value(),
                                                    playState(PelkPlayLogicState::Opening)));
        for (int ends = 1; ends <= 2; ++ends) {
            worker().reportEndOfTrack();
            QVERIFY(server().waitForRequests(ends));
            QCOMPARE(server().requests().last().queryValue("track_id"), QByteArray("5"));
            QCOMPARE(server().requests().last().queryValue("format_id"), QByteArray("6"));
        }
    }

private:
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
        QCOMPARE(roles.query(), node.query ? "query"_s : QString());
        QCOMPARE(roles.queryPath().toString(), node.query ? "qobuz:search/"_s : QString());
        for (const QString& unset :
             {PelkRoles::Icon(), PelkRoles::MediaData(), PelkRoles::AudioType(), PelkRoles::Value()})
            QVERIFY2(!roles.contains(unset), qPrintable(unset));
    }
    /// The objects of the worker, which the program has linked in, on this thread.
    QobuzWorker& worker()
    {
        if (!m_worker)
            m_worker = std::make_unique<QobuzWorker>(QHash<QString, QVariant>());
        return *m_worker;
    }

    std::unique_ptr<QobuzWorker> m_worker;
};

QTEST_GUILESS_MAIN(WorkerTest)
#include "worker_test.moc"

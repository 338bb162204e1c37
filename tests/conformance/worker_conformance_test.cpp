// The worker as an object: its classes, its logger, its tree over time, and its end.

#include "tests/conformance/bareworker.h"
#include "tests/module/account_values.h"
#include "tests/support/modulehost.h"
#include "tests/support/ownprocess.h"
#include "tests/support/testhttpserver.h"
#include "tests/support/variantlines.h"

#include <QtTest>
#include <log4cplus/logger.h>

#include <cstdio>

// Qt's own list of functions that it calls as objects come and go; meant for tools, and so in no public
// header.
extern quintptr Q_CORE_EXPORT qtHookData[];

namespace {

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

const QStringList& roles()
{
    static const QStringList all{
        PelkRoles::Title(),         PelkRoles::Path(),       PelkRoles::Type(),
        PelkRoles::ContainerType(), PelkRoles::SearchPath(), PelkRoles::Query(),
        PelkRoles::QueryPath(),     PelkRoles::Icon(),       PelkRoles::ContainerPlayable()};
    return all;
}

/// Everything that the fixed nodes answer.
QStringList treeLines(ModuleHost& host)
{
    QStringList lines;
    for (const char* list : {"qobuz:", "qobuz:featured/", "qobuz:favourites/", "qobuz:purchases/",
                             "qobuz:search/", "qobuz:searchContainer"}) {
        const QString path = QString::fromLatin1(list);
        lines += variantLines(host.getData(path, roles()).value, path);
        lines += variantLines(host.rows(path, 0, 99, roles()).rows, path + QStringLiteral(" rows"));
    }
    return lines;
}

} // namespace

class WorkerConformanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itsClassesStandInTheirOrder()
    {
        ModuleHost host(QStringLiteral("http://127.0.0.1:9/"));
        host.start();
        QByteArrayList classes;
        for (const QMetaObject* meta = host.worker()->metaObject(); meta; meta = meta->superClass())
            classes << meta->className();
        QCOMPARE(classes,
                 (QByteArrayList{"QobuzWorker", "CMNodesWorker", "CMWorker", "CMAbstractWorker", "QObject"}));
    }

    void whatIsCalledByNameIsThere_data()
    {
        QTest::addColumn<QByteArray>("method");
        for (const char* method :
             {"on_getRows_invoke(CMGetRowsRequest)", "on_setData_invoke(CMSetDataRequest)",
              "on_qualityItem_changed(PelkValue)"})
            QTest::newRow(method) << QByteArray(method);
    }
    void whatIsCalledByNameIsThere()
    {
        QFETCH(QByteArray, method);
        ModuleHost host(QStringLiteral("http://127.0.0.1:9/"));
        host.start();
        const QMetaObject* const meta = host.worker()->metaObject();
        QVERIFY(meta->indexOfMethod(method.constData()) >= meta->methodOffset());
    }

    void theLoggerIsMadeWhenTheModuleIsLoaded()
    {
        const OwnProcess process = OwnProcess::play(QStringLiteral("load"));
        QVERIFY(!process.crashed);
        QCOMPARE(process.errors, QByteArray("before 0, after 1\n"));
    }

    void theTreeStaysAsItWasMade()
    {
        TestHttpServer server;
        server.setHandler([](const TestHttpServer::Request&) {
            return TestHttpServer::json(
                R"({"user":{"id":4711},"user_auth_token":"token-2","albums":{"total":1,"items":[{"id":"1"}]}})");
        });
        ModuleHost host(server.url());
        host.setSession();
        host.start();
        const QStringList made = treeLines(host);
        QVERIFY(made.size() > 100);
        QVERIFY(!host.rows(QStringLiteral("qobuz:featured/albums"), 0, 9).error.isSet());
        QVERIFY(!host.rows(QStringLiteral("qobuz:search/albums?query=x"), 0, 9).error.isSet());
        host.setQuality(PelkQobuzSoundQuality::Cd);
        QCOMPARE(treeLines(host), made);
        for (const PelkQobuzAccount& written : {account(PelkQobuzAccountOperation::Remove), login()})
            QVERIFY(!host.setData(accountPath(), PelkRoles::Value(), accountValue(written)).error.isSet());
        QCOMPARE(treeLines(host), made);
    }

    void anAnswerThatIsUnderWayWhenTheWorkerGoesStillBecomesRows()
    {
        TestHttpServer server;
        TestHttpServer::Response held =
            TestHttpServer::json(R"({"albums":{"total":1,"items":[{"id":"1","title":"An album"}]}})");
        held.hold = true;
        server.answer("/catalog/getFeatured", held);
        BareWorker<> bare(server.url());
        const CMGetRowsRequest request(CMPath(QStringLiteral("qobuz:featured/albums")), 0, 9,
                                       {PelkRoles::Title()});
        bare.worker()->getRowsRequest(request);
        QVERIFY(server.waitForRequests(1));
        // Transport, API client and browser are all needed for the rest.
        bare.deleteWorker();
        server.release();
        QVERIFY(ModuleHost::wait(request.reply()));
        QCOMPARE(request.reply().value().rows().toList().at(0).toList().at(0).toString(),
                 QStringLiteral("An album"));
    }

    void itLeavesTransportApiClientAndBrowserAndNothingElseBehind()
    {
        const LivingObjects living;
        BareWorker<> bare(QStringLiteral("http://127.0.0.1:9/"));
        for (const char* gone : {"QobuzWorker", "CMValueItem"})
            QVERIFY2(LivingObjects::of(gone).size() == 1, gone);
        bare.deleteWorker();
        for (const char* left : {"QobuzHttpInterface", "QobuzApi", "QobuzBrowser", "HttpClient"})
            QVERIFY2(LivingObjects::of(left).size() == 1, left);
        for (const char* gone : {"QobuzWorker", "CMValueItem"})
            QVERIFY2(LivingObjects::of(gone).isEmpty(), gone);
    }
};

namespace {

int play(const QString& /*name*/)
{
    const auto known = [] { return int(log4cplus::Logger::exists("Qobuz")); };
    const int before = known();
    QLibrary library(QStringLiteral(PELK_MODULE_FILE));
    library.setLoadHints(QLibrary::PreventUnloadHint);
    if (!library.load())
        return 1;
    std::fprintf(stderr, "before %d, after %d\n", before, known());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    return OwnProcess::main<WorkerConformanceTest>(argc, argv, play);
}

#include "worker_conformance_test.moc"

// How the module processes row and set-data requests: which it refuses, which it leaves to its nodes, and
// what it logs.

#include "tests/module/moduletest.h"
#include "tests/support/ownprocess.h"
#include "tests/support/patience.h"

#include <QSemaphore>

#include <thread>

class DispatchTest : public ModuleTest
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        open();
        server().answer("/api/track/getFileUrl", json(R"({"track_id":123,"url":"stream"})"));
    }
    void cleanup() { close(); }

    void aRequestIsLoggedOnArrivalAndWhenItIsProcessed_data()
    {
        Rows<bool, QString> row;
        row("a row request", true,
            "(const CMGetRowsRequest&): path: qobuz:favourites/?a=b, from: 2, to: 5, roles: title, path");
        row("a set-data request", false, "(const CMSetDataRequest&): \"x\"");
    }
    void aRequestIsLoggedOnArrivalAndWhenItIsProcessed()
    {
        const auto [rows, arguments] = fetched<bool, QString>();
        start();
        const Log log;
        const CMGetRowsRequest rowRequest(CMPath("qobuz:favourites/?a=b"_s), 2, 5,
                                          {PelkRoles::Title(), PelkRoles::Path()});
        const CMSetDataRequest dataRequest(CMPath("qobuz:featured/"_s), PelkRoles::Title(), "x"_s);
        log.watch(rows ? CMVoidReply(rowRequest.reply()) : CMVoidReply(dataRequest.reply()));
        if (rows)
            host().worker()->getRowsRequest(rowRequest);
        else
            host().worker()->setDataRequest(dataRequest);
        host().settle();
        QStringList lines = log.lines();
        if (rows) // what the browser writes about the range is its own test's
            QVERIFY(lines.takeAt(2).startsWith("TRACE QobuzBrowser.cpp: browse request"_l));
        const QString name = rows ? "getRows"_s : "setData"_s;
        QCOMPARE(lines, (QStringList{"TRACE QobuzWorker.cpp: Enter virtual void QobuzWorker::"_s + name +
                                         "Request"_s + arguments,
                                     "TRACE QobuzWorker.cpp: Enter void QobuzWorker::on_"_s + name +
                                         "_invoke"_s + arguments,
                                     "OFF : the reply"_s}));
    }

    void anEntryPointQueuesOnTheWorkersOwnThreadToo()
    {
        start();
        const CMGetRowsRequest rows(CMPath("qobuz:"_s), 0, 9, {});
        const CMSetDataRequest data(CMPath("qobuz:stateChange"_s), QString(), 1);
        bool early = true;
        const auto call = [&] {
            host().worker()->getRowsRequest(rows);
            host().worker()->setDataRequest(data);
            early = rows.reply().isFinished() || data.reply().isFinished();
        };
        QMetaObject::invokeMethod(host().worker(), call, Qt::BlockingQueuedConnection);
        QVERIFY(!early);
        QVERIFY(wait(rows.reply()) && wait(data.reply()));
    }

    void withoutAUserEveryRowRequestIsRefused_data()
    {
        Rows<QString> row;
        for (const char* path : {"qobuz:",
                                 "qobuz:featured/",
                                 "qobuz:featured/albums",
                                 "qobuz:playlists",
                                 "qobuz:favourites/",
                                 "qobuz:favourites/tracks",
                                 "qobuz:purchases/",
                                 "qobuz:purchases/albums",
                                 "qobuz:search/",
                                 "qobuz:search/artists?query=x",
                                 "qobuz:searchNode",
                                 "qobuz:searchContainer",
                                 "qobuz:album?id=1",
                                 "qobuz:artist?id=1",
                                 "qobuz:playlist?id=1",
                                 "qobuz:article?id=1",
                                 "qobuz:track?id=1",
                                 "qobuz:nothing",
                                 "account:qobuz",
                                 "account:qobuz/loginState"})
            row(path, QString::fromLatin1(path));
    }
    void withoutAUserEveryRowRequestIsRefused()
    {
        const auto [path] = fetched<QString>();
        start(false);
        const Log log(log4cplus::DEBUG_LOG_LEVEL);
        const CMGetRowsRequest request(CMPath(path), 0, 9, {PelkRoles::Title()});
        log.watch(request.reply());
        host().root().getRowsRequest(request);
        QVERIFY(wait(request.reply()));
        host().settle(); // the record is written after the reply is finished
        compareError(request.reply().error(),
                     translatable("void QobuzWorker::on_getRows_invoke(const CMGetRowsRequest&)",
                                  "User is not logged in"));
        QVERIFY(request.reply().value().rows().toList().isEmpty());
        QCOMPARE(log.lines(),
                 (QStringList{"OFF : the reply"_s, "ERROR QobuzWorker.cpp: User is not logged in"_s}));
        QCOMPARE(server().requestCount(), 0);
    }

    void withoutAUserARangeIsNotChecked()
    {
        start(false);
        QCOMPARE(host().rows("qobuz:"_s, -1, -1).error.message().source(),
                 QByteArray("User is not logged in"));
    }

    void withAUserTheFixedNodesAnswer()
    {
        start();
        const Log log;
        const ModuleHost::Rows rows = host().rows("qobuz:"_s, 1, 2);
        QVERIFY(succeeded(rows));
        QCOMPARE(rows.count, 5);
        QCOMPARE(rows.rows.size(), 2);
        QCOMPARE(rows.rows.at(0).toList().at(0).toString(), "My Playlists"_s);
        QVERIFY(log.errors().isEmpty());
        QCOMPARE(server().requestCount(), 0);
    }

    void withAUserTheBrowserHandlesRequestsBeforeTheNodes()
    {
        server().answer("/api/catalog/getFeatured", json(R"({"albums":{"total":0,"items":[]}})"));
        start();
        QVERIFY(host().rows("qobuz:featured/albums"_s, 0, 9).finished);
        QCOMPARE(server().requestCount(), 1);
    }

    void otherRequestsAreLeftToTheNodes_data()
    {
        Rows<QString, QString> row;
        row("the value role on the pre-play path", "qobuz:preplay?id=1", QString(PelkRoles::Value()));
        row("another letter case of the role", "qobuz:preplay?id=1", "PREPLAY");
        row("no role", "qobuz:preplay?id=1", QString());
        row("the pre-play role on a track", "qobuz:track?id=1", QString(PelkRoles::PrePlay()));
        row("the pre-play role on the root", "qobuz:", QString(PelkRoles::PrePlay()));
    }
    void otherRequestsAreLeftToTheNodes()
    {
        const auto [path, role] = fetched<QString, QString>();
        start();
        const ModuleHost::Data data = host().setData(path, role, QVariantHash());
        QVERIFY(data.finished);
        QVERIFY(data.error.isSet());
        QVERIFY(data.error.message().context().startsWith("CMNode"));
        QCOMPARE(server().requestCount(), 0);
    }

    void aRequestWithoutDataOrReplyIsAnAssertion_data()
    {
        addTexts({"rows while nobody is logged in", "rows while a user is logged in",
                  "set-data while nobody is logged in", "set-data", "get-data",
                  "no reply: rows while nobody is logged in", "no reply: a bad range",
                  "no reply: rows that the service fails", "no reply: rows of no node",
                  "no reply: a pre-play without an id", "no reply: a track that the service fails",
                  "no reply: a track while nobody is logged in", "no reply: a state of a track",
                  "no reply: a state of another service's track", "no reply: what is no account",
                  "no reply: an incomplete login", "no reply: a removal"});
    }
    void aRequestWithoutDataOrReplyIsAnAssertion()
    {
        const auto [name] = fetched<QString>();
        const OwnProcess process = OwnProcess::play(name);
        QVERIFY2(process.errors.contains("ASSERT: \"d()\""), process.errors.constData());
        QVERIFY(process.crashed);
    }

    void queuedFunctionsAreCalledByName_data()
    {
        Rows<bool> row;
        row("a row request", true);
        row("a set-data request", false);
    }
    void queuedFunctionsAreCalledByName()
    {
        const auto [rows] = fetched<bool>();
        start();
        // Called by name, it is processed at once, so the reply is finished when the call returns.
        if (rows) {
            const CMGetRowsRequest request(CMPath("qobuz:"_s), 0, 9, {PelkRoles::Title()});
            QVERIFY(QMetaObject::invokeMethod(host().worker(), "on_getRows_invoke",
                                              Qt::BlockingQueuedConnection,
                                              Q_ARG(CMGetRowsRequest, request)));
            QVERIFY(request.reply().isFinished());
            QCOMPARE(request.reply().value().rowsCount(), 5);
        } else {
            const CMSetDataRequest request(CMPath("qobuz:stateChange"_s), QString(), 1);
            QVERIFY(QMetaObject::invokeMethod(host().worker(), "on_setData_invoke",
                                              Qt::BlockingQueuedConnection,
                                              Q_ARG(CMSetDataRequest, request)));
            QVERIFY(request.reply().isFinished());
        }
    }

    void anEntryPointDoesNotWaitForTheWorkersThread_data()
    {
        Rows<bool> row;
        row("a row request", true);
        row("a set-data request", false);
    }
    void anEntryPointDoesNotWaitForTheWorkersThread()
    {
        const bool rows = std::get<0>(fetched<bool>());
        start();
        QSemaphore busy;
        QSemaphore goOn;
        QSemaphore sent;
        QMetaObject::invokeMethod(host().worker(), [&] {
            busy.release();
            goOn.tryAcquire(1, 20000); // bounded, so that a failing test ends
        });
        QVERIFY(busy.tryAcquire(1, 10000));
        const CMGetRowsRequest rowRequest(CMPath("qobuz:"_s), 0, 9, {PelkRoles::Title()});
        const CMSetDataRequest dataRequest(CMPath("qobuz:stateChange"_s), QString(), 1);
        std::thread caller([&] {
            if (rows)
                host().worker()->getRowsRequest(rowRequest);
            else
                host().worker()->setDataRequest(dataRequest);
            sent.release();
        });
        const bool returned = sent.tryAcquire(1, 10000);
        const bool finished = rowRequest.reply().isFinished() || dataRequest.reply().isFinished();
        goOn.release();
        caller.join();
        QVERIFY(returned);
        QVERIFY(!finished);
        QVERIFY(wait(rows ? CMVoidReply(rowRequest.reply()) : CMVoidReply(dataRequest.reply())));
    }

    void aPathThatStartsWithTheStateChangePathIsAStateChange_data()
    {
        Rows<QString, bool> row;
        row("the path itself", "qobuz:stateChange", true);
        row("with parameters", "qobuz:stateChange?id=1&format=6", true);
        row("something below it", "qobuz:stateChange/more?id=1", true);
        row("a name that goes on", "qobuz:stateChanges", true);
        row("somewhere else in the path", "qobuz:x/stateChange", false);
        row("in a parameter", "qobuz:x?y=stateChange", false);
        row("another letter case", "qobuz:statechange", false);
        row("without the prefix", "stateChange", false);
        row("with another prefix", "account:stateChange", false);
    }
    void aPathThatStartsWithTheStateChangePathIsAStateChange()
    {
        const auto [path, taken] = fetched<QString, bool>();
        start();
        const CMSetDataRequest request(CMPath(path), PelkRoles::Value(), QVariantHash());
        host().worker()->setDataRequest(request);
        host().settle();
        QVERIFY(request.reply().isFinished());
        QCOMPARE(request.reply().error().isSet(), !taken);
        QVERIFY(!request.reply().value().isValid());
    }

    void withoutAUserAStateChangeIsStillAcknowledged()
    {
        start(false);
        const ModuleHost::Data data =
            host().setData("qobuz:stateChange?id=1"_s, PelkRoles::Value(), QVariantHash());
        QVERIFY(succeeded(data));
    }

    void anAnswerIsFinishedOnTheWorkersThread_data()
    {
        Rows<QByteArray, QString> row;
        row("a stream", "{}", "qobuz:preplay?id=1");
        row("an answer that cannot be read", "<", "qobuz:preplay?id=1");
        row("no id", QByteArray(), "qobuz:preplay");
        row("a state change", QByteArray(), "qobuz:stateChange");
        row("a node", QByteArray(), "qobuz:");
    }
    void anAnswerIsFinishedOnTheWorkersThread()
    {
        const auto [body, path] = fetched<QByteArray, QString>();
        server().answer("/api/track/getFileUrl", json(body));
        start();
        const CMSetDataRequest request(CMPath(path), PelkRoles::PrePlay(), QVariantHash());
        const auto thread = threadOf(request.reply());
        host().worker()->setDataRequest(request);
        QVERIFY(wait(request.reply()));
        host().settle();
        QCOMPARE(thread->load(), host().workerThread());
    }

    void aReleasedRequestIsStillProcessed()
    {
        start();
        const Log log(log4cplus::DEBUG_LOG_LEVEL);
        host().worker()->setDataRequest(
            CMSetDataRequest(CMPath("qobuz:preplay?id=5"_s), PelkRoles::PrePlay(), QVariantHash()));
        QVERIFY(server().waitForRequests(1));
        QTRY_COMPARE(log.debugs(), QStringList{"Qobuz track with id '5' was resolved to stream"_s});
    }

private:
    static void compareError(const CMError& error, const TrString& message)
    {
        QCOMPARE(variantLines(error.variant()), variantLines(CMError(message).variant()));
        QVERIFY(error.message() == message); // comment, count and arguments too
    }
};

namespace {

/// A request with everything but a reply.
template <typename Request>
class WithoutReply : public Request
{
public:
    WithoutReply(const QString& path, const QVariant& value, int first = 0)
    {
        struct Base : CMRequest
        {
            static Data* make(const QString& path, const QVariant& value, int first)
            {
                auto* data = new Data;
                data->path = CMPath(path);
                data->role = path.contains("preplay"_l) ? PelkRoles::PrePlay() : PelkRoles::Value();
                data->value = value;
                data->from = first;
                return data;
            }
            Base(const QString& path, const QVariant& value, int first)
                : CMRequest(make(path, value, first))
            {
            }
        };
        static_cast<CMRequest&>(*this) = Base(path, value, first);
    }
};

int play(const QString& name)
{
    ModuleHost host("http://127.0.0.1:%1/"_s.arg(TestHttpServer::unusedPort()));
    if (!name.contains("nobody"_l))
        host.setSession();
    host.start();
    CMWorker* const worker = host.worker();
    const auto rows = [worker](const char* path, int first = 0) {
        worker->getRowsRequest(WithoutReply<CMGetRowsRequest>(QString::fromLatin1(path), QVariant(), first));
    };
    const auto setData = [worker](const QString& path, const QVariant& value) {
        worker->setDataRequest(WithoutReply<CMSetDataRequest>(path, value));
    };
    const QHash<QString, std::function<void()>> all{
        {"rows while nobody is logged in"_s, [&] { worker->getRowsRequest(CMGetRowsRequest()); }},
        {"rows while a user is logged in"_s, [&] { worker->getRowsRequest(CMGetRowsRequest()); }},
        {"set-data while nobody is logged in"_s, [&] { worker->setDataRequest(CMSetDataRequest()); }},
        {"set-data"_s, [&] { worker->setDataRequest(CMSetDataRequest()); }},
        {"get-data"_s, [&] { worker->getDataRequest(CMGetDataRequest()); }},
        {"no reply: rows while nobody is logged in"_s, [&] { rows("qobuz:"); }},
        {"no reply: a bad range"_s, [&] { rows("qobuz:playlists", -1); }},
        {"no reply: rows that the service fails"_s, [&] { rows("qobuz:playlists"); }},
        {"no reply: rows of no node"_s, [&] { rows("qobuz:nothing"); }},
        {"no reply: a pre-play without an id"_s, [&] { setData("qobuz:preplay"_s, QVariant()); }},
        {"no reply: a track that the service fails"_s, [&] { setData("qobuz:preplay?id=1"_s, QVariant()); }},
        {"no reply: a track while nobody is logged in"_s,
         [&] { setData("qobuz:preplay?id=1"_s, QVariant()); }},
        {"no reply: a state of a track"_s,
         [&] { setData("qobuz:stateChange?id=1"_s, ModuleTest::playState(PelkPlayLogicState::Opening)); }},
        {"no reply: a state of another service's track"_s,
         [&] { setData("qobuz:stateChange?id=1"_s, ModuleTest::playState(1, QString(), "other:track"_s)); }},
        {"no reply: what is no account"_s, [&] { setData(accountPath(), 5); }},
        {"no reply: an incomplete login"_s, [&] { setData(accountPath(), accountValue(account(1))); }},
        {"no reply: a removal"_s, [&] { setData(accountPath(), accountValue(account(2))); }},
    };
    all.value(name)();
    host.settle();
    // A failure of the service ends the process when the response arrives.
    return name.contains("service fails"_l) && !QTest::qWaitFor([] { return false; }, patienceMs) ? 1 : 0;
}

} // namespace

int main(int argc, char** argv)
{
    return OwnProcess::main<DispatchTest>(argc, argv, play);
}

#include "dispatch_test.moc"

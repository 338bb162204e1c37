// Requests on their way through the worker: what is written about them, to the record; what they are
// answered, to the leaf; and which path leads where.

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/testhttpserver.h"
#include "tests/support/variantlines.h"

#include <QSemaphore>
#include <QtTest>

#include <atomic>
#include <limits>
#include <memory>
#include <thread>

namespace {

/// What a logger was told, with level and source file.
QStringList recordLines(const LogCapture& log)
{
    QStringList lines;
    for (const LogCapture::Record& record : log.records())
        lines << QString::fromStdString(log4cplus::getLogLevelManager().toString(record.level)) +
                     QLatin1Char(' ') + record.file + QStringLiteral(": ") + record.text;
    return lines;
}

QByteArray fullAnswer()
{
    return R"({"track_id":123,"duration":241,"url":"https://s.example/f?a=1","format_id":6,)"
           R"("mime_type":"audio/flac","sampling_rate":44.1,"bit_depth":16,)"
           R"("restrictions":[{"code":"FormatRestrictedByFormatAvailability"}]})";
}

} // namespace

class DispatchConformanceTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<ModuleHost> m_host;
    ModuleHost& host() { return *m_host; }

    void start(bool loggedIn = true)
    {
        if (loggedIn)
            host().setSession();
        host().start();
    }
    ModuleHost::Data resolve(const QVariant& value = QVariantHash(),
                             const char* path = "qobuz:preplay?id=123")
    {
        return host().setData(QString::fromLatin1(path), PelkRoles::PrePlay(), value);
    }
    void answerStream(const QByteArray& body)
    {
        m_server->answer("/track/getFileUrl", TestHttpServer::json(body));
    }
    static PelkMetaData metaDataOf(const ModuleHost::Data& data)
    {
        return PelkRoles(PelkHash(data.value.toHash())).mediaData().metaData();
    }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        m_host = std::make_unique<ModuleHost>(m_server->url());
        answerStream(fullAnswer());
    }
    void cleanup()
    {
        m_host.reset();
        m_server.reset();
    }

    void whatIsQueuedIsCalledByItsName_data()
    {
        QTest::addColumn<bool>("rows");
        QTest::newRow("a row request") << true;
        QTest::newRow("a set-data request") << false;
    }
    void whatIsQueuedIsCalledByItsName()
    {
        QFETCH(bool, rows);
        start();
        // Called by name it is dealt with at once, so that the reply is finished when the call returns.
        if (rows) {
            const CMGetRowsRequest request(CMPath(QStringLiteral("qobuz:")), 0, 9, {PelkRoles::Title()});
            QVERIFY(QMetaObject::invokeMethod(host().worker(), "on_getRows_invoke",
                                              Qt::BlockingQueuedConnection,
                                              Q_ARG(CMGetRowsRequest, request)));
            QVERIFY(request.reply().isFinished());
            QCOMPARE(request.reply().value().rowsCount(), 5);
        } else {
            const CMSetDataRequest request(CMPath(QStringLiteral("qobuz:stateChange")), QString(), 1);
            QVERIFY(QMetaObject::invokeMethod(host().worker(), "on_setData_invoke",
                                              Qt::BlockingQueuedConnection,
                                              Q_ARG(CMSetDataRequest, request)));
            QVERIFY(request.reply().isFinished());
        }
    }

    void anEntryPointDoesNotWaitForTheWorkersThread_data()
    {
        QTest::addColumn<bool>("rows");
        QTest::newRow("a row request") << true;
        QTest::newRow("a set-data request") << false;
    }
    void anEntryPointDoesNotWaitForTheWorkersThread()
    {
        QFETCH(bool, rows);
        start();
        QSemaphore busy;
        QSemaphore goOn;
        QSemaphore sent;
        QMetaObject::invokeMethod(host().worker(), [&] {
            busy.release();
            goOn.tryAcquire(1, 20000); // bounded, so that a failing test ends
        });
        QVERIFY(busy.tryAcquire(1, 10000));
        const CMGetRowsRequest rowRequest(CMPath(QStringLiteral("qobuz:")), 0, 9, {PelkRoles::Title()});
        const CMSetDataRequest dataRequest(CMPath(QStringLiteral("qobuz:stateChange")), QString(), 1);
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
        QVERIFY(ModuleHost::wait(rows ? CMVoidReply(rowRequest.reply()) : CMVoidReply(dataRequest.reply())));
    }

    void aRefusedRowRequestIsToldBeforeItIsLogged()
    {
        start(false);
        const LogCapture log(QStringLiteral("Qobuz"));
        const CMGetRowsRequest request(CMPath(QStringLiteral("qobuz:featured/albums")), 0, 9,
                                       {PelkRoles::Title()});
        std::atomic<int> recordsAtReply{-1};
        request.reply().addWatcher([&](const CMVoidReply&) { recordsAtReply = log.records().size(); },
                                   Qt::DirectConnection);
        host().worker()->getRowsRequest(request);
        host().settle();
        QCOMPARE(int(recordsAtReply), 2);
        const QString arguments = QStringLiteral(
            "(const CMGetRowsRequest&): path: qobuz:featured/albums, from: 0, to: 9, roles: title");
        QCOMPARE(recordLines(log),
                 (QStringList{
                     QStringLiteral("TRACE QobuzWorker.cpp: Enter virtual void QobuzWorker::getRowsRequest") +
                         arguments,
                     QStringLiteral("TRACE QobuzWorker.cpp: Enter void QobuzWorker::on_getRows_invoke") +
                         arguments,
                     QStringLiteral("ERROR QobuzWorker.cpp: User is not logged in")}));
    }

    void aRefusalHasNothingButNameTitleAndMessage_data()
    {
        QTest::addColumn<bool>("rows");
        QTest::addColumn<QString>("message");
        QTest::newRow("rows without a user")
            << true
            << "/message: TrString \"User is not logged in\" of \"void QobuzWorker::on_getRows_invoke(const "
               "CMGetRowsRequest&)\", read as \"User is not logged in\"";
        QTest::newRow("a pre-play without an id")
            << false
            << "/message: TrString \"Track resolve failed\" of \"void QobuzWorker::on_setData_invoke(const "
               "CMSetDataRequest&)\", read as \"Track resolve failed\"";
    }
    void aRefusalHasNothingButNameTitleAndMessage()
    {
        QFETCH(bool, rows);
        QFETCH(QString, message);
        start(!rows);
        const CMError error = rows ? host().rows(QStringLiteral("qobuz:"), 0, 9).error
                                   : resolve(QVariantHash(), "qobuz:preplay").error;
        QStringList lines = variantLines(CMError(TrString()).hash());
        QCOMPARE(lines.size(), 3);
        lines.replaceInStrings(QRegularExpression(QStringLiteral("^/%1: .*").arg(CMError::Message())),
                               message);
        QCOMPARE(variantLines(error.hash()), lines);
        QVERIFY(error.message().comment().isEmpty());
        QCOMPARE(error.message().count(), -1);
        QVERIFY(error.message().arguments().isEmpty());
    }

    void aPrePlayWithoutAnIdLeavesItsEntryInTheLogOnly()
    {
        start();
        const LogCapture log(QStringLiteral("Qobuz"));
        QVERIFY(resolve(QStringLiteral("x"), "qobuz:preplay").error.isSet());
        host().settle();
        QCOMPARE(recordLines(log),
                 (QStringList{QStringLiteral("TRACE QobuzWorker.cpp: Enter virtual void QobuzWorker::"
                                             "setDataRequest(const CMSetDataRequest&): \"x\""),
                              QStringLiteral("TRACE QobuzWorker.cpp: Enter void QobuzWorker::"
                                             "on_setData_invoke(const CMSetDataRequest&): \"x\"")}));
    }

    void prePlayIsFoundInTheParametersToo()
    {
        start();
        QVERIFY(!resolve(QVariantHash(), "qobuz:track?via=preplay&id=5").error.isSet());
        QCOMPARE(m_server->requests().at(0).queryValue("track_id"), QByteArray("5"));
    }

    void aStateChangeIsWhatStartsWithItsPath_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("taken");
        QTest::newRow("the path itself") << "qobuz:stateChange" << true;
        QTest::newRow("with parameters") << "qobuz:stateChange?id=1&format=6" << true;
        QTest::newRow("something below it") << "qobuz:stateChange/more?id=1" << true;
        QTest::newRow("a name that goes on") << "qobuz:stateChanges" << true;
        QTest::newRow("somewhere else in the path") << "qobuz:x/stateChange" << false;
        QTest::newRow("in a parameter") << "qobuz:x?y=stateChange" << false;
        QTest::newRow("another letter case") << "qobuz:statechange" << false;
        QTest::newRow("without the prefix") << "stateChange" << false;
        QTest::newRow("with another prefix") << "account:stateChange" << false;
    }
    void aStateChangeIsWhatStartsWithItsPath()
    {
        QFETCH(QString, path);
        QFETCH(bool, taken);
        start();
        const CMSetDataRequest request(CMPath(path), PelkRoles::Value(), QVariantHash());
        host().worker()->setDataRequest(request);
        host().settle();
        QVERIFY(request.reply().isFinished());
        QCOMPARE(request.reply().error().isSet(), !taken);
        QVERIFY(!request.reply().value().isValid());
    }

    void withoutAUserAStateChangeIsAcknowledgedAllTheSame()
    {
        start(false);
        const ModuleHost::Data data =
            host().setData(QStringLiteral("qobuz:stateChange?id=1"), PelkRoles::Value(), QVariantHash());
        QVERIFY(data.finished);
        QVERIFY(!data.error.isSet());
    }

    void anAnswerIsFinishedOnTheWorkersThread_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("path");
        QTest::newRow("a stream") << fullAnswer() << "qobuz:preplay?id=1";
        QTest::newRow("an answer that cannot be read") << QByteArray("<") << "qobuz:preplay?id=1";
        QTest::newRow("no id") << QByteArray() << "qobuz:preplay";
        QTest::newRow("a state change") << QByteArray() << "qobuz:stateChange";
        QTest::newRow("a node") << QByteArray() << "qobuz:";
    }
    void anAnswerIsFinishedOnTheWorkersThread()
    {
        QFETCH(QByteArray, body);
        QFETCH(QString, path);
        answerStream(body);
        start();
        const CMSetDataRequest request(CMPath(path), PelkRoles::PrePlay(), QVariantHash());
        std::atomic<QThread*> thread{nullptr};
        request.reply().addWatcher([&](const CMVoidReply&) { thread = QThread::currentThread(); },
                                   Qt::DirectConnection);
        host().worker()->setDataRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        host().settle();
        QCOMPARE(thread.load(), host().workerThread());
    }

    void aRequestThatNobodyHoldsAnyMoreIsDealtWithAllTheSame()
    {
        start();
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::DEBUG_LOG_LEVEL);
        host().worker()->setDataRequest(CMSetDataRequest(CMPath(QStringLiteral("qobuz:preplay?id=5")),
                                                         PelkRoles::PrePlay(), QVariantHash()));
        QVERIFY(m_server->waitForRequests(1));
        QTRY_COMPARE(
            log.texts(log4cplus::DEBUG_LOG_LEVEL),
            QStringList{QStringLiteral("Qobuz track with id '5' was resolved to https://s.example/f?a=1")});
    }

    void aFailureToResolveIsAllThatComesOfIt()
    {
        m_server->answer("/track/getFileUrl", TestHttpServer::json(R"({"message":"No"})", 404));
        start();
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::DEBUG_LOG_LEVEL);
        const CMSetDataRequest request(CMPath(QStringLiteral("qobuz:preplay?id=5")), PelkRoles::PrePlay(),
                                       QVariantHash());
        host().worker()->setDataRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        host().settle(); // what else the answer led to has happened
        QCOMPARE(request.reply().error().message().toString(), QStringLiteral("No"));
        QVERIFY(request.reply().value().isNull());
        QVERIFY(log.texts(log4cplus::DEBUG_LOG_LEVEL).isEmpty());
    }

    void aResolvedRowIsThisToTheLeaf()
    {
        start();
        PelkMetaData metaData;
        metaData.setArtist(QStringLiteral("An artist"));
        metaData.setPrePlayTimeOffset(61500);
        PelkMediaData mediaData;
        mediaData.setMetaData(metaData);
        PelkRoles row;
        row.setTitle(TrString(TrCharData{"A context", "A title"}, {}));
        row.setMediaData(mediaData);
        const ModuleHost::Data data = resolve(row.variant());
        QVERIFY(data.finished);
        QCOMPARE(variantLines(data.value),
                 (QStringList{
                     QStringLiteral("/mediaData/metaData/allowSeekTime: bool \"true\""),
                     QStringLiteral("/mediaData/metaData/artist: QString \"An artist\""),
                     QStringLiteral(
                         "/mediaData/metaData/contentStateChangePath: QString \"qobuz:stateChange?id=123&"
                         "format=6&FormatRestrictedByFormatAvailability=1\""),
                     QStringLiteral("/mediaData/metaData/prePlayTimeOffset: qlonglong \"61500\""),
                     QStringLiteral("/mediaData/metaData/startTime: qlonglong \"61500\""),
                     QStringLiteral("/mediaData/resources/0/bitsPerSample: int \"16\""),
                     QStringLiteral("/mediaData/resources/0/duration: qlonglong \"241\""),
                     QStringLiteral("/mediaData/resources/0/maxIdleTime: qlonglong \"1800000\""),
                     QStringLiteral("/mediaData/resources/0/mimeType: QString \"audio/flac\""),
                     QStringLiteral("/mediaData/resources/0/sampleFrequency: int \"44100\""),
                     QStringLiteral("/mediaData/resources/0/uri: QString \"https://s.example/f?a=1\""),
                     QStringLiteral("/mediaData/resources: QVariantList of 1"),
                     QStringLiteral("/title: TrString \"A title\" of \"A context\", read as \"A title\"")}));
    }

    void aValueThatIsNoRowGetsItsMediaDataAllTheSame_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::newRow("nothing") << QVariant();
        QTest::newRow("a text") << QVariant(QStringLiteral("row"));
        QTest::newRow("a list") << QVariant(QVariantList{1});
        QTest::newRow("media data of another shape")
            << QVariant(QVariantHash{{PelkRoles::MediaData(), QStringLiteral("x")}});
    }
    void aValueThatIsNoRowGetsItsMediaDataAllTheSame()
    {
        QFETCH(QVariant, value);
        start();
        const ModuleHost::Data data = resolve(value);
        QVERIFY(data.finished);
        QVERIFY(!data.error.isSet());
        QCOMPARE(data.value.toHash().keys(), QStringList{PelkRoles::MediaData()});
        QCOMPARE(PelkRoles(PelkHash(data.value.toHash())).mediaData().resources().at(0).uri(),
                 QStringLiteral("https://s.example/f?a=1"));
    }

    void aRestrictionIsAParameterNamedByItsCode_data()
    {
        QTest::addColumn<QByteArray>("restrictions");
        QTest::addColumn<QString>("parameters");
        QTest::newRow("none") << QByteArray("[]") << "";
        QTest::newRow("no list") << QByteArray("null") << "";
        QTest::newRow("one") << QByteArray(R"([{"code":"A"}])") << "&A=1";
        QTest::newRow("three, in their order")
            << QByteArray(R"([{"code":"C"},{"code":"A"},{"code":"B"}])") << "&C=1&A=1&B=1";
        QTest::newRow("one twice: a path keeps both")
            << QByteArray(R"([{"code":"A"},{"code":"A"}])") << "&A=1&A=1";
        QTest::newRow("an entry without a code has no name") << QByteArray("[{}]") << "&=1";
        QTest::newRow("a code with the signs of a path")
            << QByteArray("[{\"code\":\"A&id=9\"},{\"code\":\"x y#?\"}]") << "&A%26id%3D9=1&x%20y%23%3F=1";
    }
    void aRestrictionIsAParameterNamedByItsCode()
    {
        QFETCH(QByteArray, restrictions);
        QFETCH(QString, parameters);
        answerStream(R"({"track_id":1,"format_id":6,"url":"u","restrictions":)" + restrictions + "}");
        start();
        QCOMPARE(metaDataOf(resolve()).contentStateChangePath().toString(),
                 QStringLiteral("qobuz:stateChange?id=1&format=6") + parameters);
    }

    void aPartOfAHertzIsCutOff_data()
    {
        QTest::addColumn<QByteArray>("rate");
        QTest::addColumn<int>("hertz");
        QTest::newRow("below the half") << QByteArray("44.1004") << 44100;
        QTest::newRow("above the half") << QByteArray("44.1009") << 44100;
        QTest::newRow("below one") << QByteArray("0.0009") << 0;
        QTest::newRow("below nothing") << QByteArray("-0.0019") << -1;
        QTest::newRow("more than a number holds") << QByteArray("1e300") << std::numeric_limits<int>::max();
        QTest::newRow("less than a number holds") << QByteArray("-1e300") << std::numeric_limits<int>::min();
    }
    void aPartOfAHertzIsCutOff()
    {
        QFETCH(QByteArray, rate);
        QFETCH(int, hertz);
        answerStream(R"({"url":"u","sampling_rate":)" + rate + "}");
        start();
        const ModuleHost::Data data = resolve();
        QCOMPARE(PelkRoles(PelkHash(data.value.toHash())).mediaData().resources().at(0).sampleFrequency(),
                 hertz);
    }
};

QTEST_GUILESS_MAIN(DispatchConformanceTest)
#include "dispatch_conformance_test.moc"

// What every call of the service has in common: what goes out with it, what becomes of its answer, and what
// is written to the log on the way.

#include "api/core/json/pelkjson.h"
#include "tests/conformance/servicecalls.h"
#include "tests/module/browsefixture.h"
#include "tests/support/variantlines.h"

#include <QtTest>

#include <memory>

using Response = TestHttpServer::Response;

Q_DECLARE_METATYPE(Response)

namespace {

const QString apiFile = QStringLiteral("QobuzApi.cpp");
const QString transportFile = QStringLiteral("QobuzHttpInterface.cpp");
const QString albumsPath = QStringLiteral("qobuz:featured/albums");
const QByteArray albumsUrl = "catalog/getFeatured?offset=0&limit=10&type=albums";

constexpr char simpleGetName[] = "CMReply<T> QobuzApi::simpleGet(const PelkUrl&, const bool&, "
                                 "std::function<void(T&)>) [with T = %R]";
constexpr char getName[] =
    "CMReply<T> QobuzApi::get(const PelkUrl&, HttpClientOptions, std::function<void(T&)>) [with T = %R]";
constexpr char completionName[] =
    "QobuzApi::get<%R>(const PelkUrl&, HttpClientOptions, std::function<void(%R&)>)"
    "::<lambda(int, int, const QByteArray&, const HttpClientHeaders&)> mutable";
constexpr char errorName[] =
    "bool QobuzApi::handleHttpError(const PelkUrl&, CMReply<T>&, int, const QByteArray&) [with T = %R]";

QString traceOf(const QString& file, const QString& text)
{
    return QStringLiteral("Qobuz TRACE ") + file + QStringLiteral(": ") + text;
}

QString errorLine(const QString& text)
{
    return QStringLiteral("Qobuz ERROR QobuzApi.cpp: ") + text;
}

/// A list of albums that is exactly so long.
QByteArray albumsOfBytes(int bytes)
{
    const QByteArray body = "{\"albums\":" + BrowseFixture::list(1, {R"({"id":"1","title":"A"})"}) + "}";
    return body + QByteArray(bytes - body.size(), ' ');
}

Response withFault(const std::function<void(Response&)>& fault)
{
    Response response = TestHttpServer::json("{\"message\":\"never read\"}");
    fault(response);
    return response;
}

} // namespace

class PipelineConformanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_fixture = std::make_unique<BrowseFixture>(); }
    void cleanup()
    {
        QVERIFY(isIdle());
        m_fixture.reset();
    }

    void aCallIsAGetOfItsUrlWithItsHeadersAndNoOthers_data() { addCalls(); }
    void aCallIsAGetOfItsUrlWithItsHeadersAndNoOthers()
    {
        const ServiceCall call = fetchedCall();
        m_fixture->serve("{}");
        QVERIFY(make(call).finished);
        QCOMPARE(m_fixture->targets(), QList<QByteArray>{"/api/" + call.relative});
        const TestHttpServer::Request request = m_fixture->server.requests().at(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QVERIFY(request.body.isEmpty());
        QByteArrayList names;
        QByteArrayList own;
        for (const TestHttpServer::Pair& header : request.headers) {
            names << header.first;
            if (header.first.startsWith("X-"))
                own << header.first + ": " + header.second;
        }
        QByteArrayList expected{"X-App-Id: app-id", "X-User-Auth-Token: token-1"};
        expected = expected.mid(0, int(call.headers));
        QCOMPARE(own, expected);
        // Beside them only what any HTTP client says of itself: no cookies, no credentials, no body's type.
        for (const QByteArray& name : qAsConst(names))
            QVERIFY2(name.startsWith("X-") || name == "Host" || name == "Accept" || name == "Accept-Encoding",
                     name.constData());
    }

    void aCallWritesTheseLines_data() { addCalls(); }
    void aCallWritesTheseLines()
    {
        const ServiceCall call = fetchedCall();
        m_fixture->serve("{}");
        const LogCapture log(QStringLiteral("Qobuz"));
        QVERIFY(make(call).finished);
        const QString url = QString::fromLatin1(call.relative);
        const auto line = [](const char* function, const QString& argument) {
            return traceOf(transportFile, QLatin1String(function) + QStringLiteral(": ") + argument);
        };
        QStringList expected;
        if (!call.entry.isEmpty())
            expected << traceOf(apiFile, QString::fromLatin1(call.entry));
        if (call.headers != ServiceCall::None) // a login needs no user, so it is not asked for one
            expected << traceOf(apiFile, QStringLiteral("Enter ") + call.signature(simpleGetName) +
                                             QStringLiteral(": ") + url);
        expected << traceOf(apiFile,
                            QStringLiteral("Enter ") + call.signature(getName) + QStringLiteral(": ") + url)
                 << line("Enter void QobuzHttpInterface::get(const PelkUrl&, const HttpClientOptions&, const "
                         "Callback&)",
                         url)
                 << line("Enter void QobuzHttpInterface::send(const HttpRequest&)", url)
                 << line("Enter PelkUrl QobuzHttpInterface::composeUrl(const PelkUrl&)", url)
                 << line("Leave PelkUrl QobuzHttpInterface::composeUrl(const PelkUrl&)",
                         m_fixture->server.url(QStringLiteral("/api/")) + url)
                 << line("Leave void QobuzHttpInterface::send(const HttpRequest&)", QString())
                 << line("Leave void QobuzHttpInterface::get(const PelkUrl&, const HttpClientOptions&, const "
                         "Callback&)",
                         QString())
                 << line("Enter void QobuzHttpInterface::httpCallback(HttpRequest, const HttpClientResult&)",
                         QStringLiteral("code: 200"));
        QCOMPARE(linesOf(log, {apiFile, transportFile}), expected);
    }

    void nothingOfThisIsWrittenAboveTraceLevel_data() { addCalls(); }
    void nothingOfThisIsWrittenAboveTraceLevel()
    {
        const ServiceCall call = fetchedCall();
        m_fixture->serve("{}");
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::DEBUG_LOG_LEVEL);
        call.make(m_fixture->host);
        QCOMPARE(requestsInAll(m_fixture->server), 1);
        QCOMPARE(linesOf(log, {apiFile, transportFile}), QStringList());
    }

    void aRefusalWithAMessageFailsWithThatMessage_data() { addCalls(); }
    void aRefusalWithAMessageFailsWithThatMessage()
    {
        const ServiceCall call = fetchedCall();
        const QString message = QStringLiteral("No: 50% of \u97f3, %1 %2");
        m_fixture->serve("{\"status\":\"error\",\"code\":1,\"message\":\"" + message.toUtf8() + "\"}", 404);
        compareFailure(call,
                       CMError(TrString(message), {{QStringLiteral("ErrorCode"), 404},
                                                   {QStringLiteral("ServerReply"), message}}),
                       QStringLiteral("HTTP call to ") + QString::fromLatin1(call.relative) +
                           QStringLiteral(" failed (404): ") + message);
    }

    void aRefusalWithoutAMessageIsAnUnknownErrorWithAnEmptyReply_data() { addCalls(); }
    void aRefusalWithoutAMessageIsAnUnknownErrorWithAnEmptyReply()
    {
        const ServiceCall call = fetchedCall();
        m_fixture->serve("{\"status\":\"error\",\"code\":400}", 400);
        compareFailure(
            call,
            CMError(translatable(call.signature(errorName), "Unknown error"),
                    {{QStringLiteral("ErrorCode"), 400}, {QStringLiteral("ServerReply"), QString()}}),
            QStringLiteral("HTTP call to ") + QString::fromLatin1(call.relative) +
                QStringLiteral(" failed (400): "));
    }

    void aRefusalThatIsNoJsonIsAnUnknownErrorWithoutAReply_data() { addCalls(); }
    void aRefusalThatIsNoJsonIsAnUnknownErrorWithoutAReply()
    {
        const ServiceCall call = fetchedCall();
        m_fixture->serve("<html>{\"message\":\"no\"}</html>", 500);
        compareFailure(call,
                       CMError(translatable(call.signature(errorName), "Unknown error"),
                               {{QStringLiteral("ErrorCode"), 500}}),
                       QStringLiteral("HTTP call to ") + QString::fromLatin1(call.relative) +
                           QStringLiteral(" failed (500)"));
    }

    void aSuccessThatIsNoJsonFails_data() { addCalls(); }
    void aSuccessThatIsNoJsonFails()
    {
        const ServiceCall call = fetchedCall();
        const QByteArray body = "{\"albums\":";
        m_fixture->serve(body);
        PelkError parseError;
        PelkJson::parse(body, parseError);
        QVERIFY(!parseError.toString().isEmpty());
        compareFailure(call, CMError(translatable(call.signature(completionName), "Invalid data returned.")),
                       QStringLiteral("Failed to parse data, error: ") + parseError.toString());
    }

    void aSuccessThatHoldsNothingIsAnEmptyAnswer_data()
    {
        QTest::addColumn<QByteArray>("body");
        for (const char* body : {"{}", " {} ", "[]", "[{\"albums\":{\"total\":3}}]", "\"text\"", "5", "true",
                                 "null", "{\"message\":\"an error, were it not for the 200\"}"})
            QTest::newRow(body) << QByteArray(body);
    }
    void aSuccessThatHoldsNothingIsAnEmptyAnswer()
    {
        QFETCH(QByteArray, body);
        m_fixture->serve(body);
        const LogCapture log(QStringLiteral("Qobuz"), log4cplus::DEBUG_LOG_LEVEL);
        const ModuleHost::Rows answer = m_fixture->host.rows(albumsPath, 0, 9);
        QVERIFY(answer.finished);
        QVERIFY(!answer.error.isSet());
        QCOMPARE(answer.rows, QVariantList());
        QCOMPARE(answer.count, 0);
        m_fixture->host.settle();
        QCOMPARE(linesOf(log, {apiFile}), QStringList());
    }

    void aRefusalThatHoldsNoMessageIsReadAsAnEmptyOne_data()
    {
        QTest::addColumn<QByteArray>("body");
        for (const char* body : {"{}", "[]", "\"text\"", "5", "true", "null", "{\"message\":\"\"}",
                                 "{\"message\":null}", "{\"Message\":\"in another case\"}"})
            QTest::newRow(body) << QByteArray(body);
    }
    void aRefusalThatHoldsNoMessageIsReadAsAnEmptyOne()
    {
        QFETCH(QByteArray, body);
        m_fixture->serve(body, 502);
        compareAlbumsFailure({{QStringLiteral("ErrorCode"), 502}, {QStringLiteral("ServerReply"), QString()}},
                             QStringLiteral("(502): "));
    }

    void everyCodeBut200IsAFailureWithThatCode_data()
    {
        QTest::addColumn<int>("code");
        for (const int code : {201, 202, 203, 206, 226, 300, 400, 401, 403, 404, 418, 429, 500, 503, 599})
            QTest::addRow("%d", code) << code;
    }
    void everyCodeBut200IsAFailureWithThatCode()
    {
        QFETCH(int, code);
        m_fixture->serve("{\"albums\":{\"total\":3}}", code);
        compareAlbumsFailure(
            {{QStringLiteral("ErrorCode"), code}, {QStringLiteral("ServerReply"), QString()}},
            QStringLiteral("(%1): ").arg(code));
    }

    void aCodeWithoutABodyIsAFailureWithoutAReply_data()
    {
        QTest::addColumn<int>("code");
        for (const int code : {204, 304, 401, 500})
            QTest::addRow("%d", code) << code;
    }
    void aCodeWithoutABodyIsAFailureWithoutAReply()
    {
        QFETCH(int, code);
        m_fixture->serve("", code);
        compareAlbumsFailure({{QStringLiteral("ErrorCode"), code}}, QStringLiteral("(%1)").arg(code));
    }

    void whatIsNoWholeAnswerIsAFailureWithCode0_data()
    {
        QTest::addColumn<Response>("response");
        QTest::newRow("cut short") << withFault([](Response& r) { r.truncateAfter = 5; });
        QTest::newRow("cut short before the body") << withFault([](Response& r) { r.truncateAfter = 0; });
        QTest::newRow("cut short in a chunk") << withFault([](Response& r) {
            r.chunked = true;
            r.truncateAfter = 5;
        });
        QTest::newRow("connection reset") << withFault([](Response& r) { r.reset = true; });
        QTest::newRow("a byte more than 512 KiB") << TestHttpServer::json(albumsOfBytes(524289));
        QTest::newRow("a redirect without an end")
            << TestHttpServer::redirect(QStringLiteral("/api/") + QString::fromLatin1(albumsUrl));
    }
    void whatIsNoWholeAnswerIsAFailureWithCode0()
    {
        QFETCH(Response, response);
        m_fixture->server.setHandler([&response](const TestHttpServer::Request&) { return response; });
        compareAlbumsFailure({{QStringLiteral("ErrorCode"), 0}}, QStringLiteral("(0)"));
        if (response.reset || response.truncateAfter >= 0)
            QCOMPARE(requestsInAll(m_fixture->server), 1); // nothing is sent again
    }

    void aServiceThatIsNotThereIsAFailureWithCode0()
    {
        m_fixture->host.stop();
        m_fixture->host.setSettings(
            QStringLiteral("http://127.0.0.1:%1/api/").arg(TestHttpServer::unusedPort()), QStringLiteral("a"),
            QString());
        m_fixture->host.start();
        compareAlbumsFailure({{QStringLiteral("ErrorCode"), 0}}, QStringLiteral("(0)"));
    }

    void percentSignsOfTheUrlAreNoPlaceMarkers_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("tail");
        QTest::newRow("with a reply")
            << QByteArray("{\"message\":\"%3 %2 %1\"}") << QStringLiteral(" failed (400): %3 %2 %1");
        QTest::newRow("without one") << QByteArray("no") << QStringLiteral(" failed (400)");
    }
    void percentSignsOfTheUrlAreNoPlaceMarkers()
    {
        QFETCH(QByteArray, body);
        QFETCH(QString, tail);
        m_fixture->serve(body, 400);
        const LogCapture log(QStringLiteral("Qobuz"));
        const QString path = BrowseFixture::pathWith(QStringLiteral("qobuz:search/tracks"),
                                                     QStringLiteral("query"), QStringLiteral("1/2 %1 %2"));
        QVERIFY(m_fixture->host.rows(path, 0, 9).finished);
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL),
                 QStringList{QStringLiteral("HTTP call to track/search?offset=0&query=1%2F2%20%251%20%252") +
                             tail});
    }

    void theApplicationIdIsReadForEveryCall()
    {
        m_fixture->serve("{}");
        const QString url = m_fixture->server.url(QStringLiteral("/api/"));
        for (const char* id : {"first", "second", ""}) {
            m_fixture->host.setSettings(url, QString::fromLatin1(id), QString());
            QVERIFY(m_fixture->host.rows(albumsPath, 0, 9).finished);
        }
        QByteArrayList ids;
        for (const TestHttpServer::Request& request : m_fixture->server.requests())
            ids << request.header("X-App-Id");
        QCOMPARE(ids, (QByteArrayList{"first", "second", ""}));
        QVERIFY(!ids.at(2).isNull()); // sent, and empty
    }

    void withoutAUserNothingIsSent_data()
    {
        QTest::addColumn<int>("index");
        const QList<ServiceCall> calls = serviceCalls();
        for (int i = 0; i < calls.size(); ++i)
            if (!calls.at(i).entry.isEmpty()) // the others do not come so far
                QTest::newRow(calls.at(i).name) << i;
    }
    void withoutAUserNothingIsSent()
    {
        const ServiceCall call = fetchedCall();
        BrowseFixture& f = *m_fixture;
        f.host.stop();
        f.host.setSession(QString(), 77);
        f.host.start();
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Data answer = call.make(f.host);
        QVERIFY(answer.finished);
        f.host.settle();
        const QByteArray source = "User is not logged in";
        if (!call.isSilent) {
            const TrString text(TrCharData{"QobuzApi", source}, {});
            QVERIFY(answer.error.message() == text);
            QCOMPARE(variantLines(answer.error.variant()), variantLines(CMError(text).variant()));
        }
        const QStringList lines = linesOf(log, {apiFile, transportFile});
        QCOMPARE(lines.size(), 3);
        QVERIFY(lines.at(1).startsWith(traceOf(
            apiFile, QStringLiteral("Enter ") + call.signature(simpleGetName) + QStringLiteral(": "))));
        QCOMPARE(lines.at(2), errorLine(QString::fromLatin1(source)));
        QCOMPARE(requestsInAll(f.server), 0);
    }

    void answersAreDealtWithOnTheModulesThread()
    {
        m_fixture->serve("{}");
        const CMGetRowsRequest request(CMPath(albumsPath), 0, 9, {PelkRoles::Title()});
        QThread* thread = nullptr;
        request.reply().addWatcher([&thread](const CMVoidReply&) { thread = QThread::currentThread(); },
                                   Qt::DirectConnection);
        m_fixture->host.root().getRowsRequest(request);
        QVERIFY(ModuleHost::wait(request.reply()));
        m_fixture->host.settle();
        QCOMPARE(thread, m_fixture->host.workerThread());
    }

private:
    static void addCalls()
    {
        QTest::addColumn<int>("index");
        const QList<ServiceCall> calls = serviceCalls();
        for (int i = 0; i < calls.size(); ++i)
            QTest::newRow(calls.at(i).name) << i;
    }
    static ServiceCall fetchedCall()
    {
        QFETCH(int, index);
        return serviceCalls().at(index);
    }
    static TrString translatable(const QString& context, const QByteArray& source)
    {
        return TrString(TrCharData{context.toLatin1(), source}, {});
    }

    /// Makes the call and returns when its answer has been dealt with.
    ModuleHost::Data make(const ServiceCall& call)
    {
        const LogCapture log(QStringLiteral("Qobuz"));
        ModuleHost::Data answer = call.make(m_fixture->host);
        answer.finished = answer.finished && QTest::qWaitFor([&log] { return answerCame(log); });
        m_fixture->host.settle();
        return answer;
    }

    void compareFailure(const ServiceCall& call, const CMError& error, const QString& text)
    {
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Data answer = make(call);
        QVERIFY(answer.finished);
        const CMError expected = call.isSilent ? CMError() : error;
        QCOMPARE(variantLines(answer.error.variant()), variantLines(expected.variant()));
        QVERIFY(answer.error.message() == expected.message());
        QVERIFY(answer.value.toList().isEmpty()); // the answer stays a default one
        QCOMPARE(linesOf(log, {apiFile}).filter(QStringLiteral(" ERROR ")), QStringList{errorLine(text)});
        QCOMPARE(requestsInAll(m_fixture->server), 1); // nothing is sent again
    }

    /// What the albums get that the service has not refused in words.
    void compareAlbumsFailure(const QVariantHash& data, const QString& tail)
    {
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Rows answer = m_fixture->host.rows(albumsPath, 0, 9);
        QVERIFY(answer.finished);
        const QString context = QString::fromLatin1(errorName).replace(
            QLatin1String("%R"), QLatin1String("PelkQobuzCatalogFeaturedResponse"));
        QCOMPARE(variantLines(answer.error.variant()),
                 variantLines(CMError(translatable(context, "Unknown error"), data).variant()));
        QCOMPARE(answer.rows, QVariantList());
        QCOMPARE(linesOf(log, {apiFile}).filter(QStringLiteral(" ERROR ")),
                 QStringList{errorLine(QStringLiteral("HTTP call to ") + QString::fromLatin1(albumsUrl) +
                                       QStringLiteral(" failed ") + tail)});
    }

    std::unique_ptr<BrowseFixture> m_fixture;
};

QTEST_GUILESS_MAIN(PipelineConformanceTest)
#include "pipeline_conformance_test.moc"

#include "api/core/json/pelkjson.h"
#include "apifixture.h"

#include <QtTest>

using Response = TestHttpServer::Response;

Q_DECLARE_METATYPE(ApiCall)
Q_DECLARE_METATYPE(Response)

namespace {

void addCalls(const QList<ApiCall>& calls)
{
    QTest::addColumn<ApiCall>("call");
    for (const ApiCall& call : calls)
        QTest::newRow(call.name) << call;
}

QByteArray errorContext(const QByteArray& record)
{
    return "bool QobuzApi::handleHttpError(const PelkUrl&, CMReply<T>&, int, const QByteArray&) [with T = " +
           record + "]";
}

QByteArray completionContext(const QByteArray& record)
{
    return "QobuzApi::get<" + record + ">(const PelkUrl&, HttpClientOptions, std::function<void(" + record +
           "&)>)::<lambda(int, int, const QByteArray&, const HttpClientHeaders&)> mutable";
}

void compareTranslatable(const TrString& text, const QByteArray& source, const QByteArray& context)
{
    QVERIFY(text.isTranslatable());
    QCOMPARE(text.source(), source);
    QCOMPARE(text.context(), context);
    QVERIFY(text.comment().isNull());
    QCOMPARE(text.count(), -1);
    QVERIFY(text.arguments().isEmpty());
}

/// The URL of the request that came last, without the base, as a log line has it.
QString lastRelativeUrl(const TestHttpServer& server)
{
    return QString::fromLatin1(server.requests().last().target.mid(5));
}

const QString jsonError = QStringLiteral("HTTP call to %1 failed (%2): %3");
const QString otherError = QStringLiteral("HTTP call to %1 failed (%2)");

} // namespace

class ApiPipelineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutAUserNoCallButTheLoginIsSent_data() { addCalls(apiCalls()); }
    void withoutAUserNoCallButTheLoginIsSent()
    {
        QFETCH(ApiCall, call);
        ApiFixture f(QString(), 0);
        LogCapture log(QStringLiteral("Qobuz"));
        const CMVoidReply reply = call.make(f.api);
        QVERIFY(reply.isFinished()); // at once
        const CMError error = reply.error();
        compareTranslatable(error.message(), "User is not logged in", "QobuzApi");
        QCOMPARE(error.message().toString(), QStringLiteral("User is not logged in"));
        QCOMPARE(error.name(), CMError::DefaultName());
        QVERIFY(error.title() == CMError::DefaultTitle());
        QVERIFY(error.data().isEmpty());
        QVERIFY(reply.d()->value().value<PelkHash>().isEmpty());
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL), QStringList{QStringLiteral("User is not logged in")});
        // A later request is the first one to arrive.
        f.api.login(PelkQobuzAccount());
        QVERIFY(f.server.waitForRequests(1));
        QCOMPARE(f.server.requests().at(0).path, QByteArray("/api/user/login"));
        QCOMPARE(f.server.requestCount(), 1);
    }

    void theApplicationIdAlwaysGoesAndTheTokenWhereItIsAskedFor_data() { addCalls(apiCalls()); }
    void theApplicationIdAlwaysGoesAndTheTokenWhereItIsAskedFor()
    {
        QFETCH(ApiCall, call);
        ApiFixture f;
        const CMVoidReply reply = call.make(f.api);
        QVERIFY(!reply.isFinished());
        QVERIFY(ModuleHost::wait(reply));
        QCOMPARE(f.server.requestCount(), 1);
        const TestHttpServer::Request request = f.server.requests().at(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.path, "/api/" + call.path);
        QVERIFY(request.body.isEmpty());
        QCOMPARE(request.header("X-App-Id"), QByteArray("app-id"));
        QCOMPARE(request.header("X-User-Auth-Token"), call.withToken ? QByteArray("token-1") : QByteArray());
    }

    void everyAnswerBecomesItsRecord_data() { addCalls(allApiCalls()); }
    void everyAnswerBecomesItsRecord()
    {
        QFETCH(ApiCall, call);
        ApiFixture f;
        f.server.answer("/api/" + call.path, TestHttpServer::json("{\"id\":7,\"unknown\":{\"a\":[1]}}"));
        const CMVoidReply reply = call.make(f.api);
        QVERIFY(ModuleHost::wait(reply));
        QVERIFY(!reply.error().isSet());
        const QVariant value = reply.d()->value();
        QCOMPARE(QByteArray(value.typeName()), call.record);
        QCOMPARE(QMetaType::type(call.record), value.userType());
        QVariant hash = value;
        QVERIFY(hash.convert(QMetaType::QVariantHash));
        const QVariantHash expected{
            {QStringLiteral("id"), 7LL},
            {QStringLiteral("unknown"), QVariantHash{{QStringLiteral("a"), QVariantList{1LL}}}}};
        QCOMPARE(hash.toHash(), expected);
    }

    void anErrorWithAMessageFailsWithThatMessage_data() { addCalls(allApiCalls()); }
    void anErrorWithAMessageFailsWithThatMessage()
    {
        QFETCH(ApiCall, call);
        ApiFixture f;
        f.server.answer("/api/" + call.path, TestHttpServer::json("{\"message\":\"No such thing\"}", 404));
        LogCapture log(QStringLiteral("Qobuz"));
        const CMVoidReply reply = call.make(f.api);
        QVERIFY(ModuleHost::wait(reply));
        const CMError error = reply.error();
        QVERIFY(!error.message().isTranslatable()); // as it stands
        QCOMPARE(error.message().toString(), QStringLiteral("No such thing"));
        QCOMPARE(error.name(), CMError::DefaultName());
        const QVariantHash data{{QStringLiteral("ErrorCode"), 404},
                                {QStringLiteral("ServerReply"), QStringLiteral("No such thing")}};
        QCOMPARE(error.data(), data);
        QCOMPARE(error.data().value(QStringLiteral("ErrorCode")).userType(), int(QMetaType::Int));
        QCOMPARE(error.data().value(QStringLiteral("ServerReply")).userType(), int(QMetaType::QString));
        QVERIFY(reply.d()->value().value<PelkHash>().isEmpty());
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL),
                 QStringList{jsonError.arg(lastRelativeUrl(f.server), QStringLiteral("404"),
                                           QStringLiteral("No such thing"))});
        QCOMPARE(f.server.requestCount(), 1); // nothing is sent again
    }

    void anErrorWithoutAMessageIsAnUnknownError_data() { addCalls(allApiCalls()); }
    void anErrorWithoutAMessageIsAnUnknownError()
    {
        QFETCH(ApiCall, call);
        ApiFixture f;
        f.server.answer("/api/" + call.path, TestHttpServer::json("{\"code\":400}", 400));
        LogCapture log(QStringLiteral("Qobuz"));
        const CMVoidReply reply = call.make(f.api);
        QVERIFY(ModuleHost::wait(reply));
        compareTranslatable(reply.error().message(), "Unknown error", errorContext(call.record));
        const QVariantHash data{{QStringLiteral("ErrorCode"), 400},
                                {QStringLiteral("ServerReply"), QString()}};
        QCOMPARE(reply.error().data(), data);
        QCOMPARE(
            log.texts(log4cplus::ERROR_LOG_LEVEL),
            QStringList{jsonError.arg(lastRelativeUrl(f.server), QStringLiteral("400"), QStringLiteral(""))});
    }

    void anErrorThatIsNoJsonIsAnUnknownErrorWithoutAReply_data() { addCalls(allApiCalls()); }
    void anErrorThatIsNoJsonIsAnUnknownErrorWithoutAReply()
    {
        QFETCH(ApiCall, call);
        ApiFixture f;
        f.server.answer("/api/" + call.path, TestHttpServer::text("<html>Oops</html>", 500));
        LogCapture log(QStringLiteral("Qobuz"));
        const CMVoidReply reply = call.make(f.api);
        QVERIFY(ModuleHost::wait(reply));
        compareTranslatable(reply.error().message(), "Unknown error", errorContext(call.record));
        const QVariantHash data{{QStringLiteral("ErrorCode"), 500}};
        QCOMPARE(reply.error().data(), data);
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL),
                 QStringList{otherError.arg(lastRelativeUrl(f.server), QStringLiteral("500"))});
    }

    void anAnswerThatIsNoJsonFails_data() { addCalls(allApiCalls()); }
    void anAnswerThatIsNoJsonFails()
    {
        QFETCH(ApiCall, call);
        ApiFixture f;
        f.server.answer("/api/" + call.path, TestHttpServer::text("<html>Hello</html>"));
        LogCapture log(QStringLiteral("Qobuz"));
        const CMVoidReply reply = call.make(f.api);
        QVERIFY(ModuleHost::wait(reply));
        compareTranslatable(reply.error().message(), "Invalid data returned.",
                            completionContext(call.record));
        QVERIFY(reply.error().data().isEmpty());
        QVERIFY(reply.d()->value().value<PelkHash>().isEmpty());
        PelkError parseError;
        PelkJson::parse("<html>Hello</html>", parseError);
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL),
                 QStringList{QStringLiteral("Failed to parse data, error: ") + parseError.toString()});
        QVERIFY(log.texts(log4cplus::DEBUG_LOG_LEVEL).isEmpty()); // the callback has not run
    }

    void anAnswerWithoutABodyFails()
    {
        ApiFixture f;
        f.server.answer("/api/genre/get", TestHttpServer::text(""));
        const auto reply = f.api.genreGet(1);
        QVERIFY(ModuleHost::wait(reply));
        compareTranslatable(reply.error().message(), "Invalid data returned.",
                            completionContext("PelkQobuzGenre"));
    }

    void anAnswerThatHoldsNothingIsAnEmptyRecord_data()
    {
        QTest::addColumn<QByteArray>("body");
        for (const char* body : {"{}", "[]", "[{\"id\":1}]", "\"x\"", "5", "true", "null", " {} "})
            QTest::newRow(body) << QByteArray(body);
    }
    void anAnswerThatHoldsNothingIsAnEmptyRecord()
    {
        QFETCH(QByteArray, body);
        ApiFixture f;
        f.server.answer("/api/user/get", TestHttpServer::json(body));
        LogCapture log(QStringLiteral("Qobuz"));
        const auto reply = f.api.userGet();
        QVERIFY(ModuleHost::wait(reply));
        QVERIFY(!reply.error().isSet());
        QVERIFY(reply.value().isEmpty());
        // The callback has run.
        QCOMPARE(log.texts(log4cplus::DEBUG_LOG_LEVEL), QStringList{PelkQobuzUser().toString()});
        QVERIFY(log.texts(log4cplus::ERROR_LOG_LEVEL).isEmpty());
    }

    void theUserRecordIsWrittenAtDebugLevelBeforeTheReplyFinishes()
    {
        ApiFixture f;
        f.server.answer("/api/user/get", TestHttpServer::json("{\"id\":77,\"login\":\"me\"}"));
        LogCapture log(QStringLiteral("Qobuz"));
        const auto reply = f.api.userGet();
        QStringList atTheEnd;
        reply.addWatcher([&](const CMVoidReply&) { atTheEnd = log.texts(log4cplus::DEBUG_LOG_LEVEL); },
                         Qt::DirectConnection);
        QVERIFY(ModuleHost::wait(reply));
        QCOMPARE(atTheEnd, QStringList{reply.value().toString()});
        QVERIFY(atTheEnd.at(0).contains(QLatin1String("me")));
    }

    void everyCodeBut200IsAFailure_data()
    {
        QTest::addColumn<int>("code");
        for (const int code : {201, 202, 204, 206, 300, 304, 400, 401, 403, 404, 429, 500, 503, 599})
            QTest::addRow("%d", code) << code;
    }
    void everyCodeBut200IsAFailure()
    {
        QFETCH(int, code);
        ApiFixture f;
        const bool bodiless = code == 204 || code == 304;
        Response response = TestHttpServer::json(bodiless ? "" : "{\"message\":\"m\"}", code);
        f.server.answer("/api/user/get", response);
        LogCapture log(QStringLiteral("Qobuz"));
        const auto reply = f.api.userGet();
        QVERIFY(ModuleHost::wait(reply));
        QCOMPARE(reply.error().message().toString(),
                 bodiless ? QStringLiteral("Unknown error") : QStringLiteral("m"));
        QVariantHash data{{QStringLiteral("ErrorCode"), code}};
        if (!bodiless)
            data.insert(QStringLiteral("ServerReply"), QStringLiteral("m"));
        QCOMPARE(reply.error().data(), data);
        QVERIFY(log.texts(log4cplus::DEBUG_LOG_LEVEL).isEmpty()); // the callback runs on success only
    }

    void whatIsNoHttpAnswerIsAFailureWithCode0_data()
    {
        QTest::addColumn<Response>("response");
        Response cut = TestHttpServer::json("{\"message\":\"m\"}");
        cut.truncateAfter = 5;
        QTest::newRow("cut short") << cut;
        Response reset;
        reset.reset = true;
        QTest::newRow("connection reset") << reset;
        QTest::newRow("more than 512 KiB") << TestHttpServer::json('"' + QByteArray(524288, 'x') + '"');
        QTest::newRow("a redirect that leads to itself")
            << TestHttpServer::redirect(QStringLiteral("/api/user/get"), 301);
    }
    void whatIsNoHttpAnswerIsAFailureWithCode0()
    {
        QFETCH(Response, response);
        ApiFixture f;
        f.server.answer("/api/user/get", response);
        LogCapture log(QStringLiteral("Qobuz"));
        const auto reply = f.api.userGet();
        QVERIFY(ModuleHost::wait(reply));
        compareTransportFailure(reply, log);
    }

    void aServerThatIsNotThereIsAFailureWithCode0()
    {
        ModuleHost host(QStringLiteral("http://127.0.0.1:%1/api/").arg(TestHttpServer::unusedPort()));
        host.setSession();
        QobuzHttpInterface http;
        QobuzApi api(&http);
        LogCapture log(QStringLiteral("Qobuz"));
        const auto reply = api.userGet();
        QVERIFY(ModuleHost::wait(reply));
        compareTransportFailure(reply, log);
    }

    void anErrorBodyThatHoldsNoMessageIsStillAReply_data()
    {
        QTest::addColumn<QByteArray>("body");
        for (const char* body :
             {"{}", "[]", "\"text\"", "5", "null", "{\"message\":\"\"}", "{\"message\":null}"})
            QTest::newRow(body) << QByteArray(body);
    }
    void anErrorBodyThatHoldsNoMessageIsStillAReply()
    {
        QFETCH(QByteArray, body);
        ApiFixture f;
        f.server.answer("/api/genre/get", TestHttpServer::json(body, 502));
        LogCapture log(QStringLiteral("Qobuz"));
        const auto reply = f.api.genreGet(3);
        QVERIFY(ModuleHost::wait(reply));
        compareTranslatable(reply.error().message(), "Unknown error", errorContext("PelkQobuzGenre"));
        const QVariantHash data{{QStringLiteral("ErrorCode"), 502},
                                {QStringLiteral("ServerReply"), QString()}};
        QCOMPARE(reply.error().data(), data);
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL),
                 QStringList{QStringLiteral("HTTP call to genre/get?genre_id=3 failed (502): ")});
    }

    void percentSignsOfTheUrlAndTheMessageAreLeftAlone()
    {
        ApiFixture f;
        f.server.answer("/api/album/get", TestHttpServer::json("{\"message\":\"100%1 %2 %3\"}", 400));
        LogCapture log(QStringLiteral("Qobuz"));
        const auto reply = f.api.albumGet(QStringLiteral("a/b <%1 %2 %3>"), -1, -1);
        QVERIFY(ModuleHost::wait(reply));
        QCOMPARE(reply.error().message().toString(), QStringLiteral("100%1 %2 %3"));
        // "%2F", "%20" and "%3C" could be taken for place markers.
        QCOMPARE(
            log.texts(log4cplus::ERROR_LOG_LEVEL),
            QStringList{QStringLiteral("HTTP call to album/get?album_id=a%2Fb%20%3C%251%20%252%20%253%3E "
                                       "failed (400): 100%1 %2 %3")});
        f.server.answer("/api/album/get", TestHttpServer::text("no JSON", 400));
        log.clear();
        QVERIFY(ModuleHost::wait(f.api.albumGet(QStringLiteral("a/b <%1 %2 %3>"), -1, -1)));
        QCOMPARE(
            log.texts(log4cplus::ERROR_LOG_LEVEL),
            QStringList{QStringLiteral("HTTP call to album/get?album_id=a%2Fb%20%3C%251%20%252%20%253%3E "
                                       "failed (400)")});
    }

    void theSettingsAreReadForEveryCall()
    {
        ApiFixture f;
        QVERIFY(ModuleHost::wait(f.api.genreGet(1)));
        f.host.setSettings(QStringLiteral("http://other.example/"), QStringLiteral("new-id"), QString());
        QVERIFY(ModuleHost::wait(f.api.genreGet(2)));
        f.host.setSettings(QString(), QString(), QString());
        QVERIFY(ModuleHost::wait(f.api.genreGet(3)));
        const QList<TestHttpServer::Request> requests = f.server.requests();
        QCOMPARE(requests.size(), 3); // all by the address that was set at the start
        QCOMPARE(requests.at(0).header("X-App-Id"), QByteArray("app-id"));
        QCOMPARE(requests.at(1).header("X-App-Id"), QByteArray("new-id"));
        QVERIFY(requests.at(2).header("X-App-Id").isEmpty());
    }

    void aCallWritesItsUrlAsItGoesThroughEachFunction_data() { addCalls(apiCalls()); }
    void aCallWritesItsUrlAsItGoesThroughEachFunction()
    {
        QFETCH(ApiCall, call);
        ApiFixture f;
        LogCapture log(QStringLiteral("Qobuz"));
        const CMVoidReply reply = call.make(f.api);
        QVERIFY(ModuleHost::wait(reply));
        const QString tail = QStringLiteral(" [with T = %1]: ").arg(QString::fromLatin1(call.record)) +
                             lastRelativeUrl(f.server);
        const QStringList texts = log.texts(log4cplus::TRACE_LOG_LEVEL);
        const int at =
            texts.indexOf(QStringLiteral("Enter CMReply<T> QobuzApi::simpleGet(const PelkUrl&, const bool&, "
                                         "std::function<void(T&)>)") +
                          tail);
        QVERIFY(at >= 0);
        QCOMPARE(texts.at(at + 1), QStringLiteral("Enter CMReply<T> QobuzApi::get(const PelkUrl&, "
                                                  "HttpClientOptions, std::function<void(T&)>)") +
                                       tail);
        for (const LogCapture::Record& record : log.records())
            if (record.text.contains(QLatin1String("QobuzApi::")))
                QCOMPARE(record.file, QStringLiteral("QobuzApi.cpp"));
    }

    void aReplyThatNobodyKeepsIsStillHandled()
    {
        ApiFixture f;
        f.server.answer("/api/user/get", TestHttpServer::json("{\"id\":1}"));
        LogCapture log(QStringLiteral("Qobuz"));
        f.api.userGet();
        QTRY_COMPARE(log.texts(log4cplus::DEBUG_LOG_LEVEL).size(), 1);
    }

    void severalCallsUnderWayEachGetTheirOwnAnswer()
    {
        ApiFixture f;
        f.server.setHandler([](const TestHttpServer::Request& request) {
            return TestHttpServer::json("{\"id\":" + request.queryValue("genre_id") + "}");
        });
        QList<CMReply<PelkQobuzGenre>> replies;
        for (int id = 1; id <= 8; ++id)
            replies.append(f.api.genreGet(id));
        for (int id = 1; id <= 8; ++id) {
            QVERIFY(ModuleHost::wait(replies.at(id - 1)));
            QCOMPARE(replies.at(id - 1).value().id(), id);
        }
    }

private:
    static void compareTransportFailure(const CMReply<PelkQobuzUser>& reply, const LogCapture& log)
    {
        compareTranslatable(reply.error().message(), "Unknown error", errorContext("PelkQobuzUser"));
        const QVariantHash data{{QStringLiteral("ErrorCode"), 0}};
        QCOMPARE(reply.error().data(), data);
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL),
                 QStringList{QStringLiteral("HTTP call to user/get?user_id=77 failed (0)")});
        QVERIFY(log.texts(log4cplus::DEBUG_LOG_LEVEL).isEmpty());
    }
};

QTEST_GUILESS_MAIN(ApiPipelineTest)
#include "api_pipeline_test.moc"

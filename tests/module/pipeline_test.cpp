// The common behaviour of all calls of the service: what they send, what becomes of the response, and what is
// logged.

#include "api/core/json/pelkjson.h"
#include "tests/module/objecttest.h"

namespace {

const QString apiFile = "QobuzApi.cpp"_s;
const QString transportFile = "QobuzHttpInterface.cpp"_s;

constexpr char simpleGetName[] =
    "CMReply<T> QobuzApi::simpleGet(const PelkUrl&, const bool&, std::function<void(T&)>) [with T = %R]";
constexpr char getName[] =
    "CMReply<T> QobuzApi::get(const PelkUrl&, HttpClientOptions, std::function<void(T&)>) [with T = %R]";
constexpr char completionName[] =
    "QobuzApi::get<%R>(const PelkUrl&, HttpClientOptions, std::function<void(%R&)>)"
    "::<lambda(int, int, const QByteArray&, const HttpClientHeaders&)> mutable";
constexpr char errorName[] =
    "bool QobuzApi::handleHttpError(const PelkUrl&, CMReply<T>&, int, const QByteArray&) [with T = %R]";

Response withFault(const std::function<void(Response&)>& fault)
{
    Response response = TestHttpServer::json("{\"message\":\"never read\"}");
    fault(response);
    return response;
}

QVariantHash errorData(int code)
{
    return {{"ErrorCode"_s, code}};
}

QVariantHash errorData(int code, const QString& reply)
{
    return {{"ErrorCode"_s, code}, {"ServerReply"_s, reply}};
}

} // namespace

/// The pipeline's template once more, to see how GCC spells the lambda inside it.
struct Replica
{
    template <typename T>
    // NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is the pipeline's
    QByteArray get(const PelkUrl& /*url*/, HttpClientOptions /*options*/,
                   std::function<void(T&)> /*callback*/)
    {
        return [this](int, int, const QByteArray&, const HttpClientHeaders&) mutable -> QByteArray {
            Q_UNUSED(this)
            return Q_FUNC_INFO;
        }(0, 0, {}, {});
    }
};

class PipelineTest : public ObjectTest
{
    Q_OBJECT

private Q_SLOTS:
    void init() { open(); }
    void cleanup()
    {
        QVERIFY(isIdle());
        close();
    }

    void withoutAUserNoCallButTheLoginIsSent_data() { addCalls(apiCalls()); }
    void withoutAUserNoCallButTheLoginIsSent()
    {
        const auto [call] = fetched<ApiCall>();
        host().setSession(QString(), 77);
        const Log log;
        const CMVoidReply reply = call.make(api());
        QVERIFY(reply.isFinished()); // at once
        compareError(reply, CMError(translatable("QobuzApi", "User is not logged in")));
        const QStringList lines = log.lines({apiFile, transportFile}).mid(call.entry.isEmpty() ? 0 : 1);
        QCOMPARE(lines.size(), 2);
        QVERIFY(
            lines.at(0).startsWith(traceOf(apiFile, "Enter "_s + call.signature(simpleGetName) + ": "_s)));
        QCOMPARE(lines.at(1), "ERROR QobuzApi.cpp: User is not logged in"_s);
        QCOMPARE(requestsInAll(), 0);
    }

    void aCallIsAGetOfItsUrlWithItsHeadersAndNoOthers_data() { addCalls(allApiCalls()); }
    void aCallIsAGetOfItsUrlWithItsHeadersAndNoOthers()
    {
        const auto [call] = fetched<ApiCall>();
        const CMVoidReply reply = call.make(api());
        QVERIFY(!reply.isFinished());
        QVERIFY(wait(reply));
        QCOMPARE(requestsInAll(), 1);
        const Request request = server().requests().at(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.path, "/api/" + call.path);
        QVERIFY(request.body.isEmpty());
        QByteArrayList own;
        for (const TestHttpServer::Pair& header : request.headers) {
            // Beside them only what any HTTP client says of itself: no cookies, no credentials, no body's
            // type.
            if (header.first.startsWith("X-"))
                own << header.first + ": " + header.second;
            else
                QVERIFY2(QByteArrayList({"Host", "Accept", "Accept-Encoding"}).contains(header.first),
                         header.first.constData());
        }
        QCOMPARE(own.join(", "), call.headerLines());
    }

    void everyAnswerBecomesItsRecord_data() { addCalls(allApiCalls()); }
    void everyAnswerBecomesItsRecord()
    {
        const auto [call] = fetched<ApiCall>();
        serve(R"({"id":7,"data":{"a":[1]},"value":{"b":2}})");
        const CMVoidReply reply = call.make(api());
        QVERIFY(wait(reply));
        QVERIFY(!reply.error().isSet());
        const QVariant value = reply.d()->value();
        QCOMPARE(QByteArray(value.typeName()), call.record);
        QCOMPARE(QMetaType::type(call.record), value.userType());
        // The whole object: no part of it is treated as a wrapper.
        QVariant hash = value;
        QVERIFY(hash.convert(QMetaType::QVariantHash));
        const QVariantHash expected{{"id"_s, 7LL},
                                    {"data"_s, QVariantHash{{"a"_s, QVariantList{1LL}}}},
                                    {"value"_s, QVariantHash{{"b"_s, 2LL}}}};
        QCOMPARE(hash.toHash(), expected);
    }

    void aFailureBecomesAnErrorAndALogRecord_data() { addCalls(allApiCalls()); }
    void aFailureBecomesAnErrorAndALogRecord()
    {
        const auto [call] = fetched<ApiCall>();
        const TrString unknown = translatable(call.signature(errorName).toLatin1(), "Unknown error");
        const QString message = " No: 50% of \u97f3, %1 %2\n"_s; // as it stands
        compareFailure(call, json("{\"code\":1,\"message\":\" No: 50% of \u97f3, %1 %2\\n\"}", 404),
                       CMError(TrString(message), errorData(404, message)),
                       "HTTP call to %U failed (404): "_s + message);
        compareFailure(call, json("{\"code\":400}", 400), CMError(unknown, errorData(400, QString())),
                       "HTTP call to %U failed (400): "_s);
        compareFailure(call, plain("<html>{\"message\":\"no\"}</html>", 500),
                       CMError(unknown, errorData(500)), "HTTP call to %U failed (500)"_s);
        PelkError parseError;
        PelkJson::parse("{\"albums\":", parseError);
        compareFailure(
            call, json("{\"albums\":"),
            CMError(translatable(call.signature(completionName).toLatin1(), "Invalid data returned.")),
            "Failed to parse data, error: "_s + parseError.toString());
    }

    void aCallWritesTheseLines_data() { addCalls(allApiCalls()); }
    void aCallWritesTheseLines()
    {
        const auto [call] = fetched<ApiCall>();
        serve("{}");
        const Log log;
        QVERIFY(wait(call.make(api())));
        const QString url = lastUrl();
        const auto line = [](const char* function, const QString& argument) {
            return traceOf(transportFile, QLatin1String(function) + ": "_s + argument);
        };
        QStringList expected;
        if (!call.entry.isEmpty())
            expected << traceOf(apiFile, call.entry);
        if (call.headers != ApiCall::None) // a login needs no user, so it is not asked for one
            expected << traceOf(apiFile, "Enter "_s + call.signature(simpleGetName) + ": "_s + url);
        const char* const get =
            "Enter void QobuzHttpInterface::get(const PelkUrl&, const HttpClientOptions&, const Callback&)";
        expected << traceOf(apiFile, "Enter "_s + call.signature(getName) + ": "_s + url) << line(get, url)
                 << line("Enter void QobuzHttpInterface::send(const HttpRequest&)", url)
                 << line("Enter PelkUrl QobuzHttpInterface::composeUrl(const PelkUrl&)", url)
                 << line("Leave PelkUrl QobuzHttpInterface::composeUrl(const PelkUrl&)",
                         server().url("/api/"_s) + url)
                 << line("Leave void QobuzHttpInterface::send(const HttpRequest&)", QString())
                 << line(get, QString()).replace("Enter"_l, "Leave"_l)
                 << line("Enter void QobuzHttpInterface::httpCallback(HttpRequest, const HttpClientResult&)",
                         "code: 200"_s);
        if (qstrcmp(call.name, "userGet") == 0)
            expected << "DEBUG QobuzApi.cpp: "_s + PelkQobuzUser().toString();
        QCOMPARE(log.lines(), expected);
    }

    void logRecordsAndReplyHaveThisOrder_data()
    {
        Rows<Response, QStringList> row;
        row("a success", json("{}"), {"httpCallback"_s, "{}"_s, "the reply"_s});
        row("no JSON", json("<"), {"httpCallback"_s, "Failed to parse"_s, "the reply"_s});
        row("a refusal", json("{}", 404), {"httpCallback"_s, "HTTP call"_s, "the reply"_s});
        row("a refusal that is no JSON", json("<", 404), {"httpCallback"_s, "HTTP call"_s, "the reply"_s});
    }
    void logRecordsAndReplyHaveThisOrder()
    {
        const auto [response, order] = fetched<Response, QStringList>();
        serve(response);
        const Log log;
        const auto reply = api().userGet();
        log.watch(reply);
        QVERIFY(wait(reply));
        QCOMPARE(
            log.order({"httpCallback"_s, "Failed to parse"_s, "HTTP call"_s, PelkQobuzUser().toString()}),
            order);
    }

    void theCompletionsNameIsAsGccSpellsIt()
    {
#ifdef __clang__
        QSKIP("Clang spells it in its own way");
#endif
        const QByteArray spelled = Replica().get<PelkQobuzUser>({}, {}, nullptr);
        QCOMPARE(QString::fromLatin1(spelled).replace("Replica"_l, "QobuzApi"_l),
                 apiCalls().at(0).signature(completionName));
    }

    void aSuccessWithoutContentIsAnEmptyRecord_data()
    {
        addTexts({"{}", " {} ", "[]", "[{\"id\":3}]", "\"text\"", "5", "true", "null"});
    }
    void aSuccessWithoutContentIsAnEmptyRecord()
    {
        const auto [body] = fetched<QString>();
        serve(body.toUtf8());
        const Log log(log4cplus::DEBUG_LOG_LEVEL);
        const auto reply = api().userGet();
        QVERIFY(wait(reply));
        QVERIFY(!reply.error().isSet());
        QVERIFY(reply.value().isEmpty());
        // The callback has run.
        QCOMPARE(log.lines(), QStringList{"DEBUG QobuzApi.cpp: "_s + PelkQobuzUser().toString()});
    }

    void anAnswerWithoutABodyFails()
    {
        serve(plain(""));
        const auto reply = api().genreGet(1);
        QVERIFY(wait(reply));
        QCOMPARE(reply.error().message().source(), QByteArray("Invalid data returned."));
    }

    void aRefusalWithoutAMessageHasAnEmptyMessage_data()
    {
        addTexts({"{}", "[]", "\"text\"", "5", "true", "null", "{\"message\":\"\"}", "{\"message\":null}",
                  "{\"Message\":\"in another case\"}", "{\"error\":{\"message\":\"wrapped\"}}"});
    }
    void aRefusalWithoutAMessageHasAnEmptyMessage()
    {
        const auto [body] = fetched<QString>();
        compareUnknown(json(body.toUtf8(), 502), errorData(502, QString()), "(502): "_s);
    }

    void everyCodeBut200IsAFailureWithThatCode_data()
    {
        Rows<int> row;
        for (const int code : {201, 202, 203, 206, 226, 300, 400, 401, 403, 404, 418, 429, 500, 503, 599})
            row(QByteArray::number(code), code);
    }
    void everyCodeBut200IsAFailureWithThatCode()
    {
        const auto [code] = fetched<int>();
        compareUnknown(json("{\"id\":3}", code), errorData(code, QString()), "(%1): "_s.arg(code));
    }

    void aCodeWithoutABodyIsAFailureWithoutAReply_data()
    {
        Rows<int> row;
        for (const int code : {204, 304, 401, 500})
            row(QByteArray::number(code), code);
    }
    void aCodeWithoutABodyIsAFailureWithoutAReply()
    {
        const auto [code] = fetched<int>();
        compareUnknown(json("", code), errorData(code), "(%1)"_s.arg(code));
    }

    void anIncompleteResponseIsAFailureWithCode0_data()
    {
        Rows<Response> row;
        row("cut short", withFault([](Response& r) { r.truncateAfter = 5; }));
        row("cut short before the body", withFault([](Response& r) { r.truncateAfter = 0; }));
        row("cut short in a chunk", withFault([](Response& r) {
                r.chunked = true;
                r.truncateAfter = 5;
            }));
        row("connection reset", withFault([](Response& r) { r.reset = true; }));
        row("a byte more than 512 KiB", json("{}" + QByteArray(524287, ' ')));
    }
    void anIncompleteResponseIsAFailureWithCode0()
    {
        const auto [response] = fetched<Response>();
        compareUnknown(response, errorData(0), "(0)"_s);
    }

    void anUnreachableServiceIsAFailureWithCode0_data()
    {
        addTexts({"nothing listens", "it redirects to itself"});
    }
    void anUnreachableServiceIsAFailureWithCode0()
    {
        const auto [name] = fetched<QString>();
        if (name == "nothing listens"_l)
            host().setSettings("http://127.0.0.1:%1/api/"_s.arg(TestHttpServer::unusedPort()), "a"_s,
                               QString());
        serve(TestHttpServer::redirect("/api/user/get"_s, 301));
        const Log log;
        const auto reply = api().userGet();
        QVERIFY(wait(reply));
        QCOMPARE(reply.error().data(), errorData(0));
        QCOMPARE(log.errors(), QStringList{"HTTP call to user/get?user_id=77 failed (0)"_s});
        QVERIFY(log.debugs().isEmpty()); // the callback runs on success only
    }

    void percentSignsOfTheUrlAreNoPlaceMarkers_data()
    {
        Rows<QByteArray, QString> row;
        row("with a reply", "{\"message\":\"%3 %2 %1\"}", ": %3 %2 %1");
        row("without one", "no", "");
    }
    void percentSignsOfTheUrlAreNoPlaceMarkers()
    {
        const auto [body, tail] = fetched<QByteArray, QString>();
        serve(body, 400);
        const Log log;
        QVERIFY(wait(api().albumGet("a/b <%1 %2 %3>"_s, -1, -1)));
        QCOMPARE(log.errors(), QStringList{"HTTP call to album/get?album_id=a%2Fb%20%3C%251%20%252%20%253%3E "
                                           "failed (400)"_s +
                                           tail});
    }

    void theApplicationIdIsReadForEveryCall()
    {
        for (const char* id : {"first", "second", " a b ", ""}) {
            host().setSettings(server().url("/api/"_s), QString::fromLatin1(id), QString());
            QVERIFY(wait(api().genreGet(1)));
        }
        QByteArrayList ids;
        for (const Request& request : server().requests())
            ids << request.header("X-App-Id");
        QCOMPARE(ids, (QByteArrayList{"first", "second", "a b", ""})); // blanks around go with any header
        QVERIFY(!ids.at(3).isNull());                                  // sent, and empty
    }

    void theUserRecordIsWrittenAtDebugLevelBeforeTheReplyFinishes()
    {
        server().answer("/api/user/get", json("{\"id\":77,\"login\":\"me\"}"));
        const Log log;
        const auto reply = api().userGet();
        QStringList atTheEnd;
        reply.addWatcher([&](const CMVoidReply&) { atTheEnd = log.debugs(); }, Qt::DirectConnection);
        QVERIFY(wait(reply));
        QCOMPARE(atTheEnd, QStringList{reply.value().toString()});
        QVERIFY(atTheEnd.at(0).contains("me"_l));
    }

    void aReleasedReplyIsStillProcessed()
    {
        server().answer("/api/user/get", json("{\"id\":1}"));
        const Log log;
        api().userGet();
        QTRY_COMPARE(log.debugs().size(), 1);
    }

    void severalCallsUnderWayEachGetTheirOwnAnswer()
    {
        server().setHandler(
            [](const Request& request) { return json("{\"id\":" + request.queryValue("genre_id") + "}"); });
        QList<CMReply<PelkQobuzGenre>> replies;
        for (int id = 1; id <= 8; ++id)
            replies.append(api().genreGet(id));
        for (int id = 1; id <= 8; ++id) {
            QVERIFY(wait(replies.at(id - 1)));
            QCOMPARE(replies.at(id - 1).value().id(), id);
        }
    }

    void answersAreDealtWithOnTheModulesThread()
    {
        serve("{}");
        start();
        const CMGetRowsRequest request(CMPath("qobuz:featured/albums"_s), 0, 9, {PelkRoles::Title()});
        const auto thread = threadOf(request.reply());
        host().root().getRowsRequest(request);
        QVERIFY(wait(request.reply()));
        host().settle();
        QCOMPARE(thread->load(), host().workerThread());
    }

private:
    static QString traceOf(const QString& file, const QString& text)
    {
        return "TRACE "_s + file + ": "_s + text;
    }
    /// The URL of the request that came last, without the base, as a log line has it.
    QString lastUrl() const
    {
        return QString::fromLatin1(server().requests().last().target.mid(5));
    }

    static void compareError(const CMVoidReply& reply, const CMError& error)
    {
        QCOMPARE(variantLines(reply.error().variant()), variantLines(error.variant()));
        QVERIFY(reply.error().message() == error.message()); // comment, count and arguments too
        QVERIFY(reply.d()->value().value<PelkHash>().isEmpty());
    }
    /// The error of the reply, and the only record above trace level; "%U" represents the URL.
    void compareFailure(const ApiCall& call, const Response& response, const CMError& error, QString text)
    {
        serve(response);
        host().setSession();
        QobuzApi fresh(&http()); // a login forgets the user
        const Log log(log4cplus::DEBUG_LOG_LEVEL);
        const CMVoidReply reply = call.make(fresh);
        QVERIFY(wait(reply));
        compareError(reply, error);
        QCOMPARE(log.lines(), QStringList{"ERROR QobuzApi.cpp: "_s + text.replace("%U"_l, lastUrl())});
        QCOMPARE(requestsInAll(), 1); // nothing is sent again
    }
    /// Failures without a message of the service.
    void compareUnknown(const Response& response, const QVariantHash& data, const QString& tail)
    {
        compareFailure(
            apiCalls().at(1), response,
            CMError(translatable(apiCalls().at(1).signature(errorName).toLatin1(), "Unknown error"), data),
            "HTTP call to %U failed "_s + tail);
    }
};

QTEST_GUILESS_MAIN(PipelineTest)
#include "pipeline_test.moc"

#include "apifixture.h"

#include <QtTest>

namespace {

/// What reached the client, one line a call.
QStringList calls;
HttpClient::Callback lastCallback;

void record(const char* what, const PelkUrl& url, const HttpClientOptions& options)
{
    QStringList headers;
    for (const auto& header : options.headers().items())
        headers.append(header.first + QLatin1Char('=') + header.second);
    calls.append(QStringLiteral("%1 %2 timeout=%3 limit=%4 {%5}")
                     .arg(QLatin1String(what), url.toString(), QString::number(options.timeoutMs()),
                          QString::number(options.readSizeLimit()), headers.join(QLatin1Char(';'))));
}

} // namespace

// These take the place of the client's own in this program: no answer tells what a request was allowed.
void HttpClient::get(const PelkUrl& url, const HttpClientOptions& options, Callback callback)
{
    record("GET", url, options);
    lastCallback = std::move(callback);
}

void HttpClient::post(const PelkUrl& url, const QByteArray& body, const HttpClientOptions& options,
                      Callback callback)
{
    record("POST", url, options);
    calls.append(QString::fromLatin1(body.toPercentEncoding()));
    lastCallback = std::move(callback);
}

void HttpClient::setCacheSize(unsigned long bytes)
{
    calls.append(QStringLiteral("cache %1").arg(bytes));
}

void HttpClient::clearCache()
{
    calls.append(QStringLiteral("clear"));
}

/// What the interface hands to the HTTP client.
class HttpOptionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { calls.clear(); }
    void cleanup() { lastCallback = nullptr; }

    void theCacheHasOneMebibyteFromTheStart()
    {
        const ModuleHost host(QStringLiteral("http://h/"));
        const QobuzHttpInterface http;
        QCOMPARE(calls, QStringList{QStringLiteral("cache 1048576")});
    }

    void theClientIsAChildOfTheInterface()
    {
        const ModuleHost host(QStringLiteral("http://h/"));
        const QobuzHttpInterface http;
        QVERIFY(!http.parent());
        QCOMPARE(http.findChildren<HttpClient*>(QString(), Qt::FindDirectChildrenOnly).size(), 1);
        QCOMPARE(QByteArray(http.metaObject()->className()), QByteArray("QobuzHttpInterface"));
    }

    void aGetHasFixedLimitsWhateverTheCallerSetsAndKeepsTheHeaders_data()
    {
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<int>("limitBytes");
        QTest::newRow("less") << 5000 << 10;
        QTest::newRow("more") << 600000 << 100000000;
        QTest::newRow("no bounds") << 0 << 0;
    }
    void aGetHasFixedLimitsWhateverTheCallerSetsAndKeepsTheHeaders()
    {
        QFETCH(int, timeoutMs);
        QFETCH(int, limitBytes);
        const ModuleHost host(QStringLiteral("http://h/b/"));
        QobuzHttpInterface http;
        calls.clear();
        HttpClientOptions options;
        HttpClientHeaders headers;
        headers.insert(QStringLiteral("X-One"), QStringLiteral("1"));
        headers.insert(QStringLiteral("X-Two"), QStringLiteral("2"));
        options.setHeaders(headers);
        options.setTimeoutMs(timeoutMs);
        options.setReadSizeLimit(limitBytes);
        http.get(PelkUrl(QStringLiteral("a?x=1#f")), options, nullptr);
        QCOMPARE(calls, QStringList{QStringLiteral(
                            "GET http://h/b/a?x=1#f timeout=30000 limit=524288 {X-One=1;X-Two=2}")});
        QCOMPARE(options.timeoutMs(), timeoutMs); // the caller's own are untouched
        QCOMPARE(options.readSizeLimit(), limitBytes);
    }

    void aPostHasFixedLimitsNoHeadersAndALatinBody()
    {
        const ModuleHost host(QStringLiteral("http://h/b/"));
        QobuzHttpInterface http;
        calls.clear();
        http.post(PelkUrl(QStringLiteral("a?x=1")), QStringLiteral("p=\u00e9\u20ac"), nullptr);
        QCOMPARE(calls, (QStringList{QStringLiteral("POST http://h/b/a?x=1 timeout=30000 limit=1048576 {}"),
                                     QStringLiteral("p%3D%E9%3F")}));
    }

    void aRequestIsSentAsItIs_data()
    {
        QTest::addColumn<int>("method");
        QTest::addColumn<QStringList>("sent");
        const QString tail = QStringLiteral(" http://h/b/a timeout=1 limit=2 {}");
        const QStringList post{QStringLiteral("POST") + tail, QStringLiteral("body")};
        QTest::newRow("0 is a GET, whose body is not sent") << 0 << QStringList{QStringLiteral("GET") + tail};
        QTest::newRow("1 is a POST") << 1 << post;
        QTest::newRow("2 is a POST") << 2 << post;
        QTest::newRow("-1 is a POST") << -1 << post;
    }
    void aRequestIsSentAsItIs()
    {
        QFETCH(int, method);
        QFETCH(QStringList, sent);
        const ModuleHost host(QStringLiteral("http://h/b/"));
        QobuzHttpInterface http;
        calls.clear();
        HttpClientOptions options;
        options.setTimeoutMs(1);
        options.setReadSizeLimit(2);
        http.send({PelkUrl(QStringLiteral("a")), method, options, QStringLiteral("body"), nullptr});
        QCOMPARE(calls, sent);
    }

    void theCacheIsCleared()
    {
        const ModuleHost host(QStringLiteral("http://h/"));
        QobuzHttpInterface http;
        calls.clear();
        http.clearCache();
        QCOMPARE(calls, QStringList{QStringLiteral("clear")});
    }

    void everyCallOfTheApiHasNoHeadersButItsOwn_data()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < allApiCalls().size(); ++i)
            QTest::newRow(allApiCalls().at(i).name) << i;
    }
    void everyCallOfTheApiHasNoHeadersButItsOwn()
    {
        QFETCH(int, index);
        const ApiCall call = allApiCalls().at(index);
        ApiFixture f;
        calls.clear();
        call.make(f.api);
        QCOMPARE(calls.size(), 1);
        const bool isLogin = call.path == "user/login";
        const QString headers = isLogin          ? QString()
                                : call.withToken ? QStringLiteral("X-App-Id=app-id;X-User-Auth-Token=token-1")
                                                 : QStringLiteral("X-App-Id=app-id");
        QVERIFY2(calls.at(0).endsWith(QStringLiteral(" timeout=30000 limit=524288 {%1}").arg(headers)),
                 qPrintable(calls.at(0)));
    }

    void aCallThatIsCancelledOrGetsNoAnswerFailsWithTheCode_data()
    {
        using Result = HttpClientResult;
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("code");
        QTest::newRow("cancelled with code 7") << 0 << 7;
        QTest::newRow("cancelled with code -1") << 0 << -1;
        QTest::newRow("timed out") << int(Result::TimedOut) << 0;
        QTest::newRow("too large") << int(Result::TooLarge) << 0;
        QTest::newRow("unreachable") << int(Result::Unreachable) << 0;
        QTest::newRow("no secure connection") << int(Result::TlsFailed) << 0;
        QTest::newRow("interrupted") << int(Result::Interrupted) << 0;
        QTest::newRow("a redirect refused") << int(Result::RedirectRefused) << 0;
        QTest::newRow("no URL") << int(Result::InvalidUrl) << 0;
    }
    void aCallThatIsCancelledOrGetsNoAnswerFailsWithTheCode()
    {
        QFETCH(int, status);
        QFETCH(int, code);
        ApiFixture f;
        LogCapture log(QStringLiteral("Qobuz"));
        const auto reply = f.api.genreGet(1);
        QVERIFY(!reply.isFinished());
        // What a cancelled request's callback is given is what the client's answer would make of it.
        lastCallback({PelkUrl(), static_cast<HttpClientResult::Status>(status), code, {}, {}});
        QVERIFY(reply.isFinished());
        QCOMPARE(reply.error().message().source(), QByteArray("Unknown error"));
        const QVariantHash data{{QStringLiteral("ErrorCode"), code}};
        QCOMPARE(reply.error().data(), data);
        QCOMPARE(log.texts(log4cplus::ERROR_LOG_LEVEL),
                 QStringList{QStringLiteral("HTTP call to genre/get?genre_id=1 failed (%1)").arg(code)});
    }

    void onlyTheCodeTellsSuccess()
    {
        ApiFixture f;
        const auto reply = f.api.genreGet(1);
        lastCallback({PelkUrl(), HttpClientResult::Interrupted, 200, "{\"id\":9}", {}});
        QVERIFY(reply.isFinished());
        QVERIFY(!reply.error().isSet());
        QCOMPARE(reply.value().id(), 9);
    }

    void theCallbackGetsWhatTheClientReports()
    {
        const ModuleHost host(QStringLiteral("http://h/"));
        QobuzHttpInterface http;
        QStringList got;
        http.get(PelkUrl(QStringLiteral("a")), {},
                 [&got](int status, int code, const QByteArray& body, const HttpClientHeaders& headers) {
                     got.append(QStringLiteral("%1 %2 %3 %4")
                                    .arg(QString::number(status), QString::number(code),
                                         QString::fromLatin1(body), headers.value(QStringLiteral("X-A"))));
                 });
        HttpClientHeaders headers;
        headers.insert(QStringLiteral("X-A"), QStringLiteral("v"));
        const PelkUrl url(QStringLiteral("http://h/a"));
        lastCallback({url, HttpClientResult::Complete, 200, "x", headers});
        lastCallback({url, HttpClientResult::TimedOut, 0, {}, {}, QStringLiteral("late")});
        lastCallback({url, HttpClientResult::TooLarge, 0, {}, {}});
        QCOMPARE(got, (QStringList{QStringLiteral("0 200 x v"), QStringLiteral("1 0  "),
                                   QStringLiteral("2 0  ")}));
    }

    void aCallbackThatHoldsNothingFailsAsAnEmptyFunctionDoes()
    {
        const ModuleHost host(QStringLiteral("http://h/"));
        QobuzHttpInterface http;
        http.get(PelkUrl(QStringLiteral("a")), {}, nullptr);
        const HttpClientResult result{PelkUrl(), HttpClientResult::Complete, 200, {}, {}};
        QVERIFY_EXCEPTION_THROWN(lastCallback(result), std::bad_function_call);
    }
};

QTEST_GUILESS_MAIN(HttpOptionsTest)
#include "http_options_test.moc"

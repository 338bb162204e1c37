// What the transport passes to the HTTP client, and how it handles the client's results. No response shows
// the limits of a request, so the client is a test double here.

#include "tests/module/objecttest.h"

namespace {

/// The calls of the client, one line each.
QStringList calls;
HttpClient::Callback lastCallback;

void record(const char* what, const PelkUrl& url, const HttpClientOptions& options)
{
    QStringList headers;
    for (const auto& header : options.headers().items())
        headers.append(header.first + QLatin1Char('=') + header.second);
    calls.append("%1 %2 timeout=%3 limit=%4 {%5}"_s.arg(
        QLatin1String(what), url.toString(), QString::number(options.timeoutMs()),
        QString::number(options.readSizeLimit()), headers.join(QLatin1Char(';'))));
}

} // namespace

// These replace the client's functions in this program, because no response shows the limits of a request.
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
    calls.append("cache %1"_s.arg(bytes));
}

void HttpClient::clearCache()
{
    calls.append("clear"_s);
}

class TransportCallsTest : public ObjectTest
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        open();
        setBase("http://h/b/"_s);
        http();
        calls.clear();
    }
    void cleanup()
    {
        lastCallback = nullptr;
        close();
    }

    void theCacheHasOneMebibyteFromTheStart()
    {
        const QobuzHttpInterface another;
        QCOMPARE(calls, QStringList{"cache 1048576"_s});
    }

    void theClientIsAChildOfTheInterface()
    {
        QVERIFY(!http().parent());
        QCOMPARE(http().findChildren<HttpClient*>(QString(), Qt::FindDirectChildrenOnly).size(), 1);
        QCOMPARE(QByteArray(http().metaObject()->className()), QByteArray("QobuzHttpInterface"));
    }

    void aGetHasFixedLimitsWhateverTheCallerSetsAndKeepsTheHeaders_data()
    {
        Rows<int, int> row;
        row("less", 5000, 10);
        row("more", 600000, 100000000);
        row("no bounds", 0, 0);
    }
    void aGetHasFixedLimitsWhateverTheCallerSetsAndKeepsTheHeaders()
    {
        const auto [timeoutMs, limitBytes] = fetched<int, int>();
        HttpClientOptions options;
        HttpClientHeaders headers;
        headers.insert("X-One"_s, "1"_s);
        headers.insert("X-Two"_s, "2"_s);
        options.setHeaders(headers);
        options.setTimeoutMs(timeoutMs);
        options.setReadSizeLimit(limitBytes);
        http().get(PelkUrl("a?x=1#f"_s), options, nullptr);
        QCOMPARE(calls, QStringList{"GET http://h/b/a?x=1#f timeout=30000 limit=524288 {X-One=1;X-Two=2}"_s});
        QCOMPARE(options.timeoutMs(), timeoutMs); // the caller's own are untouched
        QCOMPARE(options.readSizeLimit(), limitBytes);
    }

    void aPostHasFixedLimitsNoHeadersAndALatinBody()
    {
        http().post(PelkUrl("a?x=1"_s), "p=\u00e9\u20ac"_s, nullptr);
        QCOMPARE(calls,
                 (QStringList{"POST http://h/b/a?x=1 timeout=30000 limit=1048576 {}"_s, "p%3D%E9%3F"_s}));
    }

    void aRequestIsSentAsItIs_data()
    {
        Rows<int, QStringList> row;
        const QString tail = " http://h/b/a timeout=1 limit=2 {}"_s;
        const QStringList post{"POST"_s + tail, "body"_s};
        row("0 is a GET, whose body is not sent", 0, QStringList{"GET"_s + tail});
        row("1 is a POST", 1, post);
        row("2 is a POST", 2, post);
        row("-1 is a POST", -1, post);
    }
    void aRequestIsSentAsItIs()
    {
        const auto [method, sent] = fetched<int, QStringList>();
        HttpClientOptions options;
        options.setTimeoutMs(1);
        options.setReadSizeLimit(2);
        http().send({PelkUrl("a"_s), method, options, "body"_s, nullptr});
        QCOMPARE(calls, sent);
    }

    void theCacheIsCleared()
    {
        http().clearCache();
        QCOMPARE(calls, QStringList{"clear"_s});
    }

    void everyCallOfTheApiHasTheseLimitsAndNoHeadersButItsOwn_data() { addCalls(allApiCalls()); }
    void everyCallOfTheApiHasTheseLimitsAndNoHeadersButItsOwn()
    {
        const auto [call] = fetched<ApiCall>();
        call.make(api());
        QCOMPARE(calls.size(), 1);
        const QByteArray headers = call.headerLines().replace(": ", "=").replace(", ", ";");
        QVERIFY2(calls.at(0).endsWith(" timeout=30000 limit=524288 {%1}"_s.arg(QString::fromLatin1(headers))),
                 qPrintable(calls.at(0)));
    }

    void aCancelledOrUnansweredCallFailsWithTheCode_data()
    {
        Rows<int, int> row;
        using Result = HttpClientResult;
        row("cancelled with code 7", 0, 7);
        row("cancelled with code -1", 0, -1);
        row("timed out", int(Result::TimedOut), 0);
        row("too large", int(Result::TooLarge), 0);
        row("unreachable", int(Result::Unreachable), 0);
        row("no secure connection", int(Result::TlsFailed), 0);
        row("interrupted", int(Result::Interrupted), 0);
        row("a redirect refused", int(Result::RedirectRefused), 0);
        row("no URL", int(Result::InvalidUrl), 0);
    }
    void aCancelledOrUnansweredCallFailsWithTheCode()
    {
        const auto [status, code] = fetched<int, int>();
        Log log;
        const auto reply = api().genreGet(1);
        QVERIFY(!reply.isFinished());
        // The callback of a cancelled request receives what the client's response would give it.
        lastCallback({PelkUrl(), static_cast<HttpClientResult::Status>(status), code, {}, {}});
        QVERIFY(reply.isFinished());
        QCOMPARE(reply.error().message().source(), QByteArray("Unknown error"));
        const QVariantHash data{{"ErrorCode"_s, code}};
        QCOMPARE(reply.error().data(), data);
        QCOMPARE(log.errors(), QStringList{"HTTP call to genre/get?genre_id=1 failed (%1)"_s.arg(code)});
    }

    void onlyTheCodeDecidesAboutSuccess()
    {
        const auto reply = api().genreGet(1);
        lastCallback({PelkUrl(), HttpClientResult::Interrupted, 200, "{\"id\":9}", {}});
        QVERIFY(reply.isFinished());
        QVERIFY(!reply.error().isSet());
        QCOMPARE(reply.value().id(), 9);
    }

    void aResponseAfterACancellationPassesThePipeline()
    {
        const auto reply = api().userGet();
        int finished = 0;
        reply.addWatcher([&finished](const CMVoidReply&) { ++finished; }, Qt::DirectConnection);
        const HttpClient::Callback callback = lastCallback;
        const Log log(log4cplus::DEBUG_LOG_LEVEL);
        callback({PelkUrl(), static_cast<HttpClientResult::Status>(0), 7, {}, {}});
        QCOMPARE(reply.error().data(), (QVariantHash{{"ErrorCode"_s, 7}}));
        callback({PelkUrl(), HttpClientResult::Complete, 200, "{\"id\":9}", {}});
        callback({PelkUrl(), HttpClientResult::Complete, 404, "{\"message\":\"gone\"}", {}});
        QCOMPARE(finished, 3);
        QCOMPARE(reply.value().id(), 9U);
        QCOMPARE(reply.error().message().toString(), "gone"_s);
        QCOMPARE(log.lines(),
                 (QStringList{"ERROR QobuzApi.cpp: HTTP call to user/get?user_id=77 failed (7)"_s,
                              "DEBUG QobuzApi.cpp: "_s + reply.value().toString(),
                              "ERROR QobuzApi.cpp: HTTP call to user/get?user_id=77 failed (404): gone"_s}));
    }

    void aRequestIsCopiedOnceIntoItsCompletion_data()
    {
        Rows<int> row;
        row("GET", 0);
        row("POST", 1);
    }
    void aRequestIsCopiedOnceIntoItsCompletion()
    {
        const auto [method] = fetched<int>();
        struct Counted
        {
            explicit Counted(int* count)
                : copies(count)
            {
            }
            Counted(const Counted& other)
                : copies(other.copies)
            {
                ++*copies;
            }
            Counted(Counted&&) = default;
            Counted& operator=(const Counted&) = delete;
            ~Counted() = default;
            int* copies;
        };
        int copies = 0;
        const auto callback = [counted = Counted(&copies)](int, int, const QByteArray&,
                                                           const HttpClientHeaders&) { Q_UNUSED(counted) };
        const QobuzHttpInterface::HttpRequest request{PelkUrl("a"_s), method, {}, {}, callback};
        copies = 0;
        http().send(request);
        QCOMPARE(copies, 1);
        lastCallback({PelkUrl(), HttpClientResult::Complete, 200, {}, {}});
        QCOMPARE(copies, 2); // what the callback is called with is a copy of its own
    }

    void theBaseMovesToAnotherHostOfTheServiceOnly_data()
    {
        Rows<QString, QString, QString, QString> row; // base, URL asked for, header, new base
        const QString first = "http://api.qobuz.com/api/"_s;
        const QString asked = "http://api.qobuz.com/api/a"_s;
        const QString www = "http://www2.qobuz.com/"_s;
        row("another host", first, asked, "http://www2.qobuz.com/api/a", www);
        row("without a path", first, asked, "http://www2.qobuz.com", www);
        row("its port, user, query and fragment go", first, asked, "http://u:p@www2.qobuz.com:8080/x?y=z#f",
            www);
        row("those of the base go too", "http://u:p@api.qobuz.com:8080/v1/?k=v#f", asked, www, www);
        row("several labels", first, asked, "http://a.b.qobuz.com/", "http://a.b.qobuz.com/");
        row("nothing but the suffix", first, asked, "http://.qobuz.com/", "http://.qobuz.com/");
        row("from a host of someone else", "http://music.example/api/", "http://music.example/a", www, www);
        row("the same host in another letter case", "http://API.qobuz.com/api/", "http://API.qobuz.com/api/a",
            first, "http://api.qobuz.com/");
        row("another scheme is taken over", first, asked, "https://s.qobuz.com:444/x",
            "https://s.qobuz.com/");
        row("no scheme stays none", first, asked, "//www2.qobuz.com/api/a", "//www2.qobuz.com/");
        row("the URL asked for had another port, scheme and user", first, "https://u:p@api.qobuz.com:8443/x",
            www, www);
        const auto stays = [&row, first](const char* name, const char* url, const char* header) {
            row(name, first, url, header, first);
        };
        stays("asked of another host of the service", "http://www3.qobuz.com/api/a",
              "http://www2.qobuz.com/");
        stays("asked of a host in another letter case", "http://API.qobuz.com/api/a",
              "http://www2.qobuz.com/");
        stays("asked of a host that goes on", "http://api.qobuz.com.example/a", "http://www2.qobuz.com/");
        stays("asked of a part of the host", "http://qobuz.com/a", "http://www2.qobuz.com/");
        stays("asked of no host", "api/a", "http://www2.qobuz.com/");
        for (const char* header :
             {"http://www.example/api/", "http://evilqobuz.com/", "http://api.qobuz.com.example/",
              "http://www2.Qobuz.com/", "http://WWW2.QOBUZ.COM/", "http://qobuz.com/",
              "http://www2.qobuz.com./", "http://www.example/www2.qobuz.com",
              "http://www2.qobuz.com@www.example/", "http://[2001:db8::1%25.qobuz.com]/",
              "http://api.qobuz.com/elsewhere/", "https://api.qobuz.com:1/", "http://u@api.qobuz.com/",
              "/www2.qobuz.com", "www2.qobuz.com", "http://www2.qobuz.com:port/", "http://www2 .qobuz.com/",
              ":::%%%//[.qobuz.com", ""})
            stays(header, "http://api.qobuz.com/api/a", header);
    }
    void theBaseMovesToAnotherHostOfTheServiceOnly()
    {
        const auto [base, asked, header, newBase] = fetched<QString, QString, QString, QString>();
        setBase(base);
        QobuzHttpInterface moved;
        const Log log(log4cplus::DEBUG_LOG_LEVEL);
        QStringList answers;
        moved.get(PelkUrl("a"_s), {}, [&](int, int code, const QByteArray& body, const HttpClientHeaders&) {
            answers << "%1 %2 %3"_s.arg(code).arg(QString::fromLatin1(body), moved.getBaseUrl().toString());
        });
        calls.clear();
        HttpClientHeaders headers;
        headers.insert("X-PelkEfectiveUrl"_s, header);
        lastCallback({PelkUrl(asked), HttpClientResult::Complete, 500, "body", headers});
        // The result is handed on as it is when the base has moved, and the request is not sent again.
        QCOMPARE(answers, QStringList{"500 body "_s + newBase});
        QCOMPARE(calls, QStringList());
        QCOMPARE(log.lines(),
                 newBase == base
                     ? QStringList()
                     : QStringList{"INFO QobuzHttpInterface.cpp: Connect url changed to: "_s + newBase});
        moved.get(PelkUrl("b?x=y"_s), {}, nullptr);
        QVERIFY2(calls.value(0).startsWith("GET "_s + newBase + "b?x=y "_s) ||
                     base.contains(QLatin1Char('?')),
                 qPrintable(calls.value(0)));
    }

    void theCallbackGetsWhatTheClientReports()
    {
        QStringList got;
        http().get(PelkUrl("a"_s), {},
                   [&got](int status, int code, const QByteArray& body, const HttpClientHeaders& headers) {
                       got.append("%1 %2 %3 %4"_s.arg(QString::number(status), QString::number(code),
                                                      QString::fromLatin1(body), headers.value("X-A"_s)));
                   });
        HttpClientHeaders headers;
        headers.insert("X-A"_s, "v"_s);
        const PelkUrl url("http://h/a"_s);
        lastCallback({url, HttpClientResult::Complete, 200, "x", headers});
        lastCallback({url, HttpClientResult::TimedOut, 0, {}, {}, "late"_s});
        lastCallback({url, HttpClientResult::TooLarge, 0, {}, {}});
        QCOMPARE(got, (QStringList{"0 200 x v"_s, "1 0  "_s, "2 0  "_s}));
    }

    void anEmptyCallbackThrowsAsAnEmptyFunctionDoes()
    {
        http().get(PelkUrl("a"_s), {}, nullptr);
        const HttpClientResult result{PelkUrl(), HttpClientResult::Complete, 200, {}, {}};
        QVERIFY_EXCEPTION_THROWN(lastCallback(result), std::bad_function_call);
    }

private:
    void setBase(const QString& base) { host().setSettings(base, "app-id"_s, "app-secret"_s); }
};

QTEST_GUILESS_MAIN(TransportCallsTest)
#include "transport_calls_test.moc"

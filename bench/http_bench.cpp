// Requests over loopback and between threads: the HTTP client, the real module behind the real loader, and
// their baselines. The server is a separate process; "server" is its CPU time.

#include "api/http/httpclient.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkresource.h"
#include "api/types/qobuzpaths.h"
#include "bench/benchserver.h"
#include "bench/curlclient.h"
#include "player/content/ContentClient.h"
#include "tests/support/modulehost.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <benchmark/benchmark.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <cstring>
#include <functional>

namespace {

/// GETs per round with several in flight.
constexpr int burst = 32;
constexpr int atOnce = 8;

/// Counts what the server takes of a processor while it lives, for each iteration.
class ServerShare
{
public:
    ServerShare(benchmark::State& state, const BenchServer& server)
        : m_state(state)
        , m_server(server)
        , m_before(server.processorSeconds())
    {
    }
    ~ServerShare()
    {
        m_state.counters["server_us"] = benchmark::Counter((m_server.processorSeconds() - m_before) * 1e6,
                                                           benchmark::Counter::kAvgIterations);
    }
    ServerShare(const ServerShare&) = delete;
    ServerShare& operator=(const ServerShare&) = delete;

private:
    benchmark::State& m_state;
    const BenchServer& m_server;
    double m_before;
};

/// Shared by the rows.
struct Stage
{
    BenchServer server; // first: it chooses from all processors
    ModuleHost host{server.url()};
    // The module's own headers on the side of libcurl, too.
    std::vector<std::string> headers = {"X-App-Id: app-id", "X-User-Auth-Token: token-1"};

    Stage()
    {
        BenchServer::leaveProcessorToServer();
        host.setSession();
        host.start();
    }
    std::string url(const std::string& call) const { return server.url().toStdString() + call; }
};

HttpClientOptions options()
{
    HttpClientHeaders headers;
    headers.insert(QStringLiteral("X-App-Id"), QStringLiteral("app-id"));
    headers.insert(QStringLiteral("X-User-Auth-Token"), QStringLiteral("token-1"));
    HttpClientOptions options;
    options.setHeaders(headers);
    options.setTimeoutMs(30000);
    return options;
}

void checkBlob(const HttpClientResult& result)
{
    if (result.code() != 200 || result.body().size() != BenchServer::blobBytes)
        qFatal("an answer of %d with %d bytes", result.code(), result.body().size());
}

// The clients live as long as the program, so that connections on both sides have the same age: new ones are
// slower.

void singleByHttpClient(benchmark::State& state, const Stage& stage, HttpClient& client)
{
    const PelkUrl url(stage.server.url() + QStringLiteral("blob"));
    const HttpClientOptions headers = options();
    QEventLoop loop;
    const ServerShare share(state, stage.server);
    for ([[maybe_unused]] const auto& round : state) {
        client.get(url, headers, [&loop](const HttpClientResult& result) {
            checkBlob(result);
            loop.quit();
        });
        loop.exec();
    }
}

void singleByCurl(benchmark::State& state, const Stage& stage, CurlClient& client)
{
    const ServerShare share(state, stage.server);
    for ([[maybe_unused]] const auto& round : state) {
        if (client.get().size() != BenchServer::blobBytes)
            qFatal("libcurl reads another number of bytes");
    }
}

void eightByHttpClient(benchmark::State& state, const Stage& stage, HttpClient& client)
{
    const PelkUrl url(stage.server.url() + QStringLiteral("blob"));
    const HttpClientOptions headers = options();
    QEventLoop loop;
    int toStart = 0;
    int toFinish = 0;
    const std::function<void()> start = [&] {
        --toStart;
        client.get(url, headers, [&](const HttpClientResult& result) {
            checkBlob(result);
            if (toStart > 0)
                start();
            if (--toFinish == 0)
                loop.quit();
        });
    };
    const ServerShare share(state, stage.server);
    for ([[maybe_unused]] const auto& round : state) {
        toStart = toFinish = burst;
        for (int i = 0; i < atOnce; ++i)
            start();
        loop.exec();
    }
}

void eightByCurl(benchmark::State& state, const Stage& stage, CurlClient& client)
{
    const ServerShare share(state, stage.server);
    for ([[maybe_unused]] const auto& round : state) {
        if (client.getMany(burst) != size_t(burst) * BenchServer::blobBytes)
            qFatal("libcurl reads another number of bytes");
    }
}

/// Fetched by the module's request.
void bodyByCurl(benchmark::State& state, const Stage& stage, CurlClient& client)
{
    const ServerShare share(state, stage.server);
    for ([[maybe_unused]] const auto& round : state)
        benchmark::DoNotOptimize(client.get().size());
}

/// Sends a request to the module from the host's thread and runs the host's event loop until its watcher is
/// called.
template <typename Request, typename Send>
void roundTrip(QEventLoop& loop, const Request& request, Send send)
{
    request.reply().addWatcher([&loop](const CMVoidReply& /*reply*/) { loop.quit(); });
    send();
    loop.exec();
}

void rowsByModule(benchmark::State& state, Stage& stage, const CMPath& path, int last, int expected)
{
    QEventLoop loop;
    const QStringList roles = ContentClient::allRoles();
    const ServerShare share(state, stage.server);
    for ([[maybe_unused]] const auto& round : state) {
        const CMGetRowsRequest request(path, 0, last, roles);
        roundTrip(loop, request, [&] { stage.host.root().getRowsRequest(request); });
        if (request.reply().value().rows().toList().size() != expected)
            qFatal("%s has other rows", qPrintable(path.toString()));
    }
}

void prePlayByModule(benchmark::State& state, Stage& stage)
{
    QEventLoop loop;
    CMPath path = PelkQobuzBrowsePath() + PelkQobuzPreplayPath();
    path.addParam(QStringLiteral("id"), QStringLiteral("3116514"));
    PelkRoles row;
    row.setTitle(QStringLiteral("A track"));
    const ServerShare share(state, stage.server);
    for ([[maybe_unused]] const auto& round : state) {
        const CMSetDataRequest request(path, PelkRoles::PrePlay(), row.variant());
        roundTrip(loop, request, [&] { stage.host.root().setDataRequest(request); });
        if (PelkRoles(PelkHash(request.reply().value().toHash())).mediaData().resources().size() != 1)
            qFatal("the track was not resolved");
    }
}

/// There and back through the event queues of the same two threads.
void invokeRoundTrip(benchmark::State& state, Stage& stage)
{
    QEventLoop loop;
    for ([[maybe_unused]] const auto& round : state) {
        QMetaObject::invokeMethod(
            stage.host.worker(),
            [&loop] { QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection); },
            Qt::QueuedConnection);
        loop.exec();
    }
}

template <typename Function, typename... Arguments>
void add(const char* name, Function function, Arguments&&... arguments)
{
    benchmark::RegisterBenchmark(name, function, std::forward<Arguments>(arguments)...)
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (argc == 2 && std::strcmp(argv[1], "--serve") == 0)
        BenchServer::serve();
    benchmark::Initialize(&argc, argv);
    const log4cplus::Initializer initializer;
    log4cplus::Logger::getRoot().addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::WARN_LOG_LEVEL);

    Stage stage;
    HttpClient httpClient(nullptr, HttpClient::BestVersion, true);
    CurlClient single(stage.url("blob"), stage.headers);
    CurlClient eight(stage.url("blob"), stage.headers, atOnce);
    CurlClient page(stage.url("favorite/getUserFavorites?offset=0&limit=50&type=albums"), stage.headers);
    CurlClient stream(stage.url("track/getFileUrl?track_id=3116514&format_id=5&request_ts=1700000000&"
                                "request_sig=0123456789abcdef0123456789abcdef"),
                      stage.headers);
    add("single/httpclient", singleByHttpClient, std::cref(stage), std::ref(httpClient));
    add("single/curl", singleByCurl, std::cref(stage), std::ref(single));
    add("eight/httpclient", eightByHttpClient, std::cref(stage), std::ref(httpClient));
    add("eight/curl", eightByCurl, std::cref(stage), std::ref(eight));
    add("page/module", rowsByModule, std::ref(stage),
        PelkQobuzBrowsePath() + PelkQobuzUserFavouriteAlbumsPath(), 49, 50);
    add("page/curl", bodyByCurl, std::cref(stage), std::ref(page));
    add("preplay/module", prePlayByModule, std::ref(stage));
    add("preplay/curl", bodyByCurl, std::cref(stage), std::ref(stream));
    add("fixed/module", rowsByModule, std::ref(stage), PelkQobuzBrowsePath(), 99, 5);
    add("fixed/invoke", invokeRoundTrip, std::ref(stage));
    benchmark::RunSpecifiedBenchmarks();
    stage.host.stop();
    return 0;
}

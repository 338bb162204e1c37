#include "api/http/httpclient.h"

#include "api/http/curlloop.h"
#include "api/http/exchange.h"
#include "api/http/redirectrules.h"
#include "api/http/responsecache.h"

#include <QPointer>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

/// Handles kept for later requests.
constexpr size_t spareExchanges = 16;

/// The number of active requests of all clients, for waitForIdle.
struct ProcessCount
{
    std::mutex mutex;
    std::condition_variable changed;
    int requests = 0;

    void add(int difference)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            requests += difference;
        }
        changed.notify_all();
    }
};

ProcessCount& processCount()
{
    // Never destroyed: a thread may still wait while the process ends.
    static auto* const count = new ProcessCount;
    return *count;
}

} // namespace

class HttpClientPrivate
{
public:
    HttpClientPrivate(HttpClient* client, HttpClient::HttpVersion httpVersion, bool keep);
    ~HttpClientPrivate();

    /// One request from its start to its callback.
    struct Request
    {
        PelkUrl url;
        HttpClientOptions options;
        HttpClient::Callback callback;
        Clock::time_point started = Clock::now();
        Exchange::Request wire;
        int redirects = 0;
        QByteArray cacheKey; ///< null: the cache has no part in it
        ResponseCache::EntryPointer cached;
    };

    void start(Request request);
    void admit(Request request);
    void send(Request request);
    void onFinished(CURL* handle, CURLcode code);
    void onAnswer(Request request, Exchange::Answer answer);
    void redirect(Request request, const Exchange::Answer& answer);
    void useCache(const Request& request, Exchange::Answer& answer);
    void fail(Request& request, HttpClientResult::Status status, const QString& errorText);
    void finish(HttpClient::Callback callback, HttpClientResult result);
    void queueDelivery();
    void deliver();

    struct Running
    {
        std::unique_ptr<Exchange> exchange;
        Request request;
    };
    struct Finished
    {
        HttpClient::Callback callback;
        HttpClientResult result;
    };

    HttpClient* const q;
    const long version;
    const bool keepConnections;
    CurlLoop& curlLoop();
    std::optional<CurlLoop> loop; ///< with the first request, since libcurl's TLS takes memory and time
    bool cacheOn = false;
    ResponseCache cache;
    std::vector<std::unique_ptr<Exchange>> spare;
    std::unordered_map<CURL*, Running> running;
    std::deque<Finished> finished;
    bool deliveryQueued = false;
    int inFlight = 0;
};

HttpClientPrivate::HttpClientPrivate(HttpClient* client, HttpClient::HttpVersion httpVersion, bool keep)
    : q(client)
    , version(httpVersion == HttpClient::Http11 ? CURL_HTTP_VERSION_1_1 : CURL_HTTP_VERSION_2TLS)
    , keepConnections(keep)
{
}

CurlLoop& HttpClientPrivate::curlLoop()
{
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    Q_ASSERT(ready == CURLE_OK);
    if (!loop)
        loop.emplace([this](CURL* handle, CURLcode code) { onFinished(handle, code); },
                     [this] { deliver(); });
    return *loop;
}

HttpClientPrivate::~HttpClientPrivate()
{
    for (const auto& item : running)
        loop->remove(item.first);
    processCount().add(-inFlight);
}

void HttpClientPrivate::start(Request request)
{
    ++inFlight;
    processCount().add(1);
    admit(std::move(request));
    if (loop)
        loop->start();
    // Never from inside the caller's call.
    if (!finished.empty())
        queueDelivery();
}

void HttpClientPrivate::admit(Request request)
{
    if (!RedirectRules::isHttp(request.url)) {
        fail(request, HttpClientResult::InvalidUrl, QStringLiteral("Not an absolute http or https URL"));
        return;
    }
    request.wire.url = request.url.toEncoded();
    request.wire.headers = request.options.headers();
    request.wire.readSizeLimit = request.options.readSizeLimit();
    if (cacheOn && !request.wire.isPost) {
        request.cacheKey = ResponseCache::key(request.wire.url, request.wire.headers);
        auto entry = request.cacheKey.isNull() ? nullptr : cache.find(request.cacheKey);
        const int limit = request.wire.readSizeLimit;
        // A cached response above the limit is requested again, and fails as it would without a cache.
        if (entry && (limit <= 0 || entry->body.size() <= limit)) {
            if (ResponseCache::isFresh(*entry, request.started)) {
                finish(std::move(request.callback),
                       {request.url, HttpClientResult::Complete, 200, entry->body, entry->headers});
                return;
            }
            const HttpClientHeaders conditions = ResponseCache::conditions(*entry);
            for (const auto& item : conditions.items())
                request.wire.headers.insert(item.first, item.second);
            request.cached = std::move(entry);
        }
    }
    send(std::move(request));
}

void HttpClientPrivate::send(Request request)
{
    const int timeoutMs = request.options.timeoutMs();
    if (timeoutMs > 0) {
        const auto used =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - request.started);
        request.wire.timeoutMs = std::max<qint64>(timeoutMs - used.count(), 1);
    }
    CurlLoop& transfers = curlLoop();
    std::unique_ptr<Exchange> exchange;
    if (spare.empty()) {
        exchange = std::make_unique<Exchange>(version, keepConnections);
    } else {
        exchange = std::move(spare.back());
        spare.pop_back();
    }
    exchange->prepare(request.wire);
    CURL* handle = exchange->handle();
    if (transfers.add(handle))
        running.emplace(handle, Running{std::move(exchange), std::move(request)});
    else
        fail(request, HttpClientResult::Interrupted, QStringLiteral("The transfer could not be started"));
}

void HttpClientPrivate::onFinished(CURL* handle, CURLcode code)
{
    const auto found = running.find(handle);
    Q_ASSERT(found != running.end());
    Running ended = std::move(found->second);
    running.erase(found);
    Exchange::Answer answer = ended.exchange->take(code);
    if (spare.size() < spareExchanges)
        spare.push_back(std::move(ended.exchange));
    onAnswer(std::move(ended.request), std::move(answer));
}

void HttpClientPrivate::onAnswer(Request request, Exchange::Answer answer)
{
    if (answer.status != HttpClientResult::Complete) {
        fail(request, answer.status, answer.errorText);
        return;
    }
    // Cached responses of this URL may be outdated now (RFC 9111, section 4.4).
    if (request.wire.isPost && answer.code < 400)
        cache.removeUrl(request.url.toEncoded());
    if (!answer.redirect.isEmpty()) {
        redirect(std::move(request), answer);
        return;
    }
    useCache(request, answer);
    if (request.redirects > 0)
        answer.headers.insert(QStringLiteral("X-PelkEfectiveUrl"), QString::fromLatin1(request.wire.url));
    finish(std::move(request.callback), {request.url, HttpClientResult::Complete, answer.code,
                                         std::move(answer.body), std::move(answer.headers)});
}

void HttpClientPrivate::redirect(Request request, const Exchange::Answer& answer)
{
    const PelkUrl from = PelkUrl::fromEncoded(request.wire.url);
    const PelkUrl to = PelkUrl::fromEncoded(answer.redirect);
    const bool repeatsPost = request.wire.isPost && (answer.code == 307 || answer.code == 308);
    const QString refusal = RedirectRules::refusal(from, to, request.redirects, repeatsPost);
    if (!refusal.isEmpty()) {
        fail(request, HttpClientResult::RedirectRefused, refusal);
        return;
    }
    if (!repeatsPost) {
        request.wire.isPost = false;
        request.wire.body.clear();
    }
    if (request.cached) {
        // The conditions were about the answer of the first URL.
        request.cached.reset();
        request.wire.headers = request.options.headers();
    }
    if (!RedirectRules::mayCarryHeaders(from, to)) {
        // They may contain a token that the other server must not receive; later redirects omit them too.
        request.options.setHeaders({});
        request.wire.headers = {};
    }
    request.cacheKey.clear();
    request.wire.url = answer.redirect;
    ++request.redirects;
    send(std::move(request));
}

/// Updates the cache from the response and replaces a 304 with the stored body.
void HttpClientPrivate::useCache(const Request& request, Exchange::Answer& answer)
{
    if (request.cacheKey.isNull())
        return;
    if (request.cached && answer.code == 304) {
        answer.headers = cache.refresh(request.cacheKey, request.cached, answer.headers, request.started);
        answer.code = 200;
        answer.body = request.cached->body;
    } else if (answer.code == 200) {
        cache.store(request.cacheKey, answer.headers, answer.body, request.started);
    } else if (answer.code < 500) {
        cache.remove(request.cacheKey);
    }
}

void HttpClientPrivate::fail(Request& request, HttpClientResult::Status status, const QString& errorText)
{
    finish(std::move(request.callback), {request.url, status, 0, {}, {}, errorText});
}

void HttpClientPrivate::finish(HttpClient::Callback callback, HttpClientResult result)
{
    finished.push_back({std::move(callback), std::move(result)});
}

void HttpClientPrivate::queueDelivery()
{
    if (deliveryQueued)
        return;
    deliveryQueued = true;
    QMetaObject::invokeMethod(
        q,
        [this] {
            deliveryQueued = false;
            deliver();
        },
        Qt::QueuedConnection);
}

/// Calls back for what has finished so far, from the event loop.
void HttpClientPrivate::deliver()
{
    if (finished.empty())
        return;
    const QPointer<HttpClient> alive(q);
    // Requests that callbacks finish, for example from the cache, wait for the next round of the event loop.
    for (size_t count = finished.size(); count > 0 && !finished.empty(); --count) {
        const Finished next = std::move(finished.front());
        finished.pop_front();
        if (next.callback)
            next.callback(next.result);
        if (!alive)
            return;
        --inFlight;
        processCount().add(-1);
    }
    if (!finished.empty())
        queueDelivery();
    else if (inFlight == 0)
        Q_EMIT q->idle();
}

HttpClient::HttpClient(QObject* parent, HttpVersion version, bool keepConnections)
    : QObject(parent)
{
    d = std::make_unique<HttpClientPrivate>(this, version, keepConnections);
}

HttpClient::~HttpClient() = default;

void HttpClient::get(const PelkUrl& url, const HttpClientOptions& options, Callback callback)
{
    HttpClientPrivate::Request request;
    request.url = url;
    request.options = options;
    request.callback = std::move(callback);
    d->start(std::move(request));
}

void HttpClient::post(const PelkUrl& url, const QByteArray& body, const HttpClientOptions& options,
                      Callback callback)
{
    HttpClientPrivate::Request request;
    request.url = url;
    request.options = options;
    request.callback = std::move(callback);
    request.wire.isPost = true;
    request.wire.body = body;
    d->start(std::move(request));
}

void HttpClient::setCacheSize(unsigned long bytes)
{
    constexpr auto most = static_cast<unsigned long>(std::numeric_limits<qint64>::max());
    d->cacheOn = bytes > 0;
    d->cache.setCapacity(static_cast<qint64>(std::min(bytes, most)));
}

void HttpClient::clearCache()
{
    d->cache.clear();
}

int HttpClient::inFlight() const
{
    return d->inFlight;
}

bool HttpClient::waitForIdle(int timeoutMs)
{
    ProcessCount& count = processCount();
    std::unique_lock<std::mutex> lock(count.mutex);
    return count.changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                  [&count] { return count.requests == 0; });
}

#include "modules/qobuz/QobuzHttpInterface.h"

#include "api/core/log/dbglog.h"
#include "api/core/model/cmabstractworker.h"
#include "api/types/qobuzpaths.h"

#include <string>
#include <utility>

namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance("Qobuz");

constexpr int timeoutMs = 30000;
constexpr int getReadSizeLimitBytes = 512 * 1024;
constexpr int postReadSizeLimitBytes = 1024 * 1024;
constexpr unsigned long cacheSizeBytes = 1024 * 1024;

// Other hosts than those under the service's own domain never become the base URL.
const QString& domainSuffix()
{
    static const QString suffix = QStringLiteral(".qobuz.com");
    return suffix;
}

/// The name of a function of the interface in log lines. In front of the class's own types among the
/// parameters GCC leaves the class out, Clang does not.
std::string scopedFunction(const char* signature)
{
    static const std::string owner = "QobuzHttpInterface::";
    std::string text = dbglog_scopedFunction(signature, "Qobuz");
    for (auto at = text.find(owner, text.find('(')); at != std::string::npos; at = text.find(owner, at))
        text.erase(at, owner.size());
    return text;
}

} // namespace

QobuzHttpInterface::QobuzHttpInterface()
    : m_client(new HttpClient(this, HttpClient::BestVersion, true))
{
    const PelkQobuzSettings settings = CMRoot()->getValue(PelkQobuzSettingsPath()).qobuzSettings();
    m_connectBaseUrl = PelkUrl::fromEncoded(settings.apiUrl().toUtf8());
    Q_ASSERT(!m_connectBaseUrl.isEmpty());
    m_client->setCacheSize(cacheSizeBytes);
}

void QobuzHttpInterface::get(const PelkUrl& url, const HttpClientOptions& options, const Callback& callback)
{
    LOG4CPLUS_TRACE(logger, "Enter " << scopedFunction(Q_FUNC_INFO) << ": " << url);
    HttpClientOptions limited(options);
    limited.setReadSizeLimit(getReadSizeLimitBytes);
    limited.setTimeoutMs(timeoutMs);
    send(HttpRequest{url, 0, limited, QString(), callback});
    LOG4CPLUS_TRACE(logger, "Leave " << scopedFunction(Q_FUNC_INFO) << ": ");
}

void QobuzHttpInterface::post(const PelkUrl& url, const QString& body, const Callback& callback)
{
    LOG4CPLUS_TRACE(logger, "Enter " << scopedFunction(Q_FUNC_INFO) << ": " << url);
    HttpClientOptions options;
    options.setTimeoutMs(timeoutMs);
    options.setReadSizeLimit(postReadSizeLimitBytes);
    send(HttpRequest{url, 1, options, body, callback});
    LOG4CPLUS_TRACE(logger, "Leave " << scopedFunction(Q_FUNC_INFO) << ": ");
}

void QobuzHttpInterface::send(const HttpRequest& request)
{
    LOG4CPLUS_TRACE(logger, "Enter " << scopedFunction(Q_FUNC_INFO) << ": " << request.url);
    // A copy that is not const, as plain capture would make it, so that it can be moved on.
    auto completion = [this, request = request](const HttpClientResult& result) {
        httpCallback(request, result);
    };
    if (request.method == 0)
        m_client->get(composeUrl(request.url), request.options, std::move(completion));
    else
        m_client->post(composeUrl(request.url), request.body.toLatin1(), request.options,
                       std::move(completion));
    LOG4CPLUS_TRACE(logger, "Leave " << scopedFunction(Q_FUNC_INFO) << ": ");
}

PelkUrl QobuzHttpInterface::composeUrl(const PelkUrl& url)
{
    LOG4CPLUS_TRACE(logger, "Enter " << scopedFunction(Q_FUNC_INFO) << ": " << url);
    PelkUrl composed = getBaseUrl();
    composed.setPath(composed.path() + url.path());
    composed.setQueryItems(url.queryItems());
    composed.setFragment(url.fragment());
    LOG4CPLUS_TRACE(logger, "Leave " << scopedFunction(Q_FUNC_INFO) << ": " << composed);
    return composed;
}

// The request is a copy, because its callback may delete the owner of the completion.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void QobuzHttpInterface::httpCallback(HttpRequest request, const HttpClientResult& result)
{
    LOG4CPLUS_TRACE(logger, "Enter " << scopedFunction(Q_FUNC_INFO) << ": code: " << result.code());
    // Misspelled on purpose: the name is fixed.
    const PelkUrl effective =
        PelkUrl::fromEncoded(result.headers().value(QStringLiteral("X-PelkEfectiveUrl"), QString()).toUtf8());
    if (result.url().host() == m_connectBaseUrl.host() && effective.host() != m_connectBaseUrl.host() &&
        effective.host().endsWith(domainSuffix())) {
        PelkUrl base;
        base.setScheme(effective.scheme());
        base.setHost(effective.host());
        base.setPath(QStringLiteral("/"));
        m_connectBaseUrl = base;
        LOG4CPLUS_INFO(logger, "Connect url changed to: " << m_connectBaseUrl.toString());
    }
    request.callback(result.status(), result.code(), result.body(), result.headers());
}

void QobuzHttpInterface::cancelRequest(const HttpRequest& request, int code)
{
    // Misspelled on purpose: the text is fixed.
    LOG4CPLUS_TRACE(logger, "Enter " << scopedFunction(Q_FUNC_INFO)
                                     << ": requset url: " << request.url.toString() << " code: " << code);
    request.callback(0, code, QByteArray(), HttpClientHeaders());
}

void QobuzHttpInterface::clearCache()
{
    LOG4CPLUS_TRACE(logger, "Enter " << scopedFunction(Q_FUNC_INFO) << ": ");
    m_client->clearCache();
}

#include "api/http/exchange.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

constexpr int largestBody = std::numeric_limits<int>::max() / 2;

HttpClientResult::Status statusOf(CURLcode code)
{
    switch (code) {
    case CURLE_OK:
        return HttpClientResult::Complete;
    case CURLE_OPERATION_TIMEDOUT:
        return HttpClientResult::TimedOut;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
        return HttpClientResult::Unreachable;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_ENGINE_INITFAILED:
        return HttpClientResult::TlsFailed;
    case CURLE_URL_MALFORMAT:
        return HttpClientResult::InvalidUrl;
    default:
        return HttpClientResult::Interrupted;
    }
}

bool isRedirect(long code)
{
    return code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
}

/// Escapes what servers write into a Location although no URL has it: blanks, quotes, raw UTF-8.
QByteArray escaped(const char* url)
{
    QByteArray out;
    for (const char* at = url; *at; ++at) {
        const auto byte = static_cast<unsigned char>(*at);
        if (byte <= 0x20 || byte >= 0x7f || std::strchr("\"<>\\^`{|}", *at) != nullptr)
            out += '%' + QByteArray(1, *at).toHex().toUpper();
        else
            out += *at;
    }
    return out;
}

} // namespace

Exchange::Exchange(long httpVersion, bool keepConnections)
    : m_handle(curl_easy_init())
{
    Q_ASSERT(m_handle);
    const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(m_handle, option, value); };
    set(CURLOPT_NOSIGNAL, 1L);
    // A host name that is still being resolved must not block the event loop when its request is dropped.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_HTTP_VERSION, httpVersion);
    set(CURLOPT_FORBID_REUSE, keepConnections ? 0L : 1L);
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_ACCEPT_ENCODING, "");
    set(CURLOPT_BUFFERSIZE, 65536L);
    // With a folder of certificates set, which Debian builds in, libcurl reads the whole list again for each
    // connection (25 ms on the event loop); with the one file alone it keeps it in memory.
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    set(CURLOPT_PROXY_CAPATH, static_cast<const char*>(nullptr));
    set(CURLOPT_WRITEFUNCTION, &Exchange::onBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_ERRORBUFFER, m_error);
}

Exchange::~Exchange()
{
    curl_easy_cleanup(m_handle);
    curl_slist_free_all(m_headerLines);
}

void Exchange::prepare(const Request& request)
{
    m_request = request;
    m_body = QByteArray();
    m_tooLarge = false;
    m_error[0] = 0;
    curl_easy_setopt(m_handle, CURLOPT_URL, request.url.constData());
    curl_easy_setopt(m_handle, CURLOPT_TIMEOUT_MS, static_cast<long>(request.timeoutMs));
    if (request.isPost) {
        curl_easy_setopt(m_handle, CURLOPT_POST, 1L);
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDS, m_request.body.constData());
    } else {
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDS, static_cast<const char*>(nullptr));
        curl_easy_setopt(m_handle, CURLOPT_HTTPGET, 1L);
    }

    curl_slist* lines = nullptr;
    for (const auto& item : request.headers.items()) {
        // "Name:" would make libcurl omit the header; with a semicolon it is sent with an empty value.
        const QByteArray name = item.first.toUtf8();
        const QByteArray line =
            item.second.trimmed().isEmpty() ? name + ';' : name + ": " + item.second.toUtf8();
        lines = curl_slist_append(lines, line.constData());
    }
    // Servers that do not know the question would cost a second of waiting before a large body.
    if (request.isPost)
        lines = curl_slist_append(lines, "Expect:");
    curl_easy_setopt(m_handle, CURLOPT_HTTPHEADER, lines);
    curl_slist_free_all(m_headerLines);
    m_headerLines = lines;
}

Exchange::Answer Exchange::take(CURLcode code)
{
    Answer answer;
    answer.status = m_tooLarge ? HttpClientResult::TooLarge : statusOf(code);
    if (answer.status != HttpClientResult::Complete) {
        answer.errorText = describe(code);
    } else {
        long httpCode = 0;
        curl_easy_getinfo(m_handle, CURLINFO_RESPONSE_CODE, &httpCode);
        answer.code = static_cast<int>(httpCode);
        answer.headers = receivedHeaders();
        answer.body = m_body;
        const char* redirect = nullptr;
        curl_easy_getinfo(m_handle, CURLINFO_REDIRECT_URL, &redirect);
        if (redirect && isRedirect(httpCode))
            answer.redirect = escaped(redirect);
    }
    m_body = QByteArray();
    return answer;
}

size_t Exchange::onBody(char* data, size_t size, size_t count, void* self)
{
    auto* exchange = static_cast<Exchange*>(self);
    const size_t bytes = size * count;
    const int asked = exchange->m_request.readSizeLimit;
    const int limit = asked > 0 ? std::min(asked, largestBody) : largestBody;
    if (bytes > static_cast<size_t>(limit - exchange->m_body.size())) {
        exchange->m_tooLarge = true;
        return 0;
    }
    if (exchange->m_body.isEmpty()) {
        curl_off_t length = -1;
        curl_easy_getinfo(exchange->m_handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
        // The header is a hint and may lie: it never makes more room than a moderate body takes.
        exchange->m_body.reserve(
            static_cast<int>(std::clamp<curl_off_t>(length, 0, std::min(limit, 1 << 20))));
    }
    exchange->m_body.append(data, static_cast<int>(bytes));
    return bytes;
}

HttpClientHeaders Exchange::receivedHeaders() const
{
    HttpClientHeaders headers;
    curl_header* header = nullptr;
    while ((header = curl_easy_nextheader(m_handle, CURLH_HEADER, -1, header)) != nullptr) {
        const QString name = QString::fromUtf8(header->name);
        const QString value = QString::fromUtf8(header->value);
        headers.insert(name, header->index == 0 ? value : headers.value(name) + QStringLiteral(", ") + value);
    }
    return headers;
}

QString Exchange::describe(CURLcode code) const
{
    if (m_tooLarge)
        return QStringLiteral("The answer is larger than %1 bytes").arg(m_request.readSizeLimit);
    const char* detail = m_error[0] ? m_error : curl_easy_strerror(code);
    return QString::fromUtf8(detail);
}

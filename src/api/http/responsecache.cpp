#include "api/http/responsecache.h"

#include <QStringList>
#include <curl/curl.h>

#include <algorithm>
#include <optional>

namespace {

using std::chrono::seconds;

/// The approximate memory overhead of each entry.
constexpr qint64 entryOverhead = 256;

struct CacheControl
{
    bool noStore = false;
    bool noCache = false;
    std::optional<seconds> maxAge;
};

/// Reads delta-seconds; anything else counts as zero, so that the response is stale (RFC 9111, section
/// 4.2.1).
seconds deltaSeconds(const QString& text)
{
    bool isNumber = false;
    const qlonglong value = text.toLongLong(&isNumber);
    // Large values are cut so that adding them to a time cannot overflow.
    return seconds(isNumber ? std::clamp<qlonglong>(value, 0, 0x7fffffff) : 0);
}

CacheControl cacheControl(const HttpClientHeaders& headers)
{
    CacheControl result;
    const QStringList parts = headers.value(QStringLiteral("Cache-Control")).split(QLatin1Char(','));
    for (const QString& part : parts) {
        const QString name = part.section(QLatin1Char('='), 0, 0).trimmed().toLower();
        const QString value = part.section(QLatin1Char('='), 1).trimmed().remove(QLatin1Char('"'));
        if (name == QLatin1String("no-store"))
            result.noStore = true;
        else if (name == QLatin1String("no-cache"))
            // With field names it forbids less; to ask again is always allowed.
            result.noCache = true;
        else if (name == QLatin1String("max-age"))
            result.maxAge = std::min(deltaSeconds(value), result.maxAge.value_or(seconds::max()));
    }
    return result;
}

seconds lifetimeOf(const HttpClientHeaders& headers, const CacheControl& control)
{
    if (control.noCache)
        return seconds(0);
    if (control.maxAge)
        return *control.maxAge;
    const time_t expires =
        curl_getdate(headers.value(QStringLiteral("Expires")).toUtf8().constData(), nullptr);
    const time_t date = curl_getdate(headers.value(QStringLiteral("Date")).toUtf8().constData(), nullptr);
    // Both are the server's times: the clock of a device may be far off.
    if (expires < 0 || date < 0)
        return seconds(0);
    return seconds(std::clamp<qint64>(expires - date, 0, 0x7fffffff));
}

bool hasValidator(const HttpClientHeaders& headers)
{
    return headers.contains(QStringLiteral("ETag")) || headers.contains(QStringLiteral("Last-Modified"));
}

qint64 bytesOf(const QByteArray& key, const ResponseCache::Entry& entry)
{
    qint64 bytes = entryOverhead + key.size() + entry.body.size();
    for (const auto& item : entry.headers.items())
        bytes += 2 * (item.first.size() + item.second.size());
    return bytes;
}

/// The URL without its fragment, and a mark of its end.
QByteArray urlKey(const QByteArray& encodedUrl)
{
    const int fragment = encodedUrl.indexOf('#');
    return (fragment < 0 ? encodedUrl : encodedUrl.left(fragment)) + '\n';
}

} // namespace

void ResponseCache::setCapacity(qint64 bytes)
{
    m_capacity = bytes;
    shrink();
}

void ResponseCache::clear()
{
    m_places.clear();
    m_index.clear();
    m_size = 0;
}

QByteArray ResponseCache::key(const QByteArray& encodedUrl, const HttpClientHeaders& requestHeaders)
{
    QStringList lines;
    for (const auto& item : requestHeaders.items()) {
        const QString name = item.first.toLower();
        if (name.startsWith(QLatin1String("if-")) || name == QLatin1String("range") ||
            name == QLatin1String("cache-control") || name == QLatin1String("pragma"))
            return {};
        lines.append(name + QLatin1Char(':') + item.second);
    }
    lines.sort();
    return urlKey(encodedUrl) + lines.join(QLatin1Char('\n')).toUtf8();
}

ResponseCache::EntryPointer ResponseCache::find(const QByteArray& key)
{
    const auto found = m_index.constFind(key);
    if (found == m_index.constEnd())
        return nullptr;
    m_places.splice(m_places.begin(), m_places, *found);
    return (*found)->entry;
}

bool ResponseCache::isFresh(const Entry& entry, Clock::time_point now)
{
    return now - entry.born < entry.lifetime;
}

HttpClientHeaders ResponseCache::conditions(const Entry& entry)
{
    HttpClientHeaders result;
    const QString tag = entry.headers.value(QStringLiteral("ETag"));
    const QString date = entry.headers.value(QStringLiteral("Last-Modified"));
    if (!tag.isEmpty())
        result.insert(QStringLiteral("If-None-Match"), tag);
    if (!date.isEmpty())
        result.insert(QStringLiteral("If-Modified-Since"), date);
    return result;
}

void ResponseCache::store(const QByteArray& key, const HttpClientHeaders& headers, const QByteArray& body,
                          Clock::time_point requested)
{
    remove(key);
    const CacheControl control = cacheControl(headers);
    const seconds lifetime = lifetimeOf(headers, control);
    const bool varies = headers.value(QStringLiteral("Vary")).contains(QLatin1Char('*'));
    if (control.noStore || varies || (lifetime == seconds(0) && !hasValidator(headers)))
        return;

    // A body read piece by piece may have been given more room than it took.
    QByteArray tight = body;
    tight.squeeze();
    auto entry = std::make_shared<Entry>();
    *entry = {headers, tight, lifetime, requested - deltaSeconds(headers.value(QStringLiteral("Age")))};
    const qint64 bytes = bytesOf(key, *entry);
    if (bytes > m_capacity)
        return;
    m_places.push_front({key, std::move(entry), bytes});
    m_index.insert(key, m_places.begin());
    m_size += bytes;
    shrink();
}

HttpClientHeaders ResponseCache::refresh(const QByteArray& key, const EntryPointer& entry,
                                         const HttpClientHeaders& headers, Clock::time_point requested)
{
    HttpClientHeaders merged = entry->headers;
    for (const auto& item : headers.items()) {
        // These describe the message, not the stored body (RFC 9111, section 3.2).
        const bool ofMessage =
            item.first.startsWith(QLatin1String("Content-"), Qt::CaseInsensitive) ||
            item.first.compare(QLatin1String("Transfer-Encoding"), Qt::CaseInsensitive) == 0;
        if (!ofMessage)
            merged.insert(item.first, item.second);
    }
    store(key, merged, entry->body, requested);
    return merged;
}

void ResponseCache::remove(const QByteArray& key)
{
    const auto found = m_index.constFind(key);
    if (found != m_index.constEnd())
        erase(*found);
}

void ResponseCache::removeUrl(const QByteArray& encodedUrl)
{
    const QByteArray prefix = urlKey(encodedUrl);
    for (auto place = m_places.begin(); place != m_places.end();) {
        const auto next = std::next(place);
        if (place->key.startsWith(prefix))
            erase(place);
        place = next;
    }
}

void ResponseCache::erase(Places::iterator place)
{
    m_size -= place->bytes;
    m_index.remove(place->key);
    m_places.erase(place);
}

void ResponseCache::shrink()
{
    while (m_size > m_capacity)
        erase(std::prev(m_places.end()));
}

// Cache headers: one line per operation on a small cache: "s" or "r" (a response, or one that confirms
// another) or "d", a letter for the URL, and header fields separated by bars.

#include "api/http/pelkurl.h"
#include "api/http/responsecache.h"
#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    constexpr qint64 capacityBytes = 2000;
    Input input(data, size);
    ResponseCache cache;
    cache.setCapacity(capacityBytes);
    auto now = ResponseCache::Clock::now();
    while (!input.atEnd()) {
        const QByteArray line = input.line();
        const QByteArray url =
            PelkUrl(QStringLiteral("http://h/") + QString::fromLatin1(line.mid(1, 1))).toEncoded();
        HttpClientHeaders headers;
        for (const QByteArray& field : line.mid(2).split('|')) {
            const int colon = field.indexOf(':');
            headers.insert(QString::fromUtf8(field.left(colon).trimmed()),
                           QString::fromUtf8(field.mid(colon + 1).trimmed()));
        }
        const QByteArray key = ResponseCache::key(url, {});
        const auto before = cache.find(key);
        if (line.startsWith('r') && before)
            cache.refresh(key, before, headers, now);
        else if (line.startsWith('d'))
            cache.removeUrl(url);
        else
            cache.store(key, headers, line, now);
        require(cache.size() >= 0 && cache.size() <= capacityBytes, "The cache stays within its memory.");
        const auto entry = cache.find(key);
        const QString control = headers.value(QStringLiteral("Cache-Control"));
        require(!entry || line.startsWith('d') || control != QLatin1String("no-store"),
                "What may not stay does not.");
        require(!line.startsWith('d') || !entry, "What was dropped is gone.");
        if (entry) {
            ResponseCache::conditions(*entry);
            require(!ResponseCache::isFresh(*entry, entry->born + entry->lifetime + std::chrono::seconds(1)),
                    "Nothing is fresh for longer than the server said.");
            require(entry->lifetime.count() >= 0 && entry->born <= now, "An answer is not from the future.");
        }
        now += std::chrono::seconds(1);
    }
    cache.setCapacity(0);
    require(cache.size() == 0, "A cache without memory keeps nothing.");
    return 0;
}

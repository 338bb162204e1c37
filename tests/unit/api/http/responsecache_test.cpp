#include "api/http/responsecache.h"

#include <QtTest>

using namespace std::chrono_literals;
using Clock = ResponseCache::Clock;

namespace {

HttpClientHeaders headersOf(const QString& lines)
{
    HttpClientHeaders headers;
    const QStringList list = lines.split(QLatin1Char('|'), Qt::SkipEmptyParts);
    for (const QString& line : list)
        headers.insert(line.section(QLatin1Char(':'), 0, 0), line.section(QLatin1Char(':'), 1).trimmed());
    return headers;
}

QByteArray keyOf(const char* url, const char* headers = "")
{
    return ResponseCache::key(url, headersOf(QString::fromUtf8(headers)));
}

const QString fresh = QStringLiteral("Cache-Control: max-age=60");

} // namespace

class ResponseCacheTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anAnswerIsKeptAndUsedByItsHeaders_data()
    {
        QTest::addColumn<QString>("headers");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<int>("freshSeconds");
        const auto row = [](const char* headers, bool kept, int freshSeconds) {
            QTest::newRow(headers) << QString::fromUtf8(headers) << kept << freshSeconds;
        };
        row("", false, 0);
        row("Cache-Control: max-age=60", true, 60);
        row("Cache-Control: private, MAX-AGE=60", true, 60);
        row("Cache-Control: max-age=\"60\"", true, 60);
        row("Cache-Control: max-age=60, max-age=10", true, 10);
        row("Cache-Control: max-age=60|Age: 20", true, 40);
        row("Cache-Control: max-age=60|Age: 90|ETag: \"1\"", true, 0);
        row("Cache-Control: max-age=999999999999", true, 0x7fffffff);
        row("Cache-Control: max-age=soon", false, 0);
        row("Cache-Control: max-age=-5", false, 0);
        row("Cache-Control: max-age=0", false, 0);
        row("Cache-Control: max-age=0|ETag: \"1\"", true, 0);
        row("Cache-Control: no-store, max-age=60|ETag: \"1\"", false, 0);
        row("Cache-Control: no-cache, max-age=60|ETag: \"1\"", true, 0);
        row("Cache-Control: no-cache, max-age=60", false, 0);
        row("Cache-Control: no-cache=\"Set-Cookie, X\", max-age=60|ETag: \"1\"", true, 0);
        row("ETag: \"1\"", true, 0);
        row("Last-Modified: Sun, 06 Nov 1994 08:49:37 GMT", true, 0);
        row("Date: Sun, 06 Nov 1994 08:49:37 GMT|Expires: Sun, 06 Nov 1994 08:50:37 GMT", true, 60);
        row("Date: Sun, 06 Nov 1994 08:49:37 GMT|Expires: Sun, 06 Nov 1994 08:48:37 GMT", false, 0);
        row("Date: Sun, 06 Nov 1994 08:49:37 GMT|Expires: 0", false, 0);
        row("Date: Sun, 06 Nov 1994 08:49:37 GMT|Expires: Sun, 06 Nov 1994 08:50:37 GMT|Cache-Control: "
            "max-age=5",
            true, 5);
        row("Cache-Control: max-age=60|Vary: Accept", true, 60);
        row("Cache-Control: max-age=60|Vary: *", false, 0);
    }

    void anAnswerIsKeptAndUsedByItsHeaders()
    {
        QFETCH(QString, headers);
        QFETCH(bool, kept);
        QFETCH(int, freshSeconds);
        ResponseCache cache;
        cache.setCapacity(100000);
        const Clock::time_point now = Clock::now();
        cache.store("k", headersOf(headers), "body", now);
        const ResponseCache::EntryPointer entry = cache.find("k");
        QCOMPARE(entry != nullptr, kept);
        if (!entry)
            return;
        QCOMPARE(entry->body, QByteArray("body"));
        QCOMPARE(ResponseCache::isFresh(*entry, now), freshSeconds > 0);
        QVERIFY(freshSeconds == 0 ||
                ResponseCache::isFresh(*entry, now + std::chrono::seconds(freshSeconds) - 1ms));
        QVERIFY(!ResponseCache::isFresh(*entry, now + std::chrono::seconds(freshSeconds)));
    }

    void theKeyHoldsUrlAndHeaders()
    {
        QCOMPARE(keyOf("http://h/a#x", "A: 1|B: 2"), keyOf("http://h/a#y", "b: 2|a: 1"));
        QVERIFY(keyOf("http://h/a") != keyOf("http://h/b"));
        QVERIFY(keyOf("http://h/a?x=1") != keyOf("http://h/a?x=2"));
        QVERIFY(keyOf("http://h/", "X-User-Auth-Token: one") != keyOf("http://h/", "X-User-Auth-Token: two"));
        QVERIFY(keyOf("http://h/", "X-User-Auth-Token: one") != keyOf("http://h/"));
    }

    void requestsWithConditionsOfTheirOwnPassTheCache_data()
    {
        QTest::addColumn<QString>("header");
        for (const char* header : {"Range: bytes=0-1", "If-None-Match: x", "if-range: x",
                                   "Cache-Control: no-cache", "Pragma: no-cache"})
            QTest::newRow(header) << QString::fromUtf8(header);
    }

    void requestsWithConditionsOfTheirOwnPassTheCache()
    {
        QFETCH(QString, header);
        QVERIFY(ResponseCache::key("http://h/", headersOf(header)).isNull());
    }

    void theLeastRecentlyUsedEntryIsRemovedFirst()
    {
        ResponseCache cache;
        cache.setCapacity(4000);
        const QByteArray body(900, 'x');
        for (const char* key : {"a", "b", "c"})
            cache.store(key, headersOf(fresh), body, Clock::now());
        QVERIFY(cache.find("a"));
        cache.store("d", headersOf(fresh), body, Clock::now());
        QVERIFY(cache.size() <= 4000);
        QVERIFY(cache.find("a"));
        QVERIFY(!cache.find("b"));
        QVERIFY(cache.find("c"));
        QVERIFY(cache.find("d"));
    }

    void anEntryLargerThanTheCacheIsNotKept()
    {
        ResponseCache cache;
        cache.setCapacity(2000);
        cache.store("a", headersOf(fresh), QByteArray(500, 'x'), Clock::now());
        cache.store("b", headersOf(fresh), QByteArray(5000, 'x'), Clock::now());
        QVERIFY(cache.find("a"));
        QVERIFY(!cache.find("b"));
    }

    void aSmallerCapacityDropsEntriesAndZeroAll()
    {
        ResponseCache cache;
        cache.setCapacity(10000);
        for (const char* key : {"a", "b", "c"})
            cache.store(key, headersOf(fresh), QByteArray(1000, 'x'), Clock::now());
        cache.setCapacity(2000);
        QVERIFY(!cache.find("a"));
        QVERIFY(cache.find("c"));
        cache.setCapacity(0);
        QVERIFY(!cache.find("c"));
        QCOMPARE(cache.size(), qint64(0));
        cache.store("a", headersOf(fresh), "x", Clock::now());
        QVERIFY(!cache.find("a"));
    }

    void aNewAnswerReplacesTheOldOneOrDropsIt()
    {
        ResponseCache cache;
        cache.setCapacity(10000);
        cache.store("a", headersOf(fresh), "one", Clock::now());
        const qint64 size = cache.size();
        cache.store("a", headersOf(fresh), "two", Clock::now());
        QCOMPARE(cache.find("a")->body, QByteArray("two"));
        QCOMPARE(cache.size(), size);
        cache.store("a", headersOf(QStringLiteral("Cache-Control: no-store")), "three", Clock::now());
        QVERIFY(!cache.find("a"));
    }

    void aConfirmedEntryTakesTheNewHeaders()
    {
        ResponseCache cache;
        cache.setCapacity(10000);
        const Clock::time_point now = Clock::now();
        cache.store("a",
                    headersOf(QStringLiteral("ETag: \"1\"|Last-Modified: Sun, 06 Nov 1994 08:49:37 GMT|"
                                             "Content-Length: 4|X: old")),
                    "body", now);
        const ResponseCache::EntryPointer entry = cache.find("a");
        const HttpClientHeaders conditions = ResponseCache::conditions(*entry);
        QCOMPARE(conditions.value(QStringLiteral("If-None-Match")), QStringLiteral("\"1\""));
        QCOMPARE(conditions.value(QStringLiteral("If-Modified-Since")),
                 QStringLiteral("Sun, 06 Nov 1994 08:49:37 GMT"));
        const HttpClientHeaders headers = cache.refresh(
            "a", entry, headersOf(QStringLiteral("X: new|Cache-Control: max-age=9|Content-Length: 0")),
            now + 100s);
        QCOMPARE(headers.value(QStringLiteral("X")), QStringLiteral("new"));
        QCOMPARE(headers.value(QStringLiteral("Content-Length")), QStringLiteral("4"));
        QVERIFY(ResponseCache::isFresh(*cache.find("a"), now + 108s));
        QVERIFY(!ResponseCache::isFresh(*cache.find("a"), now + 109s));
        QCOMPARE(cache.find("a")->body, QByteArray("body"));
    }

    void aUrlIsDroppedForAllItsUsers()
    {
        ResponseCache cache;
        cache.setCapacity(10000);
        for (const QByteArray& key : {keyOf("http://h/a"), keyOf("http://h/a", "T: 1"), keyOf("http://h/ab")})
            cache.store(key, headersOf(fresh), "x", Clock::now());
        cache.removeUrl("http://h/a#f");
        QVERIFY(!cache.find(keyOf("http://h/a")));
        QVERIFY(!cache.find(keyOf("http://h/a", "T: 1")));
        QVERIFY(cache.find(keyOf("http://h/ab")));
        cache.clear();
        QVERIFY(!cache.find(keyOf("http://h/ab")));
        QCOMPARE(cache.size(), qint64(0));
    }
};

QTEST_APPLESS_MAIN(ResponseCacheTest)
#include "responsecache_test.moc"

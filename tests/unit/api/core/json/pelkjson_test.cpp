#include "api/core/json/pelkjson.h"
#include "api/types/pelkhash.h"
#include "tests/support/heap.h"
#include "tests/support/variantlines.h"

#include <QThread>
#include <QtTest>

#include <atomic>
#include <limits>
#include <sstream>
#include <thread>
#include <vector>

namespace {

QByteArray nested(int depth)
{
    return QByteArray(depth, '[') + QByteArray(depth, ']');
}

QVariantHash object(std::initializer_list<std::pair<const char*, QVariant>> fields)
{
    QVariantHash hash;
    for (const auto& field : fields)
        hash.insert(QString::fromUtf8(field.first), field.second);
    return hash;
}

QVariant text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

QString string(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

/// A value with a QVariantHash for each record in it.
QVariant whole(const QVariant& value)
{
    return value.userType() == qMetaTypeId<PelkHash>() ? QVariant(value.toHash()) : value;
}

} // namespace

class PelkJsonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aValidTextIsRead_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QVariant>("value");
        const auto row = [](const char* json, const QVariant& value) {
            QTest::newRow(json) << QByteArray(json) << value;
        };
        row("{}", QVariantHash());
        row("[]", QVariantList());
        row(" \t\r\n{ } \n", QVariantHash());
        row("5", 5LL);
        row("-1.5e3", -1500.0);
        row("\"x\"", text("x"));
        row("\"\"", text(""));
        row("true", true);
        row("null", QVariant());
        row("[true,false,null]", QVariantList({true, false, QVariant()}));
        row("{\"a\":null}", object({{"a", QVariant()}}));
        row("{\"a\":1,\"b\":{\"c\":[{\"d\":\"e\"}]}}",
            object({{"a", 1LL}, {"b", object({{"c", QVariantList({object({{"d", text("e")}})})}})}}));
        row("{\"a\":1,\"b\":2,\"a\":3}", object({{"a", 3LL}, {"b", 2LL}}));
        row("{\"\":1}", object({{"", 1LL}}));
        row("\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u00e9\\ud83c\\udfb5\"", text("\"\\/\b\f\n\r\té🎵"));
        row("\"é東🎵\"", text("é東🎵"));
        row("{\"\xE6\x9D\xB1\":1}", object({{"東", 1LL}}));
        row("0", 0LL);
        row("9007199254740993", 9007199254740993LL);
        row("9223372036854775807", std::numeric_limits<qlonglong>::max());
        row("-9223372036854775808", std::numeric_limits<qlonglong>::min());
        row("9223372036854775808", QVariant::fromValue(9223372036854775808ULL));
        row("18446744073709551615", QVariant::fromValue(std::numeric_limits<qulonglong>::max()));
        row("18446744073709551616", 18446744073709551616.0);
        row("-19223372036854775809", -19223372036854775809.0);
        row("[123456789012345678901234567890]", QVariantList({123456789012345678901234567890.0}));
        row("[44.1,1.0]", QVariantList({44.1, 1.0}));
        row("\xEF\xBB\xBF{\"a\":1}", object({{"a", 1LL}}));
        row("\xEF\xBB\xBF[9223372036854775808]", QVariantList({QVariant::fromValue(9223372036854775808ULL)}));
        row("[\"a\nb\"]", QVariantList({text("a\nb")}));
        row("[\"a\\'\\\xC3\xA9\\q\"]", QVariantList({text("a'éq")}));
    }

    void aValidTextIsRead()
    {
        QFETCH(QByteArray, json);
        QFETCH(QVariant, value);
        PelkError error;
        unsigned int offset = 99;
        const QVariant result = PelkJson::parse(json, error, &offset);
        QVERIFY2(error.isEmpty(), qPrintable(error.message()));
        QCOMPARE(offset, 0U);
        QCOMPARE(result, value);
        QCOMPARE(variantLines(whole(result)), variantLines(value));
    }

    void anObjectIsARecordThatIsReadOnDemand()
    {
        PelkError error;
        PelkHash inner;
        {
            const QVariant all =
                PelkJson::parse(R"({"a":{"b":[{"c":1,"c":2,"é":"ü"},3]},"n":null,"":0})", error);
            QCOMPARE(all.userType(), qMetaTypeId<PelkHash>());
            const PelkHash record = PelkHash::fromVariant(all);
            QVERIFY(record.contains(string("n")) && !record.value(string("n")).isValid());
            QVERIFY(!record.contains(string("x")) && !record.value(string("x")).isValid());
            QVERIFY(record.contains(QString()));
            const PelkHash a = record.record(string("a"));
            QVERIFY(record.record(string("n")).isEmpty() && record.record(string("x")).isEmpty());
            const QList<PelkHash> b = a.records(string("b"));
            QCOMPARE(b.size(), 2);
            QVERIFY(b.at(1).isEmpty());
            QVERIFY(record.records(string("a")).isEmpty() && record.records(string("x")).isEmpty());
            inner = b.at(0);
            // value() and hash() have no such record in them, at any depth.
            QCOMPARE(variantLines(record.value(string("a"))),
                     (QStringList{string("/b/0/c: qlonglong \"2\""), string("/b/0/é: QString \"ü\""),
                                  string("/b/1: qlonglong \"3\""), string("/b: QVariantList of 2")}));
            QCOMPARE(variantLines(all.toHash().value(string("a"))), variantLines(record.value(string("a"))));
        }
        // A part keeps the whole text.
        QCOMPARE(inner.value(string("c")), QVariant(2LL));
        QCOMPARE(inner.value(string("é")), QVariant(string("ü")));
        QCOMPARE(inner, PelkHash({{string("c"), 2LL}, {string("é"), string("ü")}}));
    }

    void aTextIsThatOfTheVariant_data()
    {
        QTest::addColumn<QByteArray>("json");
        for (const char* json : {"\"x\"", "\"\"", "\"\u0000y\"", "5", "-1", "18446744073709551615", "1.5",
                                 "1e300", "true", "false", "null", "[]", "[1]", "{}", "{\"a\":1}"})
            QTest::newRow(json) << QByteArray(json);
    }
    void aTextIsThatOfTheVariant()
    {
        QFETCH(QByteArray, json);
        PelkError error;
        const PelkHash record = PelkHash::fromVariant(PelkJson::parse("{\"k\":" + json + "}", error));
        QCOMPARE(record.text(string("k")), record.value(string("k")).toString());
        QCOMPARE(PelkHash(record.hash()).text(string("k")), record.value(string("k")).toString());
        QCOMPARE(record.text(string("x")), QString());
    }

    void oneRecordIsReadByManyThreads()
    {
        PelkError error;
        const PelkHash record =
            PelkHash::fromVariant(PelkJson::parse(R"({"a":{"b":[{"c":1}]},"d":"e"})", error));
        std::vector<std::thread> threads;
        std::atomic<int> right{0};
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                for (int n = 0; n < 200; ++n) {
                    const PelkHash a = record.record(string("a"));
                    PelkHash own = record;
                    own.insert(string("d"), n);
                    right += int(a.records(string("b")).size() == 1 && own.value(string("d")) == n &&
                                 record.value(string("d")) == string("e") && record.hash().size() == 2);
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(right.load(), 800);
    }

    void loneSurrogatesAreReadWithEverythingAroundThem()
    {
        PelkError error;
        const QVariantHash hash =
            PelkJson::parse("{\"a\":\"x\\ud83dy\",\"b\":{\"n\":9007199254740993,\"z\":null},\"c\":[1.5]}",
                            error)
                .toHash();
        QVERIFY(error.isEmpty());
        const QString expected = QStringLiteral("x") + QChar(0xd83d) + QStringLiteral("y");
        QCOMPARE(hash.value(QStringLiteral("a")).toString(), expected);
        // The second reader gives the same types as the first.
        const QVariant inner = hash.value(QStringLiteral("b"));
        QCOMPARE(inner.userType(), int(QMetaType::QVariantHash));
        QCOMPARE(inner.toHash().value(QStringLiteral("n")), QVariant(9007199254740993LL));
        QVERIFY(!inner.toHash().value(QStringLiteral("z")).isValid());
        QCOMPARE(hash.value(QStringLiteral("c")), QVariant(QVariantList({1.5})));
        QCOMPARE(PelkJson::parse("\"\\udc00\"", error).toString(), QString(QChar(0xdc00)));
        QVERIFY(error.isEmpty());
    }

    void bothReadingsGiveTheSameValues_data()
    {
        QTest::addColumn<QByteArray>("json");
        for (const char* json :
             {"[]", "{}", "null", "[true,false,null]", "[0,-0,-1,12]", "9223372036854775808",
              "18446744073709551615", "[18446744073709551616,-9223372036854775809]",
              "[1.0,0.1e1,1E+2,1e-300,44.1]",
              "[1e-400,-1e-400,4e-324,1e-301844674407370955161689012345678901234567890]",
              "\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u00e9\\ud83c\\udfb5\"", "{\"a\" : { \"b\" :\n[ 1 , 2 ] } }",
              "{\"\xC3\xA9\":1,\"a\":2,\"b\":3,\"a\":4,\"\xC3\xA9\":5}"})
            QTest::newRow(json) << QByteArray(json);
    }
    void bothReadingsGiveTheSameValues()
    {
        QFETCH(QByteArray, json);
        PelkError error;
        const QVariant first = PelkJson::parse(json, error);
        const QVariantList second = PelkJson::parse("[" + json + ",\"\\ud800\"]", error).toList();
        QVERIFY2(error.isEmpty(), qPrintable(error.message()));
        QCOMPARE(variantLines(whole(second.value(0))), variantLines(whole(first)));
    }

    void invalidNumbersAndEscapesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("json");
        for (const char* json : {"[1.]", "[.5]", "[+1]", "[-]", "[01]", "[1e]", "[1e+]", "[1e400]", "[0x1]",
                                 "[NaN]", "[\"\\u12\"]", "[\"\\u 12f\"]", "[\"\\", "[\"\\u00"})
            QTest::newRow(json) << QByteArray(json);
    }
    void invalidNumbersAndEscapesAreRefused()
    {
        QFETCH(QByteArray, json);
        PelkError error;
        QVERIFY(!PelkJson::parse(json, error).isValid());
        QVERIFY(!error.isEmpty());
    }

    void anInvalidTextLeaksNoMemory_data()
    {
        QTest::addColumn<QByteArray>("behind");
        QTest::newRow("equal keys") << QByteArray("],\"b\":[2]}} x");
        QTest::newRow("something behind it") << QByteArray("]}} x");
        QTest::newRow("cut short") << QByteArray("");
        QTest::newRow("too deep") << QByteArray(",") + QByteArray(1000, '[');
        QTest::newRow("bad text") << QByteArray(",\"\xff");
    }
    void anInvalidTextLeaksNoMemory()
    {
        QFETCH(QByteArray, behind);
        const QByteArray json = "{\"a\":{\"b\":[1,{\"c\":\"" + QByteArray(5000, 'x') + "\"}" + behind;
        const auto readSometimes = [&json] {
            for (int i = 0; i < 200; ++i) {
                PelkError error;
                PelkJson::parse(json, error);
                if (error.isEmpty())
                    return false;
            }
            return true;
        };
        QVERIFY(readSometimes());
        const std::size_t before = heapInUse();
        QVERIFY(readSometimes());
        QVERIFY2(heapInUse() < before + 100000, qPrintable(QString::number(heapInUse() - before)));
    }

    void aByteOrderMarkInsideATextStays()
    {
        const QByteArray mark = "\xEF\xBB\xBF";
        PelkError error;
        const QVariantHash hash =
            PelkJson::parse("{\"" + mark + "a\":\"" + mark + mark + "b\"}", error).toHash();
        const QString markText(QChar(0xfeff));
        QCOMPARE(hash.value(markText + QStringLiteral("a")).toString(),
                 markText + markText + QStringLiteral("b"));
        QCOMPARE(PelkJson::parse("\"a\\u0000b\"", error).toString().size(), 3);
    }

    void nullReadsLikeAnAbsentKey()
    {
        PelkError error;
        const QVariantHash hash = PelkJson::parse("{\"a\":null}", error).toHash();
        QVERIFY(hash.contains(QStringLiteral("a")));
        QCOMPARE(hash.value(QStringLiteral("a")), hash.value(QStringLiteral("absent")));
        QVERIFY(hash.value(QStringLiteral("a")).toHash().isEmpty());
    }

    void anErrorNamesItsOffset_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<unsigned int>("from");
        QTest::addColumn<unsigned int>("to");
        const auto row = [](const char* name, const QByteArray& json, unsigned int from, unsigned int to) {
            QTest::newRow(name) << json << from << to;
        };
        row("empty", "", 0, 0);
        row("blank", " \n ", 0, 3);
        row("byte order mark alone", "\xEF\xBB\xBF", 3, 3);
        row("html", "<html>", 0, 1);
        row("text", "no json", 0, 3);
        row("garbage after an object", "{\"a\":1} x", 8, 9);
        row("garbage after an array", "[1][2]", 3, 4);
        row("garbage after a number", "5 5", 2, 3);
        row("two values", "1,2", 1, 1);
        row("bracket games", "1],[2", 1, 3);
        row("array cut short", "[1,2", 4, 4);
        row("object cut short", "{\"a\":1,\"b\"", 10, 10);
        row("text cut short", "{\"a\":\"bcd", 9, 9);
        row("missing value", "{\"a\":}", 5, 6);
        row("missing comma", "[1 2]", 3, 4);
        row("trailing comma", "{\"a\":1,}", 7, 8);
        row("bad word", "[nul]", 1, 4);
        row("single quotes", "{'a':1}", 1, 2);
        row("bad UTF-8", "[\"\xff\"]", 2, 3);
        row("after a byte order mark", "\xEF\xBB\xBF[1 2]", 6, 7);
        row("too deep", nested(1000), PelkJson::maxDepth, PelkJson::maxDepth);
        row("much too deep", QByteArray(1000000, '['), PelkJson::maxDepth, PelkJson::maxDepth);
        row("too deep after a byte order mark", "\xEF\xBB\xBF" + nested(200), PelkJson::maxDepth + 3,
            PelkJson::maxDepth + 3);
        row("too deep beside a lone surrogate", "[\"\\ud83d[[\"," + nested(200) + "]",
            12 + PelkJson::maxDepth - 1, 12 + PelkJson::maxDepth - 1);
        row("too long", QByteArray(PelkJson::maxBytes + 1, ' '), PelkJson::maxBytes, PelkJson::maxBytes);
    }

    void anErrorNamesItsOffset()
    {
        QFETCH(QByteArray, json);
        QFETCH(unsigned int, from);
        QFETCH(unsigned int, to);
        PelkError error;
        unsigned int offset = 99999;
        const QVariant value = PelkJson::parse(json, error, &offset);
        QVERIFY(!value.isValid());
        QVERIFY(!error.isEmpty());
        QVERIFY2(offset >= from && offset <= to, qPrintable(error.message()));
        QVERIFY2(error.message().endsWith(QStringLiteral(" at offset %1").arg(offset)),
                 qPrintable(error.message()));
        PelkError again;
        QVERIFY(!PelkJson::parse(json, again).isValid());
        QCOMPARE(again.message(), error.message());
    }

    void theDeepestTextAllowedIsRead()
    {
        PelkError error;
        QVERIFY(PelkJson::parse(nested(PelkJson::maxDepth - 1), error).isValid());
        QVERIFY2(error.isEmpty(), qPrintable(error.message()));
        QVERIFY(PelkJson::parse(nested(PelkJson::maxDepth), error).isValid());
        QVERIFY2(error.isEmpty(), qPrintable(error.message()));
        QVERIFY(!PelkJson::parse(nested(PelkJson::maxDepth + 1), error).isValid());
        QCOMPARE(error.message(), QStringLiteral("nested deeper than 128 at offset 128"));
    }

    void equalKeysShareTheirText()
    {
        PelkError error;
        const QVariantList list = PelkJson::parse("[{\"title\":1},{\"title\":2}]", error).toList();
        const QVariantHash first = list.at(0).toHash();
        const QVariantHash second = list.at(1).toHash();
        QCOMPARE(first.constBegin().key().constData(), second.constBegin().key().constData());
    }

    void manyAndLongKeysStayApart()
    {
        QByteArray json = "{";
        for (int i = 0; i < 5000; ++i)
            json += (i ? ",\"k" : "\"k") + QByteArray::number(i) + QByteArray(i % 60, '_') +
                    "\":" + QByteArray::number(i);
        json += '}';
        PelkError error;
        const QVariantHash hash = PelkJson::parse(json, error).toHash();
        QCOMPARE(hash.size(), 5000);
        for (int i = 0; i < 5000; ++i) {
            const QString key = QStringLiteral("k%1%2").arg(i).arg(QString(i % 60, QLatin1Char('_')));
            QCOMPARE(hash.value(key), QVariant(qlonglong(i)));
        }
    }

    void aSmallTextIsReadAfterALargeOne()
    {
        PelkError error;
        const QByteArray large = "[\"" + QByteArray(3000000, 'x') + "\"]";
        QCOMPARE(PelkJson::parse(large, error).toList().at(0).toString().size(), 3000000);
        QCOMPARE(PelkJson::parse("[1]", error), QVariant(QVariantList({1LL})));
        QVERIFY(error.isEmpty());
        QVERIFY(!PelkJson::parse(nested(1000), error).isValid());
    }

    void aViewWithoutRoomBehindItIsRead()
    {
        const std::vector<char> exact = {'[', '1', ',', '"', 'a', '"', ']'};
        PelkError error;
        const QByteArray view = QByteArray::fromRawData(exact.data(), static_cast<int>(exact.size()));
        QCOMPARE(PelkJson::parse(view, error), QVariant(QVariantList({1LL, text("a")})));
    }

    void severalThreadsReadAtOnce()
    {
        const QByteArray json = "{\"a\":[{\"b\":\"c\"},{\"b\":\"d\"}],\"e\":1}";
        PelkError error;
        const QVariant expected = PelkJson::parse(json, error);
        std::atomic<int> right{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int n = 0; n < 500; ++n) {
                    PelkError own;
                    if (PelkJson::parse(json, own) == expected && own.isEmpty())
                        ++right;
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(right.load(), 2000);
    }

    void anErrorStartsEmptyAndIsWrittenToStreams()
    {
        const PelkError none;
        QVERIFY(none.isEmpty());
        std::ostringstream stream;
        stream << none << PelkError(QStringLiteral("é"));
        QCOMPARE(stream.str(), std::string("é"));
    }

    void aValueIsWrittenCompactly_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("json");
        const auto row = [](const QVariant& value, const char* json) {
            QTest::newRow(json) << value << QByteArray(json);
        };
        row(QVariantHash(), "{}");
        row(QVariantList(), "[]");
        row(QVariant(), "null");
        row(QVariant::fromValue(nullptr), "null");
        row(QString(), "\"\"");
        row(object({{"b", 1}, {"a", QVariantList({true, QVariant(), 2U})}, {"B", text("x")}}),
            "{\"B\":\"x\",\"a\":[true,null,2],\"b\":1}");
        row(QVariantMap({{QStringLiteral("k"), QVariantHash()}}), "{\"k\":{}}");
        row(QStringList({QStringLiteral("a"), QStringLiteral("b")}), "[\"a\",\"b\"]");
        row(9007199254740993LL, "9007199254740993");
        row(std::numeric_limits<qlonglong>::min(), "-9223372036854775808");
        row(QVariant::fromValue(std::numeric_limits<qulonglong>::max()), "18446744073709551615");
        row(44.1, "44.1");
        row(0.1 + 0.2, "0.30000000000000004");
        row(std::numeric_limits<double>::infinity(), "null");
        row(text("\"\\/\n\r\x01é🎵"), "\"\\\"\\\\/\\n\\u000d\\u0001é🎵\"");
        row(QString(QChar(0xd83d)), "\"\\ud83d\"");
        row(QByteArray("bytes"), "\"bytes\"");
        row(QUrl(QStringLiteral("http://h/")), "\"http://h/\"");
    }

    void aValueIsWrittenCompactly()
    {
        QFETCH(QVariant, value);
        QFETCH(QByteArray, json);
        QCOMPARE(PelkJson::serialize(value), json);
        PelkError error;
        QCOMPARE(PelkJson::serialize(PelkJson::parse(json, error)), json);
        QVERIFY(error.isEmpty());
    }
};

QTEST_APPLESS_MAIN(PelkJsonTest)
#include "pelkjson_test.moc"

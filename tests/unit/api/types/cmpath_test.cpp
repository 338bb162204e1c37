#include "api/types/cmpath.h"

#include <QtTest>

using Params = QVector<QPair<QString, QString>>;
Q_DECLARE_METATYPE(Params)

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace

class CMPathTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aTextIsReadInParts_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<QString>("base");
        QTest::addColumn<Params>("params");
        const auto row = [](const char* input, const char* prefix, const char* base, const Params& params) {
            QTest::newRow(*input ? input : "empty") << text(input) << text(prefix) << text(base) << params;
        };
        const auto item = [](const char* name, const char* value) {
            return qMakePair(text(name), text(value));
        };
        row("", "", "", {});
        row("qobuz:", "qobuz", "", {});
        row("qobuz:featured/", "qobuz", "featured/", {});
        row("qobuz:featured//albums//", "qobuz", "featured//albums//", {});
        row("featured/albums", "", "featured/albums", {});
        row("/a:b", "", "/a:b", {});
        row("a/b:c", "", "a/b:c", {});
        row("1a:b", "", "1a:b", {});
        row("a1+-.:b", "a1+-.", "b", {});
        row("qobuz:a:b", "qobuz", "a:b", {});
        row("qobuz:album?id=12", "qobuz", "album", {item("id", "12")});
        row("?a=1&a=2", "", "", {item("a", "1"), item("a", "2")});
        row("p:b?a&=c&&d=e=f?g", "p", "b", {item("a", ""), item("", "c"), item("d", "e=f?g")});
        row("p:b?q=a+b%20c%2B%26%3D%23%3f", "p", "b", {item("q", "a+b c+&=#?")});
        row("p:b?%E6%9D%B1=%F0%9F%8E%B5", "p", "b", {item("東", "🎵")});
        row("p:a%2Fb%3Fc%23%25", "p", "a/b?c#%", {});
        row("p:%zz%4?q=%", "p", "%zz%4", {item("q", "%")});
        row("p:東/🎵", "p", "東/🎵", {});
    }

    void aTextIsReadInParts()
    {
        QFETCH(QString, input);
        const CMPath path(input);
        QTEST(path.prefix(), "prefix");
        QTEST(path.base(), "base");
        QTEST(path.params(), "params");
        QCOMPARE(CMPath(path.toString()), path);
    }

    void anInvalidPathIsReportedInASentence_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("sentence");
        const QString percent =
            text(" is not followed by two hexadecimal digits; a percent sign itself is written as %25.");
        const QString start = text("is not a path: the percent sign at position ");
        QTest::newRow("percent at the end") << text("a%") << text("\"a%\" ") + start + text("1") + percent;
        QTest::newRow("one digit") << text("ab%4") << text("\"ab%4\" ") + start + text("2") + percent;
        QTest::newRow("a sign is no digit") << text("%+f") << text("\"%+f\" ") + start + text("0") + percent;
        QTest::newRow("a blank is no digit") << text("% f") << text("\"% f\" ") + start + text("0") + percent;
        QTest::newRow("in a parameter") << text("?q=%1") << text("\"?q=%1\" ") + start + text("3") + percent;
        QTest::newRow("line feed") << text("a\nb")
                                   << text(
                                          "\"a\nb\" is not a path: it has a control character at position 1; "
                                          "write it as a percent sequence such as %0A.");
        QTest::newRow("delete") << text("\x7f")
                                << text("\"\x7f\" is not a path: it has a control character at position 0; "
                                        "write it as a percent sequence such as %0A.");
        QTest::newRow("colon first")
            << text(":a")
            << text("\":a\" is not a path: the name of a service is missing before its first colon.");
    }

    void anInvalidPathIsReportedInASentence()
    {
        QFETCH(QString, input);
        CMPath path(text("before:"));
        QString error;
        QVERIFY(!CMPath::parse(input, &path, &error));
        QTEST(error, "sentence");
        QCOMPARE(path, CMPath(text("before:")));
    }

    void aPathIsParsed()
    {
        CMPath path;
        QString error;
        QVERIFY(CMPath::parse(text("qobuz:album?id=0%25"), &path, &error));
        QCOMPARE(path.param(text("id")), text("0%"));
        QVERIFY(error.isEmpty());
    }

    void aParameterIsEncodedInTheTextForm_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("encoded");
        QTest::newRow("plus") << text("a+b") << text("a%2Bb");
        QTest::newRow("percent") << text("100%") << text("100%25");
        QTest::newRow("sequence") << text("%41") << text("%2541");
        QTest::newRow("ampersand") << text("a&b") << text("a%26b");
        QTest::newRow("equals") << text("a=b") << text("a%3Db");
        QTest::newRow("question") << text("a?b") << text("a%3Fb");
        QTest::newRow("hash") << text("a#b") << text("a%23b");
        QTest::newRow("blank") << text(" a b ") << text("%20a%20b%20");
        QTest::newRow("slash and colon") << text("a/b:c") << text("a%2Fb%3Ac");
        QTest::newRow("unreserved") << text("aZ09-._~") << text("aZ09-._~");
        QTest::newRow("Latin") << text("é") << text("%C3%A9");
        QTest::newRow("non-Latin") << text("東") << text("%E6%9D%B1");
        QTest::newRow("emoji") << text("🎵") << text("%F0%9F%8E%B5");
        QTest::newRow("control") << text("\n\x7f") << text("%0A%7F");
        QTest::newRow("empty") << QString() << QString();
    }

    void aParameterIsEncodedInTheTextForm()
    {
        QFETCH(QString, value);
        QFETCH(QString, encoded);
        CMPath path(text("p:b"));
        path.addParam(text("q"), value);
        path.addParam(value, text("v"));
        QCOMPARE(path.toString(), text("p:b?q=") + encoded + text("&") + encoded + text("=v"));
        CMPath read;
        QString error;
        QVERIFY2(CMPath::parse(path.toString(), &read, &error), qPrintable(error));
        QCOMPARE(read, path);
    }

    void anAmbiguousBaseIsEncoded_data()
    {
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("encoded");
        const auto row = [](const char* prefix, const char* base, const char* encoded) {
            QTest::newRow(encoded) << text(prefix) << text(base) << text(encoded);
        };
        row("p:", "a+b&c=d/e;f,g!'()*~", "p:a+b&c=d/e;f,g!'()*~");
        row("p:", "a%b?c#d e", "p:a%25b%3Fc%23d%20e");
        row("p:", "%41", "p:%2541");
        row("p:", "a:b", "p:a:b");
        row("", "a:b", "a%3Ab");
        row("", ":", "%3A");
        row("p:", "東 🎵/", "p:東%20🎵/");
        row("p:", "\n\x7f", "p:%0A%7F");
        row("p:", "/", "p:/");
    }

    void anAmbiguousBaseIsEncoded()
    {
        QFETCH(QString, base);
        QFETCH(QString, prefix);
        const CMPath path = CMPath(prefix) + base;
        QCOMPARE(path.base(), base);
        QTEST(path.toString(), "encoded");
        CMPath read;
        QString error;
        QVERIFY2(CMPath::parse(path.toString(), &read, &error), qPrintable(error));
        QCOMPARE(read, path);
    }

    void appendingPutsASlashBetweenComponents_data()
    {
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("component");
        QTest::addColumn<QString>("sum");
        QTest::newRow("to nothing") << text("") << text("a") << text("a");
        QTest::newRow("to a prefix") << text("qobuz:") << text("x") << text("qobuz:x");
        QTest::newRow("to a base") << text("qobuz:a") << text("b") << text("qobuz:a/b");
        QTest::newRow("to a slash") << text("qobuz:a/") << text("b") << text("qobuz:a/b");
        QTest::newRow("with a trailing slash") << text("qobuz:a") << text("b/") << text("qobuz:a/b/");
        QTest::newRow("before parameters") << text("q:a?x=1") << text("b") << text("q:a/b?x=1");
        QTest::newRow("a component is no text form")
            << text("q:a") << text("b?c=%41") << text("q:a/b%3Fc=%2541");
    }

    void appendingPutsASlashBetweenComponents()
    {
        QFETCH(QString, start);
        QFETCH(QString, component);
        QTEST((CMPath(start) + component).toString(), "sum");
    }

    void theFirstOfTwoEqualNamesWins()
    {
        CMPath path(text("p:b?a=1&A=2&a=3"));
        path.addParam(text("a"), text("4"));
        QCOMPARE(path.param(text("a")), text("1"));
        QCOMPARE(path.param(text("A")), text("2"));
        QCOMPARE(path.toString(), text("p:b?a=1&A=2&a=3&a=4"));
    }

    void aParameterThatIsAbsentIsEmpty()
    {
        const CMPath path(text("p:b?there="));
        QVERIFY(path.hasParam(text("there")));
        QVERIFY(!path.hasParam(text("absent")));
        QCOMPARE(path.param(text("there")), QString());
        QCOMPARE(path.param(text("absent")), QString());
    }

    void aStartIsComparedWithTheWholeText_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("start");
        QTest::addColumn<bool>("starts");
        QTest::addColumn<QString>("rest");
        const auto row = [](const char* path, const char* start, bool starts, const char* rest) {
            QTest::addRow("%s from %s", path, start) << text(path) << text(start) << starts << text(rest);
        };
        row("qobuz:featured/albums?a=1", "qobuz:featured/", true, "albums?a=1");
        row("qobuz:featured", "qobuz:featured", true, "");
        row("qobuz:featured", "qobuz:featured/", false, "untouched");
        row("qobuz:featured", "featured", false, "untouched");
        row("qobuz:Featured", "qobuz:featured", false, "untouched");
        row("qobuz:a?x=1&y=2", "qobuz:a?x=1", true, "&y=2");
        row("qobuz:a", "qobuz:", true, "a");
        row("qobuz:a", "", true, "qobuz:a");
        row("qobuz:é b", "qobuz:é", true, "%20b");
    }

    void aStartIsComparedWithTheWholeText()
    {
        QFETCH(QString, path);
        QFETCH(QString, start);
        QFETCH(bool, starts);
        QString rest = text("untouched");
        QCOMPARE(CMPath(path).startsWith(CMPath(start), &rest), starts);
        QTEST(rest, "rest");
        QCOMPARE(CMPath(path).startsWith(CMPath(start)), starts);
    }

    void aSearchMatchesAnywhereInTheText()
    {
        const CMPath path(text("qobuz:preplay?id=7&q=a%20b"));
        for (const char* part : {"preplay", "qobuz:", "id=7", "qobuz:preplay?", "a%20b", ""})
            QVERIFY2(path.contains(text(part)), part);
        for (const char* part : {"Preplay", "preplay/", "a b"})
            QVERIFY2(!path.contains(text(part)), part);
    }

    void theBaseHasNeitherPrefixNorParameters()
    {
        QCOMPARE(CMPath(text("qobuz:search/albums?query=x")).base(), text("search/albums"));
        QCOMPARE(CMPath(text("qobuz:featured/?a=b")).base(), text("featured/"));
        QCOMPARE(CMPath(text("qobuz:?a=b")).base(), QString());
    }

    void noCharacterOfAValueIsLost()
    {
        for (const QString& value : {QString(QChar(0)) + text("a"), text("a") + QChar(0) + text("b"),
                                     QString(2, QChar(0xfeff)) + text("a"), QString(QChar(0xffff))}) {
            CMPath path(text("qobuz:album"));
            path.addParam(text("id"), value);
            QCOMPARE(CMPath(path.toString()).param(text("id")), value);
        }
    }

    void withoutParametersEverythingElseStays()
    {
        QCOMPARE(CMPath(text("qobuz:a/?x=1")).withoutParams(), CMPath(text("qobuz:a/")));
    }

    void pathsAreEqualIfTheirPartsAre()
    {
        const CMPath path(text("p:a?x=1&y=2"));
        QCOMPARE(CMPath(text("p:%61?%78=1&y=2")), path);
        QCOMPARE(qHash(CMPath(text("p:%61?%78=1&y=2"))), qHash(path));
        for (const char* other : {"p:a?y=2&x=1", "p:a?x=1", "p:a/?x=1&y=2", "a?x=1&y=2", "P:a?x=1&y=2"})
            QVERIFY2(CMPath(text(other)) != path, other);
        QVERIFY(CMPath().isEmpty());
        QVERIFY(!CMPath(text("p:")).isEmpty());
        QVERIFY(!CMPath(text("?a")).isEmpty());
    }
};

QTEST_GUILESS_MAIN(CMPathTest)
#include "cmpath_test.moc"

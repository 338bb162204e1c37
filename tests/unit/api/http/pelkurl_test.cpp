#include "api/http/pelkurl.h"

#include <QtTest>

#include <sstream>

using Items = PelkUrl::QueryItems;
Q_DECLARE_METATYPE(Items)

class PelkUrlTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aUrlIsReadInParts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("scheme");
        QTest::addColumn<QString>("userInfo");
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("path");
        QTest::addColumn<Items>("query");
        QTest::addColumn<QString>("fragment");
        const Items none;
        const auto row = [](const char* text, const char* scheme, const char* user, const char* host,
                            int port, const char* path, const Items& query, const char* fragment) {
            QTest::newRow(*text ? text : "empty")
                << QString::fromUtf8(text) << QString::fromUtf8(scheme) << QString::fromUtf8(user)
                << QString::fromUtf8(host) << port << QString::fromUtf8(path) << query
                << QString::fromUtf8(fragment);
        };
        const auto item = [](const char* key, const char* value) {
            return Items::value_type(QString::fromUtf8(key), QString::fromUtf8(value));
        };
        row("", "", "", "", -1, "", none, "");
        row("https://www.example.com/api.json/0.2/", "https", "", "www.example.com", -1, "/api.json/0.2/",
            none, "");
        row("HTTP://WWW.Example.com", "http", "", "WWW.Example.com", -1, "", none, "");
        row("http://u:p%40@h:8080/x?a=1#f?/", "http", "u:p%40", "h", 8080, "/x", {item("a", "1")}, "f?/");
        row("http://a@b@c/", "http", "a@b", "c", -1, "/", none, "");
        row("http://[::1]:80/", "http", "", "::1", 80, "/", none, "");
        row("http://[FE80::1]", "http", "", "FE80::1", -1, "", none, "");
        row("http://h:/", "http", "", "h", -1, "/", none, "");
        row("http://h:65535/", "http", "", "h", 65535, "/", none, "");
        row("http://höst/", "http", "", "höst", -1, "/", none, "");
        row("//host/a//b/../c/", "", "", "host", -1, "/a//b/../c/", none, "");
        row("user/login?a=1", "", "", "", -1, "user/login", {item("a", "1")}, "");
        row("/a%2fb%20c d", "", "", "", -1, "/a%2fb%20c d", none, "");
        row("a/b:c", "", "", "", -1, "a/b:c", none, "");
        row("mailto:a@b", "mailto", "", "", -1, "a@b", none, "");
        row("not a url", "", "", "", -1, "not a url", none, "");
        row("?a=1&a=2&b&=c&&d=e=f", "", "", "", -1, "",
            {item("a", "1"), item("a", "2"), item("b", ""), item("", "c"), item("d", "e=f")}, "");
        row("?q=a+b%20c%2B%26%3D%23%3b", "", "", "", -1, "", {item("q", "a+b c+&=#;")}, "");
        row("?%E6%9D%B1=%F0%9F%8E%B5", "", "", "", -1, "", {item("東", "🎵")}, "");
        row("?a=%zz%", "", "", "", -1, "", {item("a", "%zz%")}, "");
        row("#?x", "", "", "", -1, "", none, "?x");
    }

    void aUrlIsReadInParts()
    {
        QFETCH(QString, text);
        const PelkUrl url(text);
        QTEST(url.scheme(), "scheme");
        QTEST(url.userInfo(), "userInfo");
        QTEST(url.host(), "host");
        QTEST(url.port(), "port");
        QTEST(url.path(), "path");
        QTEST(url.queryItems(), "query");
        QTEST(url.fragment(), "fragment");
        QCOMPARE(url.isEmpty(), text.isEmpty());
        QVERIFY(url == PelkUrl::fromEncoded(text.toUtf8()));
        // Writing and reading again changes nothing but what had to be encoded, and that only once.
        const PelkUrl again(url.toString());
        QCOMPARE(again.toString(), url.toString());
        QCOMPARE(again.queryItems(), url.queryItems());
    }

    void aTextThatDoesNotParseGivesAnEmptyUrl_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("port with letters") << QByteArray("http://host:80a/");
        QTest::newRow("port too large") << QByteArray("http://host:65536/");
        QTest::newRow("negative port") << QByteArray("http://host:-1/");
        QTest::newRow("blank in the host") << QByteArray("http://ho st/");
        QTest::newRow("angle bracket in the host") << QByteArray("http://<host>/");
        QTest::newRow("backslash in the host") << QByteArray("http://good.example\\.evil.example/");
        QTest::newRow("open bracket") << QByteArray("http://[::1/");
        QTest::newRow("a name in brackets") << QByteArray("http://[v1.example]/");
        QTest::newRow("an address with a zone") << QByteArray("http://[fe80::1%25eth0]/");
        QTest::newRow("an address of version 4 in brackets") << QByteArray("http://[127.0.0.1]/");
        QTest::newRow("text after the bracket") << QByteArray("http://[::1]x/");
        QTest::newRow("two colons") << QByteArray("http://a:1:2/");
        QTest::newRow("line feed") << QByteArray("http://host/\nX: y");
        QTest::newRow("null character") << QByteArray("http://host/\0", 13);
    }

    void aTextThatDoesNotParseGivesAnEmptyUrl()
    {
        QFETCH(QByteArray, text);
        const PelkUrl url = PelkUrl::fromEncoded(text);
        QVERIFY(url.isEmpty());
        QVERIFY(url.host().isEmpty());
        QCOMPARE(url.toEncoded(), QByteArray());
    }

    void queryTextsAreEncodedButForUnreservedCharacters_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("encoded");
        const auto row = [](const char* text, const char* encoded) {
            QTest::newRow(text) << QString::fromUtf8(text) << QString::fromUtf8(encoded);
        };
        row("AZaz09-._~", "AZaz09-._~");
        row("a b", "a%20b");
        row("+", "%2B");
        row("%", "%25");
        row("%20", "%2520");
        row("&", "%26");
        row("=", "%3D");
        row("?", "%3F");
        row("#", "%23");
        row(";", "%3B");
        row("/", "%2F");
        row("!$'()*,:@[]", "%21%24%27%28%29%2A%2C%3A%40%5B%5D");
        row("é東🎵", "%C3%A9%E6%9D%B1%F0%9F%8E%B5");
        row("\"<>\\^`{|}\n\t\x7f", "%22%3C%3E%5C%5E%60%7B%7C%7D%0A%09%7F");
        row("", "");
    }

    void queryTextsAreEncodedButForUnreservedCharacters()
    {
        QFETCH(QString, text);
        QFETCH(QString, encoded);
        PelkUrl url;
        url.setPath(QStringLiteral("search"));
        url.addQueryItem(QStringLiteral("q"), text);
        QCOMPARE(url.toString(), QStringLiteral("search?q=") + encoded);
        url.setQueryItems({{text, QStringLiteral("v")}});
        QCOMPARE(url.toString(), QStringLiteral("search?") + encoded + QStringLiteral("=v"));
        QCOMPARE(PelkUrl(url.toString()).queryItems(), url.queryItems());
    }

    void theQueryKeepsItsOrderAndItsDuplicates()
    {
        PelkUrl url;
        url.setPath(QStringLiteral("user/login"));
        url.addQueryItem(QStringLiteral("z"), QStringLiteral("1"));
        url.addQueryItem(QStringLiteral("a"), QStringLiteral("2"));
        url.addQueryItem(QStringLiteral("z"), QString());
        QCOMPARE(url.toString(), QStringLiteral("user/login?z=1&a=2&z="));
        QCOMPARE(url.toEncoded(), QByteArray("user/login?z=1&a=2&z="));
    }

    void joinedPathsAreNotFolded()
    {
        PelkUrl base(QStringLiteral("http://u@h:81/api/?old=1"));
        PelkUrl relative;
        relative.setPath(QStringLiteral("/a"));
        base.setPath(base.path() + relative.path());
        base.setQueryItems({});
        QCOMPARE(base.toString(), QStringLiteral("http://u@h:81/api//a"));
        QCOMPARE(PelkUrl(base.toString()).path(), QStringLiteral("/api//a"));
    }

    void invalidCharactersAreEncodedOnWriting_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("fragment");
        QTest::addColumn<QString>("text");
        const auto row = [](const char* host, const char* path, const char* fragment, const char* text) {
            QTest::newRow(text) << QString::fromUtf8(host) << QString::fromUtf8(path)
                                << QString::fromUtf8(fragment) << QString::fromUtf8(text);
        };
        row("h", "/a b?c#d", "", "http://h/a%20b%3Fc%23d");
        row("h", "/a%20b%2Fc%zz%", "", "http://h/a%20b%2Fc%25zz%25");
        row("h", "/;=+&,:@!$'()*", "", "http://h/;=+&,:@!$'()*");
        row("h", "/é", "#é", "http://h/%C3%A9#%23%C3%A9");
        row("h/evil@x", "/", "", "http://h%2Fevil%40x/");
        row("h", "no/slash", "", "http://h/no/slash");
        row("::1", "/", "", "http://[::1]/");
        row("hö", "", "", "http://h%C3%B6");
    }

    void invalidCharactersAreEncodedOnWriting()
    {
        QFETCH(QString, host);
        QFETCH(QString, path);
        QFETCH(QString, fragment);
        PelkUrl url;
        url.setScheme(QStringLiteral("HTTP"));
        url.setHost(host);
        url.setPath(path);
        url.setFragment(fragment);
        QTEST(url.toString(), "text");
        QCOMPARE(url.path(), path);
    }

    void aRelativePathIsNeverReadAsSchemeOrHost()
    {
        PelkUrl url;
        url.setPath(QStringLiteral("a:b/c"));
        QCOMPARE(url.toString(), QStringLiteral("./a:b/c"));
        QCOMPARE(PelkUrl(url.toString()).scheme(), QString());
        url.setPath(QStringLiteral("a/b:c"));
        QCOMPARE(url.toString(), QStringLiteral("a/b:c"));
        url.setPath(QStringLiteral("//a/b"));
        QCOMPARE(url.toString(), QStringLiteral("/.//a/b"));
        QCOMPARE(PelkUrl(url.toString()).host(), QString());
    }

    void hostsDifferByCaseAndSchemesDoNot()
    {
        QVERIFY(PelkUrl(QStringLiteral("http://H/")) != PelkUrl(QStringLiteral("http://h/")));
        QVERIFY(PelkUrl(QStringLiteral("HTTP://h/")) == PelkUrl(QStringLiteral("http://h/")));
        QCOMPARE(PelkUrl(QStringLiteral("http://Play.Example.COM:1/")).toString(),
                 QStringLiteral("http://Play.Example.COM:1/"));
        PelkUrl url;
        url.setScheme(QStringLiteral("HTTPS"));
        QCOMPARE(url.scheme(), QStringLiteral("https"));
    }

    void anyPartMakesAUrlNotEmpty()
    {
        PelkUrl url;
        QVERIFY(url.isEmpty());
        url.addQueryItem(QStringLiteral("a"), QString());
        QVERIFY(!url.isEmpty());
        PelkUrl fragment;
        fragment.setFragment(QStringLiteral("x"));
        QVERIFY(!fragment.isEmpty());
    }

    void noCharacterOfAQueryIsLost()
    {
        for (const QString& value : {QString(QChar(0)) + QLatin1Char('a'), QString(2, QChar(0xfeff))}) {
            PelkUrl url(QStringLiteral("http://h/"));
            url.addQueryItem(QStringLiteral("k"), value);
            QCOMPARE(PelkUrl(url.toString()), url);
        }
    }

    void aUrlIsWrittenToStreamsAsItsText()
    {
        std::ostringstream stream;
        stream << PelkUrl(QStringLiteral("http://h/é?q=a b"));
        QCOMPARE(stream.str(), std::string("http://h/%C3%A9?q=a%20b"));
    }
};

QTEST_APPLESS_MAIN(PelkUrlTest)
#include "pelkurl_test.moc"

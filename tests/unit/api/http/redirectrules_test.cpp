#include "api/http/redirectrules.h"

#include <QtTest>

class RedirectRulesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anOriginIsSchemeHostAndPort_data()
    {
        QTest::addColumn<QString>("other");
        QTest::addColumn<bool>("same");
        const auto row = [](const char* other, bool same) {
            QTest::newRow(other) << QString::fromUtf8(other) << same;
        };
        row("https://host/b?c", true);
        row("https://HOST/", true);
        row("https://host:443/", true);
        row("https://host:444/", false);
        row("http://host/", false);
        row("http://host:443/", false);
        row("https://host.example/", false);
        row("https://ahost/", false);
    }

    void anOriginIsSchemeHostAndPort()
    {
        QFETCH(QString, other);
        QFETCH(bool, same);
        const PelkUrl url(QStringLiteral("https://host/a"));
        QCOMPARE(RedirectRules::isSameOrigin(url, PelkUrl(other)), same);
        QCOMPARE(RedirectRules::isSameOrigin(PelkUrl(other), url), same);
    }

    void headersGoAlongToTheSameHostOnly_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<bool>("carried");
        const auto row = [](const char* name, const char* from, const char* to, bool carried) {
            QTest::newRow(name) << QString::fromUtf8(from) << QString::fromUtf8(to) << carried;
        };
        row("same origin", "http://a:8080/x", "http://a:8080/y", true);
        row("upwards at the usual ports", "http://a/", "https://a/", true);
        row("upwards, ports written out", "http://a:80/", "https://a:443/", true);
        row("downwards", "https://a/", "http://a/", false);
        row("upwards to another port", "http://a/", "https://a:8443/", false);
        row("upwards from another port", "http://a:8080/", "https://a/", false);
        row("another host", "http://a/", "http://b/", false);
        row("another host, upwards", "http://a/", "https://b/", false);
        row("another port", "http://a/", "http://a:81/", false);
    }
    void headersGoAlongToTheSameHostOnly()
    {
        QFETCH(QString, from);
        QFETCH(QString, to);
        QTEST(RedirectRules::mayCarryHeaders(PelkUrl(from), PelkUrl(to)), "carried");
    }

    void aRedirectIsFollowedOrRefused_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<int>("followed");
        QTest::addColumn<bool>("repeatsPost");
        QTest::addColumn<QString>("refusal");
        const auto row = [](const char* name, const char* from, const char* to, int followed,
                            bool repeatsPost, const char* refusal) {
            QTest::newRow(name) << QString::fromUtf8(from) << QString::fromUtf8(to) << followed << repeatsPost
                                << QString::fromUtf8(refusal);
        };
        row("http", "http://a/", "http://b/", 0, false, "");
        row("upwards", "http://a/", "https://a/", 0, false, "");
        row("https", "https://a/", "https://b/", 0, false, "");
        row("downwards", "https://a/", "http://a/", 0, false, "Redirected from https to http");
        row("file", "http://a/", "file:///x", 0, false, "Redirected to something other than http and https");
        row("no host", "http://a/", "http:///x", 0, false,
            "Redirected to something other than http and https");
        row("not parsed", "http://a/", "", 0, false, "Redirected to something other than http and https");
        row("the last one", "http://a/", "http://a/", 9, false, "");
        row("one too many", "http://a/", "http://a/", 10, false, "More than 10 redirects");
        row("post to the same server", "http://a/", "http://a/x", 0, true, "");
        row("post elsewhere", "http://a/", "http://b/", 0, true, "A POST was redirected to another server");
    }

    void aRedirectIsFollowedOrRefused()
    {
        QFETCH(QString, from);
        QFETCH(QString, to);
        QFETCH(int, followed);
        QFETCH(bool, repeatsPost);
        QTEST(RedirectRules::refusal(PelkUrl(from), PelkUrl(to), followed, repeatsPost), "refusal");
    }
};

QTEST_APPLESS_MAIN(RedirectRulesTest)
#include "redirectrules_test.moc"

#include "api/http/httpclientheaders.h"

#include <QtTest>

class HttpClientHeadersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesAreComparedWithoutCase()
    {
        HttpClientHeaders headers;
        QVERIFY(headers.isEmpty());
        headers.insert(QStringLiteral("X-App-Id"), QStringLiteral("1"));
        QVERIFY(headers.contains(QStringLiteral("x-app-id")));
        QCOMPARE(headers.value(QStringLiteral("X-APP-ID")), QStringLiteral("1"));
        QVERIFY(!headers.contains(QStringLiteral("X-App")));
    }

    void aSecondValueReplacesTheFirstInItsPlace()
    {
        HttpClientHeaders headers;
        headers.insert(QStringLiteral("A"), QStringLiteral("1"));
        headers.insert(QStringLiteral("B"), QStringLiteral("2"));
        headers.insert(QStringLiteral("a"), QStringLiteral("3"));
        const HttpClientHeaders::Items expected = {{QStringLiteral("a"), QStringLiteral("3")},
                                                   {QStringLiteral("B"), QStringLiteral("2")}};
        QCOMPARE(headers.items(), expected);
    }

    void anAbsentHeaderReadsAsTheDefault()
    {
        const HttpClientHeaders headers;
        QCOMPARE(headers.value(QStringLiteral("X")), QString());
        QCOMPARE(headers.value(QStringLiteral("X"), QStringLiteral("d")), QStringLiteral("d"));
    }

    void aValueCannotAddAHeader()
    {
        HttpClientHeaders headers;
        headers.insert(QStringLiteral("X"), QStringLiteral("a\r\nY: b\n") + QChar() + QStringLiteral("c\r"));
        QCOMPARE(headers.value(QStringLiteral("X")), QStringLiteral("aY: bc"));
        QVERIFY(!headers.contains(QStringLiteral("Y")));
    }

    void aNameThatIsNotATokenIsIgnored_data()
    {
        QTest::addColumn<QString>("name");
        for (const char* name : {"", "a b", "a:", "a\r\nb", "a;", "é", "(a)"})
            QTest::newRow(name) << QString::fromUtf8(name);
    }

    void aNameThatIsNotATokenIsIgnored()
    {
        QFETCH(QString, name);
        HttpClientHeaders headers;
        headers.insert(name, QStringLiteral("v"));
        QVERIFY(headers.isEmpty());
    }
};

QTEST_APPLESS_MAIN(HttpClientHeadersTest)
#include "httpclientheaders_test.moc"

#include "api/core/model/cmrootworker.h"
#include "player/content/ContentClient.h"
#include "tests/support/scriptedplayworker.h"

#include <QtTest>

#include <limits>

class ContentClientTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRangeIsCompletedFromShortPages_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QString>("requests");
        QTest::newRow("within a page") << 0 << 4 << 5 << QStringLiteral("0-4");
        QTest::newRow("beyond a page") << 5 << 24 << 20 << QStringLiteral("5-24 15-24");
        QTest::newRow("to the end") << 100 << 119 << 20 << QStringLiteral("100-119 110-119");
        QTest::newRow("over the end") << 115 << 1000 << 5 << QStringLiteral("115-164");
        QTest::newRow("behind the end") << 500 << 600 << 0 << QStringLiteral("500-549");
        QTest::newRow("the largest number")
            << 115 << std::numeric_limits<int>::max() << 5 << QStringLiteral("115-164");
    }
    void aRangeIsCompletedFromShortPages()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(int, rows);
        QFETCH(QString, requests);
        CMRootWorker root;
        ScriptedPlayWorker worker;
        root.addWorker(&worker);
        for (int i = 0; i < 120; ++i)
            worker.list << QString::number(i);
        worker.pageSize = 10;
        RowPage page;
        QString error;
        QVERIFY2(ContentClient::rows(ScriptedPlayWorker::listPath(), from, to, &page, &error),
                 qPrintable(error));
        QCOMPARE(page.rows.size(), rows);
        QCOMPARE(page.total, 120);
        QCOMPARE(page.version, 7);
        QCOMPARE(worker.rowRequests.join(QLatin1Char(' ')), requests);
        if (rows > 0)
            QCOMPARE(page.rows.last(), ScriptedPlayWorker::row(QString::number(from + rows - 1)));
    }

    void anImpossibleTotalIsLimited_data()
    {
        QTest::addColumn<int>("stated");
        QTest::addColumn<int>("total");
        QTest::newRow("negative") << -1 << 3;
        QTest::newRow("the least number") << std::numeric_limits<int>::min() << 3;
        QTest::newRow("fewer than came") << 1 << 3;
        QTest::newRow("the largest number") << std::numeric_limits<int>::max() << RowPaging::mostRows;
    }
    void anImpossibleTotalIsLimited()
    {
        QFETCH(int, stated);
        QFETCH(int, total);
        CMRootWorker root;
        ScriptedPlayWorker worker;
        root.addWorker(&worker);
        worker.list << QStringLiteral("1") << QStringLiteral("2") << QStringLiteral("3");
        worker.statedTotal = stated;
        RowPage page;
        QString error;
        QVERIFY2(ContentClient::rows(ScriptedPlayWorker::listPath(), 0, std::numeric_limits<int>::max(),
                                     &page, &error),
                 qPrintable(error));
        QCOMPARE(page.rows.size(), 3);
        QCOMPARE(page.total, total);
    }

    void anErrorIsASentence()
    {
        CMRootWorker root;
        RowPage page;
        QString error;
        QVERIFY(!ContentClient::rows(CMPath(QStringLiteral("none:x")), 0, 9, &page, &error));
        QCOMPARE(error, QStringLiteral("No service answers at \"none:x\"."));
        QCOMPARE(ContentClient::sentence(CMError(TrString(QStringLiteral("User is not logged in")))),
                 QStringLiteral("User is not logged in."));
    }
};

QTEST_GUILESS_MAIN(ContentClientTest)
#include "contentclient_test.moc"

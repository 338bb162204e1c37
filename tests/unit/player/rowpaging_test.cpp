#include "player/content/RowPaging.h"

#include <QtTest>

#include <limits>

namespace {

constexpr int least = std::numeric_limits<int>::min();
constexpr int largest = std::numeric_limits<int>::max();

} // namespace

/// A list is read to its end, and no list has none.
class RowPagingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aReplyIsTakenWithinBounds_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("stated");
        QTest::addColumn<int>("kept");
        QTest::addColumn<int>("total");
        QTest::addColumn<bool>("complete");
        const auto row = [](const char* name, int from, int to, int rows, int stated, int kept, int total,
                            bool complete) {
            QTest::newRow(name) << from << to << rows << stated << kept << total << complete;
        };
        row("a whole list", 0, 99, 3, 3, 3, 3, true);
        row("a short page", 0, 99, 3, 10, 3, 10, false);
        row("a whole range", 0, 2, 3, 10, 3, 10, true);
        row("more rows than were requested", 0, 2, 9, 10, 3, 10, true);
        row("more rows than a page has", 0, 99, 5000, 10000, 50, 10000, false);
        row("an empty page", 0, 99, 0, 10, 0, 10, true);
        row("an empty list", 0, 99, 0, 0, 0, 0, true);
        row("fewer stated than came", 0, 99, 3, 1, 3, 3, true);
        row("a negative total", 0, 99, 3, -1, 3, 3, true);
        row("the least total", 0, 99, 3, least, 3, 3, true);
        row("the least total, and no rows", 0, 99, 0, least, 0, 0, true);
        row("the largest total", 0, 99, 3, largest, 3, RowPaging::mostRows, false);
        row("a negative number of rows", 0, 99, -1, 10, 0, 10, true);
        row("the end of the largest range", largest, largest, 1, largest, 1, RowPaging::mostRows, true);
        row("behind all lists", largest - 9, largest, 0, 10, 0, 10, true);
        row("before the list", -5, 0, 1, 1, 1, 1, true);
    }
    void aReplyIsTakenWithinBounds()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(int, rows);
        QFETCH(int, stated);
        RowPaging paging(from, to);
        QVERIFY(!paging.isComplete());
        QVERIFY(paging.first() >= 0 && paging.last() >= paging.first());
        QVERIFY(paging.last() - paging.first() < RowPaging::pageSize);
        QTEST(paging.take(rows, stated), "kept");
        QTEST(paging.total(), "total");
        QTEST(paging.isComplete(), "complete");
    }

    void anEmptyRangeRequestsNothing()
    {
        QVERIFY(RowPaging(5, 4).isComplete());
        QVERIFY(RowPaging(0, -1).isComplete());
    }

    /// One row a page, and always another one.
    void aListWithoutAnEndEnds()
    {
        RowPaging paging(0, largest);
        int pages = 0;
        while (!paging.isComplete() && pages <= RowPaging::mostRows) {
            paging.take(1, largest);
            ++pages;
        }
        QCOMPARE(pages, RowPaging::mostRows);
    }
};

QTEST_GUILESS_MAIN(RowPagingTest)
#include "rowpaging_test.moc"

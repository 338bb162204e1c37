#include "player/base/PrintableText.h"
#include "player/cli/NowText.h"
#include "player/cli/QueueTable.h"
#include "player/cli/RowTable.h"
#include "player/cli/TextWidth.h"

#include <QDateTime>
#include <QtTest>

namespace {

QJsonObject row(const QString& title, const QString& path)
{
    return {{QStringLiteral("title"), title},
            {QStringLiteral("path"), path},
            {QStringLiteral("type"), QStringLiteral("container")},
            {QStringLiteral("containerType"), QStringLiteral("album")},
            {QStringLiteral("playable"), false}};
}

QStringList lines(const QString& table)
{
    return table.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

class RowTableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void widthsAreThoseOfATerminal_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("columns");
        QTest::newRow("Latin") << QStringLiteral("abc") << 3;
        QTest::newRow("Japanese") << QStringLiteral("空のソ") << 6;
        QTest::newRow("combining") << QStringLiteral("e\u0301a") << 2;
        QTest::newRow("emoji") << QStringLiteral("🦜") << 2;
        QTest::newRow("Arabic") << QStringLiteral("رندرمي") << 6;
    }
    void widthsAreThoseOfATerminal()
    {
        QFETCH(QString, text);
        QFETCH(int, columns);
        QCOMPARE(TextWidth::columns(text), columns);
    }

    void aCutNeverSplitsAVisibleCharacter_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("limit");
        QTest::addColumn<QString>("cut");
        QTest::newRow("fits") << QStringLiteral("abc") << 3 << QStringLiteral("abc");
        QTest::newRow("Latin") << QStringLiteral("abcd") << 3 << QStringLiteral("ab…");
        QTest::newRow("wide, even") << QStringLiteral("空のソ") << 5 << QStringLiteral("空の…");
        QTest::newRow("wide, odd") << QStringLiteral("空のソ") << 4 << QStringLiteral("空…");
        QTest::newRow("combining") << QStringLiteral("ae\u0301bc") << 3 << QStringLiteral("ae\u0301…");
        QTest::newRow("surrogates") << QStringLiteral("🦜🦜🦜") << 5 << QStringLiteral("🦜🦜…");
        QTest::newRow("blank before the cut") << QStringLiteral("ab cdef") << 4 << QStringLiteral("ab…");
        QTest::newRow("no room") << QStringLiteral("abc") << 0 << QString();
    }
    void aCutNeverSplitsAVisibleCharacter()
    {
        QFETCH(QString, text);
        QFETCH(int, limit);
        QFETCH(QString, cut);
        QCOMPARE(TextWidth::cut(text, limit), cut);
    }

    void controlCharactersAreRemoved()
    {
        QCOMPARE(printableText(QStringLiteral("a\033[31mb\r\nc\u202Ed\u009Be")),
                 QStringLiteral("a [31mb  c d e"));
        const QString table = rowTable(QJsonArray{row(QStringLiteral("a\nb"), QStringLiteral("t:x"))}, 80);
        QCOMPARE(lines(table).size(), 1);
    }

    void everyLineFitsAndNoPathIsCut_data()
    {
        QTest::addColumn<int>("width");
        QTest::newRow("80 columns") << 80;
        QTest::newRow("200 columns") << 200;
        QTest::newRow("40 columns") << 40;
    }
    void everyLineFitsAndNoPathIsCut()
    {
        QFETCH(int, width);
        const QString path = QStringLiteral("qobuz:album?id=0060254735180");
        const QJsonArray rows{row(QString(300, QLatin1Char('x')), path),
                              row(QString(300, QChar(0x7A7A)), path), row(QStringLiteral("short"), path)};
        const QStringList table = lines(rowTable(rows, width));
        QCOMPARE(table.filter(path).size(), 3);
        for (const QString& line : table)
            QVERIFY2(TextWidth::columns(line) <= width, qPrintable(line));
    }

    void columnsLineUpWhateverTheScript()
    {
        const QStringList table =
            lines(rowTable(QJsonArray{row(QStringLiteral("空のソ"), QStringLiteral("t:a")),
                                      row(QStringLiteral("abcdef"), QStringLiteral("t:b"))},
                           80));
        QCOMPARE(table,
                 (QStringList{QStringLiteral("空のソ  album  t:a"), QStringLiteral("abcdef  album  t:b")}));
    }

    void aLongPathIsPrintedBelowItsTitle()
    {
        const QString path = QStringLiteral("t:") + QString(70, QLatin1Char('p'));
        const QStringList table = lines(rowTable(QJsonArray{row(QString(30, QLatin1Char('x')), path)}, 80));
        QCOMPARE(table, (QStringList{QString(30, QLatin1Char('x')) + QStringLiteral("  album"),
                                     QStringLiteral("    ") + path}));
    }

    void withoutALimitNothingIsCut()
    {
        const QString title(300, QLatin1Char('x'));
        QVERIFY(
            rowTable(QJsonArray{row(title, QStringLiteral("t:a"))}, 0).startsWith(title + QLatin1Char(' ')));
    }

    void theHistoryIsRowsWithTheirTimes()
    {
        const QDateTime time(QDate(2026, 3, 1), QTime(9, 5, 59));
        const QJsonArray items{
            QJsonObject{{QStringLiteral("timeMs"), double(time.toMSecsSinceEpoch())},
                        {QStringLiteral("row"), row(QStringLiteral("空のソ"), QStringLiteral("t:a"))}}};
        QCOMPARE(historyTable(items, 80), QStringLiteral("2026-03-01 09:05  空のソ  album  t:a\n"));
        QCOMPARE(historyTable(items, 34), QStringLiteral("2026-03-01 09:05  空のソ  album\n    t:a\n"));
    }

    void everyTableFitsTheTerminal_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("width");
        const std::pair<const char*, QString> texts[]{
            {"Latin", QStringLiteral("word ").repeated(100)},
            {"Japanese", QStringLiteral("空のソ").repeated(100)},
            {"combining marks", QStringLiteral("e\u0301\u0323").repeated(300)},
            {"a thousand marks on a letter",
             QStringLiteral("e") + QString(1000, QChar(0x0301)) + QString(300, u'x')},
            {"emoji", QStringLiteral("🦜").repeated(100)},
            {"joined emoji", QStringLiteral("👩\u200D👩\u200D👧").repeated(100)},
            {"flags", QStringLiteral("🇩🇪").repeated(100)},
            {"right to left", QStringLiteral("رندرمي ").repeated(100)},
            {"controls", QStringLiteral("a\033[31m\t\r\n").repeated(100)},
            {"a title without an end", QString(200000, u'x')},
        };
        for (const auto& [name, value] : texts)
            for (const int width : {80, 200})
                QTest::addRow("%s, %d columns", name, width) << value << width;
    }
    void everyTableFitsTheTerminal()
    {
        QFETCH(QString, text);
        QFETCH(int, width);
        QJsonObject track = row(text, QStringLiteral("t:x"));
        track[QStringLiteral("metaData")] =
            QJsonObject{{QStringLiteral("artist"), text}, {QStringLiteral("album"), text}};
        const QJsonObject plain = row(QStringLiteral("short"), QStringLiteral("t:y"));
        const QJsonArray entries{QJsonObject{{QStringLiteral("id"), 1}, {QStringLiteral("row"), track}},
                                 QJsonObject{{QStringLiteral("id"), 2}, {QStringLiteral("row"), plain}}};
        const QJsonObject status{{QStringLiteral("state"), QStringLiteral("playing")},
                                 {QStringLiteral("row"), track},
                                 {QStringLiteral("positionMs"), 61000}};
        const QStringList shown = lines(queueTable(entries, 2, width)) +
                                  lines(NowText::table(status, width)) + lines(NowText::line(status, width)) +
                                  lines(historyTable(entries, width)) +
                                  lines(rowTable({track, plain}, width));
        QCOMPARE(shown.size(), 2 + 5 + 1 + 2 + 2);
        for (const QString& line : shown) {
            QVERIFY2(TextWidth::columns(line) <= width, qPrintable(line.left(300)));
            QVERIFY2(!line.contains(QChar(0x1b)) && !line.contains(u'\t'), qPrintable(line.left(300)));
        }
        QVERIFY2(shown.first().startsWith(QStringLiteral("  1  ")), qPrintable(shown.first().left(300)));
        QVERIFY2(shown.at(1).startsWith(QStringLiteral("> 2  short")), qPrintable(shown.at(1)));
    }

    void theColumnsOfAQueueLineUp()
    {
        const auto entry = [](int id, const char* title, const char* artist) {
            QJsonObject track = row(QString::fromUtf8(title), QStringLiteral("t:x"));
            track[QStringLiteral("metaData")] =
                QJsonObject{{QStringLiteral("artist"), QString::fromUtf8(artist)}};
            return QJsonObject{{QStringLiteral("id"), id}, {QStringLiteral("row"), track}};
        };
        QCOMPARE(
            queueTable({entry(1, "空の", "a"), entry(2, "e\u0301tude", "b"), entry(3, "🦜", "c")}, 1, 80),
            QStringLiteral("> 1  空の   a\n  2  e\u0301tude  b\n  3  🦜     c\n"));
    }

    void noRowsAreNoLines() { QCOMPARE(rowTable({}, 80), QString()); }
};

QTEST_GUILESS_MAIN(RowTableTest)
#include "rowtable_test.moc"

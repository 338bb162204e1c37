#include "player/cli/RowTable.h"

#include "player/base/PrintableText.h"
#include "player/cli/TextWidth.h"

#include <QDateTime>
#include <QVector>

namespace {

// Fewer columns than these say nothing about a title.
constexpr int leastTitleColumns = 24;
constexpr int gapColumns = 2;
constexpr int indentColumns = 4;

struct Line
{
    QString time; // with a gap behind it; in every line or in none
    QString title;
    QString kind;
    QString path;
};

QString pathOf(const QJsonObject& row)
{
    return printableText(row.value(QStringLiteral("path")).toString());
}

QString table(const QVector<Line>& lines, int width)
{
    int timeWidth = 0;
    int titleWidth = 0;
    int kindWidth = 0;
    int pathWidth = 0;
    for (const Line& line : lines) {
        timeWidth = qMax(timeWidth, TextWidth::columns(line.time));
        titleWidth = qMax(titleWidth, TextWidth::columns(line.title));
        kindWidth = qMax(kindWidth, TextWidth::columns(line.kind));
        pathWidth = qMax(pathWidth, TextWidth::columns(line.path));
    }
    bool pathBelow = false;
    if (width > 0) {
        const int room = width - timeWidth - kindWidth - pathWidth - 2 * gapColumns;
        pathBelow = room < qMin(titleWidth, leastTitleColumns);
        titleWidth =
            qBound(1, titleWidth, pathBelow ? qMax(1, width - timeWidth - kindWidth - gapColumns) : room);
    }
    const QString gap(gapColumns, QLatin1Char(' '));
    QString table;
    for (const Line& line : lines) {
        table += line.time + TextWidth::padded(TextWidth::cut(line.title, titleWidth), titleWidth) + gap;
        if (pathBelow)
            table += line.kind + QLatin1Char('\n') + QString(indentColumns, QLatin1Char(' '));
        else
            table += TextWidth::padded(line.kind, kindWidth) + gap;
        table += line.path + QLatin1Char('\n');
    }
    return table;
}

} // namespace

QString rowKind(const QJsonObject& row)
{
    const QString type = row.value(QStringLiteral("type")).toString();
    if (type == QLatin1String("container")) {
        const QString kind = row.value(QStringLiteral("containerType")).toString();
        return kind == QLatin1String("trackList") ? QStringLiteral("track list") : kind;
    }
    if (type == QLatin1String("audio"))
        return row.value(QStringLiteral("playable")).toBool() ? QStringLiteral("track")
                                                              : QStringLiteral("item");
    return type == QLatin1String("query") ? type : QStringLiteral("-");
}

QString titleAndArtist(const QJsonObject& row)
{
    QString title = row.value(QStringLiteral("title")).toString();
    if (title.isEmpty())
        title = row.value(QStringLiteral("path")).toString();
    const QString artist =
        row.value(QStringLiteral("metaData")).toObject().value(QStringLiteral("artist")).toString();
    return printableText(artist.isEmpty() ? title : title + QStringLiteral(", ") + artist);
}

QString rowTable(const QJsonArray& rows, int width)
{
    QVector<Line> lines;
    for (const QJsonValue& value : rows) {
        const QJsonObject row = value.toObject();
        lines.append({QString(), printableText(row.value(QStringLiteral("title")).toString()), rowKind(row),
                      pathOf(row)});
    }
    return table(lines, width);
}

QString historyTable(const QJsonArray& items, int width)
{
    QVector<Line> lines;
    for (const QJsonValue& value : items) {
        const QJsonObject row = value.toObject().value(QStringLiteral("row")).toObject();
        const qint64 timeMs = qint64(value.toObject().value(QStringLiteral("timeMs")).toDouble());
        lines.append({QDateTime::fromMSecsSinceEpoch(timeMs).toString(QStringLiteral("yyyy-MM-dd HH:mm  ")),
                      titleAndArtist(row), rowKind(row), pathOf(row)});
    }
    return table(lines, width);
}

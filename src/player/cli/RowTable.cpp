#include "player/cli/RowTable.h"

#include "player/cli/TextWidth.h"
#include "player/host/PrintableText.h"

#include <QVector>

namespace {

// Fewer columns than these say nothing about a title.
constexpr int leastTitleColumns = 24;
constexpr int gapColumns = 2;
constexpr int indentColumns = 4;

struct Line
{
    QString title;
    QString kind;
    QString path;
};

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
    int titleWidth = 0;
    int kindWidth = 0;
    int pathWidth = 0;
    for (const QJsonValue& value : rows) {
        const QJsonObject row = value.toObject();
        const Line line{printableText(row.value(QStringLiteral("title")).toString()), rowKind(row),
                        printableText(row.value(QStringLiteral("path")).toString())};
        titleWidth = qMax(titleWidth, TextWidth::columns(line.title));
        kindWidth = qMax(kindWidth, TextWidth::columns(line.kind));
        pathWidth = qMax(pathWidth, TextWidth::columns(line.path));
        lines.append(line);
    }
    bool pathBelow = false;
    if (width > 0) {
        const int room = width - kindWidth - pathWidth - 2 * gapColumns;
        pathBelow = room < qMin(titleWidth, leastTitleColumns);
        titleWidth = qBound(1, titleWidth, pathBelow ? qMax(1, width - kindWidth - gapColumns) : room);
    }
    const QString gap(gapColumns, QLatin1Char(' '));
    QString table;
    for (const Line& line : qAsConst(lines)) {
        table += TextWidth::padded(TextWidth::cut(line.title, titleWidth), titleWidth) + gap;
        if (pathBelow)
            table += line.kind + QLatin1Char('\n') + QString(indentColumns, QLatin1Char(' '));
        else
            table += TextWidth::padded(line.kind, kindWidth) + gap;
        table += line.path + QLatin1Char('\n');
    }
    return table;
}

#include "player/cli/RowTable.h"

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "player/cli/TextWidth.h"
#include "player/host/PrintableText.h"

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

QString rowKind(const PelkRoles& row)
{
    switch (row.type()) {
    case PelkRolesType::Container:
        if (row.containerType() == PelkRolesContainerType::TrackList)
            return QStringLiteral("track list");
        return PelkRolesContainerType::toString(row.containerType());
    case PelkRolesType::Audio:
        return row.mediaData().metaData().prePlayPath().isEmpty() ? QStringLiteral("item")
                                                                  : QStringLiteral("track");
    case PelkRolesType::Query:
        return QStringLiteral("query");
    case PelkRolesType::None:
        break;
    }
    return QStringLiteral("-");
}

QString rowTable(const QVector<PelkRoles>& rows, int width)
{
    QVector<Line> lines;
    int titleWidth = 0;
    int kindWidth = 0;
    int pathWidth = 0;
    for (const PelkRoles& row : rows) {
        const Line line{printableText(row.title().toString()), rowKind(row),
                        printableText(row.path().toString())};
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

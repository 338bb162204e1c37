#include "player/cli/QueueTable.h"

#include "player/base/PrintableText.h"
#include "player/cli/TextWidth.h"

#include <QJsonObject>
#include <QStringList>
#include <QVector>

#include <array>

namespace {

constexpr int gapColumns = 2;
constexpr int columnCount = 3;

using Texts = std::array<QString, columnCount>;

Texts textsOf(const QJsonObject& row)
{
    const QJsonObject metaData = row.value(QStringLiteral("metaData")).toObject();
    QString title = row.value(QStringLiteral("title")).toString();
    if (title.isEmpty())
        title = row.value(QStringLiteral("path")).toString();
    return {printableText(title), printableText(metaData.value(QStringLiteral("artist")).toString()),
            printableText(metaData.value(QStringLiteral("album")).toString())};
}

/// Each column except the last gets at most half of the remaining width, and no more than it needs.
void fit(std::array<int, columnCount>* widths, int room)
{
    room -= (columnCount - 1) * gapColumns;
    for (size_t i = 0; i < columnCount; ++i) {
        int behind = 0;
        for (size_t k = i + 1; k < columnCount; ++k)
            behind += (*widths)[k];
        // It also gets the width that the following columns do not need.
        const int share = i + 1 < columnCount ? qMax(room / 2, room - behind) : room;
        (*widths)[i] = qBound(1, (*widths)[i], qMax(1, share));
        room -= (*widths)[i];
    }
}

} // namespace

QString queueTable(const QJsonArray& entries, int current, int width)
{
    if (entries.isEmpty())
        return QStringLiteral("The queue is empty.\n");
    QVector<Texts> lines;
    std::array<int, columnCount> widths{};
    for (const QJsonValue& entry : entries) {
        lines.append(textsOf(entry.toObject().value(QStringLiteral("row")).toObject()));
        for (size_t i = 0; i < columnCount; ++i)
            widths.at(i) = qMax(widths.at(i), TextWidth::columns(lines.last().at(i)));
    }
    const int digits = QString::number(entries.size()).size();
    const int prefix = 2 + digits + gapColumns; // "> 12  "
    if (width > 0)
        fit(&widths, width - prefix);
    QString table;
    for (int line = 0; line < lines.size(); ++line) {
        const bool isCurrent = entries.at(line).toObject().value(QStringLiteral("id")).toInt() == current;
        QString text = QStringLiteral("%1 %2  ")
                           .arg(isCurrent ? QLatin1Char('>') : QLatin1Char(' '))
                           .arg(line + 1, digits);
        for (size_t i = 0; i < columnCount; ++i)
            text += TextWidth::padded(TextWidth::cut(lines.at(line).at(i), widths.at(i)), widths.at(i)) +
                    QString(gapColumns, QLatin1Char(' '));
        while (text.endsWith(QLatin1Char(' ')))
            text.chop(1);
        table += text + QLatin1Char('\n');
    }
    return table;
}

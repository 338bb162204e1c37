#include "player/cli/NowText.h"

#include "player/base/PrintableText.h"
#include "player/cli/RowTable.h"
#include "player/cli/TextWidth.h"

#include <QStringList>

namespace {

constexpr int labelColumns = 11;

qint64 milliseconds(const QJsonObject& status, const char* key)
{
    return qint64(status.value(QLatin1String(key)).toDouble());
}

QString place(const QJsonObject& status, const char* between)
{
    const qint64 duration = milliseconds(status, "durationMs");
    const QString here = NowText::clock(milliseconds(status, "positionMs"));
    return duration > 0 ? here + QLatin1String(between) + NowText::clock(duration) : here;
}

QString state(const QJsonObject& status)
{
    return status.value(QStringLiteral("stalled")).toBool()
               ? QStringLiteral("buffering")
               : status.value(QStringLiteral("state")).toString();
}

QString shown(const QString& text, int width)
{
    return width > 0 ? TextWidth::cut(text, width) : text;
}

} // namespace

QString NowText::clock(qint64 milliseconds)
{
    const qint64 seconds = milliseconds / 1000;
    const QString rest = QStringLiteral("%1").arg(seconds % 60, 2, 10, QLatin1Char('0'));
    if (seconds < 3600)
        return QStringLiteral("%1:%2").arg(seconds / 60).arg(rest);
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(rest);
}

QString NowText::format(const QJsonObject& status)
{
    const QJsonObject format = status.value(QStringLiteral("format")).toObject();
    const QString text = format.value(QStringLiteral("text")).toString();
    return format.value(QStringLiteral("lowerThanAsked")).toBool()
               ? text + QStringLiteral(", below your setting")
               : text;
}

QString NowText::sleep(const QJsonObject& status)
{
    const QJsonObject sleep = status.value(QStringLiteral("sleep")).toObject();
    const QString at = sleep.value(QStringLiteral("at")).toString(QStringLiteral("off"));
    return at == QLatin1String("time") ? QStringLiteral("in ") + clock(milliseconds(sleep, "leftMs")) : at;
}

QString NowText::table(const QJsonObject& status, int width)
{
    const QJsonObject row = status.value(QStringLiteral("row")).toObject();
    if (row.isEmpty())
        return QStringLiteral("Nothing plays.\n");
    const QJsonObject metaData = row.value(QStringLiteral("metaData")).toObject();
    QString title = row.value(QStringLiteral("title")).toString();
    if (title.isEmpty())
        title = row.value(QStringLiteral("path")).toString();
    QString text;
    const auto add = [&text, width](const char* label, const QString& value) {
        if (!value.isEmpty())
            text +=
                shown(QString::fromLatin1(label).leftJustified(labelColumns) + printableText(value), width) +
                QLatin1Char('\n');
    };
    add("Title", title);
    add("Artist", metaData.value(QStringLiteral("artist")).toString());
    add("Album", metaData.value(QStringLiteral("album")).toString());
    add("Format", format(status));
    add("Position", place(status, " of "));
    add("State", state(status));
    if (status.value(QStringLiteral("sleep")).isObject())
        add("Sleep", sleep(status));
    return text;
}

QString NowText::line(const QJsonObject& status, int width)
{
    const QJsonObject row = status.value(QStringLiteral("row")).toObject();
    QStringList parts{state(status)};
    if (!row.isEmpty()) {
        parts << place(status, " / ") << titleAndArtist(row);
        const QString album =
            row.value(QStringLiteral("metaData")).toObject().value(QStringLiteral("album")).toString();
        for (const QString& part : {printableText(album), format(status)})
            if (!part.isEmpty())
                parts << part;
    }
    return shown(parts.join(QStringLiteral("  ")), width) + QLatin1Char('\n');
}

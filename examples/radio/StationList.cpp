#include "StationList.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QUrl>

namespace {

constexpr qint64 mostBytes = 1024 * 1024;

bool isStream(const QString& address)
{
    const QUrl url(address, QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https"));
}

bool readText(const QString& file, QString* text, QString* problem)
{
    QFile source(file);
    if (!QFileInfo(file).isFile() || !source.open(QIODevice::ReadOnly)) {
        *problem = QStringLiteral("%1 cannot be read.").arg(file);
        return false;
    }
    *text = QString::fromUtf8(source.read(mostBytes));
    return true;
}

/// The value of a line `key=value`; a null text where it is another line.
QString valueOf(const QString& line, const QString& key)
{
    return line.startsWith(key + QLatin1Char('='), Qt::CaseInsensitive) ? line.mid(key.size() + 1).trimmed()
                                                                        : QString();
}

QVector<Station> parsePls(const QStringList& lines)
{
    static const QRegularExpression entry(QStringLiteral("^(File|Title)(\\d+)=(.*)$"),
                                          QRegularExpression::CaseInsensitiveOption);
    QMap<int, Station> byNumber;
    for (const QString& line : lines) {
        const QRegularExpressionMatch match = entry.match(line);
        if (!match.hasMatch())
            continue;
        Station& station = byNumber[match.captured(2).toInt()];
        (match.captured(1).toLower() == QLatin1String("file") ? station.address : station.title) =
            match.captured(3).trimmed();
    }
    return byNumber.values().toVector();
}

QVector<Station> parseM3u(const QStringList& lines)
{
    QVector<Station> stations;
    QString title;
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1String("#EXTINF:")))
            title = line.section(QLatin1Char(','), 1).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        stations.append({title, line, {}});
        title.clear();
    }
    return stations;
}

} // namespace

QVector<Station> StationList::parseList(const QString& text)
{
    QStringList lines;
    for (const QString& line : text.split(QLatin1Char('\n')))
        lines << line.trimmed();
    const bool isPls = lines.contains(QStringLiteral("[playlist]"), Qt::CaseInsensitive);
    QVector<Station> stations;
    for (Station station : isPls ? parsePls(lines) : parseM3u(lines)) {
        if (station.title.isEmpty())
            station.title = QUrl(station.address).host();
        if (isStream(station.address))
            stations.append(station);
    }
    return stations;
}

QVector<Station> StationList::read(const QString& file, QString* problem)
{
    QVector<Station> stations;
    QString text;
    if (!readText(file, &text, problem))
        return stations;
    Station station;
    const auto add = [&stations, &station] {
        if (isStream(station.address))
            stations.append(station);
    };
    for (const QString& raw : text.split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        const QString list = valueOf(line, QStringLiteral("list"));
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            add();
            station = {line.mid(1, line.size() - 2), {}, {}};
        } else if (!list.isEmpty()) {
            if (readText(QFileInfo(file).dir().filePath(list), &text, problem))
                stations += parseList(text);
        } else if (!valueOf(line, QStringLiteral("address")).isNull()) {
            station.address = valueOf(line, QStringLiteral("address"));
            if (!isStream(station.address))
                *problem = QStringLiteral("%1 is no http or https address.").arg(station.address);
        } else if (!valueOf(line, QStringLiteral("icon")).isNull()) {
            station.icon = valueOf(line, QStringLiteral("icon"));
        }
    }
    add();
    return stations;
}

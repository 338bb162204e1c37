#include "player/server/StaticFiles.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHash>

namespace {

constexpr qint64 largestFileBytes = 16 * 1024 * 1024;

QByteArray typeOf(const QString& suffix)
{
    static const QHash<QString, QByteArray> types{
        {QStringLiteral("html"), "text/html; charset=utf-8"},
        {QStringLiteral("js"), "text/javascript; charset=utf-8"},
        {QStringLiteral("mjs"), "text/javascript; charset=utf-8"},
        {QStringLiteral("css"), "text/css; charset=utf-8"},
        {QStringLiteral("json"), "application/json"},
        {QStringLiteral("map"), "application/json"},
        {QStringLiteral("webmanifest"), "application/manifest+json"},
        {QStringLiteral("svg"), "image/svg+xml"},
        {QStringLiteral("png"), "image/png"},
        {QStringLiteral("jpg"), "image/jpeg"},
        {QStringLiteral("webp"), "image/webp"},
        {QStringLiteral("ico"), "image/x-icon"},
        {QStringLiteral("woff2"), "font/woff2"},
        {QStringLiteral("txt"), "text/plain; charset=utf-8"},
    };
    return types.value(suffix.toLower(), "application/octet-stream");
}

} // namespace

StaticFiles::StaticFiles(const QString& folder)
    : m_folder(QFileInfo(folder).canonicalFilePath())
{
}

std::optional<StaticFiles::File> StaticFiles::file(const QString& path) const
{
    if (m_folder.isEmpty() || path.contains(QChar(0)))
        return std::nullopt;
    const QFileInfo info(QFileInfo(m_folder + QLatin1Char('/') + path).canonicalFilePath());
    if (!info.filePath().startsWith(m_folder + QLatin1Char('/')) || !info.isFile() ||
        info.size() > largestFileBytes)
        return std::nullopt;
    QFile file(info.filePath());
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    File found;
    found.content = file.read(largestFileBytes);
    found.type = typeOf(info.suffix());
    found.tag = '"' + QByteArray::number(info.lastModified().toMSecsSinceEpoch(), 36) + '-' +
                QByteArray::number(info.size(), 36) + '"';
    found.lasting = path.startsWith(QLatin1String("/assets/"));
    return found;
}

#include "player/server/http/Files.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <array>

namespace {

struct Encoding
{
    const char* name;
    const char* suffix;
};
/// The smallest first.
constexpr std::array<Encoding, 2> encodings{{{"br", ".br"}, {"gzip", ".gz"}}};

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

/// Whether an Accept-Encoding header accepts an encoding: names it, or everything, and not with weight 0.
bool isAccepted(const QByteArray& acceptEncoding, const char* name)
{
    bool accepted = false;
    for (const QByteArray& range : acceptEncoding.toLower().split(',')) {
        const QList<QByteArray> parts = range.split(';');
        const QByteArray coding = parts.first().trimmed();
        if (coding != name && coding != "*")
            continue;
        const QByteArray weight = parts.value(1).trimmed();
        accepted = !weight.startsWith("q=") || weight.mid(2).toDouble() > 0;
        if (coding == name)
            break;
    }
    return accepted;
}

} // namespace

Files::Files(const QString& folder)
    : m_folder(QFileInfo(folder).canonicalFilePath())
{
}

std::optional<Files::File> Files::file(const QString& path, const QByteArray& acceptEncoding)
{
    if (m_folder.isEmpty() || path.contains(QChar(0)))
        return std::nullopt;
    QFileInfo info(QFileInfo(m_folder + QLatin1Char('/') + path).canonicalFilePath());
    if (!info.filePath().startsWith(m_folder + QLatin1Char('/')) || !info.isFile())
        return std::nullopt;
    File found;
    found.type = typeOf(info.suffix());
    found.lasting = path.startsWith(QLatin1String("/assets/"));
    const QString plain = info.filePath();
    for (const Encoding& encoding : encodings) {
        const QFileInfo packed(plain + QLatin1String(encoding.suffix));
        if (!packed.isFile() || packed.isSymLink())
            continue;
        found.varies = true;
        if (found.encoding.isEmpty() && isAccepted(acceptEncoding, encoding.name)) {
            found.encoding = encoding.name;
            info = packed;
        }
    }
    const qint64 modifiedMs = info.lastModified().toMSecsSinceEpoch();
    const Kept* kept = m_kept.object(info.filePath());
    if (kept && kept->modifiedMs == modifiedMs && kept->content.size() == info.size()) {
        found.content = kept->content;
    } else {
        QFile file(info.filePath());
        if (info.size() > largestFileBytes || !file.open(QIODevice::ReadOnly))
            return std::nullopt;
        found.content = file.read(largestFileBytes);
        m_kept.insert(info.filePath(), new Kept{found.content, modifiedMs}, found.content.size() + 1);
    }
    found.tag = '"' + QByteArray::number(modifiedMs, 36) + '-' + QByteArray::number(info.size(), 36) +
                (found.encoding.isEmpty() ? "" : "-" + found.encoding) + '"';
    return found;
}

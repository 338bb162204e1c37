#pragma once

#include <QByteArray>
#include <QCache>
#include <QString>

#include <optional>

/// The panel's built files: the contents of one folder, and nothing outside it. A compressed form of a file
/// may be next to it, with ".br" or ".gz" appended to its name.
class Files
{
public:
    static constexpr int largestFileBytes = 16 * 1024 * 1024;

    struct File
    {
        QByteArray content;   ///< shared by all its readers
        QByteArray type;      ///< media type
        QByteArray encoding;  ///< "br", "gzip", or empty
        QByteArray tag;       ///< changes with the content and the encoding; for If-None-Match
        bool lasting = false; ///< its name changes with its content, so that it can be kept for ever
        bool varies = false;  ///< another encoding is there, too
    };

    explicit Files(const QString& folder);

    QString folder() const { return m_folder; }
    /// The file at a path below the folder, such as "/index.html", in the smallest of the encodings that an
    /// Accept-Encoding header accepts. Nothing if there is no regular file, or if its path leads out of the
    /// folder, for example through a link.
    std::optional<File> file(const QString& path, const QByteArray& acceptEncoding);

private:
    struct Kept
    {
        QByteArray content;
        qint64 modifiedMs;
    };

    QString m_folder;                               // canonical; empty where it is not there
    QCache<QString, Kept> m_kept{largestFileBytes}; // by file name
};

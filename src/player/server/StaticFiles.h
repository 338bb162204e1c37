#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// The panel's built files: what a folder holds, and nothing outside it. Any thread.
class StaticFiles
{
public:
    struct File
    {
        QByteArray content;
        QByteArray type; ///< media type
        QByteArray tag;  ///< changes with the content; for If-None-Match
        bool lasting;    ///< its name changes with its content, so that it can be kept for ever
    };

    explicit StaticFiles(const QString& folder);

    QString folder() const { return m_folder; }
    /// The file at a path below the folder, such as "/index.html". Nothing where there is no plain file, or
    /// where the way to it leads out of the folder, through a link say.
    std::optional<File> file(const QString& path) const;

private:
    QString m_folder; // canonical; empty where it is not there
};

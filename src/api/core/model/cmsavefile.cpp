#include "api/core/model/cmsavefile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// A file that replaces another survives a power cut once its folder is on disk too. Not every file system
/// can be asked; one that cannot is no failure.
void keepName(const QString& folder)
{
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace

bool cmSaveFile(const QString& fileName, const QByteArray& content, QFileDevice::Permissions permissions,
                QString* error)
{
    const QString folder = QFileInfo(fileName).absolutePath();
    QDir().mkpath(folder);
    QSaveFile file(fileName);
    // The permissions are set before anything is in the file, since it may hold a secret. Flushed before the
    // commit, which does not look at what comes of its own flush: on a full disk it would put an empty file
    // in the place of the old one.
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(permissions) ||
        file.write(content) != content.size() || !file.flush() || !file.commit()) {
        *error = file.errorString();
        return false;
    }
    keepName(folder);
    return true;
}

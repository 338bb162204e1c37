#include "api/core/model/cmsavefile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// A file that replaces another survives a power cut only after its folder has been synced too. Some file
/// systems do not support this, which is not an error.
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
    // The permissions are set before anything is written, because the file may contain a secret. It is
    // flushed before the commit, which ignores errors of its own flush: on a full disk it would replace the
    // old file with an empty one.
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(permissions) ||
        file.write(content) != content.size() || !file.flush() || !file.commit()) {
        *error = file.errorString();
        return false;
    }
    keepName(folder);
    return true;
}

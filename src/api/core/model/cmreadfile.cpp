#include "api/core/model/cmreadfile.h"

#include <QFile>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool isRegular(const struct stat& status, QString* error)
{
    if (S_ISREG(status.st_mode))
        return true;
    *error = S_ISDIR(status.st_mode) ? QStringLiteral("it is a folder")
                                     : QStringLiteral("it is not a regular file");
    return false;
}

} // namespace

CMReadFile cmReadFile(const QString& fileName, qint64 mostBytes, QByteArray* content, QString* error)
{
    const QByteArray name = QFile::encodeName(fileName);
    struct stat status = {};
    if (::stat(name.constData(), &status) != 0) {
        const bool isMissing = errno == ENOENT || errno == ENOTDIR;
        *error = systemError();
        // A dangling link exists, although its target does not.
        return isMissing && ::lstat(name.constData(), &status) != 0 ? CMReadFile::Missing
                                                                    : CMReadFile::Failed;
    }
    // Checked before opening, because opening some devices has effects, and again afterwards, because the
    // file may have been replaced.
    if (!isRegular(status, error))
        return CMReadFile::Failed;
    const int descriptor = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    QFile file;
    if (descriptor < 0 || !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        *error = systemError();
        return CMReadFile::Failed;
    }
    if (::fstat(descriptor, &status) != 0 || !isRegular(status, error))
        return CMReadFile::Failed;
    if (status.st_size > mostBytes) {
        *error = QStringLiteral("it is larger than %1 MiB").arg(mostBytes / (1024 * 1024));
        return CMReadFile::Failed;
    }
    // The file may grow in the meantime.
    *content = file.read(mostBytes + 1);
    if (content->size() > mostBytes || file.error() != QFileDevice::NoError) {
        *error = file.error() == QFileDevice::NoError ? QStringLiteral("it grows while it is read")
                                                      : file.errorString();
        return CMReadFile::Failed;
    }
    return CMReadFile::Done;
}

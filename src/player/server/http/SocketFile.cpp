#include "player/server/http/SocketFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <unistd.h>

namespace {

constexpr int backlog = 128;
constexpr mode_t ownerOnly = 0600;
constexpr mode_t ownerAndGroup = 0660;
constexpr mode_t folderOfOwner = 0700;
constexpr mode_t folderOfGroup = 0750;

QString chooseAnother()
{
    return QStringLiteral("--socket FILE names another one");
}

class Address
{
public:
    Address(const QString& fileName, int folder)
    {
        m_address.sun_family = AF_UNIX;
        const QByteArray name = SocketFile::shortName(fileName, folder);
        m_fits = size_t(name.size()) < sizeof m_address.sun_path;
        std::strncpy(m_address.sun_path, name.constData(), sizeof m_address.sun_path - 1);
    }
    bool fits() const { return m_fits; }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&m_address); }
    socklen_t size() const { return sizeof m_address; }

private:
    sockaddr_un m_address{};
    bool m_fits = false;
};

/// The id of a group; -1 if there is none with that name.
int groupId(const QString& name)
{
    const group* const found = ::getgrnam(name.toUtf8().constData());
    return found ? int(found->gr_gid) : -1;
}

} // namespace

SocketFile::~SocketFile()
{
    if (m_socket >= 0)
        ::close(m_socket);
    struct stat found
    {
    };
    const QByteArray name = QFile::encodeName(m_fileName);
    if (m_inode != 0 && ::lstat(name.constData(), &found) == 0 && found.st_ino == m_inode)
        ::unlink(name.constData());
}

bool SocketFile::open(const QString& fileName, const QString& group, QString* error)
{
    const int gid = group.isEmpty() ? -1 : groupId(group);
    if (!group.isEmpty() && gid < 0) {
        *error = QStringLiteral("There is no group \"%1\" for the socket file.").arg(group);
        return false;
    }
    const QByteArray folderName = QFile::encodeName(QFileInfo(fileName).path());
    if (::mkdir(folderName.constData(), gid < 0 ? folderOfOwner : folderOfGroup) == 0 && gid >= 0 &&
        ::chown(folderName.constData(), uid_t(-1), gid_t(gid)) != 0) {
        *error = QStringLiteral("%1 cannot be given to the group \"%2\": %3.")
                     .arg(QFileInfo(fileName).path(), group, qt_error_string(errno));
        return false;
    }
    const int folder = openFolder(fileName);
    if (folder < 0) {
        *error = errno == ENOENT || errno == ENOTDIR
                     ? QStringLiteral("Cannot create the socket file %1: its folder does not exist. Check "
                                      "XDG_RUNTIME_DIR. %2.")
                           .arg(fileName, chooseAnother())
                     : QStringLiteral("Cannot create the socket file %1: %2. %3.")
                           .arg(fileName, qt_error_string(errno), chooseAnother());
        return false;
    }
    ::flock(folder, LOCK_EX); // another player may be about to replace the same file
    const bool isOpen = makeRoom(fileName, error) && bind(folder, fileName, gid, error);
    ::close(folder);
    return isOpen;
}

bool SocketFile::makeRoom(const QString& fileName, QString* error)
{
    struct stat found
    {
    };
    const QByteArray name = QFile::encodeName(fileName);
    if (::lstat(name.constData(), &found) != 0)
        return true;
    if (found.st_uid != ::geteuid()) {
        *error = QStringLiteral("The socket file %1 belongs to another user. Remove it; or %2.")
                     .arg(fileName, chooseAnother());
        return false;
    }
    if (!S_ISSOCK(found.st_mode)) {
        *error =
            QStringLiteral("%1 exists but is not a socket. Remove it; or %2.").arg(fileName, chooseAnother());
        return false;
    }
    const int connection = connect(fileName);
    if (connection >= 0 || (errno != ECONNREFUSED && errno != ENOENT)) {
        if (connection >= 0)
            ::close(connection);
        *error =
            QStringLiteral("Another player listens at %1. End it; or %2.").arg(fileName, chooseAnother());
        return false;
    }
    if (::unlink(name.constData()) == 0 || errno == ENOENT)
        return true;
    *error = QStringLiteral("The socket file %1 of an earlier player cannot be replaced: %2.")
                 .arg(fileName, qt_error_string(errno));
    return false;
}

bool SocketFile::bind(int folder, const QString& fileName, int group, QString* error)
{
    const Address address(fileName, folder);
    const QByteArray name = QFile::encodeName(fileName);
    m_socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    struct stat made
    {
    };
    // The file has the mode of the socket, so at no time may others use it.
    if (m_socket < 0 || !address.fits() || ::fchmod(m_socket, ownerOnly) != 0 ||
        ::bind(m_socket, address.get(), address.size()) != 0 || ::lstat(name.constData(), &made) != 0) {
        *error = QStringLiteral("Cannot create the socket file %1: %2. %3.")
                     .arg(fileName, qt_error_string(errno), chooseAnother());
        return false;
    }
    m_fileName = fileName;
    m_inode = made.st_ino;
    if (group >= 0 && (::chown(name.constData(), uid_t(-1), gid_t(group)) != 0 ||
                       ::chmod(name.constData(), ownerAndGroup) != 0)) {
        *error = QStringLiteral("The socket file %1 cannot be given to its group: %2.")
                     .arg(fileName, qt_error_string(errno));
        return false;
    }
    if (::listen(m_socket, backlog) == 0)
        return true;
    *error = QStringLiteral("Cannot listen at %1: %2.").arg(fileName, qt_error_string(errno));
    return false;
}

int SocketFile::takeSocket()
{
    const int socket = m_socket;
    m_socket = -1;
    return socket;
}

int SocketFile::connect(const QString& fileName)
{
    const int folder = openFolder(fileName);
    const Address address(fileName, folder);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int error = address.fits() ? 0 : ENAMETOOLONG;
    if (error == 0 && ::connect(socket, address.get(), address.size()) != 0)
        error = errno;
    if (folder >= 0)
        ::close(folder);
    if (error == 0)
        return socket;
    ::close(socket);
    errno = error;
    return -1;
}

QString SocketFile::defaultFile(const QString& stateFolder)
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QString folder = QDir::isAbsolutePath(runtime) ? runtime + QStringLiteral("/pelk") : stateFolder;
    return QDir::cleanPath(folder) + QStringLiteral("/player.sock");
}

QString SocketFile::systemFile()
{
    return QStringLiteral("/run/pelk/player.sock");
}

int SocketFile::openFolder(const QString& fileName)
{
    return ::open(QFile::encodeName(QFileInfo(fileName).path()).constData(),
                  O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

QByteArray SocketFile::shortName(const QString& fileName, int folder)
{
    const QByteArray name = QFile::encodeName(fileName);
    if (size_t(name.size()) < sizeof sockaddr_un::sun_path)
        return name;
    return QByteArray("/proc/self/fd/") + QByteArray::number(folder) + '/' +
           QFile::encodeName(QFileInfo(fileName).fileName());
}

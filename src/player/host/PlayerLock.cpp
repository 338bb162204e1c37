#include "player/host/PlayerLock.h"

#include <QDir>
#include <QFile>
#include <QThread>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int longestBytes = 16 * 1024;
/// How long a process may take from its lock to its number; far more than it needs.
constexpr int patienceMs = 2000;
constexpr int pauseMs = 5;

QByteArray fileOf(const QString& folder)
{
    return QFile::encodeName(folder + QStringLiteral("/player.lock"));
}

/// A lock of the open file: unlike flock(), it can be tested without taking it; see ADR 160.
struct flock wholeFile()
{
    struct flock lock
    {
    };
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

bool isHeld(int file)
{
    struct flock lock = wholeFile();
    return ::fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

PlayerLock::Holder read(int file)
{
    std::array<char, longestBytes> bytes{};
    const ssize_t got = ::pread(file, bytes.data(), bytes.size(), 0);
    const QStringList lines =
        QString::fromUtf8(bytes.data(), int(qMax<ssize_t>(got, 0))).split(QLatin1Char('\n'));
    return {lines.value(0).toLongLong(), lines.value(1), lines.value(2)};
}

/// The data that the holder of the lock has published, if any.
std::optional<PlayerLock::Holder> holderOf(int file)
{
    for (int waited = 0; isHeld(file); waited += pauseMs) {
        const PlayerLock::Holder holder = read(file);
        if (holder.processId > 0 || waited >= patienceMs)
            return holder;
        QThread::msleep(pauseMs);
    }
    return std::nullopt;
}

} // namespace

QString PlayerLock::Holder::toString() const
{
    const QString process =
        processId > 0 ? QStringLiteral("process %1").arg(processId) : QStringLiteral("another process");
    if (!address.isEmpty())
        return QStringLiteral("%1 at %2").arg(process, address);
    return QStringLiteral("%1, which is starting").arg(process);
}

PlayerLock::PlayerLock(const QString& stateFolder)
    : m_folder(stateFolder)
{
}

PlayerLock::~PlayerLock()
{
    if (m_file < 0)
        return;
    if (::ftruncate(m_file, 0) != 0) {
        // The contents are valid only while the lock is held.
    }
    ::close(m_file);
}

PlayerLock::Outcome PlayerLock::take(QString* sentence)
{
    QDir().mkpath(m_folder);
    m_file = ::open(fileOf(m_folder).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_file < 0) {
        *sentence =
            QStringLiteral(
                "Cannot lock %1: %2. Two players with this folder would overwrite each other's state.")
                .arg(m_folder, qt_error_string(errno));
        return Outcome::Unusable;
    }
    struct flock lock = wholeFile();
    // Until one of the two is certain: the other player may end meanwhile.
    while (::fcntl(m_file, F_OFD_SETLK, &lock) != 0) {
        const int error = errno;
        const std::optional<Holder> other =
            error == EAGAIN || error == EACCES ? holderOf(m_file) : std::optional<Holder>(Holder());
        if (!other)
            continue;
        ::close(m_file);
        m_file = -1;
        const bool isHeldByOther = error == EAGAIN || error == EACCES;
        *sentence = isHeldByOther
                        ? QStringLiteral("A player with the state folder %1 is running already: %2.")
                              .arg(m_folder, other->toString())
                        : QStringLiteral("Cannot lock %1: %2.").arg(m_folder, qt_error_string(error));
        return isHeldByOther ? Outcome::Held : Outcome::Unusable;
    }
    write({qint64(::getpid()), QString(), QString()});
    return Outcome::Taken;
}

void PlayerLock::publish(const QString& socketFile, const QString& address)
{
    if (m_file >= 0)
        write({qint64(::getpid()), socketFile, address});
}

std::optional<PlayerLock::Holder> PlayerLock::holder(const QString& stateFolder)
{
    const int file = ::open(fileOf(stateFolder).constData(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return std::nullopt;
    const std::optional<Holder> found = holderOf(file);
    ::close(file);
    return found;
}

void PlayerLock::write(const Holder& holder) const
{
    const QByteArray text = QStringLiteral("%1\n%2\n%3\n")
                                .arg(QString::number(holder.processId), holder.socketFile, holder.address)
                                .toUtf8();
    // In this order, so that a reader may see old lines after the new ones but never a partial line.
    if (::pwrite(m_file, text.constData(), size_t(text.size()), 0) != text.size() ||
        ::ftruncate(m_file, text.size()) != 0)
        return; // the disk is full: the lock holds all the same
}

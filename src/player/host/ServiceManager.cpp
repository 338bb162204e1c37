#include "player/host/ServiceManager.h"

#include <sys/stat.h>
#include <systemd/sd-daemon.h>

#include <unistd.h>

void ServiceManager::ready(const QString& status)
{
    ::sd_notify(0, QStringLiteral("READY=1\nSTATUS=%1").arg(status).toUtf8().constData());
    uint64_t limitUs = 0;
    if (::sd_watchdog_enabled(0, &limitUs) <= 0)
        return;
    m_alive.callOnTimeout([] { ::sd_notify(0, "WATCHDOG=1"); });
    m_alive.start(std::chrono::milliseconds(limitUs / 1000 / 2));
}

void ServiceManager::stopping()
{
    ::sd_notify(0, "STOPPING=1");
}

bool ServiceManager::isJournal()
{
    // The journal's stream is named by its device and inode: programs that redirect the output keep the
    // variable.
    struct stat standardError
    {
    };
    return ::fstat(STDERR_FILENO, &standardError) == 0 &&
           qgetenv("JOURNAL_STREAM") == QByteArray::number(quint64(standardError.st_dev)) + ':' +
                                            QByteArray::number(quint64(standardError.st_ino));
}

QString ServiceManager::journalPrefix(int level)
{
    return isJournal() ? QStringLiteral("<%1>").arg(level) : QString();
}

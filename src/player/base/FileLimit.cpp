#include "player/base/FileLimit.h"

#include <QDir>
#include <sys/resource.h>

namespace {

/// A stream needs about twenty descriptors; reserve as many for new connections.
constexpr int filesForStream = 48;

} // namespace

void FileLimit::raise()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == limit.rlim_max)
        return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

bool FileLimit::hasRoomForStream(QString* error)
{
    rlimit limit{};
    const uint open = QDir(QStringLiteral("/proc/self/fd")).count();
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || open + filesForStream <= limit.rlim_cur)
        return true;
    *error = QStringLiteral("The player has %1 files open and may have %2: too few are left for a stream. "
                            "Raise the limit (ulimit -n) or restart the player.")
                 .arg(open)
                 .arg(limit.rlim_cur);
    return false;
}

#include "tests/load/resourceuse.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <malloc.h>
#include <string>
#include <system_error>

namespace {

/// The sum of these lines of the kernel's account of this process's memory. (The figures in "status" are only
/// near the truth while several processors count; these are exact.)
qint64 kilobytes(std::initializer_list<const char*> names)
{
    std::ifstream sums("/proc/self/smaps_rollup");
    if (!sums)
        qFatal("cannot read /proc/self/smaps_rollup");
    qint64 sum = 0;
    std::string word;
    while (sums >> word) {
        qint64 value = 0;
        if (std::find(names.begin(), names.end(), word) != names.end() && sums >> value)
            sum += value;
    }
    return sum;
}

} // namespace

ResourceUse ResourceUse::now()
{
    ResourceUse use;
    use.residentKb = kilobytes({"Rss:"});
    malloc_trim(0);
    use.ownKb = kilobytes({"Anonymous:", "Swap:"});
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
        // The folder that is read here is open as well.
        if (target.rfind("socket:", 0) == 0)
            ++use.sockets;
        else if (!gone && target.find("/fd") == std::string::npos)
            ++use.otherDescriptors;
    }
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        ++use.threads;
    return use;
}

#include "tests/load/resourceuse.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

ResourceUse ResourceUse::now()
{
    ResourceUse use;
    // The sums in "status" are only near the truth while several processors count; these are exact.
    std::ifstream sums("/proc/self/smaps_rollup");
    if (!sums)
        qFatal("cannot read /proc/self/smaps_rollup");
    std::string word;
    while (sums >> word) {
        qint64 value = 0;
        if ((word == "Anonymous:" || word == "Swap:") && sums >> value)
            use.ownKb += value;
        else if (word == "Rss:" && sums >> value)
            use.residentKb = value;
    }
    sums.close();
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

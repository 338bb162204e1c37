#pragma once

#include <QtGlobal>

#include <fstream>
#include <string>

/// The resident memory of this process in KiB ("Rss" of /proc/self/smaps_rollup), including the pages of
/// shared libraries that it has touched. Free memory is not returned to the system first.
inline long residentKib()
{
    std::ifstream sums("/proc/self/smaps_rollup");
    std::string word;
    long value = 0;
    while (sums >> word) {
        if (word == "Rss:" && sums >> value)
            return value;
    }
    qFatal("/proc/self/smaps_rollup cannot be read");
}

#pragma once

#include <QtGlobal>

#include <fstream>
#include <string>

/// How many KiB of this process are resident ("Rss" of /proc/self/smaps_rollup): pages of shared libraries
/// that it has touched count like its own. Nothing is given back before.
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

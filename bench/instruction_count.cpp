// For callgrind: makes a page's rows, and lets it count from the body to the reply. Usage: instruction_count
// albums|tracks. Prints on what the counts depend.

#include "bench/conversion.h"

#include <QCoreApplication>
#include <gnu/libc-version.h>
#include <log4cplus/version.h>
#include <valgrind/callgrind.h>

#include <cstdio>
#include <simdjson.h>

namespace {

/// Pages, after others that have warmed everything up.
constexpr int pages = 4;

/// simdjson takes what the processor can do best, which differs from machine to machine.
std::string pinnedImplementation()
{
    for (const auto* implementation : simdjson::get_available_implementations()) {
        if (implementation->name() == "haswell" && implementation->supported_by_runtime_system())
            simdjson::get_active_implementation() = implementation;
    }
    return simdjson::get_active_implementation()->name();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const std::string implementation = pinnedImplementation();
#ifdef __clang__
    const std::string compiler = "Clang " + std::to_string(__clang_major__);
#else
    const std::string compiler = "GCC " __VERSION__;
#endif
    std::printf("%s, Qt %s, simdjson %d.%d.%d %s, log4cplus %s, glibc %s\n", compiler.c_str(), qVersion(),
                simdjson::SIMDJSON_VERSION_MAJOR, simdjson::SIMDJSON_VERSION_MINOR,
                simdjson::SIMDJSON_VERSION_REVISION, implementation.c_str(), LOG4CPLUS_VERSION_STR,
                gnu_get_libc_version());

    const QStringList arguments = QCoreApplication::arguments();
    Conversion conversion(arguments.value(1) == QLatin1String("tracks") ? Page::tracks500()
                                                                        : Page::albums50());
    for (int page = 0; page < 2 * pages; ++page) {
        conversion.ask();
        if (page >= pages)
            CALLGRIND_START_INSTRUMENTATION;
        conversion.answer();
        CALLGRIND_STOP_INSTRUMENTATION;
        conversion.check();
    }
    std::printf("%d pages\n", pages);
    return 0;
}

#pragma once

#include <cstdarg>
#include <cstdio>

/// Prints what a test has measured or counted, in one line: ./test shows these lines of all tests.
[[gnu::format(printf, 1, 2)]] inline void printFigures(const char* format, ...)
{
    std::va_list values;
    va_start(values, format);
    std::fputs("figures: ", stdout);
    std::vprintf(format, values);
    std::fputs("\n", stdout);
    std::fflush(stdout);
    va_end(values);
}

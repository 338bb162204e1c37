#pragma once

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

/// The function of Qt that one of this library's stands before, by its symbol. A Qt that has none ends the
/// program: its calls would go unseen.
template <typename Function>
Function next(const char* symbol)
{
    void* const address = dlsym(RTLD_NEXT, symbol);
    if (!address) {
        std::fprintf(stderr, "qtraces: this Qt has no %s\n", symbol);
        std::abort();
    }
    return reinterpret_cast<Function>(address);
}

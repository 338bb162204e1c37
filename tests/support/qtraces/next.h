#pragma once

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

/// The function of Qt that a function of this library replaces, by its symbol. If Qt has no such function,
/// the program ends, because calls would be missed.
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

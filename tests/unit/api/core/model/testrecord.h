#pragma once

#include "api/types/pelkhash.h"

#include <QMetaType>

#include <atomic>

/// A value that counts how many of its kind are alive.
struct Counted
{
    Counted() { ++alive(); }
    Counted(const Counted& other)
        : number(other.number)
    {
        ++alive();
    }
    Counted& operator=(const Counted& other) = default;
    ~Counted() { --alive(); }

    static std::atomic<int>& alive()
    {
        static std::atomic<int> count{0};
        return count;
    }

    int number = 0;
};

Q_DECLARE_METATYPE(Counted)

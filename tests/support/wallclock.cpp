#include "tests/support/wallclock.h"

#include <QtGlobal>

#include <atomic>

namespace {

std::atomic<std::time_t> secondsNow{WallClock::standardSeconds};
std::atomic<int> step{0};

} // namespace

void WallClock::set(std::time_t seconds)
{
    step = 0;
    secondsNow = seconds;
}

void WallClock::advanceWithEachReading()
{
    step = 1;
}

// The module uses this function instead of the C library's, because symbols are looked up in the program
// first.
extern "C" Q_DECL_EXPORT std::time_t time(std::time_t* result) noexcept
{
    const std::time_t seconds = secondsNow.fetch_add(step);
    if (result)
        *result = seconds;
    return seconds;
}

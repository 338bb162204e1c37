#pragma once

#include <ctime>

/// The time of day that time() returns to everything in this program, including the module: it stands still,
/// at `standardSeconds` unless it is set.
namespace WallClock {

constexpr std::time_t standardSeconds = 1700000000;

/// From now on time() returns this.
void set(std::time_t seconds);
/// From now on every call of time() returns one second more than the previous one.
void advanceWithEachReading();

} // namespace WallClock

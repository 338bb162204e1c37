#pragma once

#include <ctime>

/// The time of day as time() tells it to everything in this program, the module included: it stands still, at
/// `standardSeconds` unless it is set.
namespace WallClock {

constexpr std::time_t standardSeconds = 1700000000;

/// From now on time() tells this.
void set(std::time_t seconds);
/// From now on every call of time() tells one second more than the one before.
void advanceWithEachReading();

} // namespace WallClock

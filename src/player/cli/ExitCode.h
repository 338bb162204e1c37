#pragma once

/// The program's exit codes. Scripts rely on them; docs/command-line.md documents them.
namespace ExitCode {

constexpr int ok = 0;
/// The operation failed: the service refused it, the network is down, a file cannot be written.
constexpr int failed = 1;
/// Wrong usage: an unknown option, a malformed path, an empty range.
constexpr int usage = 2;
/// The settings are missing or wrong, or no module could be loaded.
constexpr int notSetUp = 3;
/// Nobody is logged in.
constexpr int notLoggedIn = 4;
/// A running player is required, and none is running.
constexpr int noPlayer = 5;
/// Added to the number of the signal that ended a command.
constexpr int signalBase = 128;

} // namespace ExitCode

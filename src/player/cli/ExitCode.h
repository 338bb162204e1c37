#pragma once

/// What the program tells the shell; documented in docs/command-line.md, since scripts rely on it.
namespace ExitCode {

constexpr int ok = 0;
/// The operation failed: the service refused it, the network is down, a file cannot be written.
constexpr int failed = 1;
/// Wrong usage: an unknown option, a malformed path, a range that is none.
constexpr int usage = 2;
/// The settings are missing or wrong, or no module could be loaded.
constexpr int notSetUp = 3;
/// Nobody is logged in.
constexpr int notLoggedIn = 4;
/// What only a running player does, and none runs.
constexpr int noPlayer = 5;
/// Added to the number of the signal that ended a command.
constexpr int signalBase = 128;

} // namespace ExitCode

#pragma once

class Host;
struct CommandLine;

/// The commands. Each runs on the main thread with the event loop, blocks until it is done and returns the
/// exit code; what went wrong is told on standard error. They need loaded modules, quality() but settings.
namespace Commands {

int login(const Host& host, const CommandLine& line);
int logout(const Host& host);
int status(const Host& host);
int quality(const CommandLine& line);
int modules(const Host& host);

// These need neither settings nor modules.
int password();
int addToken(const CommandLine& line);
int listTokens();
int removeToken(const CommandLine& line);

int rows(const CommandLine& line);
int search(const CommandLine& line);

} // namespace Commands

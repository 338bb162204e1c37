#pragma once

#include <QString>

class CMPath;
class CommandLine;
class PlayerConnection;
struct PlayerAnswer;

/// The commands that use a player, running or in this process. Each blocks until it is done and returns the
/// exit code; errors are reported on standard error. A check returns a sentence about invalid arguments,
/// otherwise nothing.
namespace Commands {

int login(const CommandLine& line, PlayerConnection& player);
QString checkLogin(const CommandLine& line);
int logout(const CommandLine& line, PlayerConnection& player);
int status(const CommandLine& line, PlayerConnection& player);
int quality(const CommandLine& line, PlayerConnection& player);
int modules(const CommandLine& line, PlayerConnection& player);

// These need neither a player nor settings.
int password(const CommandLine& line, PlayerConnection& player);
int addToken(const CommandLine& line, PlayerConnection& player);
int listTokens(const CommandLine& line, PlayerConnection& player);
int removeToken(const CommandLine& line, PlayerConnection& player);

int rows(const CommandLine& line, PlayerConnection& player);
QString checkRows(const CommandLine& line);
int search(const CommandLine& line, PlayerConnection& player);
QString checkSearch(const CommandLine& line);

int play(const CommandLine& line, PlayerConnection& player);
int pause(const CommandLine& line, PlayerConnection& player);
int resume(const CommandLine& line, PlayerConnection& player);
int toggle(const CommandLine& line, PlayerConnection& player);
int stop(const CommandLine& line, PlayerConnection& player);
int next(const CommandLine& line, PlayerConnection& player);
int previous(const CommandLine& line, PlayerConnection& player);
int seek(const CommandLine& line, PlayerConnection& player);
QString checkSeek(const CommandLine& line);
int volume(const CommandLine& line, PlayerConnection& player);
QString checkVolume(const CommandLine& line);
int sleep(const CommandLine& line, PlayerConnection& player);
QString checkSleep(const CommandLine& line);
int now(const CommandLine& line, PlayerConnection& player);
int history(const CommandLine& line, PlayerConnection& player);
int historyClear(const CommandLine& line, PlayerConnection& player);

int queue(const CommandLine& line, PlayerConnection& player);
int queueAdd(const CommandLine& line, PlayerConnection& player);
int queueNext(const CommandLine& line, PlayerConnection& player);
int queueRemove(const CommandLine& line, PlayerConnection& player);
QString checkQueueRemove(const CommandLine& line);
int queueMove(const CommandLine& line, PlayerConnection& player);
int queueClear(const CommandLine& line, PlayerConnection& player);
int queueUndo(const CommandLine& line, PlayerConnection& player);
int queueShuffle(const CommandLine& line, PlayerConnection& player);
int queueRepeat(const CommandLine& line, PlayerConnection& player);

int completions(const CommandLine& line, PlayerConnection& player);
/// Answers the scripts that completions() prints.
int complete(const CommandLine& line, PlayerConnection& player);

/// Reports why a request failed; the exit code.
int failure(const PlayerAnswer& answer);
/// The same for a request with a path, which may fail because nobody is logged in.
int failure(const QString& sentence, const QString& path, PlayerConnection& player);
/// The exit code of a failure that was reported, with a hint where a login is what lacks.
int failureAbout(const QString& path, PlayerConnection& player);
/// The exit code of a request that prints nothing.
int outcome(const PlayerAnswer& answer);

} // namespace Commands

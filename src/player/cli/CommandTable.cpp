#include "player/cli/CommandTable.h"

#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ServeCommand.h"
#include "player/cli/Target.h"
#include "player/host/Logging.h"
#include "player/host/ServiceAccount.h"

#include <algorithm>
#include <limits>

namespace {

using Kind = Parameter::Kind;
using Doer = Command::Doer;

constexpr int mostRows = std::numeric_limits<int>::max();
constexpr int longestPlaySeconds = 24 * 3600;

Parameter target(const char* name, const char* summary, bool required)
{
    return {name, summary, Kind::Target, required, true};
}

Parameter number(const char* name, const char* summary, int least, int most)
{
    return {name, summary, Kind::Whole, false, false, "N", least, most};
}

Parameter choice(const char* name, const char* summary, const QStringList& choices, bool required = false)
{
    return {name, summary, Kind::Choice, required, false, "", 0, 0, choices};
}

/// A text that is often one of these words.
Parameter textOr(const char* name, const char* summary, const QStringList& words)
{
    return {name, summary, Kind::Text, false, false, "", 0, 0, words};
}

Parameter flag(const char* name, const char* summary)
{
    return {name, summary, Kind::Flag};
}

QVector<Command> accountCommands()
{
    return {
        {"login",
         "Log in; prompts for the password",
         Doer::AnyPlayer,
         Commands::login,
         {{"USER", "Login name", Kind::Text, true},
          flag("--password-stdin", "Read the password from standard input")},
         Commands::checkLogin},
        {"logout", "Log out and forget the account", Doer::AnyPlayer, Commands::logout},
        {"status", "Show the account, the player and the files in use", Doer::AnyPlayer, Commands::status},
        {"quality",
         "Show or set the sound quality",
         Doer::AnyPlayer,
         Commands::quality,
         {choice("VALUE", "mp3, cd, hires96 or hires192", ServiceAccount::qualities())}},
        {"modules", "List the modules and their load errors", Doer::AnyPlayer, Commands::modules},
    };
}

QVector<Command> browseCommands()
{
    return {
        {"rows",
         "Show the rows of a container",
         Doer::AnyPlayer,
         Commands::rows,
         {target("PATH", "Path or title; default: the modules' roots", false),
          number("--from", "First row; default: 0, the first one", 0, mostRows),
          number("--to", "Last row, inclusive; default: 50 rows", 0, mostRows),
          flag("--json", "Print the rows as JSON")},
         Commands::checkRows},
        {"search",
         "Search, and show the first rows of each kind",
         Doer::AnyPlayer,
         Commands::search,
         {{"TEXT", "Search text", Kind::Text, true}},
         Commands::checkSearch},
    };
}

QVector<Command> playCommands()
{
    return {
        {"play",
         "Play a track, or the tracks of a container",
         Doer::AnyPlayer,
         Commands::play,
         {target("PATH", "Path or title: [album|artist|playlist|track] TITLE", true),
          flag("--here", "Play in this process, beside a running player"),
          {"--seconds", "Stop after N seconds of sound (in this process)", Kind::Whole, false, false, "N", 1,
           longestPlaySeconds},
          {"--to", "Write a WAV file in real time", Kind::File, false, false, "FILE.wav"}},
         Target::check},
        {"pause", "Pause", Doer::RunningPlayer, Commands::pause},
        {"resume", "Resume, or play the current entry", Doer::RunningPlayer, Commands::resume},
        {"toggle", "Pause or resume", Doer::RunningPlayer, Commands::toggle},
        {"stop", "Stop", Doer::RunningPlayer, Commands::stop},
        {"next", "Go to the next track", Doer::RunningPlayer, Commands::next},
        {"previous", "Go to the start of the track, or to the previous one", Doer::RunningPlayer,
         Commands::previous},
        {"seek",
         "Go to a time in the track, or forward or back",
         Doer::RunningPlayer,
         Commands::seek,
         {{"TIME", "90, 1:30 or 1:02:03; with + or -, relative", Kind::Text, true}},
         Commands::checkSeek},
        {"volume",
         "Show or set the volume",
         Doer::RunningPlayer,
         Commands::volume,
         {textOr("VALUE", "0 to 100, +N, -N, mute or unmute",
                 {QStringLiteral("mute"), QStringLiteral("unmute")})},
         Commands::checkVolume},
        {"sleep",
         "Show or set the sleep timer",
         Doer::RunningPlayer,
         Commands::sleep,
         {textOr("WHEN", "Minutes; track or queue: at its end; or off",
                 {QStringLiteral("track"), QStringLiteral("queue"), QStringLiteral("off")})},
         Commands::checkSleep},
        {"now",
         "Show the current track",
         Doer::RunningPlayer,
         Commands::now,
         {flag("--json", "Print everything as JSON"),
          flag("--follow", "Print each change, until interrupted")}},
        {"history",
         "Show recently played tracks",
         Doer::RunningPlayer,
         Commands::history,
         {flag("--json", "Print everything as JSON")}},
        {"history clear", "Clear the recently played tracks", Doer::RunningPlayer, Commands::historyClear},
    };
}

QVector<Command> queueCommands()
{
    const Parameter what = target("PATH", "Path or title: [album|artist|playlist|track] TITLE", true);
    return {
        {"queue",
         "Show the queue, or change it",
         Doer::RunningPlayer,
         Commands::queue,
         {flag("--json", "Print everything as JSON")}},
        {"queue add",
         "Add to the end of the queue",
         Doer::RunningPlayer,
         Commands::queueAdd,
         {what},
         Target::check},
        {"queue next",
         "Add after the current track",
         Doer::RunningPlayer,
         Commands::queueNext,
         {what},
         Target::check},
        {"queue remove",
         "Remove entries",
         Doer::RunningPlayer,
         Commands::queueRemove,
         {{"N", "Entry numbers as shown by queue: 3, or 5-9", Kind::Text, true, true}},
         Commands::checkQueueRemove},
        {"queue move",
         "Move an entry",
         Doer::RunningPlayer,
         Commands::queueMove,
         {{"FROM", "Number of the entry", Kind::Whole, true, false, "", 1, mostRows},
          {"TO", "New number of the entry", Kind::Whole, true, false, "", 1, mostRows}}},
        {"queue clear", "Remove all entries", Doer::RunningPlayer, Commands::queueClear},
        {"queue undo", "Restore the entries removed last", Doer::RunningPlayer, Commands::queueUndo},
        {"queue shuffle",
         "Show or set shuffle",
         Doer::RunningPlayer,
         Commands::queueShuffle,
         {choice("MODE", "on or off", {QStringLiteral("on"), QStringLiteral("off")})}},
        {"queue repeat",
         "Show or set repeat",
         Doer::RunningPlayer,
         Commands::queueRepeat,
         {choice("MODE", "off, one or all",
                 {QStringLiteral("off"), QStringLiteral("one"), QStringLiteral("all")})}},
    };
}

QVector<Command> programCommands()
{
    const Parameter tokenName{"NAME", "Name of the token", Kind::Text, true};
    return {
        {"serve",
         "Run the player and its panel",
         Doer::ThisProcess,
         nullptr,
         {{"--listen", "Address to listen on; default: 127.0.0.1:8080", Kind::Text, false, false,
           "ADDR:PORT"},
          {"--panel", "Folder with the panel's files", Kind::Folder, false, false, "DIR"},
          {"--origin", "Origin of a proxy in front of the player", Kind::Text, false, false, "URL"},
          {"--socket-group", "Group that may also use the socket file", Kind::Text, false, false, "GROUP"},
          flag("--tls", "Encrypt with a certificate created by the player"),
          {"--tls-cert", "Encrypt with this PEM certificate", Kind::File, false, false, "FILE"},
          {"--tls-key", "Key of the certificate, in PEM", Kind::File, false, false, "FILE"},
          flag("--open", "Admit everybody without a password")},
         ServeCommand::check},
        {"password", "Set the password for other devices; prompts for it", Doer::Nobody, Commands::password},
        {"token", "Manage access for programs on other devices", Doer::Nobody, nullptr},
        {"token add",
         "Create a token and show it, only this once",
         Doer::Nobody,
         Commands::addToken,
         {tokenName, flag("--read-only", "Allow reading only")}},
        {"token list", "Show the names of the tokens", Doer::Nobody, Commands::listTokens},
        {"token remove", "Revoke a token", Doer::Nobody, Commands::removeToken, {tokenName}},
        {"completions",
         "Print the completions of a shell",
         Doer::Nobody,
         Commands::completions,
         {choice("SHELL", "bash, zsh or fish",
                 {QStringLiteral("bash"), QStringLiteral("zsh"), QStringLiteral("fish")}, true)}},
        {"complete",
         "Print completions of the last word",
         Doer::Nobody,
         Commands::complete,
         {{"WORD", "The words typed so far", Kind::Text, false, true}},
         nullptr,
         false},
    };
}

} // namespace

const QVector<Command>& commandTable()
{
    static const QVector<Command> table = [] {
        QVector<Command> all;
        const auto add = [&all](const char* group, const QVector<Command>& commands) {
            for (Command command : commands) {
                command.group = group;
                all.append(command);
            }
        };
        add("Playback", playCommands() + queueCommands());
        add("Browsing", browseCommands());
        add("Account and sound", accountCommands());
        add("Program", programCommands());
        return all;
    }();
    return table;
}

const QVector<Parameter>& commonParameters()
{
    static const QVector<Parameter> parameters{
        {"--config", "Settings file", Kind::File, false, false, "FILE"},
        {"--modules", "Folder with the modules", Kind::Folder, false, false, "DIR"},
        {"--socket", "Socket file of the player", Kind::File, false, false, "FILE"},
        {"--log-level", "off (default), error, warn, info, debug or trace", Kind::Choice, false, false,
         "LEVEL", 0, 0, Logging::levels()},
    };
    return parameters;
}

const Command* findCommand(const QString& name)
{
    const QVector<Command>& table = commandTable();
    const auto found = std::find_if(table.cbegin(), table.cend(),
                                    [&name](const Command& command) { return command.name() == name; });
    return found == table.cend() ? nullptr : &*found;
}

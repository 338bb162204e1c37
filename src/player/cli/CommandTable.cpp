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

Parameter number(const char* name, const char* summary, int least, int most, const char* usual = "")
{
    return {name, summary, Kind::Whole, false, false, "N", usual, least, most};
}

Parameter choice(const char* name, const char* summary, const QStringList& choices, bool required = false)
{
    return {name, summary, Kind::Choice, required, false, "", "", 0, 0, choices};
}

Parameter flag(const char* name, const char* summary)
{
    return {name, summary, Kind::Flag};
}

QVector<Command> accountCommands()
{
    return {
        {"login",
         "Log in; asks for the password",
         Doer::AnyPlayer,
         Commands::login,
         {{"USER", "Login name", Kind::Text, true},
          flag("--password-stdin", "Read the password from standard input")},
         Commands::checkLogin},
        {"logout", "Log out and forget the account", Doer::AnyPlayer, Commands::logout},
        {"status", "Show who is logged in; exit code 4: nobody", Doer::AnyPlayer, Commands::status},
        {"quality",
         "Show or choose the sound quality",
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
         {target("PATH", "Path or title; without: the modules' roots", false),
          number("--from", "First row, counted from 0", 0, mostRows, "0"),
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
          {"--seconds", "Stop after N seconds of sound (in this process)", Kind::Whole, false, false, "N", "",
           1, longestPlaySeconds},
          {"--to", "Write a WAV file in real time", Kind::File, false, false, "FILE.wav"}},
         Target::check},
        {"pause", "Pause", Doer::RunningPlayer, Commands::pause},
        {"resume", "Resume, or play the current entry", Doer::RunningPlayer, Commands::resume},
        {"toggle", "Pause or resume", Doer::RunningPlayer, Commands::toggle},
        {"stop", "Stop", Doer::RunningPlayer, Commands::stop},
        {"next", "Go to the next track", Doer::RunningPlayer, Commands::next},
        {"previous", "Go to the start of the track, or to the one before", Doer::RunningPlayer,
         Commands::previous},
        {"seek",
         "Go to a time of the track, or forward or back",
         Doer::RunningPlayer,
         Commands::seek,
         {{"TIME", "90, 1:30 or 1:02:03; with + or - from here", Kind::Text, true}},
         Commands::checkSeek},
        {"volume",
         "Show or set the volume",
         Doer::RunningPlayer,
         Commands::volume,
         {{"VALUE", "0 to 100, +N, -N, mute or unmute", Kind::Text}},
         Commands::checkVolume},
        {"now",
         "Show what plays",
         Doer::RunningPlayer,
         Commands::now,
         {flag("--json", "Print all that is known, for programs"),
          flag("--follow", "Print each change, until interrupted")}},
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
         {flag("--json", "Print all that is known, for programs")}},
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
         {{"N", "Numbers as queue shows them: 3, or 5-9", Kind::Text, true, true}},
         Commands::checkQueueRemove},
        {"queue move",
         "Move an entry to another place",
         Doer::RunningPlayer,
         Commands::queueMove,
         {{"FROM", "Number of the entry", Kind::Whole, true, false, "", "", 1, mostRows},
          {"TO", "Number that it gets", Kind::Whole, true, false, "", "", 1, mostRows}}},
        {"queue clear", "Remove all entries", Doer::RunningPlayer, Commands::queueClear},
        {"queue shuffle",
         "Show or set whether the queue is shuffled",
         Doer::RunningPlayer,
         Commands::queueShuffle,
         {choice("MODE", "on or off", {QStringLiteral("on"), QStringLiteral("off")})}},
        {"queue repeat",
         "Show or set what is repeated",
         Doer::RunningPlayer,
         Commands::queueRepeat,
         {choice("MODE", "off, one or all",
                 {QStringLiteral("off"), QStringLiteral("one"), QStringLiteral("all")})}},
    };
}

QVector<Command> programCommands()
{
    const Parameter tokenName{"NAME", "What the token is called", Kind::Text, true};
    return {
        {"serve",
         "Run the player, and show its panel to browsers",
         Doer::ThisProcess,
         nullptr,
         {{"--listen", "Where to listen; port 0 picks a free one", Kind::Text, false, false, "ADDR:PORT",
           "127.0.0.1:8080"},
          {"--panel", "Folder with the panel's files", Kind::Folder, false, false, "DIR"},
          {"--origin", "Origin of a proxy in front of the player", Kind::Text, false, false, "URL"},
          {"--socket-group", "Group that may also use the socket file", Kind::Text, false, false, "GROUP"},
          flag("--tls", "Encrypt, with a certificate that the player makes"),
          {"--tls-cert", "Encrypt, with this certificate in PEM", Kind::File, false, false, "FILE"},
          {"--tls-key", "The certificate's key in PEM", Kind::File, false, false, "FILE"},
          flag("--open", "Let everybody in who reaches it, without a password")},
         ServeCommand::check},
        {"password", "Set the password for other devices; asks for it", Doer::Nobody, Commands::password},
        {"token", "Let programs of other devices in", Doer::Nobody, nullptr},
        {"token add",
         "Make a token, and show it this once",
         Doer::Nobody,
         Commands::addToken,
         {tokenName, flag("--read-only", "It may see everything and change nothing")}},
        {"token list", "Show the names of the tokens", Doer::Nobody, Commands::listTokens},
        {"token remove", "Let a token in no longer", Doer::Nobody, Commands::removeToken, {tokenName}},
        {"completions",
         "Print the completions of a shell",
         Doer::Nobody,
         Commands::completions,
         {choice("SHELL", "bash, zsh or fish",
                 {QStringLiteral("bash"), QStringLiteral("zsh"), QStringLiteral("fish")}, true)}},
        {"complete",
         "Print what can stand in place of the last word",
         Doer::Nobody,
         Commands::complete,
         {{"WORD", "What was typed", Kind::Text, false, true}},
         nullptr,
         false},
    };
}

} // namespace

const QVector<Command>& commandTable()
{
    static const QVector<Command> table =
        playCommands() + queueCommands() + browseCommands() + accountCommands() + programCommands();
    return table;
}

const QVector<Parameter>& commonParameters()
{
    static const QVector<Parameter> parameters{
        {"--config", "Settings file", Kind::File, false, false, "FILE"},
        {"--modules", "Folder with the modules", Kind::Folder, false, false, "DIR"},
        {"--socket", "Socket file of the player", Kind::File, false, false, "FILE"},
        {"--log-level", "Log lines: off, error, warn, info, debug, trace", Kind::Choice, false, false,
         "LEVEL", "off", 0, 0, Logging::levels()},
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

#pragma once

#include <QStringList>
#include <QVector>

class CommandLine;
class PlayerConnection;

/// A parameter of a command: an option or a positional argument.
struct Parameter
{
    enum class Kind
    {
        Flag,   ///< an option without a value
        Text,   ///< anything
        Target, ///< a path of the content model, or a kind and a title
        File,
        Folder,
        Whole, ///< a number from `least` to `most`
        Choice ///< one of `choices`
    };
    const char* name;    ///< "--from" of an option, "USER" of an argument
    const char* summary; ///< a line of the help
    Kind kind = Kind::Text;
    bool required = false;
    bool many = false;      ///< takes all remaining words
    const char* value = ""; ///< the placeholder of an option's value: "N", "FILE"
    int least = 0;
    int most = 0;
    QStringList choices = {}; ///< of a Text: words that are completed, beside others that it may be

    bool isOption() const { return name[0] == '-'; }
};

/// A command of the program. The parser, the help and the shells' completions all use the table of commands.
struct Command
{
    /// Which process runs it.
    enum class Doer
    {
        RunningPlayer, ///< only the running player
        AnyPlayer,     ///< the running player, otherwise this process, with the modules
        ThisProcess,   ///< with the modules
        Nobody         ///< needs no player, but may ask the running one
    };
    /// Runs it and returns the exit code. Blocks; errors are reported on standard error.
    using Run = int (*)(const CommandLine& line, PlayerConnection& player);
    /// A sentence about invalid arguments; empty if they are valid.
    using Check = QString (*)(const CommandLine& line);

    const char* words; ///< "play"; "queue add" for a subcommand
    const char* summary;
    Doer doer;
    Run run; ///< null if main() runs it
    QVector<Parameter> parameters = {};
    Check check = nullptr;
    bool isShown = true;    ///< in the help
    const char* group = ""; ///< its heading in the help

    QString name() const { return QString::fromLatin1(words); }
};

/// Every command, in the order of the help.
const QVector<Command>& commandTable();
/// The options of every command.
const QVector<Parameter>& commonParameters();
/// The command with a name; null if there is none.
const Command* findCommand(const QString& name);

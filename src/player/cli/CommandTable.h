#pragma once

#include <QStringList>
#include <QVector>

class CommandLine;
class PlayerConnection;

/// What stands behind a command: an option or a positional argument.
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
    bool many = false;      ///< takes all words that come
    const char* value = ""; ///< what stands for the value of an option: "N", "FILE"
    const char* usual = ""; ///< the value without the option, where that is a constant
    int least = 0;
    int most = 0;
    QStringList choices = {};

    bool isOption() const { return name[0] == '-'; }
};

/// A command of the program. The table of all of them is the one place that says what there is: the command
/// line is read, and its help and the shells' completions are made, from it.
struct Command
{
    /// Who does it.
    enum class Doer
    {
        RunningPlayer, ///< nobody else can
        AnyPlayer,     ///< the running player; else this process, with the modules
        ThisProcess,   ///< with the modules
        Nobody         ///< no player is needed; the one that runs may be asked
    };
    /// Does it and returns the exit code. Blocks; what went wrong is reported on standard error.
    using Run = int (*)(const CommandLine& line, PlayerConnection& player);
    /// A sentence about what is wrong with the arguments; empty if nothing is.
    using Check = QString (*)(const CommandLine& line);

    const char* words; ///< "play"; "queue add" of a command with further ones
    const char* summary;
    Doer doer;
    Run run; ///< null where main() does it
    QVector<Parameter> parameters = {};
    Check check = nullptr;
    bool isShown = true; ///< in the help

    QString name() const { return QString::fromLatin1(words); }
};

/// Every command, in the order of the help.
const QVector<Command>& commandTable();
/// The options that go with every command.
const QVector<Parameter>& commonParameters();
/// The command of a name; null where there is none.
const Command* findCommand(const QString& name);

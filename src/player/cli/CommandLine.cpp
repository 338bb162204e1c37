#include "player/cli/CommandLine.h"

#include "player/cli/ExitCode.h"
#include "player/cli/Terminal.h"
#include "player/host/Host.h"

#include <CLI/CLI.hpp>

#include <map>

namespace {

const char* const footer = "Exit codes: 0 success; 1 failure; 2 invalid usage; 3 not set up;\n"
                           "4 not logged in; 5 no player is running; 130 interrupted.";
const char* const commonFooter =
    "All commands accept --config, --modules, --socket and --log-level: pelk --help\n";
constexpr int helpColumn = 28;

QString decoded(const std::string& bytes)
{
    return QString::fromUtf8(bytes.c_str(), int(bytes.size()));
}

QString keyOf(const Parameter& parameter)
{
    const QString name = QString::fromLatin1(parameter.name);
    return parameter.isOption() ? name.mid(2) : name;
}

/// A check with a sentence for people.
CLI::Validator checkOf(const Parameter& parameter)
{
    return CLI::Validator(
        [parameter](const std::string& word) {
            const QString text = decoded(word);
            bool isNumber = false;
            const int number = text.toInt(&isNumber);
            QString wrong;
            if (parameter.kind == Parameter::Kind::Choice && !parameter.choices.contains(text))
                wrong = QStringLiteral("\"%1\" is not one of: %2")
                            .arg(text, parameter.choices.join(QLatin1String(", ")));
            else if (parameter.kind == Parameter::Kind::Whole &&
                     !(isNumber && number >= parameter.least && number <= parameter.most))
                wrong = QStringLiteral("\"%1\" is not a whole number from %2 to %3")
                            .arg(text)
                            .arg(parameter.least)
                            .arg(parameter.most);
            return wrong.toStdString();
        },
        "");
}

using Values = std::map<std::string, std::vector<std::string>>;

/// The values are added under the parameter's key once they are read.
void addParameter(CLI::App* app, const Parameter& parameter, Values* values)
{
    std::vector<std::string>& value = (*values)[keyOf(parameter).toStdString()];
    if (parameter.kind == Parameter::Kind::Flag) {
        app->add_flag_callback(
            parameter.name, [&value] { value.assign(1, std::string()); }, parameter.summary);
        return;
    }
    CLI::Option* const option =
        parameter.many ? app->add_option(parameter.name, value, parameter.summary)
                       : app->add_option_function<std::string>(
                             parameter.name, [&value](const std::string& word) { value.assign(1, word); },
                             parameter.summary);
    option->type_name(parameter.value)->required(parameter.required)->check(checkOf(parameter));
}

/// The program as the library sees it.
class Program
{
public:
    Program()
        : m_app("Browse and play music, and control the running player.", "pelk")
    {
        m_app.require_subcommand(1);
        m_app.fallthrough();
        m_app.footer(footer);
        m_app.get_formatter()->column_width(helpColumn);
        m_app.set_help_flag("-h,--help", "Show this help");
        m_app.get_formatter()->label("Positionals", "Arguments");
        m_app.get_formatter()->label("REQUIRED", "");
        m_app.get_formatter()->label("SUBCOMMAND", "COMMAND");
        m_app.get_formatter()->label("SUBCOMMANDS", "COMMANDS");
        m_app.add_flag("--version", "Show the version");
        for (const Parameter& parameter : commonParameters())
            addParameter(&m_app, parameter, &m_values[&m_app]);
        for (const Command& command : commandTable())
            if (command.isShown)
                add(command);
    }

    CLI::App& app() { return m_app; }
    /// The innermost command that was named; null where none was.
    CLI::App* current()
    {
        CLI::App* app = &m_app;
        while (!app->get_subcommands().empty())
            app = app->get_subcommands().front();
        return app == &m_app ? nullptr : app;
    }
    QString nameOf(CLI::App* app)
    {
        QString name;
        for (; app && app != &m_app; app = app->get_parent())
            name = decoded(app->get_name()) + (name.isEmpty() ? QString() : QLatin1Char(' ') + name);
        return name;
    }
    QHash<QString, QStringList> values(CLI::App* command)
    {
        QHash<QString, QStringList> values;
        for (CLI::App* app : {&m_app, command})
            for (const auto& [key, list] : m_values[app])
                for (const std::string& value : list)
                    values[decoded(key)].append(decoded(value));
        return values;
    }

private:
    void add(const Command& command)
    {
        const QStringList words = command.name().split(QLatin1Char(' '));
        CLI::App* parent = words.size() > 1 ? m_app.get_subcommand(words.first().toStdString()) : &m_app;
        CLI::App* sub = parent->add_subcommand(words.last().toStdString(), command.summary);
        sub->group(parent == &m_app ? command.group : "Commands");
        sub->footer(std::string(commonFooter) + footer);
        sub->fallthrough();
        if (!command.run && command.doer == Command::Doer::Nobody)
            sub->require_subcommand(1);
        for (const Parameter& parameter : command.parameters)
            addParameter(sub, parameter, &m_values[sub]);
    }

    CLI::App m_app;
    std::map<CLI::App*, Values> m_values;
};

int wrongUsage(const QString& sentence, const QString& command)
{
    Terminal::error(sentence);
    Terminal::note(
        QStringLiteral("Try: pelk %1--help").arg(command.isEmpty() ? command : command + QLatin1Char(' ')));
    return ExitCode::usage;
}

/// The sentence for an error of the library.
QString sentenceOf(const CLI::ParseError& problem, Program* program)
{
    QString sentence = decoded(problem.what()) + QLatin1Char('.');
    CLI::App& app = program->app();
    // Otherwise the library would only say that a command is missing.
    const QString word = app.remaining().empty() ? QString() : decoded(app.remaining().front());
    if (program->current())
        return sentence;
    if (!word.isEmpty())
        return (word.startsWith(QLatin1Char('-')) ? QStringLiteral("There is no option \"%1\".")
                                                  : QStringLiteral("There is no command \"%1\"."))
            .arg(word);
    return problem.get_name() == "RequiredError" ? QStringLiteral("A command is missing.") : sentence;
}

/// The library would treat a negative number or time as an option; "--" before it marks it as an argument.
std::vector<std::string> wordsOf(int argc, char** argv)
{
    std::vector<std::string> words(argv + qMin(1, argc), argv + argc);
    const auto takesSign = [](const std::string& word) { return word == "seek" || word == "volume"; };
    for (size_t i = 1; i < words.size(); ++i) {
        if (takesSign(words[i - 1]) && words[i].size() > 1 && words[i][0] == '-' &&
            std::isdigit(words[i][1])) {
            words.insert(words.begin() + std::ptrdiff_t(i), "--");
            break;
        }
    }
    return {words.rbegin(), words.rend()}; // as the library wants them
}

} // namespace

std::optional<CommandLine> CommandLine::parse(int argc, char** argv, const QString& version, int* exitCode)
{
    Program program;
    *exitCode = ExitCode::ok;
    if (argc == 2 && qstrcmp(argv[1], "--version") == 0) {
        Terminal::out(QStringLiteral("pelk %1\n").arg(version));
        return std::nullopt;
    }
    CommandLine line;
    // Its words are of an unfinished line, which nothing may be wrong with.
    if (argc > 2 && qstrcmp(argv[1], "complete") == 0) {
        line.m_command = findCommand(QStringLiteral("complete"));
        QStringList words;
        for (int i = 3; i < argc; ++i)
            words.append(QString::fromUtf8(argv[i]));
        const int socket = words.indexOf(QStringLiteral("--socket"));
        if (socket >= 0 && socket + 2 < words.size()) // and is no longer being typed
            line.m_values[QStringLiteral("socket")] = QStringList{words.at(socket + 1)};
        line.m_values[QStringLiteral("WORD")] = words;
        return line;
    }
    try {
        program.app().parse(wordsOf(argc, argv));
    } catch (const CLI::Success&) {
        Terminal::out(decoded(program.app().help())); // of the command that was named
        return std::nullopt;
    } catch (const CLI::ParseError& problem) {
        if (argc == 1) {
            Terminal::note(decoded(program.app().help()));
            *exitCode = ExitCode::usage;
        } else {
            *exitCode = wrongUsage(sentenceOf(problem, &program), program.nameOf(program.current()));
        }
        return std::nullopt;
    }
    CLI::App* const chosen = program.current();
    line.m_command = findCommand(program.nameOf(chosen));
    line.m_values = program.values(chosen);
    const QString wrong = line.m_command->check ? line.m_command->check(line) : QString();
    if (wrong.isEmpty())
        return line;
    *exitCode = wrongUsage(wrong, line.m_command->name());
    return std::nullopt;
}

QString CommandLine::configFile() const
{
    return text("config", Host::defaultConfigFile());
}

QString CommandLine::moduleFolder() const
{
    return text("modules", Host::defaultModuleFolder());
}

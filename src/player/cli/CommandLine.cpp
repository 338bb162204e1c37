#include "player/cli/CommandLine.h"

#include "player/cli/ExitCode.h"
#include "player/cli/ServeCommand.h"
#include "player/cli/Terminal.h"
#include "player/host/Host.h"
#include "player/host/Logging.h"
#include "player/server/http/AccessRules.h"

#include <CLI/CLI.hpp>
#include <arpa/inet.h>

#include <array>
#include <limits>

namespace {

constexpr int defaultRows = 50;
constexpr int longestPlaySeconds = 24 * 3600;

QString decoded(const std::string& bytes)
{
    return QString::fromUtf8(bytes.c_str(), int(bytes.size()));
}

/// A check for a whole number, with a sentence for people.
CLI::Validator wholeNumber(int least, int most)
{
    return CLI::Validator(
        [least, most](const std::string& word) {
            bool isNumber = false;
            const int number = decoded(word).toInt(&isNumber);
            if (isNumber && number >= least && number <= most)
                return std::string();
            return QStringLiteral("\"%1\" is no whole number from %2 to %3")
                .arg(decoded(word))
                .arg(least)
                .arg(most)
                .toStdString();
        },
        "");
}

CLI::Validator oneOf(const QStringList& choices)
{
    return CLI::Validator(
        [choices](const std::string& word) {
            if (choices.contains(decoded(word)))
                return std::string();
            return QStringLiteral("\"%1\" is none of: %2")
                .arg(decoded(word), choices.join(QLatin1String(", ")))
                .toStdString();
        },
        "");
}

const char* const footer =
    "Exit codes: 0 done; 1 the operation failed; 2 wrong usage; 3 settings or modules\n"
    "are missing; 4 nobody is logged in; 130 interrupted.";

/// The usual spelling of an address: "*" and "0" are every address of the machine, "127.1" is 127.0.0.1. A
/// name stays as it is.
QString usualAddress(const QString& text)
{
    if (text == QLatin1String("*"))
        return QStringLiteral("0.0.0.0");
    const QByteArray name = text.toLatin1();
    std::array<char, INET6_ADDRSTRLEN> usual{};
    in_addr v4{};
    in6_addr v6{};
    if (::inet_aton(name.constData(), &v4) != 0)
        ::inet_ntop(AF_INET, &v4, usual.data(), usual.size());
    else if (::inet_pton(AF_INET6, name.constData(), &v6) == 1)
        ::inet_ntop(AF_INET6, &v6, usual.data(), usual.size());
    else
        return text;
    return QString::fromLatin1(usual.data());
}

/// Reads "127.0.0.1:8080" or "[::1]:8080"; false if it is neither.
bool readListen(const QString& text, CommandLine* line)
{
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    bool isPort = false;
    line->listenPort = text.mid(colon + 1).toUShort(&isPort);
    line->listenAddress = text.left(qMax(colon, 0));
    const bool isBracketed =
        line->listenAddress.startsWith(QLatin1Char('[')) && line->listenAddress.endsWith(QLatin1Char(']'));
    if (isBracketed)
        line->listenAddress = line->listenAddress.mid(1, line->listenAddress.size() - 2);
    const bool isAddress = isPort && !line->listenAddress.isEmpty() &&
                           line->listenAddress.contains(QLatin1Char(':')) == isBracketed;
    line->listenAddress = usualAddress(line->listenAddress);
    return isAddress;
}

int wrongUsage(const QString& sentence, const std::string& command)
{
    Terminal::error(sentence);
    Terminal::note(QStringLiteral("Try: pelk %1--help").arg(decoded(command.empty() ? "" : command + " ")));
    return ExitCode::usage;
}

} // namespace

std::optional<CommandLine> CommandLine::parse(int argc, char** argv, int* exitCode)
{
    CommandLine line;
    std::string config = Host::defaultConfigFile().toStdString();
    std::string modules = Host::defaultModuleFolder().toStdString();
    // A command that fails says why in a sentence; the log lines of the same failure would only stand beside
    // it.
    std::string level = "off";
    std::string user;
    std::string path;
    std::string query;
    std::string wav;
    std::string quality;
    std::string listen = "127.0.0.1:8080";
    std::string origin;
    std::string socketFile;
    std::string socketGroup;
    std::string panel = ServeCommand::defaultPanelFolder().toStdString();
    int from = 0;
    int to = -1;

    CLI::App app("Browses and plays what the modules offer.", "pelk");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(footer);
    app.get_formatter()->column_width(28);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.add_option("--config", config, "Settings file")->type_name("FILE")->capture_default_str();
    app.add_option("--modules", modules, "Folder with the modules")->type_name("DIR")->capture_default_str();
    app.add_option("--log-level", level, "Log lines: off, error, warn, info, debug, trace")
        ->type_name("LEVEL")
        ->check(oneOf(Logging::levels()))
        ->capture_default_str();
    const auto add = [&app, &line](const char* name, const char* description, Command which) {
        CLI::App* sub = app.add_subcommand(name, description)->group("Commands");
        sub->footer(std::string("--config, --modules and --log-level go with every command: pelk --help\n") +
                    footer);
        sub->callback([&line, which] { line.command = which; });
        return sub;
    };

    CLI::App* login = add("login", "Log in; asks for the password", Command::Login);
    login->add_option("USER", user, "Login name")->required()->type_name("");
    login->add_flag("--password-stdin", line.passwordStdin, "Read the password from standard input");
    add("logout", "Log out and forget the account", Command::Logout);
    add("status", "Show who is logged in; exit code 4: nobody", Command::Status);

    CLI::App* rows = add("rows", "Show the rows of a container", Command::Rows);
    rows->add_option("PATH", path, "Path of the container; without: the modules' roots")->type_name("");
    rows->add_option("--from", from, "First row, counted from 0")
        ->type_name("N")
        ->check(wholeNumber(0, std::numeric_limits<int>::max()))
        ->capture_default_str();
    const CLI::Option* toOption = rows->add_option("--to", to, "Last row, included; without: 50 rows")
                                      ->type_name("N")
                                      ->check(wholeNumber(0, std::numeric_limits<int>::max()));
    rows->add_flag("--json", line.json, "Print all that the rows carry, for programs");

    CLI::App* search = add("search", "Search, and show the first rows of each kind", Command::Search);
    search->add_option("TEXT", query, "What to look for")->required()->type_name("");

    CLI::App* play = add("play", "Play a track, or the tracks of a container", Command::Play);
    play->add_option("PATH", path, "Path of the track or container")->required()->type_name("");
    play->add_option("--seconds", line.seconds, "Stop after this much was heard")
        ->type_name("N")
        ->check(wholeNumber(1, longestPlaySeconds));
    play->add_option("--to", wav, "Write a WAV file, at the pace of listening")->type_name("FILE.wav");

    CLI::App* qualityCommand = add("quality", "Show or choose the sound quality", Command::Quality);
    qualityCommand->add_option("VALUE", quality, "mp3, cd, hires96 or hires192")
        ->type_name("")
        ->check(oneOf(ServiceAccount::qualities()));
    CLI::App* serve = add("serve", "Show the panel to browsers", Command::Serve);
    serve->add_option("--listen", listen, "Where to listen; port 0 picks a free one")
        ->type_name("ADDR:PORT")
        ->capture_default_str();
    serve->add_option("--panel", panel, "Folder with the panel's files")
        ->type_name("DIR")
        ->capture_default_str();
    serve->add_option("--origin", origin, "What browsers know a proxy in front of it by")->type_name("URL");
    serve->add_option("--socket", socketFile, "Socket file for commands; without: that of the session")
        ->type_name("FILE");
    serve->add_option("--socket-group", socketGroup, "Group that may use the socket file, too")
        ->type_name("GROUP");
    serve->add_flag("--tls", line.tls, "Encrypt, with a certificate that the player makes");
    std::string certificate;
    std::string key;
    serve->add_option("--tls-cert", certificate, "Encrypt, with this certificate in PEM")->type_name("FILE");
    serve->add_option("--tls-key", key, "The certificate's key in PEM")->type_name("FILE");
    serve->add_flag("--open", line.open, "Let everybody in who reaches it, without a password");
    add("password", "Set the password for other devices; asks for it", Command::Password);

    CLI::App* token = app.add_subcommand("token", "Let programs of other devices in")->group("Commands");
    token->require_subcommand(1);
    std::string tokenName;
    const auto addToken = [&](const char* name, const char* description, Command which) {
        CLI::App* sub = token->add_subcommand(name, description);
        sub->callback([&line, which] { line.command = which; });
        if (which != Command::TokenList)
            sub->add_option("NAME", tokenName, "What the token is called")->required()->type_name("");
        return sub;
    };
    addToken("add", "Make a token, and show it this once", Command::TokenAdd)
        ->add_flag("--read-only", line.readOnly, "It may see everything and change nothing");
    addToken("list", "Show the names of the tokens", Command::TokenList);
    addToken("remove", "Let a token in no longer", Command::TokenRemove);
    add("modules", "Show the modules and what went wrong with any", Command::Modules);

    std::string current;
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        *exitCode = app.exit(help);
        return std::nullopt;
    } catch (const CLI::ParseError& problem) {
        if (argc == 1) {
            Terminal::note(decoded(app.help()));
            *exitCode = ExitCode::usage;
            return std::nullopt;
        }
        QString sentence = decoded(problem.what()) + QLatin1Char('.');
        for (const CLI::App* sub : app.get_subcommands())
            current = sub->get_name();
        // Else the library only says that a command is missing.
        const QString word = app.remaining().empty() ? QString() : decoded(app.remaining().front());
        if (current.empty() && !word.isEmpty())
            sentence = (word.startsWith(QLatin1Char('-')) ? QStringLiteral("There is no option \"%1\".")
                                                          : QStringLiteral("There is no command \"%1\"."))
                           .arg(word);
        else if (current.empty() && problem.get_name() == "RequiredError")
            sentence = QStringLiteral("A command is missing.");
        *exitCode = wrongUsage(sentence, current);
        return std::nullopt;
    }
    current = app.get_subcommands().front()->get_name();
    line.configFile = decoded(config);
    line.moduleFolder = decoded(modules);
    line.logLevel = decoded(level);
    line.userName = decoded(user);
    line.path = decoded(path);
    line.text = decoded(query).trimmed();
    line.wavFile = decoded(wav);
    line.quality = decoded(quality);
    line.panelFolder = decoded(panel);
    line.socketFile = decoded(socketFile);
    line.socketGroup = decoded(socketGroup);
    line.certificateFile = decoded(certificate);
    line.keyFile = decoded(key);
    line.tokenName = decoded(tokenName);
    line.origin = AccessRules::originOf(decoded(origin));
    line.from = from;
    line.to =
        toOption->count() > 0 ? to : from + qMin(defaultRows - 1, std::numeric_limits<int>::max() - from);
    QString wrong;
    if (line.command == Command::Rows && line.to < line.from)
        wrong =
            QStringLiteral("The range is empty: --to %1 comes before --from %2.").arg(line.to).arg(line.from);
    else if (line.command == Command::Search && line.text.isEmpty())
        wrong = QStringLiteral("The text to look for is empty.");
    else if (line.command == Command::Login && line.userName.isEmpty())
        wrong = QStringLiteral("The login name is empty.");
    else if (line.command == Command::Serve && !readListen(decoded(listen), &line))
        wrong = QStringLiteral("\"%1\" is no address with a port, such as 127.0.0.1:8080 or [::1]:8080.")
                    .arg(decoded(listen));
    else if (certificate.empty() != key.empty())
        wrong = QStringLiteral("--tls-cert and --tls-key go together: a certificate is of no use without its "
                               "key.");
    else if (!origin.empty() && line.origin.isEmpty())
        wrong = QStringLiteral("\"%1\" is no address of a site, such as https://music.home.example.")
                    .arg(decoded(origin));
    if (wrong.isEmpty())
        return line;
    *exitCode = wrongUsage(wrong, current);
    return std::nullopt;
}

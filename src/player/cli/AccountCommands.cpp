#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/Terminal.h"
#include "player/content/ContentClient.h"
#include "player/host/Host.h"
#include "player/host/PrintableText.h"

namespace {

/// Sends a request about the account; false when it failed, which was told.
bool send(const CMSetDataRequest& request)
{
    CMRoot()->setDataRequest(request);
    QString error;
    if (ContentClient::wait(request.reply(), request.path(), &error))
        return true;
    Terminal::error(error);
    return false;
}

/// Tells when the login on disk is not what it should be.
int afterSaving(const Host& host, const char* consequence)
{
    const QString failure = host.loginSaveFailure();
    if (failure.isEmpty())
        return ExitCode::ok;
    Terminal::error(failure + QLatin1String(consequence));
    return ExitCode::failed;
}

} // namespace

int Commands::login(const Host& host, const CommandLine& line)
{
    const std::optional<QString> password =
        line.passwordStdin
            ? Terminal::readLine()
            : Terminal::askPassword(printableText(QStringLiteral("Password for %1: ").arg(line.userName)));
    if (!password) {
        QString sentence =
            QStringLiteral("The password cannot be asked for, since standard input is no terminal; "
                           "use --password-stdin.");
        if (line.passwordStdin)
            sentence = QStringLiteral("Standard input holds no password: its first line is read, as UTF-8.");
        else if (Terminal::inputIsTerminal())
            sentence = QStringLiteral("No password was typed, or none in UTF-8; nobody was logged in.");
        Terminal::error(sentence);
        return ExitCode::usage;
    }
    if (!send(ServiceAccount::loginRequest(line.userName, *password)))
        return ExitCode::failed;
    Terminal::out(printableText(QStringLiteral("Logged in as %1.").arg(ServiceAccount::userName())) +
                  QLatin1Char('\n'));
    return afterSaving(host, " The login ends with this command.");
}

int Commands::logout(const Host& host)
{
    if (!send(ServiceAccount::logoutRequest()))
        return ExitCode::failed;
    Terminal::out(QStringLiteral("Logged out.\n"));
    return afterSaving(host, " The saved login is still there; delete the file.");
}

int Commands::status(const Host& host)
{
    const bool loggedIn = ServiceAccount::isLoggedIn();
    const QString user = printableText(ServiceAccount::userName());
    Terminal::out(QStringLiteral("Account    %1\n"
                                 "Quality    %2\n"
                                 "Settings   %3\n"
                                 "Login      %4\n")
                      .arg(loggedIn ? QStringLiteral("logged in as %1").arg(user)
                                    : QStringLiteral("nobody is logged in"),
                           ServiceAccount::quality(), host.configFile(), host.loginFile()));
    return loggedIn ? ExitCode::ok : ExitCode::notLoggedIn;
}

int Commands::quality(const CommandLine& line)
{
    if (!line.quality.isEmpty()) {
        QString error;
        if (!ContentClient::wait(ServiceAccount::setQuality(line.quality), CMPath(), &error)) {
            Terminal::error(QStringLiteral("%1 The file is %2.").arg(error, line.configFile));
            return ExitCode::failed;
        }
    }
    Terminal::out(ServiceAccount::quality() + QLatin1Char('\n'));
    return ExitCode::ok;
}

int Commands::modules(const Host& host)
{
    for (const ModuleLoader::Module& module : host.modules())
        Terminal::out(QStringLiteral("%1:  %2\n").arg(module.name, module.file));
    return ExitCode::ok;
}

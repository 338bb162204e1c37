#include "player/base/PrintableText.h"
#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/Terminal.h"
#include "player/host/Host.h"
#include "player/server/access/Credentials.h"
#include "player/server/access/Secrets.h"

namespace {

int failed(const QString& sentence, int code = ExitCode::failed)
{
    Terminal::error(sentence);
    return code;
}

void tellNotices(Credentials* credentials)
{
    const QStringList notices = credentials->takeNotices();
    for (const QString& notice : notices)
        Terminal::error(notice);
}

} // namespace

int Commands::password(const CommandLine& /*line*/, PlayerConnection& /*player*/)
{
    const bool isTyped = Terminal::inputIsTerminal();
    const std::optional<QString> password =
        isTyped ? Terminal::askPassword(QStringLiteral("New password for this player: "))
                : Terminal::readLine();
    if (!password)
        return failed(
            isTyped ? QStringLiteral("The password is empty or not UTF-8. Nothing was changed.")
                    : QStringLiteral(
                          "There is no password on standard input. Write it to the first line, as UTF-8."),
            ExitCode::usage);
    const QString fault = Secrets::passwordFault(*password);
    if (!fault.isEmpty())
        return failed(fault, ExitCode::usage);
    if (isTyped && Terminal::askPassword(QStringLiteral("Repeat the password: ")) != password)
        return failed(QStringLiteral("The two passwords differ; nothing was changed."), ExitCode::usage);
    const QByteArray hash = Secrets::passwordHash(*password);
    if (hash.isEmpty())
        return failed(QStringLiteral("There is too little memory to set a password."));
    QString error;
    if (!Credentials(Host::stateFolder()).setPasswordHash(hash, &error))
        return failed(error);
    Terminal::out(QStringLiteral("The password is set. Devices that were logged in must log in again.\n"));
    return ExitCode::ok;
}

int Commands::addToken(const CommandLine& line, PlayerConnection& /*player*/)
{
    Credentials credentials(Host::stateFolder());
    QByteArray secret;
    QString error;
    const bool isAdded = credentials.addToken(line.text("NAME"), line.has("read-only"), &secret, &error);
    tellNotices(&credentials);
    if (!isAdded)
        return failed(error);
    Terminal::note(
        QStringLiteral("The token is shown only now. Programs send it as: Authorization: Bearer TOKEN"));
    Terminal::out(QString::fromLatin1(secret) + QLatin1Char('\n'));
    return ExitCode::ok;
}

int Commands::listTokens(const CommandLine& /*line*/, PlayerConnection& /*player*/)
{
    Credentials credentials(Host::stateFolder());
    const QVector<Credentials::Token>& tokens = credentials.tokens();
    tellNotices(&credentials);
    for (const Credentials::Token& token : tokens)
        Terminal::out(printableText(token.name) +
                      (token.isReadOnly ? QStringLiteral("  read-only\n") : QStringLiteral("\n")));
    return ExitCode::ok;
}

int Commands::removeToken(const CommandLine& line, PlayerConnection& /*player*/)
{
    Credentials credentials(Host::stateFolder());
    QString error;
    const bool isRemoved = credentials.removeToken(line.text("NAME"), &error);
    tellNotices(&credentials);
    return isRemoved ? ExitCode::ok : failed(error);
}

#include "api/core/json/pelkjson.h"
#include "player/base/PrintableText.h"
#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/PlayerConnection.h"
#include "player/cli/Terminal.h"
#include "player/host/ServiceAccount.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

constexpr int factColumns = 13;

PlayerAnswer send(PlayerConnection& player, const CMSetDataRequest& request)
{
    const QByteArray value = PelkJson::serialize(request.value());
    return player.post(QStringLiteral("/api/data"),
                       {{QStringLiteral("path"), request.path().toString()},
                        {QStringLiteral("role"), request.role()},
                        {QStringLiteral("value"), QJsonDocument::fromJson(value).object()}});
}

QString told(const QJsonObject& about, const char* key)
{
    return printableText(about.value(QLatin1String(key)).toString());
}

/// A label and its values, one per line; nothing if there are none.
void printFact(const char* label, const QStringList& lines)
{
    QString head = QString::fromLatin1(label);
    for (const QString& line : lines) {
        if (!line.isEmpty())
            Terminal::out(head.leftJustified(factColumns) + line + QLatin1Char('\n'));
        head.clear();
    }
}

/// A fingerprint has 95 columns.
QStringList inTwoLines(const QString& fingerprint)
{
    const int half = (fingerprint.size() + 1) / 2;
    return {fingerprint.left(half), fingerprint.mid(half)};
}

/// Reports when the login on the disk is not what it should be.
int afterSaving(PlayerConnection& player, const char* consequence)
{
    const QString fault = told(player.about(), "loginFault");
    if (fault.isEmpty())
        return ExitCode::ok;
    Terminal::error(fault + QLatin1String(consequence));
    return ExitCode::failed;
}

} // namespace

QString Commands::checkLogin(const CommandLine& line)
{
    return line.text("USER").isEmpty() ? QStringLiteral("The login name is empty.") : QString();
}

int Commands::login(const CommandLine& line, PlayerConnection& player)
{
    const bool isPiped = line.has("password-stdin");
    const QString user = line.text("USER");
    const std::optional<QString> password =
        isPiped ? Terminal::readLine()
                : Terminal::askPassword(printableText(QStringLiteral("Password for %1: ").arg(user)));
    if (!password) {
        QString sentence = QStringLiteral(
            "Cannot prompt for the password: standard input is not a terminal. Use --password-stdin.");
        if (isPiped)
            sentence = QStringLiteral(
                "There is no password on standard input. Write it to the first line, as UTF-8.");
        else if (Terminal::inputIsTerminal())
            sentence = QStringLiteral("The password is empty or not UTF-8. Nothing was changed.");
        Terminal::error(sentence);
        return ExitCode::usage;
    }
    const PlayerAnswer answer = send(player, ServiceAccount::loginRequest(user, *password));
    if (!answer.isOk())
        return failure(answer);
    Terminal::out(QStringLiteral("Logged in as %1.\n").arg(told(player.about(), "userName")));
    return afterSaving(player, " The login is lost when the player ends.");
}

int Commands::logout(const CommandLine& /*line*/, PlayerConnection& player)
{
    const PlayerAnswer answer = send(player, ServiceAccount::logoutRequest());
    if (!answer.isOk())
        return failure(answer);
    Terminal::out(QStringLiteral("Logged out.\n"));
    return afterSaving(player, " The saved login is still there; delete the file.");
}

int Commands::status(const CommandLine& /*line*/, PlayerConnection& player)
{
    const PlayerAnswer answer = player.get(QStringLiteral("/api/about"));
    if (!answer.isOk())
        return failure(answer);
    const QJsonObject& about = answer.body;
    const bool isLoggedIn = about.value(QStringLiteral("loggedIn")).toBool();
    const QStringList addresses = about.value(QStringLiteral("addresses")).toVariant().toStringList();
    printFact("Account", {isLoggedIn ? QStringLiteral("logged in as ") + told(about, "userName")
                                     : QStringLiteral("nobody is logged in")});
    printFact("Quality", {told(about, "quality")});
    printFact("Player", {addresses.isEmpty() ? QStringLiteral("not running")
                                             : QStringLiteral("running as process %1")
                                                   .arg(about.value(QStringLiteral("processId")).toInt())});
    printFact("Addresses", addresses);
    printFact("Certificate", inTwoLines(told(about, "fingerprint")));
    printFact("Socket file", {told(about, "socketFile")});
    printFact("Settings", {told(about, "settingsFile")});
    printFact("Login file", {told(about, "loginFile")});
    return isLoggedIn ? ExitCode::ok : ExitCode::notLoggedIn;
}

int Commands::quality(const CommandLine& line, PlayerConnection& player)
{
    if (line.has("VALUE")) {
        const PlayerAnswer answer = send(player, ServiceAccount::qualityRequest(line.text("VALUE")));
        if (!answer.isOk()) {
            Terminal::error(
                QStringLiteral("%1 The file is %2.").arg(answer.error, told(player.about(), "settingsFile")));
            return ExitCode::failed;
        }
    }
    const PlayerAnswer about = player.get(QStringLiteral("/api/about"));
    if (!about.isOk())
        return failure(about);
    Terminal::out(told(about.body, "quality") + QLatin1Char('\n'));
    return ExitCode::ok;
}

int Commands::modules(const CommandLine& /*line*/, PlayerConnection& player)
{
    const PlayerAnswer about = player.get(QStringLiteral("/api/about"));
    if (!about.isOk())
        return failure(about);
    const QJsonArray modules = about.body.value(QStringLiteral("modules")).toArray();
    for (const QJsonValue& module : modules)
        Terminal::out(QStringLiteral("%1:  %2\n")
                          .arg(told(module.toObject(), "name"), told(module.toObject(), "file")));
    const QJsonArray faults = about.body.value(QStringLiteral("moduleFaults")).toArray();
    for (const QJsonValue& fault : faults)
        Terminal::error(fault.toString());
    return faults.isEmpty() ? ExitCode::ok : ExitCode::failed;
}

#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/PlayerConnection.h"
#include "player/cli/Terminal.h"
#include "player/host/ServiceAccount.h"

namespace {

const QString hint = QStringLiteral("Log in with: pelk login USER");

bool lacksLogin(const QString& path, PlayerConnection& player)
{
    return ServiceAccount::isServicePath(CMPath(path)) &&
           !player.about().value(QStringLiteral("loggedIn")).toBool();
}

} // namespace

int Commands::failure(const PlayerAnswer& answer)
{
    Terminal::error(answer.error);
    return ExitCode::failed;
}

int Commands::failure(const QString& sentence, const QString& path, PlayerConnection& player)
{
    const bool isLacking = lacksLogin(path, player);
    Terminal::error(isLacking ? sentence + QLatin1Char(' ') + hint : sentence);
    return isLacking ? ExitCode::notLoggedIn : ExitCode::failed;
}

int Commands::failureAbout(const QString& path, PlayerConnection& player)
{
    if (!lacksLogin(path, player))
        return ExitCode::failed;
    Terminal::note(hint);
    return ExitCode::notLoggedIn;
}

int Commands::outcome(const PlayerAnswer& answer)
{
    return answer.isOk() ? ExitCode::ok : failure(answer);
}

#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/PlayCommand.h"
#include "player/cli/ServeCommand.h"
#include "player/cli/SignalWatch.h"
#include "player/cli/Terminal.h"
#include "player/host/FileLimit.h"
#include "player/host/Host.h"
#include "player/host/Logging.h"
#include "player/host/PlayerLock.h"
#include "player/host/PrintableText.h"

#include <QCoreApplication>

#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <optional>

namespace {

void showNotice(const PelkNotificationDisplayItem& notice)
{
    Terminal::note(
        printableText(QStringLiteral("%1: %2").arg(notice.title().toString(), notice.message().toString())));
}

/// Each track has threads of its own, and the allocator keeps memory free for each thread: one arena for all
/// of them grows by nothing.
void keepLittleMemoryFree()
{
    ::mallopt(M_ARENA_MAX, 1);
}

int run(Host& host, SignalWatch* signalWatch, const CommandLine& line, PlayerLock* lock)
{
    using Command = CommandLine::Command;
    switch (line.command) {
    case Command::Password:
        return Commands::password();
    case Command::TokenAdd:
        return Commands::addToken(line);
    case Command::TokenList:
        return Commands::listTokens();
    case Command::TokenRemove:
        return Commands::removeToken(line);
    default:
        break;
    }
    QString error;
    if (line.command == Command::Serve) {
        const PlayerLock::Outcome outcome = lock->take(&error);
        if (outcome != PlayerLock::Outcome::Taken)
            Terminal::error(error);
        if (outcome == PlayerLock::Outcome::Held)
            return ExitCode::failed;
    }
    if (!host.loadSettings(line.configFile, &error)) {
        Terminal::error(error);
        return ExitCode::notSetUp;
    }
    if (!host.loginNotice().isEmpty())
        Terminal::error(host.loginNotice());
    if (line.command == Command::Quality)
        return Commands::quality(line);
    const QStringList problems = host.loadModules(line.moduleFolder);
    for (const QString& problem : problems)
        Terminal::error(problem);
    if (host.modules().isEmpty())
        return ExitCode::notSetUp;

    switch (line.command) {
    case Command::Login:
        return Commands::login(host, line);
    case Command::Logout:
        return Commands::logout(host);
    case Command::Status:
        return Commands::status(host);
    case Command::Rows:
        return Commands::rows(line);
    case Command::Search:
        return Commands::search(line);
    case Command::Play:
        return PlayCommand(line).run(signalWatch);
    case Command::Serve:
        return ServeCommand(host, line, *lock).run(signalWatch);
    case Command::Modules:
        return problems.isEmpty() ? Commands::modules(host) : qMax(Commands::modules(host), ExitCode::failed);
    default:
        break;
    }
    return ExitCode::ok;
}

} // namespace

int main(int argc, char** argv)
{
    FileLimit::raise();
    keepLittleMemoryFree();
    Logging::endOnFatalMessages();
    QCoreApplication app(argc, argv);
    int code = ExitCode::ok;
    std::unique_ptr<SignalWatch> signalWatch;
    std::optional<Host> host;
    bool ended = true;
    if (const std::optional<CommandLine> line = CommandLine::parse(argc, argv, &code)) {
        Logging::setUp(line->logLevel);
        // Before the modules start their threads.
        if (line->command == CommandLine::Command::Play || line->command == CommandLine::Command::Serve)
            signalWatch = std::make_unique<SignalWatch>();
        host.emplace(showNotice);
        PlayerLock lock(Host::stateFolder());
        code = run(*host, signalWatch.get(), *line, &lock);
        ended = host->end();
        if (!ended)
            Terminal::error(QStringLiteral("A module did not end in time; it was left behind."));
    }
    if (!Terminal::flushOut()) {
        Terminal::error(QStringLiteral("Standard output cannot be written."));
        code = code == ExitCode::ok ? ExitCode::failed : code;
    }
    if (!ended)
        std::_Exit(code);
    return code;
}

#include "player/Version.h"
#include "player/base/FileLimit.h"
#include "player/base/PrintableText.h"
#include "player/cli/About.h"
#include "player/cli/CommandLine.h"
#include "player/cli/ExitCode.h"
#include "player/cli/OwnPlayer.h"
#include "player/cli/PlayCommand.h"
#include "player/cli/RunningPlayer.h"
#include "player/cli/ServeCommand.h"
#include "player/cli/SignalWatch.h"
#include "player/cli/Target.h"
#include "player/cli/Terminal.h"
#include "player/host/Host.h"
#include "player/host/Logging.h"
#include "player/host/PlayerLock.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <optional>

namespace {

using Doer = Command::Doer;

/// Somebody waits for the shell.
constexpr RunningPlayer::Patience completionPatience{0, 2000};

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

bool isServe(const CommandLine& line)
{
    return line.command().name() == QLatin1String("serve");
}

/// Whether it plays in this process, beside the player that runs if one does.
bool playsHere(const CommandLine& line)
{
    return line.command().name() == QLatin1String("play") &&
           (line.has("here") || line.has("to") || line.has("seconds"));
}

/// The settings and the modules; an exit code.
int prepare(Host& host, const CommandLine& line)
{
    QString error;
    if (!host.loadSettings(line.configFile(), &error)) {
        Terminal::error(error);
        return ExitCode::notSetUp;
    }
    for (const QString& notice : host.notices())
        Terminal::error(notice);
    const QString name = line.command().name();
    if (name == QLatin1String("quality"))
        return ExitCode::ok; // needs no module
    const QStringList& faults = host.loadModules(line.moduleFolder());
    if (name != QLatin1String("modules") || host.modules().isEmpty())
        for (const QString& fault : faults)
            Terminal::error(fault);
    return host.modules().isEmpty() ? ExitCode::notSetUp : ExitCode::ok;
}

int runHere(Host& host, SignalWatch* signalWatch, const CommandLine& line, PlayerLock* lock)
{
    if (isServe(line)) {
        QString error;
        const PlayerLock::Outcome outcome = lock->take(&error);
        if (outcome != PlayerLock::Outcome::Taken)
            Terminal::error(error);
        if (outcome == PlayerLock::Outcome::Held)
            return ExitCode::failed;
    }
    int code = prepare(host, line);
    if (code != ExitCode::ok)
        return code;
    if (isServe(line))
        return ServeCommand(host, line, programVersion(), *lock).run(signalWatch);
    OwnPlayer player([&host] { return aboutPlayer(host, programVersion()); });
    if (line.command().name() != QLatin1String("play"))
        return line.command().run(line, player);
    Target target;
    code = Target::find(line.texts("PATH"), player, &target);
    return code == ExitCode::ok ? PlayCommand(line, target.path).run(signalWatch) : code;
}

/// Loads what the command needs, and ends it in order.
int runInThisProcess(const CommandLine& line, bool* hasEnded)
{
    std::unique_ptr<SignalWatch> signalWatch;
    // Before the modules start their threads.
    if (isServe(line) || line.command().name() == QLatin1String("play"))
        signalWatch = std::make_unique<SignalWatch>();
    auto host = std::make_unique<Host>(showNotice);
    PlayerLock lock(Host::stateFolder());
    const int code = runHere(*host, signalWatch.get(), line, &lock);
    *hasEnded = host->end();
    if (*hasEnded)
        return code;
    Terminal::error(QStringLiteral("A module did not stop in time and was abandoned."));
    static_cast<void>(host.release()); // the module still uses it
    return code;
}

/// The running player cannot use other settings or modules: a sentence if the line asks for them.
QString otherSettings(const CommandLine& line, PlayerConnection& player)
{
    const auto fault = [](const QString& what, const QString& used, const QString& option) {
        return QStringLiteral("The running player uses the %1 %2. Stop it first, or leave out %3.")
            .arg(what, used, option);
    };
    const QString settings = player.about().value(QStringLiteral("settingsFile")).toString();
    if (line.has("config") && QFileInfo(settings) != QFileInfo(line.configFile()))
        return fault(QStringLiteral("settings file"), settings, QStringLiteral("--config"));
    const QString modules = player.about().value(QStringLiteral("moduleFolder")).toString();
    if (line.has("modules") && QFileInfo(modules) != QFileInfo(line.moduleFolder()))
        return fault(QStringLiteral("module folder"), modules, QStringLiteral("--modules"));
    return QString();
}

int run(const CommandLine& line, bool* hasEnded)
{
    const Doer doer = line.command().doer;
    if (doer == Doer::ThisProcess || playsHere(line))
        return runInThisProcess(line, hasEnded);
    QString error;
    std::unique_ptr<PlayerConnection> player;
    player =
        RunningPlayer::find(line.text("socket"), Host::stateFolder(),
                            doer == Doer::Nobody ? completionPatience : RunningPlayer::Patience(), &error);
    if (!player && doer == Doer::Nobody)
        player = std::make_unique<NoPlayer>();
    else if (player)
        error = otherSettings(line, *player);
    if (doer != Doer::Nobody && !error.isEmpty()) {
        Terminal::error(error);
        return player ? ExitCode::usage : ExitCode::noPlayer;
    }
    if (player)
        return line.command().run(line, *player);
    if (doer == Doer::AnyPlayer)
        return runInThisProcess(line, hasEnded);
    Terminal::error(QStringLiteral("No player is running. Start one with: pelk serve"));
    return ExitCode::noPlayer;
}

} // namespace

int main(int argc, char** argv)
{
    FileLimit::raise();
    keepLittleMemoryFree();
    Logging::endOnFatalMessages();
    QCoreApplication app(argc, argv);
    int code = ExitCode::ok;
    bool hasEnded = true;
    if (const std::optional<CommandLine> line = CommandLine::parse(argc, argv, programVersion(), &code)) {
        Logging::setUp(line->text("log-level", QStringLiteral("off")));
        code = run(*line, &hasEnded);
    }
    if (!Terminal::flushOut()) {
        Terminal::error(QStringLiteral("Standard output cannot be written."));
        code = code == ExitCode::ok ? ExitCode::failed : code;
    }
    if (!hasEnded)
        std::_Exit(code);
    return code;
}

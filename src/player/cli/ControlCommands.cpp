#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/NowText.h"
#include "player/cli/PlayerConnection.h"
#include "player/cli/Terminal.h"
#include "player/play/SleepTimer.h"

#include <QRegularExpression>

#include <optional>

namespace {

constexpr int loudest = 100;
constexpr qint64 longestSeconds = 3600LL * 1000;

/// A number or time as typed: relative with a sign, otherwise from the start.
struct Step
{
    bool isRelative = false;
    qint64 amount = 0; // negative with "-"

    qint64 from(qint64 here) const { return isRelative ? here + amount : amount; }
};

Step stepOf(const QString& text, qint64 amount)
{
    const bool isBack = text.startsWith(QLatin1Char('-'));
    return {isBack || text.startsWith(QLatin1Char('+')), isBack ? -amount : amount};
}

/// "90", "1:30" or "1:02:03" with a sign or none, in seconds.
std::optional<Step> timeOf(const QString& text)
{
    static const QRegularExpression form(
        QStringLiteral("^[+-]?(?:(?:(\\d{1,3}):)?(\\d{1,4}):([0-5]\\d)|(\\d{1,7}))$"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const auto part = [&match](int index) { return match.captured(index).toLongLong(); };
    const qint64 seconds = part(4) + part(3) + 60 * part(2) + 3600 * part(1);
    if (seconds > longestSeconds)
        return std::nullopt;
    return stepOf(text, seconds);
}

/// "40", "+5" or "-5", with "%" or without.
std::optional<Step> percentOf(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("^[+-]?(\\d{1,3})%?$"));
    const QRegularExpressionMatch match = form.match(text);
    const int percent = match.captured(1).toInt();
    if (!match.hasMatch() || percent > loudest)
        return std::nullopt;
    return stepOf(text, percent);
}

std::optional<int> minutesOf(const QString& text)
{
    bool isNumber = false;
    const int minutes = text.toInt(&isNumber);
    return isNumber && minutes >= 1 && minutes <= SleepTimer::mostMinutes ? std::optional(minutes)
                                                                          : std::nullopt;
}

PlayerAnswer statusOf(PlayerConnection& player)
{
    return player.get(QStringLiteral("/api/player"));
}

int operate(PlayerConnection& player, const char* operation, const QJsonObject& body = {})
{
    return Commands::outcome(player.post(QStringLiteral("/api/player/") + QLatin1String(operation), body));
}

} // namespace

int Commands::pause(const CommandLine& /*line*/, PlayerConnection& player)
{
    return operate(player, "pause");
}

int Commands::resume(const CommandLine& /*line*/, PlayerConnection& player)
{
    return operate(player, "play");
}

int Commands::toggle(const CommandLine& /*line*/, PlayerConnection& player)
{
    const PlayerAnswer now = statusOf(player);
    if (!now.isOk())
        return failure(now);
    const QString state = now.body.value(QStringLiteral("state")).toString();
    const bool plays = state == QLatin1String("playing") || state == QLatin1String("opening");
    return operate(player, plays ? "pause" : "play");
}

int Commands::stop(const CommandLine& /*line*/, PlayerConnection& player)
{
    return operate(player, "stop");
}

int Commands::next(const CommandLine& /*line*/, PlayerConnection& player)
{
    return operate(player, "next");
}

int Commands::previous(const CommandLine& /*line*/, PlayerConnection& player)
{
    return operate(player, "previous");
}

QString Commands::checkSeek(const CommandLine& line)
{
    return timeOf(line.text("TIME")) ? QString()
                                     : QStringLiteral("\"%1\" is not a time such as 90, 1:30, +10 or -0:30.")
                                           .arg(line.text("TIME"));
}

int Commands::seek(const CommandLine& line, PlayerConnection& player)
{
    const Step step = *timeOf(line.text("TIME"));
    const QString key = step.isRelative ? QStringLiteral("byMs") : QStringLiteral("positionMs");
    return operate(player, "seek", {{key, step.amount * 1000}});
}

QString Commands::checkSleep(const CommandLine& line)
{
    const QString when = line.text("WHEN");
    const bool isWord = findCommand(QStringLiteral("sleep"))->parameters.first().choices.contains(when);
    if (!line.has("WHEN") || isWord || minutesOf(when))
        return QString();
    return QStringLiteral("\"%1\" is not 1 to %2 minutes, track, queue or off.")
        .arg(when)
        .arg(SleepTimer::mostMinutes);
}

int Commands::sleep(const CommandLine& line, PlayerConnection& player)
{
    if (line.has("WHEN")) {
        const QString when = line.text("WHEN");
        const std::optional<int> minutes = minutesOf(when);
        return operate(player, "sleep",
                       minutes ? QJsonObject{{QStringLiteral("minutes"), *minutes}}
                               : QJsonObject{{QStringLiteral("at"), when}});
    }
    const PlayerAnswer now = statusOf(player);
    if (!now.isOk())
        return failure(now);
    Terminal::out(NowText::sleep(now.body) + QLatin1Char('\n'));
    return ExitCode::ok;
}

QString Commands::checkVolume(const CommandLine& line)
{
    const QString value = line.text("VALUE");
    const bool isWord = value == QLatin1String("mute") || value == QLatin1String("unmute");
    if (!line.has("VALUE") || isWord || percentOf(value))
        return QString();
    return QStringLiteral("\"%1\" is not a volume: use 0 to 100, +N, -N, mute or unmute.").arg(value);
}

int Commands::volume(const CommandLine& line, PlayerConnection& player)
{
    PlayerAnswer now = statusOf(player);
    if (!now.isOk())
        return failure(now);
    if (line.has("VALUE")) {
        const QString value = line.text("VALUE");
        QJsonObject body{{QStringLiteral("muted"), value == QLatin1String("mute")}};
        if (const std::optional<Step> step = percentOf(value)) {
            const int here = now.body.value(QStringLiteral("volumePercent")).toInt();
            body = {{QStringLiteral("percent"), qBound<qint64>(0, step->from(here), loudest)}};
        }
        const int code = operate(player, "volume", body);
        now = statusOf(player);
        if (code != ExitCode::ok || !now.isOk())
            return code != ExitCode::ok ? code : failure(now);
    }
    Terminal::out(
        QStringLiteral("%1 %%2\n")
            .arg(now.body.value(QStringLiteral("volumePercent")).toInt())
            .arg(now.body.value(QStringLiteral("muted")).toBool() ? QStringLiteral(", muted") : QString()));
    return ExitCode::ok;
}

#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/NowText.h"
#include "player/cli/PlayerConnection.h"
#include "player/cli/Terminal.h"

#include <QElapsedTimer>
#include <QJsonDocument>

namespace {

/// A place that differs by more than this from where playing would be is a jump.
constexpr qint64 jumpMs = 2000;

/// Prints a state each time that it says something new.
class Follower
{
public:
    explicit Follower(bool asJson)
        : m_asJson(asJson)
    {
    }
    /// Returns false if it cannot be printed.
    bool show(const QJsonObject& status)
    {
        const qint64 position = qint64(status.value(QStringLiteral("positionMs")).toDouble());
        const bool isNews = m_asJson ? status != m_last : hasChanged(status, position);
        const bool moves = status.value(QStringLiteral("state")) == QLatin1String("playing");
        m_last = status;
        m_position = position;
        m_moves = moves && !status.value(QStringLiteral("stalled")).toBool();
        m_since.start();
        if (!isNews)
            return true;
        Terminal::out(m_asJson ? QString::fromUtf8(QJsonDocument(status).toJson(QJsonDocument::Compact)) +
                                     QLatin1Char('\n')
                               : NowText::line(status, Terminal::width()));
        return Terminal::flushOut();
    }

private:
    bool hasChanged(const QJsonObject& status, qint64 position) const
    {
        const qint64 expected = m_position + (m_moves ? m_since.elapsed() : 0);
        if (m_last.isEmpty() || qAbs(position - expected) > jumpMs)
            return true;
        for (const char* key : {"state", "stalled", "entry", "row", "format"})
            if (status.value(QLatin1String(key)) != m_last.value(QLatin1String(key)))
                return true;
        return false;
    }

    const bool m_asJson;
    QJsonObject m_last;
    qint64 m_position = 0;
    bool m_moves = false;
    QElapsedTimer m_since;
};

int follow(PlayerConnection& player, bool asJson)
{
    Follower follower(asJson);
    QString error;
    const auto process = [&player] { return player.about().value(QStringLiteral("processId")); };
    const QJsonValue first = process();
    // The player closes the stream of a reader that accepts nothing for a while: then from the present state,
    // but never that of another player.
    bool isHeard = true;
    bool wasHeard = false;
    while (isHeard && process() == first) {
        isHeard = false;
        const bool isEnough = player.follow(
            [&](const QString& event, const QJsonObject& data) {
                isHeard = isHeard || !event.isEmpty();
                wasHeard = wasHeard || isHeard;
                return event != QLatin1String("player") || follower.show(data);
            },
            &error);
        if (isEnough)
            return ExitCode::failed; // main() reports that nothing can be printed
    }
    Terminal::error(error);
    const bool isRefused = !wasHeard && !first.isUndefined() && process() == first;
    return isRefused ? ExitCode::failed : ExitCode::noPlayer;
}

} // namespace

int Commands::now(const CommandLine& line, PlayerConnection& player)
{
    if (line.has("follow"))
        return follow(player, line.has("json"));
    const PlayerAnswer answer = player.get(QStringLiteral("/api/player"));
    if (!answer.isOk())
        return failure(answer);
    Terminal::out(line.has("json") ? QString::fromUtf8(QJsonDocument(answer.body).toJson())
                                   : NowText::table(answer.body, Terminal::width()));
    return ExitCode::ok;
}

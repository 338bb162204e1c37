#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/NowText.h"
#include "player/cli/PlayerConnection.h"
#include "player/cli/RowTable.h"
#include "player/cli/Target.h"
#include "player/cli/Terminal.h"

#include <QElapsedTimer>

namespace {

/// The player gives a service 35 seconds, and a stream half a minute.
constexpr qint64 limitMs = 80000;
/// How long to wait after a notice for a better outcome.
constexpr qint64 noticeMs = 3000;

/// Sends a request that fills the queue and waits for the outcome, which the player reports by events.
class Filling
{
public:
    Filling(PlayerConnection& player, const Target& target, const QString& where)
        : m_player(player)
        , m_where(where)
        , m_path(target.path)
        , m_body{{QStringLiteral("path"), target.path}, {QStringLiteral("where"), where}}
    {
        if (target.foundAt < 0 || !isTrack(target))
            return;
        // Out of its list it is a whole row, with title and artist.
        m_body.insert(QStringLiteral("path"), target.foundIn);
        m_body.insert(QStringLiteral("from"), target.foundAt);
        m_body.insert(QStringLiteral("to"), target.foundAt);
        m_body.insert(QStringLiteral("startAt"), target.foundAt);
    }
    int run()
    {
        QString error;
        const bool ended = m_player.follow(
            [this](const QString& event, const QJsonObject& data) { return take(event, data); }, &error);
        if (!ended) {
            Terminal::error(error);
            return ExitCode::failed;
        }
        if (!m_refusal.isOk())
            return Commands::failure(m_refusal.error, m_path, m_player);
        if (m_isLate)
            Terminal::error(QStringLiteral("The player did not get to it in time."));
        return m_hasFailed || m_isLate ? Commands::failureAbout(m_path, m_player) : ExitCode::ok;
    }

private:
    static bool isTrack(const Target& target) { return target.text.startsWith(QLatin1String("track ")); }
    bool isPlay() const { return m_where == QLatin1String("replace"); }

    /// Whether more events are expected.
    bool take(const QString& event, const QJsonObject& data)
    {
        if (!m_isSent)
            return begin(event, data);
        if (event == QLatin1String("notification")) {
            Terminal::error(QStringLiteral("%1: %2").arg(data.value(QStringLiteral("title")).toString(),
                                                         data.value(QStringLiteral("message")).toString()));
            m_hasFailed = true;
            m_sinceNotice.start();
        } else if (event == QLatin1String("player") && isPlay()) {
            return takeStatus(data);
        } else if (event == QLatin1String("queue") && !isPlay()) {
            const int count = data.value(QStringLiteral("count")).toInt();
            if (count == m_count)
                return true;
            Terminal::note(count == 1 ? QStringLiteral("1 track is in the queue.")
                                      : QStringLiteral("%1 tracks are in the queue.").arg(count));
            return false;
        }
        m_isLate = m_since.elapsed() > limitMs;
        return !m_isLate && !(m_hasFailed && m_sinceNotice.elapsed() > noticeMs);
    }
    /// Waits for the state before, and sends the request.
    bool begin(const QString& event, const QJsonObject& data)
    {
        if (event == QLatin1String("player")) {
            m_entry = data.value(QStringLiteral("entry")).toInt();
            m_hasStatus = true;
        } else if (event == QLatin1String("queue")) {
            m_count = data.value(QStringLiteral("count")).toInt();
        }
        if (!m_hasStatus || m_count < 0)
            return true;
        m_isSent = true;
        m_since.start();
        m_refusal = m_player.post(QStringLiteral("/api/player/queue/add"), m_body);
        return m_refusal.isOk();
    }
    bool takeStatus(const QJsonObject& status)
    {
        const QString state = status.value(QStringLiteral("state")).toString();
        const int entry = status.value(QStringLiteral("entry")).toInt();
        if (m_hasFailed && state == QLatin1String("stopped"))
            return false;
        if (entry == m_entry || entry == 0 || state != QLatin1String("playing"))
            return true;
        const QString format = NowText::format(status);
        Terminal::note(QStringLiteral("Playing %1%2")
                           .arg(titleAndArtist(status.value(QStringLiteral("row")).toObject()),
                                format.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(format)));
        return false;
    }

    PlayerConnection& m_player;
    const QString m_where;
    const QString m_path;
    QJsonObject m_body;
    PlayerAnswer m_refusal;
    bool m_isSent = false;
    bool m_hasStatus = false;
    bool m_hasFailed = false;
    bool m_isLate = false;
    int m_entry = 0;
    int m_count = -1;
    QElapsedTimer m_since;
    QElapsedTimer m_sinceNotice;
};

int fill(const CommandLine& line, PlayerConnection& player, const char* where)
{
    Target target;
    const int code = Target::find(line.texts("PATH"), player, &target);
    return code == ExitCode::ok ? Filling(player, target, QString::fromLatin1(where)).run() : code;
}

} // namespace

int Commands::play(const CommandLine& line, PlayerConnection& player)
{
    return fill(line, player, "replace");
}

int Commands::queueAdd(const CommandLine& line, PlayerConnection& player)
{
    return fill(line, player, "end");
}

int Commands::queueNext(const CommandLine& line, PlayerConnection& player)
{
    return fill(line, player, "next");
}

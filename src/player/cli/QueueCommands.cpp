#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/PlayerConnection.h"
#include "player/cli/QueueTable.h"
#include "player/cli/Terminal.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <vector>

namespace {

constexpr int pageSize = 100; // the most that the interface gives at once
constexpr int readings = 5;   // of a queue that changes meanwhile

/// The whole queue as one page of the interface, of one revision unless it changes too often.
PlayerAnswer readQueue(PlayerConnection& player)
{
    PlayerAnswer whole;
    QJsonArray entries;
    int reading = 0;
    for (int from = 0;;) {
        const PlayerAnswer page = player.get(QStringLiteral("/api/player/queue"),
                                             {{QStringLiteral("from"), QString::number(from)},
                                              {QStringLiteral("to"), QString::number(from + pageSize - 1)}});
        if (!page.isOk())
            return page;
        const QString revision = QStringLiteral("revision");
        if (from > 0 && page.body.value(revision) != whole.body.value(revision) && ++reading < readings) {
            from = 0;
            entries = QJsonArray();
            continue;
        }
        const QJsonArray more = page.body.value(QStringLiteral("entries")).toArray();
        for (const QJsonValue& entry : more)
            entries.append(entry);
        whole = page;
        from += pageSize;
        if (more.size() < pageSize)
            break;
    }
    whole.body.insert(QStringLiteral("from"), 0);
    whole.body.insert(QStringLiteral("entries"), entries);
    return whole;
}

QJsonArray entriesOf(const PlayerAnswer& queue)
{
    return queue.body.value(QStringLiteral("entries")).toArray();
}

int idAt(const QJsonArray& entries, int number)
{
    return entries.at(number - 1).toObject().value(QStringLiteral("id")).toInt();
}

/// "3" or "5-9"; false if it is neither.
bool readNumbers(const QString& text, int* first, int* last)
{
    static const QRegularExpression form(QStringLiteral("^(\\d{1,6})(?:-(\\d{1,6}))?$"));
    const QRegularExpressionMatch match = form.match(text);
    *first = match.captured(1).toInt();
    *last = match.captured(2).isEmpty() ? *first : match.captured(2).toInt();
    return match.hasMatch() && *first > 0 && *first <= *last;
}

int noEntry(int number, int count)
{
    Terminal::error(count == 0
                        ? QStringLiteral("The queue is empty.")
                        : QStringLiteral("There is no entry %1; the queue has %2.").arg(number).arg(count));
    return ExitCode::failed;
}

/// Shows or sets a mode of the queue.
int mode(const CommandLine& line, PlayerConnection& player, const QString& key, const QJsonValue& value)
{
    if (line.has("MODE"))
        return Commands::outcome(player.post(QStringLiteral("/api/player/mode"), {{key, value}}));
    const PlayerAnswer status = player.get(QStringLiteral("/api/player"));
    if (!status.isOk())
        return Commands::failure(status);
    const QJsonValue now = status.body.value(key);
    Terminal::out(
        (now.isBool() ? (now.toBool() ? QStringLiteral("on") : QStringLiteral("off")) : now.toString()) +
        QLatin1Char('\n'));
    return ExitCode::ok;
}

} // namespace

int Commands::queue(const CommandLine& line, PlayerConnection& player)
{
    const PlayerAnswer queue = readQueue(player);
    const PlayerAnswer status = player.get(QStringLiteral("/api/player"));
    if (!queue.isOk() || !status.isOk())
        return failure(queue.isOk() ? status : queue);
    Terminal::out(line.has("json")
                      ? QString::fromUtf8(QJsonDocument(queue.body).toJson())
                      : queueTable(entriesOf(queue), status.body.value(QStringLiteral("entry")).toInt(),
                                   Terminal::width()));
    return ExitCode::ok;
}

QString Commands::checkQueueRemove(const CommandLine& line)
{
    const QStringList words = line.texts("N");
    int first = 0;
    int last = 0;
    for (const QString& word : words)
        if (!readNumbers(word, &first, &last))
            return QStringLiteral("\"%1\" is neither an entry number nor a range such as 5-9.").arg(word);
    return QString();
}

int Commands::queueRemove(const CommandLine& line, PlayerConnection& player)
{
    const PlayerAnswer queue = readQueue(player);
    if (!queue.isOk())
        return failure(queue);
    const QJsonArray entries = entriesOf(queue);
    QJsonArray ids;
    const QStringList words = line.texts("N");
    for (const QString& word : words) {
        int first = 0;
        int last = 0;
        readNumbers(word, &first, &last);
        if (last > entries.size())
            return noEntry(last, entries.size());
        for (int number = first; number <= last; ++number)
            ids.append(idAt(entries, number));
    }
    return outcome(
        player.post(QStringLiteral("/api/player/queue/remove"), {{QStringLiteral("entries"), ids}}));
}

int Commands::queueMove(const CommandLine& line, PlayerConnection& player)
{
    const PlayerAnswer queue = readQueue(player);
    if (!queue.isOk())
        return failure(queue);
    const int from = line.whole("FROM", 0);
    const int to = line.whole("TO", 0);
    QJsonArray others = entriesOf(queue);
    if (qMax(from, to) > others.size())
        return noEntry(qMax(from, to), others.size());
    const int entry = idAt(others, from);
    others.removeAt(from - 1);
    return outcome(
        player.post(QStringLiteral("/api/player/queue/move"),
                    {{QStringLiteral("entry"), entry},
                     {QStringLiteral("before"),
                      to > others.size() ? QJsonValue(QJsonValue::Null) : QJsonValue(idAt(others, to))}}));
}

int Commands::queueClear(const CommandLine& /*line*/, PlayerConnection& player)
{
    return outcome(player.post(QStringLiteral("/api/player/queue/clear")));
}

int Commands::queueUndo(const CommandLine& /*line*/, PlayerConnection& player)
{
    return outcome(player.post(QStringLiteral("/api/player/queue/undo")));
}

int Commands::queueShuffle(const CommandLine& line, PlayerConnection& player)
{
    return mode(line, player, QStringLiteral("shuffle"), line.text("MODE") == QLatin1String("on"));
}

int Commands::queueRepeat(const CommandLine& line, PlayerConnection& player)
{
    return mode(line, player, QStringLiteral("repeat"), line.text("MODE"));
}

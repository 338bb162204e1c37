#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/PlayerConnection.h"
#include "player/cli/RowTable.h"
#include "player/cli/Terminal.h"

#include <QJsonDocument>

int Commands::history(const CommandLine& line, PlayerConnection& player)
{
    const PlayerAnswer answer = player.get(QStringLiteral("/api/history"));
    if (!answer.isOk())
        return failure(answer);
    const QJsonArray items = answer.body.value(QStringLiteral("items")).toArray();
    if (line.has("json"))
        Terminal::out(QString::fromUtf8(QJsonDocument(answer.body).toJson()));
    else if (!answer.body.value(QStringLiteral("kept")).toBool())
        Terminal::out(QStringLiteral("The history is turned off in the settings.\n"));
    else if (items.isEmpty())
        Terminal::out(QStringLiteral("The history is empty.\n"));
    else
        Terminal::out(historyTable(items, Terminal::width()));
    return ExitCode::ok;
}

int Commands::historyClear(const CommandLine& /*line*/, PlayerConnection& player)
{
    return outcome(player.post(QStringLiteral("/api/history/clear")));
}

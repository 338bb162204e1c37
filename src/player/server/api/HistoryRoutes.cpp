#include "player/server/api/HistoryRoutes.h"

#include "player/content/History.h"
#include "player/server/ServerText.h"
#include "player/server/api/ApiJson.h"

#include <QJsonArray>

namespace {

void list(const History* history, const ApiRequest& request, const ApiResponder& responder)
{
    QJsonArray items;
    if (history)
        for (const History::Item& item : history->items())
            items.append(QJsonObject{{QStringLiteral("timeMs"), item.timeMs},
                                     {QStringLiteral("row"), ApiJson::row(item.row, *request.language)}});
    responder.send(200, QJsonObject{{QStringLiteral("kept"), history && history->isKeeping()},
                                    {QStringLiteral("items"), items}});
}

void clear(History* history, const ApiResponder& responder)
{
    QString error;
    if (history && !history->clear(&error)) {
        Q_EMIT history->failed(error);
        throw Problem(500, serverText(QT_TRANSLATE_NOOP(
                               "PanelServer", "The history could not be deleted from the player's file. The "
                                              "player's console output names the file and the reason.")));
    }
    responder.done();
}

} // namespace

QVector<Route> historyRoutes(History* history)
{
    return {{"GET",
             "/api/history",
             {},
             [history](const auto& request, const auto& responder) { list(history, request, responder); }},
            {"POST", "/api/history/clear", {}, [history](const auto&, const auto& responder) {
                 clear(history, responder);
             }}};
}

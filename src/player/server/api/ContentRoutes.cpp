#include "player/server/api/ContentRoutes.h"

#include "player/server/ServerText.h"
#include "player/server/api/ApiJson.h"
#include "player/server/api/ContentRequests.h"

#include <QJsonArray>

#include <limits>

namespace {

const QString pathKey = QStringLiteral("path");
const QString roleKey = QStringLiteral("role");

void rows(ContentRequests* contentRequests, int most, const ApiRequest& request,
          const ApiResponder& responder)
{
    const CMPath path = contentRequests->path(request.param(pathKey));
    const int from = request.number(QStringLiteral("from"), 0, std::numeric_limits<int>::max() - most);
    const int to = request.number(QStringLiteral("to"), from, from + most - 1);
    contentRequests->rows({request.http.peer, responder}, path, from, to,
                          [path, responder, language = request.language](const RowPage& page) {
                              QJsonArray list;
                              for (const PelkRoles& row : page.rows)
                                  list.append(ApiJson::row(row, *language));
                              responder.send(200, {{pathKey, path.toString()},
                                                   {QStringLiteral("from"), page.from},
                                                   {QStringLiteral("count"), page.total},
                                                   {QStringLiteral("version"), page.version},
                                                   {QStringLiteral("rows"), list}});
                          });
}

void data(ContentRequests* contentRequests, int most, const ApiRequest& request,
          const ApiResponder& responder)
{
    const CMPath path = contentRequests->path(request.param(pathKey));
    const QStringList roles = request.all(roleKey);
    if (roles.isEmpty() || roles.size() > most)
        throw Problem(400, serverText(QT_TRANSLATE_NOOP("PanelServer", "Request 1 to %1 roles."), {most}));
    for (const QString& role : roles)
        if (!ApiJson::isPublicRole(role))
            throw Problem(400,
                          serverText(QT_TRANSLATE_NOOP("PanelServer", "There is no role \"%1\"."), {role}));
    contentRequests->data(
        {request.http.peer, responder}, path, roles,
        [path, roles, responder, language = request.language](const QVariantList& values) {
            PelkRoles row;
            for (int i = 0; i < roles.size(); ++i)
                row.insert(roles.at(i), values.value(i));
            QJsonObject object;
            for (const QString& role : roles)
                object.insert(role, ApiJson::role(row, role, *language));
            responder.send(200, {{pathKey, path.toString()}, {QStringLiteral("data"), object}});
        });
}

void setData(ContentRequests* contentRequests, const ApiRequest& request, const ApiResponder& responder)
{
    const CMPath path = contentRequests->path(request.text("path"));
    if (request.text("role") != PelkRoles::Value())
        throw Problem(403,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "Only the role \"value\" can be set.")));
    contentRequests->setValue(
        {request.http.peer, responder}, path, request.body.record(PelkRoles::Value()).variant(),
        [path, responder, language = request.language](const QVariant& result) {
            responder.send(200, {{pathKey, path.toString()},
                                 {QStringLiteral("result"), ApiJson::value(result, *language)}});
        });
}

} // namespace

QVector<Route> contentRoutes(ContentRequests* contentRequests, const Limits& limits)
{
    using Kind = Field::Kind;
    return {
        {"GET",
         "/api/rows",
         {},
         [contentRequests, most = limits.rows](const auto& request, const auto& responder) {
             rows(contentRequests, most, request, responder);
         }},
        {"GET",
         "/api/data",
         {},
         [contentRequests, most = limits.roles](const auto& request, const auto& responder) {
             data(contentRequests, most, request, responder);
         }},
        {"POST",
         "/api/data",
         {{"path", Kind::Text}, {"role", Kind::Text}, {"value", Kind::Tagged}},
         [contentRequests](const auto& request, const auto& responder) {
             setData(contentRequests, request, responder);
         }},
    };
}

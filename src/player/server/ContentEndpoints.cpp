#include "player/server/ContentEndpoints.h"

#include "player/server/ApiJson.h"
#include "player/server/ContentCalls.h"
#include "player/server/ServerText.h"

#include <QJsonArray>

#include <limits>

namespace {

constexpr int mostRows = 100;
constexpr int mostRoles = 16;

const QString pathKey = QStringLiteral("path");
const QString roleKey = QStringLiteral("role");

ApiAnswer rows(ContentCalls* calls, const ApiRequest& request)
{
    const CMPath path = calls->path(request.param(pathKey));
    const int from = request.number(QStringLiteral("from"), 0, std::numeric_limits<int>::max() - mostRows);
    const int to = request.number(QStringLiteral("to"), from, from + mostRows - 1);
    const RowPage page = calls->rows(path, from, to);
    QJsonArray list;
    for (const PelkRoles& row : page.rows)
        list.append(ApiJson::row(row, *request.language));
    return {200, QJsonObject{{pathKey, path.toString()},
                             {QStringLiteral("from"), page.from},
                             {QStringLiteral("count"), page.total},
                             {QStringLiteral("version"), page.version},
                             {QStringLiteral("rows"), list}}};
}

ApiAnswer data(ContentCalls* calls, const ApiRequest& request)
{
    const CMPath path = calls->path(request.param(pathKey));
    const QStringList roles = request.all(roleKey);
    if (roles.isEmpty() || roles.size() > mostRoles)
        throw Problem(400,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "Ask for 1 to %1 roles."), {mostRoles}));
    for (const QString& role : roles)
        if (!ApiJson::isPublicRole(role))
            throw Problem(400,
                          serverText(QT_TRANSLATE_NOOP("PanelServer", "There is no role \"%1\"."), {role}));
    const QVariantList values = calls->data(path, roles);
    PelkRoles row;
    for (int i = 0; i < roles.size(); ++i)
        row.insert(roles.at(i), values.value(i));
    QJsonObject object;
    for (const QString& role : roles)
        object.insert(role, ApiJson::role(row, role, *request.language));
    return {200, QJsonObject{{pathKey, path.toString()}, {QStringLiteral("data"), object}}};
}

ApiAnswer setData(ContentCalls* calls, const ApiRequest& request)
{
    const CMPath path = calls->path(request.text(pathKey));
    if (request.text(roleKey) != PelkRoles::Value())
        throw Problem(403,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "Only the role \"value\" can be set.")));
    const PelkHash value = request.body.record(PelkRoles::Value());
    if (value.isEmpty())
        throw Problem(400,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "\"value\" has to be a tagged value.")));
    const QVariant result = calls->setValue(path, value.variant());
    return {200, QJsonObject{{pathKey, path.toString()},
                             {QStringLiteral("result"), ApiJson::value(result, *request.language)}}};
}

} // namespace

QVector<Endpoint> contentEndpoints(ContentCalls* calls)
{
    return {
        {"GET", "/api/rows", [calls](const ApiRequest& request) { return rows(calls, request); }},
        {"GET", "/api/data", [calls](const ApiRequest& request) { return data(calls, request); }},
        {"POST", "/api/data", [calls](const ApiRequest& request) { return setData(calls, request); }},
    };
}

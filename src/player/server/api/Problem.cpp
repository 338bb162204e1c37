#include "player/server/api/Problem.h"

#include "player/content/ContentClient.h"
#include "player/server/ServerText.h"

#include <QJsonDocument>

#include <array>
#include <utility>

namespace {

TrString titleOf(int status)
{
    static constexpr std::array<std::pair<int, const char*>, 13> titles{{
        {400, QT_TRANSLATE_NOOP("PanelServer", "Invalid request")},
        {401, QT_TRANSLATE_NOOP("PanelServer", "Password required")},
        {403, QT_TRANSLATE_NOOP("PanelServer", "Not allowed")},
        {404, QT_TRANSLATE_NOOP("PanelServer", "Not found")},
        {405, QT_TRANSLATE_NOOP("PanelServer", "Method not allowed")},
        {409, QT_TRANSLATE_NOOP("PanelServer", "Changed in the meantime")},
        {413, QT_TRANSLATE_NOOP("PanelServer", "The request is too large")},
        {414, QT_TRANSLATE_NOOP("PanelServer", "The request is too large")},
        {415, QT_TRANSLATE_NOOP("PanelServer", "Unsupported content type")},
        {429, QT_TRANSLATE_NOOP("PanelServer", "Busy")},
        {431, QT_TRANSLATE_NOOP("PanelServer", "The request is too large")},
        {503, QT_TRANSLATE_NOOP("PanelServer", "Busy")},
        {504, QT_TRANSLATE_NOOP("PanelServer", "No response")},
    }};
    for (const auto& [known, title] : titles)
        if (known == status)
            return serverText(title);
    return CMError::DefaultTitle();
}

} // namespace

Problem::Problem(int httpStatus, const TrString& sentence)
    : status(httpStatus)
    , detail(sentence)
    , title(titleOf(httpStatus))
{
}

Problem::Problem(const CMError& error)
    : status(502)
    , detail(ContentClient::userMessage(error))
    , reason(ContentClient::isNetworkFault(error) ? error.message() : TrString())
    , title(error.title())
    , name(error.name())
    , code(error.data().value(QStringLiteral("ErrorCode")).toInt())
{
}

HttpResponse Problem::response(const Language& language) const
{
    QString sentence = language.text(detail);
    const QString more = language.text(reason);
    if (!more.isEmpty())
        sentence += QStringLiteral(" (%1)").arg(more);
    QJsonObject object{{QStringLiteral("type"), QStringLiteral("about:blank")},
                       {QStringLiteral("title"), language.text(title)},
                       {QStringLiteral("status"), status},
                       {QStringLiteral("detail"), sentence}};
    if (!name.isEmpty())
        object.insert(QStringLiteral("name"), name);
    if (code != 0)
        object.insert(QStringLiteral("code"), code);
    HttpResponse response;
    response.status = status;
    response.type = "application/problem+json";
    response.body = QJsonDocument(object).toJson(QJsonDocument::Compact);
    response.headers = {{"Content-Language", language.code().toUtf8()}, {"Cache-Control", "no-store"}};
    response.headers += headers;
    if (status == 503)
        response.addHeader("Retry-After", "2");
    return response;
}

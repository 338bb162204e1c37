#include "player/server/api/Problem.h"

#include "player/content/ContentClient.h"
#include "player/server/ServerText.h"

#include <QJsonDocument>

namespace {

TrString titleOf(int status)
{
    switch (status) {
    case 400:
        return serverText(QT_TRANSLATE_NOOP("PanelServer", "The request is wrong"));
    case 401:
        return serverText(QT_TRANSLATE_NOOP("PanelServer", "Password needed"));
    case 403:
        return serverText(QT_TRANSLATE_NOOP("PanelServer", "Not allowed"));
    case 404:
        return serverText(QT_TRANSLATE_NOOP("PanelServer", "Not found"));
    case 405:
        return serverText(QT_TRANSLATE_NOOP("PanelServer", "Wrong method"));
    case 409:
        return serverText(QT_TRANSLATE_NOOP("PanelServer", "It has changed meanwhile"));
    case 413:
    case 414:
    case 431:
        return serverText(QT_TRANSLATE_NOOP("PanelServer", "The request is too large"));
    case 415:
        return serverText(QT_TRANSLATE_NOOP("PanelServer", "Wrong type of content"));
    case 429:
    case 503:
        return serverText(QT_TRANSLATE_NOOP("PanelServer", "Busy"));
    case 504:
        return serverText(QT_TRANSLATE_NOOP("PanelServer", "No answer"));
    default:
        return CMError::DefaultTitle();
    }
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
    , detail(ContentClient::told(error))
    , reason(ContentClient::isNetworkFault(error) ? error.message() : TrString())
    , title(error.title())
    , name(error.name())
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

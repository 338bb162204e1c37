#include "player/server/api/Route.h"

#include "api/core/json/pelkjson.h"
#include "player/server/ServerText.h"

#include <QJsonDocument>

#include <algorithm>

namespace {

Problem noNumber(const QString& name, qint64 least, qint64 most)
{
    return {400, serverText(QT_TRANSLATE_NOOP("PanelServer", "\"%1\" must be a whole number from %2 to %3."),
                            {name, QString::number(least), QString::number(most)})};
}

bool isWhole(const QVariant& value, const Field& field)
{
    const bool isNumber = value.userType() == QMetaType::Int || value.userType() == QMetaType::LongLong;
    return isNumber && value.toLongLong() >= field.least && value.toLongLong() <= field.most;
}

void check(const QVariant& value, const Field& field)
{
    const QString name = QString::fromLatin1(field.name);
    switch (field.kind) {
    case Field::Kind::Text:
        if (value.userType() != QMetaType::QString)
            throw Problem(400,
                          serverText(QT_TRANSLATE_NOOP("PanelServer", "\"%1\" must be a text."), {name}));
        break;
    case Field::Kind::Whole:
    case Field::Kind::WholeOrNull:
        if (!isWhole(value, field))
            throw noNumber(name, field.least, field.most);
        break;
    case Field::Kind::Flag:
        if (value.userType() != QMetaType::Bool)
            throw Problem(
                400, serverText(QT_TRANSLATE_NOOP("PanelServer", "\"%1\" must be true or false."), {name}));
        break;
    case Field::Kind::Ids: {
        const QVariantList items = value.toList();
        if (items.isEmpty() || !std::all_of(items.cbegin(), items.cend(),
                                            [&field](const QVariant& item) { return isWhole(item, field); }))
            throw Problem(400, serverText(QT_TRANSLATE_NOOP("PanelServer",
                                                            "\"entries\" must be a list of entry numbers.")));
        break;
    }
    case Field::Kind::Tagged:
        if (PelkHash::fromVariant(value).isEmpty())
            throw Problem(400,
                          serverText(QT_TRANSLATE_NOOP("PanelServer", "\"value\" must be a tagged value.")));
        break;
    }
}

} // namespace

HttpResponse withCommonHeaders(HttpResponse response)
{
    static const QVector<QPair<QByteArray, QByteArray>> common{
        {"Content-Security-Policy",
         "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' http: https:; "
         "font-src 'self'; connect-src 'self'; manifest-src 'self'; base-uri 'none'; form-action 'self'; "
         "frame-ancestors 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"X-Frame-Options", "DENY"},
        {"Referrer-Policy", "no-referrer"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
    };
    const bool hasCacheRule = std::any_of(response.headers.cbegin(), response.headers.cend(),
                                          [](const auto& one) { return one.first == "Cache-Control"; });
    if (!hasCacheRule)
        response.addHeader("Cache-Control", "no-store");
    response.headers += common;
    return response;
}

QString ApiRequest::param(const QString& name) const
{
    return all(name).value(0);
}

QStringList ApiRequest::all(const QString& name) const
{
    QStringList values;
    for (const auto& param : http.params)
        if (param.first == name)
            values.append(param.second);
    return values;
}

int ApiRequest::number(const QString& name, int least, int most) const
{
    bool isOne = false;
    const int number = param(name).toInt(&isOne);
    if (!isOne || number < least || number > most)
        throw noNumber(name, least, most);
    return number;
}

qint64 ApiRequest::whole(const char* name, qint64 otherwise) const
{
    const QVariant value = body.value(QLatin1String(name));
    return value.isValid() ? value.toLongLong() : otherwise;
}

QString ApiRequest::text(const char* name) const
{
    return body.value(QLatin1String(name)).toString();
}

bool ApiRequest::flag(const char* name) const
{
    return body.value(QLatin1String(name)).toBool();
}

bool ApiRequest::has(const char* name) const
{
    return body.contains(QLatin1String(name));
}

void ApiResponder::send(int status, const QJsonObject& body) const
{
    HttpResponse response;
    response.status = status;
    response.type = "application/json";
    response.body = QJsonDocument(body).toJson(QJsonDocument::Compact);
    sendRaw(std::move(response));
}

void ApiResponder::done() const
{
    HttpResponse response;
    response.status = 204;
    sendRaw(std::move(response));
}

void ApiResponder::sendRaw(HttpResponse response) const
{
    m_responder->respond(withCommonHeaders(std::move(response)));
}

void ApiResponder::fail(const Problem& problem) const
{
    sendRaw(problem.response(*m_language));
}

PelkHash Route::read(const QByteArray& json) const
{
    PelkError error;
    const QVariant value = PelkJson::parse(json, error);
    if (!error.isEmpty())
        throw Problem(
            400, serverText(QT_TRANSLATE_NOOP("PanelServer", "The body is not JSON: %1"), {error.message()}));
    if (value.userType() != qMetaTypeId<PelkHash>())
        throw Problem(400, serverText(QT_TRANSLATE_NOOP("PanelServer", "The body must be a JSON object.")));
    const PelkHash hash = PelkHash::fromVariant(value);
    for (const Field& field : body) {
        const QString name = QString::fromLatin1(field.name);
        const bool isThere = hash.contains(name);
        const QVariant given = hash.value(name);
        const bool isNull = field.kind == Field::Kind::WholeOrNull && isThere && !given.isValid();
        if ((field.required || isThere) && !isNull)
            check(given, field);
    }
    return hash;
}

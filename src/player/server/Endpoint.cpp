#include "player/server/Endpoint.h"

#include "api/core/json/pelkjson.h"
#include "player/server/ServerText.h"

#include <limits>

namespace {

Problem noNumber(const QString& name, qint64 least, qint64 most)
{
    return {400,
            serverText(QT_TRANSLATE_NOOP("PanelServer", "\"%1\" has to be a whole number from %2 to %3."),
                       {name, QString::number(least), QString::number(most)})};
}

bool isNumber(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
        return true;
    default:
        return false;
    }
}

} // namespace

void ApiRequest::readBody(const QByteArray& json)
{
    PelkError error;
    const QVariant value = PelkJson::parse(json, error);
    if (!error.isEmpty())
        throw Problem(
            400, serverText(QT_TRANSLATE_NOOP("PanelServer", "The body is no JSON: %1"), {error.message()}));
    if (value.userType() != qMetaTypeId<PelkHash>())
        throw Problem(400, serverText(QT_TRANSLATE_NOOP("PanelServer", "The body has to be a JSON object.")));
    body = PelkHash::fromVariant(value);
}

QString ApiRequest::param(const QString& name) const
{
    for (const auto& param : params)
        if (param.first == name)
            return param.second;
    return QString();
}

QStringList ApiRequest::all(const QString& name) const
{
    QStringList values;
    for (const auto& param : params)
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

QString ApiRequest::text(const QString& name) const
{
    const QVariant value = body.value(name);
    if (value.userType() != QMetaType::QString)
        throw Problem(400, serverText(QT_TRANSLATE_NOOP("PanelServer", "\"%1\" has to be a text."), {name}));
    return value.toString();
}

qint64 ApiRequest::whole(const QString& name, qint64 least, qint64 most) const
{
    const QVariant value = body.value(name);
    const qint64 number = value.toLongLong();
    if (!isNumber(value) || number < least || number > most)
        throw noNumber(name, least, most);
    return number;
}

bool ApiRequest::boolean(const QString& name) const
{
    const QVariant value = body.value(name);
    if (value.userType() != QMetaType::Bool)
        throw Problem(
            400, serverText(QT_TRANSLATE_NOOP("PanelServer", "\"%1\" has to be true or false."), {name}));
    return value.toBool();
}

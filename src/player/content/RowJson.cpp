#include "player/content/RowJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

QJsonValue toJson(const QVariant& value)
{
    if (value.userType() == qMetaTypeId<TrString>())
        return value.value<TrString>().toString();
    if (value.userType() == qMetaTypeId<PelkHash>())
        return toJson(value.toHash());
    switch (value.userType()) {
    case QMetaType::QVariantHash:
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.userType() == QMetaType::QVariantMap ? value.toMap() : QVariantMap();
        const QVariantHash hash = value.toHash();
        for (auto it = map.begin(); it != map.end(); ++it)
            object.insert(it.key(), toJson(it.value()));
        for (auto it = hash.begin(); it != hash.end(); ++it)
            object.insert(it.key(), toJson(it.value()));
        return object;
    }
    case QMetaType::QVariantList: {
        QJsonArray array;
        const QVariantList list = value.toList();
        for (const QVariant& item : list)
            array.append(toJson(item));
        return array;
    }
    default:
        return QJsonValue::fromVariant(value);
    }
}

QJsonObject rowToJson(const PelkRoles& row)
{
    QJsonObject object = toJson(row.hash()).toObject();
    // A number in the model; a word says more.
    if (row.contains(PelkRoles::Type()))
        object.insert(PelkRoles::Type(), PelkRolesType::toString(row.type()));
    if (row.contains(PelkRoles::ContainerType()))
        object.insert(PelkRoles::ContainerType(), PelkRolesContainerType::toString(row.containerType()));
    if (row.contains(PelkRoles::AudioType()))
        object.insert(PelkRoles::AudioType(), PelkRolesAudioType::toString(row.audioType()));
    return object;
}

} // namespace

QByteArray rowsToJson(const RowPage& page)
{
    QJsonArray rows;
    for (const PelkRoles& row : page.rows)
        rows.append(rowToJson(row));
    return QJsonDocument(QJsonObject{{QStringLiteral("from"), page.from},
                                     {QStringLiteral("count"), page.total},
                                     {QStringLiteral("version"), page.version},
                                     {QStringLiteral("rows"), rows}})
        .toJson();
}

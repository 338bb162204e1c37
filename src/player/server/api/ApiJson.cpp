#include "player/server/api/ApiJson.h"

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"

#include <QJsonArray>

namespace {

/// Whether a field of a value stays here. By its name, so that no record has to be known.
bool isSecret(const QString& key)
{
    if (key == PelkMediaData::Resources() || key == PelkResource::Uri() ||
        key == PelkMetaData::PrePlayPath() || key == PelkMetaData::ContentStateChangePath())
        return true;
    for (const char* word : {"token", "password", "secret", "credential"})
        if (key.contains(QLatin1String(word), Qt::CaseInsensitive))
            return true;
    return false;
}

void insert(QJsonObject* object, const QString& key, const QString& text)
{
    if (!text.isEmpty())
        object->insert(key, text);
}

QJsonObject metaData(const PelkMetaData& data)
{
    QJsonObject object;
    insert(&object, PelkMetaData::Artist(), data.artist());
    insert(&object, PelkMetaData::Album(), data.album());
    insert(&object, PelkMetaData::Genre(), data.genre());
    insert(&object, PelkMetaData::Composer(), data.composer());
    insert(&object, PelkMetaData::Performer(), data.performer());
    insert(&object, PelkMetaData::Copyright(), data.copyright());
    insert(&object, PelkMetaData::Comment(), data.comment());
    if (data.contains(PelkMetaData::Date()))
        object.insert(PelkMetaData::Date(), double(data.date()));
    if (data.contains(PelkMetaData::OriginalTrackNumber()))
        object.insert(PelkMetaData::OriginalTrackNumber(), data.originalTrackNumber());
    return object;
}

const QStringList& publicRoles()
{
    static const QStringList roles{PelkRoles::Title(),     PelkRoles::Path(),
                                   PelkRoles::Type(),      PelkRoles::ContainerType(),
                                   PelkRoles::AudioType(), PelkRoles::ContainerPlayable(),
                                   PelkRoles::Icon(),      PelkRoles::SearchPath(),
                                   PelkRoles::Query(),     PelkRoles::QueryPath()};
    return roles;
}

} // namespace

bool ApiJson::isPublicRole(const QString& role)
{
    return publicRoles().contains(role) || role == PelkRoles::Value();
}

QJsonValue ApiJson::role(const PelkRoles& row, const QString& role, const Language& language)
{
    if (!row.value(role).isValid())
        return QJsonValue::Null;
    if (role == PelkRoles::Title())
        return language.text(row.title());
    // Numbers in the model; a word says more.
    if (role == PelkRoles::Type())
        return PelkRolesType::toString(row.type());
    if (role == PelkRoles::ContainerType())
        return PelkRolesContainerType::toString(row.containerType());
    if (role == PelkRoles::AudioType())
        return PelkRolesAudioType::toString(row.audioType());
    return value(row.value(role), language);
}

QJsonObject ApiJson::row(const PelkRoles& row, const Language& language)
{
    QJsonObject object;
    for (const QString& key : publicRoles()) {
        const QJsonValue value = role(row, key, language);
        if (!value.isNull())
            object.insert(key, value);
    }
    const PelkMetaData data = row.mediaData().metaData();
    object.insert(QStringLiteral("playable"), !data.prePlayPath().isEmpty());
    const QJsonObject described = metaData(data);
    if (!described.isEmpty())
        object.insert(PelkMediaData::MetaData(), described);
    return object;
}

QJsonValue ApiJson::value(const QVariant& value, const Language& language)
{
    const int type = value.userType();
    if (type == qMetaTypeId<TrString>())
        return language.text(value.value<TrString>());
    if (type == QMetaType::QVariantHash || type == qMetaTypeId<PelkHash>()) {
        QJsonObject object;
        const QVariantHash hash = PelkHash::fromVariant(value).hash();
        for (auto it = hash.begin(); it != hash.end(); ++it)
            if (!isSecret(it.key()))
                object.insert(it.key(), ApiJson::value(it.value(), language));
        return object;
    }
    if (type == QMetaType::QVariantList) {
        QJsonArray array;
        const QVariantList list = value.toList();
        for (const QVariant& item : list)
            array.append(ApiJson::value(item, language));
        return array;
    }
    return QJsonValue::fromVariant(value);
}

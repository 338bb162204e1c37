#include "api/types/pelkhash.h"

#include <QStringList>

#include <algorithm>

QString pelkToString(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::QVariantHash:
        return PelkHash(value.toHash()).toString();
    case QMetaType::QVariantMap: {
        PelkHash hash;
        const QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            hash.insert(it.key(), it.value());
        return hash.toString();
    }
    case QMetaType::QVariantList: {
        QStringList texts;
        for (const QVariant& item : value.toList())
            texts << pelkToString(item);
        return QLatin1Char('[') + texts.join(QLatin1String(", ")) + QLatin1Char(']');
    }
    case QMetaType::QString:
        return QLatin1Char('"') + value.toString() + QLatin1Char('"');
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        return QStringLiteral("null");
    default:
        return value.toString();
    }
}

QString PelkHash::toString() const
{
    QStringList keys = m_hash.keys();
    std::sort(keys.begin(), keys.end());
    QStringList texts;
    for (const QString& key : qAsConst(keys))
        texts << key + QLatin1String(": ") + pelkToString(m_hash.value(key));
    return QLatin1Char('{') + texts.join(QLatin1String(", ")) + QLatin1Char('}');
}

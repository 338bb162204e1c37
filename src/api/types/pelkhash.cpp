#include "api/types/pelkhash.h"

#include "api/types/writtenhash.h"

#include <QDebug>
#include <QStringList>

#include <algorithm>
#include <utility>

namespace {

QVariantMap mapOf(const PelkHash& record)
{
    QVariantMap map;
    const QVariantHash hash = record.hash();
    for (auto it = hash.begin(); it != hash.end(); ++it)
        map.insert(it.key(), *it);
    return map;
}

// A record inside a variant and a hash inside a variant turn into each other, and are compared as such.
const bool hashRegistered = QMetaType::registerConverter<PelkHash, QVariantHash>(&PelkHash::hash) &&
                            QMetaType::registerConverter<PelkHash, QVariantMap>(&mapOf) &&
                            QMetaType::registerConverter<QVariantHash, PelkHash>(
                                [](const QVariantHash& hash) { return PelkHash(hash); }) &&
                            QMetaType::registerEqualsComparator<PelkHash>() &&
                            QMetaType::registerDebugStreamOperator<PelkHash>();

} // namespace

PelkHashData::~PelkHashData() = default;

QString PelkHashData::text(const QString& key) const
{
    QVariant value;
    read(key, &value);
    return value.toString();
}

PelkHash::PelkHash(const QHash<QString, QVariant>& hash)
    : m_data(hash.isEmpty() ? nullptr : new WrittenHash(hash))
{
}

PelkHash PelkHash::fromVariant(const QVariant& value)
{
    if (value.userType() == qMetaTypeId<PelkHash>())
        return *static_cast<const PelkHash*>(value.constData());
    return PelkHash(value.toHash());
}

QVariant PelkHash::value(const QString& key) const
{
    QVariant value;
    read(key, &value);
    return value;
}

bool PelkHash::read(const QString& key, QVariant* value) const
{
    if (!entry(key, value))
        return false;
    if (value && value->userType() == qMetaTypeId<PelkHash>())
        *value = withHash(*value);
    return true;
}

QString PelkHash::text(const QString& key) const
{
    return m_data ? m_data->text(key) : QString();
}

PelkHash PelkHash::record(const QString& key) const
{
    return m_data ? m_data->record(key) : PelkHash();
}

QList<PelkHash> PelkHash::records(const QString& key) const
{
    return m_data ? m_data->records(key) : QList<PelkHash>();
}

void PelkHash::insert(const QString& key, QVariant value)
{
    const auto* written = m_data && m_data->kind == PelkHashData::Written
                              ? static_cast<const WrittenHash*>(m_data.data())
                              : nullptr;
    WrittenHash* own = nullptr;
    if (!written)
        own = new WrittenHash(m_data);
    else if (written->ref.loadAcquire() != 1)
        own = new WrittenHash(*written);
    if (own)
        m_data = own;
    else
        own = const_cast<WrittenHash*>(written); // nobody else reads it
    own->write(key, std::move(value));
}

void PelkHash::remove(const QString& key)
{
    if (!contains(key))
        return;
    QVariantHash rest = hash();
    rest.remove(key);
    *this = PelkHash(rest);
}

QString PelkHash::toString() const
{
    const QVariantHash all = hash();
    QStringList keys = all.keys();
    std::sort(keys.begin(), keys.end());
    QStringList texts;
    for (const QString& key : qAsConst(keys))
        texts << key + QLatin1String(": ") + pelkToString(all.value(key));
    return QLatin1Char('{') + texts.join(QLatin1String(", ")) + QLatin1Char('}');
}

bool PelkHash::operator==(const PelkHash& other) const
{
    return m_data == other.m_data || hash() == other.hash();
}

QDebug operator<<(QDebug debug, const PelkHash& record)
{
    return std::move(debug) << record.hash();
}

QString pelkToString(const QVariant& value)
{
    if (value.userType() == qMetaTypeId<PelkHash>())
        return PelkHash::fromVariant(value).toString();
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

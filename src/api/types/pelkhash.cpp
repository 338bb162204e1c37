#include "api/types/pelkhash.h"

#include <QStringList>

#include <algorithm>

namespace {

QList<PelkHash> recordsIn(const QVariant& value)
{
    const QVariantList items = value.toList();
    QList<PelkHash> records;
    records.reserve(items.size());
    for (const QVariant& item : items)
        records.append(PelkHash::fromVariant(item));
    return records;
}

/// What was written, over what it was written into.
class WrittenHash final : public PelkHashData
{
public:
    explicit WrittenHash(const QVariantHash& hash)
        : PelkHashData(Written)
        , m_hash(hash)
    {
    }
    explicit WrittenHash(const QExplicitlySharedDataPointer<const PelkHashData>& base)
        : PelkHashData(Written)
        , m_base(base)
    {
    }

    void write(const QString& key, const QVariant& value) { m_hash.insert(key, value); }

    bool isEmpty() const override { return m_hash.isEmpty() && (!m_base || m_base->isEmpty()); }
    bool read(const QString& key, QVariant* value) const override
    {
        const auto it = m_hash.constFind(key);
        if (it == m_hash.constEnd())
            return m_base && m_base->read(key, value);
        if (value)
            *value = *it;
        return true;
    }
    PelkHash record(const QString& key) const override
    {
        const auto it = m_hash.constFind(key);
        if (it == m_hash.constEnd())
            return m_base ? m_base->record(key) : PelkHash();
        return PelkHash::fromVariant(*it);
    }
    QList<PelkHash> records(const QString& key) const override
    {
        const auto it = m_hash.constFind(key);
        if (it == m_hash.constEnd())
            return m_base ? m_base->records(key) : QList<PelkHash>();
        return recordsIn(*it);
    }
    QVariantHash hash() const override
    {
        if (!m_base)
            return m_hash;
        QVariantHash hash = m_base->hash();
        for (auto it = m_hash.begin(); it != m_hash.end(); ++it)
            hash.insert(it.key(), *it);
        return hash;
    }

private:
    QVariantHash m_hash;
    QExplicitlySharedDataPointer<const PelkHashData> m_base;
};

// A record inside a variant and a hash inside a variant turn into each other, and are compared as such.
const bool hashRegistered = QMetaType::registerConverter<PelkHash, QVariantHash>(
                                [](const PelkHash& record) { return record.hash(); }) &&
                            QMetaType::registerConverter<QVariantHash, PelkHash>(
                                [](const QVariantHash& hash) { return PelkHash(hash); }) &&
                            QMetaType::registerEqualsComparator<PelkHash>();

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

void PelkHash::insert(const QString& key, const QVariant& value)
{
    const auto* written = m_data && m_data->kind == PelkHashData::Written
                              ? static_cast<const WrittenHash*>(m_data.data())
                              : nullptr;
    WrittenHash* own = nullptr;
    if (!written)
        own = new WrittenHash(m_data);
    else if (written->ref.loadRelaxed() != 1)
        own = new WrittenHash(*written);
    if (own)
        m_data = own;
    else
        own = const_cast<WrittenHash*>(written); // nobody else reads it
    own->write(key, value.userType() == qMetaTypeId<PelkHash>() ? QVariant(value.toHash()) : value);
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

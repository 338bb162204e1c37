#pragma once

#include "api/types/export.h"

#include <QHash>
#include <QMetaType>
#include <QString>
#include <QVariant>

/// A string-to-variant hash: what every record of the content model and of a service is made of.
///
/// A value with implicit sharing; like every such value it may be read by several threads at once and is
/// changed by one. A key that is absent or null reads as an invalid variant.
class PELK_TYPES_EXPORT PelkHash
{
public:
    PelkHash() = default;
    PelkHash(const QHash<QString, QVariant>& hash)
        : m_hash(hash)
    {
    } // NOLINT: a hash is a record without a name

    bool isEmpty() const { return m_hash.isEmpty(); }
    bool contains(const QString& key) const { return m_hash.contains(key); }
    QVariant value(const QString& key) const { return m_hash.value(key); }
    void insert(const QString& key, const QVariant& value) { m_hash.insert(key, value); }
    void remove(const QString& key) { m_hash.remove(key); }

    /// The wrapped hash.
    const QHash<QString, QVariant>& hash() const { return m_hash; }
    /// The wrapped hash as one variant, the way a record stands inside another one.
    QVariant variant() const { return m_hash; }
    /// A text for logs: the keys in alphabetic order with their values, nested records included. Nothing is
    /// masked.
    QString toString() const;

    bool operator==(const PelkHash& other) const { return m_hash == other.m_hash; }
    bool operator!=(const PelkHash& other) const { return !(*this == other); }

private:
    QHash<QString, QVariant> m_hash;
};

/// A variant as text for logs, in the form of PelkHash::toString().
PELK_TYPES_EXPORT QString pelkToString(const QVariant& value);

Q_DECLARE_METATYPE(PelkHash)

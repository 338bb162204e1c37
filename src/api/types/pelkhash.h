#pragma once

#include "api/types/export.h"
#include "api/types/pelkhashdata.h"

#include <QHash>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>

class QDebug;

/// A string-to-variant hash: what every record of the content model and of a service is made of.
///
/// An implicitly shared value: several threads may read it at once, and one may change it. A key that is
/// absent or null reads as an invalid variant. A record may read directly from a parsed text, with the same
/// results; then only the keys that are read cost time.
class PELK_TYPES_EXPORT PelkHash
{
public:
    PelkHash() = default;
    PelkHash(const QHash<QString, QVariant>& hash); // NOLINT: a hash is a record without a name
    /// A record that reads from elsewhere; takes part in owning it.
    explicit PelkHash(const PelkHashData* data)
        : m_data(data)
    {
    }
    /// The record inside a variant, which may contain a hash or a record; otherwise empty.
    static PelkHash fromVariant(const QVariant& value);

    bool isEmpty() const { return !m_data || m_data->isEmpty(); }
    bool contains(const QString& key) const { return entry(key, nullptr); }
    QVariant value(const QString& key) const;
    /// False if the key is absent; otherwise `value`, if given, is set.
    bool read(const QString& key, QVariant* value) const;
    /// The same, but a stored record may be returned as a PelkHash, which saves creating a hash.
    bool entry(const QString& key, QVariant* value) const { return m_data && m_data->read(key, value); }
    /// The value of a key as QVariant::toString() gives it.
    QString text(const QString& key) const;
    /// The record at a key; empty if there is none. Unlike value(), does not create a hash.
    PelkHash record(const QString& key) const;
    /// The list at a key, with an empty record for each item that is none.
    QList<PelkHash> records(const QString& key) const;

    void insert(const QString& key, QVariant value);
    void remove(const QString& key);

    /// The wrapped hash: a QVariantHash at every depth. Made anew with each call.
    QHash<QString, QVariant> hash() const { return m_data ? m_data->hash() : QHash<QString, QVariant>(); }
    /// The wrapped hash as one variant, as a record is stored inside another one.
    QVariant variant() const { return hash(); }
    /// A text for logs: the keys in alphabetic order with their values, nested records included. Nothing is
    /// masked.
    QString toString() const;

    bool operator==(const PelkHash& other) const;
    bool operator!=(const PelkHash& other) const { return !(*this == other); }

private:
    QExplicitlySharedDataPointer<const PelkHashData> m_data; // changed only where nobody shares it
};

PELK_TYPES_EXPORT QDebug operator<<(QDebug debug, const PelkHash& record);

/// A variant as text for logs, in the form of PelkHash::toString().
PELK_TYPES_EXPORT QString pelkToString(const QVariant& value);

Q_DECLARE_TYPEINFO(PelkHash, Q_MOVABLE_TYPE);
Q_DECLARE_METATYPE(PelkHash)

#pragma once

#include "api/types/pelkhash.h"
#include "api/types/pelkhashdata.h"

#include <QVarLengthArray>

#include <array>

/// A value with a QVariantHash in place of a PelkHash.
inline QVariant withHash(const QVariant& value)
{
    return value.userType() == qMetaTypeId<PelkHash>() ? QVariant(PelkHash::fromVariant(value).hash())
                                                       : value;
}

/// An entry of a record that was written.
struct WrittenEntry
{
    QString key;
    QVariant value; ///< a record is stored as a PelkHash
};
Q_DECLARE_TYPEINFO(WrittenEntry, Q_MOVABLE_TYPE);

/// Written values on top of the data into which they were written.
///
/// Records have few keys, nearly always constants of the program, which compare by address. So the first keys
/// are stored in one block of memory and searched one by one, whereas a QHash allocates memory for each;
/// further keys are stored in a QHash.
class WrittenHash final : public PelkHashData
{
public:
    explicit WrittenHash(const QVariantHash& hash)
        : PelkHashData(Written)
        , m_rest(hash)
    {
    }
    explicit WrittenHash(const QExplicitlySharedDataPointer<const PelkHashData>& base)
        : PelkHashData(Written)
        , m_base(base)
    {
    }

    /// Only if nobody else reads it.
    void write(const QString& key, QVariant&& value);

    bool isEmpty() const override
    {
        return m_first.isEmpty() && m_rest.isEmpty() && (!m_base || m_base->isEmpty());
    }
    bool read(const QString& key, QVariant* value) const override;
    QString text(const QString& key) const override;
    PelkHash record(const QString& key) const override;
    QList<PelkHash> records(const QString& key) const override;
    QHash<QString, QVariant> hash() const override;

private:
    static constexpr int mostInLine = 16;

    /// The index of the key in m_first; its size if it is absent.
    int placeOf(const QString& key, ushort mark) const;
    const QVariant* find(const QString& key) const;

    // The hash values of the keys in m_first, which distinguish nearly all keys without comparing them.
    std::array<ushort, mostInLine> m_marks{};
    QVarLengthArray<WrittenEntry, mostInLine> m_first;
    QVariantHash m_rest; // has no key of m_first, and no PelkHash
    QExplicitlySharedDataPointer<const PelkHashData> m_base;
};

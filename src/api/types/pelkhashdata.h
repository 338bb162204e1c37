#pragma once

#include "api/types/export.h"

#include <QHash>
#include <QList>
#include <QSharedData>
#include <QString>
#include <QVariant>

class PelkHash;

/// Where a PelkHash reads from: entries that were written one by one, a QHash, or a text that is read only as
/// far as it is asked for. Any number of threads may read it at once, so it keeps nothing that it found out.
class PELK_TYPES_EXPORT PelkHashData : public QSharedData
{
public:
    /// What a record writes into, and what it only reads.
    enum Kind
    {
        Read,
        Written
    };
    const Kind kind;

    virtual ~PelkHashData();
    PelkHashData& operator=(const PelkHashData&) = delete;

    virtual bool isEmpty() const = 0;
    /// False where the key is absent; else its value goes to `value`, if that is given: a record as a
    /// PelkHash if it was put in as one, else as a QVariantHash.
    virtual bool read(const QString& key, QVariant* value) const = 0;
    /// The value as QVariant::toString() gives it.
    virtual QString text(const QString& key) const;
    /// The record at a key; empty where there is none.
    virtual PelkHash record(const QString& key) const = 0;
    /// The list at a key, with an empty record for each item that is none.
    virtual QList<PelkHash> records(const QString& key) const = 0;
    /// All of it, a QVariantHash at every depth.
    virtual QHash<QString, QVariant> hash() const = 0;

protected:
    explicit PelkHashData(Kind dataKind = Read)
        : kind(dataKind)
    {
    }
    PelkHashData(const PelkHashData&) = default;
};

#pragma once

#include "api/types/export.h"

#include <QHash>
#include <QList>
#include <QSharedData>
#include <QString>
#include <QVariant>

class PelkHash;

/// The source of a PelkHash: entries that were written one by one, a QHash, or a text whose keys are read on
/// demand. Any number of threads may read it at once, so it caches nothing.
class PELK_TYPES_EXPORT PelkHashData : public QSharedData
{
public:
    /// The data that a record writes, and the data that it only reads.
    enum Kind
    {
        Read,
        Written
    };
    const Kind kind;

    virtual ~PelkHashData();
    PelkHashData& operator=(const PelkHashData&) = delete;

    virtual bool isEmpty() const = 0;
    /// False if the key is absent; otherwise `value`, if given, is set: a record that was stored as a
    /// PelkHash stays one, any other becomes a QVariantHash.
    virtual bool read(const QString& key, QVariant* value) const = 0;
    /// The value as QVariant::toString() gives it.
    virtual QString text(const QString& key) const;
    /// The record at a key; empty if there is none.
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

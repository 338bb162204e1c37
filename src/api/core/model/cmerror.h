#pragma once

#include "api/core/export.h"
#include "api/types/pelkhash.h"
#include "api/types/trstring.h"

/// Why an operation failed: a record of a name for programs, a title and a message for people, and data.
///
/// An empty record means no error; an error always has a name.
class PELK_API_EXPORT CMError : public PelkHash
{
public:
    CMError() = default;
    explicit CMError(const PelkHash& hash)
        : PelkHash(hash)
    {
    }
    /// An error with the default name and title and this message; `data` is for programs and may be empty.
    explicit CMError(const TrString& message, const QVariantHash& data = QVariantHash());

    // The keys of the record.
    static const QString& Name();
    static const QString& Title();
    static const QString& Message();
    static const QString& Data();

    /// The default name.
    static const QString& DefaultName();
    /// The default title.
    static TrString DefaultTitle();

    /// True for an error, false for the empty record.
    bool isSet() const { return !name().isEmpty(); }
    QString name() const { return value(Name()).toString(); }
    TrString title() const { return TrString::fromVariant(value(Title())); }
    TrString message() const { return TrString::fromVariant(value(Message())); }
    QVariantHash data() const { return value(Data()).toHash(); }
};

Q_DECLARE_METATYPE(CMError)

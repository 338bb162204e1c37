#pragma once

#include "api/types/export.h"

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include <functional>

/// The key of a translation: context, English source text, a disambiguation comment (or none) and a count for
/// plural forms (-1: none). The context is the enclosing function's signature, see trExtractContext(), or a
/// name.
struct TrCharData
{
    QByteArray context;
    QByteArray source;
    QByteArray comment = QByteArray();
    int count = -1;
};

/// One argument of a translatable text, for its place marker %1, %2, ...
struct TrArg
{
    TrArg(const QString& value)
        : text(value)
    {
    } // NOLINT: arguments are written as they are
    TrArg(int value)
        : text(QString::number(value))
    {
    } // NOLINT
    QString text;
};

/// A text shown to a person: either plain, or one that is translated when it is read.
///
/// A value. The catalogues are Qt's own: toString() asks the translators that the program has installed,
/// resolved() a catalogue of the caller's choice.
class PELK_TYPES_EXPORT TrString
{
public:
    TrString() = default;
    TrString(const QString& plain)
        : m_plain(plain)
    {
    } // NOLINT: names from a service are texts as they are
    TrString(const TrCharData& data, const QList<TrArg>& arguments);

    /// The text in the program's language, with every place marker filled in one pass, so that a percent sign
    /// inside an argument stays what it is.
    QString toString() const;

    /// Looks up a text in one language; null if it has no translation.
    using Resolver = std::function<QString(const TrString& text)>;
    /// Like toString(), but in the language of the resolver, without the program's own translators: for
    /// programs that use several languages at the same time. Without a translation, returns the source text.
    QString resolved(const Resolver& resolver) const;

    bool isTranslatable() const { return !m_source.isNull(); }
    QByteArray context() const { return m_context; }
    QByteArray source() const { return m_source; }
    QByteArray comment() const { return m_comment; }
    int count() const { return m_count; }
    const QList<TrArg>& arguments() const { return m_arguments; }

    /// The text as it is stored in a record: a plain one as a string, a translatable one as itself (which
    /// QVariant::toString() resolves).
    operator QVariant() const; // NOLINT: records hold variants
    static TrString fromVariant(const QVariant& value);

    bool operator==(const TrString& other) const;
    bool operator!=(const TrString& other) const { return !(*this == other); }

private:
    QString m_plain;
    QByteArray m_context;
    QByteArray m_source;
    QByteArray m_comment;
    int m_count = -1;
    QList<TrArg> m_arguments;
};

/// A function's signature, as the compiler gives it (Q_FUNC_INFO), in GCC's spelling: the context of the
/// function's texts, which must not change with the compiler. GCC names the arguments of a function template
/// around a lambda and Clang does not; such a context has to be written out.
PELK_TYPES_EXPORT QByteArray trExtractContext(const char* signature);

Q_DECLARE_METATYPE(TrString)

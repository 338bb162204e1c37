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

/// A text for display: either plain, or translated when it is read.
///
/// A value. The catalogues are Qt's: toString() uses the translators that the program has installed,
/// resolved() a catalogue that the caller chooses.
class PELK_TYPES_EXPORT TrString
{
public:
    TrString() = default;
    TrString(const QString& plain)
        : m_plain(plain)
    {
    } // NOLINT: names from a service are texts as they are
    TrString(const TrCharData& data, const QList<TrArg>& arguments);

    /// The text in the program's language. All place markers are replaced in one pass, so that a percent sign
    /// inside an argument is not treated as one.
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

/// Converts a function's signature from the compiler (Q_FUNC_INFO) to GCC's spelling. It is the context of
/// the function's texts, which must not depend on the compiler. GCC names the arguments of a function
/// template around a lambda and Clang does not; write such a context as a literal.
PELK_TYPES_EXPORT QByteArray trExtractContext(const char* signature);

Q_DECLARE_METATYPE(TrString)

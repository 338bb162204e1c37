#pragma once

#include "api/core/export.h"
#include "api/core/json/pelkerror.h"

#include <QByteArray>
#include <QVariant>

/// JSON (RFC 8259) to and from variants. Every function may be called on any thread; none blocks.
class PELK_API_EXPORT PelkJson
{
public:
    /// Maximum nesting depth of arrays and objects.
    static constexpr int maxDepth = 128;
    static constexpr int maxBytes = 64 * 1024 * 1024;

    /// Reads one JSON value, of any kind, from UTF-8.
    ///
    /// Objects become PelkHash and arrays QVariantList; of equal keys the last one counts. A PelkHash keeps
    /// the parsed text and reads keys on demand, so unread keys cost nothing; QVariant::toHash() converts it
    /// to a QVariantHash, at every depth. Integers become qlonglong, those above its range qulonglong, and
    /// larger ones, like fractions, double. null becomes an invalid QVariant, so that it reads like an absent
    /// key.
    ///
    /// Four things that no standard allows but encoders send are read too: a byte order mark in front, a
    /// lone half of a surrogate pair, a raw control character in a string, an escaped character that needs
    /// none.
    ///
    /// On failure, an empty text included, the result is invalid, the error has a message that names the
    /// offset in bytes, and `offset`, if given, receives it. On success the error is left as it is and
    /// `offset` becomes 0.
    static QVariant parse(const QByteArray& body, PelkError& error, unsigned int* offset = nullptr);

    /// Writes compact JSON in UTF-8, with sorted keys, so that equal values give equal bytes. Integers keep
    /// their 64 bits; numbers that are not finite become null; other types are written as the text to which
    /// they convert, or as null.
    static QByteArray serialize(const QVariant& value);
};

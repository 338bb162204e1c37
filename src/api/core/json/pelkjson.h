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
    /// the text's parts and reads them as it is asked, so that a key nobody asks for costs nothing;
    /// QVariant::toHash() makes a QVariantHash of it, at every depth.
    /// Integers become qlonglong, those above its range qulonglong, and larger ones, like fractions, double.
    /// null becomes an invalid QVariant, so that it reads like an absent key.
    ///
    /// Four things that no standard allows but encoders send are read too: a byte order mark in front, a
    /// lone half of a surrogate pair, a raw control character in a string, an escaped character that needs
    /// none.
    ///
    /// On failure, an empty text included, the result is invalid, the error has a message that names the
    /// offset in bytes, and `offset`, if given, receives it. On success the error is left as it is and
    /// `offset` becomes 0.
    static QVariant parse(const QByteArray& body, PelkError& error, unsigned int* offset = nullptr);

    /// Writes compact JSON in UTF-8, keys in the order of their characters, so that equal values give equal
    /// bytes. Integers keep their 64 bits; what is not finite becomes null; a type that JSON has no word for
    /// is written as the text it converts to, or null.
    static QByteArray serialize(const QVariant& value);
};

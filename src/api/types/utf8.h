#pragma once

#include <QByteArray>
#include <QString>

#include <cstring>

/// The text of these bytes, all of it. Qt's own function stops at the null character of a QByteArray, and
/// leaves a byte order mark out that a text begins with.
inline QString textOfUtf8(const char* bytes, int size)
{
    QString marks;
    while (size >= 3 && std::memcmp(bytes, "\xEF\xBB\xBF", 3) == 0) {
        marks += QChar(0xFEFF);
        bytes += 3;
        size -= 3;
    }
    return marks + QString::fromUtf8(bytes, qMax(size, 0)); // Qt would take -1 for a text that ends in a null
}

inline QString textOfUtf8(const QByteArray& bytes)
{
    return textOfUtf8(bytes.constData(), bytes.size());
}

#pragma once

#include <QByteArray>
#include <QString>

#include <cstring>

/// The text of these bytes, all of it. Qt's own function stops at the null character of a QByteArray, and
/// leaves a byte order mark out that a text begins with.
inline QString textOfUtf8(const char* bytes, int size)
{
    int marks = 0;
    while (size >= 3 && std::memcmp(bytes, "\xEF\xBB\xBF", 3) == 0) {
        ++marks;
        bytes += 3;
        size -= 3;
    }
    // Qt would take -1 for a text that ends in a null.
    const QString text = QString::fromUtf8(bytes, qMax(size, 0));
    return marks == 0 ? text : QString(marks, QChar(0xFEFF)) + text;
}

inline QString textOfUtf8(const QByteArray& bytes)
{
    return textOfUtf8(bytes.constData(), bytes.size());
}

#pragma once

#include <QString>
#include <QVariant>

/// Looks at every part of a value, so that one that points to memory which is not its own shows under a
/// sanitizer.
inline void readValue(const QString& text)
{
    volatile ushort last = 0;
    for (const QChar c : text)
        last = c.unicode();
    Q_UNUSED(last)
}

inline void readValue(const QVariant& value)
{
    readValue(value.toString());
}

inline void readValue(const QVariantList& list)
{
    for (const QVariant& item : list)
        readValue(item);
}

template <typename Number>
void readValue(Number value)
{
    volatile Number copy = value;
    Q_UNUSED(copy)
}

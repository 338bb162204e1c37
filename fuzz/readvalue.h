#pragma once

#include <QString>
#include <QVariant>

/// Reads every part of a value, so that a sanitizer detects pointers to foreign memory.
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

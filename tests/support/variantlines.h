#pragma once

#include "api/types/pelkhash.h"
#include "api/types/trstring.h"

#include <QStringList>
#include <QVariant>

/// The leaves of a variant: one line per leaf, with its place, type and value, in alphabetical order. Two
/// variants have equal lines only if their types are equal too, which QVariant's comparison does not require;
/// and a comparison of the lists names the first difference. A record counts as the hash to which it
/// converts: records and hashes are not distinguished.
inline QStringList variantLines(const QVariant& value, const QString& place = QString())
{
    if (value.userType() == qMetaTypeId<PelkHash>())
        return variantLines(value.toHash(), place);
    const QString head = place + QStringLiteral(": ") + QLatin1String(value.typeName());
    QStringList lines;
    switch (value.userType()) {
    case QMetaType::QVariantHash: {
        const QVariantHash hash = value.toHash();
        if (hash.isEmpty())
            return {head};
        for (auto it = hash.begin(); it != hash.end(); ++it)
            lines += variantLines(it.value(), place + QLatin1Char('/') + it.key());
        lines.sort();
        return lines;
    }
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        lines << head + QStringLiteral(" of ") + QString::number(list.size());
        for (int i = 0; i < list.size(); ++i)
            lines += variantLines(list.at(i), place + QLatin1Char('/') + QString::number(i));
        return lines;
    }
    default:
        break;
    }
    if (!value.isValid())
        return {place + QStringLiteral(": invalid")};
    if (value.userType() == qMetaTypeId<TrString>()) {
        const TrString text = value.value<TrString>();
        return {head + QStringLiteral(" \"") + QString::fromUtf8(text.source()) + QStringLiteral("\" of \"") +
                QString::fromUtf8(text.context()) + QStringLiteral("\", read as \"") + text.toString() +
                QLatin1Char('"')};
    }
    return {head + QStringLiteral(" \"") + value.toString() + QLatin1Char('"')};
}

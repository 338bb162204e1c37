#pragma once

#include "api/types/pelkhash.h"

#include <QList>

/// A list of records of one type. Inside a record it stands as a list of hashes.
template <typename T>
class PelkList : public QList<T>
{
public:
    using QList<T>::QList;

    /// Reads the list out of a record's field; anything that is not a list reads as empty.
    static PelkList fromVariant(const QVariant& value)
    {
        PelkList list;
        const QVariantList items = value.toList();
        list.reserve(items.size());
        for (const QVariant& item : items)
            list.append(T(PelkHash(item.toHash())));
        return list;
    }

    /// The list as it stands inside a record.
    QVariant variant() const
    {
        QVariantList items;
        items.reserve(this->size());
        for (const T& item : *this)
            items.append(item.variant());
        return items;
    }
};

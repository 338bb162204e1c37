#pragma once

#include "api/types/pelkhash.h"

#include <QList>

#include <type_traits>

/// A list of records of one type. Inside a record it is stored as a list of hashes.
template <typename T>
class PelkList : public QList<T>
{
public:
    using QList<T>::QList;

    /// Makes records of the type of these.
    static PelkList fromRecords(const QList<PelkHash>& records)
    {
        PelkList list;
        if constexpr (std::is_same_v<T, PelkHash>) {
            list.QList<PelkHash>::operator=(records);
        } else {
            list.reserve(records.size());
            for (const PelkHash& record : records)
                list.append(T(record));
        }
        return list;
    }

    /// The list as it is stored inside a record.
    QVariant variant() const
    {
        QVariantList items;
        items.reserve(this->size());
        for (const T& item : *this)
            items.append(item.variant());
        return items;
    }
};

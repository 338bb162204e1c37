#include "api/types/writtenhash.h"

#include <utility>

namespace {

QList<PelkHash> recordsIn(const QVariant& value)
{
    const QVariantList items = value.toList();
    QList<PelkHash> records;
    records.reserve(items.size());
    for (const QVariant& item : items)
        records.append(PelkHash::fromVariant(item));
    return records;
}

/// A number that distinguishes most texts.
ushort markOf(const QString& key)
{
    const int size = key.size();
    if (size == 0)
        return 0;
    const QChar* letters = key.constData();
    return static_cast<ushort>(size + 31 * letters[0].unicode() + 37 * letters[size - 1].unicode());
}

} // namespace

int WrittenHash::placeOf(const QString& key, ushort mark) const
{
    const WrittenEntry* entries = m_first.constData();
    const int size = m_first.size();
    int place = 0;
    while (place < size &&
           (m_marks[place] != mark || (!entries[place].key.isSharedWith(key) && entries[place].key != key)))
        ++place;
    return place;
}

void WrittenHash::write(const QString& key, QVariant&& value)
{
    const ushort mark = markOf(key);
    const int place = placeOf(key, mark);
    if (place < m_first.size()) {
        m_first[place].value = std::move(value);
    } else if (place < mostInLine && (m_rest.isEmpty() || !m_rest.contains(key))) {
        m_marks[place] = mark;
        m_first.append(WrittenEntry{key, std::move(value)});
    } else {
        m_rest.insert(key, withHash(value));
    }
}

const QVariant* WrittenHash::find(const QString& key) const
{
    const int place = placeOf(key, markOf(key));
    if (place < m_first.size())
        return &m_first.constData()[place].value;
    if (m_rest.isEmpty())
        return nullptr;
    const auto rest = m_rest.constFind(key);
    return rest == m_rest.constEnd() ? nullptr : &*rest;
}

bool WrittenHash::read(const QString& key, QVariant* value) const
{
    const QVariant* found = find(key);
    if (!found)
        return m_base && m_base->read(key, value);
    if (value)
        *value = *found;
    return true;
}

QString WrittenHash::text(const QString& key) const
{
    const QVariant* found = find(key);
    if (!found)
        return m_base ? m_base->text(key) : QString();
    return found->toString();
}

PelkHash WrittenHash::record(const QString& key) const
{
    const QVariant* found = find(key);
    if (!found)
        return m_base ? m_base->record(key) : PelkHash();
    return PelkHash::fromVariant(*found);
}

QList<PelkHash> WrittenHash::records(const QString& key) const
{
    const QVariant* found = find(key);
    if (!found)
        return m_base ? m_base->records(key) : QList<PelkHash>();
    return recordsIn(*found);
}

QVariantHash WrittenHash::hash() const
{
    QVariantHash hash = m_base ? m_base->hash() : m_rest;
    for (auto it = m_rest.begin(); m_base && it != m_rest.end(); ++it)
        hash.insert(it.key(), *it);
    for (const WrittenEntry& entry : m_first)
        hash.insert(entry.key, withHash(entry.value));
    return hash;
}

#include "player/play/PlayQueue.h"

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"

#include <QSet>

#include <algorithm>

namespace {

int newId()
{
    static int last = 0;
    return ++last;
}

} // namespace

PlayQueue::PlayQueue(QObject* parent)
    : QObject(parent)
{
}

bool PlayQueue::isPlayable(const PelkRoles& row)
{
    return !row.mediaData().metaData().prePlayPath().isEmpty();
}

int PlayQueue::indexOf(int id) const
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [id](const QueueEntry& entry) { return entry.id == id; });
    return found == m_entries.end() ? -1 : int(found - m_entries.begin());
}

QVector<int> PlayQueue::add(const QVector<PelkRoles>& rows, Where where)
{
    if (where == Where::Replace)
        return replace(rows, ++m_turn);
    return where == Where::Next ? addAfter(m_current, rows) : insert(m_entries.size(), rows, 0);
}

QVector<int> PlayQueue::replace(const QVector<PelkRoles>& rows, int turn)
{
    m_entries.clear();
    m_current = 0;
    m_replacedTurn = turn;
    if (m_growing.contains(turn))
        m_growing[turn] = false;
    const QVector<int> ids = insert(0, rows, 0);
    Q_EMIT settled();
    return ids;
}

QVector<int> PlayQueue::addAfter(int id, const QVector<PelkRoles>& rows)
{
    const int index = indexOf(id);
    return index >= 0 ? insert(index + 1, rows, id) : insert(m_entries.size(), rows, 0);
}

QVector<int> PlayQueue::insert(int index, const QVector<PelkRoles>& rows, int after)
{
    const int count = qMin(rows.size(), mostEntries - m_entries.size());
    QVector<int> ids;
    ids.reserve(count);
    m_entries.insert(index, count, QueueEntry());
    for (int i = 0; i < count; ++i) {
        m_entries[index + i] = QueueEntry{newId(), rows.at(i)};
        ids.append(m_entries.at(index + i).id);
    }
    if (!ids.isEmpty())
        Q_EMIT added(ids, after);
    tellChange();
    return ids;
}

bool PlayQueue::remove(const QVector<int>& ids)
{
    const QSet<int> gone(ids.begin(), ids.end());
    const auto end = std::remove_if(m_entries.begin(), m_entries.end(),
                                    [&gone](const QueueEntry& entry) { return gone.contains(entry.id); });
    if (end == m_entries.end())
        return false;
    m_entries.erase(end, m_entries.end());
    tellChange();
    return true;
}

bool PlayQueue::move(int id, int beforeId)
{
    const int from = indexOf(id);
    if (from < 0 || (beforeId != 0 && indexOf(beforeId) < 0))
        return false;
    if (id != beforeId) {
        const QueueEntry entry = m_entries.takeAt(from);
        m_entries.insert(beforeId == 0 ? m_entries.size() : indexOf(beforeId), entry);
    }
    tellChange();
    return true;
}

void PlayQueue::clear()
{
    m_entries.clear();
    m_replacedTurn = ++m_turn;
    tellChange();
    Q_EMIT settled();
}

int PlayQueue::beginGrowth(bool replaces)
{
    m_growing.insert(++m_turn, replaces);
    return m_turn;
}

void PlayQueue::endGrowth(int turn)
{
    m_growing.remove(turn);
    Q_EMIT settled();
    if (!isGrowing())
        Q_EMIT changed();
}

bool PlayQueue::isToBeReplaced(int turn) const
{
    for (auto it = m_growing.upperBound(m_replacedTurn); it != m_growing.end() && it.key() < turn; ++it)
        if (it.value())
            return true;
    return false;
}

void PlayQueue::tellChange()
{
    ++m_revision;
    Q_EMIT changed();
}

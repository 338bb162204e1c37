#include "player/play/PlayQueue.h"

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"

#include <QHash>

#include <algorithm>

namespace {

int newId()
{
    static int last = 0;
    return ++last;
}

template <typename List>
QSet<int> setOf(const List& ids)
{
    return QSet<int>(ids.begin(), ids.end());
}

} // namespace

PlayQueue::PlayQueue(QObject* parent)
    : QObject(parent)
{
    connect(&m_turns, &QueueTurns::allEnded, this, &PlayQueue::changed);
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

QVector<int> PlayQueue::add(const QVector<PelkRoles>& rows, Where where, const CMPath& source)
{
    if (where == Where::Replace)
        return replace(rows, 0, source);
    m_undo.reset();
    return insert(where == Where::Next ? m_current : 0, rows, source);
}

QVector<int> PlayQueue::replace(const QVector<PelkRoles>& rows, int turn, const CMPath& source)
{
    if (m_entries.isEmpty())
        m_undo.reset(); // this replaces nothing
    empty(turn);
    const QVector<int> ids = insert(0, rows, source);
    if (m_undo && !ids.isEmpty())
        m_undo->lastOfReplacement = ids.last();
    return ids;
}

QVector<int> PlayQueue::addAfter(int id, const QVector<PelkRoles>& rows, const CMPath& source)
{
    const bool isReplacement = m_undo && id != 0 && m_undo->lastOfReplacement == id;
    if (!isReplacement)
        m_undo.reset();
    const QVector<int> ids = insert(m_shuffled && isReplacement ? 0 : id, rows, source);
    if (isReplacement && !ids.isEmpty())
        m_undo->lastOfReplacement = ids.last();
    return ids;
}

/// Adds rows after an entry. If the entry is missing, adds them at the end or, while shuffled, at random
/// places.
QVector<int> PlayQueue::insert(int after, const QVector<PelkRoles>& rows, const CMPath& source)
{
    const int count = qMin(rows.size(), mostEntries - m_entries.size());
    QVector<QueueEntry> fresh;
    QVector<int> ids;
    fresh.reserve(count);
    ids.reserve(count);
    for (int i = 0; i < count; ++i) {
        fresh.append(QueueEntry{newId(), rows.at(i), source});
        ids.append(fresh.last().id);
    }
    const int index = indexOf(after);
    const int place = index < 0 ? m_entries.size() : index + 1;
    if (m_shuffled) {
        const int ownIndex = index < 0 ? -1 : m_unshuffled.indexOf(after);
        const int own = ownIndex < 0 ? m_unshuffled.size() : ownIndex + 1;
        m_unshuffled = m_unshuffled.mid(0, own) + ids + m_unshuffled.mid(own);
    }
    if (m_shuffled && index < 0) {
        spread(fresh);
    } else {
        if (m_shuffled)
            m_playNextIds += setOf(ids);
        m_entries = m_entries.mid(0, place) + fresh + m_entries.mid(place);
    }
    reportChange();
    return ids;
}

/// Inserts entries at random places after the current entry and after the entries added with "Play next".
void PlayQueue::spread(const QVector<QueueEntry>& fresh)
{
    int from = indexOf(m_current) + 1;
    while (from < m_entries.size() && m_playNextIds.contains(m_entries.at(from).id))
        ++from;
    QVector<QueueEntry> mixed = fresh;
    std::shuffle(mixed.begin(), mixed.end(), m_random);
    const QVector<QueueEntry> rest = m_entries.mid(from);
    m_entries.resize(from);
    int taken = 0;
    for (int left = rest.size() + mixed.size(); left > 0; --left) {
        const bool isFresh = m_random.bounded(left) < mixed.size() - taken;
        m_entries.append(isFresh ? mixed.at(taken++) : rest.at(rest.size() - left + mixed.size() - taken));
    }
}

bool PlayQueue::remove(const QVector<int>& ids)
{
    const QSet<int> gone = setOf(ids);
    const auto isGone = [&gone](const QueueEntry& entry) { return gone.contains(entry.id); };
    const int lost = int(std::count_if(m_entries.begin(), m_entries.end(), isGone));
    if (lost == 0)
        return false;
    keepForUndo(lost);
    if (m_current != 0 && gone.contains(m_current)) {
        const auto successor =
            std::find_if_not(m_entries.begin() + indexOf(m_current), m_entries.end(), isGone);
        m_current = successor == m_entries.end() ? 0 : successor->id;
    }
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(), isGone), m_entries.end());
    if (m_current == 0 && m_undo->current != 0 && gone.contains(m_undo->current) &&
        m_repeat == RepeatMode::All)
        m_current = first();
    m_unshuffled.erase(std::remove_if(m_unshuffled.begin(), m_unshuffled.end(),
                                      [&gone](int id) { return gone.contains(id); }),
                       m_unshuffled.end());
    m_playNextIds -= gone;
    reportChange();
    return true;
}

bool PlayQueue::move(const QVector<int>& ids, int beforeId)
{
    const QSet<int> moved = setOf(ids);
    const auto isMoved = [&moved](const QueueEntry& entry) { return moved.contains(entry.id); };
    const auto before = beforeId == 0 ? m_entries.end() : m_entries.begin() + indexOf(beforeId);
    if ((beforeId != 0 && indexOf(beforeId) < 0) || std::none_of(m_entries.begin(), m_entries.end(), isMoved))
        return false;
    m_undo.reset();
    std::stable_partition(m_entries.begin(), before,
                          [&isMoved](const auto& entry) { return !isMoved(entry); });
    std::stable_partition(before, m_entries.end(), isMoved);
    reportChange();
    return true;
}

void PlayQueue::clear()
{
    empty(0);
    reportChange();
}

void PlayQueue::empty(int turn)
{
    if (!m_entries.isEmpty())
        keepForUndo(m_entries.size());
    m_entries.clear();
    m_unshuffled.clear();
    m_playNextIds.clear();
    m_current = 0;
    m_turns.emptied(turn);
}

int PlayQueue::next(bool byItself) const
{
    return byItself && m_repeat == RepeatMode::One && m_current != 0 ? m_current : around(1);
}

int PlayQueue::around(int step) const
{
    if (m_entries.isEmpty())
        return 0;
    const int index = indexOf(m_current);
    if (index < 0)
        return step > 0 ? m_entries.first().id : m_entries.last().id;
    const int wanted = index + step;
    if (wanted >= 0 && wanted < m_entries.size())
        return m_entries.at(wanted).id;
    if (m_repeat != RepeatMode::All)
        return 0;
    return step > 0 ? m_entries.first().id : m_entries.last().id;
}

QVector<int> PlayQueue::unshuffled() const
{
    if (m_shuffled)
        return m_unshuffled;
    QVector<int> ids;
    ids.reserve(m_entries.size());
    for (const QueueEntry& entry : m_entries)
        ids.append(entry.id);
    return ids;
}

void PlayQueue::setShuffled(bool shuffled)
{
    if (shuffled == m_shuffled)
        return;
    m_undo.reset();
    if (shuffled) {
        m_unshuffled = unshuffled();
        std::shuffle(m_entries.begin(), m_entries.end(), m_random);
        const int current = indexOf(m_current);
        if (current > 0)
            m_entries.move(current, 0);
    } else {
        QHash<int, int> places;
        for (int i = 0; i < m_unshuffled.size(); ++i)
            places.insert(m_unshuffled.at(i), i);
        std::sort(m_entries.begin(), m_entries.end(), [&places](const QueueEntry& a, const QueueEntry& b) {
            return places.value(a.id) < places.value(b.id);
        });
        m_unshuffled.clear();
    }
    m_playNextIds.clear();
    m_shuffled = shuffled;
    reportChange();
}

void PlayQueue::keepForUndo(int lost)
{
    Q_EMIT losing();
    m_undo = Undo{m_entries, m_unshuffled, m_shuffled, m_current, lost};
}

bool PlayQueue::undo()
{
    if (!m_undo)
        return false;
    const Undo undo = *m_undo;
    m_undo.reset();
    m_entries = undo.entries;
    m_unshuffled = undo.unshuffled;
    m_playNextIds.clear();
    m_shuffled = undo.shuffled;
    if (indexOf(m_current) < 0)
        m_current = undo.current;
    m_turns.emptied();
    reportChange();
    return true;
}

void PlayQueue::restore(const QVector<PelkRoles>& rows, int current, const QVector<int>& unshuffled,
                        const QVector<CMPath>& sources)
{
    empty(0);
    m_undo.reset();
    m_shuffled = false;
    const QVector<int> ids = insert(0, rows, {});
    for (int i = 0; i < ids.size(); ++i)
        m_entries[i].source = sources.value(i);
    m_current = ids.value(current);
    const QSet<int> places = setOf(unshuffled);
    const auto isPlace = [&ids](int place) { return place >= 0 && place < ids.size(); };
    if (ids.isEmpty() || unshuffled.size() != ids.size() || places.size() != ids.size() ||
        !std::all_of(places.begin(), places.end(), isPlace))
        return;
    m_shuffled = true;
    m_unshuffled.resize(ids.size());
    for (int i = 0; i < ids.size(); ++i)
        m_unshuffled[unshuffled.at(i)] = ids.at(i);
}

void PlayQueue::reportChange()
{
    ++m_revision;
    Q_EMIT changed();
}

#include "player/play/PlayOrder.h"

#include <QRandomGenerator>

#include <algorithm>

void PlayOrder::add(const QVector<int>& ids, int after)
{
    if (!m_shuffled)
        return; // sync() takes the queue's own order
    // What was wanted next before stays that.
    int spread = m_ids.indexOf(m_current) + 1;
    while (spread < m_ids.size() && m_wantedNext.contains(m_ids.at(spread)))
        ++spread;
    const int next = m_ids.indexOf(after) + 1;
    for (int i = 0; i < ids.size(); ++i) {
        const int range = m_ids.size() - spread + 1;
        const int place = after != 0 ? next + i : spread + QRandomGenerator::global()->bounded(range);
        m_ids.insert(place, ids.at(i));
        if (after != 0)
            m_wantedNext.insert(ids.at(i));
    }
}

void PlayOrder::sync(const PlayQueue& queue)
{
    QVector<int> ids;
    QSet<int> there;
    ids.reserve(queue.entries().size());
    there.reserve(queue.entries().size());
    for (const QueueEntry& entry : queue.entries()) {
        ids.append(entry.id);
        there.insert(entry.id);
    }
    if (m_current != 0 && !there.contains(m_current)) {
        const int start = qMax(0, m_ids.indexOf(m_current));
        const auto heir =
            std::find_if(m_ids.begin() + start, m_ids.end(), [&there](int id) { return there.contains(id); });
        m_heir = heir == m_ids.end() ? 0 : *heir;
        if (m_heir == 0 && m_repeat == RepeatMode::All && !ids.isEmpty())
            m_heir = ids.first();
        m_current = 0;
    }
    if (!m_shuffled) {
        m_ids = ids;
        return;
    }
    m_ids.erase(std::remove_if(m_ids.begin(), m_ids.end(), [&there](int id) { return !there.contains(id); }),
                m_ids.end());
    m_wantedNext.intersect(there);
}

void PlayOrder::setShuffled(bool shuffled, const PlayQueue& queue)
{
    if (shuffled == m_shuffled)
        return;
    m_shuffled = shuffled;
    m_wantedNext.clear();
    if (!shuffled) {
        sync(queue);
        return;
    }
    std::shuffle(m_ids.begin(), m_ids.end(), *QRandomGenerator::global());
    const int current = m_ids.indexOf(m_current);
    if (current > 0)
        m_ids.move(current, 0);
}

int PlayOrder::next(bool byItself) const
{
    return byItself && m_repeat == RepeatMode::One ? m_current : around(1);
}

int PlayOrder::previous() const
{
    return around(-1);
}

int PlayOrder::around(int step) const
{
    if (m_ids.isEmpty())
        return 0;
    const int index = m_ids.indexOf(m_current);
    if (index < 0)
        return step > 0 ? m_ids.first() : m_ids.last();
    const int wanted = index + step;
    if (wanted >= 0 && wanted < m_ids.size())
        return m_ids.at(wanted);
    if (m_repeat != RepeatMode::All)
        return 0;
    return step > 0 ? m_ids.first() : m_ids.last();
}

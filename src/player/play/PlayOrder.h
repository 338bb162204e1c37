#pragma once

#include "player/play/PlayQueue.h"

#include <QSet>

enum class RepeatMode
{
    Off,
    One, ///< the current entry again and again, until the listener goes on
    All  ///< from the start again
};

/// In which order the entries of a queue are played. Kept in step with the queue by its owner.
class PlayOrder
{
public:
    /// Takes what came into the queue, before sync() sees it. In a shuffled order it comes right after the
    /// entry `after`; with 0 it is spread over what is still to come.
    void add(const QVector<int>& ids, int after);
    /// Forgets what has gone from the queue, and follows its order unless shuffled. When the current entry
    /// has gone, there is none any longer, and heir() says what would have followed.
    void sync(const PlayQueue& queue);

    /// The current entry; 0 is none.
    int current() const { return m_current; }
    void setCurrent(int id) { m_current = id; }

    bool isShuffled() const { return m_shuffled; }
    /// The current entry comes first in a new shuffled order.
    void setShuffled(bool shuffled, const PlayQueue& queue);
    RepeatMode repeat() const { return m_repeat; }
    void setRepeat(RepeatMode repeat) { m_repeat = repeat; }

    /// What follows the current entry; 0 at the end. `byItself`: since the current one is over, which is when
    /// RepeatMode::One repeats it.
    int next(bool byItself) const;
    /// What came before the current entry; 0 at the start.
    int previous() const;
    int first() const { return m_ids.isEmpty() ? 0 : m_ids.first(); }
    /// What followed the current entry when that went from the queue; 0 at the end.
    int heir() const { return m_heir; }

private:
    int around(int step) const;

    QVector<int> m_ids;     // in the order of playing
    QSet<int> m_wantedNext; // of a shuffled order: what was put right after an entry
    int m_current = 0;
    int m_heir = 0;
    bool m_shuffled = false;
    RepeatMode m_repeat = RepeatMode::Off;
};

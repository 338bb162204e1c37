#pragma once

#include <QMap>
#include <QObject>

/// The loaders that fill a queue page by page, in the order in which they were started, so that early pages
/// of one do not overtake another. Each has a turn; later turns have greater numbers. Main thread.
class QueueTurns : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Registers a loader and returns its turn. With `replaces`, the loader first empties the queue.
    int begin(bool replaces);
    void end(int turn);
    /// Whether a loader may still add entries.
    bool isGrowing() const { return !m_open.isEmpty(); }
    /// Whether a later turn or a listener has emptied the queue, so that this turn must add no more.
    bool isOvertaken(int turn) const { return m_emptiedTurn > turn; }
    /// Whether an earlier turn has yet to empty the queue: entries added now would be removed.
    bool isToBeReplaced(int turn) const;

    /// The queue was emptied by this turn, or (0) by the listener.
    void emptied(int turn = 0);

Q_SIGNALS:
    /// isToBeReplaced() may have changed.
    void settled();
    /// The last loader has finished.
    void allEnded();

private:
    int m_last = 0;         // the last turn that began
    int m_emptiedTurn = 0;  // the latest turn that emptied the queue
    QMap<int, bool> m_open; // the turns that have not ended, and whether they are still to empty the queue
};

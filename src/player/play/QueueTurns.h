#pragma once

#include <QMap>
#include <QObject>

/// Who is filling a queue in pieces, and in which order the fillings were wanted: rows that come early do not
/// overtake those that were wanted before. Each filling has a turn; a later one has a greater number. Main
/// thread.
class QueueTurns : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Begins a filling, with `replaces` one that first empties the queue; returns its turn.
    int begin(bool replaces);
    void end(int turn);
    /// Whether more entries may come: the end of the queue is not the end of the music yet.
    bool isGrowing() const { return !m_open.isEmpty(); }
    /// Whether what was wanted later has emptied the queue: no more entries are wanted of this turn.
    bool isOvertaken(int turn) const { return m_emptiedTurn > turn; }
    /// Whether what was wanted earlier is still to empty the queue: entries added now would go, too.
    bool isToBeReplaced(int turn) const;

    /// The queue was emptied: by a filling in its turn, or (0) by a listener, who wants it now.
    void emptied(int turn = 0);

Q_SIGNALS:
    /// What isToBeReplaced() waits for has happened, or will not.
    void settled();
    /// The last filling has ended.
    void allEnded();

private:
    int m_last = 0;         // the last turn that began
    int m_emptiedTurn = 0;  // the latest turn that emptied the queue
    QMap<int, bool> m_open; // the turns that have not ended, and whether they are still to empty the queue
};

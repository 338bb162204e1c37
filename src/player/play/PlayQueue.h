#pragma once

#include "api/types/pelkroles.h"

#include <QMap>
#include <QObject>
#include <QVector>

/// One place of the queue. Ids are never used twice in a process; 0 is none.
struct QueueEntry
{
    int id = 0;
    PelkRoles row;
};

/// What is to be played, in the listener's order. Holds rows and asks nobody for anything. Main thread.
class PlayQueue : public QObject
{
    Q_OBJECT

public:
    /// The most entries; what is over is left out.
    static constexpr int mostEntries = 20000;

    explicit PlayQueue(QObject* parent = nullptr);

    const QVector<QueueEntry>& entries() const { return m_entries; }
    /// Grows with every change.
    quint64 revision() const { return m_revision; }
    /// The place of an entry in entries(); -1 when it is not there.
    int indexOf(int id) const;

    enum class Where
    {
        Replace, ///< instead of all that is there
        Next,    ///< after the current one
        End
    };
    /// Adds rows in their order, and gives their ids: fewer than rows when the queue is full.
    QVector<int> add(const QVector<PelkRoles>& rows, Where where);
    /// Adds rows after an entry, or at the end when that has gone meanwhile: for what comes in pieces.
    QVector<int> addAfter(int id, const QVector<PelkRoles>& rows);
    /// False, and nothing changes, when none of them is there.
    bool remove(const QVector<int>& ids);
    /// Puts an entry before another one, or at the end (0). False, and nothing changes, when one of the two
    /// is not there.
    bool move(int id, int beforeId);
    void clear();

    /// The entry that Where::Next means; the engine says which.
    void setCurrent(int id) { m_current = id; }
    /// While somebody is still adding, the end of the entries is not the end of the music.
    bool isGrowing() const { return !m_growing.isEmpty(); }
    /// For who is going to add in pieces, or, with `replaces`, to begin with a replace(). Gives the turn:
    /// what was wanted later has a later one, however early its rows come.
    int beginGrowth(bool replaces);
    void endGrowth(int turn);
    /// Whether all entries have gone since, by what was wanted later: nothing more is wanted of this turn.
    bool isOvertaken(int turn) const { return m_replacedTurn > turn; }
    /// Whether all entries are still to go, by what was wanted before: what is added now would go too.
    bool isToBeReplaced(int turn) const;
    /// As add() with Where::Replace, in this turn.
    QVector<int> replace(const QVector<PelkRoles>& rows, int turn);

    /// Whether a row can be played: it says where its stream is asked for.
    static bool isPlayable(const PelkRoles& row);

Q_SIGNALS:
    /// Comes before changed(). `after`: the entry right after which they are wanted; 0 where that is all one.
    void added(const QVector<int>& ids, int after);
    /// Entries came, went or moved; also when nobody is adding any longer.
    void changed();
    /// What isToBeReplaced() spoke of has happened, or will not.
    void settled();

private:
    QVector<int> insert(int index, const QVector<PelkRoles>& rows, int after);
    void tellChange();

    QVector<QueueEntry> m_entries;
    quint64 m_revision = 0;
    int m_current = 0;
    int m_turn = 0;            // the last one that was given
    int m_replacedTurn = 0;    // when all entries went at once
    QMap<int, bool> m_growing; // the turns that are not over, and whether they are still to replace
};

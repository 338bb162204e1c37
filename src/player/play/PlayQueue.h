#pragma once

#include "api/types/pelkroles.h"
#include "player/play/QueueTurns.h"

#include <QRandomGenerator>
#include <QSet>
#include <QVector>

#include <optional>

/// One place of the queue. Ids are never used twice in a process; 0 is none.
struct QueueEntry
{
    int id = 0;
    PelkRoles row;
    CMPath source; ///< the container that the listener took it from; empty when it is not known
};

enum class RepeatMode
{
    Off,
    One, ///< the current entry again and again, until the listener goes on
    All  ///< from the start again
};

/// The entries to play, in the order in which they are heard, and the current entry. It only stores rows and
/// sends no requests. Main thread.
class PlayQueue : public QObject
{
    Q_OBJECT

public:
    /// Maximum number of entries; further rows are dropped.
    static constexpr int mostEntries = 20000;

    explicit PlayQueue(QObject* parent = nullptr);

    /// In the order in which they are heard.
    const QVector<QueueEntry>& entries() const { return m_entries; }
    /// Increases with every change.
    quint64 revision() const { return m_revision; }
    /// The place of an entry in entries(); -1 when it is not there.
    int indexOf(int id) const;
    /// An empty row when the entry is not there.
    PelkRoles row(int id) const { return m_entries.value(indexOf(id)).row; }

    enum class Where
    {
        Replace, ///< instead of all that is there
        Next,    ///< after the current one
        End      ///< while shuffled: spread over what is still to come
    };
    /// Adds rows in their order and returns their ids: fewer than rows if the queue is full.
    QVector<int> add(const QVector<PelkRoles>& rows, Where where, const CMPath& source = {});
    /// For a loader: like add() with Where::Replace, in the loader's turn.
    QVector<int> replace(const QVector<PelkRoles>& rows, int turn, const CMPath& source = {});
    /// For a loader: adds rows after its last entry `id`, or at the end if that entry was removed.
    QVector<int> addAfter(int id, const QVector<PelkRoles>& rows, const CMPath& source = {});
    /// False, and nothing changes, when none of them is there.
    bool remove(const QVector<int>& ids);
    /// Puts entries, in the order in which they stand, before another one, or at the end (0); ids that are
    /// not there are left out. False, and nothing changes, when none of them is there, or not the other one.
    bool move(const QVector<int>& ids, int beforeId);
    void clear();

    /// The order of the loaders that fill this queue.
    QueueTurns& turns() { return m_turns; }

    /// The current entry; 0 is none. When it is removed, the one that followed it takes its place.
    int current() const { return m_current; }
    void setCurrent(int id) { m_current = id; }
    RepeatMode repeat() const { return m_repeat; }
    void setRepeat(RepeatMode repeat) { m_repeat = repeat; }
    /// The entry after the current one; 0 at the end. `byItself`: the current entry has ended, so
    /// RepeatMode::One repeats it.
    int next(bool byItself) const;
    /// The entry before the current one; 0 at the start.
    int previous() const { return around(-1); }
    int first() const { return m_entries.value(0).id; }

    bool isShuffled() const { return m_shuffled; }
    /// Shuffles the entries, the current one first, or restores their original order.
    void setShuffled(bool shuffled);
    /// Makes shuffling repeatable.
    void seedShuffling(quint32 seed) { m_random.seed(seed); }
    /// The ids in their original order, without shuffling.
    QVector<int> unshuffled() const;

    /// How many entries undo() would bring back; 0 when there is nothing to undo. A clear(), a remove() or a
    /// replacement can be undone until something else changes the queue. The rest of a replacement, which
    /// comes in pieces, is a part of it.
    int undoCount() const { return m_undo ? m_undo->lost : 0; }
    /// Restores the removed entries. The current entry stays current if it is restored; otherwise the earlier
    /// one becomes current. False if there is nothing to undo.
    bool undo();

    /// Restores saved rows; the row at index `current` becomes the current entry. `unshuffled` contains the
    /// place of each row without shuffling; if it is invalid, the queue is not shuffled. `sources` may be
    /// shorter than `rows`.
    void restore(const QVector<PelkRoles>& rows, int current, const QVector<int>& unshuffled,
                 const QVector<CMPath>& sources = {});

    /// Whether a row can be played: it has a pre-play path.
    static bool isPlayable(const PelkRoles& row);

Q_SIGNALS:
    /// Entries are about to be removed, and this can be undone.
    void losing();
    /// Entries were added, removed or moved, or the last loader has finished.
    void changed();

private:
    struct Undo
    {
        QVector<QueueEntry> entries;
        QVector<int> unshuffled;
        bool shuffled;
        int current;
        int lost; // entries that went
        int lastOfReplacement = 0;
    };

    QVector<int> insert(int after, const QVector<PelkRoles>& rows, const CMPath& source);
    void spread(const QVector<QueueEntry>& fresh);
    void empty(int turn);
    void keepForUndo(int lost);
    int around(int step) const;
    void reportChange();

    QVector<QueueEntry> m_entries;
    QVector<int> m_unshuffled; // while shuffled: the ids in their own order
    QSet<int> m_playNextIds;   // while shuffled: what was put right after an entry
    bool m_shuffled = false;
    RepeatMode m_repeat = RepeatMode::Off;
    int m_current = 0;
    quint64 m_revision = 0;
    std::optional<Undo> m_undo;
    QueueTurns m_turns;
    QRandomGenerator m_random = QRandomGenerator::securelySeeded();
};

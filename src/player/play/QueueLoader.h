#pragma once

#include "api/types/cmpath.h"
#include "player/play/PlayQueue.h"

/// Loads the rows of a container page by page and adds the playable ones to a queue. A playable container
/// among the rows, such as an album of an artist, is replaced by its tracks. Main thread; nothing blocks.
/// Loaders add their rows in the order in which they were created: one waits while an earlier one has yet to
/// replace the queue, and finishes when the queue is cleared or replaced by a later one. Delete it to cancel
/// it.
class QueueLoader : public QObject
{
    Q_OBJECT

public:
    /// The queue is not owned and must outlive the loader. Rows `from` to `to`, inclusive; a negative `to`
    /// means the end of the container.
    QueueLoader(PlayQueue* queue, const CMPath& container, PlayQueue::Where where, int from = 0, int to = -1,
                QObject* parent = nullptr);
    ~QueueLoader() override;

    /// The container's own row: the tracks of an album have its title and cover from there.
    void setContainerRow(const PelkRoles& row) { m_levels.first().row = row; }
    void start();
    /// How many entries were added.
    int added() const { return m_added; }
    /// Whether it finished early because the queue was cleared or replaced.
    bool wasOvertaken() const { return m_queue->turns().isOvertaken(m_turn); }

Q_SIGNALS:
    /// Tracks were added to the queue: `ids[i]` is from row `rows[i]` of the container.
    void pageAdded(const QVector<int>& ids, const QVector<int>& rows);
    /// Emitted once, at the end. The sentence says why all or some rows are missing; it is empty on success.
    void finished(const TrString& sentence);

private:
    /// A container that is being loaded, nested in the one that contains its row.
    struct Level
    {
        CMPath path;
        PelkRoles row;
        int next;                   // where the next page begins
        int to;                     // negative: the end of the container
        int place;                  // the row of the outermost container that it is; -1 for that one itself
        QVector<PelkRoles> waiting; // rows that have come and were not looked at
        bool complete = false;      // no page follows
    };

    void requestPage();
    void takePage(const QVector<PelkRoles>& rows, int count);
    void goOn();
    bool addWaiting();
    void finish(const TrString& sentence);

    PlayQueue* m_queue;
    CMPath m_source; // the outermost container, also of tracks that come out of one in it
    QVector<Level> m_levels;
    PlayQueue::Where m_where;
    int m_turn = 0;
    int m_lastId = 0;
    int m_added = 0;
    int m_looked = 0; // rows, those that do not play included
    bool m_first = true;
    bool m_loading = false;
    bool m_waiting = false; // for an earlier one, which is still to replace the queue
};

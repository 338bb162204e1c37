#pragma once

#include "api/types/cmpath.h"
#include "player/play/PlayQueue.h"

/// Asks the content model for the rows of a container, page after page, and puts those that can be played
/// into a queue as they come. A container among the rows that plays as a whole stands for its tracks, such as
/// each album of an artist. Main thread; nothing blocks. What was wanted first comes first: it waits while an
/// earlier one is still to replace the queue, and ends by itself when the queue is cleared or replaced by
/// what was wanted later. Delete it to end it early.
class QueueLoader : public QObject
{
    Q_OBJECT

public:
    /// The queue is not owned and has to outlive the loader. Rows `from` to `to`, both included; a negative
    /// `to` is the end of the container.
    QueueLoader(PlayQueue* queue, const CMPath& container, PlayQueue::Where where, int from = 0, int to = -1,
                QObject* parent = nullptr);
    ~QueueLoader() override;

    /// The container's own row: the tracks of an album have its title and cover from there.
    void setContainerRow(const PelkRoles& row) { m_levels.first().row = row; }
    void start();
    /// How many entries were added.
    int added() const { return m_added; }
    /// Whether it ended since the queue was cleared or replaced meanwhile.
    bool wasOvertaken() const { return m_queue->turns().isOvertaken(m_turn); }

Q_SIGNALS:
    /// Rows have come: the track `ids[i]` came out of row `rows[i]` of the container. The queue has them
    /// already.
    void pageAdded(const QVector<int>& ids, const QVector<int>& rows);
    /// Once, at the end. The sentence says why rows could not be had, or why some are missing; it is empty
    /// when all went well.
    void finished(const TrString& sentence);

private:
    /// A container that is being asked for, below the one whose row led to it.
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

    void askForPage();
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

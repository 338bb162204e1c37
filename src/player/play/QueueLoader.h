#pragma once

#include "api/types/cmpath.h"
#include "player/play/PlayQueue.h"

/// Asks the content model for the rows of a container, page after page, and puts those that can be played
/// into a queue as they come. Main thread; nothing blocks. Ends by itself when the queue is cleared or
/// replaced by somebody else. Delete it to end it early.
class QueueLoader : public QObject
{
    Q_OBJECT

public:
    /// The queue is not owned and has to outlive the loader. Rows `from` to `to`, both included; a negative
    /// `to` is the end of the container.
    QueueLoader(PlayQueue* queue, const CMPath& container, PlayQueue::Where where, int from = 0, int to = -1,
                QObject* parent = nullptr);
    ~QueueLoader() override;

    void start();
    /// How many entries were added.
    int added() const { return m_added; }

Q_SIGNALS:
    /// A page has come: `ids[i]` is the row `rows[i]` of the container. The queue has them already.
    void pageAdded(const QVector<int>& ids, const QVector<int>& rows);
    /// Once, at the end. The sentence says why rows could not be had, or why some are missing; it is empty
    /// when all went well.
    void finished(const QString& sentence);

private:
    void askForPage();
    void takePage(const QVector<PelkRoles>& rows, int count);
    void finish(const QString& sentence);

    PlayQueue* m_queue;
    CMPath m_container;
    PlayQueue::Where m_where;
    int m_nextIndex;
    int m_to;
    int m_generation = 0;
    int m_lastId = 0;
    int m_added = 0;
    bool m_first = true;
    bool m_loading = false;
};

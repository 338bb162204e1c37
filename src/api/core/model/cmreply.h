#pragma once

#include "api/core/export.h"
#include "api/core/model/cmerror.h"

#include <QExplicitlySharedDataPointer>
#include <QList>
#include <QMutex>
#include <QPair>
#include <QSharedData>
#include <QVariant>
#include <QWaitCondition>

#include <atomic>
#include <climits>
#include <functional>

class CMVoidReply;

/// The shared state of the handles of one reply.
///
/// A reply finishes with a value or with an error. Finishing stores it, wakes the threads that wait, and
/// then, outside the lock, calls the watchers in the order in which they were added. A second completion is
/// not prevented: finish each reply only once. Every operation may be called from any thread.
class PELK_API_EXPORT CMReplyAbstractData : public QSharedData
{
public:
    CMReplyAbstractData() = default;
    virtual ~CMReplyAbstractData();
    CMReplyAbstractData(const CMReplyAbstractData&) = delete;
    CMReplyAbstractData& operator=(const CMReplyAbstractData&) = delete;

    /// Waits without limit for the reply to finish; the value, or a default one after an error.
    virtual QVariant value() const = 0;
    /// Finishes the reply with a value, converted to the reply's own type.
    virtual void setValue(const QVariant& value) = 0;

    bool isFinished() const { return m_finished.load(std::memory_order_acquire); }
    /// Blocks until the reply is finished or `ms` milliseconds have passed; the largest number waits without
    /// limit. True if it is finished. Always set a limit on a host thread: a deleted worker does not answer
    /// its queue.
    bool waitForFinished(unsigned long ms = ULONG_MAX) const;

protected:
    using Watcher = QPair<std::function<void(const CMVoidReply&)>, Qt::ConnectionType>;

    /// Finishes the reply; `store` runs under the lock and stores the outcome.
    void complete(const std::function<void()>& store);

    mutable QMutex m_mutex;
    mutable QWaitCondition m_condition;
    std::atomic<bool> m_finished{false};
    CMError m_error;
    QList<Watcher> m_watchers;

    friend class CMVoidReply;
};

/// A shared handle to a reply of any type. Copies share the reply, which is deleted with the last handle. On
/// a null handle, every operation except isNull() triggers the assertion "d()".
class PELK_API_EXPORT CMVoidReply
{
public:
    CMVoidReply() = default;
    /// A further handle to `data`, for example to a new object.
    explicit CMVoidReply(CMReplyAbstractData* data)
        : m_d(data)
    {
    }

    bool isNull() const { return !m_d; }
    CMReplyAbstractData* d() const { return m_d.data(); }

    bool isFinished() const;
    bool waitForFinished(unsigned long ms) const;
    void setValue(const QVariant& value) const;
    /// Finishes the reply with an error; its value stays the default one.
    void setError(const CMError& error) const;
    /// The error; an empty record if there is none.
    CMError error() const;

    /// Calls `watcher` when the reply finishes. Automatic: on the thread that adds it, directly if the reply
    /// finishes there, otherwise queued to that thread's event loop; if that thread has no event dispatcher,
    /// the finishing thread calls it directly. Direct: always on the finishing thread. Queued: always through
    /// the queue. A watcher added to a finished reply runs at once, on the calling thread.
    void addWatcher(std::function<void(const CMVoidReply&)> watcher,
                    Qt::ConnectionType type = Qt::AutoConnection) const;

private:
    QExplicitlySharedDataPointer<CMReplyAbstractData> m_d;
};

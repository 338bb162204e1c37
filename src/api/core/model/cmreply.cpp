#include "api/core/model/cmreply.h"

#include <QAbstractEventDispatcher>
#include <QObject>
#include <QThread>

#include <memory>
#include <utility>

namespace {

/// An object that lives on the calling thread and receives its queued calls; one for all watchers of the
/// thread.
std::shared_ptr<QObject> threadReceiver()
{
    thread_local const std::shared_ptr<QObject> receiver = std::make_shared<QObject>();
    return receiver;
}

/// Wraps a watcher so that the thread that finishes the reply queues it to the thread that added it. If that
/// thread has ended, the call is dropped with its queue.
std::function<void(const CMVoidReply&)> delivered(std::function<void(const CMVoidReply&)> watcher,
                                                  Qt::ConnectionType type)
{
    if (type == Qt::DirectConnection || !QAbstractEventDispatcher::instance())
        return watcher;
    const std::weak_ptr<QObject> receiver = threadReceiver();
    return [watcher = std::move(watcher), receiver, type](const CMVoidReply& reply) {
        const std::shared_ptr<QObject> target = receiver.lock();
        if (!target)
            return;
        if (type == Qt::AutoConnection && target->thread() == QThread::currentThread())
            watcher(reply);
        else
            QMetaObject::invokeMethod(
                target.get(), [watcher, reply] { watcher(reply); }, Qt::QueuedConnection);
    };
}

} // namespace

CMReplyAbstractData::~CMReplyAbstractData() = default;

bool CMReplyAbstractData::waitForFinished(unsigned long ms) const
{
    if (isFinished())
        return true;
    // A number beyond the range of a deadline would count as expired.
    const QDeadlineTimer deadline =
        ms > LONG_MAX ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(qint64(ms));
    const QMutexLocker locker(&m_mutex);
    while (!isFinished())
        if (!m_condition.wait(&m_mutex, deadline))
            return isFinished();
    return true;
}

void CMReplyAbstractData::complete(const std::function<void()>& store)
{
    QMutexLocker locker(&m_mutex);
    store();
    m_finished.store(true, std::memory_order_release);
    const QList<Watcher> watchers = m_watchers;
    m_condition.wakeAll();
    locker.unlock();
    // Data without another handle would be deleted with this one; it has no watchers either.
    if (watchers.isEmpty())
        return;
    const CMVoidReply reply(this);
    for (const Watcher& watcher : watchers)
        watcher.first(reply);
}

bool CMVoidReply::isFinished() const
{
    Q_ASSERT(d());
    return d()->isFinished();
}

bool CMVoidReply::waitForFinished(unsigned long ms) const
{
    Q_ASSERT(d());
    return d()->waitForFinished(ms);
}

void CMVoidReply::setValue(const QVariant& value) const
{
    Q_ASSERT(d());
    d()->setValue(value);
}

void CMVoidReply::setError(const CMError& error) const
{
    Q_ASSERT(d());
    CMReplyAbstractData* const data = d();
    data->complete([data, &error] { data->m_error = error; });
}

CMError CMVoidReply::error() const
{
    Q_ASSERT(d());
    const QMutexLocker locker(&d()->m_mutex);
    return d()->m_error;
}

void CMVoidReply::addWatcher(std::function<void(const CMVoidReply&)> watcher, Qt::ConnectionType type) const
{
    Q_ASSERT(d());
    QMutexLocker locker(&d()->m_mutex);
    if (!d()->isFinished()) {
        d()->m_watchers.append(qMakePair(delivered(std::move(watcher), type), type));
        return;
    }
    locker.unlock();
    watcher(*this);
}

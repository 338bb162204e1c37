#include "api/core/model/cmsubscribe.h"

#include <QThread>

namespace {

// Arguments of signals to receivers on other threads are found by their type names.
const bool argumentsRegistered =
    qRegisterMetaType<CMSubscribe::Kind>("CMSubscribe::Kind") && qRegisterMetaType<CMPath>();

} // namespace

CMSubscribe::~CMSubscribe()
{
    // Connections to contexts that still exist end with this object; the lock waits for a removal in
    // progress.
    const QMutexLocker locker(&m_mutex);
    m_subscribers.clear();
}

void CMSubscribe::add(Kind kind, const CMPath& path, QObject* context, const Callback& callback)
{
    const std::shared_ptr<QObject> receiver(new QObject, [](QObject* object) {
        if (object->thread() == QThread::currentThread())
            delete object;
        else
            object->deleteLater();
    });
    receiver->moveToThread(context->thread());
    connect(
        context, &QObject::destroyed, this, [this, context] { remove(context); }, Qt::DirectConnection);
    QMutexLocker locker(&m_mutex);
    const bool first = !isWatched(kind, path);
    m_subscribers.append({kind, path, context, receiver, callback});
    locker.unlock();
    if (first)
        Q_EMIT subscribed(kind, path);
}

void CMSubscribe::remove(QObject* context)
{
    QList<Subscriber> gone;
    QList<Subscriber> last;
    {
        const QMutexLocker locker(&m_mutex);
        for (int i = m_subscribers.size() - 1; i >= 0; --i)
            if (m_subscribers.at(i).context == context)
                gone.append(m_subscribers.takeAt(i));
        for (const Subscriber& subscriber : qAsConst(gone))
            if (!isWatched(subscriber.kind, subscriber.path))
                last.append(subscriber);
    }
    for (const Subscriber& subscriber : qAsConst(last))
        Q_EMIT unsubscribed(subscriber.kind, subscriber.path);
}

void CMSubscribe::publish(Kind kind, const CMPath& path, const PelkValue& value)
{
    // Calls are queued under the lock, so that subscribers receive the values of two publishers in one order.
    const QMutexLocker locker(&m_mutex);
    for (const Subscriber& subscriber : qAsConst(m_subscribers)) {
        if (subscriber.kind != kind || subscriber.path != path)
            continue;
        const std::weak_ptr<QObject> receiver = subscriber.receiver;
        const Callback callback = subscriber.callback;
        QMetaObject::invokeMethod(
            subscriber.receiver.get(),
            [receiver, callback, value] {
                // A subscription that has ended since is not called any more.
                if (!receiver.expired())
                    callback(value);
            },
            Qt::QueuedConnection);
    }
}

bool CMSubscribe::isWatched(Kind kind, const CMPath& path) const
{
    for (const Subscriber& subscriber : m_subscribers)
        if (subscriber.kind == kind && subscriber.path == path)
            return true;
    return false;
}

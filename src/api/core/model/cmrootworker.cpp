#include "api/core/model/cmrootworker.h"

#include "api/core/model/cmglobal.h"
#include "api/core/model/cmnodesworker.h"

#include <QThread>

#include <algorithm>
#include <atomic>

namespace {

std::atomic<CMRootWorker*> theRoot{nullptr};

CMError errorAt(const char* text, const CMPath& path)
{
    return CMError(TrString(TrCharData{"CMRootWorker", text}, {path.toString()}));
}

/// Collects the rows of the root from the workers; the last reply finishes the request.
struct OwnRows
{
    QMutex mutex;
    QVariantList rows;
    int open = 0;
};

} // namespace

CMRootWorker::CMRootWorker()
{
    theRoot = this;
}

CMRootWorker::~CMRootWorker()
{
    theRoot = nullptr;
}

CMRootWorker* CMRootWorker::instance()
{
    return theRoot;
}

void CMRootWorker::addWorker(CMWorker* worker)
{
    const QWriteLocker locker(&m_lock);
    m_workers.append(worker);
}

void CMRootWorker::removeWorker(CMWorker* worker)
{
    QWriteLocker locker(&m_lock);
    m_workers.removeAll(worker);
    const QList<CMPath> paths = m_registeredPaths.keys(worker);
    for (const CMPath& path : paths)
        m_registeredPaths.remove(path);
    const QList<CMPath> published = m_nodeValues.keys(worker);
    for (const CMPath& path : published) {
        m_nodeValues.remove(path);
        m_values.remove(path);
    }
    locker.unlock();
    // A call on this thread, in which a worker deletes itself, cannot be waited for.
    const auto isUnderWay = [&] {
        return std::any_of(m_calls.cbegin(), m_calls.cend(), [&](const QPair<CMWorker*, Qt::HANDLE>& call) {
            return call.first == worker && call.second != QThread::currentThreadId();
        });
    };
    const QMutexLocker calls(&m_callMutex);
    while (isUnderWay())
        m_callEnded.wait(&m_callMutex);
}

void CMRootWorker::registerPath(const CMPath& path, CMWorker* worker)
{
    const QWriteLocker locker(&m_lock);
    m_registeredPaths.insert(path, worker);
}

void CMRootWorker::releasePath(const CMPath& path, CMWorker* worker)
{
    const QWriteLocker locker(&m_lock);
    if (m_registeredPaths.value(path) == worker)
        m_registeredPaths.remove(path);
    if (m_nodeValues.value(path) == worker) {
        m_nodeValues.remove(path);
        m_values.remove(path);
    }
}

void CMRootWorker::publishNodeValue(const CMPath& path, const PelkValue& value, CMNodesWorker* worker)
{
    {
        const QWriteLocker locker(&m_lock);
        m_nodeValues.insert(path, worker);
        m_values.insert(path, value);
    }
    worker->subscribe()->publish(CMSubscribe::Value, path, value);
    // Earlier subscriptions, from before the worker was added, are at the root.
    m_subscribe.publish(CMSubscribe::Value, path, value);
}

void CMRootWorker::keep(const CMPath& path, const std::shared_ptr<CMValueStore>& store)
{
    const PelkValue value = store->read(path);
    const QWriteLocker locker(&m_lock);
    m_stores.insert(path, store);
    m_values.insert(path, value);
}

void CMRootWorker::registerOperation(const CMPath& path, const Operation& operation)
{
    const QWriteLocker locker(&m_lock);
    m_operations.insert(path, operation);
}

CMWorker* CMRootWorker::workerFor(const CMPath& path) const
{
    CMWorker* const registered = m_registeredPaths.value(path.withoutParams());
    for (CMWorker* worker : m_workers)
        if (registered ? worker == registered : worker->name() == path.prefix())
            return worker;
    return nullptr;
}

template <typename Request>
void CMRootWorker::forward(void (CMAbstractWorker::*operation)(const Request&), const Request& request)
{
    /// A call into a worker, for which removeWorker() waits.
    struct Call
    {
        Call(CMRootWorker* root, CMWorker* callee)
            : owner(root)
            , entry(callee, QThread::currentThreadId())
        {
            const QMutexLocker locker(&owner->m_callMutex);
            owner->m_calls.append(entry);
        }
        ~Call()
        {
            const QMutexLocker locker(&owner->m_callMutex);
            owner->m_calls.removeOne(entry);
            owner->m_callEnded.wakeAll();
        }
        CMRootWorker* owner;
        QPair<CMWorker*, Qt::HANDLE> entry;
    };

    QReadLocker locker(&m_lock);
    CMWorker* const worker = workerFor(request.path());
    if (worker) {
        const Call call(this, worker);
        locker.unlock();
        (worker->*operation)(request);
        return;
    }
    locker.unlock();
    request.reply().setError(errorAt("No service answers at \"%1\".", request.path()));
}

void CMRootWorker::getRowsRequest(const CMGetRowsRequest& request)
{
    if (request.path().withoutParams().isEmpty())
        answerOwnRows(request);
    else
        forward(&CMAbstractWorker::getRowsRequest, request);
}

void CMRootWorker::getDataRequest(const CMGetDataRequest& request)
{
    if (!isKept(request.path())) {
        forward(&CMAbstractWorker::getDataRequest, request);
        return;
    }
    QVariantList values;
    for (const QString& role : request.roles()) {
        if (role == PelkRoles::Value())
            values.append(getValue(request.path()).variant());
        else
            values.append(role == PelkRoles::Path() ? QVariant(request.path().toString()) : QVariant());
    }
    request.reply().setValue(values);
}

void CMRootWorker::setDataRequest(const CMSetDataRequest& request)
{
    if (!isKept(request.path()))
        forward(&CMAbstractWorker::setDataRequest, request);
    else if (request.role() == PelkRoles::Value())
        QMetaObject::invokeMethod(
            this, [this, request] { setKept(request); }, Qt::QueuedConnection);
    else
        request.reply().setError(
            errorAt("The value at \"%1\" can only be set with the role \"value\".", request.path()));
}

bool CMRootWorker::isKept(const CMPath& path) const
{
    const QReadLocker locker(&m_lock);
    return m_stores.contains(path) && !workerFor(path);
}

void CMRootWorker::setKept(const CMSetDataRequest& request)
{
    const PelkValue value(PelkHash::fromVariant(request.value()));
    std::shared_ptr<CMValueStore> store;
    int type = 0;
    {
        const QReadLocker locker(&m_lock);
        store = m_stores.value(request.path());
        type = m_values.value(request.path()).type();
    }
    QString error;
    if (value.type() == 0 || (type != 0 && value.type() != type)) {
        request.reply().setError(errorAt("The value at \"%1\" has another type.", request.path()));
    } else if (!store->accepts(request.path(), value, &error)) {
        request.reply().setError(CMError(TrString(error)));
    } else {
        const CMReply<QVariant> kept = CMReply<QVariant>::create();
        kept.addWatcher(
            [request](const CMVoidReply& finished) {
                if (finished.error().isSet())
                    request.reply().setError(finished.error());
                else
                    request.reply().setValue(QVariantList{finished.d()->value(), false});
            },
            Qt::DirectConnection);
        setValue(request.path(), value, kept);
    }
}

void CMRootWorker::answerOwnRows(const CMGetRowsRequest& request)
{
    if (request.from() < 0 || request.to() < 0) {
        request.reply().setError(errorAt("Invalid range: rows are counted from 0.", request.path()));
        return;
    }
    QList<CMPath> paths;
    {
        const QReadLocker locker(&m_lock);
        for (const CMWorker* worker : m_workers)
            paths.append(worker->addPrefix(QString()));
    }
    PelkRowsRoles reply;
    reply.setRowsCount(paths.size());
    reply.setRowsVersion(qMax(0, request.rowsVersion()));
    const int last = qMin(request.to(), paths.size() - 1);
    paths = paths.mid(request.from(), qMax(0, last - request.from() + 1));
    const auto state = std::make_shared<OwnRows>();
    state->open = paths.size();
    for (int i = 0; i < paths.size(); ++i)
        state->rows.append(QVariant());
    if (paths.isEmpty()) {
        reply.setRows(QVariantList());
        request.reply().setValue(reply);
    }
    for (int i = 0; i < paths.size(); ++i) {
        const CMGetDataRequest data(paths.at(i), request.roles());
        data.reply().addWatcher(
            [state, reply, request, path = data.path(), i](const CMVoidReply& answer) mutable {
                QVariantList row = answer.d()->value().toList();
                if (answer.error().isSet()) {
                    PelkRoles roles;
                    roles.setPath(path);
                    row = CMGlobal::itemRolesToList(request.roles(), roles);
                }
                QMutexLocker locker(&state->mutex);
                state->rows[i] = row;
                if (--state->open > 0)
                    return;
                reply.setRows(state->rows);
                locker.unlock();
                request.reply().setValue(reply);
            },
            Qt::DirectConnection);
        getDataRequest(data);
    }
}

PelkValue CMRootWorker::getValue(const CMPath& path)
{
    const QReadLocker locker(&m_lock);
    return m_values.value(path);
}

void CMRootWorker::setValue(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply)
{
    // Queued under the lock, so that two threads that set a value save and publish it in the order in which
    // it became visible.
    const QWriteLocker locker(&m_lock);
    const bool ofANode = m_registeredPaths.contains(path) || m_nodeValues.contains(path);
    if (!ofANode)
        m_values.insert(path, value);
    QMetaObject::invokeMethod(
        this,
        [this, path, value, reply, ofANode] {
            if (ofANode)
                reply.setError(errorAt("The value at \"%1\" can only be set by its own service.", path));
            else
                save(path, value, reply);
        },
        Qt::QueuedConnection);
}

void CMRootWorker::save(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply)
{
    std::shared_ptr<CMValueStore> store;
    {
        const QReadLocker locker(&m_lock);
        store = m_stores.value(path);
    }
    // Subscribers first: when the reply finishes, their calls are already queued.
    m_subscribe.publish(CMSubscribe::Value, path, value);
    QString error;
    if (store && !store->write(path, value, &error))
        reply.setError(CMError(TrString(error)));
    else
        reply.setValue(value.variant());
}

void CMRootWorker::invoke(const CMPath& path, const PelkHash& arguments, const CMReply<QVariant>& reply)
{
    QMetaObject::invokeMethod(
        this, [this, path, arguments, reply] { call(path, arguments, reply); }, Qt::QueuedConnection);
}

void CMRootWorker::call(const CMPath& path, const PelkHash& arguments, const CMReply<QVariant>& reply)
{
    QReadLocker locker(&m_lock);
    const Operation operation = m_operations.value(path);
    locker.unlock();
    if (operation)
        operation(arguments, reply);
    else
        reply.setError(errorAt("There is no operation at \"%1\".", path));
}

CMSubscribe* CMRootWorker::subscribe(const CMPath& path)
{
    QReadLocker locker(&m_lock);
    CMWorker* const worker = workerFor(path);
    locker.unlock();
    return worker ? worker->subscribe(path) : &m_subscribe;
}

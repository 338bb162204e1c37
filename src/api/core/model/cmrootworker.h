#pragma once

#include "api/core/model/cmsubscribe.h"
#include "api/core/model/cmvaluestore.h"
#include "api/core/model/cmworker.h"

#include <QHash>
#include <QList>
#include <QMutex>
#include <QPair>
#include <QReadWriteLock>
#include <QWaitCondition>

#include <functional>
#include <memory>

class CMNodesWorker;

/// The root of the content model: routes requests to the workers, keeps the values that modules and player
/// share, and calls operations. The player makes one, on its main thread, before it loads a module; every
/// operation may be called from any thread.
///
/// A path belongs to the worker that registered a node there, otherwise to the worker named by its prefix. No
/// other object is called while the lock is held.
class PELK_API_EXPORT CMRootWorker : public CMAbstractWorker
{
    Q_OBJECT

public:
    using Operation = std::function<void(const PelkHash& arguments, const CMReply<QVariant>& reply)>;

    CMRootWorker();
    ~CMRootWorker() override;
    static CMRootWorker* instance();

    /// Adds a completely constructed worker; requests reach it from now on. Not owned.
    void addWorker(CMWorker* worker);
    /// Stops requests to the worker, frees its registered paths, and returns when calls of other threads into
    /// it have ended. Call it before deleting a worker; every worker's destructor calls it too.
    void removeWorker(CMWorker* worker);
    /// Routes requests for a path without the worker's prefix to the worker. Called by the worker's registry.
    void registerPath(const CMPath& path, CMWorker* worker);
    /// Undoes registerPath() and removes the value published at the path. Called by the worker's registry.
    void releasePath(const CMPath& path, CMWorker* worker);
    /// Stores a node's value for readers and notifies its subscribers. Called by the node.
    void publishNodeValue(const CMPath& path, const PelkValue& value, CMNodesWorker* worker);

    /// Connects the value at a path to a store and loads it. Root's thread.
    void keep(const CMPath& path, const std::shared_ptr<CMValueStore>& store);
    /// Registers an operation, which is called on the root's thread and finishes its reply.
    void registerOperation(const CMPath& path, const Operation& operation);

    /// The root's own rows, at the empty path, are the roots of the workers in the order in which they were
    /// added.
    void getRowsRequest(const CMGetRowsRequest& request) override;
    /// A value of the root at a path that no worker registered is read and set under the role "value". A new
    /// value must have the same type, and its store must accept it.
    void getDataRequest(const CMGetDataRequest& request) override;
    void setDataRequest(const CMSetDataRequest& request) override;

    PelkValue getValue(const CMPath& path) override;
    void setValue(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply) override;
    void invoke(const CMPath& path, const PelkHash& arguments, const CMReply<QVariant>& reply) override;
    CMSubscribe* subscribe(const CMPath& path) override;

private:
    /// Called with the lock held.
    CMWorker* workerFor(const CMPath& path) const;
    template <typename Request>
    void forward(void (CMAbstractWorker::*operation)(const Request&), const Request& request);
    void answerOwnRows(const CMGetRowsRequest& request);
    bool isKept(const CMPath& path) const;
    void setKept(const CMSetDataRequest& request);
    void call(const CMPath& path, const PelkHash& arguments, const CMReply<QVariant>& reply);
    void save(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply);

    mutable QReadWriteLock m_lock;
    QList<CMWorker*> m_workers;
    QHash<CMPath, CMWorker*> m_registeredPaths;
    QHash<CMPath, CMWorker*> m_nodeValues; // whose nodes have published
    QHash<CMPath, PelkValue> m_values;
    QHash<CMPath, std::shared_ptr<CMValueStore>> m_stores;
    QHash<CMPath, Operation> m_operations;
    CMSubscribe m_subscribe;

    QMutex m_callMutex;
    QWaitCondition m_callEnded;
    QList<QPair<CMWorker*, Qt::HANDLE>> m_calls; // into workers, each with its thread
};

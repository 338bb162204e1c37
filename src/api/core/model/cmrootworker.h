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

/// The root of the content model: routes requests to the workers, holds the values that modules and player
/// share, and calls operations. The player makes one, on its main thread, before it loads a module; every
/// operation may be called from any thread.
///
/// A path leads to the worker that registered a node there, and else to the worker that its prefix names. The
/// lock in here is never held while something else is called.
class PELK_API_EXPORT CMRootWorker : public CMAbstractWorker
{
    Q_OBJECT

public:
    using Operation = std::function<void(const PelkHash& arguments, const CMReply<QVariant>& reply)>;

    CMRootWorker();
    ~CMRootWorker() override;
    static CMRootWorker* instance();

    /// From now on requests reach the worker, which has to be complete. Not owned.
    void addWorker(CMWorker* worker);
    /// Requests reach the worker no longer, and the paths that it registered are free; returns once the calls
    /// of other threads into the worker are over. Called by who deletes a worker, before it does, and by
    /// every worker that goes.
    void removeWorker(CMWorker* worker);
    /// Leads requests for a path to a worker whose prefix it does not carry. Called by the worker's registry.
    void registerPath(const CMPath& path, CMWorker* worker);
    /// Takes registerPath() back, and what the node at the path has published. Called by the worker's
    /// registry.
    void releasePath(const CMPath& path, CMWorker* worker);
    /// Makes a value node's value readable and tells its subscribers. Called by the node.
    void publishNodeValue(const CMPath& path, const PelkValue& value, CMNodesWorker* worker);

    /// Keeps the value at a path in a store, and takes what is there now. Root's thread.
    void keep(const CMPath& path, const std::shared_ptr<CMValueStore>& store);
    /// Makes an operation known; it is called on the root's thread and finishes its reply.
    void registerOperation(const CMPath& path, const Operation& operation);

    /// The root's own rows, at the empty path, are the roots of the workers in the order in which they were
    /// added.
    void getRowsRequest(const CMGetRowsRequest& request) override;
    /// A value that is kept here and that no worker registered is read and set as the role "value" of its
    /// path; only by one of the same kind, and one that its store accepts.
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

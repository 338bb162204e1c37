#pragma once

#include "api/core/model/cmnodes.h"
#include "api/core/model/cmsubscribe.h"
#include "api/core/model/cmworker.h"

/// A worker with a tree of nodes, which answer requests on the worker's thread. Requests may come from any
/// thread.
class PELK_API_EXPORT CMNodesWorker : public CMWorker
{
    Q_OBJECT

public:
    CMNodesWorker(const QHash<QString, QVariant>& configuration, const QString& name);
    ~CMNodesWorker() override;

    /// The worker's registry, valid for the worker's life.
    CMNodes* nodes() { return &m_nodes; }
    /// The subscriptions to paths of this worker's nodes.
    CMSubscribe* subscribe() { return &m_subscribe; }
    CMSubscribe* subscribe(const CMPath& path) override;

    void getRowsRequest(const CMGetRowsRequest& request) override;
    void getDataRequest(const CMGetDataRequest& request) override;
    void setDataRequest(const CMSetDataRequest& request) override;

private:
    void answer(const CMRequest& request);
    void tellNode(CMSubscribe::Kind kind, const CMPath& path, bool added);

    CMNodes m_nodes;
    CMSubscribe m_subscribe;
};

#pragma once

#include "api/core/export.h"
#include "api/types/cmpath.h"

#include <QHash>

class CMNode;
class CMNodesWorker;
class CMRequest;

/// The registry of a worker's nodes: finds them by path, without parameters, and owns them. Used on the
/// worker's thread.
class PELK_API_EXPORT CMNodes
{
public:
    explicit CMNodes(CMNodesWorker* worker)
        : m_worker(worker)
    {
    }
    ~CMNodes();
    CMNodes(const CMNodes&) = delete;
    CMNodes& operator=(const CMNodes&) = delete;

    CMNodesWorker* worker() const { return m_worker; }
    /// The node at a path, or null. Not owned.
    CMNode* node(const CMPath& path) const
    {
        return m_nodes.value(path.params().isEmpty() ? path : path.withoutParams());
    }

    /// Called by CMNode::setNodes(). A node whose path is outside the worker's prefix is registered with the
    /// root worker, which then routes its requests here.
    void add(CMNode* node);
    /// Removes a node; the caller owns it again.
    void release(CMNode* node);
    /// Passes a request to the node at its path. If there is none, or it does not support this kind of
    /// request, the reply fails with an error that says so.
    void request(const CMRequest& request) const;

private:
    CMNodesWorker* m_worker;
    QHash<CMPath, CMNode*> m_nodes;
};

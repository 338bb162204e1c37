#pragma once

#include "api/core/export.h"
#include "api/core/model/cmrequest.h"

#include <QMutex>
#include <QObject>

class CMNodes;

/// A node of the content tree: it has a path, is owned by a registry and answers requests for its path.
///
/// Lives on its worker's thread, and every operation runs there. A request operation returns true if it
/// accepts the request: it has finished the reply or will. After false, the registry fails the reply.
class PELK_API_EXPORT CMNode : public QObject
{
    Q_OBJECT

public:
    explicit CMNode(const CMPath& path);
    ~CMNode() override;

    CMPath path() const { return m_path; }
    /// The registry that owns the node; null before setNodes().
    CMNodes* nodes() const { return m_nodes; }
    /// Registers the node under its path without parameters. The registry owns it and deletes an earlier node
    /// at the path.
    void setNodes(CMNodes* nodes);

    // The order of the virtual operations is part of the contract: modules are compiled against it.

    /// Removes the node from its registry first, so that no request finds it during destruction.
    virtual void deleteLater();
    /// The lock for data that other threads may read; null if there is none.
    virtual QMutex* mutex() const;
    /// Calls the operation for the kind of the request.
    virtual bool request(const CMRequest& request);
    /// Default: the node's path for the path role, invalid values for all others.
    virtual bool getDataRequest(const CMGetDataRequest& request);
    /// Default: false, because a node has no rows.
    virtual bool getRowsRequest(const CMGetRowsRequest& request);
    /// Whether getRowsRequest() would accept the request.
    virtual bool matchRowRequest(const CMGetRowsRequest& request) const;
    /// Default: an error that says that the node's value cannot be set.
    virtual bool setDataRequest(const CMSetDataRequest& request);
    // Called when a path of this node gets its first subscriber or loses its last one.
    virtual void valuePathAdd(const CMPath& path);
    virtual void valuePathRemove(const CMPath& path);
    virtual void dataPathAdd(const CMPath& path);
    virtual void dataPathRemove(const CMPath& path);
    virtual void rowsPathAdd(const CMPath& path);
    virtual void rowsPathRemove(const CMPath& path);

private:
    CMPath m_path;
    CMNodes* m_nodes = nullptr;
};

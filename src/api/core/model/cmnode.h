#pragma once

#include "api/core/export.h"
#include "api/core/model/cmrequest.h"

#include <QMutex>
#include <QObject>

class CMNodes;

/// A node of the content tree: it has a path, is owned by a registry and answers requests for its path.
///
/// Lives on its worker's thread, and every operation runs there. A request operation returns true when it has
/// taken the request, that is finished its reply or will; false leaves the reply to the registry, which says
/// that there is no answer.
class PELK_API_EXPORT CMNode : public QObject
{
    Q_OBJECT

public:
    explicit CMNode(const CMPath& path);
    ~CMNode() override;

    CMPath path() const { return m_path; }
    /// The registry that owns the node; null before setNodes().
    CMNodes* nodes() const { return m_nodes; }
    /// Registers the node, under its path without parameters, with a registry that then owns it. A node that
    /// had the path goes.
    void setNodes(CMNodes* nodes);

    // The order of the virtual operations is part of the contract: modules are compiled against it.

    /// Takes the node out of its registry before it goes, so that no request finds it in between.
    virtual void deleteLater();
    /// The lock that guards what other threads may read of the node; null where they may read nothing.
    virtual QMutex* mutex() const;
    /// Hands a request to the operation of its kind.
    virtual bool request(const CMRequest& request);
    /// Here: the node's path for the path role, and invalid values for all others.
    virtual bool getDataRequest(const CMGetDataRequest& request);
    /// Here: false, since a node has no rows.
    virtual bool getRowsRequest(const CMGetRowsRequest& request);
    /// Whether getRowsRequest() would take the request.
    virtual bool matchRowRequest(const CMGetRowsRequest& request) const;
    /// Here: the error that the node's value cannot be set.
    virtual bool setDataRequest(const CMSetDataRequest& request);
    // Called with a path of this node when its first subscriber comes and when its last one has gone.
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

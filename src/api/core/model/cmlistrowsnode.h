#pragma once

#include "api/core/model/cmcontainernode.h"

#include <QList>

/// A container whose rows are a fixed list of other nodes of its registry.
class PELK_API_EXPORT CMListRowsNode : public CMContainerNode
{
    Q_OBJECT

public:
    /// Creates a node and registers it. Owned by the registry.
    static CMListRowsNode* create(CMNodes* nodes, const CMPath& path);

    /// Appends a row: the node at this path, which may be registered later.
    void rowsAppend(const CMPath& path) { m_rows.append(path); }
    /// Whether the parameters of a row request, such as a search text, are copied to the paths of the rows.
    void setCopyPathParams(bool copy) { m_copyPathParams = copy; }

    /// The rows in the range; the count is always that of the whole list. A negative range is an error.
    bool getRowsRequest(const CMGetRowsRequest& request) override;
    bool matchRowRequest(const CMGetRowsRequest& request) const override;

private:
    explicit CMListRowsNode(const CMPath& path)
        : CMContainerNode(path)
    {
    }

    QList<CMPath> m_rows;
    bool m_copyPathParams = false;
};

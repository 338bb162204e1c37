#include "api/core/model/cmlistrowsnode.h"

#include "api/core/model/cmglobal.h"
#include "api/core/model/cmnodes.h"

CMListRowsNode* CMListRowsNode::create(CMNodes* nodes, const CMPath& path)
{
    auto* node = new CMListRowsNode(path);
    node->setNodes(nodes);
    return node;
}

bool CMListRowsNode::getRowsRequest(const CMGetRowsRequest& request)
{
    if (request.from() < 0 || request.to() < 0) {
        request.reply().setError(
            CMError(TrString(TrCharData{"CMListRowsNode", "Invalid range %1 to %2: rows are counted from 0."},
                             {request.from(), request.to()})));
        return true;
    }
    QVariantList rows;
    for (int i = request.from(); i <= request.to() && i < m_rows.size(); ++i) {
        const auto* node = qobject_cast<const CMUINode*>(nodes()->node(m_rows.at(i)));
        CMPath path = m_rows.at(i);
        if (m_copyPathParams)
            for (const auto& param : request.path().params())
                path.addParam(param.first, param.second);
        if (node && node->path() == path) {
            rows.append(node->row(request.roles()));
            continue;
        }
        PelkRoles roles = node ? node->roles() : PelkRoles();
        roles.setPath(path);
        rows.append(QVariant(CMGlobal::itemRolesToList(request.roles(), roles)));
    }
    PelkRowsRoles reply;
    reply.setRows(rows);
    reply.setRowsCount(m_rows.size());
    reply.setRowsVersion(qMax(0, request.rowsVersion()));
    request.reply().setValue(reply);
    return true;
}

bool CMListRowsNode::matchRowRequest(const CMGetRowsRequest& /*request*/) const
{
    return true;
}

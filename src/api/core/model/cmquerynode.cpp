#include "api/core/model/cmquerynode.h"

#include "api/types/pelkvalue.h"

CMQueryNode* CMQueryNode::create(CMNodes* nodes, const CMPath& path)
{
    auto* node = new CMQueryNode(path);
    node->setNodes(nodes);
    return node;
}

CMPath CMQueryNode::resultPath(const QString& text) const
{
    CMPath path = m_queryPath;
    path.addParam(m_query, text);
    return path;
}

PelkRoles CMQueryNode::makeRoles() const
{
    PelkRoles roles = CMUINode::makeRoles();
    roles.setType(PelkRolesType::Query);
    roles.setQuery(m_query);
    roles.setQueryPath(m_queryPath);
    return roles;
}

bool CMQueryNode::setDataRequest(const CMSetDataRequest& request)
{
    if (request.role() != PelkRoles::Value())
        return CMUINode::setDataRequest(request);
    const QVariant& value = request.value();
    const QString text = value.canConvert<QVariantHash>() ? PelkValue(PelkHash::fromVariant(value)).string_()
                                                          : value.toString();
    request.reply().setValue(QVariantList{resultPath(text).toString(), false});
    return true;
}

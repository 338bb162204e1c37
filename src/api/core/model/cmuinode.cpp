#include "api/core/model/cmuinode.h"

#include "api/core/model/cmglobal.h"

PelkRoles CMUINode::roles() const
{
    if (m_roles.isEmpty())
        m_roles = makeRoles();
    return m_roles;
}

QVariant CMUINode::row(const QStringList& roleKeys) const
{
    if (!m_row.isValid() || m_roleKeys != roleKeys) {
        m_row = CMGlobal::itemRolesToList(roleKeys, roles());
        m_roleKeys = roleKeys;
    }
    return m_row;
}

PelkRoles CMUINode::makeRoles() const
{
    PelkRoles roles;
    roles.setTitle(m_title);
    roles.setPath(path());
    return roles;
}

bool CMUINode::getDataRequest(const CMGetDataRequest& request)
{
    request.reply().setValue(row(request.roles()));
    return true;
}

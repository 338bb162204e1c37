#include "api/core/model/cmuinode.h"

#include "api/core/model/cmglobal.h"

PelkRoles CMUINode::roles() const
{
    if (m_roles.isEmpty())
        m_roles = makeRoles();
    return m_roles;
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
    request.reply().setValue(CMGlobal::itemRolesToList(request.roles(), roles()));
    return true;
}

#include "api/core/model/cmcontainernode.h"

PelkRoles CMContainerNode::makeRoles() const
{
    PelkRoles roles = CMUINode::makeRoles();
    roles.setType(PelkRolesType::Container);
    roles.setContainerType(m_type);
    roles.setContainerPlayable(m_playable);
    if (!m_searchPath.isEmpty())
        roles.setSearchPath(m_searchPath);
    return roles;
}

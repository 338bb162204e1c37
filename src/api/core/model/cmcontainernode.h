#pragma once

#include "api/core/model/cmuinode.h"
#include "api/types/pelkrolescontainertype.h"

/// A node with rows, which its subclass defines.
class PELK_API_EXPORT CMContainerNode : public CMUINode
{
    Q_OBJECT

public:
    explicit CMContainerNode(const CMPath& path)
        : CMUINode(path)
    {
    }

    void setContainerType(PelkRolesContainerType::Enum type)
    {
        m_type = type;
        rolesChanged();
    }
    /// Whether the container can be played as a whole; false by default.
    void setPlayable(bool playable)
    {
        m_playable = playable;
        rolesChanged();
    }
    /// The container with the search entries of this one.
    void setSearchPath(const CMPath& path)
    {
        m_searchPath = path;
        rolesChanged();
    }

protected:
    PelkRoles makeRoles() const override;

private:
    PelkRolesContainerType::Enum m_type = PelkRolesContainerType::Folder;
    bool m_playable = false;
    CMPath m_searchPath;
};

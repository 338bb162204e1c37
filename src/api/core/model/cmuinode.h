#pragma once

#include "api/core/model/cmnode.h"
#include "api/types/pelkroles.h"

/// A node that people see: it has a title and can stand as a row in a list.
class PELK_API_EXPORT CMUINode : public CMNode
{
    Q_OBJECT

public:
    explicit CMUINode(const CMPath& path)
        : CMNode(path)
    {
    }

    TrString title() const { return m_title; }
    void setTitle(const TrString& title) { m_title = title; }

    /// The node as a row: what of it a list shows.
    virtual PelkRoles roles() const;
    /// The values of roles() that the request asks for.
    bool getDataRequest(const CMGetDataRequest& request) override;

private:
    TrString m_title;
};

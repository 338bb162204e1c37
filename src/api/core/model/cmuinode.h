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
    void setTitle(const TrString& title)
    {
        m_title = title;
        rolesChanged();
    }

    /// The node as a row: what of it a list shows. Made once and kept until the node changes.
    PelkRoles roles() const;
    /// The values of roles() that were asked for, as they stand in a list of rows. Kept like roles(), for who
    /// asks for the same ones again.
    QVariant row(const QStringList& roleKeys) const;
    /// The values of roles() that the request asks for.
    bool getDataRequest(const CMGetDataRequest& request) override;

protected:
    /// Makes what roles() gives; a kind of node adds its own.
    virtual PelkRoles makeRoles() const;
    /// To be called by whatever changes what makeRoles() gives.
    void rolesChanged()
    {
        m_roles = PelkRoles();
        m_row = QVariant();
    }

private:
    TrString m_title;
    mutable PelkRoles m_roles;      // empty: not made since the last change
    mutable QVariant m_row;         // invalid: likewise
    mutable QStringList m_roleKeys; // what m_row is of
};

#pragma once

#include "api/core/model/cmnode.h"
#include "api/types/pelkroles.h"

/// A visible node: it has a title and can be a row of a list.
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
    /// The requested values of roles(), as in a list of rows. Cached like roles() for the next request of the
    /// same roles.
    QVariant row(const QStringList& roleKeys) const;
    /// The values of roles() that the request asks for.
    bool getDataRequest(const CMGetDataRequest& request) override;

protected:
    /// Creates the result of roles(); subclasses add their values.
    virtual PelkRoles makeRoles() const;
    /// Call it when the result of makeRoles() changes.
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

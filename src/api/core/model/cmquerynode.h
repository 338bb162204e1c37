#pragma once

#include "api/core/model/cmuinode.h"

/// A search entry: the text becomes a parameter of the path of the results.
///
/// Its row contains the parameter's name and that path, so that a client can build the path itself. Setting
/// the node's value to the text replies with the path.
class PELK_API_EXPORT CMQueryNode : public CMUINode
{
    Q_OBJECT

public:
    /// Creates a node and registers it. Owned by the registry.
    static CMQueryNode* create(CMNodes* nodes, const CMPath& path);

    void setQueryPath(const CMPath& path)
    {
        m_queryPath = path;
        rolesChanged();
    }
    /// The name of the parameter for the text.
    void setQuery(const QString& name)
    {
        m_query = name;
        rolesChanged();
    }

    /// The path with the results for a text.
    CMPath resultPath(const QString& text) const;

    /// Accepts a text, plain or as a PelkValue, for the value role. The reply is [the path's text, false].
    bool setDataRequest(const CMSetDataRequest& request) override;

protected:
    PelkRoles makeRoles() const override;

private:
    explicit CMQueryNode(const CMPath& path)
        : CMUINode(path)
    {
    }

    CMPath m_queryPath;
    QString m_query;
};

#pragma once

#include "api/core/model/cmnode.h"
#include "api/types/pelkvalue.h"

#include <memory>

/// A node with one value, which any thread may read through the root worker while the node's worker changes
/// it.
class PELK_API_EXPORT CMValueNode : public CMNode
{
    Q_OBJECT

public:
    /// Creates a node and registers it. Owned by the registry. `mutex` protects the value if it must change
    /// together with other data; null: the node uses its own. Not owned.
    static CMValueNode* create(CMNodes* nodes, const CMPath& path, QMutex* mutex);

    /// Stores the value and publishes it to the subscribers of the node's path; their calls are queued. Any
    /// thread.
    void setValue(const PelkValue& value);
    /// A copy of the value. Any thread.
    PelkValue value() const;

    QMutex* mutex() const override { return m_mutex; }
    /// The value, for the value role.
    bool getDataRequest(const CMGetDataRequest& request) override;

private:
    CMValueNode(const CMPath& path, QMutex* mutex);

    mutable QMutex m_ownMutex;
    QMutex* m_mutex;
    PelkValue m_value;
};

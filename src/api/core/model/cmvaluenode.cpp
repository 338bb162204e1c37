#include "api/core/model/cmvaluenode.h"

#include "api/core/model/cmnodes.h"
#include "api/core/model/cmnodesworker.h"
#include "api/core/model/cmrootworker.h"
#include "api/types/pelkroles.h"

CMValueNode::CMValueNode(const CMPath& path, QMutex* mutex)
    : CMNode(path)
    , m_mutex(mutex ? mutex : &m_ownMutex)
{
}

CMValueNode* CMValueNode::create(CMNodes* nodes, const CMPath& path, QMutex* mutex)
{
    auto* node = new CMValueNode(path, mutex);
    node->setNodes(nodes);
    return node;
}

void CMValueNode::setValue(const PelkValue& value)
{
    // Published under the lock: two threads that set a value publish in the order in which they stored.
    const QMutexLocker locker(m_mutex);
    m_value = value;
    CMRootWorker::instance()->publishNodeValue(path(), value, nodes()->worker());
}

PelkValue CMValueNode::value() const
{
    const QMutexLocker locker(m_mutex);
    return m_value;
}

bool CMValueNode::getDataRequest(const CMGetDataRequest& request)
{
    QVariantList values;
    for (const QString& role : request.roles()) {
        if (role == PelkRoles::Value())
            values.append(value().variant());
        else
            values.append(role == PelkRoles::Path() ? QVariant(path().toString()) : QVariant());
    }
    request.reply().setValue(values);
    return true;
}

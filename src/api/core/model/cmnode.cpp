#include "api/core/model/cmnode.h"

#include "api/core/model/cmnodes.h"
#include "api/types/pelkroles.h"

CMNode::CMNode(const CMPath& path)
    : m_path(path.withoutParams())
{
}

CMNode::~CMNode()
{
    if (m_nodes)
        m_nodes->release(this);
}

void CMNode::setNodes(CMNodes* nodes)
{
    if (m_nodes && m_nodes != nodes)
        m_nodes->release(this);
    m_nodes = nodes;
    nodes->add(this);
}

void CMNode::deleteLater()
{
    if (m_nodes)
        m_nodes->release(this);
    m_nodes = nullptr;
    QObject::deleteLater();
}

QMutex* CMNode::mutex() const
{
    return nullptr;
}

bool CMNode::request(const CMRequest& request)
{
    switch (request.kind()) {
    case CMRequest::GetRows:
        return getRowsRequest(static_cast<const CMGetRowsRequest&>(request));
    case CMRequest::GetData:
        return getDataRequest(static_cast<const CMGetDataRequest&>(request));
    case CMRequest::SetData:
        return setDataRequest(static_cast<const CMSetDataRequest&>(request));
    }
    return false;
}

bool CMNode::getDataRequest(const CMGetDataRequest& request)
{
    QVariantList values;
    for (const QString& role : request.roles())
        values.append(role == PelkRoles::Path() ? QVariant(m_path.toString()) : QVariant());
    request.reply().setValue(values);
    return true;
}

bool CMNode::getRowsRequest(const CMGetRowsRequest& /*request*/)
{
    return false;
}

bool CMNode::matchRowRequest(const CMGetRowsRequest& /*request*/) const
{
    return false;
}

bool CMNode::setDataRequest(const CMSetDataRequest& request)
{
    request.reply().setError(
        CMError(TrString(TrCharData{"CMNode", "\"%1\" has no value that can be set as \"%2\"."},
                         {request.path().toString(), request.role()})));
    return true;
}

void CMNode::valuePathAdd(const CMPath& /*path*/) {}
void CMNode::valuePathRemove(const CMPath& /*path*/) {}
void CMNode::dataPathAdd(const CMPath& /*path*/) {}
void CMNode::dataPathRemove(const CMPath& /*path*/) {}
void CMNode::rowsPathAdd(const CMPath& /*path*/) {}
void CMNode::rowsPathRemove(const CMPath& /*path*/) {}

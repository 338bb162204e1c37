#include "api/core/model/cmnodesworker.h"

#include "api/core/model/cmnode.h"
#include "api/core/model/cmrootworker.h"

#include <QThread>

CMNodesWorker::CMNodesWorker(const QHash<QString, QVariant>& configuration, const QString& name)
    : CMWorker(configuration, name)
    , m_nodes(this)
{
    connect(&m_subscribe, &CMSubscribe::subscribed, this,
            [this](CMSubscribe::Kind kind, const CMPath& path) { tellNode(kind, path, true); });
    connect(&m_subscribe, &CMSubscribe::unsubscribed, this,
            [this](CMSubscribe::Kind kind, const CMPath& path) { tellNode(kind, path, false); });
}

CMNodesWorker::~CMNodesWorker()
{
    if (CMRootWorker* const root = CMRootWorker::instance())
        root->removeWorker(this);
}

CMSubscribe* CMNodesWorker::subscribe(const CMPath& /*path*/)
{
    return &m_subscribe;
}

void CMNodesWorker::getRowsRequest(const CMGetRowsRequest& request)
{
    answer(request);
}

void CMNodesWorker::getDataRequest(const CMGetDataRequest& request)
{
    answer(request);
}

void CMNodesWorker::setDataRequest(const CMSetDataRequest& request)
{
    answer(request);
}

void CMNodesWorker::answer(const CMRequest& request)
{
    if (QThread::currentThread() == thread())
        m_nodes.request(request);
    else
        QMetaObject::invokeMethod(
            this, [this, request] { m_nodes.request(request); }, Qt::QueuedConnection);
}

void CMNodesWorker::tellNode(CMSubscribe::Kind kind, const CMPath& path, bool added)
{
    CMNode* const node = m_nodes.node(path);
    if (!node)
        return;
    switch (kind) {
    case CMSubscribe::Value:
        added ? node->valuePathAdd(path) : node->valuePathRemove(path);
        break;
    case CMSubscribe::Data:
        added ? node->dataPathAdd(path) : node->dataPathRemove(path);
        break;
    case CMSubscribe::Rows:
        added ? node->rowsPathAdd(path) : node->rowsPathRemove(path);
        break;
    }
}

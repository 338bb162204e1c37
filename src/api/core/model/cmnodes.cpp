#include "api/core/model/cmnodes.h"

#include "api/core/model/cmnode.h"
#include "api/core/model/cmnodesworker.h"
#include "api/core/model/cmrootworker.h"

CMNodes::~CMNodes()
{
    const auto nodes = m_nodes;
    m_nodes.clear();
    for (CMNode* node : nodes)
        delete node;
}

void CMNodes::add(CMNode* node)
{
    CMNode* const earlier = m_nodes.value(node->path());
    if (earlier == node)
        return;
    delete earlier;
    m_nodes.insert(node->path(), node);
    if (node->path().prefix() != m_worker->name())
        CMRootWorker::instance()->registerPath(node->path(), m_worker);
}

void CMNodes::release(CMNode* node)
{
    if (m_nodes.value(node->path()) != node)
        return;
    m_nodes.remove(node->path());
    if (CMRootWorker* const root = CMRootWorker::instance())
        root->releasePath(node->path(), m_worker);
}

void CMNodes::request(const CMRequest& request) const
{
    CMNode* const found = node(request.path());
    if (found && found->request(request))
        return;
    const char* const text =
        found ? "\"%1\" does not answer this kind of request." : "There is nothing at \"%1\".";
    request.reply().setError(CMError(TrString(TrCharData{"CMNodes", text}, {request.path().toString()})));
}

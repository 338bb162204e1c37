// A module for tests of the loader and the command line. A macro of its target selects its behaviour: without
// one it is a valid module with a container of two rows. MODULE_THROWS, MODULE_THROWS_NUMBER and
// MODULE_RETURNS_NULL fail as they say, MODULE_WITHOUT_ENTRY has no entry function, MODULE_SDK_VERSION sets
// the version of the SDK for which it claims to be built, and MODULE_HANGS_WHEN_… blocks the worker's thread
// for ever during construction, at a row request, or during deletion.
#include "api/core/model/cmlistrowsnode.h"
#include "api/core/model/cmnodesworker.h"

#include <stdexcept>
#include <unistd.h>

namespace {

[[noreturn]] [[maybe_unused]] void hang()
{
    for (;;)
        ::pause();
}

class TestWorker final : public CMNodesWorker
{
public:
    explicit TestWorker(const QHash<QString, QVariant>& configuration)
        : CMNodesWorker(configuration, QStringLiteral("test"))
    {
        CMListRowsNode* root = CMListRowsNode::create(nodes(), addPrefix(QString()));
        root->setTitle(TrString(QStringLiteral("Test")));
        for (const QString& name : {QStringLiteral("first"), QStringLiteral("second")}) {
            CMListRowsNode::create(nodes(), addPrefix(name))->setTitle(TrString(name));
            root->rowsAppend(addPrefix(name));
        }
    }
#ifdef MODULE_HANGS_WHEN_ASKED
    void getRowsRequest(const CMGetRowsRequest& request) override
    {
        QMetaObject::invokeMethod(this, &hang, Qt::QueuedConnection);
        CMNodesWorker::getRowsRequest(request);
    }
#endif
#ifdef MODULE_HANGS_WHEN_DELETED
    ~TestWorker() override
    {
        hang();
    }
#endif
};

} // namespace

#ifdef MODULE_SDK_VERSION
extern "C" Q_DECL_EXPORT const char pelk_sdk_version[];
const char pelk_sdk_version[] = MODULE_SDK_VERSION;
#endif

#ifndef MODULE_WITHOUT_ENTRY
extern "C" Q_DECL_EXPORT void* worker_create(void* /*ignored*/, const QHash<QString, QVariant>& configuration)
{
#if defined(MODULE_THROWS)
    throw std::runtime_error("the cable is missing");
#elif defined(MODULE_THROWS_NUMBER)
    throw 42;
#elif defined(MODULE_HANGS_WHEN_MADE)
    hang();
#elif defined(MODULE_RETURNS_NULL)
    return nullptr;
#endif
    return static_cast<CMWorker*>(new TestWorker(configuration));
}
#else
// Something that uses the class.
extern "C" Q_DECL_EXPORT void* worker_make(const QHash<QString, QVariant>& configuration)
{
    return new TestWorker(configuration);
}
#endif

// A module for tests of the loader and the command line. What it is made for, a macro of its target says:
// without one it is a good module with a container of two rows, MODULE_THROWS, MODULE_THROWS_NUMBER and
// MODULE_RETURNS_NULL fail in their ways, MODULE_WITHOUT_ENTRY has no entry function, MODULE_SDK_VERSION is
// the version of the SDK that it says it was built for, and MODULE_HANGS_WHEN_… keeps the worker's thread for
// ever while the worker is made, once it is asked for rows, or while it is deleted.
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

#pragma once

#include "api/core/model/cmrootworker.h"
#include "api/types/pelkqobuzsettings.h"
#include "api/types/pelkqobuzusersession.h"
#include "api/types/qobuzpaths.h"

#include <QLibrary>

#include <memory>
#include <stdexcept>

/// The entry of the real module.
inline CMAbstractWorker* createWorker(const QHash<QString, QVariant>& configuration = {},
                                      void* unused = nullptr)
{
    static QLibrary library(QStringLiteral(PELK_MODULE_FILE));
    library.setLoadHints(QLibrary::PreventUnloadHint);
    using Create = void* (*)(void*, const QHash<QString, QVariant>&);
    const auto create = reinterpret_cast<Create>(library.resolve("worker_create"));
    if (!create)
        throw std::logic_error(library.errorString().toStdString());
    return static_cast<CMAbstractWorker*>(create(unused, configuration));
}

/// Settings with this API URL, and a logged-in user.
inline void putValues(CMRootWorker& root, const QString& apiUrl)
{
    PelkQobuzSettings settings;
    settings.setApiUrl(apiUrl);
    settings.setAppId(QStringLiteral("app-id"));
    settings.setAppSecret(QStringLiteral("app-secret"));
    PelkValue value;
    value.setQobuzSettings(settings);
    root.setValue(PelkQobuzSettingsPath(), value, CMReply<QVariant>::create());
    PelkQobuzUserSession session;
    session.setUserAuthToken(QStringLiteral("token-1"));
    session.setUserId(77);
    value = PelkValue();
    value.setQobuzUserSession(session);
    root.setValue(PelkQobuzUserSessionPath(), value, CMReply<QVariant>::create());
}

/// The real module's worker on the calling thread, with the test's own root, so that a test can observe the
/// order of events inside one call.
template <typename Root = CMRootWorker>
class BareWorker
{
public:
    explicit BareWorker(const QString& apiUrl)
    {
        putValues(m_root, apiUrl);
        m_worker.reset(createWorker());
    }

    Root& root() { return m_root; }
    CMAbstractWorker* worker() const { return m_worker.get(); }
    void deleteWorker() { m_worker.reset(); }

private:
    Root m_root;
    std::unique_ptr<CMAbstractWorker> m_worker;
};

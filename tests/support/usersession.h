#pragma once

#include "api/core/model/cmrootworker.h"
#include "api/core/model/cmsubscribe.h"
#include "api/core/model/cmvaluestore.h"
#include "api/types/qobuzpaths.h"

#include <QObject>
#include <QStringList>

#include <functional>

/// Helpers for tests of the user session.

/// A user session in one line: "user name|token|user id|credential id|device id".
inline QString sessionText(const PelkQobuzUserSession& session)
{
    return QStringLiteral("%1|%2|%3|%4|%5")
        .arg(session.userName(), session.userAuthToken(), QString::number(session.userId()),
             QString::number(session.credentialId()), QString::number(session.deviceId()));
}

/// The values of the user session that were set at a root worker, in order.
class SessionHistory
{
public:
    explicit SessionHistory(CMRootWorker& root)
    {
        const CMPath path = PelkQobuzUserSessionPath();
        root.subscribe(path)->add(CMSubscribe::Value, path, &m_context, [this](const PelkValue& value) {
            texts.append(sessionText(value.qobuzUserSession()));
        });
    }
    QStringList texts;

private:
    QObject m_context;
};

/// The root, with something done before the user session is written.
class SessionProbeRoot : public CMRootWorker
{
public:
    std::function<void()> beforeSession = [] {};

    void setValue(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply) override
    {
        if (path == PelkQobuzUserSessionPath())
            beforeSession();
        CMRootWorker::setValue(path, value, reply);
    }
};

/// A store that refuses every value, and counts them.
class BrokenStore : public CMValueStore
{
public:
    PelkValue read(const CMPath& /*path*/) const override { return {}; }
    bool write(const CMPath& /*path*/, const PelkValue& /*value*/, QString* error) override
    {
        ++writes;
        *error = QStringLiteral("disk full");
        return false;
    }
    int writes = 0;
};

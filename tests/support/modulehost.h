#pragma once

#include "api/core/model/cmrootworker.h"
#include "api/types/pelkqobuzsoundquality.h"
#include "api/types/pelkqobuzusersession.h"
#include "api/types/pelkroles.h"

#include <QThread>

#include <memory>

/// What a test needs of the player around the real module: a root worker with the values that the module
/// reads, and the real libqobuz.so, loaded once a process, with its worker on a thread of its own.
///
/// Values are set before start(). The root lives on the test's thread, whose event loop has to run for saving
/// and notifications; rows(), getData() and setData() run it while they wait.
class ModuleHost
{
public:
    struct Rows
    {
        CMError error;
        bool finished = false; ///< false: no answer within the time
        QVariantList rows;     ///< each the list of the values of the roles asked for
        int count = 0;
        int version = 0;
    };
    struct Data
    {
        CMError error;
        bool finished = false;
        QVariant value;
    };

    /// Settings with this API URL, the application id "app-id" and the secret "app-secret"; member id
    /// "member-id"; nobody logged in; sound quality 0.
    explicit ModuleHost(const QString& apiUrl);
    ~ModuleHost();
    ModuleHost(const ModuleHost&) = delete;
    ModuleHost& operator=(const ModuleHost&) = delete;

    CMRootWorker& root() { return m_root; }
    void setSettings(const QString& apiUrl, const QString& appId, const QString& appSecret);
    void setQuality(PelkQobuzSoundQuality::Enum quality);
    /// A user who is logged in: name "user@example.com", this token and these ids.
    void setSession(const QString& token = QStringLiteral("token-1"), unsigned int userId = 77,
                    unsigned int credentialId = 88, unsigned int deviceId = 99);
    PelkQobuzUserSession session();

    /// Creates the worker in its thread and makes it known to the root.
    void start();
    /// Ends the thread and deletes the worker on it.
    void stop();
    CMWorker* worker() const { return m_worker; }
    QThread* workerThread() const { return m_thread.get(); }
    /// Returns once the worker's thread has dealt with what was queued to it before.
    void settle();

    /// Requests through the root; each waits for its answer while it runs the event loop.
    Rows rows(const QString& path, int from, int to, const QStringList& roles = {PelkRoles::Title()},
              int version = 0, int waitMs = 10000);
    Data getData(const QString& path, const QStringList& roles, int waitMs = 10000);
    Data setData(const QString& path, const QString& role, const QVariant& value, int waitMs = 10000);
    /// Waits for a reply while it runs the event loop; false if the time runs out.
    static bool wait(const CMVoidReply& reply, int waitMs = 10000);

private:
    void setRootValue(const CMPath& path, const PelkValue& value);

    CMRootWorker m_root;
    std::unique_ptr<QThread> m_thread;
    long m_threadId = 0; // the kernel's number of it
    CMWorker* m_worker = nullptr;
};

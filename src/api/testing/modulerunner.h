#pragma once

#include "api/core/model/cmrootworker.h"
#include "api/types/pelkroles.h"

#include <QThread>

#include <memory>

/// Runs one module in a test as the player does: with a root worker, the module's library, loaded once per
/// process, and its worker on a separate thread.
///
/// The root worker lives on the test's thread, whose event loop must run for saving and notifications; the
/// requests here run it while they wait. Set the values that the module reads before start().
class ModuleRunner
{
public:
    /// The outcome of a request for rows.
    struct Rows
    {
        CMError error;
        bool finished = false; ///< false: no reply in time
        QVariantList rows;     ///< each a list of the values of the requested roles
        int count = 0;
        int version = 0;
    };
    /// The outcome of a request that reads or sets data.
    struct Data
    {
        CMError error;
        bool finished = false;
        QVariant value;
    };

    /// For the module in this file.
    explicit ModuleRunner(const QString& moduleFile);
    /// Calls stop().
    virtual ~ModuleRunner();
    ModuleRunner(const ModuleRunner&) = delete;
    ModuleRunner& operator=(const ModuleRunner&) = delete;

    CMRootWorker& root() { return m_root; }
    /// Sets a value of the root and waits until it is kept.
    void setValue(const CMPath& path, const PelkValue& value);

    /// Creates the worker on its thread and registers it with the root worker. Throws std::runtime_error if
    /// the file is not a module.
    void start();
    /// Ends the thread and deletes the worker on it.
    void stop();
    CMWorker* worker() const { return m_worker; }
    QThread* workerThread() const { return m_thread.get(); }
    /// Returns when the worker's thread has processed all calls that were queued before.
    void settle();

    /// Requests through the root worker; each runs the event loop while it waits for the reply.
    Rows rows(const QString& path, int from, int to, const QStringList& roles = {PelkRoles::Title()},
              int version = 0, int waitMs = 60000);
    Data getData(const QString& path, const QStringList& roles, int waitMs = 60000);
    Data setData(const QString& path, const QString& role, const QVariant& value, int waitMs = 60000);
    /// Waits for a reply while it runs the event loop; false if the time runs out.
    static bool wait(const CMVoidReply& reply, int waitMs = 60000);

private:
    QString m_moduleFile;
    CMRootWorker m_root;
    std::unique_ptr<QThread> m_thread;
    long m_threadId = 0; // the kernel's number of it
    CMWorker* m_worker = nullptr;
};

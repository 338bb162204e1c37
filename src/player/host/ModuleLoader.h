#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <vector>

class CMRootWorker;
class CMWorker;
class QThread;

/// Loads modules and runs their workers, each on a thread of its own. Used on the root worker's thread.
///
/// A module is a shared library with the C function `void* worker_create(void* ignored, const QHash<QString,
/// QVariant>& configuration)`, which returns a new CMWorker, owned by the loader from then on. A module is
/// never unloaded, because its code may still be called after its worker was deleted.
///
/// It may also export `const char pelk_sdk_version[]`, the version of the SDK that it was built for; one that
/// does not fit the player's is refused.
class ModuleLoader
{
public:
    struct Module
    {
        QString file;
        QString name; ///< the worker's name, which is the prefix of its paths
    };

    explicit ModuleLoader(CMRootWorker* root);
    /// As stop() with five seconds.
    ~ModuleLoader();

    /// Loads every lib*.so of a folder in alphabetical order. Returns one sentence with file and cause per
    /// failure; a failed module does not affect the others. Blocks while workers are created, at most ten
    /// seconds each.
    QStringList loadFolder(const QString& folder);
    /// Loads one module. Returns an empty text, or a sentence that says why it failed.
    QString load(const QString& file);

    const QList<Module>& modules() const { return m_modules; }

    /// The root worker stops forwarding requests to the workers.
    void refuseRequests();
    /// Ends the workers' event loops and deletes each worker on its own thread. False if a thread did not end
    /// in time; that thread is abandoned.
    bool stop(int timeoutMs);

private:
    struct Running
    {
        QThread* thread;
        CMWorker* worker; // null while its constructor is still at work
    };

    CMRootWorker* m_root;
    QList<Module> m_modules;
    std::vector<Running> m_running;
};

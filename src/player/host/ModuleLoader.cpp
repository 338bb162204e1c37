#include "player/host/ModuleLoader.h"

#include "api/core/model/cmrootworker.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QLibrary>
#include <QThread>

#include <exception>
#include <future>
#include <memory>

namespace {

using Create = void* (*)(void*, const QHash<QString, QVariant>&);

constexpr std::chrono::seconds constructionLimit{10};
constexpr int stopLimitMs = 5000;

/// What came of calling a module's entry function.
struct Outcome
{
    CMWorker* worker = nullptr;
    QString problem;
};

Outcome createWorker(Create create)
{
    Outcome outcome;
    try {
        outcome.worker = static_cast<CMWorker*>(create(nullptr, QHash<QString, QVariant>()));
        if (!outcome.worker)
            outcome.problem = QStringLiteral("worker_create returned no worker");
    } catch (const std::exception& problem) {
        outcome.problem =
            QStringLiteral("its worker could not be made: %1").arg(QString::fromUtf8(problem.what()));
    } catch (...) {
        outcome.problem = QStringLiteral("its worker could not be made: it threw something that is no "
                                         "std::exception");
    }
    return outcome;
}

} // namespace

ModuleLoader::ModuleLoader(CMRootWorker* root)
    : m_root(root)
{
}

ModuleLoader::~ModuleLoader()
{
    stop(stopLimitMs);
}

QStringList ModuleLoader::loadFolder(const QString& folder)
{
    const QDir dir(folder);
    if (!dir.exists())
        return {QStringLiteral("The module folder %1 does not exist.").arg(folder)};
    if (!dir.isReadable())
        return {QStringLiteral("The module folder %1 cannot be read.").arg(folder)};
    const QStringList files = dir.entryList({QStringLiteral("lib*.so")}, QDir::Files, QDir::Name);
    if (files.isEmpty())
        return {QStringLiteral("The module folder %1 holds no module (lib*.so).").arg(folder)};
    QStringList problems;
    for (const QString& file : files) {
        const QString problem = load(dir.absoluteFilePath(file));
        if (!problem.isEmpty())
            problems << problem;
    }
    return problems;
}

QString ModuleLoader::load(const QString& file)
{
    const auto refused = [&file](const QString& cause) {
        return QStringLiteral("The module %1 was not loaded: %2.").arg(file, cause);
    };
    QLibrary library(file);
    library.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
    if (!library.load())
        return refused(QStringLiteral("it is no library that can be loaded (%1)").arg(library.errorString()));
    const auto create = reinterpret_cast<Create>(library.resolve("worker_create"));
    if (!create)
        return refused(QStringLiteral("it has no function worker_create, so it is no module"));

    auto* thread = new QThread;
    thread->setObjectName(QFileInfo(file).completeBaseName());
    auto* starter = new QObject;
    starter->moveToThread(thread);
    const auto promise = std::make_shared<std::promise<Outcome>>();
    std::future<Outcome> future = promise->get_future();
    thread->start();
    QMetaObject::invokeMethod(
        starter, [promise, create] { promise->set_value(createWorker(create)); }, Qt::QueuedConnection);
    starter->deleteLater();
    if (future.wait_for(constructionLimit) != std::future_status::ready) {
        m_running.push_back({thread, nullptr});
        return refused(QStringLiteral("its worker was not ready within %1 seconds")
                           .arg(qint64(constructionLimit.count())));
    }
    const Outcome outcome = future.get();
    m_running.push_back({thread, outcome.worker});
    if (!outcome.worker)
        return refused(outcome.problem);
    m_root->addWorker(outcome.worker);
    m_modules.append({file, outcome.worker->name()});
    return QString();
}

void ModuleLoader::refuseRequests()
{
    for (const Running& running : m_running)
        if (running.worker)
            m_root->removeWorker(running.worker);
}

bool ModuleLoader::stop(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    refuseRequests();
    for (const Running& running : m_running) {
        if (!running.worker) {
            running.thread->quit();
            continue;
        }
        // Queued, so that what was queued for the worker before is still done. The deletion happens on the
        // worker's thread, at the latest when its loop has ended.
        QMetaObject::invokeMethod(
            running.worker,
            [running] {
                running.worker->deleteLater();
                running.thread->quit();
            },
            Qt::QueuedConnection);
    }
    bool ended = true;
    for (const Running& running : m_running) {
        // A QThread that is deleted while it runs ends the program; one that hangs is left behind.
        if (running.thread->wait(deadline))
            delete running.thread;
        else
            ended = false;
    }
    m_running.clear();
    m_modules.clear();
    return ended;
}

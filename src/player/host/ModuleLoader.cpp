#include "player/host/ModuleLoader.h"

#include "api/core/model/cmrootworker.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QLibrary>
#include <QRegularExpression>
#include <QThread>

#include <dlfcn.h>
#include <exception>
#include <future>
#include <link.h>
#include <memory>

namespace {

using Create = void* (*)(void*, const QHash<QString, QVariant>&);

constexpr std::chrono::seconds constructionLimit{10};
constexpr int stopLimitMs = 5000;

/// The SDK that this player brings: modules fit it if they were built for the same major and minor version.
const QString sdkVersion = QStringLiteral(PELK_SDK_VERSION);

/// The first SDK library that is loaded in another version than the player's; empty if there is none.
QString foreignSdkLibrary()
{
    QString found;
    ::dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* data) {
            static const QRegularExpression name(QStringLiteral("/(libpelk_\\w+\\.so\\.(\\d+))"));
            const QRegularExpressionMatch match = name.match(QString::fromLocal8Bit(info->dlpi_name));
            const bool isForeign =
                match.hasMatch() && match.captured(2) != sdkVersion.section(QLatin1Char('.'), 0, 0);
            if (isForeign)
                *static_cast<QString*>(data) = match.captured(1);
            return int(isForeign);
        },
        &found);
    return found;
}

/// Why a library that does not load was built for another SDK; empty if that is not the reason.
QString missingSdkLibrary(const QString& loadError)
{
    static const QRegularExpression name(QStringLiteral("(libpelk_\\w+\\.so\\.\\d+): cannot open"));
    return name.match(loadError).captured(1);
}

/// Why a loaded module does not fit this player's SDK, as the end of a sentence; empty if it does. Modules
/// say what they were built for; one that does not is judged by the libraries that it brought.
QString whyItDoesNotFit(QLibrary* library)
{
    const QString foreign = foreignSdkLibrary();
    if (!foreign.isEmpty())
        return QStringLiteral(
                   "it was built for another version of the SDK (it uses %1; this player has version %2)")
            .arg(foreign, sdkVersion);
    const auto* tag = reinterpret_cast<const char*>(library->resolve("pelk_sdk_version"));
    const QString built = tag ? QString::fromLatin1(tag) : sdkVersion;
    if (built.section(QLatin1Char('.'), 0, 1) == sdkVersion.section(QLatin1Char('.'), 0, 1))
        return QString();
    return QStringLiteral(
               "it was built for version %1 of the SDK, and this player has version %2; build it again")
        .arg(built, sdkVersion);
}

/// The outcome of calling a module's entry function.
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
            QStringLiteral("its worker could not be created: %1").arg(QString::fromUtf8(problem.what()));
    } catch (...) {
        outcome.problem = QStringLiteral("its worker could not be created: it threw an unknown exception");
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
        return {QStringLiteral("The module folder %1 contains no module (lib*.so).").arg(folder)};
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
    library.setLoadHints(QLibrary::ResolveAllSymbolsHint);
    if (!library.load()) {
        const QString missing = missingSdkLibrary(library.errorString());
        return refused(
            missing.isEmpty()
                ? QStringLiteral("the library cannot be loaded (%1)").arg(library.errorString())
                : QStringLiteral("it was built for another version of the SDK (it needs %1; this player has "
                                 "version %2)")
                      .arg(missing, sdkVersion));
    }
    const QString unfit = whyItDoesNotFit(&library);
    if (!unfit.isEmpty()) {
        library.unload();
        return refused(unfit);
    }
    ::dlopen(QFile::encodeName(file).constData(),
             RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE); // stays from now on
    const auto create = reinterpret_cast<Create>(library.resolve("worker_create"));
    if (!create)
        return refused(QStringLiteral("it does not export worker_create, so it is not a module"));

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

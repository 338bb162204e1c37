#include "api/testing/modulerunner.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLibrary>
#include <sys/syscall.h>

#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace {

using WorkerCreate = void* (*)(void*, const QHash<QString, QVariant>&);

/// The module stays loaded: its code may be called until the process ends.
WorkerCreate workerCreate(const QString& file)
{
    QLibrary library(file);
    library.setLoadHints(QLibrary::PreventUnloadHint);
    const auto function = reinterpret_cast<WorkerCreate>(library.resolve("worker_create"));
    if (!function)
        throw std::runtime_error(library.errorString().toStdString());
    return function;
}

} // namespace

ModuleRunner::ModuleRunner(const QString& moduleFile)
    : m_moduleFile(moduleFile)
{
}

ModuleRunner::~ModuleRunner()
{
    stop();
}

void ModuleRunner::setValue(const CMPath& path, const PelkValue& value)
{
    const CMReply<QVariant> reply = CMReply<QVariant>::create();
    m_root.setValue(path, value, reply);
    wait(reply);
}

void ModuleRunner::start()
{
    const WorkerCreate create = workerCreate(m_moduleFile);
    m_thread = std::make_unique<QThread>();
    m_thread->start();
    QObject inThread;
    inThread.moveToThread(m_thread.get());
    QMetaObject::invokeMethod(
        &inThread,
        [this, create, &inThread] {
            m_threadId = syscall(SYS_gettid);
            m_worker = static_cast<CMWorker*>(static_cast<CMAbstractWorker*>(create(nullptr, {})));
            inThread.moveToThread(QCoreApplication::instance()->thread());
        },
        Qt::BlockingQueuedConnection);
    m_root.addWorker(m_worker);
}

void ModuleRunner::stop()
{
    if (!m_thread)
        return;
    m_root.removeWorker(m_worker);
    m_worker->deleteLater();
    m_thread->quit();
    m_thread->wait();
    // Libraries free their data of a thread, such as OpenSSL's error state, only after QThread reports the
    // thread as finished. If the program ended before that, a leak checker would report this data.
    const QByteArray task = "/proc/self/task/" + QByteArray::number(qlonglong(m_threadId));
    while (access(task.constData(), F_OK) == 0)
        std::this_thread::yield();
    m_thread.reset();
    m_worker = nullptr;
}

void ModuleRunner::settle()
{
    if (m_worker)
        QMetaObject::invokeMethod(
            m_worker, [] {}, Qt::BlockingQueuedConnection);
}

ModuleRunner::Rows ModuleRunner::rows(const QString& path, int from, int to, const QStringList& roles,
                                      int version, int waitMs)
{
    const CMGetRowsRequest request(CMPath(path), from, to, roles, version);
    m_root.getRowsRequest(request);
    Rows rows;
    rows.finished = wait(request.reply(), waitMs);
    if (!rows.finished)
        return rows;
    rows.error = request.reply().error();
    const PelkRowsRoles value = request.reply().value();
    rows.rows = value.rows().toList();
    rows.count = value.rowsCount();
    rows.version = value.rowsVersion();
    return rows;
}

ModuleRunner::Data ModuleRunner::getData(const QString& path, const QStringList& roles, int waitMs)
{
    const CMGetDataRequest request(CMPath(path), roles);
    m_root.getDataRequest(request);
    Data data;
    data.finished = wait(request.reply(), waitMs);
    if (data.finished) {
        data.error = request.reply().error();
        data.value = request.reply().value();
    }
    return data;
}

ModuleRunner::Data ModuleRunner::setData(const QString& path, const QString& role, const QVariant& value,
                                         int waitMs)
{
    const CMSetDataRequest request(CMPath(path), role, value);
    m_root.setDataRequest(request);
    Data data;
    data.finished = wait(request.reply(), waitMs);
    if (data.finished) {
        data.error = request.reply().error();
        data.value = request.reply().value();
    }
    return data;
}

bool ModuleRunner::wait(const CMVoidReply& reply, int waitMs)
{
    const QDeadlineTimer deadline(waitMs);
    while (!reply.isFinished() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        reply.waitForFinished(1); // the worker's thread finishes it; this one only has to keep its loop going
    }
    return reply.isFinished();
}

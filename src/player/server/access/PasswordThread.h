#pragma once

#include <QObject>
#include <QThread>

#include <atomic>
#include <functional>

/// Computes password hashes on its own thread, one at a time, because each would block the server's thread
/// for tens of milliseconds. Main thread, with an event loop.
class PasswordThread : public QObject
{
    Q_OBJECT

public:
    PasswordThread();
    /// Waits for the current computation and drops the others.
    ~PasswordThread() override;

    /// Calls `done` later, on the calling thread.
    void check(const QString& password, const QByteArray& hash, const std::function<void(bool)>& done);
    void hash(const QString& password, const std::function<void(const QByteArray&)>& done);

private:
    void run(const std::function<std::function<void()>()>& work);

    QThread m_thread;
    QObject m_place;
    std::atomic<bool> m_ending{false};
};

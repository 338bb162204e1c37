#pragma once

#include <QObject>
#include <QThread>

#include <atomic>
#include <functional>

/// Computes password hashes on a thread of its own, one after another: each takes tens of milliseconds, in
/// which the server's thread has others to answer. Main thread, with an event loop.
class PasswordThread : public QObject
{
    Q_OBJECT

public:
    PasswordThread();
    /// Waits for the one that is being computed; the others are dropped.
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

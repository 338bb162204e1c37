#pragma once

#include <QObject>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

/// Lets other threads have something done on the main thread, and waits for it, within bounds. Made and
/// deleted on the main thread.
class MainThread : public QObject
{
    Q_OBJECT

public:
    static constexpr int limitMs = 5000;

    MainThread();

    /// Has `work` done and returns once it is. What it throws as a Problem is thrown here. Throws a Problem
    /// too when it was not done in time; it may then still be done later. On the main thread itself it is
    /// done at once.
    void run(const std::function<void()>& work);
    /// From now on nobody waits. What has not begun is not done.
    void end();

private:
    struct Waiting
    {
        std::mutex mutex;
        std::condition_variable changed;
        bool ended = false;
    };
    const std::shared_ptr<Waiting> m_waiting; // shared with work that is done when nobody waits any longer
};

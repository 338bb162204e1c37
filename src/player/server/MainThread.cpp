#include "player/server/MainThread.h"

#include "player/server/Problem.h"
#include "player/server/ServerText.h"

#include <QThread>

#include <chrono>
#include <optional>

MainThread::MainThread()
    : m_waiting(std::make_shared<Waiting>())
{
}

void MainThread::run(const std::function<void()>& work)
{
    if (QThread::currentThread() == thread()) {
        work();
        return;
    }
    struct Outcome
    {
        bool done = false;
        std::optional<Problem> problem;
    };
    const auto outcome = std::make_shared<Outcome>();
    QMetaObject::invokeMethod(
        this,
        [waiting = m_waiting, outcome, work] {
            std::unique_lock<std::mutex> lock(waiting->mutex);
            if (waiting->ended)
                return;
            lock.unlock();
            std::optional<Problem> problem;
            try {
                work();
            } catch (const Problem& thrown) {
                problem = thrown;
            }
            lock.lock();
            outcome->problem = problem;
            outcome->done = true;
            waiting->changed.notify_all();
        },
        Qt::QueuedConnection);
    std::unique_lock<std::mutex> lock(m_waiting->mutex);
    m_waiting->changed.wait_for(lock, std::chrono::milliseconds(limitMs),
                                [&] { return outcome->done || m_waiting->ended; });
    if (outcome->done && outcome->problem)
        throw Problem(*outcome->problem);
    if (!outcome->done)
        throw Problem(503,
                      m_waiting->ended
                          ? serverText(QT_TRANSLATE_NOOP("PanelServer", "The player ends."))
                          : serverText(QT_TRANSLATE_NOOP("PanelServer", "The player is busy; try again.")));
}

void MainThread::end()
{
    {
        const std::lock_guard<std::mutex> lock(m_waiting->mutex);
        m_waiting->ended = true;
    }
    m_waiting->changed.notify_all();
}

#include "player/server/Lane.h"

Lane::Lane(int threads, int longestQueue)
    : m_longestQueue(std::size_t(longestQueue))
{
    for (int i = 0; i < threads; ++i)
        m_threads.emplace_back([this] { work(); });
}

Lane::~Lane()
{
    stop();
}

bool Lane::post(std::function<void()> job)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stopped || m_queue.size() >= m_longestQueue)
            return false;
        m_queue.push_back(std::move(job));
    }
    m_changed.notify_one();
    return true;
}

void Lane::stop()
{
    std::deque<std::function<void()>> dropped;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopped = true;
        dropped.swap(m_queue);
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
    m_threads.clear();
}

void Lane::work()
{
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [this] { return m_stopped || !m_queue.empty(); });
            if (m_queue.empty())
                return;
            job = std::move(m_queue.front());
            m_queue.pop_front();
        }
        job();
    }
}

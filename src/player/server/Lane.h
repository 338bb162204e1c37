#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/// A number of threads that do jobs in turn, and a queue of bounded length before them. Requests of one
/// kind go through one lane, so that slow ones hold up only their like.
class Lane
{
public:
    Lane(int threads, int longestQueue);
    /// As stop().
    ~Lane();
    Lane(const Lane&) = delete;
    Lane& operator=(const Lane&) = delete;

    /// Has a job done on one of the threads; false, and nothing done, when the queue is full or the lane has
    /// stopped. Any thread.
    bool post(std::function<void()> job);
    /// Drops the jobs that wait and returns once the ones under way are done.
    void stop();

private:
    void work();

    const std::size_t m_longestQueue;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_queue;
    bool m_stopped = false;
    std::vector<std::thread> m_threads;
};

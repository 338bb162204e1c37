#pragma once

#include "api/core/model/cmrootworker.h"

#include <QMutex>
#include <QSemaphore>
#include <QStringList>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

/// A thread of the host that sends its share of the mix, with only so many requests unanswered at a time. It
/// waits between two rounds and goes with the object.
class HostThread
{
public:
    enum Told
    {
        Directly,     ///< watchers run on the worker's thread, as for a host that waits for answers
        ByItsOwnLoop, ///< watchers are queued to this thread, as for a front end
    };

    /// Sends the numbers `first`, `first + step`, ... below `count`, and one request of the other kinds after
    /// each `rowsPerOther` requests for rows.
    HostThread(CMRootWorker& root, Told told, int first, int step, int count);
    ~HostThread();
    HostThread(const HostThread&) = delete;
    HostThread& operator=(const HostThread&) = delete;

    /// Sends the numbers from the last round's end to this one; isIdle() when all of them are answered, or
    /// the first has waited for too long.
    void sendUpTo(int number);
    bool isIdle() const { return m_idle; }

    // Read while the thread is idle.
    int rowsSent() const { return m_rowsSent; }
    int othersSent() const { return m_othersSent; }
    int answeredOnce() const;
    /// Requests that have no answer on purpose, and got none.
    int openOnPurpose() const;
    /// What went wrong: wrong rows, and requests that were answered never or more than once.
    QStringList faults();

    static constexpr int rowsPerOther = 25;
    static constexpr int mostUnanswered = 4;

private:
    void run();
    void sendRound(int upTo);
    bool takePlace();
    void returnAllPlaces();
    void answered(std::atomic<std::uint8_t>& answers, const QString& fault);
    void addFault(const QString& fault);

    CMRootWorker& m_root;
    const Told m_told;
    const int m_step;
    int m_next;
    int m_rowsSent = 0;
    int m_othersSent = 0;
    // One for each request that this thread will send; given room before anything is measured.
    std::vector<std::atomic<std::uint8_t>> m_rowAnswers;
    std::vector<std::atomic<std::uint8_t>> m_otherAnswers;
    std::vector<bool> m_otherStaysOpen;
    QSemaphore m_places{mostUnanswered};
    QMutex m_mutex;
    QStringList m_faults;
    int m_faultCount = 0;
    QSemaphore m_go;
    std::atomic<int> m_upTo{0};
    std::atomic<bool> m_idle{true};
    std::thread m_thread;
};

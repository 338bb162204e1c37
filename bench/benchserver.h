#pragma once

#include <QProcess>

/// A process that answers the requests of the HTTP rows: this program, started again. Its answers are made
/// before it says that it is there, and forbid caches to keep them.
class BenchServer
{
public:
    static constexpr int blobBytes = 60 * 1024;

    BenchServer();
    ~BenchServer();
    BenchServer(const BenchServer&) = delete;
    BenchServer& operator=(const BenchServer&) = delete;

    /// The base URL of its API, with a slash at the end. "blob" below it is a body of blobBytes; a page of
    /// the user's favourite albums and a stream's address are where the service has them.
    QString url() const { return m_url; }
    /// Keeps the calling thread, and those it starts, off the processor that the server has for itself, as
    /// one on another machine would: left to the scheduler, a pair of threads is at times on one processor
    /// and at times on two, which changes a request's time by a factor. Does nothing where there is but one.
    static void leaveProcessorToServer();
    /// What its process has used of the processors so far, in seconds.
    double processorSeconds() const;

    /// What the process does, until its input ends.
    [[noreturn]] static void serve();

private:
    QProcess m_process;
    QString m_url;
};

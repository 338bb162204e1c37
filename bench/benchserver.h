#pragma once

#include <QProcess>

/// A process that answers the requests of the HTTP rows: this program, started again. It prepares its
/// responses before it reports that it is ready; they must not be cached.
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
    /// Keeps the calling thread, and the threads that it starts, off the server's own processor. Otherwise
    /// the scheduler would run a client and the server sometimes on one processor and sometimes on two, which
    /// changes a request's time by a factor. Does nothing on a machine with one processor.
    static void leaveProcessorToServer();
    /// The CPU time of its process so far, in seconds.
    double processorSeconds() const;

    /// The work of the process, until its input ends.
    [[noreturn]] static void serve();

private:
    QProcess m_process;
    QString m_url;
};

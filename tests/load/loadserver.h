#pragma once

#include <QProcess>

/// The service of the load as a process of its own, so that its memory, descriptors and threads are not those
/// that are measured: this test program, started again.
class LoadServer
{
public:
    LoadServer();
    ~LoadServer();
    LoadServer(const LoadServer&) = delete;
    LoadServer& operator=(const LoadServer&) = delete;

    /// The base URL of its API.
    QString url() const { return m_url; }
    /// Ends it; returns how many requests it answered and over how many connections.
    QPair<int, int> stop();

    /// What the process does, until its input ends.
    static int serve();

private:
    QProcess m_process;
    QString m_url;
};

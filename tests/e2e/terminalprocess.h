#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QProcessEnvironment>
#include <sys/types.h>

/// A program on its own terminal, with simulated typing. The calling thread's event loop runs while it waits
/// for output, up to a test's time limit.
class TerminalProcess
{
public:
    /// `command`: the file of the program, and its arguments.
    TerminalProcess(QByteArrayList command, const QProcessEnvironment& environment, int columns = 80);
    /// Kills the program if it is still running.
    ~TerminalProcess();
    TerminalProcess(const TerminalProcess&) = delete;
    TerminalProcess& operator=(const TerminalProcess&) = delete;

    void type(const QByteArray& bytes) const;
    /// Reads up to `end`, which is not returned; if it does not appear, returns everything read.
    QByteArray readUpTo(const QByteArray& end);
    /// Waits for the end of the program; its exit code, or -1.
    int end();
    /// All output so far.
    const QByteArray& output() const { return m_output; }

private:
    bool read();

    int m_terminal = -1;
    pid_t m_child = -1;
    int m_read = 0; // of the output
    QByteArray m_output;
};

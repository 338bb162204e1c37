#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QProcessEnvironment>
#include <sys/types.h>

/// A program on a terminal of its own, at which somebody types. The calling thread's event loop runs while
/// output is waited for, for as long as a test has patience.
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
    /// Reads up to `end`, which is not returned; where that does not come, all that came.
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

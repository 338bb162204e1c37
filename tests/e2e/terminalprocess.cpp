#include "tests/e2e/terminalprocess.h"

#include "tests/support/patience.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QStringList>
#include <sys/wait.h>

#include <array>
#include <csignal>
#include <poll.h>
#include <pty.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr unsigned short rows = 50;
constexpr int pollMs = 5;

std::vector<char*> pointers(QByteArrayList* texts)
{
    std::vector<char*> all;
    for (QByteArray& one : *texts)
        all.push_back(one.data());
    all.push_back(nullptr);
    return all;
}

} // namespace

TerminalProcess::TerminalProcess(QByteArrayList command, const QProcessEnvironment& environment, int columns)
{
    QByteArrayList variables;
    const QStringList set = environment.toStringList();
    for (const QString& variable : set)
        variables.append(variable.toUtf8());
    const std::vector<char*> environmentPointers = pointers(&variables);
    const std::vector<char*> words = pointers(&command);
    winsize size{};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = rows;
    m_child = ::forkpty(&m_terminal, nullptr, nullptr, &size);
    if (m_child == 0) {
        ::execve(words.front(), words.data(), environmentPointers.data());
        ::_exit(99);
    }
}

TerminalProcess::~TerminalProcess()
{
    if (m_child > 0) {
        ::kill(m_child, SIGKILL);
        ::waitpid(m_child, nullptr, 0);
    }
    ::close(m_terminal);
}

void TerminalProcess::type(const QByteArray& bytes) const
{
    if (::write(m_terminal, bytes.constData(), size_t(bytes.size())) != bytes.size())
        qFatal("The terminal takes no more.");
}

/// False at the end of the program.
bool TerminalProcess::read()
{
    std::array<char, 4096> bytes{};
    QCoreApplication::processEvents();
    pollfd ready{m_terminal, POLLIN, 0};
    const ssize_t got = ::poll(&ready, 1, pollMs) > 0 ? ::read(m_terminal, bytes.data(), bytes.size()) : 0;
    m_output.append(bytes.data(), int(qMax<ssize_t>(got, 0)));
    return got >= 0;
}

QByteArray TerminalProcess::readUpTo(const QByteArray& end)
{
    QElapsedTimer waited;
    waited.start();
    int at = -1;
    while ((at = m_output.indexOf(end, m_read)) < 0 && waited.elapsed() < patienceMs && read()) {
    }
    const QByteArray text = m_output.mid(m_read, at < 0 ? -1 : at - m_read);
    m_read = at < 0 ? m_output.size() : at + end.size();
    return text;
}

int TerminalProcess::end()
{
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < patienceMs && read()) {
    }
    int status = 0;
    if (waited.elapsed() >= patienceMs)
        ::kill(m_child, SIGKILL);
    ::waitpid(m_child, &status, 0);
    m_child = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

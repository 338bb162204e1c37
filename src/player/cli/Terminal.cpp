#include "player/cli/Terminal.h"

#include "player/base/PrintableText.h"
#include "player/cli/TextWidth.h"
#include "player/host/ServiceManager.h"

#include <QByteArray>
#include <QTextCodec>
#include <sys/ioctl.h>

#include <csignal>
#include <cstdio>
#include <syslog.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int longestLineBytes = 4096;

bool progressStands = false;
volatile std::sig_atomic_t caughtSignal = 0;

void write(FILE* file, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), file);
}

void writeLine(int syslogLevel, const QString& line)
{
    Terminal::progress(QString());
    write(stderr, ServiceManager::journalPrefix(syslogLevel) + line + QLatin1Char('\n'));
}

void onSignal(int number)
{
    caughtSignal = number;
}

/// Reads up to the end of a line, byte by byte, so that what follows it stays unread.
std::optional<QString> readLineFrom(int file)
{
    QByteArray line;
    char c = 0;
    ssize_t got = 0;
    while (line.size() < longestLineBytes && (got = ::read(file, &c, 1)) == 1 && c != '\n')
        line.append(c);
    if (caughtSignal != 0 || (got <= 0 && line.isEmpty()))
        return std::nullopt;
    if (line.endsWith('\r'))
        line.chop(1);
    QTextCodec::ConverterState state;
    const QString text = QTextCodec::codecForName("UTF-8")->toUnicode(line.constData(), line.size(), &state);
    if (state.invalidChars > 0 || state.remainingChars > 0)
        return std::nullopt;
    return text;
}

} // namespace

void Terminal::out(const QString& text)
{
    write(stdout, text);
}

void Terminal::error(const QString& sentence)
{
    writeLine(LOG_ERR, QStringLiteral("pelk: ") + printableText(sentence));
}

void Terminal::note(const QString& line)
{
    writeLine(LOG_INFO, line);
}

void Terminal::progress(const QString& line)
{
    if (!errorIsTerminal() || (line.isEmpty() && !progressStands))
        return;
    progressStands = !line.isEmpty();
    const int limit = width();
    // To the start of the line, and clear it.
    write(stderr, QStringLiteral("\r\033[K") + (limit > 0 ? TextWidth::cut(line, limit - 1) : line));
    std::fflush(stderr);
}

bool Terminal::errorIsTerminal()
{
    return ::isatty(STDERR_FILENO) != 0;
}

bool Terminal::inputIsTerminal()
{
    return ::isatty(STDIN_FILENO) != 0;
}

bool Terminal::flushOut()
{
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

int Terminal::width()
{
    const int columns = qEnvironmentVariableIntValue("COLUMNS");
    if (columns > 0)
        return columns;
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0)
        return size.ws_col;
    return 0;
}

std::optional<QString> Terminal::askPassword(const QString& prompt)
{
    termios before{};
    if (::tcgetattr(STDIN_FILENO, &before) != 0)
        return std::nullopt;
    // Without SA_RESTART, so that a signal ends the read and the terminal can be put back.
    struct sigaction action
    {
    };
    action.sa_handler = onSignal;
    struct sigaction oldInterrupt
    {
    };
    struct sigaction oldTerminate
    {
    };
    ::sigaction(SIGINT, &action, &oldInterrupt);
    ::sigaction(SIGTERM, &action, &oldTerminate);
    termios silent = before;
    silent.c_lflag &= ~tcflag_t(ECHO);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    write(stderr, prompt);
    std::fflush(stderr);
    std::optional<QString> line = readLineFrom(STDIN_FILENO);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    write(stderr, QStringLiteral("\n"));
    ::sigaction(SIGINT, &oldInterrupt, nullptr);
    ::sigaction(SIGTERM, &oldTerminate, nullptr);
    if (caughtSignal != 0)
        std::raise(caughtSignal);
    return line;
}

std::optional<QString> Terminal::readLine()
{
    return readLineFrom(STDIN_FILENO);
}

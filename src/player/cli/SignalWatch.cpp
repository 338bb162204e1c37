#include "player/cli/SignalWatch.h"

#include "player/cli/ExitCode.h"

#include <QSocketNotifier>
#include <sys/signalfd.h>

#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace {

sigset_t watchedSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

} // namespace

SignalWatch::SignalWatch()
{
    const sigset_t set = watchedSignals();
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    m_file = ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    auto* notifier = new QSocketNotifier(m_file, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        signalfd_siginfo info{};
        if (::read(m_file, &info, sizeof info) != ssize_t(sizeof info))
            return;
        if (m_number != 0)
            std::_Exit(ExitCode::signalBase + m_number);
        m_number = int(info.ssi_signo);
        Q_EMIT caught();
    });
}

SignalWatch::~SignalWatch()
{
    ::close(m_file);
}

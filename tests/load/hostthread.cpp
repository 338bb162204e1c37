#include "tests/load/hostthread.h"

#include "tests/load/requestmix.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <memory>

namespace {

constexpr int patienceMs = 60000;
constexpr int rowsPerFullCheck = 50;
constexpr int mostFaultsKept = 5;

} // namespace

HostThread::HostThread(CMRootWorker& root, Told told, int first, int step, int count)
    : m_root(root)
    , m_told(told)
    , m_step(step)
    , m_next(first)
    , m_rowAnswers(std::size_t(count / step + 1))
    , m_otherAnswers(m_rowAnswers.size() / rowsPerOther + 1)
    , m_otherStaysOpen(m_otherAnswers.size())
    , m_thread([this] { run(); })
{
}

HostThread::~HostThread()
{
    m_upTo = -1;
    m_go.release();
    m_thread.join();
}

void HostThread::sendUpTo(int number)
{
    m_idle = false;
    m_upTo = number;
    m_go.release();
}

int HostThread::answeredOnce() const
{
    const auto once = [](const std::atomic<std::uint8_t>& answers) { return answers == 1; };
    return int(std::count_if(m_rowAnswers.begin(), m_rowAnswers.end(), once) +
               std::count_if(m_otherAnswers.begin(), m_otherAnswers.end(), once));
}

int HostThread::openOnPurpose() const
{
    int open = 0;
    for (std::size_t i = 0; i < m_otherAnswers.size(); ++i)
        open += m_otherStaysOpen[i] && m_otherAnswers[i] == 0 ? 1 : 0;
    return open;
}

QStringList HostThread::faults()
{
    QStringList found = m_faults;
    if (m_faultCount > mostFaultsKept)
        found << QStringLiteral("%1 more").arg(m_faultCount - mostFaultsKept);
    const auto compare = [&found](const char* kind, int request, int answers, int expected) {
        if (answers != expected && found.size() < 3 * mostFaultsKept)
            found << QStringLiteral("%1 %2 of its thread was answered %3 times")
                         .arg(QLatin1String(kind))
                         .arg(request)
                         .arg(answers);
    };
    for (int i = 0; i < m_rowsSent; ++i)
        compare("request for rows", i, m_rowAnswers[std::size_t(i)], 1);
    for (int i = 0; i < m_othersSent; ++i)
        compare("other request", i, m_otherAnswers[std::size_t(i)], m_otherStaysOpen[std::size_t(i)] ? 0 : 1);
    return found;
}

void HostThread::run()
{
    std::unique_ptr<QEventLoop> loop; // while there is one, watchers that this thread adds are queued to it
    QTimer tick;                      // so that waiting for events comes back to look at its limit
    if (m_told == ByItsOwnLoop) {
        loop = std::make_unique<QEventLoop>();
        tick.start(1000);
    }
    for (;;) {
        m_go.acquire();
        if (m_upTo < 0)
            return;
        sendRound(m_upTo);
        m_idle = true;
    }
}

void HostThread::sendRound(int upTo)
{
    const Qt::ConnectionType type = m_told == Directly ? Qt::DirectConnection : Qt::AutoConnection;
    if (m_told == ByItsOwnLoop)
        QCoreApplication::processEvents(); // should an answer have come twice, the second is here by now
    for (; m_next < upTo; m_next += m_step) {
        if (!takePlace())
            return;
        const auto check = m_rowsSent % rowsPerFullCheck == 0 ? RequestMix::Full : RequestMix::Short;
        RequestMix::sendRows(m_root, m_next, check, type,
                             [this, &answers = m_rowAnswers[std::size_t(m_rowsSent)]](const QString& fault) {
                                 answered(answers, fault);
                             });
        if (++m_rowsSent % rowsPerOther != 0)
            continue;
        if (!takePlace())
            return;
        const auto other = std::size_t(m_othersSent);
        m_otherStaysOpen[other] = !RequestMix::sendOther(
            m_root, m_next, type,
            [this, &answers = m_otherAnswers[other]](const QString& fault) { answered(answers, fault); });
        if (m_otherStaysOpen[other])
            m_places.release();
        ++m_othersSent;
    }
    returnAllPlaces();
}

/// Waits until fewer requests than allowed are unanswered.
bool HostThread::takePlace()
{
    const QDeadlineTimer deadline(patienceMs);
    while (!m_places.tryAcquire(1, m_told == Directly ? patienceMs : 0)) {
        if (deadline.hasExpired()) {
            addFault(
                QStringLiteral("no answer came for %1 ms, before request %2").arg(patienceMs).arg(m_next));
            return false;
        }
        if (m_told == ByItsOwnLoop)
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void HostThread::returnAllPlaces()
{
    int taken = 0;
    while (taken < mostUnanswered && takePlace())
        ++taken;
    m_places.release(taken);
}

void HostThread::answered(std::atomic<std::uint8_t>& answers, const QString& fault)
{
    if (!fault.isEmpty())
        addFault(fault);
    if (++answers == 1)
        m_places.release();
}

void HostThread::addFault(const QString& fault)
{
    const QMutexLocker locker(&m_mutex);
    if (++m_faultCount <= mostFaultsKept)
        m_faults << fault;
}

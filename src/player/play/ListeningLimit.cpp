#include "player/play/ListeningLimit.h"

namespace {

constexpr int checkMs = 20;
// The service's clock drops fractions of a second and starts a little after the sound, later still after a
// change of tracks. A stop exactly at the limit would be reported as one second less.
constexpr int marginMs = 150;

} // namespace

ListeningLimit::ListeningLimit(QObject* parent)
    : QObject(parent)
{
    connect(&m_timer, &QTimer::timeout, this, &ListeningLimit::check);
}

void ListeningLimit::set(int seconds)
{
    m_heardMs = 0;
    m_limitMs = qint64(seconds) * 1000;
    if (m_limitMs > 0)
        m_timer.start(checkMs);
    else
        m_timer.stop();
}

void ListeningLimit::begin()
{
    if (!m_hearing.isValid())
        m_hearing.start();
}

void ListeningLimit::end()
{
    if (m_hearing.isValid())
        m_heardMs += m_hearing.elapsed();
    m_hearing.invalidate();
}

void ListeningLimit::check()
{
    if (m_hearing.isValid() && m_heardMs + m_hearing.elapsed() >= m_limitMs + marginMs)
        Q_EMIT reached();
}

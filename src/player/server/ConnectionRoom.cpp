#include "player/server/ConnectionRoom.h"

#include "player/server/Connection.h"

#include <QSocketNotifier>

#include <algorithm>

namespace {

constexpr int sweepMs = 1000;

/// A notifier is deleted when its own signal is over.
std::shared_ptr<QSocketNotifier> watch(int socket)
{
    return {new QSocketNotifier(socket, QSocketNotifier::Read), [](QSocketNotifier* notifier) {
                notifier->setEnabled(false);
                notifier->deleteLater();
            }};
}

} // namespace

ConnectionRoom::ConnectionRoom(const Receiver& receiver)
    : m_receiver(receiver)
    , m_sweep(this)
{
    m_clock.start();
    connect(&m_sweep, &QTimer::timeout, this, &ConnectionRoom::sweep);
}

void ConnectionRoom::add(const std::shared_ptr<Connection>& connection)
{
    QMetaObject::invokeMethod(
        this, [this, connection] { admit(connection, false); }, Qt::QueuedConnection);
}

void ConnectionRoom::drain(const std::shared_ptr<Connection>& connection)
{
    connection->endAnswer();
    QMetaObject::invokeMethod(
        this, [this, connection] { admit(connection, true); }, Qt::QueuedConnection);
}

void ConnectionRoom::admit(const std::shared_ptr<Connection>& connection, bool drained)
{
    if (!drained && connection->hasInput()) {
        m_receiver(connection);
        return;
    }
    while (m_guests.size() >= mostConnections)
        closeOldest();
    const int socket = connection->socket();
    Guest guest{connection, watch(socket), m_clock.elapsed() + (drained ? drainMs : idleMs), drained};
    connect(guest.notifier.get(), &QSocketNotifier::activated, this, [this, socket] { onReadable(socket); });
    m_guests.insert(socket, guest);
    if (!m_sweep.isActive())
        m_sweep.start(sweepMs);
}

void ConnectionRoom::onReadable(int socket)
{
    const auto it = m_guests.find(socket);
    if (it == m_guests.end())
        return;
    if (it->drained && it->connection->discard())
        return;
    const Guest guest = *it;
    m_guests.erase(it);
    if (!guest.drained)
        m_receiver(guest.connection);
}

void ConnectionRoom::sweep()
{
    const qint64 now = m_clock.elapsed();
    for (auto it = m_guests.begin(); it != m_guests.end();)
        it = it->untilMs <= now ? m_guests.erase(it) : std::next(it);
    if (m_guests.isEmpty())
        m_sweep.stop();
}

void ConnectionRoom::closeOldest()
{
    const auto oldest =
        std::min_element(m_guests.begin(), m_guests.end(),
                         [](const Guest& a, const Guest& b) { return a.untilMs < b.untilMs; });
    m_guests.erase(oldest);
}

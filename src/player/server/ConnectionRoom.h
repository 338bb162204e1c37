#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>

class Connection;
class QSocketNotifier;

/// Where connections are between two requests, so that one which is kept open takes no thread. Lives on a
/// thread with an event loop.
class ConnectionRoom : public QObject
{
    Q_OBJECT

public:
    static constexpr int idleMs = 60000;
    static constexpr int drainMs = 2000;
    /// Of more, the one that has waited longest is closed.
    static constexpr int mostConnections = 512;

    /// Called, in the room's thread, with a connection that something comes from.
    using Receiver = std::function<void(const std::shared_ptr<Connection>&)>;
    explicit ConnectionRoom(const Receiver& receiver);

    /// Waits for the next request of a connection. Any thread.
    void add(const std::shared_ptr<Connection>& connection);
    /// Closes a connection whose last answer was sent, once the client has seen it: one that still sends
    /// would else be told of a broken connection in place of the answer. Any thread.
    void drain(const std::shared_ptr<Connection>& connection);
    int count() const { return m_guests.size(); }

private:
    struct Guest
    {
        std::shared_ptr<Connection> connection;
        std::shared_ptr<QSocketNotifier> notifier;
        qint64 untilMs;
        bool drained;
    };

    void admit(const std::shared_ptr<Connection>& connection, bool drained);
    void onReadable(int socket);
    void sweep();
    void closeOldest();

    Receiver m_receiver;
    QHash<int, Guest> m_guests; // by socket
    QElapsedTimer m_clock;
    QTimer m_sweep;
};

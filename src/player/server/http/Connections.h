#pragma once

#include "player/server/http/HttpMessage.h"
#include "player/server/http/Limits.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QTimer>

class QSocketNotifier;

/// The connections of a server: their maximum number, their deadlines, and the disconnection of clients. It
/// does not read or write data; to end a connection it shuts the socket down, which the reader notices.
///
///   Idle      nothing of a request has come   until `idleMs`; may have to make room
///   Head      a head has begun                until `headMs`; may have to make room when nobody is idle
///   Body      the head has come               until `bodyMs`; may have to make room when there is no head
///   Waiting   there is no response yet        its end is watched for
///   Sending   the response is on its way      the HTTP library watches that it is accepted
class Connections : public QObject
{
    Q_OBJECT

public:
    enum class State
    {
        Idle,
        Head,
        Body,
        Waiting,
        Sending
    };

    /// `gone`: called when the other end of a waiting connection has disconnected.
    Connections(const Limits& limits, std::function<void(int socket)> gone);
    ~Connections() override;

    /// How many connections this process has descriptors for.
    static int most(const Limits& limits);
    /// Adds a connection and ends another one if there are too many. False if there is no room.
    bool add(int socket, const Peer& peer);
    /// Ends the oldest connection that may have to make room, of `peer` if it is given; false if there is
    /// none.
    bool makeRoom(const Peer* peer);
    /// Call it before the socket is closed.
    void remove(int socket);
    void enter(int socket, State state);
    Peer peer(int socket) const { return m_connections.value(socket).peer; }
    int count() const { return m_connections.size(); }
    /// Checks which connections have begun a request or disconnected; the latter count no longer. Call it
    /// before received data is read.
    void look();

private:
    struct Connection
    {
        Peer peer;
        State state = State::Idle;
        qint64 sinceMs = 0;
        bool isEnding = false;
    };

    void lookAt(int socket, State state, bool hasClosed);
    int limitMs(State state) const;
    void end(int socket);
    void sweep();

    const Limits m_limits;
    const int m_most;
    std::function<void(int)> m_gone;
    QHash<int, Connection> m_connections; // by socket
    int m_ending = 0;                     // those that were shut down and are still to be closed
    int m_epoll;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QElapsedTimer m_clock;
    QTimer m_sweep;
};

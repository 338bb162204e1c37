#pragma once

#include "player/server/http/HttpMessage.h"

#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>

class QSocketNotifier;

/// Accepts connections at an address. It keeps one file descriptor in reserve: if the process has no other
/// left, the next connection uses it, and idle connections are closed to restore the reserve.
class Listener : public QObject
{
    Q_OBJECT

public:
    static constexpr int retryMs = 10;

    /// Called with each connection, whose socket belongs to the receiver.
    using Receiver = std::function<void(int socket, const Peer& peer)>;
    /// `exhausted` is called when descriptors have run out, and ends a connection if it can.
    Listener(Receiver receiver, std::function<void()> exhausted);
    ~Listener() override;

    /// Listens on an IP address or host name and a port (0: any free one). False if that fails; errno says
    /// why.
    bool listen(const QString& address, quint16 port);
    /// Takes ownership of a listening socket and returns its address. False, without taking ownership, if the
    /// socket does not listen.
    bool adopt(int socket, QString* address);
    /// Takes over a socket that listens at a file.
    void adoptFile(int socket);
    /// The socket that systemd has passed to this process; -1 if there is none.
    static int passedSocket();
    void close();
    quint16 port() const { return m_port; }

private:
    void watch();
    void accept();

    void acceptOnReserve();

    Receiver m_receiver;
    std::function<void()> m_exhausted;
    int m_reserve = -1;
    int m_socket = -1;
    quint16 m_port = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_retry;
};

#pragma once

#include "player/server/http/HttpMessage.h"

#include <QObject>
#include <QTimer>

#include <memory>

class QSocketNotifier;

/// Accepts connections at an address. When descriptors run out it waits a little and tries again.
class Listener : public QObject
{
    Q_OBJECT

public:
    static constexpr int retryMs = 100;

    /// Called with each connection, whose socket belongs to the receiver.
    using Receiver = std::function<void(int socket, const Peer& peer)>;
    explicit Listener(Receiver receiver);
    ~Listener() override;

    /// Listens on an IP address or host name and a port (0: any free one). False where that is not possible;
    /// errno says why.
    bool listen(const QString& address, quint16 port);
    /// Takes over a socket that listens already, and gives its address. False where it is no such socket; it
    /// is not taken over then.
    bool adopt(int socket, QString* address);
    /// Takes over a socket that listens at a file.
    void adoptFile(int socket);
    /// The socket that systemd has passed to this process; -1 where there is none.
    static int passedSocket();
    void close();
    quint16 port() const { return m_port; }

private:
    void watch();
    void accept();

    Receiver m_receiver;
    int m_socket = -1;
    quint16 m_port = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_retry;
};

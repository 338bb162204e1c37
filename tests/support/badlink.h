#pragma once

#include <QString>

#include <memory>

/// A bad link to a server on loopback: a TCP forwarder on an ephemeral port that delays data, loses it like a
/// network, or goes down. Clients connect to it as if it were the server.
///
/// A forwarder sees streams, not packets, so the effect of loss on TCP is simulated: a stream is cut into
/// segments of 1460 bytes, and a lost segment arrives after the sender's time-out, 200 ms at first and
/// doubled by each further loss. Later segments wait for it. A lost connection attempt is repeated after one
/// second, then two, and so on.
///
/// All operations are thread-safe and affect everything in transit at once.
class BadLink
{
public:
    struct Counters
    {
        int connections = 0; ///< accepted so far
        qint64 segments = 0; ///< sent so far, each counted once
        qint64 lost = 0;     ///< losses so far; one segment can be lost several times
    };

    /// A link without faults to a server on 127.0.0.1. The seed determines the losses.
    explicit BadLink(quint16 serverPort, quint32 seed = 1);
    /// Closes all connections.
    ~BadLink();
    BadLink(const BadLink&) = delete;
    BadLink& operator=(const BadLink&) = delete;

    quint16 port() const;
    /// "http://127.0.0.1:PORT" and the path as given.
    QString url(const QString& path = QStringLiteral("/")) const;

    /// The latency of data sent from now on, in each direction.
    void setLatencyMs(int oneWayMs);
    /// The probability that a segment or a connection attempt is lost: at least 0, below 1.
    void setLoss(double probability);
    /// Takes the link down, or up again. While it is down, nobody is notified: data is lost and sent again,
    /// and connection attempts hang in the system, which repeats them.
    void setAway(bool away);

    /// Resets every connection, like a router that restarts.
    void cut();

    Counters counters() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

#pragma once

#include <QString>

#include <memory>

/// A bad link to a server on loopback: a TCP forwarder on an ephemeral port that delays what passes, loses it
/// as a network would, or goes away. Clients talk to it as if it were the server.
///
/// What TCP makes of loss is imitated, since a forwarder sees streams, not packets: a stream is cut into
/// segments of 1460 bytes, and one that is lost arrives after the sender's time-out, 200 ms at first and
/// doubled by each further loss. What comes after it waits for it. An attempt to connect that is lost is
/// repeated after one second, then two, and so on.
///
/// All operations are thread-safe and take effect at once on everything under way.
class BadLink
{
public:
    struct Counters
    {
        int connections = 0; ///< accepted so far
        qint64 segments = 0; ///< sent so far, each counted once
        qint64 lost = 0;     ///< losses so far; one segment can be lost several times
    };

    /// A link without faults to a server on 127.0.0.1. The seed is that of the losses.
    explicit BadLink(quint16 serverPort, quint32 seed = 1);
    /// Closes all connections.
    ~BadLink();
    BadLink(const BadLink&) = delete;
    BadLink& operator=(const BadLink&) = delete;

    quint16 port() const;
    /// "http://127.0.0.1:PORT" and the path as given.
    QString url(const QString& path = QStringLiteral("/")) const;

    /// How long what is sent from now on is on its way, in each direction.
    void setLatencyMs(int oneWayMs);
    /// The probability with which each segment, and each attempt to connect, is lost: 0 up to below 1.
    void setLoss(double probability);
    /// Takes the link away, or brings it back. Meanwhile nobody is told anything: what is sent is lost and
    /// sent again, and attempts to connect hang in the system, which repeats them.
    void setAway(bool away);

    /// Resets every connection, as a router does that starts anew.
    void cut();

    Counters counters() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

#pragma once

#include <QSet>
#include <QString>

/// Checks Host and Origin. A page of another site can make a browser send requests here, and can point its
/// own name at this machine. So Host must be a name of this server, and Origin, if present, must match it. A
/// value; any thread.
class AccessRules
{
public:
    /// For a server that listens on this address (an IP address or a host name) and port. `origin`: the
    /// origin of a proxy in front of it, from originOf(); may be empty. `hasTls`: whether the server itself
    /// uses TLS.
    AccessRules(const QString& address, quint16 port, const QString& origin = QString(), bool hasTls = false);

    /// Whether a Host header names this server.
    bool isOwnHost(const QString& host) const;
    /// Whether an Origin header is that of the panel itself, which was loaded from this Host.
    bool isOwnOrigin(const QString& origin, const QString& host) const;
    /// Whether browsers that name this Host speak TLS to a proxy.
    bool isProxiedHttps(const QString& host) const;
    /// Parses an origin as a user writes it, such as "https://music.home.example/"; empty if it is invalid.
    static QString originOf(const QString& text);
    /// Whether only this machine can reach an address.
    static bool isLoopback(const QString& address);
    /// Whether it means all addresses of this machine.
    static bool isEveryAddress(const QString& address);

private:
    QSet<QString> m_names;
    QString m_origin;  // of the proxy
    bool m_anyAddress; // whether every address of the machine is listened on
    quint16 m_port;
    bool m_hasTls;
};

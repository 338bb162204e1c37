#pragma once

#include "player/server/api/Route.h"

class Access;

/// Facts about the connection for the page.
struct WayIn
{
    QString fingerprint;                                ///< of the certificate; empty without TLS
    std::function<bool(const HttpRequest&)> isReadable; ///< whether others in the network could read along
    std::function<bool(const HttpRequest&)> isProxiedHttps; ///< whether the browser speaks TLS to a proxy
};

/// Logging in to the player, its sessions and its password. Neither is owned; both outlive the routes.
QVector<Route> accessRoutes(Access* access, const WayIn* way);

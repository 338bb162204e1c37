#pragma once

#include "api/types/cmpath.h"

#include <QJsonObject>
#include <QStringList>

class Host;

/// How a player is reached; empty for a process that does not serve.
struct Reach
{
    QStringList addresses; ///< of the panel, the one for this machine first
    QString fingerprint;   ///< of the TLS certificate; empty without TLS
    QString socketFile;
};

/// The response to GET /api/about, for programs of the player's user: its process, files, modules and
/// account.
QJsonObject aboutPlayer(const Host& host, const QString& version, const Reach& reach = {});

/// The values that the interface neither returns nor sets, because they contain a secret or decide where
/// secrets are sent.
QList<CMPath> closedPaths();

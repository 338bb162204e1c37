#pragma once

#include "api/types/cmpath.h"

#include <QJsonObject>

class Host;

/// What GET /api/about tells of a player to programs of its user: its process, files, modules and account.
/// `panel`: the panel's address; empty where none is shown.
QJsonObject aboutPlayer(const Host& host, const QString& version, const QString& panel);

/// The values that the interface neither tells nor sets: they hold a secret or steer where secrets go.
QList<CMPath> closedPaths();

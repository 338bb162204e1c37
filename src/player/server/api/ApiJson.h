#pragma once

#include "api/types/pelkroles.h"
#include "player/server/Translations.h"

#include <QJsonObject>

/// The parts of the content model that browsers receive, as JSON. Never includes a secret: no token,
/// password, application secret or stream address, and no path for pre-play or play-state reports.
namespace ApiJson {

/// A row: texts in the reader's language, paths as text, kinds as words; only what a panel needs.
QJsonObject row(const PelkRoles& row, const Language& language);
/// Whether a role can be requested.
bool isPublicRole(const QString& role);
/// A role's value in the form of row(); null if it is not set.
QJsonValue role(const PelkRoles& row, const QString& role, const Language& language);
/// Any value, without the fields that are secret at any depth.
QJsonValue value(const QVariant& value, const Language& language);

} // namespace ApiJson

#pragma once

#include "api/types/pelkroles.h"
#include "player/server/Translations.h"

#include <QJsonObject>

/// What of the content model goes out to browsers, and in which form. Nothing secret passes here: no token,
/// no password, no application secret, no address of a stream, no path by which one is asked for or reported
/// on.
namespace ApiJson {

/// A row: texts in the reader's language, paths as text, kinds as words; only what a panel needs.
QJsonObject row(const PelkRoles& row, const Language& language);
/// Whether a role can be asked for.
bool isPublicRole(const QString& role);
/// A role's value as row() has it; null where it is not set.
QJsonValue role(const PelkRoles& row, const QString& role, const Language& language);
/// Any value, without the fields that are secret at any depth.
QJsonValue value(const QVariant& value, const Language& language);

} // namespace ApiJson

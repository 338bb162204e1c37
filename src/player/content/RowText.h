#pragma once

#include "api/types/pelkroles.h"

/// Rows as JSON text that the player reads after a restart, with all their roles. Translatable titles stay
/// translatable. Streams are omitted: their addresses expire and permit anyone to fetch them. Any thread.
namespace RowText {

/// Appends a row as one JSON object.
void append(QByteArray* text, const PelkRoles& row);
/// Appends any text as a JSON string.
void append(QByteArray* text, const QString& string);
/// Reads a row from parsed text of append(); an empty row if it is invalid.
PelkRoles row(const PelkHash& parsed);

} // namespace RowText

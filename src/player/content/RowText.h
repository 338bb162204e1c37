#pragma once

#include "api/types/pelkroles.h"

/// Rows as JSON text that the player reads again after a restart, with every role that they carry. A title in
/// several languages stays one. Streams are left out: their addresses are permissions to fetch them, and hold
/// for a while only. Any thread.
namespace RowText {

/// Appends a row as one JSON object.
void append(QByteArray* text, const PelkRoles& row);
/// Appends any text as a JSON string.
void append(QByteArray* text, const QString& string);
/// The row in the parsed form of what append() wrote; an empty row where it is something else.
PelkRoles row(const PelkHash& parsed);

} // namespace RowText

#pragma once

#include "player/content/ContentClient.h"

/// A page of rows as a JSON object for programs: "from", "count" (of the whole list), "version" and "rows",
/// each row with every role that it carries. Texts are resolved, paths are text, kinds are the words of their
/// enumerations. Ends in a line break.
QByteArray rowsToJson(const RowPage& page);

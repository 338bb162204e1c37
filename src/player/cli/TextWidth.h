#pragma once

#include <QString>

/// Texts in a terminal, where wide characters take two columns and combining ones none.
namespace TextWidth {

/// The columns that a printable text takes.
int columns(const QString& text);
/// The text, cut to at most `limit` columns; a cut text ends in "…". Never cuts within a character as readers
/// see it.
QString cut(const QString& text, int limit);
/// The text, padded with spaces to this many columns.
QString padded(const QString& text, int width);

} // namespace TextWidth

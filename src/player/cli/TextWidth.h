#pragma once

#include <QString>

/// Texts in a terminal, where wide characters take two columns and combining ones none.
namespace TextWidth {

/// The columns that a printable text takes.
int columns(const QString& text);
/// The text, if it takes at most `limit` columns, or else its beginning with "…" behind it. Never cut within
/// what a reader sees as one character.
QString cut(const QString& text, int limit);
/// The text with blanks behind it up to this many columns.
QString padded(const QString& text, int width);

} // namespace TextWidth

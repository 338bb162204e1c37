#pragma once

#include <QString>

/// The text with what would move the cursor or change the terminal taken out: control characters and
/// overrides of the writing direction become blanks. What a service sends is shown only through this.
QString printableText(const QString& text);

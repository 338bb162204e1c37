#pragma once

#include <QString>

/// The text with control characters and overrides of the writing direction replaced by blanks, so that it
/// cannot control the terminal. Use it for every text from a service.
QString printableText(const QString& text);

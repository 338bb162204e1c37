#pragma once

#include <QString>
#include <QStringList>

/// Writes log records to standard error, one line each, without control characters. Secrets are masked above
/// trace, and what identifies a person above debug.
namespace Logging {

/// The levels, from the quietest to the loudest.
QStringList levels();
/// Logs this level and more urgent ones. Call it once, before any thread starts.
void setUp(const QString& level);
/// Makes a fatal message of GLib, such as "too many open files", end the process with a sentence and exit
/// code 1 instead of an abort. Call it once, before any thread starts.
void endOnFatalMessages();

} // namespace Logging

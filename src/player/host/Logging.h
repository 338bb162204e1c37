#pragma once

#include <QString>
#include <QStringList>

/// Where log lines go: to standard error. At every level above trace, secrets are masked, and above
/// debug what identifies a person; trace shows everything, for whoever looks for a fault in what is sent.
/// Each record is one line, without control characters.
namespace Logging {

/// The levels, from the quietest to the loudest.
QStringList levels();
/// Sends the lines at this level and those more urgent to standard error. Called once, before any thread is
/// started.
void setUp(const QString& level);
/// From now on a fatal message of GLib, such as that no file can be opened any longer, ends the process with
/// a sentence and exit code 1 instead of an abort. Called once, before any thread is started.
void endOnFatalMessages();

} // namespace Logging

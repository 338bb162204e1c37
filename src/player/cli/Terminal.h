#pragma once

#include <QString>

#include <optional>

/// What the commands write and read. Text is UTF-8, whatever the environment says.
namespace Terminal {

/// Writes to standard output.
void out(const QString& text);
/// Writes one line to standard error, with the program's name before it. A progress line that stands there
/// goes first.
void error(const QString& sentence);
/// Writes one line to standard error as it is.
void note(const QString& line);
/// Replaces the line that the last call wrote on standard error; an empty one takes it away. Only where
/// standard error is a terminal.
void progress(const QString& line);
bool errorIsTerminal();
/// Whether everything that was written to standard output arrived.
bool flushOut();

/// The columns that a line may take: COLUMNS, else what the terminal says, else 0 for no limit.
int width();

bool inputIsTerminal();
/// Asks for a password without showing it. Nothing when standard input is no terminal, or no UTF-8 was typed;
/// an interrupt ends the program, after the terminal was put back.
std::optional<QString> askPassword(const QString& prompt);
/// The first line of standard input, without its end. Nothing when there is none or it is no UTF-8.
std::optional<QString> readLine();

} // namespace Terminal

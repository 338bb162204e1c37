#pragma once

#include <QString>

#include <optional>

/// The commands' input and output. Text is always UTF-8, in every environment.
namespace Terminal {

/// Writes to standard output.
void out(const QString& text);
/// Clears a progress line and writes one line to standard error, preceded by the program's name.
void error(const QString& sentence);
/// Writes one line to standard error as it is.
void note(const QString& line);
/// Replaces the line of the last call on standard error; an empty text clears it. No-op unless standard error
/// is a terminal.
void progress(const QString& line);
bool errorIsTerminal();
/// Flushes standard output; false if anything could not be written.
bool flushOut();

/// The width of a line: COLUMNS, otherwise that of the terminal, otherwise 0 for no limit.
int width();

bool inputIsTerminal();
/// Prompts for a password without showing it. Nothing if standard input is not a terminal or the input is not
/// UTF-8. An interrupt restores the terminal and ends the program.
std::optional<QString> askPassword(const QString& prompt);
/// The first line of standard input without its line break. Nothing if there is none or it is not UTF-8.
std::optional<QString> readLine();

} // namespace Terminal

#pragma once

#include <QJsonObject>

/// The state of the player as text for display. Reads the state in the form of the player's interface. A
/// width of 0 means no limit.
namespace NowText {

/// "1:05", or "1:02:05" from an hour on.
QString clock(qint64 milliseconds);
/// A line for each thing that is known; ends in a line break.
QString table(const QJsonObject& status, int width);
/// Everything in one line; ends in a line break.
QString line(const QJsonObject& status, int width);
/// When playback ends by the sleep timer: "off", "track", "queue" or "in 29:30".
QString sleep(const QJsonObject& status);
/// "FLAC 24 bit / 96 kHz, below your setting"; empty where nothing is known.
QString format(const QJsonObject& status);

} // namespace NowText

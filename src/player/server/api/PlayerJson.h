#pragma once

#include "player/play/PlayQueue.h"
#include "player/play/PlayerStatus.h"
#include "player/server/Translations.h"

#include <QJsonObject>

/// The state of the player in the form of the JSON interface.
namespace PlayerJson {

/// `position`: where the track is now, which status.positionMs need not be any longer.
QJsonObject status(const PlayerStatus& status, qint64 positionMs, const Language& language);
/// How many entries the queue has, and which change of it this is after.
QJsonObject queue(quint64 revision, int count);
/// The entries `from` to `to` of a queue, as many as there are.
QJsonObject entries(const QVector<QueueEntry>& entries, quint64 revision, int from, int to,
                    const Language& language);

/// The words of a repeat mode.
QString word(RepeatMode mode);
/// False if it is not such a word.
bool read(const QString& word, RepeatMode* mode);

} // namespace PlayerJson

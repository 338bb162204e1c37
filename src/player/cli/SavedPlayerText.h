#pragma once

#include "player/play/SavedPlayer.h"

class PelkHash;

/// A saved player as the data of two state files: the queue, which is long and seldom changes, and the rest,
/// which is short and often does. Each change of the queue is a generation. The file of the queue has the
/// rest of that moment, too, and the rest names the generation that it belongs to: so both are of one moment,
/// even when only one of them could be written.
namespace SavedPlayerText {

/// The volume after a start that found no volume it could read, though the player was used before.
constexpr int cautiousVolumePercent = 30;

/// Appends everything. Any thread.
void appendQueue(QByteArray* text, const SavedPlayer& saved, qint64 generation);
/// Appends all but the rows and their order; `row` is the current entry's. Any thread.
void appendRest(QByteArray* text, const SavedPlayer& saved, const PelkRoles& row, qint64 generation);

/// The generation of either file's data; 0 when there is none.
qint64 generation(const PelkHash& data);
/// Puts both together. Either may be empty. The current entry is the one at whose index, or else anywhere,
/// the path stands that it had. What is out of range is left out.
SavedPlayer read(const PelkHash& queue, const PelkHash& rest);

} // namespace SavedPlayerText

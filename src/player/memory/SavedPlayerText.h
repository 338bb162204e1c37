#pragma once

#include "player/play/SavedPlayer.h"

class PelkHash;

/// A saved player as the data of two state files: the queue, which is long and rarely changes, and the rest,
/// which is short and often changes. Each change of the queue is a generation. The file of the queue has the
/// rest of that moment, too, and the rest names the generation that it belongs to: so both are of one moment,
/// even when only one of them could be written.
namespace SavedPlayerText {

/// The volume after a start if the saved volume cannot be read.
constexpr int cautiousVolumePercent = 30;

/// Appends everything. Any thread.
void appendQueue(QByteArray* text, const SavedPlayer& saved, qint64 generation);
/// Appends all but the rows and their order; `row` is the current entry's. Any thread.
void appendRest(QByteArray* text, const SavedPlayer& saved, const PelkRoles& row, qint64 generation);

/// The generation of the data of either file; 0 if there is none.
qint64 generation(const PelkHash& data);
/// Combines both; either may be empty. The current entry is found by its path, first at its index, then
/// anywhere. Values out of range are dropped.
SavedPlayer read(const PelkHash& queue, const PelkHash& rest);

} // namespace SavedPlayerText

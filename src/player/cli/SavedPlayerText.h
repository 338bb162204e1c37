#pragma once

#include "player/play/SavedPlayer.h"

class PelkHash;

/// A saved player as the data of two state files: the queue, which is long and seldom changes, and the rest,
/// which is short and often does.
namespace SavedPlayerText {

/// The volume after a start that found no volume it could read, though the player was used before.
constexpr int cautiousVolumePercent = 30;

/// Appends the rows, their order and whether they are shuffled. Any thread.
void appendQueue(QByteArray* text, const SavedPlayer& saved);
/// Appends everything else; `row` is the current entry's. Any thread.
void appendRest(QByteArray* text, const SavedPlayer& saved, const PelkRoles& row);

/// Puts both together. One of them may be older than the other, or from nobody: the current entry is the one
/// at whose index, or else anywhere, the path stands that it had. What is out of range is left out.
SavedPlayer read(const PelkHash& queue, const PelkHash& rest);

} // namespace SavedPlayerText

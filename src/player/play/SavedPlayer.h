#pragma once

#include "player/play/PlayQueue.h"

/// The state of a player that survives a restart. A value: copies are cheap and may be read on any thread.
struct SavedPlayer
{
    QVector<PelkRoles> rows; ///< of the queue, in the order in which they are heard
    QVector<CMPath> sources; ///< for each row: the container from which it was added
    /// While shuffled: the place of each row without shuffling. Otherwise empty.
    QVector<int> unshuffled;
    bool shuffled = false;
    int current = -1; ///< the current entry's index in `rows`; -1: none
    qint64 positionMs = 0;
    qint64 durationMs = 0; ///< 0 when it is not known
    int volumePercent = 100;
    bool muted = false;
    RepeatMode repeat = RepeatMode::Off;
};

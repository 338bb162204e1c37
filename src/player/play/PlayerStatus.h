#pragma once

#include "api/play/pelkplaylogicdata.h"
#include "api/types/pelkroles.h"
#include "player/play/AudioFormat.h"
#include "player/play/PlayQueue.h"
#include "player/play/SleepTimer.h"

/// A snapshot of the player for front ends.
struct PlayerStatus
{
    PelkPlayLogicState::Enum state = PelkPlayLogicState::Stopped;
    bool stalled = false; ///< playing, but silent until more of the stream arrives
    int entry = 0;        ///< of the queue; 0 if there is none. Stays when the player is stopped
    PelkRoles row;        ///< with the stream's address once it is resolved, which is never to be shown
    qint64 positionMs = 0;
    qint64 durationMs = 0; ///< 0 when it is not known
    AudioFormat format;
    QString mimeType;
    bool lowerThanAsked = false; ///< the service has only a lower quality than requested
    int volumePercent = 100;
    bool muted = false;
    RepeatMode repeat = RepeatMode::Off;
    bool shuffled = false;
    int queueCount = 0;
    quint64 queueRevision = 0;
    bool canSeek = false;
    bool canPause = false;
    int queuePlace = -1;          ///< of the entry in the queue; -1 if there is none
    int undoCount = 0;            ///< so many entries can be brought back
    int volumeLimitPercent = 100; ///< the volume is never above it
    SleepTimer::Kind sleep = SleepTimer::Kind::Off;
    qint64 sleepLeftMs = 0; ///< of a timer in minutes
};

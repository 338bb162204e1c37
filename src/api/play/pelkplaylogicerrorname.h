#pragma once

#include "api/play/export.h"

#include <QString>

/// Names of the errors with which a track ends. The first two are not failures.
class PELK_PLAY_EXPORT PelkPlaylogicErrorName
{
public:
    /// The listener went on to another track.
    static QString PelkPlaylogicUserSkip();
    /// The listener, or somebody on their behalf, stopped.
    static QString PelkPlaylogicUserStop();
    /// The track has no stream, or it could not be resolved.
    static QString PelkPlaylogicResolveFailed();
    /// The stream broke or could not be decoded.
    static QString PelkPlaylogicStreamFailed();
};

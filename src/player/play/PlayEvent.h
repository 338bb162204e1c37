#pragma once

#include "player/play/TrackResolver.h"

#include <variant>

/// What changes the engine's state; PlayState.h says how.
namespace PlayState {

/// A place in a track that is not open.
struct Place
{
    qint64 positionMs = 0;
    qint64 durationMs = 0;
};

/// An entry is to be played, in place of whatever is.
struct Start
{
    int entry;
    qint64 startMs;
    bool wantsPause;
};
/// Its stream address is there.
struct Opened
{
    ResolvedTrack track;
};
/// The stream is heard.
struct Sounds
{
};
/// The stream is not heard: paused, or stalled until more of it is received.
struct Silent
{
    bool stalled;
    qint64 nowMs;
};
/// The track has ended; the next one has not begun.
struct Closed
{
};
/// The track continues with a new stream.
struct Reopen
{
    qint64 positionMs;
};
/// The new stream has an address of its own.
struct Renewed
{
    ResolvedTrack track;
};
/// The output has gone; it is retried at a time of the clock.
struct OutputLost
{
    qint64 positionMs;
    qint64 retryAtMs;
};
/// The listener pauses or resumes.
struct WantPause
{
    bool paused;
};
/// The queue has ended, but more of it is being loaded.
struct Dry
{
};
/// Playback ends.
struct Halt
{
};
/// Nothing plays, but the current entry has a place to continue at.
struct Park
{
    Place place;
};

using Event = std::variant<Start, Opened, Sounds, Silent, Closed, Reopen, Renewed, OutputLost, WantPause, Dry,
                           Halt, Park>;

} // namespace PlayState

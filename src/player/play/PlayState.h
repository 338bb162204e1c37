#pragma once

#include "player/play/PlayEvent.h"

#include <optional>

/// The engine's state as one value, and the only function that changes it. PlayEvent.h lists the events.
///
///     state          | event and what it leads to
///     ---------------+--------------------------------------------------------------------------------------
///     any            | Start: Resolving · Halt: Idle · Park: Idle with a place
///     Resolving      | Opened: Opening · Dry: AwaitingQueue
///     Opening        | Sounds: Playing · Silent: Paused or Stalled
///     Playing        | Silent: Paused or Stalled
///     Paused         | Sounds: Playing · Silent: Paused or Stalled, since the silence began
///     Stalled        | Sounds: Playing · Silent: Paused or Stalled, since the silence began
///     Reopening      | Sounds: Playing · Silent: stays, stalled or not · Renewed: stays, with a new address
///     AwaitingOutput | none of its own
///     AwaitingQueue  | none of its own
///     with a track   | Closed: Resolving · Reopen: Reopening · OutputLost: AwaitingOutput
///     not Idle       | WantPause: stays, with the listener's wish
///
/// Every other event leaves a state as it is.
namespace PlayState {

/// The current track, and whether the listener wants it paused; the stream player follows a little later.
struct Track
{
    ResolvedTrack resolved;
    bool heard = false;
    bool wantsPause = false;
};

/// Nothing plays. With a place, play() continues the current entry there, as after a pause.
struct Idle
{
    std::optional<Place> place;
};
/// The stream address of an entry is being resolved; `entry` is 0 just after a track has ended.
struct Resolving
{
    int entry = 0;
    qint64 startMs = 0;
    bool wantsPause = false;
};
/// The stream has not begun.
struct Opening
{
    Track track;
};
struct Playing
{
    Track track;
};
struct Paused
{
    Track track;
    qint64 sinceMs = 0; // by the clock
};
/// Silent until more of the stream is received.
struct Stalled
{
    Track track;
    qint64 sinceMs = 0;
};
/// A new stream and output are being opened to continue the track at a position.
struct Reopening
{
    Track track;
    qint64 positionMs = 0;
    bool stalled = false;
    bool outputGone = false;
};
/// The output was lost and is retried.
struct AwaitingOutput
{
    Track track;
    qint64 positionMs = 0;
    qint64 retryAtMs = 0; // by the clock
};
/// The queue has ended, but a loader is still adding to it.
struct AwaitingQueue
{
    bool wantsPause = false;
};

using State = std::variant<Idle, Resolving, Opening, Playing, Paused, Stalled, Reopening, AwaitingOutput,
                           AwaitingQueue>;

State after(const State& state, const Event& event);

/// The current track; null where there is none.
const Track* trackOf(const State& state);
/// The entry that is played or resolved; 0 where there is none.
int entryOf(const State& state);
bool wantsPause(const State& state);
/// Whether the track is silent because it is buffering.
bool isStalled(const State& state);
/// The position at which the track continues; empty while a stream and an output are active.
std::optional<qint64> heldAtMs(const State& state);
/// When the silence of a paused or stalled track began, by the clock; otherwise empty.
std::optional<qint64> silentSinceMs(const State& state);

} // namespace PlayState

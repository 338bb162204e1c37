#pragma once

#include <QList>

// State changes from the player, and the reports to the service that they cause.

enum State
{
    Stopped = 0,
    Opening = 1,
    Playing = 2,
    Paused = 3
};

struct Story
{
    const char* name;
    /// State changes, separated by commas: the parameters of the state-change path ("1/6" is
    /// "id=1&format=6"), the state, an error after "!", and the duration of the state in milliseconds.
    const char* steps;
    const char* reports; // in order and joined by commas: kind, track, format, duration
};

inline QList<Story> stories()
{
    return {
        {"opening a track is not reported", "1/6 opening", ""},
        {"playing is reported as a start", "1/6 playing", "start 1 6 0"},
        {"two playing states are one start, and the timer goes on",
         "1/6 playing 30600, 1/6 playing 30600, 1/6 stopped", "start 1 6 0, end 1 6 61"},
        {"only what was played counts, in whole seconds over all spans",
         "1/27 opening 5000, 1/27 playing 90600, 1/27 paused 1000000, 1/27 playing 30600, 1/27 stopped 1000",
         "start 1 27 0, end 1 27 121"},
        {"a part of a second is cut off", "1/6 playing 59900, 1/6 stopped", "start 1 6 0, end 1 6 59"},
        {"pausing twice counts once", "1/6 playing 10100, 1/6 paused 7000, 1/6 paused 7000, 1/6 stopped",
         "start 1 6 0, end 1 6 10"},
        {"pausing and going on is no new start",
         "1/6 playing 1100, 1/6 paused, 1/6 playing 1100, 1/6 paused, 1/6 playing 1100", "start 1 6 0"},
        {"other states do nothing, not even to the timer",
         "1/6 playing 2100, 1/6 opening 2000, 1/6 4 2000, 1/6 -1 2000, 1/6 stopped",
         "start 1 6 0, end 1 6 8"},
        {"another track ends the one before first, and starts when it plays",
         "1/6 playing 20100, 2/27 opening 4000, 2/27 playing 10100, 2/27 stopped",
         "start 1 6 0, end 1 6 20, start 2 27 0, end 2 27 10"},
        {"another track that plays at once comes after the end of the one before",
         "1/6 playing 20100, 2/27 playing", "start 1 6 0, end 1 6 20, start 2 27 0"},
        {"a pause before another track counts",
         "1/6 playing 20100, 1/6 paused 5000, 2/6 playing 3100, 2/6 stopped",
         "start 1 6 0, end 1 6 20, start 2 6 0, end 2 6 3"},
        {"the same track played again is a new one after its stop",
         "1/6 playing 5100, 1/6 stopped 5000, 1/6 playing 6100, 1/6 stopped",
         "start 1 6 0, end 1 6 5, start 1 6 0, end 1 6 6"},
        {"after a stop another track ends nothing", "1/6 playing 5100, 1/6 stopped, 2/6 playing",
         "start 1 6 0, end 1 6 5, start 2 6 0"},
        {"a track that never played is ended all the same when it stops", "1/6 opening 3000, 1/6 stopped",
         "end 1 6 0"},
        {"a track that never played is ended all the same by another", "1/6 opening 3000, 2/6 opening",
         "end 1 6 0"},
        {"a stop that comes first is reported with its own id", "1/6 stopped, 1/6 stopped",
         "end 1 6 0, end 1 6 0"},
        {"a stop by the user counts", "1/6 playing 5100, 1/6 stopped!userStop", "start 1 6 0, end 1 6 5"},
        {"a skip by the user counts", "1/6 playing 5100, 1/6 stopped!userSkip", "start 1 6 0, end 1 6 5"},
        {"with these two names playing and pausing count too",
         "1/6 playing!userSkip 5100, 1/6 paused!userStop 5000, 1/6 stopped", "start 1 6 0, end 1 6 5"},
        {"a stop with any other error is not acted upon, and the timer goes on",
         "1/6 playing 5100, 1/6 stopped!streamFailed 4000, 1/6 stopped!userstop 4000, 1/6 stopped",
         "start 1 6 0, end 1 6 13"},
        {"playing with any other error is no start", "1/6 playing!resolveFailed 5000, 1/6 stopped",
         "end 1 6 0"},
        {"pausing with any other error does not stop the timer",
         "1/6 playing 5100, 1/6 paused!streamFailed 5000, 1/6 stopped", "start 1 6 0, end 1 6 10"},
        {"another track is noted even with an error, and the one before ends",
         "1/6 playing 5100, 2/27 stopped!streamFailed, 3/7 opening", "start 1 6 0, end 1 6 5, end 2 27 0"},
        {"the format is that of the last change, an error or not",
         "1/6 playing 1100, 1/27 paused!streamFailed, 1/27 paused, 1/7 stopped", "start 1 6 0, end 1 7 1"},
        {"the end of the track before has that track's format", "1/6 playing, id=2 opening",
         "start 1 6 0, end 1 6 0"},
        {"without a format it is 5", "1/6 playing 1100, id=1 stopped", "start 1 6 0, end 1 5 1"},
        {"a format that is no number is 0", "id=1&format=x playing", "start 1 0 0"},
        {"a format without a meaning is sent as it is", "1/99 playing", "start 1 99 0"},
        {"without an id the track is 0, which nothing ends",
         "format=6 playing 4100, 2/6 opening, 2/6 stopped", "start 0 6 0, end 2 6 4"},
        {"an id that is no number is 0", "id=x&format=6 playing", "start 0 6 0"},
        {"a track without an id ends the one before", "1/6 playing 2100, format=6 opening",
         "start 1 6 0, end 1 6 2"},
        {"a restricted track is reported like any other",
         "id=1&format=6&TrackRestrictedByRightHolders=1 playing 2100, "
         "id=1&format=6&TrackRestrictedByRightHolders=1 stopped",
         "start 1 6 0, end 1 6 2"},

        // Ends after several pauses, a replay or a skip.
        {"every span between pauses counts, up to the last one",
         "1/6 playing 1100, 1/6 paused 9000, 1/6 playing 2200, 1/6 paused 9000, 1/6 playing 4400, 1/6 paused "
         "9000, 1/6 playing 8800, 1/6 stopped",
         "start 1 6 0, end 1 6 16"},
        {"an end during a pause has all spans before it",
         "1/6 playing 1600, 1/6 paused 9000, 1/6 playing 1600, 1/6 paused 9000, 1/6 stopped",
         "start 1 6 0, end 1 6 3"},
        {"replayed after its end, a track begins at nothing, with its own pauses",
         "1/6 playing 20600, 1/6 paused 1000, 1/6 playing 20600, 1/6 stopped 1000, 1/6 playing 3600, 1/6 "
         "paused 1000, 1/6 playing 3600, 1/6 paused 1000, 1/6 stopped",
         "start 1 6 0, end 1 6 41, start 1 6 0, end 1 6 7"},
        {"skipped while playing after two pauses, the spans of neither track count for the other",
         "1/6 playing 10600, 1/6 paused 1000, 1/6 playing 10600, 1/6 paused 1000, 1/6 playing 10600, 2/6 "
         "playing!userSkip 2600, 2/6 paused 1000, 2/6 playing 2600, 2/6 stopped",
         "start 1 6 0, end 1 6 31, start 2 6 0, end 2 6 5"},
        {"skipped and come back to, a track begins at nothing",
         "1/6 playing 9100, 2/7 playing 5100, 1/6 playing 2100, 1/6 paused 2100, 1/6 stopped",
         "start 1 6 0, end 1 6 9, start 2 7 0, end 2 7 5, start 1 6 0, end 1 6 2"},
        {"a pause first starts nothing", "1/6 paused 5000, 1/6 stopped", "end 1 6 0"},
        {"playing without an end to the pause that an error hid goes on",
         "1/6 playing 1100, 1/6 paused, 1/6 playing!resolveFailed 5000, 1/6 stopped",
         "start 1 6 0, end 1 6 1"},
        {"an hour and more is counted in seconds", "1/6 playing 7300600, 1/6 stopped",
         "start 1 6 0, end 1 6 7300"},
        {"id 0 after another ends that one, and is a track of no end itself",
         "1/6 playing 2100, 0/7 playing 3100, 2/6 opening", "start 1 6 0, end 1 6 2, start 0 7 0"},
        {"id 0 after another is reported when it stops", "1/6 playing 2100, 0/7 playing 3100, 0/7 stopped",
         "start 1 6 0, end 1 6 2, start 0 7 0, end 0 7 3"},
        {"a negative id is a track like any other", "-5/6 playing 2100, 5/6 playing 1100, 5/6 stopped",
         "start -5 6 0, end -5 6 2, start 5 6 0, end 5 6 1"},
        {"an id written in another way is the same track",
         "1/6 playing 2100, id=%2B001&format=6 playing 2100, 1/6 stopped", "start 1 6 0, end 1 6 4"},
    };
}

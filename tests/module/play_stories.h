#pragma once

#include <QList>
#include <QStringList>

#include <initializer_list>

// What the player tells of tracks, and what the service shall be told of it.

enum State
{
    Stopped = 0,
    Opening = 1,
    Playing = 2,
    Paused = 3
};

/// One state change, and how long that state lasts.
struct Step
{
    const char* parameters; // of the state-change path
    int state;
    const char* error = "";
    int lastsMs = 0;
};

struct Story
{
    const char* name;
    QList<Step> steps;
    QStringList reports; // in order: kind, track, format, duration
};

inline constexpr const char* userStop = "userStop";
inline constexpr const char* userSkip = "userSkip";

inline QList<Story> stories()
{
    const auto list = [](std::initializer_list<const char*> texts) {
        QStringList strings;
        for (const char* text : texts)
            strings << QString::fromLatin1(text);
        return strings;
    };
    return {
        {"opening a track is not reported", {{"id=1&format=6", Opening}}, {}},
        {"playing is reported as a start", {{"id=1&format=6", Playing}}, list({"start 1 6 0"})},
        {"two playing states are one start, and the timer goes on",
         {{"id=1&format=6", Playing, "", 30600},
          {"id=1&format=6", Playing, "", 30600},
          {"id=1&format=6", Stopped}},
         list({"start 1 6 0", "end 1 6 61"})},
        {"only what was played counts, in whole seconds over all spans",
         {{"id=1&format=27", Opening, "", 5000},
          {"id=1&format=27", Playing, "", 90600},
          {"id=1&format=27", Paused, "", 1000000},
          {"id=1&format=27", Playing, "", 30600},
          {"id=1&format=27", Stopped, "", 1000}},
         list({"start 1 27 0", "end 1 27 121"})},
        {"a part of a second is cut off",
         {{"id=1&format=6", Playing, "", 59900}, {"id=1&format=6", Stopped}},
         list({"start 1 6 0", "end 1 6 59"})},
        {"pausing twice counts once",
         {{"id=1&format=6", Playing, "", 10100},
          {"id=1&format=6", Paused, "", 7000},
          {"id=1&format=6", Paused, "", 7000},
          {"id=1&format=6", Stopped}},
         list({"start 1 6 0", "end 1 6 10"})},
        {"pausing and going on is no new start",
         {{"id=1&format=6", Playing, "", 1100},
          {"id=1&format=6", Paused},
          {"id=1&format=6", Playing, "", 1100},
          {"id=1&format=6", Paused},
          {"id=1&format=6", Playing, "", 1100}},
         list({"start 1 6 0"})},
        {"other states do nothing, not even to the timer",
         {{"id=1&format=6", Playing, "", 2100},
          {"id=1&format=6", Opening, "", 2000},
          {"id=1&format=6", 4, "", 2000},
          {"id=1&format=6", -1, "", 2000},
          {"id=1&format=6", Stopped}},
         list({"start 1 6 0", "end 1 6 8"})},
        {"another track ends the one before first, and starts when it plays",
         {{"id=1&format=6", Playing, "", 20100},
          {"id=2&format=27", Opening, "", 4000},
          {"id=2&format=27", Playing, "", 10100},
          {"id=2&format=27", Stopped}},
         list({"start 1 6 0", "end 1 6 20", "start 2 27 0", "end 2 27 10"})},
        {"another track that plays at once comes after the end of the one before",
         {{"id=1&format=6", Playing, "", 20100}, {"id=2&format=27", Playing}},
         list({"start 1 6 0", "end 1 6 20", "start 2 27 0"})},
        {"a pause before another track counts",
         {{"id=1&format=6", Playing, "", 20100},
          {"id=1&format=6", Paused, "", 5000},
          {"id=2&format=6", Playing, "", 3100},
          {"id=2&format=6", Stopped}},
         list({"start 1 6 0", "end 1 6 20", "start 2 6 0", "end 2 6 3"})},
        {"the same track played again is a new one after its stop",
         {{"id=1&format=6", Playing, "", 5100},
          {"id=1&format=6", Stopped, "", 5000},
          {"id=1&format=6", Playing, "", 6100},
          {"id=1&format=6", Stopped}},
         list({"start 1 6 0", "end 1 6 5", "start 1 6 0", "end 1 6 6"})},
        {"after a stop another track ends nothing",
         {{"id=1&format=6", Playing, "", 5100}, {"id=1&format=6", Stopped}, {"id=2&format=6", Playing}},
         list({"start 1 6 0", "end 1 6 5", "start 2 6 0"})},
        {"a track that never played is ended all the same when it stops",
         {{"id=1&format=6", Opening, "", 3000}, {"id=1&format=6", Stopped}},
         list({"end 1 6 0"})},
        {"a track that never played is ended all the same by another",
         {{"id=1&format=6", Opening, "", 3000}, {"id=2&format=6", Opening}},
         list({"end 1 6 0"})},
        {"a stop that comes first is reported with its own id",
         {{"id=1&format=6", Stopped}, {"id=1&format=6", Stopped}},
         list({"end 1 6 0", "end 1 6 0"})},
        {"a stop by the user counts",
         {{"id=1&format=6", Playing, "", 5100}, {"id=1&format=6", Stopped, userStop}},
         list({"start 1 6 0", "end 1 6 5"})},
        {"a skip by the user counts",
         {{"id=1&format=6", Playing, "", 5100}, {"id=1&format=6", Stopped, userSkip}},
         list({"start 1 6 0", "end 1 6 5"})},
        {"with these two names playing and pausing count too",
         {{"id=1&format=6", Playing, userSkip, 5100},
          {"id=1&format=6", Paused, userStop, 5000},
          {"id=1&format=6", Stopped}},
         list({"start 1 6 0", "end 1 6 5"})},
        {"a stop with any other error is not acted upon, and the timer goes on",
         {{"id=1&format=6", Playing, "", 5100},
          {"id=1&format=6", Stopped, "streamFailed", 4000},
          {"id=1&format=6", Stopped, "userstop", 4000},
          {"id=1&format=6", Stopped}},
         list({"start 1 6 0", "end 1 6 13"})},
        {"playing with any other error is no start",
         {{"id=1&format=6", Playing, "resolveFailed", 5000}, {"id=1&format=6", Stopped}},
         list({"end 1 6 0"})},
        {"pausing with any other error does not stop the timer",
         {{"id=1&format=6", Playing, "", 5100},
          {"id=1&format=6", Paused, "streamFailed", 5000},
          {"id=1&format=6", Stopped}},
         list({"start 1 6 0", "end 1 6 10"})},
        {"another track is noted even with an error, and the one before ends",
         {{"id=1&format=6", Playing, "", 5100},
          {"id=2&format=27", Stopped, "streamFailed"},
          {"id=3&format=7", Opening}},
         list({"start 1 6 0", "end 1 6 5", "end 2 27 0"})},
        {"the format is that of the last change, an error or not",
         {{"id=1&format=6", Playing, "", 1100},
          {"id=1&format=27", Paused, "streamFailed"},
          {"id=1&format=27", Paused},
          {"id=1&format=7", Stopped}},
         list({"start 1 6 0", "end 1 7 1"})},
        {"the end of the track before has that track's format",
         {{"id=1&format=6", Playing}, {"id=2", Opening}},
         list({"start 1 6 0", "end 1 6 0"})},
        {"without a format it is 5",
         {{"id=1&format=6", Playing, "", 1100}, {"id=1", Stopped}},
         list({"start 1 6 0", "end 1 5 1"})},
        {"a format that is no number is 0", {{"id=1&format=x", Playing}}, list({"start 1 0 0"})},
        {"a format without a meaning is sent as it is",
         {{"id=1&format=99", Playing}},
         list({"start 1 99 0"})},
        {"without an id the track is 0, which nothing ends",
         {{"format=6", Playing, "", 4100}, {"id=2&format=6", Opening}, {"id=2&format=6", Stopped}},
         list({"start 0 6 0", "end 2 6 4"})},
        {"an id that is no number is 0", {{"id=x&format=6", Playing}}, list({"start 0 6 0"})},
        {"a track without an id ends the one before",
         {{"id=1&format=6", Playing, "", 2100}, {"format=6", Opening}},
         list({"start 1 6 0", "end 1 6 2"})},
        {"a restricted track is reported like any other",
         {{"id=1&format=6&TrackRestrictedByRightHolders=1", Playing, "", 2100},
          {"id=1&format=6&TrackRestrictedByRightHolders=1", Stopped}},
         list({"start 1 6 0", "end 1 6 2"})},
    };
}

#pragma once

#include "player/play/TrackResolver.h"

#include <variant>

/// The track that follows the current one, resolved ahead of its turn. Main thread; nothing blocks.
class NextTrack
{
public:
    NextTrack(const PlayProfile& profile, const PlayClock* clock)
        : m_resolver(profile, clock)
    {
    }

    /// The entry that was asked for, whatever has become of it; 0 when none was.
    int entry() const;
    /// Whether the answer about this entry is still to come.
    bool isOnTheWay(int entry) const { return m_resolver.entry() == entry && entry != 0; }
    /// The resolved track; empty when there is none.
    ResolvedTrack track() const;

    /// Asks for an entry; the callback is as TrackResolver::resolve() has it. A failure is remembered, and
    /// the entry is not asked for ahead of its turn again.
    void resolve(const QueueEntry& entry, const TrackResolver::Callback& callback);
    /// The stream cannot be played. It is tried once more when its turn has come.
    void fail();
    void forget();

private:
    struct Nothing
    {
    };
    struct Asked
    {
        int entry;
    };
    struct Failed
    {
        int entry;
    };

    TrackResolver m_resolver;
    std::variant<Nothing, Asked, Failed, ResolvedTrack> m_state;
};

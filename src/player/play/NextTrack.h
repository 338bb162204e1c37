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

    /// The entry of the last resolve(), whatever its outcome; 0 if there was none.
    int entry() const;
    /// Whether this entry is being resolved.
    bool isResolving(int entry) const { return m_resolver.entry() == entry && entry != 0; }
    /// The resolved track; empty if there is none.
    ResolvedTrack track() const;

    /// Resolves an entry; see TrackResolver::resolve() for the callback. After a failure, the entry is not
    /// resolved in advance again.
    void resolve(const QueueEntry& entry, const TrackResolver::Callback& callback);
    /// The stream cannot be played. It is retried when its turn comes.
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

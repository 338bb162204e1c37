#include "player/play/NextTrack.h"

int NextTrack::entry() const
{
    if (const auto* asked = std::get_if<Asked>(&m_state))
        return asked->entry;
    if (const auto* failed = std::get_if<Failed>(&m_state))
        return failed->entry;
    return track().entry;
}

ResolvedTrack NextTrack::track() const
{
    const auto* track = std::get_if<ResolvedTrack>(&m_state);
    return track ? *track : ResolvedTrack();
}

void NextTrack::resolve(const QueueEntry& entry, const TrackResolver::Callback& callback)
{
    m_state = Asked{entry.id};
    m_resolver.resolve(entry, 0,
                       [this, entry, callback](const ResolvedTrack& track, const TrString& failure) {
                           if (track.isEmpty())
                               m_state = Failed{entry.id};
                           else
                               m_state = track;
                           callback(track, failure);
                       });
}

void NextTrack::fail()
{
    m_state = Failed{entry()};
}

void NextTrack::forget()
{
    m_resolver.cancel();
    m_state = Nothing{};
}

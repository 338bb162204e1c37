#include "player/play/TrackResolver.h"

#include "api/core/model/cmabstractworker.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "player/content/ContentClient.h"
#include "player/content/WhenFinished.h"

namespace {

constexpr const char* noAddress =
    QT_TRANSLATE_NOOP("TrackResolver", "No stream is available for this track.");

} // namespace

QString ResolvedTrack::uri() const
{
    return row.mediaData().resources().value(0).uri();
}

qint64 ResolvedTrack::maxIdleMs() const
{
    return row.mediaData().resources().value(0).maxIdleTime();
}

bool ResolvedTrack::isTooOld(qint64 nowMs) const
{
    return maxIdleMs() > 0 && nowMs - resolvedAtMs > maxIdleMs();
}

TrackResolver::TrackResolver(PlayProfile profile, const PlayClock* clock)
    : m_profile(std::move(profile))
    , m_clock(clock)
{
}

void TrackResolver::resolve(const QueueEntry& entry, qint64 startMs, const Callback& callback)
{
    const int turn = ++m_turn;
    m_entry = entry.id;
    PelkRoles row = entry.row;
    PelkMediaData mediaData = row.mediaData();
    PelkMetaData metaData = mediaData.metaData();
    if (startMs > 0) {
        metaData.setPrePlayTimeOffset(startMs);
        mediaData.setMetaData(metaData);
        row.setMediaData(mediaData);
    }
    ResolvedTrack track;
    track.entry = entry.id;
    track.askedQuality = m_profile.quality();
    const CMPath path = metaData.prePlayPath();
    const CMSetDataRequest request(path, PelkRoles::PrePlay(), row.variant());
    whenFinished(this, request.reply(), path,
                 [this, turn, track, callback](const CMVoidReply& finished, const CMError& error) mutable {
                     if (turn != m_turn)
                         return;
                     m_entry = 0;
                     if (error.isSet()) {
                         callback(ResolvedTrack(), ContentClient::userMessage(error));
                         return;
                     }
                     track.row = PelkRoles(PelkHash::fromVariant(finished.d()->value()));
                     track.resolvedAtMs = m_clock->nowMs();
                     track.lowerThanAsked = m_profile.isLower(track.askedQuality, track.row);
                     if (track.uri().isEmpty())
                         callback(ResolvedTrack(), TrString(TrCharData{"TrackResolver", noAddress}, {}));
                     else
                         callback(track, TrString());
                 });
    CMRoot()->setDataRequest(request);
}

void TrackResolver::cancel()
{
    ++m_turn;
    m_entry = 0;
}

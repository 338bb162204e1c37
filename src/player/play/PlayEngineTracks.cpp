#include "player/play/PlayEngineTracks.h"

#include "api/play/pelkplaylogicerrorname.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkresource.h"
#include "player/content/WhenFinished.h"

namespace {

constexpr int mostFailuresInARow = 3;
// How long before the end of a track the next one is resolved.
constexpr int aheadMs = 20000;
constexpr int outputRetryMs = 1000;

QString titleOf(const PelkRoles& row)
{
    const QString title = row.title().toString();
    return title.isEmpty() ? row.path().toString() : title;
}

TrString engineText(const char* source, const QList<TrArg>& arguments = {})
{
    return {TrCharData{"PlayEngine", source}, arguments};
}

} // namespace

PlayEngineTracks::PlayEngineTracks(std::unique_ptr<AbstractStreamPlayer> stream,
                                   std::unique_ptr<PlayClock> clock, const PlayProfile& profile)
    : m_stream(std::move(stream))
    , m_clock(std::move(clock))
    , m_profile(profile)
    , m_resolver(profile, m_clock.get())
    , m_next(profile, m_clock.get())
{
    using Stream = AbstractStreamPlayer;
    connect(m_stream.get(), &Stream::playing, this, &PlayEngineTracks::onPlaying);
    connect(m_stream.get(), &Stream::paused, this, &PlayEngineTracks::onPaused);
    connect(m_stream.get(), &Stream::stalled, this, &PlayEngineTracks::onStalled);
    connect(m_stream.get(), &Stream::ended, this, &PlayEngineTracks::onEnded);
    connect(m_stream.get(), &Stream::failed, this, &PlayEngineTracks::onStreamFailed);
    connect(m_stream.get(), &Stream::moved, this, [this] {
        Q_EMIT seeked(positionMs());
        Q_EMIT statusChanged();
    });
    connect(m_stream.get(), &Stream::nextStarted, this, &PlayEngineTracks::onNextStarted);
    connect(m_stream.get(), &Stream::nextFailed, this, [this] { m_next.fail(); });
    connect(m_stream.get(), &Stream::outputFailed, this, &PlayEngineTracks::onOutputFailed);
    m_wake.setSingleShot(true);
    connect(&m_queue, &PlayQueue::changed, this, &PlayEngineTracks::onQueueChanged);
}

/// The only place that changes the state.
void PlayEngineTracks::move(const PlayState::Event& event)
{
    m_state = PlayState::after(m_state, event);
    if (const auto* lost = std::get_if<PlayState::AwaitingOutput>(&m_state))
        m_wake.start(int(qMax<qint64>(0, lost->retryAtMs - m_clock->nowMs())));
    else if (!PlayState::trackOf(m_state) && m_sleep.kind() != SleepTimer::Kind::Time)
        m_wake.stop();
    else if (!m_wake.isActive())
        m_wake.start(wakeMs);
}

void PlayEngineTracks::start(int entry, qint64 startMs, bool paused)
{
    const QueueEntry place = m_queue.entries().at(m_queue.indexOf(entry));
    m_pendingStart = PendingStart::Play;
    if (m_sleep.kind() == SleepTimer::Kind::Off)
        m_stream->setFade(1);
    m_queue.setCurrent(entry);
    move(PlayState::Start{entry, startMs, paused});
    m_reporter.expect(place.row);
    const ResolvedTrack prepared = m_next.track();
    const bool isResolving = startMs == 0 && m_next.isResolving(entry);
    if (!isResolving)
        m_next.forget();
    if (startMs == 0 && prepared.entry == entry && isFresh(prepared))
        onResolved(place, prepared, TrString());
    else if (!isResolving)
        m_resolver.resolve(place, startMs,
                           [this, place](const ResolvedTrack& track, const TrString& failure) {
                               onResolved(place, track, failure);
                           });
    Q_EMIT statusChanged();
}

/// Whether a track that was resolved in advance is still valid.
bool PlayEngineTracks::isFresh(const ResolvedTrack& track) const
{
    return !track.isTooOld(m_clock->nowMs()) && track.askedQuality == m_profile.quality();
}

void PlayEngineTracks::onResolved(const QueueEntry& entry, const ResolvedTrack& track,
                                  const TrString& failure)
{
    const auto* resolving = std::get_if<PlayState::Resolving>(&m_state);
    if (!resolving)
        return; // nobody wants it any longer
    if (track.isEmpty()) {
        fail(entry.row, failure, PelkPlaylogicErrorName::PelkPlaylogicResolveFailed());
        return;
    }
    const PlayState::Resolving before = *resolving;
    begin(track);
    m_stream->play(track.uri(), before.startMs, before.wantsPause);
}

void PlayEngineTracks::begin(const ResolvedTrack& track)
{
    move(PlayState::Opened{track});
    m_next.forget();
    m_reporter.begin(track.row);
}

/// Continues the current track from this position with a new stream and output. An expired address is
/// resolved again.
void PlayEngineTracks::reopen(qint64 positionMs)
{
    move(PlayState::Reopen{positionMs});
    m_next.forget();
    m_stream->stop();
    const PlayState::Track track = *PlayState::trackOf(m_state);
    const int index = m_queue.indexOf(track.resolved.entry);
    if (!track.resolved.isTooOld(m_clock->nowMs()) || index < 0) {
        m_stream->play(track.resolved.uri(), positionMs, track.wantsPause);
        return;
    }
    m_resolver.resolve(m_queue.entries().at(index), positionMs,
                       [this, positionMs](const ResolvedTrack& renewed, const TrString& failure) {
                           if (renewed.isEmpty()) {
                               onStreamFailed(failure);
                               return;
                           }
                           move(PlayState::Renewed{renewed});
                           m_reporter.replace(renewed.row);
                           m_stream->play(renewed.uri(), positionMs, PlayState::wantsPause(m_state));
                       });
}

bool PlayEngineTracks::isNextDue() const
{
    const PlayState::Track* track = PlayState::trackOf(m_state);
    const qint64 duration = durationMs(*track);
    return track->heard && (duration <= 0 || duration - positionMs() <= aheadMs);
}

/// What follows the current track when that is over.
int PlayEngineTracks::following() const
{
    if (m_sleep.kind() == SleepTimer::Kind::EndOfTrack)
        return 0;
    if (m_sleep.kind() != SleepTimer::Kind::EndOfQueue)
        return m_queue.next(true);
    const int entry = m_queue.next(false);
    return entry == m_queue.first() ? 0 : entry; // not round and round
}

/// Gives the stream player the next track when it is time.
void PlayEngineTracks::prepareNext()
{
    if (!PlayState::trackOf(m_state) || PlayState::heldAtMs(m_state))
        return;
    const int wanted = following();
    const bool isRight = m_next.entry() == wanted && (m_next.track().isEmpty() || isFresh(m_next.track()));
    if ((!isRight && !dropNext()) || wanted == 0 || m_next.entry() == wanted || !isNextDue())
        return;
    const QueueEntry place = m_queue.entries().at(m_queue.indexOf(wanted));
    m_next.resolve(place, [this, place](const ResolvedTrack& track, const TrString& failure) {
        if (!PlayState::trackOf(m_state))
            onResolved(place, track, failure); // it is its turn already
        else if (!track.isEmpty())             // else it is tried once more when its turn has come
            m_stream->setNext(track.uri());    // else it is opened when this one has ended
    });
}

/// False when it is too late: it is going to be heard.
bool PlayEngineTracks::dropNext()
{
    if (!m_stream->dropNext())
        return false;
    m_next.forget();
    return true;
}

void PlayEngineTracks::onNextStarted()
{
    m_failuresInARow = 0;
    const ResolvedTrack next = m_next.track();
    if (next.isEmpty() || next.entry != following()) {
        // The queue changed when the sound of the next track was already on its way.
        onEnded();
        return;
    }
    closeTrack(QString());
    m_queue.setCurrent(next.entry);
    begin(next);
}

/// With another track, or with none. A pause that the listener wants is for that, too: it may have been
/// pressed when the track before was over already.
void PlayEngineTracks::continueWith(int entry, qint64 startMs)
{
    if (entry != 0) {
        start(entry, startMs, PlayState::wantsPause(m_state));
    } else if (m_queue.turns().isGrowing() && !std::holds_alternative<PlayState::Idle>(m_state)) {
        move(PlayState::Dry{});
        m_next.forget();
        Q_EMIT statusChanged();
    } else {
        m_queue.setCurrent(0);
        finish();
    }
}

void PlayEngineTracks::onPlaying()
{
    m_reporter.change(PelkPlayLogicState::Playing);
    m_limit.begin();
    m_outputWorked = true;
    const PlayState::State before = m_state;
    move(PlayState::Sounds{});
    const PelkRoles row = PlayState::trackOf(m_state)->resolved.row;
    if (!PlayState::trackOf(before)->heard)
        Q_EMIT trackStarted(row);
    else if (PlayState::isStalled(before))
        Q_EMIT trackResumed(row);
    prepareNext();
    Q_EMIT statusChanged();
}

void PlayEngineTracks::onPaused()
{
    becomeSilent(false);
    Q_EMIT statusChanged();
}

void PlayEngineTracks::becomeSilent(bool stalled)
{
    // In a stall too: silence does not count as listening.
    m_reporter.change(PelkPlayLogicState::Paused);
    m_limit.end();
    move(PlayState::Silent{stalled, m_clock->nowMs()});
}

void PlayEngineTracks::onStalled()
{
    becomeSilent(true);
    Q_EMIT trackStalled(PlayState::trackOf(m_state)->resolved.row);
    Q_EMIT statusChanged();
}

void PlayEngineTracks::onEnded()
{
    m_failuresInARow = 0;
    const bool sleeps = m_sleep.kind() == SleepTimer::Kind::EndOfTrack;
    const int entry = following();
    endTrack(QString());
    if (sleeps) {
        m_queue.setCurrent(m_queue.next(true)); // where the listener goes on
        finish();
    } else {
        continueWith(entry);
    }
}

void PlayEngineTracks::onStreamFailed(const TrString& sentence)
{
    const PlayState::Track track = *PlayState::trackOf(m_state);
    const PelkRoles row = track.resolved.row;
    if (!track.heard) {
        fail(row, sentence, PelkPlaylogicErrorName::PelkPlaylogicStreamFailed());
        return;
    }
    if (!PlayState::heldAtMs(m_state) && track.resolved.isTooOld(m_clock->nowMs())) {
        onStalled();
        reopen(positionMs());
        return;
    }
    endStream();
    m_reporter.breakOff(PelkPlaylogicErrorName::PelkPlaylogicStreamFailed());
    closeTrack(QString());
    Q_EMIT trackBrokeOff(row, sentence);
    Q_EMIT noticed(
        engineText(QT_TRANSLATE_NOOP("PlayEngine", "Playback of %1 was interrupted"), {titleOf(row)}),
        sentence);
    continueAfterFailure();
}

void PlayEngineTracks::onOutputFailed(const TrString& sentence)
{
    if (!m_outputWorked) {
        // The next track would not find an output either.
        const PelkRoles row = PlayState::trackOf(m_state)->resolved.row;
        m_failuresInARow = mostFailuresInARow - 1;
        fail(row, sentence, PelkPlaylogicErrorName::PelkPlaylogicStreamFailed());
        return;
    }
    const auto* again = std::get_if<PlayState::Reopening>(&m_state);
    const bool isNew = !again || !again->outputGone;
    const qint64 at = positionMs();
    onPaused();
    m_next.forget();
    m_stream->stop();
    // Try again at once; if that fails, retry at intervals.
    move(PlayState::OutputLost{at, m_clock->nowMs() + (isNew ? 0 : outputRetryMs)});
    if (isNew) {
        Q_EMIT outputGone(sentence);
        Q_EMIT noticed(engineText(QT_TRANSLATE_NOOP("PlayEngine", "Audio output lost")),
                       engineText(QT_TRANSLATE_NOOP(
                                      "PlayEngine",
                                      "Playback resumes here when the audio output is available again. (%1)"),
                                  {sentence.toString()}));
    }
}

void PlayEngineTracks::onQueueChanged()
{
    const int entry = PlayState::entryOf(m_state);
    const bool isWaiting = std::holds_alternative<PlayState::AwaitingQueue>(m_state);
    if (entry != 0 && m_queue.indexOf(entry) < 0) {
        endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserSkip());
        continueWith(m_queue.current());
    } else if (isWaiting) {
        continueWith(m_queue.next(true));
    } else if (m_queue.current() == 0 && std::holds_alternative<PlayState::Idle>(m_state)) {
        move(PlayState::Halt{}); // what it was paused in has gone
    }
    prepareNext();
    Q_EMIT statusChanged();
}

void PlayEngineTracks::endTrack(const QString& error)
{
    endStream();
    closeTrack(error);
}

void PlayEngineTracks::endStream()
{
    m_resolver.cancel();
    m_limit.end();
    m_stream->stop();
}

void PlayEngineTracks::closeTrack(const QString& error)
{
    m_limit.end();
    const PlayState::Track* track = PlayState::trackOf(m_state);
    if (!track) {
        m_reporter.end(error);
        return;
    }
    const PelkRoles row = track->resolved.row;
    move(PlayState::Closed{});
    m_reporter.end(error);
    Q_EMIT trackEnded(row);
}

qint64 PlayEngineTracks::positionMs() const
{
    return PlayState::heldAtMs(m_state).value_or(m_stream->positionMs());
}

qint64 PlayEngineTracks::durationMs(const PlayState::Track& track) const
{
    const qint64 known = m_stream->durationMs();
    return known > 0 ? known : track.resolved.row.mediaData().resources().value(0).duration() * 1000;
}

void PlayEngineTracks::fail(const PelkRoles& row, const TrString& sentence, const QString& error)
{
    endTrack(error);
    Q_EMIT trackFailed(row, sentence);
    Q_EMIT noticed(engineText(QT_TRANSLATE_NOOP("PlayEngine", "%1 cannot be played"), {titleOf(row)}),
                   sentence);
    continueAfterFailure();
}

void PlayEngineTracks::continueAfterFailure()
{
    // Not the same track, which would fail again.
    if (++m_failuresInARow < mostFailuresInARow)
        continueWith(m_queue.next(false));
    else
        finish();
}

void PlayEngineTracks::finish()
{
    const auto* idle = std::get_if<PlayState::Idle>(&m_state);
    if (idle && !idle->place)
        return;
    const bool played = !idle;
    m_sleep.off();
    m_stream->setFade(1);
    move(PlayState::Halt{});
    m_limit.set(0);
    m_next.forget();
    Q_EMIT statusChanged();
    if (!played)
        return;
    const auto tell = [this] {
        QMetaObject::invokeMethod(this, &PlayEngineTracks::finished, Qt::QueuedConnection);
    };
    const CMVoidReply last = m_reporter.lastReply();
    if (last.isNull())
        tell();
    else
        whenFinished(this, last, CMPath(), [tell](const CMVoidReply&, const CMError&) { tell(); });
}

#include "player/play/PlayEngine.h"

#include "api/play/pelkplaylogicerrorname.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "player/play/StreamPlayer.h"

namespace {

// Until this position, previous() plays the track before; later it restarts the current track.
constexpr int justBegunMs = 3000;
// How often the clock is checked during the fade of a sleep timer.
constexpr int fadeStepMs = 100;

PelkMetaData metaDataOf(const PelkRoles& row)
{
    return row.mediaData().metaData();
}

/// A permission that the row does not mention is granted.
bool allows(const PelkMetaData& metaData, const QString& key, bool value)
{
    return !metaData.contains(key) || value;
}

} // namespace

PlayEngine::PlayEngine(AudioOutput* output, const PlayProfile& profile)
    : PlayEngine(std::make_unique<StreamPlayer>(output), std::make_unique<PlayClock>(), profile)
{
}

PlayEngine::PlayEngine(std::unique_ptr<AbstractStreamPlayer> stream, std::unique_ptr<PlayClock> clock,
                       const PlayProfile& profile)
    : PlayEngineTracks(std::move(stream), std::move(clock), profile)
{
    connect(&m_wake, &QTimer::timeout, this, &PlayEngine::wake);
    connect(&m_limit, &ListeningLimit::reached, this, qOverload<>(&PlayEngine::stop));
    connect(&m_queue, &PlayQueue::losing, this, [this] {
        const PlayerStatus now = status();
        m_lost = {now.positionMs, now.durationMs};
    });
}

PlayEngine::~PlayEngine()
{
    endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserStop());
}

void PlayEngine::wake()
{
    using namespace PlayState;
    const auto* lost = std::get_if<AwaitingOutput>(&m_state);
    if (lost && lost->retryAtMs <= m_clock->nowMs())
        reopen(lost->positionMs);
    prepareNext();
    applyFade();
    if (m_sleep.isDue(m_clock->nowMs())) {
        pause();
        m_sleep.off();
        Q_EMIT statusChanged();
    }
    if (!m_wake.isActive() && (trackOf(m_state) || m_sleep.kind() == SleepTimer::Kind::Time))
        m_wake.start(wakeMs);
}

/// The fade does not end before the sound does: play() and start() end it.
void PlayEngine::applyFade()
{
    if (m_sleep.kind() == SleepTimer::Kind::Off)
        return;
    const PlayerStatus now = status();
    std::optional<qint64> left;
    if (now.durationMs > 0)
        left = now.durationMs - now.positionMs;
    const bool isLast = m_queue.next(false) == 0 || m_queue.next(false) == m_queue.first();
    const double gain = m_sleep.gain(m_clock->nowMs(), left, isLast && !m_queue.turns().isGrowing());
    m_stream->setFade(gain);
    if (gain < 1)
        m_wake.start(fadeStepMs);
}

bool PlayEngine::sleepAfterMinutes(int minutes)
{
    if (!m_sleep.afterMinutes(minutes, m_clock->nowMs()))
        return false;
    m_stream->setFade(1);
    wake();
    Q_EMIT statusChanged();
    return true;
}

void PlayEngine::sleepAtEndOfTrack()
{
    m_sleep.atEndOfTrack();
    m_stream->setFade(1);
    wake();
    Q_EMIT statusChanged();
}

void PlayEngine::sleepAtEndOfQueue()
{
    m_sleep.atEndOfQueue();
    m_stream->setFade(1);
    wake();
    Q_EMIT statusChanged();
}

void PlayEngine::cancelSleep()
{
    m_sleep.off();
    m_stream->setFade(1);
    prepareNext();
    Q_EMIT statusChanged();
}

PlayerStatus PlayEngine::status() const
{
    PlayerStatus status;
    status.entry = m_queue.current();
    status.volumePercent = m_volumePercent;
    status.volumeLimitPercent = m_volumeLimitPercent;
    status.muted = m_muted;
    status.repeat = m_queue.repeat();
    status.shuffled = m_queue.isShuffled();
    status.undoCount = m_queue.undoCount();
    status.queuePlace = m_queue.indexOf(status.entry);
    status.sleep = m_sleep.kind();
    status.sleepLeftMs = m_sleep.leftMs(m_clock->nowMs());
    status.queueCount = m_queue.entries().size();
    status.queueRevision = m_queue.revision();
    status.row = m_queue.row(status.entry);
    if (const auto* idle = std::get_if<PlayState::Idle>(&m_state); idle && idle->place) {
        status.state = PelkPlayLogicState::Paused;
        status.positionMs = idle->place->positionMs;
        status.durationMs = idle->place->durationMs;
        status.canSeek = status.durationMs > 0;
        status.canPause = true;
    } else if (std::holds_alternative<PlayState::Resolving>(m_state)) {
        status.state = PelkPlayLogicState::Opening;
    }
    const PlayState::Track* track = PlayState::trackOf(m_state);
    if (!track)
        return status;
    const PelkRoles& row = track->resolved.row;
    status.row = row;
    // A stall is reported as a pause, but the listener has not paused.
    status.stalled = PlayState::isStalled(m_state);
    status.state = status.stalled ? PelkPlayLogicState::Playing : m_reporter.data().state();
    status.positionMs = positionMs();
    status.durationMs = durationMs(*track);
    status.format = m_stream->format();
    status.mimeType = row.mediaData().resources().value(0).mimeType();
    status.lowerThanAsked = track->resolved.lowerThanAsked;
    const PelkMetaData metaData = metaDataOf(row);
    status.canSeek = track->heard && m_stream->canSeek() &&
                     allows(metaData, PelkMetaData::AllowSeekTime(), metaData.allowSeekTime());
    status.canPause = allows(metaData, PelkMetaData::AllowPause(), metaData.allowPause());
    return status;
}

void PlayEngine::play()
{
    m_failuresInARow = 0;
    m_pendingStart = PendingStart::Play;
    m_stream->setFade(1);
    if (const auto* idle = std::get_if<PlayState::Idle>(&m_state)) {
        const int entry = m_queue.current() != 0 ? m_queue.current() : m_queue.first();
        if (entry != 0)
            start(entry, idle->place ? idle->place->positionMs : 0);
    } else {
        move(PlayState::WantPause{false});
        const PlayState::Track* track = PlayState::trackOf(m_state);
        const std::optional<qint64> since = PlayState::silentSinceMs(m_state);
        const qint64 maxIdleMs = track ? track->resolved.maxIdleMs() : 0;
        if (since && maxIdleMs > 0 && m_clock->nowMs() - *since > maxIdleMs)
            reopen(positionMs());
        else if (track)
            m_stream->setPaused(false);
    }
    Q_EMIT statusChanged();
}

void PlayEngine::pause()
{
    if (m_pendingStart == PendingStart::Play)
        m_pendingStart = PendingStart::Pause;
    hold();
}

void PlayEngine::hold()
{
    if (std::holds_alternative<PlayState::Idle>(m_state))
        return;
    move(PlayState::WantPause{true});
    if (PlayState::trackOf(m_state))
        m_stream->setPaused(true);
    Q_EMIT statusChanged();
}

void PlayEngine::stop()
{
    m_pendingStart = PendingStart::Stay;
    endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserStop());
    finish();
}

CMVoidReply PlayEngine::stop(PelkPlayLogicStopReason::Enum /*reason*/)
{
    CMReply<QVariant> reply = CMReply<QVariant>::create();
    // Queued even on this thread, because the caller may be in the middle of an operation.
    QMetaObject::invokeMethod(
        this,
        [this, reply] {
            stop();
            reply.setValue(QVariant());
        },
        Qt::QueuedConnection);
    return reply;
}

void PlayEngine::next()
{
    m_failuresInARow = 0;
    endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserSkip());
    move(PlayState::WantPause{false});
    continueWith(m_queue.next(false));
}

void PlayEngine::previous()
{
    m_failuresInARow = 0;
    const int entry = m_queue.previous();
    const PlayerStatus now = status();
    if (entry == 0 || (now.canSeek && now.positionMs > justBegunMs)) {
        seek(0);
        return;
    }
    endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserSkip());
    start(entry);
}

bool PlayEngine::jump(int entryId)
{
    if (m_queue.indexOf(entryId) < 0)
        return false;
    m_failuresInARow = 0;
    endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserSkip());
    start(entryId);
    return true;
}

bool PlayEngine::startPrepared(int entryId, StartOrder order)
{
    if (m_queue.indexOf(entryId) < 0)
        return false;
    const PendingStart pendingStart = m_pendingStart;
    int entry = entryId;
    if (order == StartOrder::Shuffled) {
        m_queue.setShuffled(true);
        entry = m_queue.first();
    } else {
        m_queue.setShuffled(false);
    }
    if (pendingStart == PendingStart::Stay)
        m_queue.setCurrent(entry);
    else
        jump(entry);
    if (pendingStart == PendingStart::Pause)
        pause();
    Q_EMIT statusChanged();
    return true;
}

void PlayEngine::seek(qint64 positionMs)
{
    const PlayerStatus now = status();
    if (!now.canSeek)
        return;
    const qint64 to = qBound<qint64>(0, positionMs, now.durationMs > 0 ? now.durationMs : positionMs);
    if (std::holds_alternative<PlayState::Idle>(m_state)) {
        move(PlayState::Park{{to, now.durationMs}});
        Q_EMIT seeked(to);
        Q_EMIT statusChanged();
    } else if (PlayState::heldAtMs(m_state) || !m_stream->seek(to)) {
        reopen(to); // the last of it may be on the way to the output already
    }
}

void PlayEngine::setVolume(int percent)
{
    m_volumePercent = qBound(0, percent, m_volumeLimitPercent);
    m_stream->setVolume(m_volumePercent);
    Q_EMIT statusChanged();
}

void PlayEngine::setVolumeLimit(int percent)
{
    m_volumeLimitPercent = qBound(0, percent, 100);
    setVolume(m_volumePercent);
}

void PlayEngine::setMuted(bool muted)
{
    m_muted = muted;
    m_stream->setMuted(muted);
    Q_EMIT statusChanged();
}

void PlayEngine::setRepeat(RepeatMode repeat)
{
    m_queue.setRepeat(repeat);
    prepareNext();
    Q_EMIT statusChanged();
}

bool PlayEngine::undo()
{
    const int before = m_queue.current();
    const bool wasIdle = std::holds_alternative<PlayState::Idle>(m_state);
    const PlayState::Place lost = m_lost;
    if (m_queue.undoCount() == 0)
        return false;
    // Blocked, because the queue's change would replace the current track first.
    const QSignalBlocker blocker(&m_queue);
    m_queue.undo();
    const int current = m_queue.current();
    if (current != before && wasIdle && lost.positionMs > 0) {
        move(PlayState::Park{lost});
    } else if (current != before && !wasIdle) {
        endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserSkip());
        continueWith(current, lost.positionMs);
    }
    m_queue.blockSignals(false);
    Q_EMIT m_queue.changed();
    return true;
}

SavedPlayer PlayEngine::saved() const
{
    const PlayerStatus now = status();
    SavedPlayer saved;
    saved.rows.reserve(m_queue.entries().size());
    QHash<int, int> places;
    const QVector<int> unshuffled = m_queue.unshuffled();
    for (int i = 0; i < unshuffled.size(); ++i)
        places.insert(unshuffled.at(i), i);
    for (const QueueEntry& entry : m_queue.entries()) {
        saved.rows.append(entry.row);
        saved.sources.append(entry.source);
        if (m_queue.isShuffled())
            saved.unshuffled.append(places.value(entry.id));
    }
    saved.shuffled = m_queue.isShuffled();
    saved.current = m_queue.indexOf(m_queue.current());
    saved.positionMs = now.positionMs;
    saved.durationMs = now.durationMs;
    saved.volumePercent = m_volumePercent;
    saved.muted = m_muted;
    saved.repeat = m_queue.repeat();
    return saved;
}

void PlayEngine::restore(const SavedPlayer& saved)
{
    stop();
    m_pendingStart = PendingStart::Play;
    m_queue.restore(saved.rows, saved.current, saved.unshuffled, saved.sources);
    if (saved.rows.isEmpty())
        m_queue.setShuffled(saved.shuffled);
    m_queue.setRepeat(saved.repeat);
    const qint64 durationMs = qMax<qint64>(0, saved.durationMs);
    const qint64 positionMs = qMax<qint64>(0, saved.positionMs);
    if (m_queue.current() != 0)
        move(PlayState::Park{{durationMs > 0 ? qMin(positionMs, durationMs) : positionMs, durationMs}});
    setMuted(saved.muted);
    setVolume(saved.volumePercent);
}

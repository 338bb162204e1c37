#include "player/play/PlayEngine.h"

#include "api/play/pelkplaylogicerrorname.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "player/content/ReplyLimit.h"
#include "player/host/ServiceAccount.h"

namespace {

constexpr int mostFailuresInARow = 3;
// Up to here into a track "previous" means the one before it.
constexpr int justBegunMs = 3000;
// So long before the end of a track the next one is asked for, and how often it is looked at the time.
constexpr int aheadMs = 20000;
constexpr int tickMs = 500;
constexpr int outputRetryMs = 1000;

PelkMetaData metaDataOf(const PelkRoles& row)
{
    return row.mediaData().metaData();
}

/// What a row does not say is allowed.
bool allows(const PelkMetaData& metaData, const QString& key, bool value)
{
    return !metaData.contains(key) || value;
}

QString titleOf(const PelkRoles& row)
{
    const QString title = row.title().toString();
    return title.isEmpty() ? row.path().toString() : title;
}

/// Whether a track that was resolved ahead of its turn is as good as one that is resolved now.
bool isFresh(const ResolvedTrack& track)
{
    return !track.isTooOld() && track.askedQuality == ServiceAccount::quality();
}

TrString engineText(const char* source, const QList<TrArg>& arguments = {})
{
    return {TrCharData{"PlayEngine", source}, arguments};
}

} // namespace

PlayEngine::PlayEngine(AudioOutput* output)
    : m_stream(output)
{
    connect(&m_stream, &StreamPlayer::playing, this, &PlayEngine::onPlaying);
    connect(&m_stream, &StreamPlayer::paused, this, &PlayEngine::onPaused);
    connect(&m_stream, &StreamPlayer::stalled, this, &PlayEngine::onStalled);
    connect(&m_stream, &StreamPlayer::ended, this, &PlayEngine::onEnded);
    connect(&m_stream, &StreamPlayer::failed, this, &PlayEngine::onStreamFailed);
    connect(&m_stream, &StreamPlayer::moved, this, [this] {
        Q_EMIT seeked(positionMs());
        Q_EMIT statusChanged();
    });
    connect(&m_stream, &StreamPlayer::wentOver, this, &PlayEngine::onWentOver);
    // It is tried once more when its turn has come.
    connect(&m_stream, &StreamPlayer::nextFailed, this, [this] { m_next = ResolvedTrack(); });
    connect(&m_stream, &StreamPlayer::outputFailed, this, &PlayEngine::onOutputFailed);
    m_tick.setInterval(tickMs);
    connect(&m_tick, &QTimer::timeout, this, &PlayEngine::prepareNext);
    m_outputRetry.setSingleShot(true);
    connect(&m_outputRetry, &QTimer::timeout, this, [this] { reopen(m_heldMs); });
    connect(&m_queue, &PlayQueue::added, this,
            [this](const QVector<int>& ids, int after) { m_order.add(ids, after); });
    connect(&m_queue, &PlayQueue::changed, this, &PlayEngine::onQueueChanged);
    connect(&m_limit, &ListeningLimit::reached, this, qOverload<>(&PlayEngine::stop));
}

PlayEngine::~PlayEngine()
{
    endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserStop());
}

PlayerStatus PlayEngine::status() const
{
    PlayerStatus status;
    status.entry = m_order.current();
    status.volumePercent = m_volumePercent;
    status.muted = m_muted;
    status.repeat = m_order.repeat();
    status.shuffled = m_order.isShuffled();
    status.queueCount = m_queue.entries().size();
    status.queueRevision = m_queue.revision();
    const int index = m_queue.indexOf(status.entry);
    if (index >= 0)
        status.row = m_queue.entries().at(index).row;
    if (m_active && m_track.isEmpty() && !m_waiting)
        status.state = PelkPlayLogicState::Opening;
    if (m_track.isEmpty())
        return status;
    status.row = m_track.row;
    // A stall is told as a pause, but it is none that the listener made.
    status.state = m_stalled ? PelkPlayLogicState::Playing : m_reporter.data().state();
    status.stalled = m_stalled;
    status.positionMs = positionMs();
    const PelkResource resource = m_track.row.mediaData().resources().value(0);
    status.durationMs = m_stream.durationMs();
    if (status.durationMs <= 0)
        status.durationMs = resource.duration() * 1000;
    status.format = m_stream.format();
    status.mimeType = resource.mimeType();
    status.lowerThanAsked = m_track.lowerThanAsked;
    const PelkMetaData metaData = metaDataOf(m_track.row);
    status.canSeek = m_started && m_stream.canSeek() &&
                     allows(metaData, PelkMetaData::AllowSeekTime(), metaData.allowSeekTime());
    status.canPause = allows(metaData, PelkMetaData::AllowPause(), metaData.allowPause());
    return status;
}

void PlayEngine::play()
{
    m_failuresInARow = 0;
    m_arrival = Arrival::Play;
    if (m_active) {
        m_wantsPause = false;
        const qint64 maxIdleMs = m_track.maxIdleMs();
        if (m_heldMs < 0 && maxIdleMs > 0 && m_pauseAge.isValid() && m_pauseAge.hasExpired(maxIdleMs))
            reopen(positionMs());
        else if (!m_track.isEmpty())
            m_stream.setPaused(false);
    } else {
        const int entry = m_order.current() != 0 ? m_order.current() : m_order.first();
        if (entry != 0)
            start(entry);
    }
    Q_EMIT statusChanged();
}

void PlayEngine::pause()
{
    if (m_arrival == Arrival::Play)
        m_arrival = Arrival::Pause;
    hold();
}

void PlayEngine::hold()
{
    if (!m_active)
        return;
    m_wantsPause = true;
    if (!m_track.isEmpty())
        m_stream.setPaused(true);
    Q_EMIT statusChanged();
}

void PlayEngine::stop()
{
    m_arrival = Arrival::Stay;
    endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserStop());
    finish();
}

CMVoidReply PlayEngine::stop(PelkPlayLogicStopReason::Enum /*reason*/)
{
    CMReply<QVariant> reply = CMReply<QVariant>::create();
    // Queued even on this thread: the caller may be in the middle of something that a report would need.
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
    goOn(m_order.next(false));
}

void PlayEngine::previous()
{
    m_failuresInARow = 0;
    const int entry = m_order.previous();
    if (entry == 0 || (!m_track.isEmpty() && positionMs() > justBegunMs)) {
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

bool PlayEngine::startExpected(int entryId)
{
    const Arrival arrival = m_arrival;
    if (arrival != Arrival::Stay && !jump(entryId))
        return false;
    if (arrival == Arrival::Stay)
        setCurrent(entryId);
    else if (arrival == Arrival::Pause)
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
    // The last of it may be on the way to the output already.
    if (m_heldMs >= 0 || !m_stream.seek(to))
        reopen(to);
}

void PlayEngine::setVolume(int percent)
{
    m_volumePercent = qBound(0, percent, 100);
    m_stream.setVolume(m_volumePercent);
    Q_EMIT statusChanged();
}

void PlayEngine::setMuted(bool muted)
{
    m_muted = muted;
    m_stream.setMuted(muted);
    Q_EMIT statusChanged();
}

void PlayEngine::setRepeat(RepeatMode repeat)
{
    m_order.setRepeat(repeat);
    prepareNext();
    Q_EMIT statusChanged();
}

void PlayEngine::setShuffled(bool shuffled)
{
    m_order.setShuffled(shuffled, m_queue);
    prepareNext();
    Q_EMIT statusChanged();
}

void PlayEngine::start(int entry)
{
    const QueueEntry place = m_queue.entries().at(m_queue.indexOf(entry));
    m_active = true;
    m_waiting = m_wantsPause = false;
    m_arrival = Arrival::Play;
    setCurrent(entry);
    m_reporter.expect(place.row);
    const ResolvedTrack prepared = m_next;
    m_next = ResolvedTrack();
    const bool isOnTheWay = m_nextResolver.entry() == entry;
    if (!isOnTheWay)
        m_nextResolver.cancel();
    if (prepared.entry == entry && isFresh(prepared))
        onResolved(place, prepared, TrString());
    else if (!isOnTheWay)
        m_resolver.resolve(place, 0, [this, place](const ResolvedTrack& track, const TrString& failure) {
            onResolved(place, track, failure);
        });
    Q_EMIT statusChanged();
}

void PlayEngine::onResolved(const QueueEntry& entry, const ResolvedTrack& track, const TrString& failure)
{
    if (track.isEmpty()) {
        fail(entry.row, failure, PelkPlaylogicErrorName::PelkPlaylogicResolveFailed());
        return;
    }
    begin(track);
    m_stream.play(track.uri(), 0, m_wantsPause);
}

void PlayEngine::begin(const ResolvedTrack& track)
{
    m_track = track;
    m_nextAsked = 0;
    m_next = ResolvedTrack();
    m_started = m_stalled = false;
    m_reporter.begin(track.row);
    m_tick.start();
}

void PlayEngine::setCurrent(int entry)
{
    m_order.setCurrent(entry);
    m_queue.setCurrent(entry);
}

/// Goes on with the current track from here, with a new stream and output; the address is asked for again
/// when it may hold no longer.
void PlayEngine::reopen(qint64 positionMs)
{
    m_heldMs = positionMs;
    forgetNext();
    m_stream.stop();
    const int index = m_queue.indexOf(m_track.entry);
    if (!m_track.isTooOld() || index < 0) {
        m_stream.play(m_track.uri(), m_heldMs, m_wantsPause);
        return;
    }
    m_resolver.resolve(m_queue.entries().at(index), m_heldMs,
                       [this](const ResolvedTrack& track, const TrString& failure) {
                           if (track.isEmpty()) {
                               onStreamFailed(failure);
                               return;
                           }
                           m_track = track;
                           m_reporter.replace(track.row);
                           m_stream.play(track.uri(), m_heldMs, m_wantsPause);
                       });
}

bool PlayEngine::isNextDue() const
{
    const PlayerStatus now = status();
    return m_started && (now.durationMs <= 0 || now.durationMs - now.positionMs <= aheadMs);
}

/// Sees to it that the stream player has got what follows the current track, once it is time for that.
void PlayEngine::prepareNext()
{
    if (m_track.isEmpty() || m_heldMs >= 0)
        return;
    const int wanted = m_order.next(true);
    const bool isRight = m_nextAsked == wanted && (m_next.isEmpty() || isFresh(m_next));
    if ((!isRight && !dropNext()) || wanted == 0 || m_nextAsked == wanted || !isNextDue())
        return;
    m_nextAsked = wanted;
    const QueueEntry place = m_queue.entries().at(m_queue.indexOf(wanted));
    m_nextResolver.resolve(place, 0, [this, place](const ResolvedTrack& track, const TrString& failure) {
        if (m_track.isEmpty()) {
            onResolved(place, track, failure); // it is its turn already
        } else if (!track.isEmpty()) {         // else it is tried once more when its turn has come
            m_next = track;
            m_stream.setNext(track.uri()); // else it is opened when this one has ended
        }
    });
}

/// False when it is too late: it is going to be heard.
bool PlayEngine::dropNext()
{
    if (!m_stream.dropNext())
        return false;
    forgetNext();
    return true;
}

void PlayEngine::forgetNext()
{
    m_nextResolver.cancel();
    m_next = ResolvedTrack();
    m_nextAsked = 0;
}

void PlayEngine::onWentOver()
{
    m_failuresInARow = 0;
    const ResolvedTrack next = m_next;
    const int wanted = m_order.next(true);
    if (next.entry != wanted) {
        // The queue was changed when its sound was on the way already.
        endTrack(QString());
        goOn(wanted);
        return;
    }
    closeTrack(QString());
    setCurrent(next.entry);
    begin(next);
}

void PlayEngine::goOn(int entry)
{
    if (entry != 0) {
        start(entry);
    } else if (m_queue.isGrowing() && m_active) {
        m_waiting = true;
        forgetNext();
        Q_EMIT statusChanged();
    } else {
        setCurrent(0);
        finish();
    }
}

void PlayEngine::onPlaying()
{
    m_reporter.change(PelkPlayLogicState::Playing);
    m_limit.begin();
    m_heldMs = -1;
    m_outputWorked = true;
    m_outputGone = false;
    m_pauseAge.invalidate();
    const bool resumed = m_stalled;
    m_stalled = false;
    if (!m_started) {
        m_started = true;
        Q_EMIT trackStarted(m_track.row);
    } else if (resumed) {
        Q_EMIT trackResumed(m_track.row);
    }
    prepareNext();
    Q_EMIT statusChanged();
}

void PlayEngine::onPaused()
{
    fallSilent(false);
    Q_EMIT statusChanged();
}

void PlayEngine::fallSilent(bool stalled)
{
    // In a stall too: who counts the time of listening is not to count the silence.
    m_reporter.change(PelkPlayLogicState::Paused);
    m_limit.end();
    if (!m_pauseAge.isValid())
        m_pauseAge.start();
    m_stalled = stalled;
}

void PlayEngine::onStalled()
{
    fallSilent(true);
    Q_EMIT trackStalled(m_track.row);
    Q_EMIT statusChanged();
}

void PlayEngine::onEnded()
{
    m_failuresInARow = 0;
    endTrack(QString());
    goOn(m_order.next(true));
}

void PlayEngine::onStreamFailed(const TrString& sentence)
{
    const PelkRoles row = m_track.row;
    if (!m_started) {
        fail(row, sentence, PelkPlaylogicErrorName::PelkPlaylogicStreamFailed());
        return;
    }
    if (m_heldMs < 0 && m_track.isTooOld()) {
        onStalled();
        reopen(positionMs());
        return;
    }
    endStream();
    m_reporter.breakOff(PelkPlaylogicErrorName::PelkPlaylogicStreamFailed());
    closeTrack(QString());
    Q_EMIT trackBrokeOff(row, sentence);
    Q_EMIT noticed(engineText(QT_TRANSLATE_NOOP("PlayEngine", "%1 broke off"), {titleOf(row)}), sentence);
    goOnAfterFailure();
}

void PlayEngine::onOutputFailed(const TrString& sentence)
{
    if (!m_outputWorked) {
        // Nor would the next track find an output.
        const PelkRoles row = m_track.row;
        m_failuresInARow = mostFailuresInARow - 1;
        fail(row, sentence, PelkPlaylogicErrorName::PelkPlaylogicStreamFailed());
        return;
    }
    const qint64 at = positionMs();
    onPaused();
    m_heldMs = at;
    forgetNext();
    m_stream.stop();
    if (!m_outputGone) {
        Q_EMIT outputGone(sentence);
        Q_EMIT noticed(
            engineText(QT_TRANSLATE_NOOP("PlayEngine", "The sound output is gone")),
            engineText(QT_TRANSLATE_NOOP("PlayEngine", "Playing goes on from here when it is back. (%1)"),
                       {sentence.toString()}));
    }
    // It may have been a hiccup; after that it is asked for now and then.
    m_outputRetry.start(m_outputGone ? outputRetryMs : 0);
    m_outputGone = true;
}

void PlayEngine::onQueueChanged()
{
    const int before = m_order.current();
    const bool paused = m_wantsPause;
    m_order.sync(m_queue);
    if (before != 0 && m_order.current() == 0) {
        const int heir = m_order.heir();
        if (m_active) {
            endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserSkip());
            goOn(heir);
        } else {
            setCurrent(heir);
        }
    } else if (m_waiting) {
        goOn(m_order.next(true));
    }
    if (paused)
        hold(); // another track, but nobody has asked for sound
    prepareNext();
    Q_EMIT statusChanged();
}

void PlayEngine::endTrack(const QString& error)
{
    endStream();
    closeTrack(error);
}

void PlayEngine::endStream()
{
    m_resolver.cancel();
    m_tick.stop();
    m_outputRetry.stop();
    m_pauseAge.invalidate();
    m_heldMs = -1;
    m_outputGone = false;
    m_limit.end();
    m_stream.stop();
}

void PlayEngine::closeTrack(const QString& error)
{
    m_limit.end();
    if (m_track.isEmpty()) {
        m_reporter.end(error);
        return;
    }
    const PelkRoles row = m_track.row;
    m_track = ResolvedTrack();
    m_stalled = false;
    m_reporter.end(error);
    Q_EMIT trackEnded(row);
}

qint64 PlayEngine::positionMs() const
{
    return m_heldMs >= 0 ? m_heldMs : m_stream.positionMs();
}

void PlayEngine::fail(const PelkRoles& row, const TrString& sentence, const QString& error)
{
    endTrack(error);
    Q_EMIT trackFailed(row, sentence);
    Q_EMIT noticed(engineText(QT_TRANSLATE_NOOP("PlayEngine", "%1 cannot be played"), {titleOf(row)}),
                   sentence);
    goOnAfterFailure();
}

void PlayEngine::goOnAfterFailure()
{
    // Not the same one again, which would only fail again.
    if (++m_failuresInARow < mostFailuresInARow)
        goOn(m_order.next(false));
    else
        finish();
}

void PlayEngine::finish()
{
    if (!m_active)
        return;
    m_active = m_waiting = false;
    m_limit.set(0);
    forgetNext();
    Q_EMIT statusChanged();
    const auto tell = [this] {
        QMetaObject::invokeMethod(this, &PlayEngine::finished, Qt::QueuedConnection);
    };
    const CMVoidReply last = m_reporter.lastReply();
    if (last.isNull())
        tell();
    else
        whenFinished(this, last, CMPath(), [tell](const CMVoidReply&, const CMError&) { tell(); });
}

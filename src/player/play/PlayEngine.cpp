#include "player/play/PlayEngine.h"

#include "api/play/pelkplaylogicerrorname.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "player/content/ReplyLimit.h"

namespace {

constexpr int limitCheckMs = 20;
// Who counts the listening time drops what is less than a second, and starts to count a little after the
// sound: a stop on the very tick would be told as a second less.
constexpr int limitMarginMs = 60;
constexpr int mostFailuresInARow = 3;
// Up to here into a track "previous" means the one before it.
constexpr int justBegunMs = 3000;

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

} // namespace

PlayEngine::PlayEngine(AudioOutput* output)
    : m_stream(output)
{
    connect(&m_stream, &StreamPlayer::playing, this, &PlayEngine::onPlaying);
    connect(&m_stream, &StreamPlayer::paused, this, &PlayEngine::onPaused);
    connect(&m_stream, &StreamPlayer::stalled, this, &PlayEngine::onStalled);
    connect(&m_stream, &StreamPlayer::ended, this, &PlayEngine::onEnded);
    connect(&m_stream, &StreamPlayer::failed, this, &PlayEngine::onStreamFailed);
    connect(&m_stream, &StreamPlayer::moved, this, &PlayEngine::statusChanged);
    connect(&m_queue, &PlayQueue::added, this,
            [this](const QVector<int>& ids, bool next) { m_order.add(ids, next); });
    connect(&m_queue, &PlayQueue::changed, this, &PlayEngine::onQueueChanged);
    connect(&m_limitTimer, &QTimer::timeout, this, &PlayEngine::checkLimit);
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
    status.positionMs = m_stream.positionMs();
    const PelkResource resource = m_track.row.mediaData().resources().value(0);
    status.durationMs = m_stream.durationMs();
    if (status.durationMs <= 0)
        status.durationMs = resource.duration() * 1000;
    status.format = m_stream.format();
    status.mimeType = resource.mimeType();
    status.lowerThanAsked = m_track.lowerThanAsked;
    const PelkMetaData metaData = metaDataOf(m_track.row);
    status.canSeek = m_started && allows(metaData, PelkMetaData::AllowSeekTime(), metaData.allowSeekTime());
    status.canPause = allows(metaData, PelkMetaData::AllowPause(), metaData.allowPause());
    return status;
}

void PlayEngine::play()
{
    m_failuresInARow = 0;
    if (m_active) {
        m_wantsPause = false;
        if (!m_track.isEmpty())
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
    if (!m_active)
        return;
    m_wantsPause = true;
    if (!m_track.isEmpty())
        m_stream.setPaused(true);
    Q_EMIT statusChanged();
}

void PlayEngine::stop()
{
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
    if (entry == 0 || (!m_track.isEmpty() && m_stream.positionMs() > justBegunMs)) {
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

void PlayEngine::seek(qint64 positionMs)
{
    if (status().canSeek)
        m_stream.seek(qMax<qint64>(0, positionMs));
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
    Q_EMIT statusChanged();
}

void PlayEngine::setShuffled(bool shuffled)
{
    m_order.setShuffled(shuffled, m_queue);
    Q_EMIT statusChanged();
}

void PlayEngine::stopAfter(int seconds)
{
    m_heardMs = 0;
    m_limitMs = qint64(seconds) * 1000;
    if (m_limitMs > 0)
        m_limitTimer.start(limitCheckMs);
    else
        m_limitTimer.stop();
}

void PlayEngine::start(int entry)
{
    const int index = m_queue.indexOf(entry);
    m_active = true;
    m_waiting = m_wantsPause = false;
    m_order.setCurrent(entry);
    m_queue.setCurrent(entry);
    const QueueEntry place = m_queue.entries().at(index);
    m_resolver.resolve(place, 0, [this, place](const ResolvedTrack& track, const QString& failure) {
        if (track.isEmpty())
            fail(place.row, failure, PelkPlaylogicErrorName::PelkPlaylogicResolveFailed());
        else
            open(track);
    });
    Q_EMIT statusChanged();
}

void PlayEngine::open(const ResolvedTrack& track)
{
    m_track = track;
    m_started = m_stalled = false;
    m_reporter.begin(track.row);
    m_stream.play(track.uri());
    if (m_wantsPause)
        m_stream.setPaused(true);
}

void PlayEngine::goOn(int entry)
{
    if (entry != 0) {
        start(entry);
    } else if (m_queue.isGrowing() && m_active) {
        m_waiting = true;
        Q_EMIT statusChanged();
    } else {
        m_order.setCurrent(0);
        finish();
    }
}

void PlayEngine::onPlaying()
{
    m_reporter.change(PelkPlayLogicState::Playing);
    m_hearing.start();
    const bool resumed = m_stalled;
    m_stalled = false;
    if (!m_started) {
        m_started = true;
        Q_EMIT trackStarted(m_track.row);
    } else if (resumed) {
        Q_EMIT trackResumed(m_track.row);
    }
    Q_EMIT statusChanged();
}

void PlayEngine::onPaused()
{
    m_reporter.change(PelkPlayLogicState::Paused);
    if (m_hearing.isValid())
        m_heardMs += m_hearing.elapsed();
    m_hearing.invalidate();
    m_stalled = false;
    Q_EMIT statusChanged();
}

void PlayEngine::onStalled()
{
    // Who counts the time of listening is not to count the silence.
    onPaused();
    m_stalled = true;
    Q_EMIT trackStalled(m_track.row);
    Q_EMIT statusChanged();
}

void PlayEngine::onEnded()
{
    m_failuresInARow = 0;
    endTrack(QString());
    goOn(m_order.next(true));
}

void PlayEngine::onStreamFailed(const QString& sentence)
{
    const PelkRoles row = m_track.row;
    if (!m_started) {
        fail(row, sentence, PelkPlaylogicErrorName::PelkPlaylogicStreamFailed());
        return;
    }
    // What was heard was listened to: a service acts upon a stop without an error, or with a listener's, and
    // would else never hear of the end.
    endTrack(QString());
    Q_EMIT trackBrokeOff(row, sentence);
    Q_EMIT noticed(QStringLiteral("%1 broke off").arg(titleOf(row)), sentence);
    goOnAfterFailure();
}

void PlayEngine::onQueueChanged()
{
    const int before = m_order.current();
    m_order.sync(m_queue);
    if (before != 0 && m_order.current() == 0) {
        const int heir = m_order.heir();
        if (m_active) {
            endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserSkip());
            goOn(heir);
        } else {
            m_order.setCurrent(heir);
        }
    } else if (m_waiting) {
        goOn(m_order.next(true));
    }
    m_queue.setCurrent(m_order.current());
    Q_EMIT statusChanged();
}

void PlayEngine::endTrack(const QString& error)
{
    m_resolver.cancel();
    if (m_hearing.isValid())
        m_heardMs += m_hearing.elapsed();
    m_hearing.invalidate();
    m_stream.stop();
    if (m_track.isEmpty())
        return;
    const PelkRoles row = m_track.row;
    m_track = ResolvedTrack();
    m_stalled = false;
    m_reporter.end(error);
    Q_EMIT trackEnded(row);
}

void PlayEngine::fail(const PelkRoles& row, const QString& sentence, const QString& error)
{
    endTrack(error);
    Q_EMIT trackFailed(row, sentence);
    Q_EMIT noticed(QStringLiteral("%1 cannot be played").arg(titleOf(row)), sentence);
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

void PlayEngine::checkLimit()
{
    if (m_hearing.isValid() && m_heardMs + m_hearing.elapsed() >= m_limitMs + limitMarginMs)
        stop();
}

void PlayEngine::finish()
{
    if (!m_active)
        return;
    m_active = m_waiting = false;
    m_limitTimer.stop();
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

#include "player/play/PlayEngine.h"

#include "api/core/model/cmabstractworker.h"
#include "api/play/pelkplaylogicerrorname.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "player/content/ContentClient.h"
#include "player/content/ReplyLimit.h"
#include "player/play/PlayQueue.h"

namespace {

constexpr int limitCheckMs = 20;
// Who counts the listening time drops what is less than a second, and starts to count a little after the
// sound: a stop on the very tick would be told as a second less.
constexpr int limitMarginMs = 60;
constexpr int mostFailuresInARow = 3;

} // namespace

PlayEngine::PlayEngine(AudioOutput* output)
    : m_stream(output)
{
    connect(&m_stream, &StreamPlayer::playing, this, &PlayEngine::onPlaying);
    connect(&m_stream, &StreamPlayer::paused, this,
            [this] { m_reporter.change(PelkPlayLogicState::Paused); });
    connect(&m_stream, &StreamPlayer::ended, this, [this] {
        m_failuresInARow = 0;
        endTrack(QString());
        startNext();
    });
    connect(&m_stream, &StreamPlayer::stalled, this, &PlayEngine::onStalled);
    connect(&m_stream, &StreamPlayer::failed, this, &PlayEngine::onStreamFailed);
    connect(&m_limitTimer, &QTimer::timeout, this, &PlayEngine::checkLimit);
}

PlayEngine::~PlayEngine()
{
    endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserStop());
}

void PlayEngine::play(PlayQueue* queue, int seconds)
{
    endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserStop());
    delete m_queue;
    m_queue = queue;
    queue->setParent(this);
    m_earlierMs = 0;
    m_failuresInARow = 0;
    m_limitMs = seconds * 1000;
    if (m_limitMs > 0)
        m_limitTimer.start(limitCheckMs);
    startNext();
}

void PlayEngine::skip()
{
    endTrack(PelkPlaylogicErrorName::PelkPlaylogicUserSkip());
    startNext();
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

qint64 PlayEngine::heardMs() const
{
    return m_earlierMs + m_stream.positionMs();
}

void PlayEngine::startNext()
{
    if (!m_queue)
        return;
    const int turn = ++m_turn;
    m_queue->next([this, turn](const PelkRoles& row, const CMError& error) {
        if (turn != m_turn)
            return;
        if (error.isSet()) {
            Q_EMIT trackFailed(row, ContentClient::sentence(error));
            finish();
        } else if (row.isEmpty()) {
            finish();
        } else {
            resolve(row);
        }
    });
}

void PlayEngine::resolve(const PelkRoles& row)
{
    const CMPath path = row.mediaData().metaData().prePlayPath();
    const CMSetDataRequest request(path, PelkRoles::PrePlay(), row.variant());
    const int turn = m_turn;
    whenFinished(this, request.reply(), path,
                 [this, turn, row](const CMVoidReply& finished, const CMError& error) {
                     if (turn != m_turn)
                         return;
                     const PelkRoles resolved(error.isSet() ? PelkHash()
                                                            : PelkHash::fromVariant(finished.d()->value()));
                     const QString failed = PelkPlaylogicErrorName::PelkPlaylogicResolveFailed();
                     if (error.isSet())
                         fail(row, ContentClient::sentence(error), failed);
                     else if (resolved.mediaData().resources().value(0).uri().isEmpty())
                         fail(row, QStringLiteral("The service gave no address to play it from."), failed);
                     else
                         open(resolved);
                 });
    CMRoot()->setDataRequest(request);
}

void PlayEngine::open(const PelkRoles& resolved)
{
    m_row = resolved;
    m_started = m_stalled = false;
    m_reporter.begin(resolved);
    m_stream.play(resolved.mediaData().resources().first().uri());
}

void PlayEngine::onPlaying()
{
    m_reporter.change(PelkPlayLogicState::Playing);
    if (!m_started)
        Q_EMIT trackStarted(m_row);
    else if (m_stalled)
        Q_EMIT trackResumed(m_row);
    m_started = true;
    m_stalled = false;
}

void PlayEngine::onStalled()
{
    // Who counts the time of listening is not to count the silence.
    m_reporter.change(PelkPlayLogicState::Paused);
    m_stalled = true;
    Q_EMIT trackStalled(m_row);
}

void PlayEngine::onStreamFailed(const QString& sentence)
{
    if (!m_started) {
        fail(m_row, sentence, PelkPlaylogicErrorName::PelkPlaylogicStreamFailed());
        return;
    }
    // What was heard was listened to: a service acts upon a stop without an error, or with a listener's, and
    // would else never hear of the end.
    const PelkRoles row = m_row;
    endTrack(QString());
    Q_EMIT trackBrokeOff(row, sentence);
    goOnAfterFailure();
}

void PlayEngine::endTrack(const QString& error)
{
    // No answer of this turn counts any longer.
    ++m_turn;
    if (m_row.isEmpty())
        return;
    const PelkRoles row = m_row;
    m_row = PelkRoles();
    m_earlierMs += m_stream.positionMs();
    m_stream.stop();
    m_reporter.end(error);
    Q_EMIT trackEnded(row);
}

// The row is a copy, since it may be the current one, which ends here.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void PlayEngine::fail(PelkRoles row, const QString& sentence, const QString& error)
{
    endTrack(error);
    Q_EMIT trackFailed(row, sentence);
    goOnAfterFailure();
}

void PlayEngine::goOnAfterFailure()
{
    if (++m_failuresInARow < mostFailuresInARow)
        startNext();
    else
        finish();
}

void PlayEngine::checkLimit()
{
    if (m_row.isEmpty() || data().state() != PelkPlayLogicState::Playing)
        return;
    if (heardMs() >= m_limitMs + limitMarginMs)
        stop();
}

void PlayEngine::finish()
{
    if (!m_queue)
        return;
    ++m_turn;
    m_limitTimer.stop();
    m_queue->deleteLater();
    m_queue = nullptr;
    const CMVoidReply last = m_reporter.lastReply();
    if (last.isNull()) {
        QMetaObject::invokeMethod(this, &PlayEngine::finished, Qt::QueuedConnection);
        return;
    }
    whenFinished(this, last, CMPath(), [this](const CMVoidReply&, const CMError&) {
        QMetaObject::invokeMethod(this, &PlayEngine::finished, Qt::QueuedConnection);
    });
}

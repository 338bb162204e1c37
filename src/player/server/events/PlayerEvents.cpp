#include "player/server/events/PlayerEvents.h"

#include "api/types/pelknotificationdisplayitem.h"
#include "player/play/PlayEngine.h"
#include "player/server/api/PlayerJson.h"
#include "player/server/events/EventStreams.h"

PlayerEvents::Pace::Pace(int burstMs, const std::function<void()>& report)
    : m_burstMs(burstMs)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_timer, &QTimer::timeout, [this, report] {
        m_last.start();
        report();
    });
}

void PlayerEvents::Pace::changed()
{
    if (m_timer.isActive())
        return;
    const qint64 passed = m_last.isValid() ? m_last.elapsed() : m_burstMs;
    m_timer.start(passed >= m_burstMs ? 0 : int(m_burstMs - passed));
}

PlayerEvents::PlayerEvents(PlayEngine* engine, EventStreams* streams, int burstMs)
    : m_engine(engine)
    , m_streams(streams)
    , m_status(burstMs, [this] { reportStatus(); })
    , m_queue(burstMs, [this] { reportQueue(); })
{
    connect(engine, &PlayEngine::statusChanged, this, [this] { m_status.changed(); });
    connect(&engine->queue(), &PlayQueue::changed, this, [this] { m_queue.changed(); });
    connect(engine, &PlayEngine::noticed, this, [this](const TrString& title, const TrString& message) {
        PelkNotificationDisplayItem notice;
        notice.setTitle(title);
        notice.setMessage(message);
        m_streams->notify(notice);
    });
    reportStatus();
    reportQueue();
}

// Readers that come later are shown the status of their time.
void PlayerEvents::reportStatus()
{
    m_streams->setState("player", [engine = m_engine](const Language& language) {
        const PlayerStatus status = engine->status();
        return PlayerJson::status(status, status.positionMs, language);
    });
}

void PlayerEvents::reportQueue()
{
    m_streams->setState("queue", [engine = m_engine](const Language&) {
        return PlayerJson::queue(engine->queue().revision(), engine->queue().entries().size());
    });
}

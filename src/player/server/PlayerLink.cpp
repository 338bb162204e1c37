#include "player/server/PlayerLink.h"

#include "api/types/pelknotificationdisplayitem.h"
#include "player/play/PlayEngine.h"
#include "player/play/QueueLoader.h"
#include "player/server/EventStreams.h"
#include "player/server/PlayerJson.h"
#include "player/server/Problem.h"
#include "player/server/ServerText.h"

#include <QElapsedTimer>

namespace {

/// Changes come in bursts, when a long list comes into the queue say; browsers want the outcome.
constexpr int tellMs = 20;

PelkNotificationDisplayItem notice(const TrString& title, const TrString& message)
{
    PelkNotificationDisplayItem item;
    item.setTitle(title);
    item.setMessage(message);
    return item;
}

} // namespace

PlayerLink::PlayerLink(PlayEngine* engine, EventStreams* events)
    : m_engine(engine)
    , m_events(events)
{
    const auto tellSoon = [this](QTimer* timer, void (PlayerLink::*tell)()) {
        timer->setSingleShot(true);
        timer->setInterval(tellMs);
        connect(timer, &QTimer::timeout, this, tell);
        return [timer] {
            if (!timer->isActive())
                timer->start();
        };
    };
    connect(engine, &PlayEngine::statusChanged, this, tellSoon(&m_tellStatus, &PlayerLink::tellStatus));
    connect(&engine->queue(), &PlayQueue::changed, this, tellSoon(&m_tellQueue, &PlayerLink::tellQueue));
    connect(engine, &PlayEngine::noticed, this, [this](const TrString& title, const TrString& message) {
        m_events->notify(notice(title, message));
    });
    tellStatus();
    tellQueue();
}

void PlayerLink::run(const std::function<void(PlayEngine& engine)>& work)
{
    m_main.run([work, engine = m_engine] { work(*engine); });
}

PlayerStatus PlayerLink::status()
{
    const auto status = std::make_shared<PlayerStatus>();
    run([status](const PlayEngine& engine) { *status = engine.status(); });
    return *status;
}

void PlayerLink::add(const Addition& addition)
{
    m_main.run([this, addition] { load(addition); });
}

void PlayerLink::end()
{
    m_main.end();
    disconnect(m_engine, nullptr, this, nullptr);
    disconnect(&m_engine->queue(), nullptr, this, nullptr);
    m_tellStatus.stop();
    m_tellQueue.stop();
    m_events = nullptr;
}

void PlayerLink::tellStatus()
{
    const PlayerStatus status = m_engine->status();
    QElapsedTimer since;
    since.start();
    // It is told to whoever comes later, too.
    m_events->setState("player", [status, since](const Language& language) {
        qint64 position = status.positionMs;
        if (status.state == PelkPlayLogicState::Playing && !status.stalled)
            position += since.elapsed();
        if (status.durationMs > 0)
            position = qMin(position, status.durationMs);
        return PlayerJson::status(status, position, language);
    });
}

void PlayerLink::tellQueue()
{
    const quint64 revision = m_engine->queue().revision();
    const int count = m_engine->queue().entries().size();
    m_events->setState("queue",
                       [revision, count](const Language&) { return PlayerJson::queue(revision, count); });
}

void PlayerLink::load(const Addition& addition)
{
    if (m_loaders >= mostLoaders)
        throw Problem(503,
                      serverText(QT_TRANSLATE_NOOP(
                          "PanelServer", "Other lists are still on their way into the queue; try again.")));
    auto* loader = new QueueLoader(&m_engine->queue(), addition.container, addition.where, addition.from,
                                   addition.to, this);
    loader->setContainerRow(addition.row);
    ++m_loaders;
    if (addition.where == PlayQueue::Where::Replace) {
        m_engine->expectStart();
        const auto hasStarted = std::make_shared<bool>(false);
        connect(loader, &QueueLoader::pageAdded, this,
                [this, hasStarted, startAt = addition.startAt](const QVector<int>& ids,
                                                               const QVector<int>& rows) {
                    for (int i = 0; i < ids.size() && !*hasStarted; ++i)
                        if (rows.at(i) >= startAt)
                            *hasStarted = m_engine->startExpected(ids.at(i));
                });
    }
    connect(loader, &QueueLoader::finished, this, [this, loader, addition](const TrString& sentence) {
        --m_loaders;
        loader->deleteLater();
        if (!m_events || (sentence == TrString() && (loader->added() > 0 || loader->wasOvertaken())))
            return;
        if (sentence == TrString())
            m_events->notify(notice(
                serverText(QT_TRANSLATE_NOOP("PanelServer", "Nothing to play")),
                serverText(QT_TRANSLATE_NOOP("PanelServer", "The list holds no track that can be played."))));
        else
            m_events->notify(
                notice(serverText(QT_TRANSLATE_NOOP("PanelServer", "The queue is not complete")), sentence));
    });
    loader->start();
}

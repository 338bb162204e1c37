#include "player/server/api/QueueFilling.h"

#include "api/types/pelknotificationdisplayitem.h"
#include "player/play/PlayEngine.h"
#include "player/play/QueueLoader.h"
#include "player/server/ServerText.h"
#include "player/server/api/Problem.h"

namespace {

PelkNotificationDisplayItem notice(const TrString& title, const TrString& message)
{
    PelkNotificationDisplayItem item;
    item.setTitle(title);
    item.setMessage(message);
    return item;
}

} // namespace

QueueFilling::QueueFilling(PlayEngine* engine, int most, Notify notify, Played played)
    : m_engine(engine)
    , m_most(most)
    , m_notify(std::move(notify))
    , m_played(std::move(played))
{
}

void QueueFilling::add(const Addition& addition)
{
    if (m_loaders >= m_most)
        throw Problem(503, serverText(QT_TRANSLATE_NOOP(
                               "PanelServer", "Other lists are still being added to the queue. Try again.")));
    auto* loader = new QueueLoader(&m_engine->queue(), addition.container, addition.where, addition.from,
                                   addition.to, this);
    loader->setContainerRow(addition.row);
    ++m_loaders;
    if (addition.where == PlayQueue::Where::Replace) {
        m_engine->prepareStart();
        const auto hasStarted = std::make_shared<bool>(false);
        connect(loader, &QueueLoader::pageAdded, this,
                [this, hasStarted, addition](const QVector<int>& ids, const QVector<int>& rows) {
                    const bool isLater = *hasStarted;
                    for (int i = 0; i < ids.size() && !*hasStarted; ++i)
                        if (rows.at(i) >= addition.startAt)
                            *hasStarted = m_engine->startPrepared(ids.at(i));
                    if (*hasStarted && !isLater && addition.from == 0 && addition.to < 0)
                        tellPlayed(addition);
                });
    }
    connect(loader, &QueueLoader::finished, this, [this, loader](const TrString& sentence) {
        --m_loaders;
        loader->deleteLater();
        if (sentence != TrString())
            m_notify(
                notice(serverText(QT_TRANSLATE_NOOP("PanelServer", "The queue is not complete")), sentence));
        else if (loader->added() == 0 && !loader->wasOvertaken())
            m_notify(
                notice(serverText(QT_TRANSLATE_NOOP("PanelServer", "Nothing to play")),
                       serverText(QT_TRANSLATE_NOOP("PanelServer", "The list contains no playable track."))));
    });
    loader->start();
}

/// Nobody would know a container again that has no title.
void QueueFilling::tellPlayed(const Addition& addition) const
{
    PelkRoles row = addition.row;
    if (row.title() == TrString())
        return;
    row.setType(PelkRolesType::Container);
    row.setPath(addition.container);
    m_played(row);
}

#pragma once

#include "player/play/PlayQueue.h"

#include <QObject>

#include <functional>

class PelkNotificationDisplayItem;
class PlayEngine;

/// Fills the queue from containers, page by page, and reports as a notice what could not be added.
class QueueFilling : public QObject
{
    Q_OBJECT

public:
    using Notify = std::function<void(const PelkNotificationDisplayItem&)>;
    /// A container begins to play as a whole; its row.
    using Played = std::function<void(const PelkRoles&)>;
    /// The engine is not owned. `most`: how many containers may be on their way at once.
    QueueFilling(PlayEngine* engine, int most, Notify notify, Played played);

    /// Which rows of a container are added, and where.
    struct Addition
    {
        CMPath container;
        PelkRoles row; ///< the known data of the container; may be empty
        int from = 0;
        int to = -1; ///< -1: to its end
        PlayQueue::Where where = PlayQueue::Where::End;
        int startAt = 0; ///< where playing starts, when it replaces the queue: an index within the container
    };
    /// Starts to add the rows of a container. Throws a Problem if too many containers are being loaded.
    void add(const Addition& addition);

private:
    void tellPlayed(const Addition& addition) const;

    PlayEngine* m_engine;
    const int m_most;
    Notify m_notify;
    Played m_played;
    int m_loaders = 0;
};

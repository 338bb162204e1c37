#pragma once

#include "player/play/PlayQueue.h"
#include "player/play/PlayerStatus.h"
#include "player/server/MainThread.h"

#include <QTimer>

#include <functional>

class EventStreams;
class PlayEngine;
class QueueLoader;

/// The panel's end of the player: has operations done on the main thread, tells every change to the event
/// streams, and fills the queue from containers. Made and deleted on the main thread; everything else is
/// for the server's threads, and throws a Problem.
class PlayerLink : public QObject
{
    Q_OBJECT

public:
    /// How many containers may be on their way into the queue at once.
    static constexpr int mostLoaders = 8;

    PlayerLink(PlayEngine* engine, EventStreams* events);

    /// What of a container goes into the queue, and where.
    struct Addition
    {
        CMPath container;
        PelkRoles row; ///< what is known of the container; may be empty
        int from = 0;
        int to = -1; ///< -1: to its end
        PlayQueue::Where where = PlayQueue::Where::End;
        int startAt = 0; ///< where playing starts, when it replaces the queue: an index within the container
    };

    /// Has `work` done with the engine.
    void run(const std::function<void(PlayEngine& engine)>& work);
    PlayerStatus status();
    /// Begins to add the rows of a container. That nothing could be added is told as a notice.
    void add(const Addition& addition);
    /// Nobody waits any longer, and nothing is told.
    void end();

private:
    void tellStatus();
    void tellQueue();
    void load(const Addition& addition);

    PlayEngine* m_engine;
    EventStreams* m_events;
    MainThread m_main;
    int m_loaders = 0;
    QTimer m_tellStatus; // runs while a change waits to be told
    QTimer m_tellQueue;
};

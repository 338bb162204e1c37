#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>

class EventStreams;
class PlayEngine;

/// Reports changes of the player to the event streams: the first change at once, then the last one of each
/// burst.
class PlayerEvents : public QObject
{
    Q_OBJECT

public:
    /// Neither is owned. `burstMs`: minimum interval between two reports about the same state.
    PlayerEvents(PlayEngine* engine, EventStreams* streams, int burstMs);

private:
    /// Calls `report` soon, at most once per interval.
    class Pace
    {
    public:
        Pace(int burstMs, const std::function<void()>& report);
        void changed();

    private:
        const int m_burstMs;
        QTimer m_timer;
        QElapsedTimer m_last;
    };

    void reportStatus();
    void reportQueue();

    PlayEngine* m_engine;
    EventStreams* m_streams;
    Pace m_status;
    Pace m_queue;
};

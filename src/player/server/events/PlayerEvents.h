#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>

class EventStreams;
class PlayEngine;

/// Reports every change of the player to the event streams: the first one at once, and of a burst the
/// outcome.
class PlayerEvents : public QObject
{
    Q_OBJECT

public:
    /// Neither is owned. `burstMs`: how far apart two reports about the same are at least.
    PlayerEvents(PlayEngine* engine, EventStreams* streams, int burstMs);

private:
    /// Calls `report` soon after what is to be reported, but not too often.
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

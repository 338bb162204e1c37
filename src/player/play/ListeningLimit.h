#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

/// Ends playback after a number of seconds of sound. One thread, with an event loop.
class ListeningLimit : public QObject
{
    Q_OBJECT

public:
    explicit ListeningLimit(QObject* parent = nullptr);

    /// Starts a new count; 0 means no limit.
    void set(int seconds);
    /// Sound is audible from now on.
    void begin();
    /// Sound is no longer audible.
    void end();

Q_SIGNALS:
    void reached();

private:
    void check();

    QElapsedTimer m_hearing; // runs while sound comes out
    qint64 m_heardMs = 0;
    qint64 m_limitMs = 0;
    QTimer m_timer;
};

#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

/// Ends the playing when so much was heard. One thread, with an event loop.
class ListeningLimit : public QObject
{
    Q_OBJECT

public:
    explicit ListeningLimit(QObject* parent = nullptr);

    /// From now on so much may be heard; 0 is no limit.
    void set(int seconds);
    /// Sound comes out from now on.
    void begin();
    /// It does no longer.
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

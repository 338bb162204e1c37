#pragma once

#include <QObject>

/// Turns SIGINT and SIGTERM into a signal of the event loop. Create it on the main thread before any other
/// thread starts, so that no other thread receives the signals. A second one ends the program at once.
class SignalWatch : public QObject
{
    Q_OBJECT

public:
    SignalWatch();
    ~SignalWatch() override;

    /// The number of the signal that came; 0 before one did.
    int number() const { return m_number; }

Q_SIGNALS:
    void caught();

private:
    int m_file;
    int m_number = 0;
};

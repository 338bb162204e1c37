#pragma once

#include <QObject>

/// Turns an interrupt or a request to end into a signal of the event loop. Made on the main thread before any
/// other thread starts, since those must not take the signals. A second one ends the program at once.
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

#pragma once

#include <QString>
#include <QTimer>

/// Tells the service manager that started this process how it is, as sd_notify(3) describes; does nothing
/// where none did. Main thread.
class ServiceManager
{
public:
    /// The player answers now. As long as the event loop runs, the manager's watchdog hears of it.
    void ready(const QString& status);
    /// The player ends, which may take some seconds.
    void stopping();

    /// Whether standard error goes to the journal, which adds the time to each line and reads its level from
    /// journalPrefix().
    static bool isJournal();
    /// How a line of this level of syslog(3) begins in the journal; empty outside it.
    static QString journalPrefix(int level);

private:
    QTimer m_alive;
};

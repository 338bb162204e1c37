#pragma once

#include <QString>

class History;
class Host;
class PanelServer;
class PlayEngine;
class PlayerLock;
class QObject;
class SignalWatch;
struct CommandLine;

/// Shows the panel to browsers until a signal ends it. Main thread.
class ServeCommand
{
public:
    /// `lock` has been taken, where its folder takes one.
    ServeCommand(Host& host, const CommandLine& line, PlayerLock& lock);

    /// Returns the exit code: 0 after a signal, since that is how it ends.
    int run(SignalWatch* signalWatch);

    /// Where an installed player has the panel's files.
    static QString defaultPanelFolder();

private:
    void announce(const PanelServer& server, QObject* context) const;
    void warn(const PanelServer& server) const;
    void tellSaveFailure(PanelServer* server) const;
    static void followSettings(PlayEngine* engine, History* history, QObject* context);

    Host& m_host;
    const CommandLine& m_line;
    PlayerLock& m_lock;
};

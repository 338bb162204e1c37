#pragma once

#include <QString>

class History;
class Host;
class PanelServer;
class PlayEngine;
class PlayerLock;
class QObject;
class SignalWatch;
class CommandLine;

/// Shows the panel to browsers until a signal ends it. Main thread.
class ServeCommand
{
public:
    /// `lock` has been taken, where its folder takes one.
    ServeCommand(Host& host, const CommandLine& line, const QString& version, PlayerLock& lock);

    /// Returns the exit code: 0 after a signal, since that is how it ends.
    int run(SignalWatch* signalWatch);

    /// A sentence about invalid addresses; otherwise empty.
    static QString check(const CommandLine& line);
    /// Where an installed player has the panel's files.
    static QString defaultPanelFolder();

private:
    void announce(const PanelServer& server, QObject* context) const;
    void warn(const PanelServer& server) const;
    void reportSaveFailure(PanelServer* server) const;
    static void followSettings(PlayEngine* engine, History* history, QObject* context);

    Host& m_host;
    const CommandLine& m_line;
    const QString m_version;
    PlayerLock& m_lock;
};

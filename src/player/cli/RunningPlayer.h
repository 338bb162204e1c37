#pragma once

#include "player/cli/PlayerConnection.h"

/// The player that runs, through its socket file.
class RunningPlayer final : public PlayerConnection
{
public:
    /// Looks for it: at `socketFile` if one is named; else the player of this state folder, else the one that
    /// is a service of the system. Null when none runs, with a sentence in `error` when one should but cannot
    /// be reached. Waits for a player that is starting.
    static std::unique_ptr<RunningPlayer> find(const QString& socketFile, const QString& stateFolder,
                                               QString* error);

    explicit RunningPlayer(const QString& socketFile);
    ~RunningPlayer() override;

    QVector<PlayerAnswer> ask(const QVector<PlayerRequest>& requests) override;
    bool follow(const Watcher& watcher, QString* error) override;

private:
    class Transfer;

    int m_folder; // of the socket file, whose name may lead through it
    QByteArray m_socketName;
    void* m_multi; // of libcurl; keeps its connections
};

#pragma once

#include "player/cli/PlayerConnection.h"

/// The player that runs, through its socket file.
class RunningPlayer final : public PlayerConnection
{
public:
    /// How long a command waits.
    struct Patience
    {
        int startMs = 10000;  ///< for a player that is starting
        int answerMs = 60000; ///< for a response; the player sends one within 35 seconds, unless it hangs
    };

    /// Finds the running player: at `socketFile` if one is named; otherwise the player of this state folder,
    /// otherwise the system-wide one. Null if none is running; `error` is then a sentence if one should be
    /// running but cannot be reached.
    static std::unique_ptr<RunningPlayer> find(const QString& socketFile, const QString& stateFolder,
                                               const Patience& patience, QString* error);

    RunningPlayer(const QString& socketFile, int answerMs);
    ~RunningPlayer() override;

    QVector<PlayerAnswer> ask(const QVector<PlayerRequest>& requests) override;
    bool follow(const Watcher& watcher, QString* error) override;

private:
    class Transfer;

    int m_folder; // of the socket file, whose name may lead through it
    QByteArray m_socketName;
    int m_answerMs;
    void* m_multi; // of libcurl; keeps its connections
};

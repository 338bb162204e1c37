#pragma once

#include "player/host/StateFile.h"

class PlayEngine;

/// Saves and restores a player across restarts, kills and power cuts: its queue, the current entry with its
/// position, volume and modes. Main thread of the process that holds the folder's PlayerLock.
class PlayerMemory : public QObject
{
    Q_OBJECT

public:
    /// Files go into `folder`. The engine is not owned.
    PlayerMemory(PlayEngine* engine, const QString& folder, QObject* parent = nullptr);
    /// As end().
    ~PlayerMemory() override;

    /// Restores the saved state, paused, and saves every later change. Returns notices for the listener.
    QStringList begin();
    /// Saves the current state, ignores later changes, and returns when it is on the disk. Call it before the
    /// engine is stopped at exit.
    void end();

Q_SIGNALS:
    /// The state cannot be saved; `sentence` says why.
    void failed(const QString& sentence);

private:
    void restore(const PelkHash& queue, const PelkHash& rest);
    void keep();
    StateFile::Writer copyOfQueue() const;
    StateFile::Writer copyOfRest() const;

    PlayEngine* m_engine;
    StateFile m_queueFile;
    StateFile m_restFile;
    QTimer m_tick;              // while the position moves
    quint64 m_keptRevision = 0; // of the queue ...
    qint64 m_generation = 0;    // ... and its number over all runs
    bool m_isKeeping = false;
};

#pragma once

#include "player/host/StateFile.h"

class PlayEngine;

/// Keeps a player over restarts, kills and power cuts: its queue, the current entry with its place, volume
/// and modes. Main thread, of the process that has the folder's PlayerLock.
class PlayerMemory : public QObject
{
    Q_OBJECT

public:
    /// Files go into `folder`. The engine is not owned.
    PlayerMemory(PlayEngine* engine, const QString& folder, QObject* parent = nullptr);
    /// As end().
    ~PlayerMemory() override;

    /// Puts back what an earlier run kept, paused, and keeps every change from now on. Returns a sentence for
    /// each thing that the listener should know.
    QStringList begin();
    /// Keeps what is there now, and nothing later; returns when it is on the disk. Comes before the engine is
    /// stopped for the end of the program.
    void end();

Q_SIGNALS:
    /// It cannot be kept; `sentence` says why.
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

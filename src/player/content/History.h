#pragma once

#include "api/types/pelkroles.h"
#include "player/host/StateFile.h"

#include <QVector>

/// What was played lately: containers and tracks as their rows, each with the last time, the latest first.
/// Kept over restarts unless the listener does not want that. Main thread.
class History : public QObject
{
    Q_OBJECT

public:
    static constexpr int mostItems = 200;

    struct Item
    {
        PelkRoles row;     ///< without a stream
        qint64 timeMs = 0; ///< since the epoch, by the clock of the time
    };

    /// `fileName`: where it is kept.
    explicit History(const QString& fileName, QObject* parent = nullptr);

    /// Reads what earlier runs kept. A sentence about a file that cannot be used; else empty.
    QString load();
    const QVector<Item>& items() const { return m_items; }
    /// Something begins to play now. What was there before under the same path moves to the front. Rows
    /// without a path are no items.
    void add(const PelkRoles& row);
    /// Whether anything is kept. false forgets all, on the disk too.
    void setKeeping(bool isKeeping);
    bool isKeeping() const { return m_isKeeping; }
    /// Forgets all, on the disk too. False, with a sentence, when the file is still there.
    bool clear(QString* error);
    /// Returns when it is on the disk.
    void flush() { m_file.flush(); }

Q_SIGNALS:
    void changed();
    /// It cannot be kept; `sentence` says why.
    void failed(const QString& sentence);

private:
    QVector<Item> m_items;
    bool m_isKeeping = true;
    StateFile m_file; // the last one: when it goes, it still writes what is above
};

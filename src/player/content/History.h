#pragma once

#include "api/types/pelkroles.h"
#include "player/host/StateFile.h"

#include <QVector>

/// Recently played containers and tracks as rows, each with the last time, the latest first. Saved across
/// restarts unless the listener turns that off. Main thread.
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

    /// Reads the saved history. Returns a sentence about an unusable file, otherwise an empty text.
    QString load();
    const QVector<Item>& items() const { return m_items; }
    /// Adds a row that begins to play now, or moves it to the front. Rows without a path are ignored.
    void add(const PelkRoles& row);
    /// Turns the history on or off; off also removes it from the disk.
    void setKeeping(bool isKeeping);
    bool isKeeping() const { return m_isKeeping; }
    /// Clears the history, on the disk too. False, with a sentence, if the file could not be removed.
    bool clear(QString* error);
    /// Returns when it is on the disk.
    void flush() { m_file.flush(); }

Q_SIGNALS:
    void changed();
    /// The history cannot be saved; `sentence` says why.
    void failed(const QString& sentence);

private:
    QVector<Item> m_items;
    bool m_isKeeping = true;
    StateFile m_file; // the last one: when it goes, it still writes what is above
};

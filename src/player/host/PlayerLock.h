#pragma once

#include <QString>

#include <optional>

/// Makes this process the only player of a state folder during the object's lifetime, and publishes where it
/// listens. The kernel releases the lock when the process ends for any reason. Any thread, one at a time.
class PlayerLock
{
public:
    /// The player of a state folder. Fields that it has not published yet are empty.
    struct Holder
    {
        qint64 processId = 0;
        QString socketFile;
        QString address; ///< of the panel

        /// "process 4711 at http://127.0.0.1:8080/"
        QString toString() const;
    };

    enum class Outcome
    {
        Taken,
        Held,    ///< by another player; the sentence says by which
        Unusable ///< the folder takes no lock; the sentence says why
    };

    explicit PlayerLock(const QString& stateFolder);
    ~PlayerLock();
    PlayerLock(const PlayerLock&) = delete;
    PlayerLock& operator=(const PlayerLock&) = delete;

    /// Does not block for longer than the other process takes to write its number.
    Outcome take(QString* sentence);
    bool isTaken() const { return m_file >= 0; }
    /// Tells where this player is reached. Does nothing without the lock.
    void publish(const QString& socketFile, const QString& address);

    /// The running player of a folder; nothing when none runs.
    static std::optional<Holder> holder(const QString& stateFolder);

private:
    void write(const Holder& holder) const;

    QString m_folder;
    int m_file = -1;
};

#pragma once

#include "player/host/StateFile.h"

#include <QObject>
#include <QVector>

/// Browsers that have logged in. Each has a random cookie, of which the digest alone is saved, and is let in
/// for thirty days from its login, on the clock of the wall: one from the future is not let in before its
/// time, but kept, since it is the clock that may be wrong. Main thread.
class Sessions : public QObject
{
    Q_OBJECT

public:
    static constexpr qint64 lifeMs = 30LL * 24 * 3600 * 1000;
    static constexpr int most = 100; ///< then the one that was used longest ago goes

    struct Session
    {
        QByteArray name; ///< no secret
        QByteArray digest;
        QByteArray passwordMark; ///< of the password that it was made by
        QString device;
        qint64 createdMs = 0;
        qint64 lastUseMs = 0;
    };
    /// Milliseconds since 1970.
    using Clock = std::function<qint64()>;

    Sessions(const QString& folder, Clock clock);

    /// Makes a session, and gives what its cookie holds.
    QByteArray add(const QString& device, const QByteArray& passwordMark);
    /// The session of a cookie, where it is let in with this password; it counts as used. Null where there is
    /// none.
    const Session* find(const QByteArray& cookie, const QByteArray& passwordMark);
    bool isValid(const QByteArray& name, const QByteArray& passwordMark) const;
    /// Those that are let in, the last used first.
    QVector<Session> list(const QByteArray& passwordMark) const;
    /// False where there is none of that name.
    bool remove(const QByteArray& name);
    void flush() { m_file.flush(); }
    /// A sentence about what could not be read; empty where there is nothing to say.
    QString notice() const { return m_file.notice(); }

Q_SIGNALS:
    /// The file cannot be written; `sentence` says why.
    void failed(const QString& sentence);

private:
    bool isValid(const Session& session, const QByteArray& passwordMark) const;
    void read();
    void save();

    Clock m_clock;
    QVector<Session> m_sessions;
    StateFile m_file; // writes the sessions once more when it goes
};

#pragma once

#include "player/host/StateFile.h"

#include <QObject>
#include <QVector>

/// The sessions of browsers that have logged in. Each has a random cookie, of which only the digest is saved,
/// and is valid for thirty days by the time of day. A session from the future is not valid yet but is kept,
/// because the clock may be wrong. Main thread.
class Sessions : public QObject
{
    Q_OBJECT

public:
    static constexpr qint64 lifeMs = 30LL * 24 * 3600 * 1000;
    static constexpr int most = 100; ///< then the least recently used one is removed

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

    /// Creates a session and returns the value of its cookie.
    QByteArray add(const QString& device, const QByteArray& passwordMark);
    /// The valid session of a cookie for this password, marked as used; null if there is none.
    const Session* find(const QByteArray& cookie, const QByteArray& passwordMark);
    bool isValid(const QByteArray& name, const QByteArray& passwordMark) const;
    /// The valid sessions, last used first.
    QVector<Session> list(const QByteArray& passwordMark) const;
    /// False if there is none with that name.
    bool remove(const QByteArray& name);
    void flush() { m_file.flush(); }
    /// A sentence about a file that could not be read; usually empty.
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

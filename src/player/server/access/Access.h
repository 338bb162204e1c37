#pragma once

#include "player/server/access/Attempts.h"
#include "player/server/access/Credentials.h"
#include "player/server/access/PasswordThread.h"
#include "player/server/access/Sessions.h"
#include "player/server/http/HttpMessage.h"

/// The rights of a request, and their source.
struct Grant
{
    enum class Level
    {
        None,    ///< the page and the login
        Read,    ///< what changes nothing
        Control, ///< everything but what is for this machine alone
        Local    ///< everything
    };
    Level level = Level::None;
    QByteArray session; ///< its name, where it is a session's
    QByteArray token;   ///< its digest, where it is a token's
};

/// Decides what a request may do. This machine may do everything; others need a session, a token, or a player
/// that is open to all. Main thread, with an event loop.
class Access : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        QString folder;              ///< of the files
        bool isOpen = false;         ///< everybody may control the player
        bool isBehindProxy = false;  ///< then requests of this machine may be anybody's
        QByteArray cookie = "pelk";  ///< its name
        Sessions::Clock wallClock;   ///< null: the system's
        Attempts::Clock steadyClock; ///< null: the system's
    };
    Access(const Options& options, const Limits& limits);

    bool hasPassword() { return !m_credentials.passwordHash().isEmpty(); }
    /// Call it when the port is known: browsers send a cookie to every port of a host, so its name contains
    /// the port.
    void setCookieName(const QByteArray& name) { m_options.cookie = name; }

    Grant grant(const HttpRequest& request);
    /// Whether a granted right is still valid.
    bool holds(const Grant& grant);

    /// How a login ended.
    struct Login
    {
        bool isRight = false;
        int waitSeconds = 0; ///< where there were too many attempts, and this one was not looked at
        QByteArray setCookie;
    };
    void logIn(const HttpRequest& request, const QString& password, bool isSecure,
               const std::function<void(const Login&)>& done);
    /// Ends a session; false if there is none with that name.
    bool end(const QByteArray& session);
    QVector<Sessions::Session> sessions() { return m_sessions.list(m_credentials.passwordMark()); }
    /// Sets the password and ends every session. `done` receives a sentence if it failed.
    void setPassword(const QString& password, const std::function<void(const QString& error)>& done);
    /// A Set-Cookie header that deletes the browser's cookie.
    QByteArray noCookie() const { return m_options.cookie + "=; Path=/; Max-Age=0"; }
    /// Writes what waits.
    void flush() { m_sessions.flush(); }
    /// Notices about the files; each is returned once.
    QStringList takeNotices();

Q_SIGNALS:
    /// Rights may have ended; check them with holds().
    void changed();
    /// A file cannot be saved or read; `sentence` says why.
    void failed(const QString& sentence);

private:
    bool isLocal(const HttpRequest& request) const;
    Grant tokenGrant(const QByteArray& authorization);
    QVector<QByteArray> cookies(const HttpRequest& request) const;
    void tellNotices();

    Options m_options;
    Credentials m_credentials;
    Sessions m_sessions;
    Attempts m_attempts;
    PasswordThread m_thread;
    bool m_isSessionNoticeTaken = false;
};

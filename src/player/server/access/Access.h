#pragma once

#include "player/server/access/Attempts.h"
#include "player/server/access/Credentials.h"
#include "player/server/access/PasswordThread.h"
#include "player/server/access/Sessions.h"
#include "player/server/http/HttpMessage.h"

/// What a request may do, and by which right.
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

/// Decides who may do what: this machine everything; others need a session of the household's password, a
/// token, or a player that is open to all. Main thread, with an event loop.
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
    /// After the server knows its port: browsers send a cookie to every port of a host.
    void setCookieName(const QByteArray& name) { m_options.cookie = name; }

    Grant grant(const HttpRequest& request);
    /// Whether a right that was granted still stands.
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
    /// Ends a session; false where there is none of that name.
    bool end(const QByteArray& session);
    QVector<Sessions::Session> sessions() { return m_sessions.list(m_credentials.passwordMark()); }
    /// `done` gets a sentence where it failed. Every session ends.
    void setPassword(const QString& password, const std::function<void(const QString& error)>& done);
    /// A Set-Cookie that takes the browser's cookie away.
    QByteArray noCookie() const { return m_options.cookie + "=; Path=/; Max-Age=0"; }
    /// Writes what waits.
    void flush() { m_sessions.flush(); }
    /// What people have to know of the files; each sentence once.
    QStringList takeNotices();

Q_SIGNALS:
    /// Rights may have ended: holds() says which.
    void changed();
    /// Something cannot be saved, or could not be read; a sentence.
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

#include "player/server/access/Access.h"

#include "player/server/access/DeviceName.h"
#include "player/server/access/Secrets.h"

#include <QDateTime>
#include <QElapsedTimer>

#include <algorithm>
#include <array>

namespace {

constexpr int secondMs = 1000;

Attempts::Clock steadyClock()
{
    QElapsedTimer since;
    since.start();
    return [since] { return since.elapsed(); };
}

} // namespace

Access::Access(const Options& options, const Limits& limits)
    : m_options(options)
    , m_credentials(options.folder)
    , m_sessions(
          options.folder,
          options.wallClock ? options.wallClock : [] { return QDateTime::currentMSecsSinceEpoch(); })
    , m_attempts(limits, options.steadyClock ? options.steadyClock : steadyClock())
{
    connect(&m_sessions, &Sessions::failed, this, &Access::failed);
}

/// Whether a request is from this machine and was not forwarded by a proxy. A proxy's headers are never
/// trusted, but any such header means that the request was forwarded.
bool Access::isLocal(const HttpRequest& request) const
{
    static constexpr std::array<const char*, 6> forwarding{
        "forwarded", "via", "x-forwarded-for", "x-forwarded-host", "x-forwarded-proto", "x-real-ip"};
    if (request.peer.isLocal)
        return true;
    return request.peer.isLoopback && !m_options.isBehindProxy &&
           std::none_of(forwarding.begin(), forwarding.end(),
                        [&request](const char* name) { return request.headerCount(name) > 0; });
}

Grant Access::grant(const HttpRequest& request)
{
    if (isLocal(request))
        return {Grant::Level::Local, {}, {}};
    Grant grant = tokenGrant(request.header("authorization"));
    const QByteArray mark = m_credentials.passwordMark();
    const QVector<QByteArray> given = cookies(request);
    for (const QByteArray& cookie : given)
        if (const Sessions::Session* const session = m_sessions.find(cookie, mark))
            grant = {Grant::Level::Control, session->name, {}};
    if (m_options.isOpen)
        grant.level = Grant::Level::Control;
    tellNotices();
    return grant;
}

Grant Access::tokenGrant(const QByteArray& authorization)
{
    const QByteArray scheme = "bearer ";
    if (!authorization.toLower().startsWith(scheme))
        return {};
    const QByteArray digest = Secrets::digest(authorization.mid(scheme.size()).trimmed());
    Grant grant;
    for (const Credentials::Token& token : m_credentials.tokens()) // all of them, whichever it is
        if (Secrets::isEqual(token.digest, digest))
            grant = {token.isReadOnly ? Grant::Level::Read : Grant::Level::Control, {}, token.digest};
    return grant;
}

bool Access::holds(const Grant& grant)
{
    if (m_options.isOpen || grant.level == Grant::Level::Local)
        return true;
    const auto isToken = [&grant](const Credentials::Token& token) { return token.digest == grant.token; };
    const QVector<Credentials::Token>& tokens = m_credentials.tokens();
    return grant.token.isEmpty() ? m_sessions.isValid(grant.session, m_credentials.passwordMark())
                                 : std::any_of(tokens.cbegin(), tokens.cend(), isToken);
}

void Access::logIn(const HttpRequest& request, const QString& password, bool isSecure,
                   const std::function<void(const Login&)>& done)
{
    const QByteArray address = request.peer.address;
    Login refused;
    refused.waitSeconds = m_attempts.waitSeconds(address);
    if (refused.waitSeconds > 0) {
        done(refused);
        return;
    }
    m_attempts.begin(address);
    const QByteArray hash = m_credentials.passwordHash();
    const QByteArray mark = m_credentials.passwordMark();
    const QString device = deviceName(request.header("user-agent"));
    tellNotices();
    m_thread.check(password, hash, [=](bool isRight) {
        Login login;
        login.isRight = isRight;
        if (isRight) {
            m_attempts.forgive(address);
            login.setCookie = m_options.cookie + '=' + m_sessions.add(device, mark) +
                              "; Path=/; Max-Age=" + QByteArray::number(Sessions::lifeMs / secondMs) +
                              "; HttpOnly; SameSite=Strict" + (isSecure ? "; Secure" : "");
        }
        done(login);
    });
}

bool Access::end(const QByteArray& session)
{
    if (!m_sessions.remove(session))
        return false;
    Q_EMIT changed();
    return true;
}

void Access::setPassword(const QString& password, const std::function<void(const QString& error)>& done)
{
    m_thread.hash(password, [=](const QByteArray& hash) {
        QString error;
        if (hash.isEmpty())
            error = QStringLiteral("There is too little memory to set a password.");
        else
            m_credentials.setPasswordHash(hash, &error);
        Q_EMIT changed();
        done(error);
    });
}

QVector<QByteArray> Access::cookies(const HttpRequest& request) const
{
    QVector<QByteArray> values;
    for (const auto& cookie : request.cookies)
        if (cookie.first == m_options.cookie)
            values.append(cookie.second);
    return values;
}

QStringList Access::takeNotices()
{
    QStringList notices = m_credentials.takeNotices();
    if (!m_isSessionNoticeTaken && !m_sessions.notice().isEmpty())
        notices.append(m_sessions.notice());
    m_isSessionNoticeTaken = true;
    return notices;
}

void Access::tellNotices()
{
    const QStringList notices = takeNotices();
    for (const QString& notice : notices)
        Q_EMIT failed(notice);
}

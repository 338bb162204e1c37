#include "player/server/api/AccessRoutes.h"

#include "player/server/ServerText.h"
#include "player/server/access/Access.h"
#include "player/server/access/Secrets.h"

#include <QJsonArray>

#include <array>

namespace {

QString word(Grant::Level level)
{
    static constexpr std::array<const char*, 4> words{"none", "read", "control", "local"};
    return QLatin1String(words.at(size_t(level)));
}

void state(Access& access, const WayIn& way, const ApiRequest& request, const ApiResponder& responder)
{
    QJsonObject object{{QStringLiteral("level"), word(request.grant.level)},
                       {QStringLiteral("readable"), way.isReadable(request.http)}};
    if (request.grant.level == Grant::Level::Local)
        object.insert(QStringLiteral("passwordSet"), access.hasPassword());
    if (request.grant.level != Grant::Level::None && !way.fingerprint.isEmpty())
        object.insert(QStringLiteral("fingerprint"), way.fingerprint);
    responder.send(200, object);
}

void sendDone(const ApiResponder& responder, const QByteArray& setCookie)
{
    HttpResponse response;
    response.status = 204;
    response.addHeader("Set-Cookie", setCookie);
    responder.sendRaw(std::move(response));
}

void logIn(Access& access, const WayIn& way, const ApiRequest& request, const ApiResponder& responder)
{
    const bool isSecure = request.http.peer.isEncrypted || way.isProxiedHttps(request.http);
    access.logIn(request.http, request.text("password"), isSecure, [responder](const Access::Login& login) {
        if (login.waitSeconds > 0) {
            Problem problem(429, serverText(QT_TRANSLATE_NOOP("PanelServer",
                                                              "Too many attempts. Try again in %1 seconds."),
                                            {login.waitSeconds}));
            problem.headers = {{"Retry-After", QByteArray::number(login.waitSeconds)}};
            responder.fail(problem);
        } else if (!login.isRight) {
            responder.fail(Problem(401, serverText(QT_TRANSLATE_NOOP("PanelServer", "Wrong password."))));
        } else {
            sendDone(responder, login.setCookie);
        }
    });
}

void logOut(Access& access, const WayIn& /*way*/, const ApiRequest& request, const ApiResponder& responder)
{
    access.end(request.grant.session);
    sendDone(responder, access.noCookie());
}

void sessions(Access& access, const WayIn& /*way*/, const ApiRequest& request, const ApiResponder& responder)
{
    QJsonArray list;
    const QVector<Sessions::Session> all = access.sessions();
    for (const Sessions::Session& one : all)
        list.append(QJsonObject{{QStringLiteral("session"), QString::fromLatin1(one.name)},
                                {QStringLiteral("device"), one.device},
                                {QStringLiteral("createdMs"), one.createdMs},
                                {QStringLiteral("lastUseMs"), one.lastUseMs},
                                {QStringLiteral("current"), one.name == request.grant.session}});
    responder.send(200, {{QStringLiteral("sessions"), list}});
}

void revoke(Access& access, const WayIn& /*way*/, const ApiRequest& request, const ApiResponder& responder)
{
    if (!access.end(request.text("session").toLatin1()))
        throw Problem(409,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "That device is no longer logged in.")));
    responder.done();
}

void setPassword(Access& access, const WayIn& /*way*/, const ApiRequest& request,
                 const ApiResponder& responder)
{
    const QString password = request.text("password");
    if (!Secrets::passwordFault(password).isEmpty())
        throw Problem(400,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "The password needs %1 to %2 characters."),
                                 {Secrets::shortestPassword, Secrets::longestPassword}));
    access.setPassword(password, [responder](const QString& error) {
        if (error.isEmpty())
            responder.done();
        else
            responder.fail(Problem(
                500, serverText(QT_TRANSLATE_NOOP("PanelServer", "The password could not be saved."))));
    });
}

} // namespace

QVector<Route> accessRoutes(Access* access, const WayIn* way)
{
    using Kind = Field::Kind;
    using Level = Grant::Level;
    using Handler = void (*)(Access&, const WayIn&, const ApiRequest&, const ApiResponder&);
    const auto with = [access, way](Handler handler) {
        return [access, way, handler](const ApiRequest& request, const ApiResponder& responder) {
            handler(*access, *way, request, responder);
        };
    };
    // A missing password is a wrong password.
    const Field password{"password", Kind::Text, false};
    return {
        {"GET", "/api/access", {}, with(state), Level::None},
        {"POST", "/api/access/login", {password}, with(logIn), Level::None},
        {"POST", "/api/access/logout", {}, with(logOut)},
        {"GET", "/api/access/sessions", {}, with(sessions), Level::Control},
        {"POST", "/api/access/revoke", {{"session", Kind::Text}}, with(revoke)},
        {"POST", "/api/access/password", {{"password", Kind::Text}}, with(setPassword), Level::Local},
    };
}

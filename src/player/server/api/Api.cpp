#include "player/server/api/Api.h"

#include "player/content/History.h"
#include "player/server/ServerText.h"
#include "player/server/api/AccessRoutes.h"
#include "player/server/api/ContentRoutes.h"
#include "player/server/api/HistoryRoutes.h"
#include "player/server/api/PlayerRoutes.h"

#include <QFile>
#include <QJsonDocument>

#include <algorithm>

/// The resources of a static library are not there by themselves. Of no namespace, as Qt wants it.
static void initResources()
{
    Q_INIT_RESOURCE(server);
}

namespace {

const QString apiPrefix = QStringLiteral("/api/");
const QString assetsPrefix = QStringLiteral("/assets/");

/// The document that describes the interface.
QByteArray openApi()
{
    initResources();
    QFile file(QStringLiteral(":/server/openapi.json"));
    const bool isOpen = file.open(QIODevice::ReadOnly);
    Q_ASSERT(isOpen);
    return QJsonDocument::fromJson(file.readAll()).toJson(QJsonDocument::Compact);
}

Problem faultProblem(HttpHandler::Fault fault)
{
    switch (fault) {
    case HttpHandler::Fault::LongUrl:
        return {414,
                serverText(QT_TRANSLATE_NOOP("PanelServer", "The address is too long; the limit is 8 KiB."))};
    case HttpHandler::Fault::LongHead:
        return {431, serverText(
                         QT_TRANSLATE_NOOP("PanelServer", "The header is too large; the limit is 16 KiB."))};
    case HttpHandler::Fault::LongBody:
        return {413,
                serverText(QT_TRANSLATE_NOOP("PanelServer", "The body is too large; the limit is 64 KiB."))};
    case HttpHandler::Fault::None:
    case HttpHandler::Fault::Malformed:
        break;
    }
    return {400, serverText(QT_TRANSLATE_NOOP("PanelServer", "The request is not valid HTTP."))};
}

Problem nothingAt(const QString& path)
{
    return {404, serverText(QT_TRANSLATE_NOOP("PanelServer", "There is nothing at \"%1\"."), {path})};
}

} // namespace

Api::Api(const Parts& parts, PlayEngine* engine, EventStreams* streams, Access* access)
    : m_access(access)
    , m_limits(parts.limits)
    , m_streams(streams)
    , m_files(parts.panelFolder)
    , m_translations(parts.translationFolders)
    , m_contentRequests(parts.closedPaths, parts.limits)
    , m_filling(
          engine, parts.limits.loaders, [streams](const auto& notice) { streams->notify(notice); },
          [history = parts.history](const PelkRoles& row) {
              if (history)
                  history->add(row);
          })
    , m_routes(contentRoutes(&m_contentRequests, parts.limits) + historyRoutes(parts.history))
{
    if (engine)
        m_routes += playerRoutes(engine, &m_filling, &m_contentRequests);
    if (access)
        m_routes += accessRoutes(access, &m_way);
    m_way.isProxiedHttps = [this](const HttpRequest& request) {
        return m_rules.isProxiedHttps(QString::fromUtf8(request.header("host")));
    };
    m_way.isReadable = [this](const HttpRequest& request) {
        const bool isOfNetwork = grantOf(request).level != Grant::Level::Local;
        return isOfNetwork && !request.peer.isEncrypted && !m_way.isProxiedHttps(request);
    };
    m_routes.append(
        {"GET",
         "/api/about",
         {},
         [tell = parts.about](const auto& request, const auto& responder) {
             // File names and the user's name are private.
             if (!request.http.peer.isLocal || !tell)
                 throw Problem(
                     403, serverText(QT_TRANSLATE_NOOP(
                              "PanelServer", "This is only available through the player's socket file.")));
             responder.send(200, tell());
         },
         Grant::Level::Local});
    m_routes.append({"GET", "/api/events", {}, [this](const auto& request, const auto& responder) {
                         openEvents(request, responder);
                     }});
    m_routes.append(
        {"GET", "/api/openapi.json", {}, [document = openApi()](const auto&, const auto& responder) {
             HttpResponse response;
             response.type = "application/json";
             response.body = document;
             responder.sendRaw(std::move(response));
         }});
}

std::unique_ptr<HttpResponse> Api::refusal(const HttpRequest& request, Fault fault)
{
    try {
        if (fault == Fault::Malformed)
            throw faultProblem(fault);
        checkOrigin(request);
        checkGrant(request);
        if (fault != Fault::None)
            throw faultProblem(fault);
        checkMethod(request);
    } catch (const Problem& problem) {
        return std::make_unique<HttpResponse>(withCommonHeaders(problem.response(languageOf(request))));
    }
    return nullptr;
}

void Api::handle(const HttpRequest& request, const Responder& sink)
{
    const Language& language = languageOf(request);
    const ApiResponder responder(sink, &language);
    try {
        if (!request.path.startsWith(apiPrefix)) {
            responder.sendRaw(file(request));
            return;
        }
        const Route* const found = route(request.method, request.path);
        if (!found)
            throw nothingAt(request.path);
        ApiRequest asked{request, &language, grantOf(request)};
        if (!request.isRead())
            asked.body = found->read(request.body);
        found->handler(asked, responder);
    } catch (const Problem& problem) {
        responder.fail(problem);
    } catch (const std::exception&) {
        responder.fail(
            {500, serverText(QT_TRANSLATE_NOOP("PanelServer", "The player could not handle the request."))});
    }
}

void Api::checkOrigin(const HttpRequest& request) const
{
    if (request.peer.isLocal)
        return; // no browser opens a socket file, and the file's mode says who may
    const QString host = QString::fromUtf8(request.header("host"));
    if (request.headerCount("host") != 1 || !m_rules.isOwnHost(host))
        throw Problem(
            403, serverText(QT_TRANSLATE_NOOP("PanelServer", "\"%1\" is not a host name of this player."),
                            {host}));
    const QString origin = QString::fromUtf8(request.header("origin"));
    if (request.headerCount("origin") > 0 && !m_rules.isOwnOrigin(origin, host))
        throw Problem(403,
                      serverText(QT_TRANSLATE_NOOP("PanelServer",
                                                   "Pages of \"%1\" are not allowed to use this player."),
                                 {origin}));
    // Pages of other programs on this machine are foreign too.
    const QByteArray site = request.header("sec-fetch-site");
    if (request.path.startsWith(apiPrefix) && !site.isEmpty() && site != "same-origin" && site != "none")
        throw Problem(403, serverText(QT_TRANSLATE_NOOP("PanelServer",
                                                        "Other sites are not allowed to use this player.")));
}

/// Callers without access do not learn which routes exist.
void Api::checkGrant(const HttpRequest& request) const
{
    if (!request.path.startsWith(apiPrefix))
        return;
    const Route* const found = route(request.method, request.path);
    const Grant::Level needed = found              ? found->needed()
                                : request.isRead() ? Grant::Level::Read
                                                   : Grant::Level::Control;
    const Grant::Level level = grantOf(request).level;
    if (level >= needed)
        return;
    if (level > Grant::Level::None)
        throw Problem(403,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "You do not have permission to do this.")));
    Problem problem(401, serverText(QT_TRANSLATE_NOOP("PanelServer", "Log in with the player's password.")));
    problem.headers = {{"WWW-Authenticate", "Bearer"}};
    throw problem;
}

void Api::checkMethod(const HttpRequest& request) const
{
    if (request.isRead() && request.hasBody())
        throw Problem(
            400, serverText(QT_TRANSLATE_NOOP("PanelServer", "GET and HEAD requests must not have a body.")));
    if (request.headerCount("transfer-encoding") > 0 ||
        (!request.isRead() && request.headerCount("content-length") == 0))
        throw Problem(400, serverText(QT_TRANSLATE_NOOP(
                               "PanelServer",
                               "A POST request must have a JSON body, at least {}, and a Content-Length.")));
    QByteArray allowed = allowedMethods(request.path);
    const bool isPost = request.method == "POST";
    if ((!allowed.isEmpty() && !route(request.method, request.path)) || (!request.isRead() && !isPost) ||
        (isPost && !request.path.startsWith(apiPrefix))) {
        if (allowed.isEmpty())
            allowed = request.path.startsWith(apiPrefix) ? "GET, HEAD, POST" : "GET, HEAD";
        Problem problem(405,
                        serverText(QT_TRANSLATE_NOOP("PanelServer", "The method %1 is not allowed here."),
                                   {QString::fromUtf8(request.method)}));
        problem.headers = {{"Allow", allowed}};
        throw problem;
    }
    const QByteArray type = request.header("content-type").split(';').value(0).trimmed().toLower();
    if (isPost && type != "application/json")
        throw Problem(415,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "The body must be application/json.")));
}

Grant Api::grantOf(const HttpRequest& request) const
{
    return m_access ? m_access->grant(request) : Grant{Grant::Level::Local, {}, {}};
}

const Route* Api::route(const QByteArray& method, const QString& path) const
{
    const auto find = [&](const QByteArray& wanted) {
        return std::find_if(m_routes.cbegin(), m_routes.cend(), [&](const Route& one) {
            return one.method == wanted && path == QLatin1String(one.path);
        });
    };
    auto found = find(method);
    if (found == m_routes.cend() && method == "HEAD")
        found = find("GET");
    return found == m_routes.cend() ? nullptr : &*found;
}

QByteArray Api::allowedMethods(const QString& path) const
{
    QByteArray allowed;
    for (const Route& one : m_routes)
        if (path == QLatin1String(one.path))
            allowed += (allowed.isEmpty() ? "" : ", ") + one.method;
    return allowed;
}

void Api::openEvents(const ApiRequest& request, const ApiResponder& responder)
{
    const QStringList values = request.all(QStringLiteral("value"));
    if (values.size() > m_limits.valuesPerStream)
        throw Problem(400, serverText(QT_TRANSLATE_NOOP("PanelServer", "At most %1 values can be followed."),
                                      {m_limits.valuesPerStream}));
    QList<CMPath> paths;
    for (const QString& value : values)
        paths.append(m_contentRequests.path(value));
    HttpResponse response;
    response.type = "text/event-stream";
    response.headers = {{"X-Accel-Buffering", "no"}};
    if (request.http.method != "HEAD") {
        if (!m_streams->hasPlace())
            throw Problem(503, serverText(QT_TRANSLATE_NOOP("PanelServer",
                                                            "%1 browsers are connected, which is the limit."),
                                          {m_limits.eventStreams}));
        response.source =
            m_streams->open(*request.language, paths, [access = m_access, grant = request.grant] {
                return !access || access->holds(grant);
            });
    }
    responder.sendRaw(std::move(response));
}

HttpResponse Api::file(const HttpRequest& request)
{
    const QByteArray accepted = request.header("accept-encoding");
    std::optional<Files::File> file = m_files.file(request.path, accepted);
    // The panel's pages have addresses of their own; a missing file returns a 404.
    if (!file && !request.path.startsWith(assetsPrefix))
        file = m_files.file(QStringLiteral("/index.html"), accepted);
    if (!file && m_files.folder().isEmpty())
        throw Problem(404, serverText(QT_TRANSLATE_NOOP(
                               "PanelServer",
                               "The panel is not installed. The player's console output names the folder.")));
    if (!file)
        throw nothingAt(request.path);
    HttpResponse response;
    response.headers = {
        {"ETag", file->tag},
        {"Cache-Control", file->lasting ? "public, max-age=31536000, immutable" : "no-cache"}};
    if (file->varies)
        response.addHeader("Vary", "Accept-Encoding");
    if (request.header("if-none-match") == file->tag) {
        response.status = 304;
        return response;
    }
    response.type = file->type;
    response.body = file->content;
    if (!file->encoding.isEmpty())
        response.addHeader("Content-Encoding", file->encoding);
    return response;
}

const Language& Api::languageOf(const HttpRequest& request) const
{
    for (const auto& param : request.params)
        if (param.first == QLatin1String("lang"))
            if (const Language* const wanted = m_translations.find(param.second))
                return *wanted;
    return m_translations.accepted(QString::fromUtf8(request.header("accept-language")));
}

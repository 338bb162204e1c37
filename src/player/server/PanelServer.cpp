#include "player/server/PanelServer.h"

#include "player/server/AccessRules.h"
#include "player/server/ContentCalls.h"
#include "player/server/ContentEndpoints.h"
#include "player/server/EventStreams.h"
#include "player/server/HttpServer.h"
#include "player/server/PlayerEndpoints.h"
#include "player/server/PlayerLink.h"
#include "player/server/ServerText.h"
#include "player/server/StaticFiles.h"

#include <QFile>
#include <QJsonDocument>
#include <QThread>

#include <cerrno>

/// The resources of a static library are not there by themselves. Of no namespace, as Qt wants it.
static void initResources()
{
    Q_INIT_RESOURCE(server);
}

namespace {

/// The document that describes the interface.
QJsonObject openApi()
{
    initResources();
    QFile file(QStringLiteral(":/server/openapi.json"));
    const bool isOpen = file.open(QIODevice::ReadOnly);
    Q_ASSERT(isOpen);
    return isOpen ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

const QString apiPrefix = QStringLiteral("/api/");
const QByteArray eventsPath = QByteArrayLiteral("/api/events");

/// What every answer carries.
httplib::Headers commonHeaders()
{
    return {
        {"Content-Security-Policy",
         "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' http: https:; "
         "font-src 'self'; connect-src 'self'; manifest-src 'self'; base-uri 'none'; form-action 'self'; "
         "frame-ancestors 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"X-Frame-Options", "DENY"},
        {"Referrer-Policy", "no-referrer"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
    };
}

QString header(const httplib::Request& request, const char* name)
{
    return QString::fromStdString(request.get_header_value(name));
}

bool isRead(const httplib::Request& request)
{
    return request.method == "GET" || request.method == "HEAD";
}

QString pathOf(const httplib::Request& request)
{
    return QString::fromStdString(request.path);
}

} // namespace

class PanelServer::Private
{
public:
    Private(const Options& opts, PlayEngine* engine)
        : options(opts)
        , files(opts.panelFolder)
        , translations(opts.translationFolders)
        , calls(opts.closedPaths, opts.contentLimitMs, [] { return HttpServer::connection().isOpen(); })
        , rules(opts.address, opts.port)
        , events(std::make_unique<EventStreams>(opts.heartbeatMs))
        , player(engine, events.get())
        , http(
              &thread, kindOf,
              [this](const httplib::Request& in, httplib::Response& out) { return gate(in, out); },
              [this](const httplib::Request& in, httplib::Response& out) { guarded(in, out); })
    {
        endpoints = contentEndpoints(&calls) + playerEndpoints(&player, &calls);
        endpoints.append({"GET", "/api/openapi.json", [document = openApi()](const ApiRequest&) {
                              return ApiAnswer{200, document};
                          }});
        events->moveToThread(&thread);
        http.set_default_headers(commonHeaders());
        // What the library itself refuses: a body that is too large, a request that is none.
        http.set_error_handler([this](const httplib::Request& in, httplib::Response& out) {
            if (out.body.empty())
                write(libraryProblem(out.status), in, &out);
        });
    }

    static HttpServer::Kind kindOf(const std::string& start);
    static Problem libraryProblem(int status);
    bool gate(const httplib::Request& in, httplib::Response& out);
    void check(const httplib::Request& in) const;
    void guarded(const httplib::Request& in, httplib::Response& out);
    void answer(const httplib::Request& in, httplib::Response& out);
    void answerEvents(const ApiRequest& request, bool isHead, httplib::Response* out);
    void answerFile(const httplib::Request& in, httplib::Response* out) const;
    ApiRequest apiRequest(const httplib::Request& in) const;
    const Language& languageOf(const httplib::Request& in) const;
    void write(const Problem& problem, const httplib::Request& in, httplib::Response* out) const;

    Options options;
    StaticFiles files;
    Translations translations;
    ContentCalls calls;
    AccessRules rules;
    QVector<Endpoint> endpoints;
    QThread thread; // of connections that wait, and of event streams
    std::unique_ptr<EventStreams> events;
    PlayerLink player;
    HttpServer http;
    quint16 port = 0;
};

HttpServer::Kind PanelServer::Private::kindOf(const std::string& start)
{
    using Kind = HttpServer::Kind;
    const std::size_t method = start.find(' ');
    if (method == std::string::npos)
        return Kind::Asking; // a line that comes in pieces may be anybody's
    const std::size_t end = start.find_first_of(" ?", method + 1);
    const std::string path = start.substr(method + 1, end - method - 1);
    // Nor can be told what is written in another way than the panel does.
    const bool isPlain = !path.empty() && path.front() == '/' && path.find('%') == std::string::npos;
    if (end == std::string::npos && start.size() < HttpServer::peekedBytes)
        return Kind::Asking;
    if (isPlain && path == "/api/data" && start.compare(0, method, "POST") == 0)
        return Kind::Writing;
    return isPlain && path != "/api/rows" && path != "/api/data" ? Kind::Quick : Kind::Asking;
}

Problem PanelServer::Private::libraryProblem(int status)
{
    switch (status) {
    case 413:
        return {413, serverText(QT_TRANSLATE_NOOP("PanelServer",
                                                  "The body is too large; at most 64 KiB are read."))};
    case 414:
        return {414, serverText(QT_TRANSLATE_NOOP("PanelServer",
                                                  "The address is too long; at most 8 KiB are read."))};
    case 500:
        return {500, serverText(QT_TRANSLATE_NOOP("PanelServer", "The player could not answer."))};
    default:
        return {status,
                serverText(QT_TRANSLATE_NOOP("PanelServer", "The request is no HTTP that can be read."))};
    }
}

bool PanelServer::Private::gate(const httplib::Request& in, httplib::Response& out)
{
    try {
        check(in);
    } catch (const Problem& problem) {
        // Its body is not read.
        HttpServer::connection().closes =
            !isRead(in) || in.has_header("Transfer-Encoding") || in.has_header("Content-Length");
        write(problem, in, &out);
        return true;
    }
    if (!isRead(in))
        return false;
    guarded(in, out);
    return true;
}

void PanelServer::Private::check(const httplib::Request& in) const
{
    const QString host = header(in, "Host");
    if (in.get_header_value_count("Host") != 1 || !rules.isOwnHost(host))
        throw Problem(
            403, serverText(QT_TRANSLATE_NOOP("PanelServer", "This player is not called \"%1\"."), {host}));
    if (in.has_header("Origin") && !AccessRules::isOwnOrigin(header(in, "Origin"), host))
        throw Problem(403,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "Pages of \"%1\" may not use this player."),
                                 {header(in, "Origin")}));
    // Pages of other programs of this machine are strangers too.
    const std::string site = in.get_header_value("Sec-Fetch-Site");
    if (pathOf(in).startsWith(apiPrefix) && !site.empty() && site != "same-origin" && site != "none")
        throw Problem(403,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "Other sites may not use this player.")));
    const std::string length = in.get_header_value("Content-Length");
    const bool isLength = !length.empty() && length.find_first_not_of("0123456789") == std::string::npos;
    const bool hasBody = in.has_header("Transfer-Encoding") || in.has_header("Content-Length");
    if (isRead(in) && hasBody && length != "0")
        throw Problem(400, serverText(QT_TRANSLATE_NOOP("PanelServer", "Nothing is sent where one reads.")));
    if (in.has_header("Transfer-Encoding") || (!isRead(in) && !isLength))
        throw Problem(400, serverText(QT_TRANSLATE_NOOP(
                               "PanelServer", "What changes something is sent as JSON, {} at least, "
                                              "and with its length.")));
    QByteArray allowed;
    for (const Endpoint& endpoint : endpoints) {
        if (endpoint.path != in.path.c_str())
            continue;
        if (endpoint.method == in.method.c_str() || (endpoint.method == "GET" && in.method == "HEAD")) {
            allowed.clear();
            break;
        }
        allowed += (allowed.isEmpty() ? "" : ", ") + endpoint.method;
    }
    const bool isApi = pathOf(in).startsWith(apiPrefix);
    if (allowed.isEmpty() && !isApi && !isRead(in))
        allowed = "GET, HEAD";
    if (allowed.isEmpty() && in.path == eventsPath.constData() && !isRead(in))
        allowed = "GET";
    if (!allowed.isEmpty() || (!isRead(in) && in.method != "POST")) {
        Problem problem(405, serverText(QT_TRANSLATE_NOOP("PanelServer", "%1 is not possible here."),
                                        {QString::fromStdString(in.method)}));
        problem.allow = allowed.isEmpty() ? "GET, HEAD, POST" : allowed;
        throw problem;
    }
    const QString type = header(in, "Content-Type").section(QLatin1Char(';'), 0, 0).trimmed().toLower();
    if (!isRead(in) && type != QLatin1String("application/json"))
        throw Problem(415,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "The body has to be application/json.")));
}

void PanelServer::Private::guarded(const httplib::Request& in, httplib::Response& out)
{
    try {
        answer(in, out);
    } catch (const Problem& problem) {
        write(problem, in, &out);
    } catch (const std::exception&) {
        write(libraryProblem(500), in, &out);
    }
}

void PanelServer::Private::answer(const httplib::Request& in, httplib::Response& out)
{
    if (!pathOf(in).startsWith(apiPrefix)) {
        answerFile(in, &out);
        return;
    }
    out.set_header("Cache-Control", "no-store");
    if (in.path == eventsPath.constData()) {
        answerEvents(apiRequest(in), in.method == "HEAD", &out);
        return;
    }
    const std::string method = in.method == "HEAD" ? "GET" : in.method;
    for (const Endpoint& endpoint : endpoints) {
        if (endpoint.path != in.path.c_str() || endpoint.method != method.c_str())
            continue;
        const ApiAnswer answer = endpoint.handler(apiRequest(in));
        out.status = answer.status;
        if (answer.status != 204) {
            const QByteArray body = QJsonDocument(answer.body).toJson(QJsonDocument::Compact);
            out.set_content(body.constData(), size_t(body.size()), "application/json");
        }
        return;
    }
    throw Problem(404,
                  serverText(QT_TRANSLATE_NOOP("PanelServer", "There is nothing at \"%1\"."), {pathOf(in)}));
}

void PanelServer::Private::answerEvents(const ApiRequest& request, bool isHead, httplib::Response* out)
{
    const QStringList values = request.all(QStringLiteral("value"));
    if (values.size() > EventStreams::mostValues)
        throw Problem(400, serverText(QT_TRANSLATE_NOOP("PanelServer", "Follow at most %1 values."),
                                      {EventStreams::mostValues}));
    QList<CMPath> paths;
    for (const QString& value : values)
        paths.append(calls.path(value));
    if (isHead) {
        out->set_header("Content-Type", "text/event-stream");
        return;
    }
    const EventStreams::Place place = events->reserve();
    if (!place)
        throw Problem(
            503, serverText(QT_TRANSLATE_NOOP("PanelServer", "%1 browsers follow the player; more cannot."),
                            {EventStreams::mostStreams}));
    out->set_header("X-Accel-Buffering", "no");
    out->set_header("Connection", "close");
    // The head alone; the rest is written by those who take the connection over.
    out->set_content_provider("text/event-stream", [](size_t, httplib::DataSink& sink) {
        sink.done();
        return true;
    });
    HttpServer::connection().takeOver = [this, place, language = request.language,
                                         paths](const std::shared_ptr<Connection>& connection) {
        events->add(connection, place, *language, paths);
    };
}

void PanelServer::Private::answerFile(const httplib::Request& in, httplib::Response* out) const
{
    const QString path = pathOf(in);
    std::optional<StaticFiles::File> file = files.file(path);
    // The panel's own pages are addresses too; a part of it that is not there is none of them.
    if (!file && !path.startsWith(QLatin1String("/assets/")))
        file = files.file(QStringLiteral("/index.html"));
    if (!file)
        throw Problem(
            404, files.folder().isEmpty()
                     ? serverText(QT_TRANSLATE_NOOP("PanelServer", "The panel is not installed in \"%1\"."),
                                  {options.panelFolder})
                     : serverText(QT_TRANSLATE_NOOP("PanelServer", "There is nothing at \"%1\"."), {path}));
    out->set_header("ETag", file->tag.toStdString());
    out->set_header("Cache-Control", file->lasting ? "public, max-age=31536000, immutable" : "no-cache");
    if (header(in, "If-None-Match") == QString::fromLatin1(file->tag)) {
        out->status = 304;
        return;
    }
    out->set_content(file->content.constData(), size_t(file->content.size()), file->type.toStdString());
}

ApiRequest PanelServer::Private::apiRequest(const httplib::Request& in) const
{
    ApiRequest request;
    request.language = &languageOf(in);
    for (const auto& [name, value] : in.params)
        request.params.append({QString::fromStdString(name), QString::fromStdString(value)});
    if (isRead(in))
        return request;
    request.readBody(QByteArray(in.body.data(), int(in.body.size())));
    return request;
}

const Language& PanelServer::Private::languageOf(const httplib::Request& in) const
{
    const Language* const wanted = in.has_param("lang")
                                       ? translations.find(QString::fromStdString(in.get_param_value("lang")))
                                       : nullptr;
    return wanted ? *wanted : translations.accepted(header(in, "Accept-Language"));
}

void PanelServer::Private::write(const Problem& problem, const httplib::Request& in,
                                 httplib::Response* out) const
{
    const Language& language = languageOf(in);
    const QByteArray body = problem.json(language);
    out->status = problem.status;
    out->set_header("Content-Language", language.code().toStdString());
    out->headers.erase("Cache-Control");
    out->set_header("Cache-Control", "no-store");
    if (!problem.allow.isEmpty())
        out->set_header("Allow", problem.allow.toStdString());
    if (problem.status == 503)
        out->set_header("Retry-After", "2");
    out->set_content(body.constData(), size_t(body.size()), "application/problem+json");
}

PanelServer::PanelServer(const Options& options, PlayEngine* engine)
    : m_d(std::make_unique<Private>(options, engine))
{
}

PanelServer::~PanelServer()
{
    stop();
}

bool PanelServer::start(QString* error)
{
    errno = 0;
    const int port = m_d->http.open(m_d->options.address.toStdString(), m_d->options.port);
    if (port == 0) {
        const bool isTaken = errno == EADDRINUSE;
        const QString why =
            isTaken ? QStringLiteral("does another pelk serve run there? --listen ADDR:PORT "
                                     "chooses another one, and port 0 any that is free.")
            : errno == EACCES
                ? QStringLiteral("ports below 1024 are kept for the system's own services.")
                : QStringLiteral("it is no address of this machine. 127.0.0.1 is for this machine "
                                 "alone, 0.0.0.0 for all that reach it.");
        *error = QStringLiteral("%1 port %2 cannot be listened on; %3")
                     .arg(m_d->options.address)
                     .arg(m_d->options.port)
                     .arg(why);
        return false;
    }
    m_d->port = quint16(port);
    m_d->rules = AccessRules(m_d->options.address, m_d->port);
    m_d->thread.start();
    m_d->http.start();
    return true;
}

void PanelServer::stop()
{
    m_d->calls.end();
    m_d->player.end();
    m_d->http.stop();
    if (!m_d->thread.isRunning())
        return;
    QMetaObject::invokeMethod(
        m_d->events.get(), [this] { m_d->events.reset(); }, Qt::BlockingQueuedConnection);
    m_d->thread.quit();
    m_d->thread.wait();
}

QString PanelServer::url() const
{
    QString address = m_d->options.address;
    const bool isV6 = address.contains(QLatin1Char(':'));
    if (AccessRules::isEveryAddress(address)) // nothing is reached by this name itself
        address = isV6 ? QStringLiteral("::1") : QStringLiteral("127.0.0.1");
    return QStringLiteral("http://%1:%2/")
        .arg(isV6 ? QLatin1Char('[') + address + QLatin1Char(']') : address)
        .arg(m_d->port);
}

void PanelServer::notify(const PelkNotificationDisplayItem& notice)
{
    if (m_d->events)
        m_d->events->notify(notice);
}

QStringList PanelServer::endpoints() const
{
    QStringList list{QStringLiteral("GET ") + QString::fromLatin1(eventsPath)};
    for (const Endpoint& endpoint : m_d->endpoints)
        list.append(QString::fromLatin1(endpoint.method + ' ' + endpoint.path));
    return list;
}

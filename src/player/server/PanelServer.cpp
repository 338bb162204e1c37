#include "player/server/PanelServer.h"

#include "api/types/pelknotificationdisplayitem.h"
#include "player/server/api/Api.h"
#include "player/server/events/EventStreams.h"
#include "player/server/events/PlayerEvents.h"
#include "player/server/http/HttpServer.h"
#include "player/server/http/Listener.h"

#include <cerrno>

class PanelServer::Private
{
public:
    Private(const Options& opts, PlayEngine* engine)
        : options(opts)
        , streams(opts.limits)
        , events(std::make_unique<PlayerEvents>(engine, &streams, opts.limits.eventMs))
        , api({opts.panelFolder, opts.translationFolders, opts.closedPaths, opts.limits}, engine, &streams)
        , http(opts.limits, &api)
        , listener([this](int socket, const Peer& peer) { http.add(socket, peer); })
        , localListener([this](int socket, const Peer& peer) { http.add(socket, peer); })
    {
    }

    // In the order in which they need each other.
    Options options;
    EventStreams streams;
    std::unique_ptr<PlayerEvents> events;
    Api api;
    HttpServer http;
    Listener listener;
    Listener localListener;
};

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
    Options& options = m_d->options;
    if (options.socket >= 0) {
        if (!m_d->listener.adopt(options.socket, &options.address)) {
            *error =
                QStringLiteral("The socket that the system passed is none that listens for TCP connections; "
                               "its unit needs ListenStream=PORT.");
            return false;
        }
    } else if (!m_d->listener.listen(options.address, options.port)) {
        const bool isTaken = errno == EADDRINUSE;
        const QString why =
            isTaken ? QStringLiteral("does another pelk serve run there? --listen ADDR:PORT "
                                     "chooses another one, and port 0 any that is free.")
            : errno == EACCES
                ? QStringLiteral("ports below 1024 are kept for the system's own services.")
                : QStringLiteral("it is no address of this machine. 127.0.0.1 is for this machine "
                                 "alone, 0.0.0.0 for all that reach it.");
        *error = QStringLiteral("%1 port %2 cannot be listened on; %3")
                     .arg(options.address)
                     .arg(options.port)
                     .arg(why);
        return false;
    }
    m_d->api.setAccess(AccessRules(options.address, m_d->listener.port(), options.origin));
    if (!m_d->http.start()) {
        *error = QStringLiteral("The panel's server cannot be started: %1.").arg(qt_error_string(errno));
        return false;
    }
    if (options.localSocket >= 0)
        m_d->localListener.adoptFile(options.localSocket);
    return true;
}

void PanelServer::stop()
{
    m_d->listener.close();
    m_d->localListener.close();
    m_d->events.reset();
    m_d->api.end();
    m_d->streams.end();
    m_d->http.stop();
}

QString PanelServer::address() const
{
    return m_d->options.address;
}

QString PanelServer::url() const
{
    QString address = m_d->options.address;
    const bool isV6 = address.contains(QLatin1Char(':'));
    if (AccessRules::isEveryAddress(address)) // nothing is reached by this name itself
        address = isV6 ? QStringLiteral("::1") : QStringLiteral("127.0.0.1");
    return QStringLiteral("http://%1:%2/")
        .arg(isV6 ? QLatin1Char('[') + address + QLatin1Char(']') : address)
        .arg(m_d->listener.port());
}

void PanelServer::notify(const PelkNotificationDisplayItem& notice)
{
    QMetaObject::invokeMethod(
        &m_d->streams, [streams = &m_d->streams, notice] { streams->notify(notice); }, Qt::QueuedConnection);
}

QStringList PanelServer::endpoints() const
{
    QStringList list;
    for (const Route& route : m_d->api.routes())
        list.append(QString::fromLatin1(route.method + ' ' + route.path));
    return list;
}

int PanelServer::connectionCount() const
{
    return m_d->http.connections().count();
}

#include "player/server/PanelServer.h"

#include "api/types/pelknotificationdisplayitem.h"
#include "player/server/api/Api.h"
#include "player/server/events/EventStreams.h"
#include "player/server/events/PlayerEvents.h"
#include "player/server/http/Certificate.h"
#include "player/server/http/HttpServer.h"
#include "player/server/http/Listener.h"

#include <QSysInfo>
#include <QTimer>
#include <QUrl>
#include <arpa/inet.h>

#include <array>
#include <cerrno>
#include <ifaddrs.h>

namespace {

/// The addresses of this machine's network interfaces, the loopback ones included.
QStringList machineAddresses()
{
    QStringList addresses;
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0)
        return addresses;
    for (const ifaddrs* one = first; one; one = one->ifa_next) {
        std::array<char, INET6_ADDRSTRLEN> text{};
        const int family = one->ifa_addr ? one->ifa_addr->sa_family : AF_UNSPEC;
        if (family == AF_INET)
            ::inet_ntop(family, &reinterpret_cast<const sockaddr_in*>(one->ifa_addr)->sin_addr, text.data(),
                        text.size());
        else if (family == AF_INET6)
            ::inet_ntop(family, &reinterpret_cast<const sockaddr_in6*>(one->ifa_addr)->sin6_addr, text.data(),
                        text.size());
        addresses.append(QString::fromLatin1(text.data()));
    }
    ::freeifaddrs(first);
    addresses.removeAll(QString());
    return addresses;
}

/// The names of this machine, its own name first.
QStringList machineNames(const QString& address)
{
    const QString machine = QSysInfo::machineHostName().toLower();
    QStringList names{machine, machine + QStringLiteral(".local"), QStringLiteral("localhost")};
    if (!AccessRules::isEveryAddress(address))
        names.append(address);
    names += machineAddresses();
    names.removeDuplicates();
    return names;
}

} // namespace

class PanelServer::Private
{
public:
    Private(const Options& opts, PlayEngine* engine)
        : options(opts)
        , streams(opts.limits)
        , events(std::make_unique<PlayerEvents>(engine, &streams, opts.limits.eventMs))
        , access(
              {opts.stateFolder, opts.isOpen, !opts.origin.isEmpty(), {}, opts.wallClock, opts.steadyClock},
              opts.limits)
        , api({opts.panelFolder, opts.translationFolders, opts.closedPaths, opts.about, opts.limits,
               opts.history},
              engine, &streams, &access)
        , http(opts.limits, &api)
        , listener(
              [this](int socket, Peer peer) {
                  peer.isEncrypted = certificate != nullptr;
                  http.add(socket, peer);
              },
              [this] { http.makeRoom(); })
        , localListener([this](int socket, const Peer& peer) { http.add(socket, peer); },
                        [this] { http.makeRoom(); })
    {
        QObject::connect(&access, &Access::changed, &streams, &EventStreams::checkReaders);
        QObject::connect(&access, &Access::failed, &streams,
                         [this](const QString& sentence) { tell({sentence}); });
    }

    void tell(const QStringList& sentences)
    {
        for (const QString& sentence : sentences)
            if (options.tell)
                options.tell(sentence);
    }

    bool loadCertificate(QString* error)
    {
        if (!options.hasTls && options.certificateFile.isEmpty())
            return true;
        QStringList names = machineNames(options.address);
        if (!options.origin.isEmpty())
            names.prepend(QUrl(options.origin).host());
        certificate = std::make_unique<Certificate>(Certificate::Source{
            options.certificateFile, options.keyFile,
            options.stateFolder + QStringLiteral("/certificate.pem"), names, certificateClock()});
        const bool isLoaded = certificate->load(error);
        tell(certificate->takeNotices());
        QObject::connect(&certificateLook, &QTimer::timeout, &certificateLook, [this] {
            if (certificate->refresh()) {
                setRules();
                tell({QStringLiteral("The certificate has changed; its SHA-256 is %1")
                          .arg(certificate->fingerprint())});
            }
            tell(certificate->takeNotices());
        });
        certificateLook.start(options.limits.certificateLookMs);
        return isLoaded;
    }
    QString urlOf(const QString& address) const
    {
        return QStringLiteral("%1://%2:%3/")
            .arg(certificate ? QStringLiteral("https") : QStringLiteral("http"),
                 address.contains(QLatin1Char(':')) ? QLatin1Char('[') + address + QLatin1Char(']') : address)
            .arg(listener.port());
    }
    std::function<QDateTime()> certificateClock() const
    {
        if (!options.wallClock)
            return {};
        return [now = options.wallClock] { return QDateTime::fromMSecsSinceEpoch(now()); };
    }
    void setRules()
    {
        api.setAccess(AccessRules(options.address, listener.port(), options.origin, certificate != nullptr),
                      certificate ? certificate->fingerprint() : QString());
    }

    // In the order in which they need each other.
    Options options;
    EventStreams streams;
    std::unique_ptr<PlayerEvents> events;
    Access access;
    Api api;
    HttpServer http;
    Listener listener;
    Listener localListener;
    std::unique_ptr<Certificate> certificate; // null without TLS
    QTimer certificateLook;
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
            *error = QStringLiteral("The socket passed by systemd does not listen for TCP connections. Set "
                                    "ListenStream=PORT in its unit.");
            return false;
        }
    } else if (!m_d->listener.listen(options.address, options.port)) {
        const bool isTaken = errno == EADDRINUSE;
        const QString why =
            isTaken ? QStringLiteral("another player may be running there. Choose another address with "
                                     "--listen ADDR:PORT, or a free port with port 0.")
            : errno == EACCES ? QStringLiteral("ports below 1024 are reserved for system services.")
                              : QStringLiteral("it is not an address of this machine. Use 127.0.0.1 for this "
                                               "machine only, or 0.0.0.0 for all networks.");
        *error =
            QStringLiteral("Cannot listen on %1 port %2: %3").arg(options.address).arg(options.port).arg(why);
        return false;
    }
    const bool isReachable = !AccessRules::isLoopback(options.address) || !options.origin.isEmpty();
    const bool isLocked = m_d->access.hasPassword();
    m_d->tell(m_d->access.takeNotices());
    if (isReachable && !isLocked && !options.isOpen) {
        m_d->listener.close();
        *error = QStringLiteral("Other devices could reach the player at %1, but no password is set. Set one "
                                "with \"pelk password\", or admit everybody with --open.")
                     .arg(options.origin.isEmpty() ? options.address : options.origin);
        return false;
    }
    m_d->access.setCookieName("pelk-" + QByteArray::number(m_d->listener.port()));
    if (!m_d->loadCertificate(error)) {
        m_d->listener.close();
        return false;
    }
    m_d->setRules();
    if (!m_d->http.start(m_d->certificate != nullptr)) {
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
    m_d->access.flush();
}

QString PanelServer::address() const
{
    return m_d->options.address;
}

QString PanelServer::url() const
{
    QString address = m_d->options.address;
    if (AccessRules::isEveryAddress(address)) // nothing is reached by this name itself
        address = address.contains(QLatin1Char(':')) ? QStringLiteral("::1") : QStringLiteral("127.0.0.1");
    return m_d->urlOf(address);
}

QStringList PanelServer::urls() const
{
    const QString address = m_d->options.address;
    QStringList urls{url()};
    if (!m_d->options.origin.isEmpty())
        urls.append(m_d->options.origin + QLatin1Char('/'));
    if (!AccessRules::isEveryAddress(address))
        return urls;
    const bool isV4Only = !address.contains(QLatin1Char(':'));
    const QStringList own = machineAddresses();
    for (const QString& one : own) {
        const bool isV6 = one.contains(QLatin1Char(':'));
        // Browsers take no address that belongs to one link only.
        const bool isOfLink = one.startsWith(QLatin1String("fe80:"));
        if (!AccessRules::isLoopback(one) && !isOfLink && !(isV6 && isV4Only))
            urls.append(m_d->urlOf(one));
    }
    return urls;
}

quint16 PanelServer::port() const
{
    return m_d->listener.port();
}

QString PanelServer::fingerprint() const
{
    return m_d->certificate ? m_d->certificate->fingerprint() : QString();
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

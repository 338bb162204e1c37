#include "player/cli/ServeCommand.h"

#include "player/cli/About.h"
#include "player/cli/CommandLine.h"
#include "player/cli/ExitCode.h"
#include "player/cli/ServiceProfile.h"
#include "player/cli/SignalWatch.h"
#include "player/cli/Terminal.h"
#include "player/content/History.h"
#include "player/host/Host.h"
#include "player/host/PlayerLock.h"
#include "player/host/PlayerSettings.h"
#include "player/host/ServiceManager.h"
#include "player/host/ServiceSettings.h"
#include "player/memory/PlayerMemory.h"
#include "player/mpris/MprisService.h"
#include "player/play/AudioOutput.h"
#include "player/play/PlayEngine.h"
#include "player/server/PanelServer.h"
#include "player/server/ServerText.h"
#include "player/server/Translations.h"
#include "player/server/announce/Announcer.h"
#include "player/server/http/AccessRules.h"
#include "player/server/http/Listener.h"
#include "player/server/http/SocketFile.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QSysInfo>
#include <QTimer>
#include <arpa/inet.h>
#include <gst/gst.h>

#include <array>

namespace {

constexpr int lastReportMs = 3000;
const QString usualListen = QStringLiteral("127.0.0.1:8080");

/// The usual spelling of an address: "*" and "0" are every address of the machine, "127.1" is 127.0.0.1. A
/// name stays as it is.
QString usualAddress(const QString& text)
{
    if (text == QLatin1String("*"))
        return QStringLiteral("0.0.0.0");
    const QByteArray name = text.toLatin1();
    std::array<char, INET6_ADDRSTRLEN> usual{};
    in_addr v4{};
    in6_addr v6{};
    if (::inet_aton(name.constData(), &v4) != 0)
        ::inet_ntop(AF_INET, &v4, usual.data(), usual.size());
    else if (::inet_pton(AF_INET6, name.constData(), &v6) == 1)
        ::inet_ntop(AF_INET6, &v6, usual.data(), usual.size());
    else
        return text;
    return QString::fromLatin1(usual.data());
}

/// Reads "127.0.0.1:8080" or "[::1]:8080"; false if it is neither.
bool readListen(const QString& text, QString* address, quint16* port)
{
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    bool isPort = false;
    *port = text.mid(colon + 1).toUShort(&isPort);
    *address = text.left(qMax(colon, 0));
    const bool isBracketed = address->startsWith(QLatin1Char('[')) && address->endsWith(QLatin1Char(']'));
    if (isBracketed)
        *address = address->mid(1, address->size() - 2);
    const bool isAddress =
        isPort && !address->isEmpty() && address->contains(QLatin1Char(':')) == isBracketed;
    *address = usualAddress(*address);
    return isAddress;
}

/// Applies a setting, now and whenever it changes.
void follow(const CMPath& path, QObject* context, const std::function<void(const PelkValue&)>& apply)
{
    apply(CMRoot()->getValue(path));
    CMRoot()->subscribe(path)->add(CMSubscribe::Value, path, context, apply);
}

} // namespace

ServeCommand::ServeCommand(Host& host, const CommandLine& line, const QString& version, PlayerLock& lock)
    : m_host(host)
    , m_line(line)
    , m_version(version)
    , m_lock(lock)
{
}

QString ServeCommand::check(const CommandLine& line)
{
    QString address;
    quint16 port = 0;
    const QString listen = line.text("listen", usualListen);
    if (!readListen(listen, &address, &port))
        return QStringLiteral("\"%1\" is not an address with a port, such as 127.0.0.1:8080 or [::1]:8080.")
            .arg(listen);
    if (line.has("tls-cert") != line.has("tls-key"))
        return QStringLiteral("--tls-cert and --tls-key must be used together.");
    if (!line.text("origin").isEmpty() && AccessRules::originOf(line.text("origin")).isEmpty())
        return QStringLiteral("\"%1\" is not the address of a site, such as https://music.home.example.")
            .arg(line.text("origin"));
    return QString();
}

QString ServeCommand::defaultPanelFolder()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../share/pelk/panel"));
}

void ServeCommand::reportSaveFailure(PanelServer* server) const
{
    const QString failure = m_host.loginSaveFailure();
    if (failure.isEmpty())
        return;
    PelkNotificationDisplayItem notice;
    notice.setTitle(serverText(QT_TRANSLATE_NOOP("PanelServer", "The login could not be saved")));
    // Browsers need not know the names of files on this disk.
    notice.setMessage(serverText(QT_TRANSLATE_NOOP(
        "PanelServer",
        "The player cannot write its file. Its console output names the file and the reason.")));
    server->notify(notice);
    Terminal::error(failure);
}

/// Where others reach the player, they find it by its name.
void ServeCommand::announce(const PanelServer& server, QObject* context) const
{
    if (AccessRules::isLoopback(server.address()))
        return;
    auto* const announcer =
        new Announcer(QDBusConnection::systemBus(), {server.port(), !server.fingerprint().isEmpty()});
    announcer->setParent(context);
    follow(PlayerSettings::namePath(), context,
           [announcer](const PelkValue& value) { announcer->setName(value.string_()); });
}

/// Warns about what others can do if they can reach the player.
void ServeCommand::warn(const PanelServer& server) const
{
    const bool isReachable = !AccessRules::isLoopback(server.address());
    const QString name =
        AccessRules::isEveryAddress(server.address()) ? QSysInfo::machineHostName() : server.address();
    if (m_line.has("open") && (isReachable || m_line.has("origin")))
        Terminal::note(QStringLiteral("Warning: everybody who reaches %1 can use this player and its account "
                                      "without a password.")
                           .arg(isReachable ? name : m_line.text("origin")));
    if (isReachable && server.fingerprint().isEmpty())
        Terminal::note(QStringLiteral("Warning: the connection to %1 is not encrypted; others in the network "
                                      "can read what is sent, passwords included. --tls encrypts it.")
                           .arg(name));
}

/// The listener's settings, now and whenever they change.
void ServeCommand::followSettings(PlayEngine* engine, History* history, QObject* context)
{
    follow(PlayerSettings::volumeLimitPath(), context, [engine](const PelkValue& value) {
        engine->setVolumeLimit(PlayerSettings::volumeLimitPercent(value));
    });
    follow(PlayerSettings::historyPath(), context,
           [history](const PelkValue& value) { history->setKeeping(PlayerSettings::keepsHistory(value)); });
    QObject::connect(engine, &PlayEngine::trackStarted, history, [engine, history](const PelkRoles&) {
        history->add(engine->queue().row(engine->queue().current()));
    });
}

int ServeCommand::run(SignalWatch* signalWatch)
{
    PanelServer::Options options;
    readListen(m_line.text("listen", usualListen), &options.address, &options.port);
    options.socket = Listener::passedSocket();
    options.origin = AccessRules::originOf(m_line.text("origin"));
    options.panelFolder = m_line.text("panel", defaultPanelFolder());
    options.stateFolder = Host::stateFolder();
    options.hasTls = m_line.has("tls");
    options.certificateFile = m_line.text("tls-cert");
    options.keyFile = m_line.text("tls-key");
    options.isOpen = m_line.has("open");
    options.tell = [](const QString& sentence) { Terminal::error(sentence); };
    options.translationFolders = Translations::defaultFolders(m_line.moduleFolder());
    options.closedPaths = closedPaths();
    Reach reach;
    const PanelServer* started = nullptr;
    options.about = [&] {
        if (started)
            reach.fingerprint = started->fingerprint(); // the certificate is renewed from time to time
        return aboutPlayer(m_host, m_version, reach);
    };
    SocketFile socketFile;
    const QString socketName = m_line.text("socket", SocketFile::defaultFile(Host::stateFolder()));
    QString error;
    if (!socketFile.open(socketName, m_line.text("socket-group"), &error)) {
        Terminal::error(error);
        // It also works without a folder for its state.
        if (m_lock.isTaken() || m_line.has("socket"))
            return ExitCode::failed;
    }
    options.localSocket = socketFile.takeSocket();
    reach.socketFile = options.localSocket >= 0 ? socketName : QString();
    gst_init(nullptr, nullptr);
    DeviceOutput output;
    if (!output.notice().isEmpty())
        Terminal::note(output.notice());
    PlayEngine engine(&output, serviceProfile());
    PlayerMemory memory(&engine, Host::stateFolder());
    History history(Host::stateFolder() + QStringLiteral("/history.json"));
    QObject context;
    followSettings(&engine, &history, &context);
    QStringList notices = memory.begin();
    if (history.isKeeping())
        notices << history.load();
    notices.removeAll(QString());
    for (const QString& notice : qAsConst(notices))
        Terminal::error(notice);
    QObject::connect(&memory, &PlayerMemory::failed, &context,
                     [](const QString& sentence) { Terminal::error(sentence); });
    QObject::connect(&history, &History::failed, &context,
                     [](const QString& sentence) { Terminal::error(sentence); });
    options.history = &history;
    PanelServer server(options, &engine);
    MprisService mpris(&engine);
    mpris.start();
    if (!server.start(&error)) {
        Terminal::error(error);
        return ExitCode::failed;
    }
    m_host.setNoticeReceiver([&server](const PelkNotificationDisplayItem& notice) { server.notify(notice); });
    warn(server);
    announce(server, &context);
    // The module that writes the login does not look at the outcome.
    CMRoot()
        ->subscribe(ServiceAccount::LoginStore::path())
        ->add(CMSubscribe::Value, ServiceAccount::LoginStore::path(), &context,
              [this, &server](const PelkValue&) { reportSaveFailure(&server); });
    if (!QFileInfo::exists(QDir(options.panelFolder).filePath(QStringLiteral("index.html"))))
        Terminal::note(
            QStringLiteral("Warning: %1 does not contain the panel. Set its folder with --panel DIR.")
                .arg(options.panelFolder));
    reach.addresses = server.urls();
    started = &server;
    m_lock.publish(socketName, server.url());
    Terminal::out(QStringLiteral("The panel is at %1\n").arg(server.url()));
    if (!server.fingerprint().isEmpty())
        Terminal::out(QStringLiteral("Its certificate's SHA-256 is %1\n").arg(server.fingerprint()));
    Terminal::flushOut();
    ServiceManager manager;
    manager.ready(QStringLiteral("The panel is at %1").arg(server.url()));
    QEventLoop loop;
    QObject::connect(signalWatch, &SignalWatch::caught, &loop, &QEventLoop::quit);
    if (signalWatch->number() == 0)
        loop.exec();
    manager.stopping();
    m_host.setNoticeReceiver([](const PelkNotificationDisplayItem&) {});
    server.stop();
    memory.end(); // before the engine stops, which is not what the listener left
    history.flush();
    if (engine.status().state != PelkPlayLogicState::Stopped) {
        // Waits until the end of the track has been reported and processed.
        QTimer::singleShot(lastReportMs, &loop, &QEventLoop::quit);
        QObject::connect(&engine, &PlayEngine::finished, &loop, &QEventLoop::quit);
        engine.stop();
        loop.exec();
    }
    return ExitCode::ok;
}

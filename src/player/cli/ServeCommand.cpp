#include "player/cli/ServeCommand.h"

#include "player/cli/CommandLine.h"
#include "player/cli/ExitCode.h"
#include "player/cli/PlayerMemory.h"
#include "player/cli/ServiceProfile.h"
#include "player/cli/SignalWatch.h"
#include "player/cli/Terminal.h"
#include "player/content/History.h"
#include "player/host/Host.h"
#include "player/host/PlayerLock.h"
#include "player/host/PlayerSettings.h"
#include "player/host/ServiceSettings.h"
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
#include <gst/gst.h>

namespace {

constexpr int lastReportMs = 3000;

/// Applies a setting, now and whenever it changes.
void follow(const CMPath& path, QObject* context, const std::function<void(const PelkValue&)>& apply)
{
    apply(CMRoot()->getValue(path));
    CMRoot()->subscribe(path)->add(CMSubscribe::Value, path, context, apply);
}

} // namespace

ServeCommand::ServeCommand(Host& host, const CommandLine& line, PlayerLock& lock)
    : m_host(host)
    , m_line(line)
    , m_lock(lock)
{
}

QString ServeCommand::defaultPanelFolder()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../share/pelk/panel"));
}

void ServeCommand::tellSaveFailure(PanelServer* server) const
{
    const QString failure = m_host.loginSaveFailure();
    if (failure.isEmpty())
        return;
    PelkNotificationDisplayItem notice;
    notice.setTitle(serverText(QT_TRANSLATE_NOOP("PanelServer", "The login could not be saved")));
    // Browsers need not know the names of files on this disk.
    notice.setMessage(serverText(QT_TRANSLATE_NOOP(
        "PanelServer",
        "The player's file cannot be written. Its own messages name the file and the reason.")));
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

/// What others can do, where others reach the player.
void ServeCommand::warn(const PanelServer& server) const
{
    const bool isReachable = !AccessRules::isLoopback(server.address());
    const QString name =
        AccessRules::isEveryAddress(server.address()) ? QSysInfo::machineHostName() : server.address();
    if (m_line.open && (isReachable || !m_line.origin.isEmpty()))
        Terminal::note(QStringLiteral("Warning: everybody who reaches %1 can use this player and its account "
                                      "without a password.")
                           .arg(isReachable ? name : m_line.origin));
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
    options.address = m_line.listenAddress;
    options.port = m_line.listenPort;
    options.socket = Listener::passedSocket();
    options.origin = m_line.origin;
    options.panelFolder = m_line.panelFolder;
    options.stateFolder = Host::stateFolder();
    options.hasTls = m_line.tls;
    options.certificateFile = m_line.certificateFile;
    options.keyFile = m_line.keyFile;
    options.isOpen = m_line.open;
    options.tell = [](const QString& sentence) { Terminal::error(sentence); };
    options.translationFolders = Translations::defaultFolders(m_line.moduleFolder);
    options.closedPaths = ServiceSettings::privatePaths() << ServiceAccount::LoginStore::path();
    SocketFile socketFile;
    const QString socketName =
        m_line.socketFile.isEmpty() ? SocketFile::defaultFile(Host::stateFolder()) : m_line.socketFile;
    QString error;
    if (!socketFile.open(socketName, m_line.socketGroup, &error)) {
        Terminal::error(error);
        // Without a folder for its state it plays all the same.
        if (m_lock.isTaken() || !m_line.socketFile.isEmpty())
            return ExitCode::failed;
    }
    options.localSocket = socketFile.takeSocket();
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
              [this, &server](const PelkValue&) { tellSaveFailure(&server); });
    if (!QFileInfo::exists(QDir(options.panelFolder).filePath(QStringLiteral("index.html"))))
        Terminal::note(
            QStringLiteral("Warning: %1 holds no panel, so browsers find none; --panel DIR names its folder.")
                .arg(options.panelFolder));
    m_lock.publish(socketName, server.url());
    Terminal::out(QStringLiteral("The panel is at %1\n").arg(server.url()));
    if (!server.fingerprint().isEmpty())
        Terminal::out(QStringLiteral("Its certificate's SHA-256 is %1\n").arg(server.fingerprint()));
    Terminal::flushOut();
    QEventLoop loop;
    QObject::connect(signalWatch, &SignalWatch::caught, &loop, &QEventLoop::quit);
    if (signalWatch->number() == 0)
        loop.exec();
    m_host.setNoticeReceiver([](const PelkNotificationDisplayItem&) {});
    server.stop();
    memory.end(); // before the engine stops, which is not what the listener left
    history.flush();
    if (engine.status().state != PelkPlayLogicState::Stopped) {
        // The end of what plays is told, and dealt with.
        QTimer::singleShot(lastReportMs, &loop, &QEventLoop::quit);
        QObject::connect(&engine, &PlayEngine::finished, &loop, &QEventLoop::quit);
        engine.stop();
        loop.exec();
    }
    return ExitCode::ok;
}

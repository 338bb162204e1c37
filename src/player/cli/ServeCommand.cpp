#include "player/cli/ServeCommand.h"

#include "player/cli/CommandLine.h"
#include "player/cli/ExitCode.h"
#include "player/cli/ServiceProfile.h"
#include "player/cli/SignalWatch.h"
#include "player/cli/Terminal.h"
#include "player/host/Host.h"
#include "player/host/ServiceSettings.h"
#include "player/mpris/MprisService.h"
#include "player/play/AudioOutput.h"
#include "player/play/PlayEngine.h"
#include "player/server/PanelServer.h"
#include "player/server/ServerText.h"
#include "player/server/Translations.h"
#include "player/server/http/AccessRules.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QSysInfo>
#include <QTimer>
#include <gst/gst.h>

namespace {

constexpr int lastReportMs = 3000;

} // namespace

ServeCommand::ServeCommand(Host& host, const CommandLine& line)
    : m_host(host)
    , m_line(line)
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

int ServeCommand::run(SignalWatch* signalWatch)
{
    PanelServer::Options options;
    options.address = m_line.listenAddress;
    options.port = m_line.listenPort;
    options.panelFolder = m_line.panelFolder;
    options.translationFolders = Translations::defaultFolders(m_line.moduleFolder);
    options.closedPaths = ServiceSettings::privatePaths() << ServiceAccount::LoginStore::path();
    gst_init(nullptr, nullptr);
    DeviceOutput output;
    if (!output.notice().isEmpty())
        Terminal::note(output.notice());
    PlayEngine engine(&output, serviceProfile());
    PanelServer server(options, &engine);
    MprisService mpris(&engine);
    mpris.start();
    QString error;
    if (!server.start(&error)) {
        Terminal::error(error);
        return ExitCode::failed;
    }
    m_host.setNoticeReceiver([&server](const PelkNotificationDisplayItem& notice) { server.notify(notice); });
    if (!AccessRules::isLoopback(options.address))
        Terminal::note(
            QStringLiteral("Warning: everybody who reaches %1 can use this player and its account; "
                           "nothing asks them who they are.")
                .arg(AccessRules::isEveryAddress(options.address) ? QSysInfo::machineHostName()
                                                                  : options.address));
    QObject context;
    // The module that writes the login does not look at the outcome.
    CMRoot()
        ->subscribe(ServiceAccount::LoginStore::path())
        ->add(CMSubscribe::Value, ServiceAccount::LoginStore::path(), &context,
              [this, &server](const PelkValue&) { tellSaveFailure(&server); });
    if (!QFileInfo::exists(QDir(options.panelFolder).filePath(QStringLiteral("index.html"))))
        Terminal::note(
            QStringLiteral("Warning: %1 holds no panel, so browsers find none; --panel DIR names its folder.")
                .arg(options.panelFolder));
    Terminal::out(QStringLiteral("The panel is at %1\n").arg(server.url()));
    Terminal::flushOut();
    QEventLoop loop;
    QObject::connect(signalWatch, &SignalWatch::caught, &loop, &QEventLoop::quit);
    if (signalWatch->number() == 0)
        loop.exec();
    m_host.setNoticeReceiver([](const PelkNotificationDisplayItem&) {});
    server.stop();
    if (engine.status().state != PelkPlayLogicState::Stopped) {
        // The end of what plays is told, and dealt with.
        QTimer::singleShot(lastReportMs, &loop, &QEventLoop::quit);
        QObject::connect(&engine, &PlayEngine::finished, &loop, &QEventLoop::quit);
        engine.stop();
        loop.exec();
    }
    return ExitCode::ok;
}

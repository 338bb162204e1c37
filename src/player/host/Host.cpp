#include "player/host/Host.h"

#include "api/http/httpclient.h"
#include "api/types/playerpaths.h"
#include "player/host/PlayerSettings.h"
#include "player/host/ServiceSettings.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

#include <cstdlib>

namespace {

constexpr int httpLimitMs = 3000;
constexpr int workerLimitMs = 5000;

/// A folder of the XDG base directories; relative ones are to be ignored.
QString xdgFolder(const char* variable, const char* fallback)
{
    const QString folder = qEnvironmentVariable(variable);
    return QDir::isAbsolutePath(folder) ? folder : QDir::homePath() + QLatin1String(fallback);
}

} // namespace

Host::Host(const NoticeReceiver& notices)
    : m_notices(notices)
    , m_loader(&m_root)
{
    m_root.registerOperation(
        PelkNotificationDisplayOpenPath(), [this](const PelkHash& arguments, const CMReply<QVariant>& reply) {
            const PelkValue value(PelkHash::fromVariant(arguments.value(QStringLiteral("value"))));
            m_notices(value.notificationDisplayItem());
            reply.setValue(QVariant());
        });
}

Host::~Host()
{
    if (!end())
        std::_Exit(EXIT_FAILURE);
}

bool Host::end()
{
    if (m_ended)
        return true;
    m_loader.refuseRequests();
    HttpClient::waitForIdle(httpLimitMs);
    const bool ended = m_loader.stop(workerLimitMs);
    // Saves of values are queued to this thread; the workers have been deleted and cannot queue more.
    QCoreApplication::sendPostedEvents();
    m_ended = ended;
    return ended;
}

bool Host::loadSettings(const QString& configFile, QString* error)
{
    const SettingsFiles files(configFile, SettingsFiles::systemFiles());
    m_settings = std::make_shared<ServiceSettings>(files);
    m_playerSettings = std::make_shared<PlayerSettings>(files);
    if (!m_settings->load(error) || !m_playerSettings->load(error))
        return false;
    for (const CMPath& path : ServiceSettings::paths())
        m_root.keep(path, m_settings);
    for (const CMPath& path : PlayerSettings::paths())
        m_root.keep(path, m_playerSettings);
    m_loginFile = stateFolder() + QStringLiteral("/session.json");
    m_login = std::make_shared<ServiceAccount::LoginStore>(m_loginFile);
    m_root.keep(ServiceAccount::LoginStore::path(), m_login);
    return true;
}

const QStringList& Host::loadModules(const QString& folder)
{
    m_moduleFolder = folder;
    m_moduleFaults = m_loader.loadFolder(folder);
    return m_moduleFaults;
}

QString Host::stateFolder()
{
    return xdgFolder("XDG_STATE_HOME", "/.local/state") + QStringLiteral("/pelk");
}

QString Host::configFile() const
{
    return m_settings ? m_settings->fileName() : QString();
}

QStringList Host::notices() const
{
    QStringList notices{m_settings ? m_settings->warning() : QString(),
                        m_login ? m_login->notice() : QString()};
    notices.removeAll(QString());
    return notices;
}

QString Host::loginSaveFailure() const
{
    // Saves are queued to this thread; the reply that caused one may be seen before the save runs.
    QCoreApplication::sendPostedEvents();
    return m_login ? m_login->failure() : QString();
}

QString Host::defaultConfigFile()
{
    return xdgFolder("XDG_CONFIG_HOME", "/.config") + QStringLiteral("/pelk/pelk.ini");
}

QString Host::defaultModuleFolder()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() +
                           QStringLiteral("/" PELK_MODULES_BESIDE_PROGRAM));
}

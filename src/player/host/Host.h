#pragma once

#include "api/core/model/cmrootworker.h"
#include "api/types/pelknotificationdisplayitem.h"
#include "player/host/ModuleLoader.h"
#include "player/host/ServiceAccount.h"

#include <functional>
#include <memory>

class PlayerSettings;
class ServiceSettings;

/// The host of the modules: the root of the content model with its values, the modules, and their notices.
/// Created on the main thread.
class Host
{
public:
    /// Shows a notice to people; called on the main thread.
    using NoticeReceiver = std::function<void(const PelkNotificationDisplayItem& notice)>;

    explicit Host(const NoticeReceiver& notices);
    /// Calls end(). If that fails, the process exits at once.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Reads the settings and the saved login; call it first. False, with a sentence, if the settings are
    /// missing or invalid.
    bool loadSettings(const QString& configFile, QString* error);
    /// Replaces the receiver of notices.
    void setNoticeReceiver(const NoticeReceiver& notices) { m_notices = notices; }
    /// Loads the modules of a folder; a sentence for each thing that went wrong.
    const QStringList& loadModules(const QString& folder);
    /// What loadModules() returned.
    const QStringList& moduleFaults() const { return m_moduleFaults; }

    /// Shuts down: refuses requests, lets HTTP requests finish (three seconds), deletes each worker on its
    /// thread (five seconds) and saves values. Blocks. False if a module did not end in time: it is still
    /// running, so leave the process at once with _Exit, before anything that the module uses is destroyed.
    bool end();

    const QList<ModuleLoader::Module>& modules() const { return m_loader.modules(); }
    QString configFile() const;
    /// What loadModules() was given.
    QString moduleFolder() const { return m_moduleFolder; }
    QString loginFile() const { return m_loginFile; }
    /// The folder of the player's saved state.
    static QString stateFolder();
    /// Sentences about the settings and the saved login, after loadSettings(); usually none.
    QStringList notices() const;
    /// Why the login could not be saved; empty if it was.
    QString loginSaveFailure() const;

    /// The defaults of the command line.
    static QString defaultConfigFile();
    static QString defaultModuleFolder();

private:
    NoticeReceiver m_notices;
    CMRootWorker m_root;
    ModuleLoader m_loader;
    std::shared_ptr<ServiceSettings> m_settings;
    std::shared_ptr<PlayerSettings> m_playerSettings;
    std::shared_ptr<ServiceAccount::LoginStore> m_login;
    QString m_loginFile;
    QString m_moduleFolder;
    QStringList m_moduleFaults;
    bool m_ended = false;
};

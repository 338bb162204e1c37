#pragma once

#include "api/core/model/cmrootworker.h"
#include "api/types/pelknotificationdisplayitem.h"
#include "player/host/ModuleLoader.h"
#include "player/host/ServiceAccount.h"

#include <functional>
#include <memory>

class PlayerSettings;
class ServiceSettings;

/// The process that modules live in: the root of the content model with its values, the modules, and the
/// notices that they show. Made on the main thread.
class Host
{
public:
    /// Shows a notice to people; called on the main thread.
    using NoticeReceiver = std::function<void(const PelkNotificationDisplayItem& notice)>;

    explicit Host(const NoticeReceiver& notices);
    /// As end(). Where that fails there is no way but to leave the process without it.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Reads the settings and the saved login. False, with a sentence, when the settings do not do. Comes
    /// before everything else.
    bool loadSettings(const QString& configFile, QString* error);
    /// From now on another receiver gets the notices.
    void setNoticeReceiver(const NoticeReceiver& notices) { m_notices = notices; }
    /// Loads the modules of a folder; a sentence for each thing that went wrong.
    const QStringList& loadModules(const QString& folder);
    /// What loadModules() returned.
    const QStringList& moduleFaults() const { return m_moduleFaults; }

    /// The end: no request is taken any longer, what the HTTP clients have under way may finish (three
    /// seconds), values are saved, and the workers go, each on its thread (five seconds). Blocks meanwhile.
    /// False when a module did not end in time: it runs on, so the process has to be left at once, by _Exit,
    /// before anything that the module uses is taken down.
    bool end();

    const QList<ModuleLoader::Module>& modules() const { return m_loader.modules(); }
    QString configFile() const;
    QString loginFile() const { return m_loginFile; }
    /// Where the player keeps what it remembers over restarts.
    static QString stateFolder();
    /// What people have to know of the saved login, since loadSettings(); empty if there is nothing.
    QString loginNotice() const;
    /// Why the login could not be saved; empty if it was.
    QString loginSaveFailure() const;

    /// Where things are unless the command line says otherwise.
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
    QStringList m_moduleFaults;
    bool m_ended = false;
};

#include "player/cli/About.h"

#include "player/host/Host.h"
#include "player/host/ServiceAccount.h"
#include "player/host/ServiceSettings.h"

#include <QCoreApplication>
#include <QJsonArray>

QJsonObject aboutPlayer(const Host& host, const QString& version, const Reach& reach)
{
    QJsonArray modules;
    for (const ModuleLoader::Module& module : host.modules())
        modules.append(
            QJsonObject{{QStringLiteral("name"), module.name}, {QStringLiteral("file"), module.file}});
    return {{QStringLiteral("version"), version},
            {QStringLiteral("processId"), QCoreApplication::applicationPid()},
            {QStringLiteral("addresses"), QJsonArray::fromStringList(reach.addresses)},
            {QStringLiteral("fingerprint"), reach.fingerprint},
            {QStringLiteral("socketFile"), reach.socketFile},
            {QStringLiteral("loggedIn"), ServiceAccount::isLoggedIn()},
            {QStringLiteral("userName"), ServiceAccount::userName()},
            {QStringLiteral("quality"), ServiceAccount::quality()},
            {QStringLiteral("settingsFile"), host.configFile()},
            {QStringLiteral("loginFile"), host.loginFile()},
            {QStringLiteral("loginFault"), host.loginSaveFailure()},
            {QStringLiteral("moduleFolder"), host.moduleFolder()},
            {QStringLiteral("modules"), modules},
            {QStringLiteral("moduleFaults"), QJsonArray::fromStringList(host.moduleFaults())}};
}

QList<CMPath> closedPaths()
{
    return ServiceSettings::privatePaths() << ServiceAccount::LoginStore::path();
}

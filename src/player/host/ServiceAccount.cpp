#include "player/host/ServiceAccount.h"

#include "api/core/model/cmabstractworker.h"
#include "api/types/pelkroles.h"
#include "api/types/qobuzpaths.h"

namespace {

CMSetDataRequest accountRequest(const PelkQobuzAccount& account)
{
    PelkValue value;
    value.setQobuzAccount(account);
    return CMSetDataRequest(PelkQobuzConfigureAccountPath(), PelkRoles::Value(), value.variant());
}

} // namespace

CMSetDataRequest ServiceAccount::loginRequest(const QString& userName, const QString& password)
{
    PelkQobuzAccount account;
    account.setOperation(PelkQobuzAccountOperation::Login);
    account.setUsername(userName);
    account.setPassword(password);
    return accountRequest(account);
}

CMSetDataRequest ServiceAccount::logoutRequest()
{
    PelkQobuzAccount account;
    account.setOperation(PelkQobuzAccountOperation::Remove);
    return accountRequest(account);
}

bool ServiceAccount::isLoggedIn()
{
    const PelkValue value = CMRoot()->getValue(PelkQobuzLoginStatePath());
    return value.type() == PelkValue::QobuzLoginStateType &&
           value.qobuzLoginState().state() == PelkQobuzLoginStates::LoggedIn;
}

QString ServiceAccount::userName()
{
    return CMRoot()->getValue(PelkQobuzUserSessionPath()).qobuzUserSession().userName();
}

QStringList ServiceAccount::qualities()
{
    using Quality = PelkQobuzSoundQuality;
    return {Quality::toString(Quality::Mp3), Quality::toString(Quality::Cd),
            Quality::toString(Quality::Hires96), Quality::toString(Quality::Hires192)};
}

QString ServiceAccount::quality()
{
    return PelkQobuzSoundQuality::toString(
        CMRoot()->getValue(PelkQobuzSoundQualityPath()).qobuzSoundQuality());
}

CMReply<QVariant> ServiceAccount::setQuality(const QString& quality)
{
    PelkValue value;
    value.setQobuzSoundQuality(PelkQobuzSoundQuality::fromString(quality));
    CMReply<QVariant> reply = CMReply<QVariant>::create();
    CMRoot()->setValue(PelkQobuzSoundQualityPath(), value, reply);
    return reply;
}

CMPath ServiceAccount::prePlayPath(const CMPath& path)
{
    const CMPath root = PelkQobuzBrowsePath();
    if (path.withoutParams() != root + PelkQobuzTrackPath())
        return CMPath();
    CMPath prePlay = root + PelkQobuzPreplayPath();
    for (const auto& param : path.params())
        prePlay.addParam(param.first, param.second);
    return prePlay;
}

ServiceAccount::LoginStore::LoginStore(const QString& fileName)
    : CMFileStore(fileName, QFileDevice::ReadOwner | QFileDevice::WriteOwner)
{
}

CMPath ServiceAccount::LoginStore::path()
{
    return PelkQobuzUserSessionPath();
}

bool ServiceAccount::LoginStore::write(const CMPath& path, const PelkValue& value, QString* error)
{
    m_failure.clear();
    const bool written = CMFileStore::write(path, value, error);
    if (!written)
        m_failure = *error;
    return written;
}

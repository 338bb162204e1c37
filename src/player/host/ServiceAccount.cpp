#include "player/host/ServiceAccount.h"

#include "api/core/model/cmabstractworker.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
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

bool ServiceAccount::isServicePath(const CMPath& path)
{
    return path.prefix() == PelkQobuzBrowsePath().prefix();
}

bool ServiceAccount::lacksLogin(const CMPath& path)
{
    return isServicePath(path) && !isLoggedIn();
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

CMSetDataRequest ServiceAccount::qualityRequest(const QString& quality)
{
    PelkValue value;
    value.setQobuzSoundQuality(PelkQobuzSoundQuality::fromString(quality));
    return CMSetDataRequest(PelkQobuzSoundQualityPath(), PelkRoles::Value(), value.variant());
}

bool ServiceAccount::isLowerThan(const QString& quality, const PelkRoles& row)
{
    using Quality = PelkQobuzSoundQuality;
    const PelkResource resource = row.mediaData().resources().value(0);
    if (!row.mediaData().metaData().prePlayPath().startsWith(PelkQobuzBrowsePath(), nullptr) ||
        resource.mimeType().isEmpty())
        return false;
    const int asked = Quality::fromString(quality);
    const bool isLossy = resource.mimeType() == QLatin1String("audio/mpeg");
    switch (asked) {
    case Quality::Cd:
        return isLossy;
    case Quality::Hires96:
        return isLossy || resource.bitsPerSample() < 24;
    case Quality::Hires192:
        return isLossy || resource.bitsPerSample() < 24 || resource.sampleFrequency() <= 96000;
    default:
        return false;
    }
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

PelkRoles ServiceAccount::trackRow(const CMPath& path)
{
    const CMPath prePlay = prePlayPath(path);
    if (prePlay.isEmpty())
        return PelkRoles();
    PelkMetaData metaData;
    metaData.setPrePlayPath(prePlay);
    PelkMediaData mediaData;
    mediaData.setMetaData(metaData);
    PelkRoles row;
    row.setPath(path);
    row.setType(PelkRolesType::Audio);
    row.setMediaData(mediaData);
    return row;
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
    bool written = CMFileStore::write(path, value, error);
    // After a logout nothing of the login may remain, even on a full disk.
    if (!written && value.qobuzUserSession().userAuthToken().isEmpty())
        written = erase(error);
    if (!written)
        m_failure = *error;
    return written;
}

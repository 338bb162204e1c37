#include "tests/support/modulehost.h"

#include "api/types/pelkqobuzsettings.h"
#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"

ModuleHost::ModuleHost(const QString& apiUrl)
    : ModuleRunner(QStringLiteral(PELK_MODULE_FILE))
{
    setSettings(apiUrl, QStringLiteral("app-id"), QStringLiteral("app-secret"));
    PelkValue memberId;
    memberId.setString_(QStringLiteral("member-id"));
    setValue(PelkSystemMemberIdPath(), memberId);
    setQuality(static_cast<PelkQobuzSoundQuality::Enum>(0));
}

void ModuleHost::setSettings(const QString& apiUrl, const QString& appId, const QString& appSecret)
{
    PelkQobuzSettings settings;
    settings.setApiUrl(apiUrl);
    settings.setAppId(appId);
    settings.setAppSecret(appSecret);
    PelkValue value;
    value.setQobuzSettings(settings);
    setValue(PelkQobuzSettingsPath(), value);
}

void ModuleHost::setQuality(PelkQobuzSoundQuality::Enum quality)
{
    PelkValue value;
    value.setQobuzSoundQuality(quality);
    setValue(PelkQobuzSoundQualityPath(), value);
    settle();
}

void ModuleHost::setSession(const QString& token, unsigned int userId, unsigned int credentialId,
                            unsigned int deviceId)
{
    PelkQobuzUserSession session;
    session.setUserName(QStringLiteral("user@example.com"));
    session.setUserAuthToken(token);
    session.setUserId(userId);
    session.setCredentialId(credentialId);
    session.setDeviceId(deviceId);
    PelkValue value;
    value.setQobuzUserSession(session);
    setValue(PelkQobuzUserSessionPath(), value);
}

PelkQobuzUserSession ModuleHost::session()
{
    return root().getValue(PelkQobuzUserSessionPath()).qobuzUserSession();
}

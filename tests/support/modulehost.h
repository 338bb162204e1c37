#pragma once

#include "api/testing/modulerunner.h"
#include "api/types/pelkqobuzsoundquality.h"
#include "api/types/pelkqobuzusersession.h"
#include "tests/support/patience.h"

/// The parts of the player that a test of the real module needs: a root worker with the values that the
/// module reads, and the real libqobuz.so. Set the values before start().
class ModuleHost : public ModuleRunner
{
public:
    /// Settings with this API URL, the application id "app-id" and the secret "app-secret"; member id
    /// "member-id"; nobody logged in; sound quality 0.
    explicit ModuleHost(const QString& apiUrl);

    void setSettings(const QString& apiUrl, const QString& appId, const QString& appSecret);
    void setQuality(PelkQobuzSoundQuality::Enum quality);
    /// A logged-in user: name "user@example.com", this token and these ids.
    void setSession(const QString& token = QStringLiteral("token-1"), unsigned int userId = 77,
                    unsigned int credentialId = 88, unsigned int deviceId = 99);
    PelkQobuzUserSession session();
};

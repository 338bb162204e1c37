// A secret with arbitrary text around it, in one of the forms that log lines have it in. After masking,
// nothing of the secret is left.

#include "api/core/json/pelkjson.h"
#include "api/http/pelkurl.h"
#include "api/types/pelkqobuzaccount.h"
#include "api/types/pelkqobuzsettings.h"
#include "api/types/pelkqobuzusersession.h"
#include "fuzz/input.h"
#include "player/base/LogMask.h"

namespace {

const QString marker = QStringLiteral("S3CRET5MARKER");

/// A log line with the secret, in a form of this number.
QString line(int form, const QString& secret, const QString& other)
{
    PelkQobuzAccount account;
    PelkQobuzUserSession session;
    PelkQobuzSettings settings;
    PelkUrl url;
    switch (form) {
    case 0: // as the account node writes it
        account.setOperation(PelkQobuzAccountOperation::Login);
        account.setUsername(other);
        account.setPassword(secret);
        return QStringLiteral("Qobuz account value: '") + account.toString() + QLatin1Char('\'');
    case 1:
        session.setUserName(other);
        session.setUserAuthToken(secret);
        session.setUserId(77);
        return session.toString();
    case 2:
        settings.setApiUrl(QStringLiteral("https://host/"));
        settings.setAppId(other);
        settings.setAppSecret(secret);
        return settings.toString();
    case 3: // a request
        url.setPath(QStringLiteral("user/login"));
        url.addQueryItem(QStringLiteral("username"), other);
        url.addQueryItem(QStringLiteral("password"), secret);
        return url.toString();
    case 4:
        url.setPath(QStringLiteral("track/getFileUrl"));
        url.addQueryItem(QStringLiteral("intent"), other);
        url.addQueryItem(QStringLiteral("request_sig"), secret);
        return url.toString();
    case 5: // a stream
        url = PelkUrl(QStringLiteral("https://streams.example/"));
        url.setPath(QLatin1Char('/') + other);
        url.addQueryItem(QStringLiteral("hmac"), secret);
        return QStringLiteral("Qobuz track with id '1' was resolved to ") + url.toString();
    case 6: // an answer
        return QString::fromUtf8(PelkJson::serialize(
            QVariantHash{{QStringLiteral("user_auth_token"), secret}, {QStringLiteral("user"), other}}));
    default: // a header; its value has no end of line
        return QStringLiteral("X-User-Auth-Token: ") +
               QString(secret).remove(QLatin1Char('\n')).remove(QLatin1Char('\r'));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    const int form = input.choice(8);
    const QString other = textOfUtf8(input.line());
    const QString before = textOfUtf8(input.line());
    const QString behind = textOfUtf8(input.rest());
    if (other.contains(marker))
        return 0;
    const QString text = line(form, before + marker + behind, other);
    const QString masked = maskSecrets(text);
    require(!masked.contains(marker), "No secret is left in a log line.", text);
    require(masked.contains(QLatin1String("***")), "A reader sees that something was taken out.", masked);
    require(maskSecrets(masked) == masked, "Masking twice is masking once.", masked);
    return 0;
}

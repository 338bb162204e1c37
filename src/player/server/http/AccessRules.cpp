#include "player/server/http/AccessRules.h"

#include <QSysInfo>
#include <QUrl>
#include <arpa/inet.h>

#include <optional>

namespace {

constexpr quint16 httpPort = 80;
constexpr quint16 httpsPort = 443;

bool isAddress(const QString& text)
{
    in6_addr bytes{};
    const QByteArray name = text.toLatin1();
    return ::inet_pton(AF_INET, name.constData(), &bytes) == 1 ||
           ::inet_pton(AF_INET6, name.constData(), &bytes) == 1;
}

/// The name (without brackets) and port of a Host header; nothing if it is invalid.
std::optional<std::pair<QString, quint16>> parsed(const QString& host, quint16 usualPort)
{
    QString name = host.trimmed().toLower();
    QString port;
    if (name.startsWith(QLatin1Char('['))) {
        const int end = name.indexOf(QLatin1Char(']'));
        if (end < 0)
            return std::nullopt;
        port = name.mid(end + 1);
        name = name.mid(1, end - 1);
        if (!port.isEmpty() && !port.startsWith(QLatin1Char(':')))
            return std::nullopt;
        port.remove(0, 1);
    } else if (const int colon = name.indexOf(QLatin1Char(':')); colon >= 0) {
        port = name.mid(colon + 1);
        name.truncate(colon);
    }
    if (name.endsWith(QLatin1Char('.')))
        name.chop(1);
    bool isNumber = true;
    const quint16 number = port.isEmpty() ? usualPort : port.toUShort(&isNumber);
    if (name.isEmpty() || !isNumber)
        return std::nullopt;
    return std::make_pair(name, number);
}

/// The origin of a page that was loaded from this Host over the scheme of another origin.
QString originOfHost(const QString& origin, const QString& host)
{
    return AccessRules::originOf(origin.section(QLatin1Char(':'), 0, 0) + QStringLiteral("://") +
                                 host.trimmed());
}

} // namespace

AccessRules::AccessRules(const QString& address, quint16 port, const QString& origin, bool hasTls)
    : m_names{address.toLower()}
    , m_origin(origin)
    , m_anyAddress(isEveryAddress(address))
    , m_port(port)
    , m_hasTls(hasTls)
{
    if (isLoopback(address) || m_anyAddress)
        m_names << QStringLiteral("localhost") << QStringLiteral("127.0.0.1") << QStringLiteral("::1");
    if (isLoopback(address))
        return;
    const QString machine = QSysInfo::machineHostName().toLower();
    m_names << machine << machine + QStringLiteral(".local");
}

bool AccessRules::isOwnHost(const QString& host) const
{
    if (!m_origin.isEmpty() && originOfHost(m_origin, host) == m_origin)
        return true;
    const auto named = parsed(host, m_hasTls ? httpsPort : httpPort);
    if (!named || named->second != m_port)
        return false;
    // An address in digits cannot be pointed elsewhere, as a name can.
    return m_names.contains(named->first) || (m_anyAddress && isAddress(named->first));
}

bool AccessRules::isOwnOrigin(const QString& origin, const QString& host) const
{
    const QString given = origin.trimmed().toLower();
    if (!m_origin.isEmpty() && originOfHost(m_origin, host) == m_origin)
        return given == m_origin;
    return given ==
           (m_hasTls ? QStringLiteral("https://") : QStringLiteral("http://")) + host.trimmed().toLower();
}

bool AccessRules::isProxiedHttps(const QString& host) const
{
    return m_origin.startsWith(QLatin1String("https:")) && originOfHost(m_origin, host) == m_origin;
}

QString AccessRules::originOf(const QString& text)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    const QString scheme = url.scheme();
    const bool isPlain = url.isValid() && !url.host().isEmpty() && url.userInfo().isEmpty() &&
                         (url.path().isEmpty() || url.path() == QLatin1String("/")) && !url.hasQuery() &&
                         !url.hasFragment();
    const int usualPort = scheme == QLatin1String("https") ? httpsPort : httpPort;
    if (!isPlain || (scheme != QLatin1String("https") && scheme != QLatin1String("http")))
        return QString();
    const QString host =
        url.host().contains(QLatin1Char(':')) ? QLatin1Char('[') + url.host() + QLatin1Char(']') : url.host();
    const QString origin = scheme + QStringLiteral("://") + host.toLower();
    return url.port(usualPort) == usualPort ? origin : origin + QStringLiteral(":%1").arg(url.port());
}

bool AccessRules::isLoopback(const QString& address)
{
    return address.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0 ||
           address == QLatin1String("::1") ||
           (isAddress(address) && address.startsWith(QLatin1String("127.")));
}

bool AccessRules::isEveryAddress(const QString& address)
{
    return address == QLatin1String("0.0.0.0") || address == QLatin1String("::");
}

#include "player/host/ServiceSettings.h"

#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"
#include "player/host/ServiceAccount.h"

#include <QRegularExpression>
#include <QUrl>
#include <QUuid>

namespace {

const QString service = QStringLiteral("qobuz");
const QString apiUrl = QStringLiteral("apiUrl");
const QString appId = QStringLiteral("appId");
const QString appSecret = QStringLiteral("appSecret");
const QString soundQuality = QStringLiteral("soundQuality");
const QString systemSection = QStringLiteral("system");
const QString memberId = QStringLiteral("memberId");

/// Why the base address of the web API is invalid, as the end of a sentence; empty if it is valid.
QString whatIsWrongWith(const QString& address)
{
    const QUrl url(address, QUrl::StrictMode);
    if (!url.isValid())
        return QStringLiteral("it is not a valid URL");
    if (url.scheme() != QLatin1String("https") && url.scheme() != QLatin1String("http"))
        return QStringLiteral("it must begin with https:// or http://");
    if (url.host().isEmpty())
        return QStringLiteral("it names no host");
    if (url.hasQuery() || url.hasFragment())
        return QStringLiteral("it must not have a query or a fragment");
    if (!address.endsWith(QLatin1Char('/')))
        return QStringLiteral("it must end in a slash");
    return QString();
}

/// An address without user info and query, which may contain passwords and keys.
QString shown(const QString& address)
{
    QString text = address;
    const int end = text.indexOf(QRegularExpression(QStringLiteral("[?#]")));
    if (end >= 0)
        text = text.left(end + 1) + QStringLiteral("***");
    const int at = text.lastIndexOf(QLatin1Char('@'));
    return at < 0 ? text : QStringLiteral("***") + text.mid(at);
}

} // namespace

bool ServiceSettings::load(QString* error)
{
    if (!m_files.load(error) || !check(error))
        return false;
    if (!m_files.value(systemSection, memberId).isEmpty())
        return true;
    const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    QString reason;
    if (!m_files.setValue(systemSection, memberId, id, error))
        return false;
    if (m_files.save(&reason))
        return true;
    *error = QStringLiteral("The settings file %1 cannot be written: %2.").arg(fileName(), reason);
    return false;
}

bool ServiceSettings::check(QString* error) const
{
    if (!m_files.exists()) {
        *error = QStringLiteral("There is no settings file %1. Write one with the lines [%2], %3=, %4= and "
                                "%5=: the base address of the service's web API, and the application "
                                "identifier and secret that the service gave you.")
                     .arg(fileName(), service, apiUrl, appId, appSecret);
        return false;
    }
    const struct
    {
        const QString& key;
        const char* meaning;
    } needed[] = {{apiUrl, "the base address of the service's web API"},
                  {appId, "the application identifier that the service gave you"},
                  {appSecret, "the application secret that the service gave you"}};
    for (const auto& one : needed) {
        if (!m_files.value(service, one.key).isEmpty())
            continue;
        *error = QStringLiteral("%1 is not set in %2. Under [%3], set it to %4.")
                     .arg(one.key, fileName(), service, QLatin1String(one.meaning));
        return false;
    }
    const QString address = m_files.value(service, apiUrl);
    const QString wrong = whatIsWrongWith(address);
    if (!wrong.isEmpty()) {
        *error = QStringLiteral("%1 under [%2] in %3 is \"%4\", but %5.")
                     .arg(apiUrl, service, fileName(), shown(address), wrong);
        return false;
    }
    const QString quality = m_files.value(service, soundQuality);
    if (!quality.isEmpty() && !ServiceAccount::qualities().contains(quality)) {
        *error = QStringLiteral("%1 under [%2] in %3 is \"%4\"; set it to one of: %5.")
                     .arg(soundQuality, service, fileName(), quality,
                          ServiceAccount::qualities().join(QLatin1String(", ")));
        return false;
    }
    return true;
}

QString ServiceSettings::warning() const
{
    const QStringList files = m_files.readableByAll(service, appSecret);
    return files.isEmpty()
               ? QString()
               : QStringLiteral(
                     "Warning: everybody on this machine can read the secret in %1. Run: chmod o-r %1")
                     .arg(files.join(QLatin1Char(' ')));
}

QList<CMPath> ServiceSettings::paths()
{
    return {PelkQobuzSettingsPath(), PelkQobuzSoundQualityPath(), PelkSystemMemberIdPath()};
}

QList<CMPath> ServiceSettings::privatePaths()
{
    return {PelkQobuzSettingsPath(), PelkSystemMemberIdPath()};
}

bool ServiceSettings::accepts(const CMPath& path, const PelkValue& value, QString* error) const
{
    if (path != PelkQobuzSoundQualityPath() ||
        (value.contains(PelkValue::QobuzSoundQuality()) &&
         ServiceAccount::qualities().contains(PelkQobuzSoundQuality::toString(value.qobuzSoundQuality()))))
        return true;
    *error = QStringLiteral("There is no such sound quality; choose one of: %1.")
                 .arg(ServiceAccount::qualities().join(QLatin1String(", ")));
    return false;
}

PelkValue ServiceSettings::read(const CMPath& path) const
{
    PelkValue value;
    if (path == PelkQobuzSettingsPath()) {
        PelkQobuzSettings settings;
        settings.setApiUrl(m_files.value(service, apiUrl));
        settings.setAppId(m_files.value(service, appId));
        settings.setAppSecret(m_files.value(service, appSecret));
        value.setQobuzSettings(settings);
    } else if (path == PelkQobuzSoundQualityPath()) {
        const QString quality = m_files.value(service, soundQuality);
        value.setQobuzSoundQuality(quality.isEmpty() ? PelkQobuzSoundQuality::Cd
                                                     : PelkQobuzSoundQuality::fromString(quality));
    } else if (path == PelkSystemMemberIdPath()) {
        value.setString_(m_files.value(systemSection, memberId));
    }
    return value;
}

bool ServiceSettings::write(const CMPath& path, const PelkValue& value, QString* error)
{
    // The file may have been edited since it was read; its current contents are kept. Browsers show these
    // sentences too, so they do not name the file.
    ServiceSettings changed(m_files.unread());
    QString reason;
    if (!changed.m_files.load(&reason) || (changed.m_files.ownExists() && !changed.check(&reason))) {
        *error = QStringLiteral("Nothing was saved: the settings file was changed and cannot be used as it "
                                "is now. Correct it, or undo the change.");
        return false;
    }
    if (!changed.m_files.ownExists())
        changed.m_files = m_files;
    const auto set = [&changed, error](const QString& section, const QString& key, const QString& text) {
        return changed.m_files.setValue(section, key, text, error);
    };
    bool done = true;
    if (path == PelkQobuzSettingsPath()) {
        const PelkQobuzSettings settings = value.qobuzSettings();
        done = set(service, apiUrl, settings.apiUrl()) && set(service, appId, settings.appId()) &&
               set(service, appSecret, settings.appSecret());
    } else if (path == PelkQobuzSoundQualityPath()) {
        done = set(service, soundQuality, PelkQobuzSoundQuality::toString(value.qobuzSoundQuality()));
    } else if (path == PelkSystemMemberIdPath()) {
        done = set(systemSection, memberId, value.string_());
    }
    // A value that the next start would refuse is refused now.
    if (!done || !changed.check(error))
        return false;
    if (!changed.m_files.save(&reason)) {
        *error = QStringLiteral("The settings cannot be saved: %1.").arg(reason);
        return false;
    }
    m_files = changed.m_files;
    return true;
}

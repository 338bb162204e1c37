#include "player/server/access/Sessions.h"

#include "api/core/json/pelkjson.h"
#include "player/server/access/Secrets.h"

#include <algorithm>

namespace {

/// Resolution of the last use, so that the file is not written with every request.
constexpr qint64 useStepMs = 10LL * 60 * 1000;
/// Tolerance for small corrections of the clock.
constexpr qint64 clockStepMs = 24LL * 3600 * 1000;

const QString sessionsKey = QStringLiteral("sessions");
const QString nameKey = QStringLiteral("name");
const QString digestKey = QStringLiteral("digest");
const QString markKey = QStringLiteral("passwordMark");
const QString deviceKey = QStringLiteral("device");
const QString createdKey = QStringLiteral("createdMs");
const QString lastUseKey = QStringLiteral("lastUseMs");

bool isUsedEarlier(const Sessions::Session& one, const Sessions::Session& other)
{
    return one.lastUseMs < other.lastUseMs;
}

} // namespace

Sessions::Sessions(const QString& folder, Clock clock)
    : m_clock(std::move(clock))
    , m_file(folder + QStringLiteral("/sessions.json"), QStringLiteral("sessions"), 1)
{
    connect(&m_file, &StateFile::failed, this, &Sessions::failed);
    read();
}

QByteArray Sessions::add(const QString& device, const QByteArray& passwordMark)
{
    const qint64 now = m_clock();
    const auto isOver = [now](const Session& one) { return one.createdMs + lifeMs <= now; };
    m_sessions.erase(std::remove_if(m_sessions.begin(), m_sessions.end(), isOver), m_sessions.end());
    if (m_sessions.size() >= most)
        m_sessions.erase(std::min_element(m_sessions.begin(), m_sessions.end(), isUsedEarlier));
    const QByteArray cookie = Secrets::random();
    m_sessions.append({Secrets::randomName(), Secrets::digest(cookie), passwordMark, device, now, now});
    save();
    return cookie;
}

const Sessions::Session* Sessions::find(const QByteArray& cookie, const QByteArray& passwordMark)
{
    const QByteArray digest = Secrets::digest(cookie);
    Session* found = nullptr;
    for (Session& one : m_sessions) // all of them, whichever it is
        if (Secrets::isEqual(one.digest, digest))
            found = &one;
    if (!found || !isValid(*found, passwordMark))
        return nullptr;
    const qint64 now = m_clock();
    if (std::abs(now - found->lastUseMs) >= useStepMs) {
        found->lastUseMs = now;
        save();
    }
    return found;
}

bool Sessions::isValid(const QByteArray& name, const QByteArray& passwordMark) const
{
    return std::any_of(m_sessions.cbegin(), m_sessions.cend(),
                       [&](const Session& one) { return one.name == name && isValid(one, passwordMark); });
}

QVector<Sessions::Session> Sessions::list(const QByteArray& passwordMark) const
{
    QVector<Session> valid;
    std::copy_if(m_sessions.cbegin(), m_sessions.cend(), std::back_inserter(valid),
                 [&](const Session& one) { return isValid(one, passwordMark); });
    std::stable_sort(valid.begin(), valid.end(),
                     [](const Session& one, const Session& other) { return isUsedEarlier(other, one); });
    return valid;
}

bool Sessions::remove(const QByteArray& name)
{
    const auto found = std::find_if(m_sessions.begin(), m_sessions.end(),
                                    [&name](const Session& one) { return one.name == name; });
    if (found == m_sessions.end())
        return false;
    m_sessions.erase(found);
    save();
    return true;
}

bool Sessions::isValid(const Session& session, const QByteArray& passwordMark) const
{
    const qint64 now = m_clock();
    return !passwordMark.isEmpty() && session.passwordMark == passwordMark &&
           session.createdMs <= now + clockStepMs && now < session.createdMs + lifeMs;
}

void Sessions::read()
{
    const QVariantList list = m_file.read().value(sessionsKey).toList();
    for (const QVariant& item : list) {
        const PelkHash one = PelkHash::fromVariant(item);
        m_sessions.append({one.text(nameKey).toLatin1(), one.text(digestKey).toLatin1(),
                           one.text(markKey).toLatin1(), one.text(deviceKey),
                           one.value(createdKey).toLongLong(), one.value(lastUseKey).toLongLong()});
    }
}

void Sessions::save()
{
    m_file.save([this]() -> StateFile::Writer {
        return [sessions = m_sessions](QByteArray* text) {
            QVariantList list;
            for (const Session& one : sessions)
                list.append(QVariantHash{{nameKey, QString::fromLatin1(one.name)},
                                         {digestKey, QString::fromLatin1(one.digest)},
                                         {markKey, QString::fromLatin1(one.passwordMark)},
                                         {deviceKey, one.device},
                                         {createdKey, one.createdMs},
                                         {lastUseKey, one.lastUseMs}});
            *text += PelkJson::serialize(QVariantHash{{sessionsKey, list}});
        };
    });
}

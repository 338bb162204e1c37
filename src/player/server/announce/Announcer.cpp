#include "player/server/announce/Announcer.h"

#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <utility>

namespace {

const QString avahi = QStringLiteral("org.freedesktop.Avahi");
const char* const serverInterface = "org.freedesktop.Avahi.Server";
const char* const groupInterface = "org.freedesktop.Avahi.EntryGroup";

constexpr int everyInterface = -1;
constexpr int everyProtocol = -1;
/// States of an entry group.
constexpr int collision = 3;
constexpr int failure = 4;

} // namespace

Announcer::Announcer(const QDBusConnection& bus, const Service& service)
    : m_bus(bus)
    , m_watcher(avahi, bus,
                QDBusServiceWatcher::WatchForRegistration | QDBusServiceWatcher::WatchForUnregistration)
    , m_service(service)
{
    qDBusRegisterMetaType<QList<QByteArray>>();
    connect(&m_watcher, &QDBusServiceWatcher::serviceRegistered, this, &Announcer::begin);
    connect(&m_watcher, &QDBusServiceWatcher::serviceUnregistered, this, &Announcer::forget);
}

Announcer::~Announcer()
{
    if (!m_group.isEmpty())
        m_bus.send(QDBusMessage::createMethodCall(avahi, m_group, QLatin1String(groupInterface),
                                                  QStringLiteral("Free")));
}

void Announcer::setName(const QString& name)
{
    if (name == m_name)
        return;
    m_name = name;
    m_tried = name;
    if (m_group.isEmpty())
        begin();
    else
        call(m_group, groupInterface, "Reset", {}, [this](const QDBusMessage&) { addEntries(); });
}

void Announcer::begin()
{
    if (m_state == State::Asking || m_name.isEmpty())
        return;
    m_state = State::Asking;
    m_tried = m_name;
    call(QStringLiteral("/"), serverInterface, "EntryGroupNew", {}, [this](const QDBusMessage& reply) {
        if (reply.type() != QDBusMessage::ReplyMessage) { // Avahi is not there: it is waited for
            m_state = State::Silent;
            return;
        }
        m_group = reply.arguments().value(0).value<QDBusObjectPath>().path();
        m_bus.connect(avahi, m_group, QLatin1String(groupInterface), QStringLiteral("StateChanged"), this,
                      SLOT(onGroupState(int, QString)));
        addEntries();
    });
}

void Announcer::addEntries()
{
    m_state = State::Asking;
    const QString type = m_service.hasTls ? QStringLiteral("_https._tcp") : QStringLiteral("_http._tcp");
    const QList<QByteArray> texts{QByteArrayLiteral("path=/")};
    call(m_group, groupInterface, "AddService",
         {everyInterface, everyProtocol, uint(0), m_tried, type, QString(), QString(),
          QVariant::fromValue(m_service.port), QVariant::fromValue(texts)},
         [this](const QDBusMessage& reply) {
             if (reply.errorName().endsWith(QLatin1String(".CollisionError")))
                 tryAnotherName();
             else if (reply.type() == QDBusMessage::ReplyMessage)
                 call(m_group, groupInterface, "Commit", {},
                      [this](const QDBusMessage&) { m_state = State::Announced; });
         });
}

void Announcer::tryAnotherName()
{
    m_state = State::Asking;
    call(QStringLiteral("/"), serverInterface, "GetAlternativeServiceName", {m_tried},
         [this](const QDBusMessage& reply) {
             m_tried = reply.arguments().value(0).toString();
             if (!m_tried.isEmpty())
                 call(m_group, groupInterface, "Reset", {}, [this](const QDBusMessage&) { addEntries(); });
         });
}

void Announcer::onGroupState(int state, const QString& /*error*/)
{
    if (state == collision)
        tryAnotherName();
    else if (state == failure)
        m_state = State::Silent;
}

void Announcer::forget()
{
    ++m_round;
    m_state = State::Silent;
    m_bus.disconnect(avahi, m_group, QLatin1String(groupInterface), QStringLiteral("StateChanged"), this,
                     SLOT(onGroupState(int, QString)));
    m_group.clear();
}

/// Ignores replies of an Avahi that has ended, and replies to superseded calls.
void Announcer::call(const QString& path, const char* interface, const char* method,
                     const QVariantList& arguments, const Then& then)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(avahi, path, QLatin1String(interface), QLatin1String(method));
    message.setArguments(arguments);
    message.setAutoStartService(false);
    auto* const watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, then, round = ++m_round](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                if (round == m_round)
                    then(finished->reply());
            });
}

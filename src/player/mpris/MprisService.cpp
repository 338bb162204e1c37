#include "player/mpris/MprisService.h"

#include "player/mpris/MprisAdaptors.h"
#include "player/play/PlayEngine.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QMetaProperty>

namespace {

const QString objectPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString playerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");

/// Otherwise the library would try to start a bus.
bool isThereABus()
{
    return !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") ||
           QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
}

} // namespace

MprisService::MprisService(PlayEngine* engine, QObject* parent)
    : QObject(parent)
    , m_engine(engine)
{
}

MprisService::~MprisService()
{
    if (m_name.isEmpty())
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterService(m_name);
    bus.unregisterObject(objectPath);
}

bool MprisService::start()
{
    // Otherwise two equal paths would count as a change.
    if (!QMetaType::hasRegisteredComparators<QDBusObjectPath>())
        QMetaType::registerComparators<QDBusObjectPath>();
    if (!isThereABus())
        return false;
    QDBusConnection bus = QDBusConnection::sessionBus();
    new MprisRootAdaptor(this);
    m_player = new MprisPlayerAdaptor(m_engine, this);
    if (!bus.isConnected() || !bus.registerObject(objectPath, this))
        return false;
    const QString name = QStringLiteral("org.mpris.MediaPlayer2.pelk");
    // Another player may be there already.
    const QString another = QStringLiteral("%1.instance%2").arg(name).arg(QCoreApplication::applicationPid());
    if (bus.registerService(name))
        m_name = name;
    else if (bus.registerService(another))
        m_name = another;
    else
        return false;
    takeChanges();
    connect(m_engine, &PlayEngine::statusChanged, this, &MprisService::reportChanges);
    return true;
}

/// The properties that have changed since the last call.
QVariantMap MprisService::takeChanges()
{
    QVariantMap changed;
    const QMetaObject* properties = m_player->metaObject();
    for (int i = properties->propertyOffset(); i < properties->propertyCount(); ++i) {
        const QMetaProperty property = properties->property(i);
        const QString key = QString::fromLatin1(property.name());
        // The position changes constantly; MPRIS clients read it when they need it.
        if (key == QLatin1String("Position"))
            continue;
        const QVariant value = property.read(m_player);
        if (m_reported.value(key) == value)
            continue;
        m_reported.insert(key, value);
        changed.insert(key, value);
    }
    return changed;
}

void MprisService::reportChanges()
{
    const QVariantMap changed = takeChanges();
    if (changed.isEmpty())
        return;
    QDBusMessage message = QDBusMessage::createSignal(
        objectPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("PropertiesChanged"));
    message << playerInterface << changed << QStringList();
    QDBusConnection::sessionBus().send(message);
}

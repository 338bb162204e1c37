#include "player/server/announce/Announcer.h"

#include <QCoreApplication>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QtTest>

#include <unistd.h>
#include <vector>

namespace {

const QString avahi = QStringLiteral("org.freedesktop.Avahi");
const QString groupPath = QStringLiteral("/Client1/EntryGroup1");

} // namespace

/// One group of entries, as Avahi has it on the bus.
class FakeGroup : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Avahi.EntryGroup")

public:
    QStringList taken; ///< names that other devices have
    QString added;
    QString committed;
    QString type;
    int port = 0;
    int freed = 0;
    QList<QByteArray> texts;

public Q_SLOTS:
    void AddService(int interface, int protocol, uint flags, const QString& name, const QString& serviceType,
                    const QString& domain, const QString& host, ushort servicePort,
                    const QList<QByteArray>& txt)
    {
        const bool isUsual =
            interface == -1 && protocol == -1 && flags == 0 && domain.isEmpty() && host.isEmpty();
        if (!isUsual || taken.contains(name)) {
            sendErrorReply(QStringLiteral("org.freedesktop.Avahi.CollisionError"), name);
            return;
        }
        added = name;
        type = serviceType;
        port = servicePort;
        texts = txt;
    }
    void Commit() { committed = added; }
    void Reset() { committed.clear(); }
    void Free()
    {
        committed.clear();
        ++freed;
    }

Q_SIGNALS:
    void StateChanged(int state, const QString& error);
};

/// Avahi's server, as far as it is spoken to.
class FakeServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Avahi.Server")

public Q_SLOTS:
    QDBusObjectPath EntryGroupNew() { return QDBusObjectPath(groupPath); }
    QString GetAlternativeServiceName(const QString& name) { return name + QStringLiteral(" #2"); }
};

/// The announcement in the network, on a real bus, to something that speaks as Avahi does.
class ServerAnnouncerTest : public QObject
{
    Q_OBJECT

    FakeServer m_server;
    std::unique_ptr<FakeGroup> m_group;
    QDBusConnection m_avahi{QString()};
    QDBusConnection m_player{QString()};

    void startAvahi()
    {
        QVERIFY(m_avahi.registerObject(QStringLiteral("/"), &m_server, QDBusConnection::ExportAllSlots));
        QVERIFY(m_avahi.registerObject(groupPath, m_group.get(),
                                       QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals));
        QVERIFY(m_avahi.registerService(avahi));
    }
    void stopAvahi()
    {
        m_avahi.unregisterService(avahi);
        m_avahi.unregisterObject(groupPath);
        m_avahi.unregisterObject(QStringLiteral("/"));
    }

private Q_SLOTS:
    void init()
    {
        const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
        m_avahi = QDBusConnection::connectToBus(address, QStringLiteral("avahi"));
        m_player = QDBusConnection::connectToBus(address, QStringLiteral("player"));
        QVERIFY(m_avahi.isConnected() && m_player.isConnected());
        m_group = std::make_unique<FakeGroup>();
    }
    void cleanup()
    {
        stopAvahi();
        QDBusConnection::disconnectFromBus(QStringLiteral("avahi"));
        QDBusConnection::disconnectFromBus(QStringLiteral("player"));
    }

    void thePlayerIsAnnouncedByItsName()
    {
        startAvahi();
        Announcer announcer(m_player, {8080, false});
        announcer.setName(QStringLiteral("Küche"));
        QTRY_COMPARE(m_group->committed, QStringLiteral("Küche"));
        QCOMPARE(m_group->type, QStringLiteral("_http._tcp"));
        QCOMPARE(m_group->port, 8080);
        QCOMPARE(m_group->texts, QList<QByteArray>{"path=/"});
        QTRY_COMPARE(announcer.announcedName(), QStringLiteral("Küche"));
    }

    void anEncryptedPlayerIsAnnouncedAsOne()
    {
        startAvahi();
        Announcer announcer(m_player, {8443, true});
        announcer.setName(QStringLiteral("Kitchen"));
        QTRY_COMPARE(m_group->committed, QStringLiteral("Kitchen"));
        QCOMPARE(m_group->type, QStringLiteral("_https._tcp"));
    }

    void aNewNameIsAnnounced()
    {
        startAvahi();
        Announcer announcer(m_player, {8080, false});
        announcer.setName(QStringLiteral("Kitchen"));
        QTRY_COMPARE(announcer.announcedName(), QStringLiteral("Kitchen"));
        announcer.setName(QStringLiteral("Bath"));
        QTRY_COMPARE(m_group->committed, QStringLiteral("Bath"));
    }

    void aNameInUseIsReplacedByASimilarOne_data()
    {
        QTest::addColumn<bool>("isSeenLater");
        QTest::newRow("when it is added") << false;
        QTest::newRow("when others answer") << true;
    }
    void aNameInUseIsReplacedByASimilarOne()
    {
        QFETCH(bool, isSeenLater);
        startAvahi();
        if (!isSeenLater)
            m_group->taken << QStringLiteral("Kitchen");
        Announcer announcer(m_player, {8080, false});
        announcer.setName(QStringLiteral("Kitchen"));
        if (isSeenLater) {
            QTRY_COMPARE(announcer.announcedName(), QStringLiteral("Kitchen"));
            Q_EMIT m_group->StateChanged(3, QString());
        }
        QTRY_COMPARE(m_group->committed, QStringLiteral("Kitchen #2"));
        QTRY_COMPARE(announcer.announcedName(), QStringLiteral("Kitchen #2"));
    }

    void anAvahiThatStartsLaterOrRestartsIsInformed()
    {
        Announcer announcer(m_player, {8080, false});
        announcer.setName(QStringLiteral("Kitchen"));
        startAvahi();
        QTRY_COMPARE(announcer.announcedName(), QStringLiteral("Kitchen"));
        stopAvahi();
        QTRY_COMPARE(announcer.announcedName(), QString());
        m_group->committed.clear();
        startAvahi();
        QTRY_COMPARE(m_group->committed, QStringLiteral("Kitchen"));
    }

    void theAnnouncementIsWithdrawn()
    {
        startAvahi();
        {
            Announcer announcer(m_player, {8080, false});
            announcer.setName(QStringLiteral("Kitchen"));
            QTRY_COMPARE(announcer.announcedName(), QStringLiteral("Kitchen"));
        }
        QTRY_COMPARE(m_group->freed, 1);
    }

    void withoutABusNothingHappens()
    {
        Announcer announcer(QDBusConnection(QStringLiteral("none")), {8080, false});
        announcer.setName(QStringLiteral("Kitchen"));
        QCOMPARE(announcer.announcedName(), QString());
    }
};

/// Starts itself again, with its own bus.
int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("PELK_TEST_BUS")) {
        qputenv("PELK_TEST_BUS", "1");
        std::vector<char*> command{const_cast<char*>("dbus-run-session"), const_cast<char*>("--")};
        QByteArray emulator = qgetenv("PELK_TEST_EMULATOR"); // see tests/support/builtprogram.h
        if (!emulator.isEmpty())
            command.push_back(emulator.data());
        command.insert(command.end(), argv, argv + argc);
        command.push_back(nullptr);
        execvp(command.front(), command.data());
        qFatal("dbus-run-session is not installed; scripts/setup test installs it");
    }
    QCoreApplication app(argc, argv);
    ServerAnnouncerTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "server_announcer_test.moc"

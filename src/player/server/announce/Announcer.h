#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>

class QDBusPendingCallWatcher;

/// Announces the player by name in the network (mDNS) through Avahi, as soon as Avahi is running. Never
/// blocks. Main thread, with an event loop.
///
///   Silent      Avahi is not there, or the bus is not
///   Asking      a group of entries was asked for
///   Announced   the entries are in the group; Avahi itself looks for others of that name
class Announcer : public QObject
{
    Q_OBJECT

public:
    struct Service
    {
        quint16 port = 0;
        bool hasTls = false;
    };

    Announcer(const QDBusConnection& bus, const Service& service);
    /// Withdraws the announcement.
    ~Announcer() override;

    /// Announces this name, or a similar one if another device uses it.
    void setName(const QString& name);
    /// The name that is announced; empty while none is.
    QString announcedName() const { return m_state == State::Announced ? m_tried : QString(); }

private Q_SLOTS:
    void onGroupState(int state, const QString& error);

private:
    enum class State
    {
        Silent,
        Asking,
        Announced
    };

    using Then = std::function<void(const QDBusMessage& reply)>;
    void call(const QString& path, const char* interface, const char* method, const QVariantList& arguments,
              const Then& then);
    void begin();
    void addEntries();
    void tryAnotherName();
    void forget();

    QDBusConnection m_bus;
    QDBusServiceWatcher m_watcher;
    const Service m_service;
    State m_state = State::Silent;
    QString m_name;  // as it was set
    QString m_tried; // the same, or one like it
    QString m_group; // path of Avahi's object
    int m_round = 0; // replies of earlier rounds are late
};

#pragma once

#include <QObject>
#include <QVariantMap>

#include <memory>

class PlayEngine;

/// The player on the session bus, so that media keys, desktops and `playerctl` reach it: the interfaces
/// org.mpris.MediaPlayer2 and .Player of MPRIS 2.2. Main thread.
class MprisService : public QObject
{
    Q_OBJECT

public:
    /// The engine is not owned.
    explicit MprisService(PlayEngine* engine, QObject* parent = nullptr);
    /// Leaves the bus.
    ~MprisService() override;

    /// Registers the player on the bus. False if there is no bus or it refuses the player, which is not an
    /// error.
    bool start();
    /// The name on the bus; empty before start().
    QString name() const { return m_name; }

private:
    QVariantMap takeChanges();
    void reportChanges();

    PlayEngine* m_engine;
    QObject* m_player = nullptr; // the adaptor, owned by this
    QString m_name;
    QVariantMap m_reported; // the properties that were told last
};

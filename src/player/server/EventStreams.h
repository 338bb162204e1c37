#pragma once

#include "api/core/model/cmsubscribe.h"
#include "player/server/Translations.h"

#include <QJsonObject>
#include <QObject>
#include <QTimer>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <vector>

class Connection;
class PelkNotificationDisplayItem;

/// The browsers that follow the player by server-sent events: first the present state of everything, then
/// each change. All are served by the one thread that this lives on, and none can hold it up: of a state
/// only the latest waits for a slow reader, of notices the last sixteen.
class EventStreams : public QObject
{
    Q_OBJECT

public:
    static constexpr int mostStreams = 64;
    static constexpr int mostValues = 16;
    /// A reader that takes nothing for so many heartbeats is let go.
    static constexpr int mostSilentHeartbeats = 4;

    /// What an event says, in a reader's language.
    using Describe = std::function<QJsonObject(const Language& language)>;

    /// `heartbeatMs`: how often each reader is sent a comment.
    explicit EventStreams(int heartbeatMs);
    ~EventStreams() override;

    /// A place among the streams, which is free again when its last handle goes.
    using Place = std::shared_ptr<void>;
    /// Takes one; null when all are taken. Any thread.
    Place reserve();
    /// Adds a connection whose answer's head is sent. `values`: the paths whose values it follows. Any
    /// thread.
    void add(const std::shared_ptr<Connection>& connection, const Place& place, const Language& language,
             const QList<CMPath>& values);
    /// A state of the player has changed. Any thread; told in the order of the calls.
    void setState(const QByteArray& event, const Describe& describe);
    /// Shows a notice to everybody who listens now. Any thread.
    void notify(const PelkNotificationDisplayItem& notice);

private:
    struct Stream;
    struct State
    {
        QByteArray event;
        Describe describe;
        std::unique_ptr<QObject> subscriber; // of a value
    };

    void admit(const std::shared_ptr<Connection>& connection, const Place& place, const Language& language,
               const QList<CMPath>& values);
    void follow(const CMPath& path);
    void change(const QString& topic, const QByteArray& event, const Describe& describe);
    void flush(Stream* stream);
    void drop(Stream* stream);
    void beat();

    std::vector<std::unique_ptr<Stream>> m_streams;
    std::map<QString, State> m_states;               // by topic: the event's name, or of a value
    const std::shared_ptr<std::atomic<int>> m_taken; // outlives this with the places
    const int m_heartbeatMs;
    QTimer m_heartbeat;
};

#pragma once

#include "api/core/model/cmsubscribe.h"
#include "player/server/Translations.h"
#include "player/server/events/EventStream.h"
#include "player/server/http/Limits.h"

#include <QJsonObject>
#include <QObject>
#include <QTimer>

#include <map>
#include <memory>
#include <vector>

class PelkNotificationDisplayItem;

/// The server-sent event streams: each sends the current state of everything, then each change. No reader can
/// delay another.
class EventStreams : public QObject
{
    Q_OBJECT

public:
    /// The data of an event, in a reader's language.
    using Describe = std::function<QJsonObject(const Language& language)>;

    explicit EventStreams(const Limits& limits);
    ~EventStreams() override;

    /// Whether there is a place for one more.
    bool hasPlace() const { return int(m_streams.size()) < m_limits.eventStreams; }
    /// Creates a stream that follows the values of these paths, as the body of a response. Deleting it frees
    /// its place. `language` must outlive it. `mayRead` is asked in checkReaders().
    std::unique_ptr<ByteSource> open(const Language& language, const QList<CMPath>& values,
                                     const std::function<bool()>& mayRead);
    /// Ends the streams whose readers may read no longer. Is done with every heartbeat, too.
    void checkReaders();
    /// A state of the player has changed.
    void setState(const QByteArray& event, const Describe& describe);
    /// Sends a notice to all current streams.
    void notify(const PelkNotificationDisplayItem& notice);
    /// Ends every stream.
    void end();

private:
    struct State
    {
        QByteArray event;
        Describe describe;
        std::unique_ptr<QObject> subscriber; // of a value
    };

    void follow(const CMPath& path);
    void change(const QString& topic, const QByteArray& event, const Describe& describe);
    void onClosed(EventStream* stream);
    void beat();

    const Limits m_limits;
    std::vector<EventStream*> m_streams;
    std::map<QString, State> m_states; // by topic: the event's name, or of a value
    QTimer m_heartbeat;
};

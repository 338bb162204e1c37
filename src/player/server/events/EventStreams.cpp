#include "player/server/events/EventStreams.h"

#include "api/core/model/cmabstractworker.h"
#include "api/types/pelknotificationdisplayitem.h"
#include "player/server/api/ApiJson.h"

#include <QJsonDocument>

#include <algorithm>

namespace {

QByteArray written(const QByteArray& event, const QJsonObject& data)
{
    return "event: " + event + "\ndata: " + QJsonDocument(data).toJson(QJsonDocument::Compact) + "\n\n";
}

/// Of a value; no state of the player is called so, whatever the path.
QString topicOf(const CMPath& path)
{
    return QStringLiteral("value ") + path.toString();
}

EventStreams::Describe describeValue(const CMPath& path, const PelkValue& value)
{
    return [path, value](const Language& language) {
        const QJsonValue shown =
            value.isEmpty() ? QJsonValue(QJsonValue::Null) : ApiJson::value(value.variant(), language);
        return QJsonObject{{QStringLiteral("path"), path.toString()}, {QStringLiteral("value"), shown}};
    };
}

/// The text of an event in each of its readers' languages, created once.
class Written
{
public:
    Written(const QByteArray& event, const EventStreams::Describe& describe)
        : m_event(event)
        , m_describe(describe)
    {
    }
    QByteArray in(const Language& language)
    {
        QByteArray& text = m_texts[&language];
        if (text.isNull())
            text = written(m_event, m_describe(language));
        return text;
    }

private:
    const QByteArray m_event;
    const EventStreams::Describe& m_describe;
    QHash<const Language*, QByteArray> m_texts;
};

} // namespace

EventStreams::EventStreams(const Limits& limits)
    : m_limits(limits)
{
    connect(&m_heartbeat, &QTimer::timeout, this, &EventStreams::beat);
}

EventStreams::~EventStreams()
{
    Q_ASSERT(m_streams.empty());
}

std::unique_ptr<ByteSource> EventStreams::open(const Language& language, const QList<CMPath>& values,
                                               const std::function<bool()>& mayRead)
{
    QSet<QString> topics;
    for (const CMPath& path : values) {
        topics.insert(topicOf(path));
        follow(path);
    }
    auto stream = std::make_unique<EventStream>(language, topics, m_limits.waitingNotices, mayRead,
                                                [this](EventStream* closed) { onClosed(closed); });
    for (const auto& [topic, state] : m_states)
        if (!state.subscriber || stream->follows(topic))
            stream->put(topic, written(state.event, state.describe(language)));
    m_streams.push_back(stream.get());
    if (!m_heartbeat.isActive())
        m_heartbeat.start(m_limits.heartbeatMs);
    return stream;
}

void EventStreams::setState(const QByteArray& event, const Describe& describe)
{
    change(QString::fromLatin1(event), event, describe);
}

void EventStreams::notify(const PelkNotificationDisplayItem& notice)
{
    const Describe describe = [&notice](const Language& language) {
        return QJsonObject{{QStringLiteral("title"), language.text(notice.title())},
                           {QStringLiteral("message"), language.text(notice.message())}};
    };
    Written text(QByteArrayLiteral("notification"), describe);
    for (EventStream* const stream : m_streams)
        stream->put(QString(), text.in(stream->language()));
}

void EventStreams::end()
{
    for (EventStream* const stream : m_streams)
        stream->end();
}

void EventStreams::follow(const CMPath& path)
{
    const QString topic = topicOf(path);
    if (m_states.count(topic) > 0)
        return;
    State& state = m_states[topic];
    state.event = QByteArrayLiteral("value");
    state.subscriber = std::make_unique<QObject>();
    CMRoot()->subscribe(path)->add(CMSubscribe::Value, path, state.subscriber.get(),
                                   [this, path, topic](const PelkValue& value) {
                                       change(topic, QByteArrayLiteral("value"), describeValue(path, value));
                                   });
    // After subscribing, so that a change in between is reported twice rather than never.
    state.describe = describeValue(path, CMRoot()->getValue(path));
}

void EventStreams::change(const QString& topic, const QByteArray& event, const Describe& describe)
{
    State& state = m_states[topic];
    state.event = event;
    state.describe = describe;
    Written text(event, describe);
    for (EventStream* const stream : m_streams)
        if (!state.subscriber || stream->follows(topic))
            stream->put(topic, text.in(stream->language()));
}

void EventStreams::onClosed(EventStream* stream)
{
    m_streams.erase(std::remove(m_streams.begin(), m_streams.end(), stream), m_streams.end());
    // Unsubscribes from a value that no stream follows any longer.
    for (const QString& topic : stream->values())
        if (std::none_of(m_streams.cbegin(), m_streams.cend(),
                         [&topic](const EventStream* one) { return one->follows(topic); }))
            m_states.erase(topic);
    if (m_streams.empty())
        m_heartbeat.stop();
}

void EventStreams::checkReaders()
{
    for (EventStream* const stream : m_streams)
        stream->check();
}

void EventStreams::beat()
{
    checkReaders();
    for (EventStream* const stream : m_streams)
        stream->beat();
}

#include "player/server/EventStreams.h"

#include "api/core/model/cmabstractworker.h"
#include "api/types/pelknotificationdisplayitem.h"
#include "player/server/ApiJson.h"
#include "player/server/Connection.h"

#include <QJsonDocument>
#include <QSet>
#include <QSocketNotifier>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace {

constexpr int mostNotices = 16;
const QByteArray notificationEvent = QByteArrayLiteral("notification");
/// How soon a browser comes back after a break.
const QByteArray greeting = QByteArrayLiteral("retry: 2000\n\n");
const QByteArray comment = QByteArrayLiteral(":\n\n");

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

/// What an event is written as for each of its readers' languages; made once.
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
    const QByteArray& m_event;
    const EventStreams::Describe& m_describe;
    QHash<const Language*, QByteArray> m_texts;
};

} // namespace

namespace {

/// A notifier may be done with within its own signal.
struct Later
{
    void operator()(QSocketNotifier* notifier) const
    {
        notifier->setEnabled(false);
        notifier->deleteLater();
    }
};
using Notifier = std::unique_ptr<QSocketNotifier, Later>;

} // namespace

struct EventStreams::Stream
{
    std::shared_ptr<Connection> connection;
    Place place;
    const Language* language;
    QSet<QString> values; // the topics of values that it follows
    Notifier readable;
    Notifier writable;
    struct Waiting
    {
        QString topic; // empty for a notice
        QByteArray text;
    };
    QVector<Waiting> waiting; // each topic once
    QByteArray output;        // what is being sent
    int silentHeartbeats = 0;

    void put(const QString& topic, const QByteArray& text)
    {
        int notices = 0;
        int firstNotice = -1;
        for (int i = 0; i < waiting.size(); ++i) {
            if (waiting.at(i).topic == topic && !topic.isEmpty()) {
                waiting[i].text = text;
                return;
            }
            if (waiting.at(i).topic.isEmpty() && ++notices == 1)
                firstNotice = i;
        }
        if (topic.isEmpty() && notices >= mostNotices)
            waiting.remove(firstNotice);
        waiting.append({topic, text});
    }
};

EventStreams::EventStreams(int heartbeatMs)
    : m_taken(std::make_shared<std::atomic<int>>(0))
    , m_heartbeatMs(heartbeatMs)
    , m_heartbeat(this)
{
    connect(&m_heartbeat, &QTimer::timeout, this, &EventStreams::beat);
}

EventStreams::~EventStreams() = default;

EventStreams::Place EventStreams::reserve()
{
    Place place(m_taken.get(), [taken = m_taken](void*) { --*taken; });
    return ++*m_taken > mostStreams ? nullptr : place;
}

void EventStreams::add(const std::shared_ptr<Connection>& connection, const Place& place,
                       const Language& language, const QList<CMPath>& values)
{
    QMetaObject::invokeMethod(
        this, [this, connection, place, &language, values] { admit(connection, place, language, values); },
        Qt::QueuedConnection);
}

void EventStreams::setState(const QByteArray& event, const Describe& describe)
{
    QMetaObject::invokeMethod(
        this, [this, event, describe] { change(QString::fromLatin1(event), event, describe); },
        Qt::QueuedConnection);
}

void EventStreams::notify(const PelkNotificationDisplayItem& notice)
{
    QMetaObject::invokeMethod(
        this,
        [this, notice] {
            const Describe describe = [notice](const Language& language) {
                return QJsonObject{{QStringLiteral("title"), language.text(notice.title())},
                                   {QStringLiteral("message"), language.text(notice.message())}};
            };
            Written text(notificationEvent, describe);
            for (std::size_t i = m_streams.size(); i-- > 0;) {
                m_streams[i]->put(QString(), text.in(*m_streams[i]->language));
                flush(m_streams[i].get());
            }
        },
        Qt::QueuedConnection);
}

void EventStreams::admit(const std::shared_ptr<Connection>& connection, const Place& place,
                         const Language& language, const QList<CMPath>& values)
{
    auto owned = std::make_unique<Stream>();
    Stream* const stream = owned.get();
    stream->connection = connection;
    stream->place = place;
    stream->language = &language;
    for (const CMPath& path : values) {
        stream->values.insert(topicOf(path));
        follow(path);
    }
    const int socket = connection->socket();
    stream->readable.reset(new QSocketNotifier(socket, QSocketNotifier::Read));
    stream->writable.reset(new QSocketNotifier(socket, QSocketNotifier::Write));
    connect(stream->readable.get(), &QSocketNotifier::activated, this, [this, stream] {
        // A browser says nothing here; what it sends is thrown away, and its end is the end.
        if (!stream->connection->discard())
            drop(stream);
    });
    connect(stream->writable.get(), &QSocketNotifier::activated, this, [this, stream] { flush(stream); });
    stream->writable->setEnabled(false);
    stream->output = greeting;
    for (const auto& [topic, state] : m_states)
        if (!state.subscriber || stream->values.contains(topic))
            stream->put(topic, written(state.event, state.describe(language)));
    m_streams.push_back(std::move(owned));
    if (!m_heartbeat.isActive())
        m_heartbeat.start(m_heartbeatMs);
    flush(stream);
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
    // After subscribing: a change between the two is told twice rather than never.
    state.describe = describeValue(path, CMRoot()->getValue(path));
}

void EventStreams::change(const QString& topic, const QByteArray& event, const Describe& describe)
{
    State& state = m_states[topic];
    state.event = event;
    state.describe = describe;
    const bool isValue = state.subscriber != nullptr; // the state may go with its last reader
    Written text(event, describe);
    for (std::size_t i = m_streams.size(); i-- > 0;) {
        Stream* const stream = m_streams[i].get();
        if (isValue && !stream->values.contains(topic))
            continue;
        stream->put(topic, text.in(*stream->language));
        flush(stream);
    }
}

void EventStreams::flush(Stream* stream)
{
    for (;;) {
        if (stream->output.isEmpty()) {
            if (stream->waiting.isEmpty())
                break;
            stream->output = stream->waiting.takeFirst().text;
        }
        const ssize_t sent = ::send(stream->connection->socket(), stream->output.constData(),
                                    size_t(stream->output.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            stream->output.remove(0, int(sent));
            stream->silentHeartbeats = 0;
        } else if (errno == EAGAIN) {
            stream->writable->setEnabled(true);
            return;
        } else if (errno != EINTR) {
            drop(stream);
            return;
        }
    }
    stream->writable->setEnabled(false);
}

void EventStreams::drop(Stream* stream)
{
    const auto it =
        std::find_if(m_streams.begin(), m_streams.end(),
                     [stream](const std::unique_ptr<Stream>& one) { return one.get() == stream; });
    const QSet<QString> values = stream->values;
    m_streams.erase(it);
    // A value that nobody follows any longer is not followed here either.
    for (const QString& topic : values)
        if (std::none_of(m_streams.cbegin(), m_streams.cend(), [&topic](const std::unique_ptr<Stream>& one) {
                return one->values.contains(topic);
            }))
            m_states.erase(topic);
    if (m_streams.empty())
        m_heartbeat.stop();
}

void EventStreams::beat()
{
    for (std::size_t i = m_streams.size(); i-- > 0;) {
        Stream* const stream = m_streams[i].get();
        if (stream->output.isEmpty())
            stream->output = comment;
        else if (++stream->silentHeartbeats >= mostSilentHeartbeats) {
            drop(stream);
            continue;
        }
        flush(stream);
    }
}

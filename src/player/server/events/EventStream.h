#pragma once

#include "player/server/Translations.h"
#include "player/server/http/HttpMessage.h"

#include <QSet>

#include <deque>

/// The unsent events of one reader: the latest of each state, and the latest few notices.
class EventStream : public ByteSource
{
public:
    /// `values`: the topics of the values that it follows. `mayRead`: whether its reader still may. `closed`
    /// is called when its connection has ended.
    EventStream(const Language& language, QSet<QString> values, int mostNotices,
                std::function<bool()> mayRead, std::function<void(EventStream*)> closed);
    ~EventStream() override;

    /// Adds an event; it replaces a waiting one with the same topic. Without a topic it is a notice.
    void put(const QString& topic, const QByteArray& text);
    /// Adds a comment if no event is waiting.
    void beat();
    /// Ends where its reader may read no longer.
    void check();
    /// Ends the stream.
    void end();

    int read(char* bytes, int size) override;
    const Language& language() const { return m_language; }
    bool follows(const QString& topic) const { return m_values.contains(topic); }
    const QSet<QString>& values() const { return m_values; }

private:
    struct Waiting
    {
        QString topic;
        QByteArray text;
    };

    const Language& m_language;
    const QSet<QString> m_values;
    const int m_mostNotices;
    std::function<bool()> m_mayRead;
    std::function<void(EventStream*)> m_closed;
    QByteArray m_output; // is being read
    int m_read = 0;      // of it
    std::deque<Waiting> m_waiting;
    bool m_ended = false;
};

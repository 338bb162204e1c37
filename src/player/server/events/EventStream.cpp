#include "player/server/events/EventStream.h"

#include <algorithm>
#include <cstring>

namespace {

/// How soon a browser reconnects after the connection is lost.
const QByteArray greeting = QByteArrayLiteral("retry: 2000\n\n");
const QByteArray comment = QByteArrayLiteral(":\n\n");

} // namespace

EventStream::EventStream(const Language& language, QSet<QString> values, int mostNotices,
                         std::function<bool()> mayRead, std::function<void(EventStream*)> closed)
    : m_language(language)
    , m_values(std::move(values))
    , m_mostNotices(mostNotices)
    , m_mayRead(std::move(mayRead))
    , m_closed(std::move(closed))
    , m_output(greeting)
{
}

EventStream::~EventStream()
{
    m_closed(this);
}

void EventStream::put(const QString& topic, const QByteArray& text)
{
    const auto isSame = [&topic](const Waiting& one) { return one.topic == topic; };
    auto first = std::find_if(m_waiting.begin(), m_waiting.end(), isSame);
    const bool isNotice = topic.isEmpty();
    if (isNotice && std::count_if(m_waiting.cbegin(), m_waiting.cend(), isSame) < m_mostNotices)
        first = m_waiting.end();
    if (first != m_waiting.end() && !isNotice) {
        first->text = text;
    } else {
        if (first != m_waiting.end())
            m_waiting.erase(first);
        m_waiting.push_back({topic, text});
    }
    if (wake)
        wake();
}

void EventStream::beat()
{
    if (!m_output.isEmpty() || !m_waiting.empty())
        return;
    m_output = comment;
    m_read = 0;
    if (wake)
        wake();
}

void EventStream::check()
{
    if (!m_mayRead())
        end();
}

void EventStream::end()
{
    m_ended = true;
    if (wake)
        wake();
}

int EventStream::read(char* bytes, int size)
{
    int moved = 0;
    while (moved < size && !m_ended) {
        if (m_output.isEmpty() && !m_waiting.empty()) {
            m_output = std::move(m_waiting.front().text);
            m_waiting.pop_front();
            m_read = 0;
        }
        if (m_output.isEmpty())
            break;
        const int part = std::min(size - moved, m_output.size() - m_read);
        std::memcpy(bytes + moved, m_output.constData() + m_read, size_t(part));
        moved += part;
        m_read += part;
        if (m_read == m_output.size())
            m_output.clear();
    }
    return m_ended ? ended : moved;
}

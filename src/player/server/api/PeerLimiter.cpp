#include "player/server/api/PeerLimiter.h"

void PeerLimiter::enter(const Visitor& visitor)
{
    if (m_inside.value(visitor.peer) < m_perPeer)
        begin(visitor);
    else
        m_lines[visitor.peer].push_back(visitor);
}

int PeerLimiter::waiting()
{
    int count = 0;
    for (auto& line : m_lines) {
        line.remove_if([](const Visitor& visitor) { return !visitor.isStillThere(); });
        count += int(line.size());
    }
    return count;
}

void PeerLimiter::begin(const Visitor& visitor)
{
    ++m_inside[visitor.peer];
    visitor.begin(
        Turn(nullptr, [self = shared_from_this(), peer = visitor.peer](void*) { self->leave(peer); }));
}

void PeerLimiter::leave(const QByteArray& peer)
{
    if (--m_inside[peer] == 0)
        m_inside.remove(peer);
    for (auto line = m_lines.find(peer); line != m_lines.end(); line = m_lines.find(peer)) {
        const Visitor next = std::move(line->front());
        line->pop_front();
        if (line->empty())
            m_lines.erase(line);
        if (next.isStillThere()) {
            begin(next);
            return;
        }
    }
}

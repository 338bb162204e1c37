#pragma once

#include "player/server/http/HttpMessage.h"

#include <QHash>

#include <list>

/// Limits the number of concurrent requests per peer; further ones wait. One peer never delays another.
class PeerLimiter : public std::enable_shared_from_this<PeerLimiter>
{
public:
    /// Ends the turn when its last handle goes.
    using Turn = std::shared_ptr<void>;
    struct Visitor
    {
        QByteArray peer;
        std::function<bool()> isStillThere; ///< called before its turn begins
        std::function<void(const Turn&)> begin;
    };

    explicit PeerLimiter(int perPeer)
        : m_perPeer(perPeer)
    {
    }

    /// Starts a request now or when its turn comes.
    void enter(const Visitor& visitor);
    /// How many of a peer wait.
    int waiting(const QByteArray& peer) const { return int(m_lines.value(peer).size()); }
    /// The number of waiting requests whose client is still connected.
    int waiting();
    /// Starts no more requests.
    void close() { m_lines.clear(); }

private:
    void begin(const Visitor& visitor);
    void leave(const QByteArray& peer);

    const int m_perPeer;
    QHash<QByteArray, int> m_inside;
    QHash<QByteArray, std::list<Visitor>> m_lines;
};

#pragma once

#include "player/server/http/HttpMessage.h"

#include <QHash>

#include <list>

/// Lets in so many requests of each peer at once; others wait for their turn, so that one peer's requests
/// never hold up another's.
class Turnstile : public std::enable_shared_from_this<Turnstile>
{
public:
    /// Ends the turn when its last handle goes.
    using Turn = std::shared_ptr<void>;
    struct Visitor
    {
        QByteArray peer;
        std::function<bool()> isStillThere; ///< asked before its turn begins
        std::function<void(const Turn&)> begin;
    };

    explicit Turnstile(int perPeer)
        : m_perPeer(perPeer)
    {
    }

    /// Begins a visitor's turn, now or later.
    void enter(const Visitor& visitor);
    /// How many of a peer wait.
    int waiting(const QByteArray& peer) const { return int(m_lines.value(peer).size()); }
    /// How many wait, without those that have gone.
    int waiting();
    /// No turn begins any longer.
    void close() { m_lines.clear(); }

private:
    void begin(const Visitor& visitor);
    void leave(const QByteArray& peer);

    const int m_perPeer;
    QHash<QByteArray, int> m_inside;
    QHash<QByteArray, std::list<Visitor>> m_lines;
};

#include "player/play/QueueTurns.h"

int QueueTurns::begin(bool replaces)
{
    m_open.insert(++m_last, replaces);
    return m_last;
}

void QueueTurns::end(int turn)
{
    m_open.remove(turn);
    Q_EMIT settled();
    if (m_open.isEmpty())
        Q_EMIT allEnded();
}

bool QueueTurns::isToBeReplaced(int turn) const
{
    for (auto it = m_open.upperBound(m_emptiedTurn); it != m_open.end() && it.key() < turn; ++it)
        if (it.value())
            return true;
    return false;
}

void QueueTurns::emptied(int turn)
{
    m_emptiedTurn = turn != 0 ? turn : ++m_last;
    if (m_open.contains(turn))
        m_open[turn] = false;
    Q_EMIT settled();
}

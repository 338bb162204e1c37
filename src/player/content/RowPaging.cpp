#include "player/content/RowPaging.h"

#include <algorithm>

RowPaging::RowPaging(int from, int to)
    : m_next(std::max(0, from))
    // One page is requested even beyond the end of the list, because it states the total.
    , m_to(std::min(to, std::max(m_next, mostRows - 1)))
    , m_isComplete(m_next > m_to)
{
}

int RowPaging::last() const
{
    // Not m_next + pageSize - 1, which may not fit.
    return m_to - m_next < pageSize ? m_to : m_next + pageSize - 1;
}

int RowPaging::take(int rows, int total)
{
    const int kept = std::clamp(rows, 0, last() - m_next + 1);
    const long long end = static_cast<long long>(m_next) + kept;
    m_total = std::clamp(total, 0, mostRows);
    if (kept > 0)
        m_total = int(std::clamp<long long>(end, m_total, mostRows));
    m_isComplete = kept == 0 || end > m_to || end >= m_total;
    if (!m_isComplete)
        m_next = int(end);
    return kept;
}

#pragma once

/// Which rows of a list to request next, until a range is complete. Every loop over it ends, because totals
/// and pages of a service are not trusted: the total is clamped between the rows received and mostRows, a
/// page counts for at most the rows requested, and an empty page ends the list. A value.
class RowPaging
{
public:
    /// The most rows that are requested at once.
    static constexpr int pageSize = 50;
    /// Maximum number of rows of a list, whatever its service says.
    static constexpr int mostRows = 1000000;

    /// For the rows `from` to `to`, both inclusive and counted from 0.
    RowPaging(int from, int to);

    bool isComplete() const { return m_isComplete; }
    /// The range to request next, both inclusive. Not to be called once complete.
    int first() const { return m_next; }
    int last() const;
    /// Takes a reply: its number of rows and the total that it states. Returns how many of the rows to keep.
    int take(int rows, int total);
    /// The rows of the whole list, 0 before the first reply.
    int total() const { return m_total; }

private:
    int m_next;
    int m_to;
    int m_total = 0;
    bool m_isComplete;
};

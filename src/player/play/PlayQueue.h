#pragma once

#include "api/core/model/cmerror.h"
#include "api/types/pelkroles.h"

#include <QObject>
#include <QVector>

#include <functional>

/// What is to be played: one row, or the playable rows of a container in their order, which are asked for
/// page by page as they are needed. Main thread; nothing blocks.
class PlayQueue : public QObject
{
    Q_OBJECT

public:
    /// One row.
    explicit PlayQueue(const PelkRoles& row, QObject* parent = nullptr);
    /// The rows of a container.
    explicit PlayQueue(const CMPath& container, QObject* parent = nullptr);

    /// Called once with the next row, or with neither row nor error at the end of the queue, or with the
    /// error that the rows could not be had.
    using Callback = std::function<void(const PelkRoles& row, const CMError& error)>;
    /// Asks for the next row. One call at a time. The callback may come at once.
    void next(const Callback& callback);

    /// Whether a row can be played: it says where its stream is asked for.
    static bool isPlayable(const PelkRoles& row);

private:
    void askForPage(const Callback& callback);

    CMPath m_container;
    QVector<PelkRoles> m_rows; // the playable rows that are here and have not been taken
    int m_nextIndex = 0;       // where the next page begins
    bool m_complete;           // whether there are no more pages
};

#pragma once

#include "api/core/model/cmrequest.h"
#include "player/content/ContentClient.h"
#include "player/content/KnownContainers.h"

#include <QVector>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

/// Asks the content model from threads that may wait for it. Every operation throws a Problem: what the
/// content model says, or that it gave no answer in time. An answer that nobody wants any longer is not
/// waited for. Any thread but those of modules and the main one.
class ContentCalls
{
public:
    /// Whether somebody still waits for what the calling thread asks. Must not block.
    using IsWanted = std::function<bool()>;

    /// The paths in `closed` are neither read nor set from here.
    ContentCalls(const QList<CMPath>& closed, int limitMs, IsWanted isWanted);

    /// Reads the text form of a path from outside.
    CMPath path(const QString& text) const;
    /// The rows `from` to `to`, as ContentClient::rows().
    RowPage rows(const CMPath& path, int from, int to);
    /// The values of roles, one entry a role. Of a container without a node: what the row said that led to
    /// it.
    QVariantList data(const CMPath& path, const QStringList& roles);
    /// Sets the value of what has one; gives what the set-data request's reply carries.
    QVariant setValue(const CMPath& path, const QVariant& value);
    /// What the rows that were asked for here say of a container; empty when they say nothing.
    PelkRoles known(const CMPath& path) const { return m_known.find(path); }
    /// From now on nobody waits: what is waited for ends with a Problem.
    void end();

private:
    using Clock = std::chrono::steady_clock;

    struct Waiting
    {
        std::mutex mutex;
        std::condition_variable changed;
        bool ended = false;
    };

    void checkWanted() const;
    void wait(const CMVoidReply& reply, const CMPath& path, Clock::time_point until);

    const QList<CMPath> m_closed;
    const std::chrono::milliseconds m_limit;
    const IsWanted m_isWanted;
    KnownContainers m_known;
    const std::shared_ptr<Waiting> m_waiting; // shared with replies that finish after this has gone
};

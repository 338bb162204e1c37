#pragma once

#include "player/content/ContentClient.h"
#include "player/content/KnownContainers.h"
#include "player/server/api/PeerLimiter.h"
#include "player/server/api/Route.h"
#include "player/server/http/Limits.h"

#include <QObject>

#include <set>

/// Sends requests to the content model without waiting. Each operation calls `done` later or fails the HTTP
/// request, with the content model's error or after a time-out. A request is abandoned when its browser
/// disconnects.
class ContentRequests : public QObject
{
    Q_OBJECT

public:
    /// The paths in `closed` can be neither read nor set.
    ContentRequests(const QList<CMPath>& closed, const Limits& limits);
    ~ContentRequests() override;

    /// Reads the text form of a path from outside. Throws a Problem.
    CMPath path(const QString& text) const;

    /// Who asks.
    struct Asking
    {
        Peer peer;
        ApiResponder responder;
    };
    /// The rows `from` to `to`, completed from the model's pages.
    void rows(const Asking& asking, const CMPath& path, int from, int to,
              const std::function<void(const RowPage&)>& done);
    /// The values of roles, one entry a role. Of a container without a node: what the row said that led to
    /// it.
    void data(const Asking& asking, const CMPath& path, const QStringList& roles,
              const std::function<void(const QVariantList&)>& done);
    /// Sets the value at a path; `done` receives the reply of the set-data request.
    void setValue(const Asking& asking, const CMPath& path, const QVariant& value,
                  const std::function<void(const QVariant&)>& done);

    /// The cached row of a container; empty if it is unknown.
    PelkRoles known(const CMPath& path) const { return m_known.find(path); }
    /// Fails all waiting requests.
    void end();

private:
    struct Ask;
    using AskPointer = std::shared_ptr<Ask>;
    struct Reading
    {
        RowPage page;
        RowPaging paging;
    };
    using Step = std::function<void(const CMError&)>;

    void begin(const std::shared_ptr<PeerLimiter>& limiter, const Asking& asking, const CMPath& path,
               const std::function<void(const AskPointer&)>& start);
    void wait(const AskPointer& ask, const CMVoidReply& reply, const Step& next);
    void askRows(const AskPointer& ask, const std::shared_ptr<Reading>& reading,
                 const std::function<void(const RowPage&)>& done);
    void fail(const AskPointer& ask, const Problem& problem);
    void close(const AskPointer& ask);

    const QList<CMPath> m_closed;
    const Limits m_limits;
    const std::shared_ptr<PeerLimiter> m_reads;
    const std::shared_ptr<PeerLimiter> m_writes;
    KnownContainers m_known;
    std::set<AskPointer> m_asks; // those that wait for a turn or for the content model
};

#include "player/server/api/ContentRequests.h"

#include "api/core/model/cmabstractworker.h"
#include "player/server/ServerText.h"

#include <QTimer>

struct ContentRequests::Ask
{
    Ask(const Asking& whoAsks, const CMPath& askedPath)
        : asking(whoAsks)
        , path(askedPath)
    {
        deadline.setSingleShot(true);
    }

    Asking asking;
    CMPath path;
    PeerLimiter::Turn turn;
    std::shared_ptr<Step> next; // what the reply that is waited for leads to
    QTimer deadline;
};

ContentRequests::ContentRequests(const QList<CMPath>& closed, const Limits& limits)
    : m_closed(closed)
    , m_limits(limits)
    , m_reads(std::make_shared<PeerLimiter>(limits.readsPerPeer))
    , m_writes(std::make_shared<PeerLimiter>(limits.writesPerPeer))
{
}

ContentRequests::~ContentRequests()
{
    end();
}

CMPath ContentRequests::path(const QString& text) const
{
    CMPath path;
    QString error;
    if (text.size() > m_limits.pathLetters)
        throw Problem(414, serverText(QT_TRANSLATE_NOOP("PanelServer", "The path is too long.")));
    if (!text.isEmpty() && !CMPath::parse(text, &path, &error))
        throw Problem(400, TrString(error));
    if (m_closed.contains(path.withoutParams()))
        throw Problem(403, serverText(QT_TRANSLATE_NOOP("PanelServer",
                                                        "\"%1\" is only accessible to the player itself."),
                                      {path.toString()}));
    return path;
}

void ContentRequests::rows(const Asking& asking, const CMPath& path, int from, int to,
                           const std::function<void(const RowPage&)>& done)
{
    const auto reading = std::make_shared<Reading>(Reading{{}, RowPaging(from, to)});
    reading->page.from = from;
    begin(m_reads, asking, path,
          [this, reading, done](const AskPointer& ask) { askRows(ask, reading, done); });
}

void ContentRequests::askRows(const AskPointer& ask, const std::shared_ptr<Reading>& reading,
                              const std::function<void(const RowPage&)>& done)
{
    const CMGetRowsRequest request(ask->path, reading->paging.first(), reading->paging.last(),
                                   ContentClient::allRoles(), reading->page.version);
    CMRoot()->getRowsRequest(request);
    wait(ask, request.reply(), [=](const CMError& error) {
        if (error.isSet()) {
            fail(ask, Problem(error));
            return;
        }
        reading->page.take(request.reply().value(), &reading->paging);
        if (!reading->paging.isComplete()) {
            askRows(ask, reading, done);
            return;
        }
        m_known.add(reading->page.rows);
        close(ask);
        done(reading->page);
    });
}

void ContentRequests::data(const Asking& asking, const CMPath& path, const QStringList& roles,
                           const std::function<void(const QVariantList&)>& done)
{
    begin(m_reads, asking, path, [=](const AskPointer& ask) {
        const CMGetDataRequest request(path, roles);
        CMRoot()->getDataRequest(request);
        wait(ask, request.reply(), [=](const CMError& error) {
            const PelkRoles known = error.isSet() ? m_known.find(path) : PelkRoles();
            if (error.isSet() && known.isEmpty()) {
                fail(ask, Problem(error));
                return;
            }
            QVariantList values = error.isSet() ? QVariantList() : request.reply().value().toList();
            for (const QString& role : error.isSet() ? roles : QStringList())
                values.append(known.value(role));
            close(ask);
            done(values);
        });
    });
}

void ContentRequests::setValue(const Asking& asking, const CMPath& path, const QVariant& value,
                               const std::function<void(const QVariant&)>& done)
{
    const auto set = [=](const AskPointer& ask) {
        const CMSetDataRequest request(path, PelkRoles::Value(), value);
        CMRoot()->setDataRequest(request);
        wait(ask, request.reply(), [=](const CMError& error) {
            if (error.isSet()) {
                fail(ask, Problem(error));
                return;
            }
            close(ask);
            done(request.reply().value());
        });
    };
    // A path without a value cannot be set: modules also accept requests that only the player may send.
    begin(m_writes, asking, path, [=](const AskPointer& ask) {
        const CMGetDataRequest request(path, {PelkRoles::Value()});
        CMRoot()->getDataRequest(request);
        wait(ask, request.reply(), [=](const CMError& error) {
            if (error.isSet())
                fail(ask, Problem(error));
            else if (request.reply().value().toList().value(0).isValid())
                set(ask);
            else
                fail(ask,
                     Problem(403, serverText(QT_TRANSLATE_NOOP("PanelServer", "\"%1\" has no value to set."),
                                             {path.toString()})));
        });
    });
}

void ContentRequests::end()
{
    m_reads->close();
    m_writes->close();
    const std::set<AskPointer> asks = m_asks;
    for (const AskPointer& ask : asks)
        fail(ask, Problem(503, serverText(QT_TRANSLATE_NOOP("PanelServer", "The player is shutting down."))));
}

void ContentRequests::begin(const std::shared_ptr<PeerLimiter>& limiter, const Asking& asking,
                            const CMPath& path, const std::function<void(const AskPointer&)>& start)
{
    // Refused only if the open requests and those waiting for a turn have both reached the limit.
    const bool isHouseFull = m_asks.size() >= size_t(m_limits.waitingRequests) &&
                             m_reads->waiting() + m_writes->waiting() >= m_limits.waitingRequests;
    if (isHouseFull ||
        (!asking.peer.isLoopback && limiter->waiting(asking.peer.address) >= m_limits.waitingPerPeer))
        throw Problem(
            503, serverText(QT_TRANSLATE_NOOP("PanelServer", "Too many requests are waiting. Try again.")));
    const auto ask = std::make_shared<Ask>(asking, path);
    const std::weak_ptr<Ask> weak = ask;
    const auto giveUp = [this, weak] {
        if (const AskPointer held = weak.lock())
            close(held);
    };
    connect(&ask->deadline, &QTimer::timeout, this, [this, weak] {
        if (const AskPointer held = weak.lock())
            fail(held, Problem(504, ContentClient::noAnswer(held->path, m_limits.contentMs)));
    });
    m_asks.insert(ask);
    asking.responder.onGone(giveUp);
    PeerLimiter::Visitor visitor;
    visitor.peer = asking.peer.address;
    visitor.isStillThere = [giveUp, responder = asking.responder] {
        const bool isOpen = responder.isOpen();
        if (!isOpen)
            giveUp();
        return isOpen;
    };
    visitor.begin = [this, ask, start](const PeerLimiter::Turn& turn) {
        ask->turn = turn;
        ask->deadline.start(m_limits.contentMs);
        start(ask);
    };
    limiter->enter(visitor);
}

void ContentRequests::wait(const AskPointer& ask, const CMVoidReply& reply, const Step& next)
{
    // The reply owns its watchers, so a watcher must not own the owner of the reply.
    ask->next = std::make_shared<Step>(next);
    reply.addWatcher([weak = std::weak_ptr<Step>(ask->next)](const CMVoidReply& finished) {
        if (const auto step = weak.lock())
            (*step)(finished.error());
    });
}

void ContentRequests::fail(const AskPointer& ask, const Problem& problem)
{
    close(ask);
    ask->asking.responder.fail(problem);
}

void ContentRequests::close(const AskPointer& ask)
{
    m_asks.erase(ask);
    ask->next.reset();
    ask->deadline.stop();
    ask->turn.reset();
}

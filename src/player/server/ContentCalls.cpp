#include "player/server/ContentCalls.h"

#include "api/core/model/cmabstractworker.h"
#include "player/server/Problem.h"
#include "player/server/ServerText.h"

#include <algorithm>

namespace {

constexpr int longestPathLetters = 4096;
constexpr int contentError = 502;
/// How soon it is seen that a browser has gone.
constexpr std::chrono::milliseconds lookMs(200);

} // namespace

ContentCalls::ContentCalls(const QList<CMPath>& closed, int limitMs, IsWanted isWanted)
    : m_closed(closed)
    , m_limit(limitMs)
    , m_isWanted(std::move(isWanted))
    , m_waiting(std::make_shared<Waiting>())
{
}

CMPath ContentCalls::path(const QString& text) const
{
    CMPath path;
    QString error;
    if (text.size() > longestPathLetters)
        throw Problem(414, serverText(QT_TRANSLATE_NOOP("PanelServer", "The path is too long.")));
    if (!text.isEmpty() && !CMPath::parse(text, &path, &error))
        throw Problem(400, TrString(error));
    if (m_closed.contains(path.withoutParams()))
        throw Problem(403, serverText(QT_TRANSLATE_NOOP("PanelServer", "\"%1\" stays within the player."),
                                      {path.toString()}));
    return path;
}

RowPage ContentCalls::rows(const CMPath& path, int from, int to)
{
    const Clock::time_point until = Clock::now() + m_limit;
    RowPage page;
    page.from = from;
    for (RowPaging paging(from, to); !paging.isComplete();) {
        const CMGetRowsRequest request(path, paging.first(), paging.last(), ContentClient::allRoles(),
                                       page.version);
        checkWanted();
        CMRoot()->getRowsRequest(request);
        wait(request.reply(), path, until);
        page.take(request.reply().value(), &paging);
    }
    m_known.add(page.rows);
    return page;
}

QVariantList ContentCalls::data(const CMPath& path, const QStringList& roles)
{
    const CMGetDataRequest request(path, roles);
    CMRoot()->getDataRequest(request);
    try {
        wait(request.reply(), path, Clock::now() + m_limit);
    } catch (const Problem& problem) {
        const PelkRoles known = m_known.find(path);
        if (problem.status != contentError || known.isEmpty())
            throw;
        QVariantList values;
        for (const QString& role : roles)
            values.append(known.value(role));
        return values;
    }
    return request.reply().value().toList();
}

QVariant ContentCalls::setValue(const CMPath& path, const QVariant& value)
{
    // What has no value has nothing to set either: modules also take requests at paths where the player alone
    // speaks to them.
    if (!data(path, {PelkRoles::Value()}).value(0).isValid())
        throw Problem(403,
                      serverText(QT_TRANSLATE_NOOP("PanelServer", "\"%1\" has no value that can be set."),
                                 {path.toString()}));
    const CMSetDataRequest request(path, PelkRoles::Value(), value);
    CMRoot()->setDataRequest(request);
    wait(request.reply(), path, Clock::now() + m_limit);
    return request.reply().value();
}

void ContentCalls::end()
{
    {
        const std::lock_guard<std::mutex> lock(m_waiting->mutex);
        m_waiting->ended = true;
    }
    m_waiting->changed.notify_all();
}

void ContentCalls::checkWanted() const
{
    if (!m_isWanted())
        throw Problem(503, serverText(QT_TRANSLATE_NOOP("PanelServer", "The browser has gone.")));
}

void ContentCalls::wait(const CMVoidReply& reply, const CMPath& path, Clock::time_point until)
{
    const auto finished = std::make_shared<bool>(false);
    reply.addWatcher(
        [waiting = m_waiting, finished](const CMVoidReply&) {
            const std::lock_guard<std::mutex> lock(waiting->mutex);
            *finished = true;
            waiting->changed.notify_all();
        },
        Qt::DirectConnection);
    std::unique_lock<std::mutex> lock(m_waiting->mutex);
    const auto isOver = [this, &finished] { return m_waiting->ended || *finished; };
    bool inTime = isOver();
    while (!inTime && Clock::now() < until) {
        inTime = m_waiting->changed.wait_until(lock, std::min(until, Clock::now() + lookMs), isOver);
        if (!inTime)
            checkWanted();
    }
    const bool isFinished = *finished;
    lock.unlock();
    if (isFinished && reply.error().isSet())
        throw Problem(reply.error());
    if (isFinished)
        return;
    if (inTime)
        throw Problem(503, serverText(QT_TRANSLATE_NOOP("PanelServer", "The player ends.")));
    throw Problem(504, ContentClient::noAnswer(path, int(m_limit.count())));
}

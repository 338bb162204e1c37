#include "player/play/QueueLoader.h"

#include "api/core/model/cmabstractworker.h"
#include "player/content/ContentClient.h"
#include "player/content/KnownContainers.h"
#include "player/content/WhenFinished.h"

namespace {

/// The requested container and the containers in it.
constexpr int mostLevels = 2;

/// So many rows are looked at, whatever the containers say of their sizes: enough to fill the queue twice.
constexpr int mostRows = 2 * PlayQueue::mostEntries;

constexpr const char* listIsTooLong =
    QT_TRANSLATE_NOOP("QueueLoader", "The list is too long: only its first %1 rows were checked.");
constexpr const char* queueIsFull =
    QT_TRANSLATE_NOOP("QueueLoader", "The queue is full: it holds %1 tracks.");

} // namespace

QueueLoader::QueueLoader(PlayQueue* queue, const CMPath& container, PlayQueue::Where where, int from, int to,
                         QObject* parent)
    : QObject(parent)
    , m_queue(queue)
    , m_source(container)
    , m_levels{Level{container, {}, from, to, -1, {}, false}}
    , m_where(where)
{
}

QueueLoader::~QueueLoader()
{
    if (m_loading)
        m_queue->turns().end(m_turn);
}

void QueueLoader::start()
{
    m_loading = true;
    m_turn = m_queue->turns().begin(m_where == PlayQueue::Where::Replace);
    // Queued, because the loader that triggers it may be processing a page.
    connect(
        &m_queue->turns(), &QueueTurns::settled, this,
        [this] {
            if (m_loading && m_waiting)
                goOn();
        },
        Qt::QueuedConnection);
    requestPage();
}

void QueueLoader::requestPage()
{
    if (m_looked >= mostRows) {
        finish(TrString(TrCharData{"QueueLoader", listIsTooLong}, {mostRows}));
        return;
    }
    const Level& level = m_levels.last();
    int last = level.next + ContentClient::pageSize - 1;
    if (level.to >= 0)
        last = qMin(last, level.to);
    const CMGetRowsRequest request(level.path, level.next, last, ContentClient::allRoles());
    whenFinished(this, request.reply(), level.path,
                 [this](const CMVoidReply& finished, const CMError& error) {
                     if (error.isSet()) {
                         finish(ContentClient::userMessage(error));
                         return;
                     }
                     const PelkRowsRoles reply = CMReply<PelkRowsRoles>::from(finished).value();
                     takePage(ContentClient::rowsOf(reply), reply.rowsCount());
                 });
    CMRoot()->getRowsRequest(request);
}

void QueueLoader::takePage(const QVector<PelkRoles>& rows, int count)
{
    Level& level = m_levels.last();
    m_looked += qMax(1, rows.size()); // an empty container costs a request, too
    level.waiting = rows;
    level.next += rows.size();
    level.complete = rows.isEmpty() || level.next >= count || (level.to >= 0 && level.next > level.to);
    goOn();
}

void QueueLoader::goOn()
{
    m_waiting = m_queue->turns().isToBeReplaced(m_turn);
    if (m_waiting)
        return;
    if (wasOvertaken()) {
        finish(TrString());
        return;
    }
    while (!m_levels.isEmpty()) {
        if (!addWaiting()) {
            finish(TrString(TrCharData{"QueueLoader", queueIsFull}, {PlayQueue::mostEntries}));
            return;
        }
        Level& level = m_levels.last();
        if (!level.waiting.isEmpty()) { // a container
            const PelkRoles row = level.waiting.takeFirst();
            const int place = level.place >= 0 ? level.place : level.next - level.waiting.size() - 1;
            m_levels.append(Level{row.path(), row, 0, -1, place, {}, false});
            requestPage();
            return;
        }
        if (!level.complete) {
            requestPage();
            return;
        }
        m_levels.removeLast();
    }
    finish(TrString());
}

/// Adds the tracks up to the next container that has to be expanded. False if the queue is full.
bool QueueLoader::addWaiting()
{
    Level& level = m_levels.last();
    QVector<PelkRoles> playable;
    QVector<int> places;
    int taken = 0;
    for (const PelkRoles& row : qAsConst(level.waiting)) {
        const bool isContainer = row.type() == PelkRolesType::Container && row.containerPlayable();
        if (isContainer && m_levels.size() < mostLevels)
            break;
        if (PlayQueue::isPlayable(row)) {
            playable.append(KnownContainers::completed(row, level.row));
            places.append(level.place >= 0 ? level.place : level.next - level.waiting.size() + taken);
        }
        ++taken;
    }
    level.waiting.remove(0, taken);
    if (playable.isEmpty())
        return true;
    QVector<int> ids;
    if (m_first && m_where == PlayQueue::Where::Replace)
        ids = m_queue->replace(playable, m_turn, m_source);
    else if (m_first || m_where == PlayQueue::Where::End)
        ids = m_queue->add(playable, m_where, m_source);
    else
        ids = m_queue->addAfter(m_lastId, playable, m_source);
    m_first = false;
    m_added += ids.size();
    places.resize(ids.size());
    if (!ids.isEmpty()) {
        m_lastId = ids.last();
        Q_EMIT pageAdded(ids, places);
    }
    return ids.size() == playable.size();
}

void QueueLoader::finish(const TrString& sentence)
{
    m_loading = false;
    m_queue->turns().end(m_turn);
    Q_EMIT finished(sentence);
}

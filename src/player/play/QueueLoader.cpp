#include "player/play/QueueLoader.h"

#include "api/core/model/cmabstractworker.h"
#include "player/content/ContentClient.h"
#include "player/content/ReplyLimit.h"

QueueLoader::QueueLoader(PlayQueue* queue, const CMPath& container, PlayQueue::Where where, int from, int to,
                         QObject* parent)
    : QObject(parent)
    , m_queue(queue)
    , m_container(container)
    , m_where(where)
    , m_nextIndex(from)
    , m_to(to)
{
}

QueueLoader::~QueueLoader()
{
    if (m_loading)
        m_queue->endGrowth();
}

void QueueLoader::start()
{
    m_loading = true;
    m_generation = m_queue->generation();
    m_queue->beginGrowth();
    askForPage();
}

void QueueLoader::askForPage()
{
    int last = m_nextIndex + ContentClient::pageSize - 1;
    if (m_to >= 0)
        last = qMin(last, m_to);
    const CMGetRowsRequest request(m_container, m_nextIndex, last, ContentClient::allRoles());
    whenFinished(this, request.reply(), m_container,
                 [this](const CMVoidReply& finished, const CMError& error) {
                     if (error.isSet()) {
                         finish(ContentClient::sentence(error));
                         return;
                     }
                     const PelkRowsRoles reply = CMReply<PelkRowsRoles>::from(finished).value();
                     takePage(ContentClient::rowsOf(reply), reply.rowsCount());
                 });
    CMRoot()->getRowsRequest(request);
}

void QueueLoader::takePage(const QVector<PelkRoles>& rows, int count)
{
    if (m_queue->generation() != m_generation) {
        finish(QString());
        return;
    }
    QVector<PelkRoles> playable;
    QVector<int> places;
    for (int i = 0; i < rows.size(); ++i) {
        if (!PlayQueue::isPlayable(rows.at(i)))
            continue;
        playable.append(rows.at(i));
        places.append(m_nextIndex + i);
    }
    m_nextIndex += rows.size();
    QVector<int> ids;
    if (!playable.isEmpty()) {
        if (m_first)
            ids = m_queue->add(playable, m_where);
        else if (m_where == PlayQueue::Where::Next)
            ids = m_queue->addAfter(m_lastId, playable);
        else
            ids = m_queue->add(playable, PlayQueue::Where::End);
        m_first = false;
        m_generation = m_queue->generation();
        m_added += ids.size();
        places.resize(ids.size());
        if (!ids.isEmpty()) {
            m_lastId = ids.last();
            Q_EMIT pageAdded(ids, places);
        }
    }
    if (ids.size() < playable.size())
        finish(QStringLiteral("The queue is full: it holds %1 tracks.").arg(PlayQueue::mostEntries));
    else if (rows.isEmpty() || m_nextIndex >= count || (m_to >= 0 && m_nextIndex > m_to))
        finish(QString());
    else
        askForPage();
}

void QueueLoader::finish(const QString& sentence)
{
    m_loading = false;
    m_queue->endGrowth();
    Q_EMIT finished(sentence);
}

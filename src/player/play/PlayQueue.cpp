#include "player/play/PlayQueue.h"

#include "api/core/model/cmabstractworker.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "player/content/ContentClient.h"
#include "player/content/ReplyLimit.h"

PlayQueue::PlayQueue(const PelkRoles& row, QObject* parent)
    : QObject(parent)
    , m_rows{row}
    , m_complete(true)
{
}

PlayQueue::PlayQueue(const CMPath& container, QObject* parent)
    : QObject(parent)
    , m_container(container)
    , m_complete(false)
{
}

bool PlayQueue::isPlayable(const PelkRoles& row)
{
    return !row.mediaData().metaData().prePlayPath().isEmpty();
}

void PlayQueue::next(const Callback& callback)
{
    if (!m_rows.isEmpty())
        callback(m_rows.takeFirst(), CMError());
    else if (m_complete)
        callback(PelkRoles(), CMError());
    else
        askForPage(callback);
}

void PlayQueue::askForPage(const Callback& callback)
{
    const CMGetRowsRequest request(m_container, m_nextIndex, m_nextIndex + ContentClient::pageSize - 1,
                                   ContentClient::allRoles());
    whenFinished(this, request.reply(), m_container,
                 [this, callback](const CMVoidReply& finished, const CMError& error) {
                     if (error.isSet()) {
                         callback(PelkRoles(), error);
                         return;
                     }
                     const PelkRowsRoles reply = CMReply<PelkRowsRoles>::from(finished).value();
                     const QVector<PelkRoles> rows = ContentClient::rowsOf(reply);
                     m_nextIndex += rows.size();
                     m_complete = rows.isEmpty() || m_nextIndex >= reply.rowsCount();
                     for (const PelkRoles& row : rows)
                         if (isPlayable(row))
                             m_rows.append(row);
                     next(callback);
                 });
    CMRoot()->getRowsRequest(request);
}

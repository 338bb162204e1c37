#include "bench/conversion.h"

#include "api/core/json/pelkjson.h"
#include "api/types/pelkqobuzalbums.h"
#include "api/types/pelkqobuztracks.h"
#include "api/types/qobuzpaths.h"
#include "player/content/ContentClient.h"
#include "tests/support/memoryservice.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

MemoryService& service()
{
    static MemoryService instance;
    return instance;
}

QVariant nested(const QJsonValue& value)
{
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        QVariantHash hash;
        hash.reserve(object.size());
        for (auto it = object.begin(); it != object.end(); ++it)
            hash.insert(it.key(), nested(it.value()));
        return hash;
    }
    if (value.isArray()) {
        const QJsonArray array = value.toArray();
        QVariantList list;
        list.reserve(array.size());
        for (const QJsonValue& item : array)
            list.append(nested(item));
        return list;
    }
    return value.isNull() ? QVariant() : value.toVariant();
}

/// The browser's processing of a list, with its public functions.
template <typename Item, typename List>
void sendItems(const List& list, const CMGetRowsRequest& request)
{
    QList<PelkRoles> rows;
    const PelkList<PelkHash> items = list.items();
    rows.reserve(items.size());
    for (const PelkHash& item : items) {
        Item record(item);
        rows.append(service().browser.toRole(record));
    }
    service().browser.sendBrowseReply(rows, list.total(), request);
}

QString pathOf(Page::Kind kind)
{
    return kind == Page::Albums ? PelkQobuzUserFavouriteAlbumsPath() : PelkQobuzUserFavouriteTracksPath();
}

} // namespace

Conversion::Conversion(const Page& page)
    : m_page(page)
    , m_body(page.body)
{
    service();
}

void Conversion::ask()
{
    m_request = CMGetRowsRequest(PelkQobuzBrowsePath() + pathOf(m_page.kind), 0, m_page.count - 1,
                                 ContentClient::allRoles());
    MemoryService::reset();
    if (!service().browser.browse(m_request) || MemoryService::open() != 1)
        qFatal("the row request did not ask the service");
}

void Conversion::answer()
{
    MemoryService::answer(200, m_body);
}

void Conversion::answerByQJsonDocument()
{
    const QVariantHash hash = nested(QJsonDocument::fromJson(m_body).object()).toHash();
    const PelkQobuzUserFavoritesResponse answer{PelkHash(hash)};
    if (m_page.kind == Page::Albums)
        sendItems<PelkQobuzAlbum>(answer.albums(), m_request);
    else
        sendItems<PelkQobuzTrack>(answer.tracks(), m_request);
}

QVariantList Conversion::rows() const
{
    return m_request.reply().value().rows().toList();
}

QByteArray Conversion::rowsAsJson() const
{
    QVariantList objects;
    const QVector<PelkRoles> records = ContentClient::rowsOf(m_request.reply().value());
    for (const PelkRoles& row : records)
        objects.append(row.variant());
    return PelkJson::serialize(objects);
}

void Conversion::check() const
{
    if (!m_request.reply().isFinished())
        qFatal("the row request has no answer");
    QStringList titles;
    const QVector<PelkRoles> records = ContentClient::rowsOf(m_request.reply().value());
    for (const PelkRoles& row : records)
        titles.append(row.title().toString());
    if (titles != m_page.titles || titles.size() != m_page.count)
        qFatal("the reply has %d rows of %d, or not with their titles", titles.size(), m_page.count);
}

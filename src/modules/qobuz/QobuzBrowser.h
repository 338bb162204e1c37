#pragma once

#include "api/core/model/cmrequest.h"
#include "api/types/pelkqobuzalbum.h"
#include "api/types/pelkqobuzarticle.h"
#include "api/types/pelkqobuzartist.h"
#include "api/types/pelkqobuzimage.h"
#include "api/types/pelkqobuzplaylist.h"
#include "api/types/pelkqobuztrack.h"
#include "api/types/pelkroles.h"

#include <QObject>

class CMSubscribe;
class QobuzApi;

/// Answers row requests with rows of the service: requests one page from the API per request and converts its
/// records to rows. Stores nothing about a request. Used on the worker's thread.
class QobuzBrowser : public QObject
{
    Q_OBJECT

public:
    /// Neither is owned.
    QobuzBrowser(QobuzApi* api, CMSubscribe* subscribe);

    /// Starts to answer a request. False, with no effect, for a path of another class.
    bool browse(const CMGetRowsRequest& request);
    /// Answers a request with one page of rows, of which the first is row `from` of the list, and the list's
    /// total.
    void sendBrowseReply(const QList<PelkRoles>& rows, int total, const CMGetRowsRequest& request);

    // One record as a row. The record is only read.
    PelkRoles toRole(PelkQobuzTrack& track);
    PelkRoles toRole(PelkQobuzAlbum& album);
    PelkRoles toRole(PelkQobuzArticle& article);
    PelkRoles toRole(PelkQobuzArtist& artist);
    PelkRoles toRole(PelkQobuzPlaylist& playlist);

    /// The address of the largest available picture.
    QString highestQualityImageUrl(const PelkQobuzImage& image);
    /// The first picture of the largest available size.
    QString highestQualityImageUrl(const PelkQobuzPlaylist& playlist);

private:
    template <typename Item, typename List>
    void sendItems(const List& list, const CMGetRowsRequest& request);

    QobuzApi* m_api;
    CMSubscribe* m_subscribe;
};

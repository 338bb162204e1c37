#include "modules/qobuz/QobuzBrowser.h"

#include "api/core/log/dbglog.h"
#include "api/core/model/cmglobal.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkqobuzalbums.h"
#include "api/types/pelkqobuzartists.h"
#include "api/types/pelkqobuzplaylists.h"
#include "api/types/pelkqobuztracks.h"
#include "api/types/qobuzpaths.h"
#include "modules/qobuz/QobuzApi.h"

#include <limits>

namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance("Qobuz");

/// Passes on an error of the API. False if there is none.
bool passError(const CMVoidReply& reply, const CMGetRowsRequest& request)
{
    const CMError error = reply.error();
    if (error.value(CMError::Name()).toString().isEmpty())
        return false;
    request.reply().setError(error);
    return true;
}

/// The record of a finished reply.
template <typename T>
T record(const CMVoidReply& reply)
{
    return CMReply<T>::from(reply).value();
}

/// The text after a route in a path, in lower case.
QString remainder(QString base, const QString& route)
{
    return base.remove(route).toLower();
}

int idParam(const CMPath& path)
{
    return path.hasParam(QStringLiteral("id")) ? path.param(QStringLiteral("id")).toInt() : 0;
}

CMPath itemPath(const QString& kind, const QString& id)
{
    CMPath path = PelkQobuzBrowsePath() + kind;
    path.addParam(QStringLiteral("id"), id);
    return path;
}

PelkMediaData mediaDataOf(const PelkMetaData& metaData)
{
    PelkMediaData mediaData;
    mediaData.setMetaData(metaData);
    return mediaData;
}

} // namespace

QobuzBrowser::QobuzBrowser(QobuzApi* api, CMSubscribe* subscribe)
    : m_api(api)
    , m_subscribe(subscribe)
{
    Q_UNUSED(m_subscribe) // kept for lists that change by themselves; none does so far
}

bool QobuzBrowser::browse(const CMGetRowsRequest& request)
{
    const int first = request.from();
    const int last = request.to();
    if ((first | last) < 0) {
        request.reply().setError(
            CMError(TrString(TrCharData{trExtractContext(Q_FUNC_INFO), "Bad rows request range"}, {})));
        return true;
    }
    const int offset = first;
    const int count = int(qMin(qint64(last) + 1 - first, qint64(std::numeric_limits<int>::max())));
    const QString p = request.path().base();
    LOG4CPLUS_TRACE(logger, "browse request range: " << first << "-" << last << ", path: \"" << p
                                                     << "\" path: \"" << request.path().toString() << "\"");

    if (p.startsWith(PelkQobuzFeaturedPath())) {
        const QString kind = remainder(p, PelkQobuzFeaturedPath());
        if (kind.isEmpty())
            return false;
        const PelkQobuzRecommendationTypes::Enum type = PelkQobuzRecommendationTypes::fromString(kind);
        m_api->catalogGetFeatured(offset, count, {}, {type})
            .addWatcher([this, request, type](const CMVoidReply& reply) mutable {
                if (passError(reply, request))
                    return;
                const auto answer = record<PelkQobuzCatalogFeaturedResponse>(reply);
                if (type == PelkQobuzRecommendationTypes::Artists)
                    sendItems<PelkQobuzArtist>(answer.artists(), request);
                else if (type == PelkQobuzRecommendationTypes::Playlists)
                    sendItems<PelkQobuzPlaylist>(answer.playlists(), request);
                else if (type == PelkQobuzRecommendationTypes::Albums)
                    sendItems<PelkQobuzAlbum>(answer.albums(), request);
                // A path that names no known list stays without an answer, on purpose; so below.
            });
        return true;
    }
    if (p == PelkQobuzUserPlaylistsPath()) {
        m_api->userPlaylistsGet(offset, count, true, true)
            .addWatcher([this, request](const CMVoidReply& reply) mutable {
                if (passError(reply, request))
                    return;
                sendItems<PelkQobuzPlaylist>(record<PelkQobuzUserPlayistsResponse>(reply).playlists(),
                                             request);
            });
        return true;
    }
    if (p.startsWith(PelkQobuzUserFavouritesPath())) {
        const QString kind = remainder(p, PelkQobuzUserFavouritesPath());
        if (kind.isEmpty())
            return false;
        const PelkQobuzFavouriteTypes::Enum type = PelkQobuzFavouriteTypes::fromString(kind);
        m_api->userFavouritesGet(offset, count, {type})
            .addWatcher([this, request, type](const CMVoidReply& reply) mutable {
                if (passError(reply, request))
                    return;
                const auto answer = record<PelkQobuzUserFavoritesResponse>(reply);
                if (type == PelkQobuzFavouriteTypes::Tracks)
                    sendItems<PelkQobuzTrack>(answer.tracks(), request);
                else if (type == PelkQobuzFavouriteTypes::Albums)
                    sendItems<PelkQobuzAlbum>(answer.albums(), request);
                else if (type == PelkQobuzFavouriteTypes::Artists)
                    sendItems<PelkQobuzArtist>(answer.artists(), request);
            });
        return true;
    }
    if (p == PelkQobuzUserPurchasedTracksPath() || p == PelkQobuzUserPurchasedAlbumsPath()) {
        m_api->userPurchasesGet(offset, count)
            .addWatcher([this, request, p](const CMVoidReply& reply) mutable {
                if (passError(reply, request))
                    return;
                const auto answer = record<PelkQobuzPurchases>(reply);
                if (p == PelkQobuzUserPurchasedTracksPath())
                    sendItems<PelkQobuzTrack>(answer.tracks(), request);
                else if (p == PelkQobuzUserPurchasedAlbumsPath())
                    sendItems<PelkQobuzAlbum>(answer.albums(), request);
                else
                    request.reply().setError(CMError(
                        TrString(TrCharData{trExtractContext(Q_FUNC_INFO), "Invalid request path"}, {})));
            });
        return true;
    }
    if (p.startsWith(PelkQobuzSearchRootPath())) {
        const QString kind = remainder(p, PelkQobuzSearchRootPath());
        if (kind.isEmpty())
            return false;
        const PelkQobuzQueryTypes::Enum type = PelkQobuzQueryTypes::fromString(kind);
        m_api->query(request.path().param(QStringLiteral("query")), type, offset, count)
            .addWatcher([this, request, type](const CMVoidReply& reply) mutable {
                if (passError(reply, request))
                    return;
                const auto answer = record<PelkQobuzQueryResponse>(reply);
                if (type == PelkQobuzQueryTypes::Artists)
                    sendItems<PelkQobuzArtist>(answer.artists(), request);
                else if (type == PelkQobuzQueryTypes::Albums)
                    sendItems<PelkQobuzAlbum>(answer.albums(), request);
                else if (type == PelkQobuzQueryTypes::Tracks)
                    sendItems<PelkQobuzTrack>(answer.tracks(), request);
                else if (type == PelkQobuzQueryTypes::Playlists)
                    sendItems<PelkQobuzPlaylist>(answer.playlists(), request);
            });
        return true;
    }
    if (p.startsWith(PelkQobuzAlbumPath())) {
        m_api->albumGet(request.path().param(QStringLiteral("id")), offset, count)
            .addWatcher([this, request](const CMVoidReply& reply) mutable {
                if (passError(reply, request))
                    return;
                const auto album = record<PelkQobuzAlbum>(reply);
                const PelkQobuzTracks tracks = album.tracks();
                QList<PelkRoles> rows;
                const PelkList<PelkHash> items = tracks.items();
                for (const PelkHash& item : items) {
                    PelkQobuzTrack track(item);
                    track.setAlbum(album); // the service leaves it out here
                    rows.append(toRole(track));
                }
                sendBrowseReply(rows, tracks.total(), request);
            });
        return true;
    }
    if (p.startsWith(PelkQobuzPlaylistPath())) {
        m_api->playlistGet(idParam(request.path()), offset, count, true)
            .addWatcher([this, request](const CMVoidReply& reply) mutable {
                if (passError(reply, request))
                    return;
                sendItems<PelkQobuzTrack>(record<PelkQobuzPlaylist>(reply).tracks(), request);
            });
        return true;
    }
    if (p.startsWith(PelkQobuzArtistPath())) {
        m_api->artistGet(idParam(request.path()), offset, count, true)
            .addWatcher([this, request](const CMVoidReply& reply) mutable {
                if (passError(reply, request))
                    return;
                sendItems<PelkQobuzAlbum>(record<PelkQobuzArtist>(reply).albums(), request);
            });
        return true;
    }
    return false;
}

template <typename Item, typename List>
void QobuzBrowser::sendItems(const List& list, const CMGetRowsRequest& request)
{
    QList<PelkRoles> rows;
    const PelkList<PelkHash> items = list.items();
    rows.reserve(items.size());
    for (const PelkHash& item : items) {
        Item itemRecord(item);
        rows.append(toRole(itemRecord));
    }
    sendBrowseReply(rows, list.total(), request);
}

void QobuzBrowser::sendBrowseReply(const QList<PelkRoles>& rows, int total, const CMGetRowsRequest& request)
{
    LOG4CPLUS_TRACE(logger, "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz")
                                     << ": Number of reply rows: " << rows.size() << " all rows: " << total);
    const qint64 first = request.from();
    const qint64 end = qMin(rows.size() + first, qint64(request.to()) + 1);
    QVariantList values;
    for (qint64 i = 0; i < end - first; ++i)
        values.append(QVariant(CMGlobal::itemRolesToList(request.roles(), rows.at(int(i)))));
    PelkRowsRoles reply;
    reply.setRowsCount(total);
    reply.setRows(values);
    reply.setRowsVersion(qMax(0, request.rowsVersion()));
    request.reply().setValue(reply);
    LOG4CPLUS_TRACE(logger, "Leave " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz") << ": ");
}

PelkRoles QobuzBrowser::toRole(PelkQobuzTrack& track)
{
    const QString id = QString::number(track.id());
    const PelkQobuzAlbum album = track.album();
    PelkRoles role;
    role.setTitle(track.title());
    if (!album.isEmpty())
        role.setIcon(highestQualityImageUrl(album.image()));
    role.setPath(itemPath(PelkQobuzTrackPath(), id));

    PelkMetaData metaData;
    const PelkQobuzGenre genre = album.genre();
    metaData.setGenre(genre.isEmpty() ? QString() : genre.name());
    metaData.setComposer(track.composer().name());
    metaData.setPerformer(track.performer().name());
    metaData.setAlbum(album.title());
    const PelkQobuzArtist artist = album.artist();
    metaData.setArtist(artist.isEmpty() ? QString() : artist.name());
    metaData.setServiceID(PelkService_Qobuz_Id());
    const QString copyright = track.copyright();
    metaData.setCopyright(copyright.isEmpty() ? album.copyright() : copyright);
    metaData.setOriginalTrackNumber(track.track_number());
    if (!album.isEmpty())
        metaData.setDate(album.released_at());
    metaData.setAllowSeekTime(true);
    metaData.setAllowSeekBytes(true);
    metaData.setAllowPause(true);
    metaData.setPrePlayPath(itemPath(PelkQobuzPreplayPath(), id));

    role.setType(PelkRolesType::Audio);
    role.setMediaData(mediaDataOf(metaData));
    role.setAudioType(PelkRolesAudioType::Music);
    return role;
}

PelkRoles QobuzBrowser::toRole(PelkQobuzAlbum& album)
{
    PelkRoles role;
    role.setTitle(album.title());
    role.setIcon(highestQualityImageUrl(album.image()));
    role.setPath(itemPath(PelkQobuzAlbumPath(), album.id()));
    // The meta data is filled and not attached, on purpose: an album row has no media data.
    PelkMetaData metaData;
    metaData.setArtist(album.artist().name());
    metaData.setAlbum(album.title());
    metaData.setGenre(album.genre().name());
    metaData.setServiceID(PelkService_Qobuz_Id());
    role.setType(PelkRolesType::Container);
    role.setContainerType(PelkRolesContainerType::Album);
    role.setContainerPlayable(true);
    return role;
}

PelkRoles QobuzBrowser::toRole(PelkQobuzArticle& article)
{
    PelkRoles role;
    role.setTitle(article.title());
    role.setIcon(article.thumbnail());
    role.setPath(itemPath(PelkQobuzArticlePath(), QString::number(article.id())));
    PelkMetaData metaData;
    metaData.setGenre(article.category());
    metaData.setComment(article.abstract_());
    metaData.setServiceID(PelkService_Qobuz_Id());
    role.setType(PelkRolesType::Audio);
    role.setMediaData(mediaDataOf(metaData));
    role.setAudioType(PelkRolesAudioType::Music);
    return role;
}

PelkRoles QobuzBrowser::toRole(PelkQobuzArtist& artist)
{
    PelkRoles role;
    role.setTitle(artist.name());
    role.setIcon(artist.image().small()); // the small one even where there are larger ones, on purpose
    role.setType(PelkRolesType::Container);
    role.setAudioType(PelkRolesAudioType::None); // written again below; the last one counts
    role.setPath(itemPath(PelkQobuzArtistPath(), QString::number(artist.id())));
    PelkMetaData metaData;
    metaData.setArtist(artist.name());
    metaData.setServiceID(PelkService_Qobuz_Id());
    role.setMediaData(mediaDataOf(metaData));
    role.setContainerType(PelkRolesContainerType::Artist);
    role.setAudioType(PelkRolesAudioType::Music);
    role.setContainerPlayable(true);
    return role;
}

PelkRoles QobuzBrowser::toRole(PelkQobuzPlaylist& playlist)
{
    PelkRoles role;
    role.setTitle(playlist.name());
    role.setIcon(highestQualityImageUrl(playlist));
    role.setPath(itemPath(PelkQobuzPlaylistPath(), QString::number(playlist.id())));
    PelkMetaData metaData;
    const auto genres = playlist.genres();
    if (!genres.isEmpty())
        metaData.setGenre(genres.first().name());
    metaData.setServiceID(PelkService_Qobuz_Id());
    role.setMediaData(mediaDataOf(metaData));
    role.setType(PelkRolesType::Container);
    role.setContainerType(PelkRolesContainerType::TrackList);
    role.setContainerPlayable(true);
    return role;
}

QString QobuzBrowser::highestQualityImageUrl(const PelkQobuzImage& image)
{
    for (const auto size : {&PelkQobuzImage::extralarge, &PelkQobuzImage::large, &PelkQobuzImage::medium,
                            &PelkQobuzImage::small}) {
        const QString url = (image.*size)();
        if (!url.isEmpty())
            return url;
    }
    return image.thumbnail();
}

QString QobuzBrowser::highestQualityImageUrl(const PelkQobuzPlaylist& playlist)
{
    for (const QVariantList& urls : {playlist.images300(), playlist.images150(), playlist.images()})
        if (!urls.isEmpty())
            return urls.first().toString();
    return QString();
}

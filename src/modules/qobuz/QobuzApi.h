#pragma once

#include "api/core/model/cmrequest.h"
#include "api/http/httpclientoptions.h"
#include "api/http/pelkurl.h"
#include "api/types/pelkqobuzaccount.h"
#include "api/types/pelkqobuzalbum.h"
#include "api/types/pelkqobuzalbums.h"
#include "api/types/pelkqobuzarticle.h"
#include "api/types/pelkqobuzartist.h"
#include "api/types/pelkqobuzaudioformat.h"
#include "api/types/pelkqobuzcatalogfeaturedresponse.h"
#include "api/types/pelkqobuzerrorresponse.h"
#include "api/types/pelkqobuzfavouritetypes.h"
#include "api/types/pelkqobuzgenre.h"
#include "api/types/pelkqobuzgenrelistresponse.h"
#include "api/types/pelkqobuzgetfileurlresponse.h"
#include "api/types/pelkqobuzloginresponse.h"
#include "api/types/pelkqobuzplaylist.h"
#include "api/types/pelkqobuzpurchases.h"
#include "api/types/pelkqobuzqueryresponse.h"
#include "api/types/pelkqobuzquerytypes.h"
#include "api/types/pelkqobuzrecommendations.h"
#include "api/types/pelkqobuzrecommendationtypes.h"
#include "api/types/pelkqobuzsoundquality.h"
#include "api/types/pelkqobuzuser.h"
#include "api/types/pelkqobuzuserfavoritesresponse.h"
#include "api/types/pelkqobuzuserplayistsresponse.h"

#include <QMutex>
#include <QSet>

#include <functional>

class QobuzHttpInterface;

/// The client of the service's web API: one method a call, and the user session.
///
/// Used on the worker's thread. Every call returns at once with a reply that finishes later on that thread.
/// All calls but the login need a user; without one the reply has already failed with "User is not logged
/// in". Paging arguments below 0 are not sent.
class QobuzApi : public QObject
{
    Q_OBJECT

public:
    /// Resumes the user session that the host has kept. The interface is not owned.
    explicit QobuzApi(QobuzHttpInterface* httpInterface);

    /// Whether there is a user: a token, and a user id that is not 0.
    bool isLoggedIn();
    /// Sets the user session here and at the host.
    void updateUserSession(const QString& userName, const QString& userAuthToken, const unsigned int& userId,
                           const unsigned int& credentialId, const unsigned int& deviceId);
    /// Discards the user session and logs in; the new session is active when the reply finishes without an
    /// error.
    CMReply<PelkQobuzLoginResponse> login(const PelkQobuzAccount& account);
    /// Discards the user session without a request to the service.
    void logout();
    CMReply<PelkQobuzUser> userGet();

    CMReply<PelkQobuzGenre> genreGet(const int& genreId);
    CMReply<PelkQobuzGenreListResponse> genreList(const int& offset, const int& limit, const int& parentId);
    CMReply<PelkQobuzAlbum> albumGet(const QString& albumId, const int& offset, const int& limit);
    CMReply<PelkQobuzAlbums> albumGetFeatured(const int& offset, const int& limit, const int& supplierId,
                                              QList<int> genreIds, PelkQobuzRecommendations::Enum type);
    CMReply<PelkQobuzArtist> artistGet(const int& artistId, const int& offset, const int& limit,
                                       const bool& withAlbums);
    CMReply<PelkQobuzPlaylist> playlistGet(const int& playlistId, const int& offset, const int& limit,
                                           const bool& withTracks);
    /// With both kinds wanted, or neither, no filter is sent.
    CMReply<PelkQobuzUserPlayistsResponse> userPlaylistsGet(const int& offset, const int& limit,
                                                            const bool& owner, const bool& subscriber);
    CMReply<PelkQobuzArticle> articleGet(const int& articleId);
    CMReply<PelkQobuzUserFavoritesResponse> userFavouritesGet(const int& offset, const int& limit,
                                                              QSet<PelkQobuzFavouriteTypes::Enum> types);
    CMReply<PelkQobuzCatalogFeaturedResponse>
    catalogGetFeatured(const int& offset, const int& limit, QList<int> genreIds,
                       QSet<PelkQobuzRecommendationTypes::Enum> types);
    CMReply<PelkQobuzPurchases> userPurchasesGet(const int& offset, const int& limit);
    /// Searches. Only the search for artists sends the limit, on purpose.
    CMReply<PelkQobuzQueryResponse> query(const QString& text, const PelkQobuzQueryTypes::Enum& type,
                                          const int& offset, const int& limit);

    /// Asks for the stream of a track, with a signed request.
    CMReply<PelkQobuzGetFileUrlResponse> getFileUrl(const int& trackId,
                                                    const PelkQobuzSoundQuality::Enum& quality);
    /// Reports a track to the service; `duration`: the listening time in seconds.
    CMReply<PelkQobuzErrorResponse> reportStreaming(const QString& endpoint, const int& trackId,
                                                    const int& duration,
                                                    const PelkQobuzAudioFormat::Enum& format,
                                                    const bool& purchase, const bool& local);
    CMReply<PelkQobuzErrorResponse> reportStreamingStart(const int& trackId,
                                                         const PelkQobuzAudioFormat::Enum& format,
                                                         const bool& purchase, const bool& local);
    CMReply<PelkQobuzErrorResponse> reportStreamingEnd(const int& trackId, const int& duration,
                                                       const PelkQobuzAudioFormat::Enum& format,
                                                       const bool& purchase, const bool& local);

private:
    /// Sends a GET with the identification headers. The callback runs on success, before the reply finishes.
    template <typename T>
    CMReply<T> simpleGet(const PelkUrl& url, const bool& authenticated, std::function<void(T&)> callback);
    /// Sends a GET and turns its JSON answer into a record, or a failure into an error.
    template <typename T>
    CMReply<T> get(const PelkUrl& url, HttpClientOptions options, std::function<void(T&)> callback);
    template <typename T>
    bool handleHttpError(const PelkUrl& url, CMReply<T>& reply, int code, const QByteArray& body);

    QMutex m_mutex; // guards the fields of the user session
    QobuzHttpInterface* m_httpInterface;
    QString m_userAuthToken;
    unsigned int m_userId = 0;
    unsigned int m_credentialId = 0;
    unsigned int m_deviceId = 0;
};

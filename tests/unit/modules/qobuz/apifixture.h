#pragma once

#include "modules/qobuz/QobuzApi.h"
#include "modules/qobuz/QobuzHttpInterface.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/testhttpserver.h"
#include "tests/support/usersession.h"

#include <functional>

/// The API client on the test's thread, with the host values that it reads and in front of a real server. The
/// base URL has the path /api/; user 77 is logged in with "token-1", credential 88 and device 99.
struct ApiFixture
{
    ApiFixture()
        : ApiFixture(QStringLiteral("token-1"), 77)
    {
    }
    /// With this saved login instead.
    ApiFixture(const QString& token, unsigned int userId)
        : host(server.url(QStringLiteral("/api/")))
        , api((host.setSession(token, userId), &http))
    {
    }

    /// The user session as the host keeps it, in one line.
    QString session() { return sessionText(host.session()); }

    TestHttpServer server;
    ModuleHost host; // for its values: the worker is not started
    QobuzHttpInterface http;
    QobuzApi api;
};

/// One call of the API client, with what is the same for all of its arguments.
struct ApiCall
{
    const char* name;
    QByteArray path; // of the endpoint, below the base URL
    QByteArray record;
    bool withToken;
    std::function<CMVoidReply(QobuzApi&)> make;
};

/// A call for each method that needs a user.
inline QList<ApiCall> apiCalls()
{
    const auto format = PelkQobuzAudioFormat::Flac16_44;
    const QString x = QStringLiteral("x");
    return {
        {"userGet", "user/get", "PelkQobuzUser", true, [](QobuzApi& a) { return a.userGet(); }},
        {"genreGet", "genre/get", "PelkQobuzGenre", false, [](QobuzApi& a) { return a.genreGet(1); }},
        {"genreList", "genre/list", "PelkQobuzGenreListResponse", false,
         [](QobuzApi& a) { return a.genreList(0, 1, 2); }},
        {"albumGet", "album/get", "PelkQobuzAlbum", true, [x](QobuzApi& a) { return a.albumGet(x, 0, 1); }},
        {"albumGetFeatured", "album/getFeatured", "PelkQobuzAlbums", false,
         [](QobuzApi& a) { return a.albumGetFeatured(0, 1, 2, {3}, PelkQobuzRecommendations::EditorPicks); }},
        {"artistGet", "artist/get", "PelkQobuzArtist", true,
         [](QobuzApi& a) { return a.artistGet(1, 0, 1, true); }},
        {"playlistGet", "playlist/get", "PelkQobuzPlaylist", true,
         [](QobuzApi& a) { return a.playlistGet(1, 0, 1, true); }},
        {"userPlaylistsGet", "playlist/getUserPlaylists", "PelkQobuzUserPlayistsResponse", true,
         [](QobuzApi& a) { return a.userPlaylistsGet(0, 1, true, false); }},
        {"articleGet", "article/get", "PelkQobuzArticle", false, [](QobuzApi& a) { return a.articleGet(1); }},
        {"userFavouritesGet", "favorite/getUserFavorites", "PelkQobuzUserFavoritesResponse", true,
         [](QobuzApi& a) { return a.userFavouritesGet(0, 1, {PelkQobuzFavouriteTypes::Tracks}); }},
        {"catalogGetFeatured", "catalog/getFeatured", "PelkQobuzCatalogFeaturedResponse", false,
         [](QobuzApi& a) { return a.catalogGetFeatured(0, 1, {3}, {PelkQobuzRecommendationTypes::Albums}); }},
        {"userPurchasesGet", "purchase/getUserPurchases", "PelkQobuzPurchases", true,
         [](QobuzApi& a) { return a.userPurchasesGet(0, 1); }},
        {"query", "track/search", "PelkQobuzQueryResponse", true,
         [x](QobuzApi& a) { return a.query(x, PelkQobuzQueryTypes::Tracks, 0, 1); }},
        {"getFileUrl", "track/getFileUrl", "PelkQobuzGetFileUrlResponse", true,
         [](QobuzApi& a) { return a.getFileUrl(1, PelkQobuzSoundQuality::Cd); }},
        {"reportStreaming", "track/report", "PelkQobuzErrorResponse", true,
         [format](QobuzApi& a) {
             return a.reportStreaming(QStringLiteral("track/report"), 1, 2, format, true, false);
         }},
        {"reportStreamingStart", "track/reportStreamingStart", "PelkQobuzErrorResponse", true,
         [format](QobuzApi& a) { return a.reportStreamingStart(1, format, true, false); }},
        {"reportStreamingEnd", "track/reportStreamingEnd", "PelkQobuzErrorResponse", true,
         [format](QobuzApi& a) { return a.reportStreamingEnd(1, 2, format, true, false); }},
    };
}

/// The login, and all of the above.
inline QList<ApiCall> allApiCalls()
{
    QList<ApiCall> calls = apiCalls();
    calls.append({"login", "user/login", "PelkQobuzLoginResponse", false, [](QobuzApi& a) {
                      PelkQobuzAccount account;
                      account.setUsername(QStringLiteral("user"));
                      account.setPassword(QStringLiteral("secret"));
                      return a.login(account);
                  }});
    return calls;
}

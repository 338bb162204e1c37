#pragma once

#include "modules/qobuz/QobuzApi.h"
#include "modules/qobuz/QobuzHttpInterface.h"
#include "tests/module/moduletest.h"

#include <functional>

/// Base of the tests of internals that no path of the module reaches: its transport and API client on the
/// test's thread, with user 77, "token-1", credential 88 and device 99. Linked with the module's objects.
class ObjectTest : public ModuleTest
{
protected:
    void open()
    {
        ModuleTest::open();
        host().setSession();
    }
    void close()
    {
        m_api.reset();
        m_http.reset();
        ModuleTest::close();
    }
    /// Both are created at first use, from the host's values at that time.
    QobuzHttpInterface& http()
    {
        if (!m_http)
            m_http = std::make_unique<QobuzHttpInterface>();
        return *m_http;
    }
    QobuzApi& api()
    {
        if (!m_api)
            m_api = std::make_unique<QobuzApi>(&http());
        return *m_api;
    }
    QString session() { return sessionText(host().session()); }

private:
    std::unique_ptr<QobuzHttpInterface> m_http;
    std::unique_ptr<QobuzApi> m_api;
};

using Make = std::function<CMVoidReply(QobuzApi&)>;

Q_DECLARE_METATYPE(Make)

/// One call of the API client, with the properties that do not depend on its arguments.
struct ApiCall
{
    enum Headers
    {
        None,
        AppId,
        AppIdAndToken
    };

    const char* name = nullptr;
    QByteArray path; ///< of the endpoint, below the base URL
    QByteArray record;
    Headers headers = None;
    Make make;
    QString entry = QString(); ///< what the method logs on entry besides the pipeline's lines, if anything

    QByteArray headerLines() const
    {
        return QByteArrayList{"", "X-App-Id: app-id", "X-App-Id: app-id, X-User-Auth-Token: token-1"}.at(
            headers);
    }
    QString signature(const char* function) const
    {
        return QString::fromLatin1(QByteArray(function).replace("%R", record));
    }
};

Q_DECLARE_METATYPE(ApiCall)

/// A call for each method that needs a user.
inline QList<ApiCall> apiCalls()
{
    static constexpr auto format = PelkQobuzAudioFormat::Flac16_44;
    const auto reporting = [](const char* endpoint, int duration) {
        return QStringLiteral(
                   "Enter CMReply<PelkQobuzErrorResponse> QobuzApi::reportStreaming(const QString&, const "
                   "int&, const int&, const PelkQobuzAudioFormat::Enum&, const bool&, const bool&): "
                   "endpoint %1, trackId 1, duration %2, formatId flac16_44")
            .arg(QLatin1String(endpoint))
            .arg(duration);
    };
    constexpr auto both = ApiCall::AppIdAndToken;
    return {
        {"userGet", "user/get", "PelkQobuzUser", both, [](QobuzApi& a) { return a.userGet(); }},
        {"genreGet", "genre/get", "PelkQobuzGenre", ApiCall::AppId,
         [](QobuzApi& a) { return a.genreGet(1); }},
        {"genreList", "genre/list", "PelkQobuzGenreListResponse", ApiCall::AppId,
         [](QobuzApi& a) { return a.genreList(0, 1, 2); }},
        {"albumGet", "album/get", "PelkQobuzAlbum", both,
         [](QobuzApi& a) { return a.albumGet("x"_s, 0, 1); }},
        {"albumGetFeatured", "album/getFeatured", "PelkQobuzAlbums", ApiCall::AppId,
         [](QobuzApi& a) { return a.albumGetFeatured(0, 1, 2, {3}, PelkQobuzRecommendations::EditorPicks); }},
        {"artistGet", "artist/get", "PelkQobuzArtist", both,
         [](QobuzApi& a) { return a.artistGet(1, 0, 1, true); }},
        {"playlistGet", "playlist/get", "PelkQobuzPlaylist", both,
         [](QobuzApi& a) { return a.playlistGet(1, 0, 1, true); }},
        {"userPlaylistsGet", "playlist/getUserPlaylists", "PelkQobuzUserPlayistsResponse", both,
         [](QobuzApi& a) { return a.userPlaylistsGet(0, 1, true, false); }},
        {"articleGet", "article/get", "PelkQobuzArticle", ApiCall::AppId,
         [](QobuzApi& a) { return a.articleGet(1); }},
        {"userFavouritesGet", "favorite/getUserFavorites", "PelkQobuzUserFavoritesResponse", both,
         [](QobuzApi& a) { return a.userFavouritesGet(0, 1, {PelkQobuzFavouriteTypes::Tracks}); }},
        {"catalogGetFeatured", "catalog/getFeatured", "PelkQobuzCatalogFeaturedResponse", ApiCall::AppId,
         [](QobuzApi& a) { return a.catalogGetFeatured(0, 1, {3}, {PelkQobuzRecommendationTypes::Albums}); }},
        {"userPurchasesGet", "purchase/getUserPurchases", "PelkQobuzPurchases", both,
         [](QobuzApi& a) { return a.userPurchasesGet(0, 1); }},
        {"query", "track/search", "PelkQobuzQueryResponse", both,
         [](QobuzApi& a) { return a.query("x"_s, PelkQobuzQueryTypes::Tracks, 0, 1); }},
        {"getFileUrl", "track/getFileUrl", "PelkQobuzGetFileUrlResponse", both,
         [](QobuzApi& a) { return a.getFileUrl(1, PelkQobuzSoundQuality::Cd); },
         "Enter CMReply<PelkQobuzGetFileUrlResponse> QobuzApi::getFileUrl(const int&, const "
         "PelkQobuzSoundQuality::Enum&): quality cd"_s},
        {"reportStreaming", "track/report", "PelkQobuzErrorResponse", both,
         [](QobuzApi& a) { return a.reportStreaming("track/report"_s, 1, 2, format, true, false); },
         reporting("track/report", 2)},
        {"reportStreamingStart", "track/reportStreamingStart", "PelkQobuzErrorResponse", both,
         [](QobuzApi& a) { return a.reportStreamingStart(1, format, true, false); },
         reporting("track/reportStreamingStart", 0)},
        {"reportStreamingEnd", "track/reportStreamingEnd", "PelkQobuzErrorResponse", both,
         [](QobuzApi& a) { return a.reportStreamingEnd(1, 2, format, true, false); },
         reporting("track/reportStreamingEnd", 2)},
    };
}

/// The login, and all of the above.
inline QList<ApiCall> allApiCalls()
{
    QList<ApiCall> calls = apiCalls();
    calls.append({"login", "user/login", "PelkQobuzLoginResponse", ApiCall::None,
                  [](QobuzApi& a) { return a.login(login("user"_s, "secret"_s)); }});
    return calls;
}

/// One row per call.
inline void addCalls(const QList<ApiCall>& calls)
{
    Rows<ApiCall> row;
    for (const ApiCall& call : calls)
        row(call.name, call);
}

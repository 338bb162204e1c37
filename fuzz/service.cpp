#include "fuzz/service.h"

#include "fuzz/recordreaders.h"

#include <QCoreApplication>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <deque>

namespace {

struct Open
{
    PelkUrl url;
    HttpClient::Callback callback;
};

std::deque<Open> openRequests;

/// Failures are put into words, which are part of what an answer goes through, and go nowhere.
void logNowhere()
{
    static const log4cplus::Initializer initializer;
    static const bool done = [] {
        log4cplus::Logger::getRoot().addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
        log4cplus::Logger::getRoot().setLogLevel(log4cplus::ERROR_LOG_LEVEL);
        return true;
    }();
    Q_UNUSED(done)
}

template <typename T>
PelkHash readRecord(const CMVoidReply& reply)
{
    const T record = CMReply<T>::from(reply).value();
    readAll(record);
    return record;
}

} // namespace

// These take the place of the client's own: the harness is the service.
void HttpClient::get(const PelkUrl& url, const HttpClientOptions& /*options*/, Callback callback)
{
    openRequests.push_back({url, std::move(callback)});
}

void HttpClient::post(const PelkUrl& url, const QByteArray& /*body*/, const HttpClientOptions& /*options*/,
                      Callback callback)
{
    openRequests.push_back({url, std::move(callback)});
}

Service::Service(const QString& apiUrl)
    : host((logNowhere(), apiUrl))
    , api((host.setSession(), &http))
    , browser(&api, nullptr)
{
}

PelkUrl Service::answer(int code, const QByteArray& body, const QString& servingHost, int which)
{
    const auto place = openRequests.begin() + which;
    const Open request = std::move(*place);
    openRequests.erase(place);
    HttpClientHeaders headers;
    if (!servingHost.isNull())
        headers.insert(QStringLiteral("X-PelkEfectiveUrl"), servingHost);
    request.callback({request.url, HttpClientResult::Complete, code, body, headers});
    return request.url;
}

int Service::open()
{
    return static_cast<int>(openRequests.size());
}

void Service::reset()
{
    openRequests.clear();
    QCoreApplication::sendPostedEvents();
}

const QVector<Service::Call>& Service::calls()
{
    const auto format = PelkQobuzAudioFormat::Flac16_44;
    const QString text = QStringLiteral("x");
    PelkQobuzAccount account;
    account.setUsername(text);
    account.setPassword(text);
    static const QVector<Call> all = {
        {[account](QobuzApi& a) { return a.login(account); }, readRecord<PelkQobuzLoginResponse>},
        {[](QobuzApi& a) { return a.userGet(); }, readRecord<PelkQobuzUser>},
        {[](QobuzApi& a) { return a.genreGet(1); }, readRecord<PelkQobuzGenre>},
        {[](QobuzApi& a) { return a.genreList(0, 1, 2); }, readRecord<PelkQobuzGenreListResponse>},
        {[text](QobuzApi& a) { return a.albumGet(text, 0, 1); }, readRecord<PelkQobuzAlbum>},
        {[](QobuzApi& a) { return a.albumGetFeatured(0, 1, 2, {3}, PelkQobuzRecommendations::EditorPicks); },
         readRecord<PelkQobuzAlbums>},
        {[](QobuzApi& a) { return a.artistGet(1, 0, 1, true); }, readRecord<PelkQobuzArtist>},
        {[](QobuzApi& a) { return a.playlistGet(1, 0, 1, true); }, readRecord<PelkQobuzPlaylist>},
        {[](QobuzApi& a) { return a.userPlaylistsGet(0, 1, true, true); },
         readRecord<PelkQobuzUserPlayistsResponse>},
        {[](QobuzApi& a) { return a.articleGet(1); }, readRecord<PelkQobuzArticle>},
        {[](QobuzApi& a) { return a.userFavouritesGet(0, 1, {PelkQobuzFavouriteTypes::Tracks}); },
         readRecord<PelkQobuzUserFavoritesResponse>},
        {[](QobuzApi& a) { return a.catalogGetFeatured(0, 1, {3}, {PelkQobuzRecommendationTypes::Albums}); },
         readRecord<PelkQobuzCatalogFeaturedResponse>},
        {[](QobuzApi& a) { return a.userPurchasesGet(0, 1); }, readRecord<PelkQobuzPurchases>},
        {[text](QobuzApi& a) { return a.query(text, PelkQobuzQueryTypes::Tracks, 0, 1); },
         readRecord<PelkQobuzQueryResponse>},
        {[format](QobuzApi& a) { return a.reportStreamingStart(1, format, true, false); },
         readRecord<PelkQobuzErrorResponse>},
        {[](QobuzApi& a) { return a.getFileUrl(1, PelkQobuzSoundQuality::Cd); },
         readRecord<PelkQobuzGetFileUrlResponse>},
    };
    return all;
}

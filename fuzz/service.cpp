#include "fuzz/service.h"

#include "fuzz/recordreaders.h"

namespace {

template <typename T>
PelkHash readRecord(const CMVoidReply& reply)
{
    const T record = CMReply<T>::from(reply).value();
    readAll(record);
    return record;
}

} // namespace

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

#pragma once

#include <QList>
#include <QString>

/// Something that a listener or the player does with the module, and the call of the service that it leads
/// to.
struct Endpoint
{
    enum Kind
    {
        Login,       ///< a set-data request to the account node
        Rows,        ///< a row request
        Resolve,     ///< a pre-play request
        ReportStart, ///< a state change; the outcome of the call appears only in the log
        ReportEnd,   ///< as ReportStart
    };
    /// What the rows are made of.
    enum Item
    {
        None,
        Track,
        Album,
        Artist,
        Playlist
    };

    const char* name;
    const char* call; ///< of the web API
    Kind kind;
    const char* path = "";     ///< of the row request, without the id that the catalogue gives
    const char* listName = ""; ///< the list in the response that contains the rows
    Item item = None;

    bool isReport() const { return kind == ReportStart || kind == ReportEnd; }
    bool isAlbum() const { return kind == Rows && QLatin1String(call) == QLatin1String("album/get"); }
};

/// Every call that paths of the content tree lead to.
inline const QList<Endpoint>& endpoints()
{
    static const QList<Endpoint> all{
        {"featured albums", "catalog/getFeatured", Endpoint::Rows, "qobuz:featured/albums", "albums",
         Endpoint::Album},
        {"featured artists", "catalog/getFeatured", Endpoint::Rows, "qobuz:featured/artists", "artists",
         Endpoint::Artist},
        {"featured playlists", "catalog/getFeatured", Endpoint::Rows, "qobuz:featured/playlists", "playlists",
         Endpoint::Playlist},
        {"user playlists", "playlist/getUserPlaylists", Endpoint::Rows, "qobuz:playlists", "playlists",
         Endpoint::Playlist},
        {"favourite tracks", "favorite/getUserFavorites", Endpoint::Rows, "qobuz:favourites/tracks", "tracks",
         Endpoint::Track},
        {"favourite albums", "favorite/getUserFavorites", Endpoint::Rows, "qobuz:favourites/albums", "albums",
         Endpoint::Album},
        {"favourite artists", "favorite/getUserFavorites", Endpoint::Rows, "qobuz:favourites/artists",
         "artists", Endpoint::Artist},
        {"purchased tracks", "purchase/getUserPurchases", Endpoint::Rows, "qobuz:purchases/tracks", "tracks",
         Endpoint::Track},
        {"purchased albums", "purchase/getUserPurchases", Endpoint::Rows, "qobuz:purchases/albums", "albums",
         Endpoint::Album},
        {"search for artists", "artist/search", Endpoint::Rows, "qobuz:search/artists?query=a", "artists",
         Endpoint::Artist},
        {"search for albums", "album/search", Endpoint::Rows, "qobuz:search/albums?query=a", "albums",
         Endpoint::Album},
        {"search for tracks", "track/search", Endpoint::Rows, "qobuz:search/tracks?query=a", "tracks",
         Endpoint::Track},
        {"search for playlists", "playlist/search", Endpoint::Rows, "qobuz:search/playlists?query=a",
         "playlists", Endpoint::Playlist},
        {"album", "album/get", Endpoint::Rows, "qobuz:album", "tracks", Endpoint::Track},
        {"artist", "artist/get", Endpoint::Rows, "qobuz:artist", "albums", Endpoint::Album},
        {"playlist", "playlist/get", Endpoint::Rows, "qobuz:playlist", "tracks", Endpoint::Track},
        {"stream of a track", "track/getFileUrl", Endpoint::Resolve},
        {"report of a start", "track/reportStreamingStart", Endpoint::ReportStart},
        {"report of an end", "track/reportStreamingEnd", Endpoint::ReportEnd},
        // The last one: a login that fails leaves nobody logged in.
        {"login", "user/login", Endpoint::Login},
    };
    return all;
}

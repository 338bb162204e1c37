#pragma once

namespace sandbox {

class Catalogue;

/// The demo user's library: converts positions (from 0) to indexes of the catalogue. No record appears twice
/// in a list.
class Library
{
public:
    static constexpr int favouriteTracks = 1300;
    static constexpr int favouriteAlbums = 300;
    static constexpr int favouriteArtists = 120;
    static constexpr int purchasedAlbums = 75;
    static constexpr int purchasedTracks = 75;
    static constexpr int playlists = 40; ///< playlists 0 to 39 of the catalogue
    static constexpr int ownPlaylists =
        28;                                ///< of these, the ones that the user owns; the rest are subscribed
    static constexpr int longPlaylist = 3; ///< the one with exactly longPlaylistTracks tracks
    static constexpr int longPlaylistTracks = 2000;

    explicit Library(const Catalogue& catalogue)
        : m_catalogue(catalogue)
    {
    }

    int favouriteTrack(int position) const;
    int favouriteAlbum(int position) const;
    int favouriteArtist(int position) const;
    int purchasedAlbum(int position) const;
    int purchasedTrack(int position) const;

private:
    const Catalogue& m_catalogue;
};

/// Visits each number from 0 to `count` - 1 once before it repeats, beginning at `start`.
int shuffled(int position, int start, int count);

} // namespace sandbox

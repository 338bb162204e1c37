#pragma once

#include "sandbox/catalogue/Draw.h"
#include "sandbox/catalogue/Names.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace sandbox {

/// The best quality in which a track is available: that of its album.
struct Quality
{
    const char* name; ///< as the control paths spell it
    int bitDepth;
    int rateHz;
    bool lossless; ///< false: only as MP3
};

/// The eight qualities, poorest first.
constexpr Quality qualities[] = {
    {"mp3", 16, 44100, false},      {"cd", 16, 44100, true},      {"24-44.1", 24, 44100, true},
    {"24-48", 24, 48000, true},     {"24-88.2", 24, 88200, true}, {"24-96", 24, 96000, true},
    {"24-176.4", 24, 176400, true}, {"24-192", 24, 192000, true},
};

/// The uses of a track that its rights holders allow.
enum class Restriction
{
    None,
    SampleOnly, ///< every 97th track: an excerpt of 30 seconds
    NoStream,   ///< every 101st track: no stream at all
};

struct Genre
{
    int id;
    int parentId; ///< 0 at a root
    const char* name;
    const char* color;
};

/// The made-up catalogue. Records are identified by index and generated from the seed on request; only the
/// layout (artist, genre and tracks of each album) is stored. Any thread.
class Catalogue
{
public:
    static constexpr int artistCount = 2400;
    static constexpr int albumCount = 12000;
    static constexpr int playlistCount = 520;
    static constexpr int articleCount = 60;
    static constexpr int labelCount = 150;

    explicit Catalogue(std::uint64_t seed);

    int trackCount() const { return m_trackCount; }

    // Converts between indexes and ids. An unknown id has no index.
    static std::int64_t artistId(int artist) { return 30011 + std::int64_t(artist) * 60101; }
    static std::int64_t trackId(int track) { return 3000017 + std::int64_t(track) * 1201; }
    static std::int64_t playlistId(int playlist) { return 200003 + std::int64_t(playlist) * 300007; }
    static std::int64_t articleId(int article) { return 171700 + article; }
    const std::string& albumId(int album) const { return m_albumIds[std::size_t(album)]; }
    static std::optional<int> artistOf(std::int64_t id);
    static std::optional<int> playlistOf(std::int64_t id);
    static std::optional<int> articleOf(std::int64_t id);
    std::optional<int> trackOf(std::int64_t id) const;
    std::optional<int> albumOf(const std::string& id) const;

    std::uint64_t seed() const { return m_seed; }
    Draw draw(Purpose purpose, int index) const
    {
        return {m_seed, purpose, static_cast<std::uint64_t>(index)};
    }

    Script artistScript(int artist) const;
    std::string artistName(int artist) const;
    const std::vector<int>& artistAlbums(int artist) const { return m_artistAlbums[std::size_t(artist)]; }

    std::string albumTitle(int album) const;
    int albumArtist(int album) const { return m_albums[std::size_t(album)].artist; }
    /// Index into genres().
    int albumGenre(int album) const { return m_albums[std::size_t(album)].genre; }
    const Quality& albumQuality(int album) const { return qualities[m_albums[std::size_t(album)].quality]; }
    int albumFirstTrack(int album) const { return m_albums[std::size_t(album)].firstTrack; }
    int albumTrackCount(int album) const { return m_albums[std::size_t(album)].tracks; }
    /// Seconds since the epoch; negative before 1970.
    std::int64_t albumReleasedAt(int album) const;
    int albumDurationSeconds(int album) const;

    std::string trackTitle(int track) const;
    int trackAlbum(int track) const;
    /// From 8 to 40 seconds.
    int trackDurationSeconds(int track) const;
    static Restriction trackRestriction(int track);

    std::string playlistName(int playlist) const;
    int playlistTrackCount(int playlist) const;
    /// The track at a position, counted from 0.
    int playlistTrack(int playlist, int position) const;

    /// Roots before their children.
    static const std::vector<Genre>& genres();
    /// Index of a genre; none for an unknown id.
    static std::optional<int> genreOf(std::int64_t id);
    /// Ids from the root down to the genre itself.
    static std::vector<int> genrePath(int genre);

private:
    struct AlbumLayout
    {
        int firstTrack;
        std::int16_t artist;
        std::int16_t tracks;
        std::int8_t genre;
        std::int8_t quality;
    };

    std::uint64_t m_seed;
    int m_trackCount = 0;
    std::vector<AlbumLayout> m_albums;
    std::vector<std::string> m_albumIds;
    std::unordered_map<std::string, int> m_albumsById;
    std::vector<std::vector<int>> m_artistAlbums;
};

} // namespace sandbox

#include "sandbox/catalogue/Catalogue.h"

#include "sandbox/catalogue/Library.h"

#include <algorithm>
#include <iterator>

namespace sandbox {
namespace {

/// Percent of the albums whose best quality is the one of the same place in `qualities`.
constexpr int qualityPercents[] = {6, 46, 10, 8, 7, 12, 4, 7};

std::string albumIdText(Draw draw)
{
    const int form = draw.below(10);
    const char* alphabet = form < 6 ? "0123456789" : "0123456789abcdefghijklmnopqrstuvwxyz";
    std::string id = form < 4 ? "00" : ""; // bar codes are padded to thirteen places
    while (id.size() < 13)
        id += alphabet[draw.below(form < 6 ? 10 : 36)];
    return id;
}

std::optional<int> indexOf(std::int64_t id, std::int64_t first, std::int64_t step, int count)
{
    const std::int64_t offset = id - first;
    if (offset < 0 || offset % step != 0 || offset / step >= count)
        return std::nullopt;
    return static_cast<int>(offset / step);
}

} // namespace

Catalogue::Catalogue(std::uint64_t seed)
    : m_seed(seed)
    , m_artistAlbums(artistCount)
{
    m_albums.reserve(albumCount);
    m_albumIds.reserve(albumCount);
    m_albumsById.reserve(albumCount);
    for (int album = 0; album < albumCount; ++album) {
        Draw layout = draw(Purpose::AlbumLayout, album);
        AlbumLayout made{};
        made.firstTrack = m_trackCount;
        // Every artist has an album; the others fall to a few names more often than to the rest, as fame
        // does.
        const double fame = layout.fraction();
        made.artist =
            static_cast<std::int16_t>(album < artistCount ? album : int(artistCount * fame * fame * fame));
        made.tracks =
            static_cast<std::int16_t>(layout.once(40) ? 20 + layout.below(30) : 1 + layout.below(18));
        made.genre = static_cast<std::int8_t>(layout.below(static_cast<int>(genres().size())));
        int percent = layout.below(100);
        while (percent >= qualityPercents[made.quality])
            percent -= qualityPercents[made.quality++];
        m_trackCount += made.tracks;
        m_albums.push_back(made);
        m_artistAlbums[std::size_t(made.artist)].push_back(album);
        m_albumIds.push_back(albumIdText(draw(Purpose::AlbumId, album)));
        m_albumsById.emplace(m_albumIds.back(), album);
    }
}

std::optional<int> Catalogue::artistOf(std::int64_t id)
{
    return indexOf(id, artistId(0), artistId(1) - artistId(0), artistCount);
}

std::optional<int> Catalogue::playlistOf(std::int64_t id)
{
    return indexOf(id, playlistId(0), playlistId(1) - playlistId(0), playlistCount);
}

std::optional<int> Catalogue::articleOf(std::int64_t id)
{
    return indexOf(id, articleId(0), 1, articleCount);
}

std::optional<int> Catalogue::trackOf(std::int64_t id) const
{
    return indexOf(id, trackId(0), trackId(1) - trackId(0), m_trackCount);
}

std::optional<int> Catalogue::albumOf(const std::string& id) const
{
    const auto found = m_albumsById.find(id);
    return found == m_albumsById.end() ? std::nullopt : std::optional<int>(found->second);
}

Script Catalogue::artistScript(int artist) const
{
    Draw made = draw(Purpose::ArtistName, artist);
    return names::script(made);
}

std::string Catalogue::artistName(int artist) const
{
    Draw made = draw(Purpose::ArtistName, artist);
    const Script script = names::script(made);
    return names::artist(made, script);
}

std::string Catalogue::albumTitle(int album) const
{
    Draw made = draw(Purpose::AlbumTitle, album);
    return names::title(made, artistScript(albumArtist(album)));
}

std::int64_t Catalogue::albumReleasedAt(int album) const
{
    Draw made = draw(Purpose::Album, album);
    // Midnights from 1931 to 2025; a quarter of them before 1970.
    const std::int64_t day = made.once(4) ? -made.below(14000) - 1 : made.below(20300);
    return day * 86400;
}

int Catalogue::albumDurationSeconds(int album) const
{
    int seconds = 0;
    for (int i = 0; i < albumTrackCount(album); ++i)
        seconds += trackDurationSeconds(albumFirstTrack(album) + i);
    return seconds;
}

std::string Catalogue::trackTitle(int track) const
{
    Draw made = draw(Purpose::TrackTitle, track);
    return names::title(made, artistScript(albumArtist(trackAlbum(track))));
}

int Catalogue::trackAlbum(int track) const
{
    const auto next =
        std::upper_bound(m_albums.begin(), m_albums.end(), track,
                         [](int wanted, const AlbumLayout& album) { return wanted < album.firstTrack; });
    return static_cast<int>(std::distance(m_albums.begin(), next)) - 1;
}

int Catalogue::trackDurationSeconds(int track) const
{
    Draw made = draw(Purpose::Track, track);
    // An excerpt has to be shorter than its track.
    return trackRestriction(track) == Restriction::SampleOnly ? 32 + made.below(9) : 8 + made.below(33);
}

Restriction Catalogue::trackRestriction(int track)
{
    return track % 101 == 0  ? Restriction::NoStream
           : track % 97 == 0 ? Restriction::SampleOnly
                             : Restriction::None;
}

std::string Catalogue::playlistName(int playlist) const
{
    Draw made = draw(Purpose::Playlist, playlist);
    return names::title(made, names::script(made));
}

int Catalogue::playlistTrackCount(int playlist) const
{
    if (playlist == Library::longPlaylist)
        return Library::longPlaylistTracks;
    Draw made = draw(Purpose::Playlist, playlist);
    return made.once(50) ? 0 : 5 + made.below(120);
}

int Catalogue::playlistTrack(int playlist, int position) const
{
    return draw(Purpose::PlaylistTrack, playlist * 4096 + position).below(m_trackCount);
}

const std::vector<Genre>& Catalogue::genres()
{
    static const std::vector<Genre> tree = {
        {10, 0, "Classical", "#5b8c5a"},      {64, 0, "Electronic", "#3c6e9f"},
        {80, 0, "Jazz", "#9f5c3c"},           {112, 0, "Pop/Rock", "#8c3c9f"},
        {133, 0, "Soul & Funk", "#9f7d3c"},   {91, 0, "Soundtracks", "#4d4d4d"},
        {94, 0, "World", "#3c9f8c"},          {2, 0, "Enfants & Contes", "#c98a1b"},
        {11, 10, "Chamber music", "#5b8c5a"}, {14, 10, "Symphonies", "#5b8c5a"},
        {15, 14, "Concertos", "#5b8c5a"},     {65, 64, "Ambient", "#3c6e9f"},
        {66, 64, "House", "#3c6e9f"},         {67, 66, "Deep House", "#3c6e9f"},
        {81, 80, "Bebop", "#9f5c3c"},         {82, 80, "Vocal jazz", "#9f5c3c"},
        {113, 112, "Indie", "#8c3c9f"},       {114, 112, "Metal", "#8c3c9f"},
        {115, 114, "Doom", "#8c3c9f"},        {134, 133, "Disco", "#9f7d3c"},
        {95, 94, "Fado", "#3c9f8c"},          {96, 94, "Ελληνικά", "#3c9f8c"},
    };
    return tree;
}

std::optional<int> Catalogue::genreOf(std::int64_t id)
{
    const auto& all = genres();
    const auto found =
        std::find_if(all.begin(), all.end(), [id](const Genre& genre) { return genre.id == id; });
    return found == all.end() ? std::nullopt : std::optional<int>(static_cast<int>(found - all.begin()));
}

std::vector<int> Catalogue::genrePath(int genre)
{
    std::vector<int> path;
    for (std::optional<int> at = genre; at; at = genreOf(genres()[std::size_t(*at)].parentId))
        path.insert(path.begin(), genres()[std::size_t(*at)].id);
    return path;
}

} // namespace sandbox

#include "sandbox/control/Control.h"

#include "sandbox/catalogue/Library.h"

#include <algorithm>

namespace sandbox {
namespace {

constexpr int tracksPerKind = 20;

std::vector<std::string> trackKinds()
{
    std::vector<std::string> kinds = {"normal", "restricted-sample", "restricted-no-stream"};
    for (const Quality& quality : qualities)
        kinds.emplace_back(quality.name);
    return kinds;
}

bool isOfKind(const Catalogue& catalogue, int track, const std::string& kind)
{
    const Restriction restriction = Catalogue::trackRestriction(track);
    if (kind == "restricted-sample")
        return restriction == Restriction::SampleOnly;
    if (kind == "restricted-no-stream")
        return restriction == Restriction::NoStream;
    return restriction == Restriction::None &&
           (kind == "normal" || kind == catalogue.albumQuality(catalogue.trackAlbum(track)).name);
}

Answer done()
{
    return {200, {{"status", "success"}}};
}

} // namespace

Control::Control(const Catalogue& catalogue, Access& access, Recorder& recorder, Faults& faults)
    : m_catalogue(catalogue)
    , m_access(access)
    , m_recorder(recorder)
    , m_faults(faults)
{
}

Answer Control::answer(const std::string& method, const std::string& path, const QueryItems& query,
                       const std::string& body)
{
    const std::string call = method + " " + path;
    if (call == "GET requests") {
        const bool all =
            std::find(query.begin(), query.end(), QueryItems::value_type("all", "1")) != query.end();
        return {200, m_recorder.requests(all)};
    }
    if (call == "GET reports")
        return {200, m_recorder.reports()};
    if (call == "DELETE requests") {
        m_recorder.clear();
        return done();
    }
    if (call == "GET faults")
        return {200, m_faults.list()};
    if (call == "DELETE faults") {
        m_faults.clear();
        return done();
    }
    if (call == "GET tracks")
        return allTracks(query);
    if (call == "GET catalogue")
        return {200, catalogue()};
    if (call != "POST faults" && call != "POST token-expiry")
        return refusal(404, "There is no control path \"" + path + "\" for " + method);

    const Json json = body.empty() ? Json::object() : Json::parse(body, nullptr, false);
    if (!json.is_object())
        return refusal(400, "The body is not a JSON object");
    if (call == "POST faults") {
        const std::string problem = m_faults.add(json);
        return problem.empty() ? done() : refusal(400, problem);
    }
    const auto seconds = json.find("seconds");
    if (seconds != json.end() && !seconds->is_number_integer())
        return refusal(400, "seconds is a whole number");
    m_access.expireTokens(seconds == json.end() ? 0 : seconds->get<int>());
    return done();
}

Json Control::tracks(const std::string& kind) const
{
    Json found = Json::array();
    for (int track = 0; track < m_catalogue.trackCount() && found.size() < tracksPerKind; ++track) {
        if (isOfKind(m_catalogue, track, kind)) {
            const int album = m_catalogue.trackAlbum(track);
            found.push_back({{"id", Catalogue::trackId(track)},
                             {"album_id", m_catalogue.albumId(album)},
                             {"duration", m_catalogue.trackDurationSeconds(track)},
                             {"quality", m_catalogue.albumQuality(album).name}});
        }
    }
    return found;
}

Answer Control::allTracks(const QueryItems& query) const
{
    const std::vector<std::string> kinds = trackKinds();
    const auto item =
        std::find_if(query.begin(), query.end(), [](const auto& each) { return each.first == "kind"; });
    Json answer = Json::object();
    for (const std::string& kind : kinds) {
        if (item == query.end() || item->second == kind)
            answer[kind] = tracks(kind);
    }
    return answer.empty() ? refusal(400, "There are no tracks of the kind \"" + item->second + "\"")
                          : Answer{200, std::move(answer)};
}

Json Control::catalogue() const
{
    return {{"seed", m_catalogue.seed()},
            {"artists", Catalogue::artistCount},
            {"albums", Catalogue::albumCount},
            {"tracks", m_catalogue.trackCount()},
            {"playlists", Catalogue::playlistCount},
            {"articles", Catalogue::articleCount},
            {"favourite_tracks", Library::favouriteTracks},
            {"favourite_albums", Library::favouriteAlbums},
            {"favourite_artists", Library::favouriteArtists},
            {"purchased_albums", Library::purchasedAlbums},
            {"purchased_tracks", Library::purchasedTracks},
            {"user_playlists", Library::playlists},
            {"own_playlists", Library::ownPlaylists},
            {"long_playlist_id", Catalogue::playlistId(Library::longPlaylist)},
            {"long_playlist_tracks", Library::longPlaylistTracks}};
}

} // namespace sandbox

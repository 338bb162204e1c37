#include "sandbox/service/Endpoints.h"

#include "sandbox/service/StreamUrls.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <numeric>
#include <optional>
#include <set>

namespace sandbox {
namespace {

constexpr int featuredArtistCount = 600;

/// A whole decimal number; nothing for any other text.
std::optional<std::int64_t> number(const std::string& text)
{
    std::int64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && rest == end ? std::optional(value) : std::nullopt;
}

/// The id in a query item, looked up.
template <typename Lookup>
std::optional<int> byId(const Call& call, const char* key, Lookup lookup)
{
    const auto id = number(call.value(key));
    return id ? lookup(*id) : std::nullopt;
}

/// Whether a comma-separated list in a query item has the word; an absent item has every word.
bool lists(const Call& call, const char* key, const std::string& word)
{
    const std::string& text = call.value(key);
    return text.empty() || ("," + text + ",").find("," + word + ",") != std::string::npos;
}

Answer notFound()
{
    return refusal(404, "No result matching given argument");
}

std::int64_t nowSeconds()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

} // namespace

const std::string& Call::value(const std::string& key) const
{
    static const std::string none;
    const auto found =
        std::find_if(query.begin(), query.end(), [&](const auto& item) { return item.first == key; });
    return found == query.end() ? none : found->second;
}

bool Call::has(const std::string& key) const
{
    return std::any_of(query.begin(), query.end(), [&](const auto& item) { return item.first == key; });
}

Answer refusal(int status, const std::string& message)
{
    return {status, {{"status", "error"}, {"code", status}, {"message", message}}};
}

Endpoints::Endpoints(const Catalogue& catalogue, Access& access, const StreamUrls& streams,
                     const std::string& siteUrl, int featuredAlbums)
    : m_catalogue(catalogue)
    , m_access(access)
    , m_streams(streams)
    , m_records(catalogue, siteUrl)
    , m_library(catalogue)
    , m_featuredAlbums(featuredAlbums)
    , m_artistNames(Catalogue::artistCount, [&](int i) { return catalogue.artistName(i); })
    , m_albumTitles(Catalogue::albumCount, [&](int i) { return catalogue.albumTitle(i); })
    , m_trackTitles(catalogue.trackCount(), [&](int i) { return catalogue.trackTitle(i); })
    , m_playlistNames(Catalogue::playlistCount, [&](int i) { return catalogue.playlistName(i); })
    , m_methods{
          {"user/login", {&Endpoints::userLogin, false}},
          {"user/get", {&Endpoints::userGet, true}},
          {"genre/get", {&Endpoints::genreGet, false}},
          {"genre/list", {&Endpoints::genreList, false}},
          {"album/get", {&Endpoints::albumGet, true}},
          {"album/getFeatured", {&Endpoints::albumGetFeatured, false}},
          {"artist/get", {&Endpoints::artistGet, true}},
          {"playlist/get", {&Endpoints::playlistGet, true}},
          {"playlist/getUserPlaylists", {&Endpoints::userPlaylists, true}},
          {"article/get", {&Endpoints::articleGet, false}},
          {"favorite/getUserFavorites", {&Endpoints::userFavorites, true}},
          {"catalog/getFeatured", {&Endpoints::catalogGetFeatured, false}},
          {"purchase/getUserPurchases", {&Endpoints::userPurchases, true}},
          {"artist/search", {&Endpoints::search, true}},
          {"album/search", {&Endpoints::search, true}},
          {"track/search", {&Endpoints::search, true}},
          {"playlist/search", {&Endpoints::search, true}},
          {"track/getFileUrl", {&Endpoints::trackFileUrl, true}},
          {"track/reportStreamingStart", {&Endpoints::reportStreaming, true}},
          {"track/reportStreamingEnd", {&Endpoints::reportStreaming, true}},
      }
{
}

void Endpoints::prepareSearch() const
{
    m_trackTitles.prepare();
    m_albumTitles.prepare();
    m_artistNames.prepare();
    m_playlistNames.prepare();
}

Answer Endpoints::answer(const Call& call) const
{
    const auto method = m_methods.find(call.endpoint);
    if (method == m_methods.end())
        return refusal(404, "Unknown method");
    const std::string& appId = call.appIdHeader.empty() ? call.value("app_id") : call.appIdHeader;
    if (appId.empty())
        return refusal(400, "Missing application id (X-App-Id header or app_id parameter)");
    if (!m_access.knowsApp(appId))
        return refusal(401, "Invalid application id");
    if (method->second.needsToken && !m_access.acceptsToken(call.tokenHeader))
        return refusal(401, "User authentication is required. (Invalid or expired user_auth_token)");
    return (this->*method->second.run)(call);
}

Endpoints::Page Endpoints::pageOf(const Call& call)
{
    const auto offset = number(call.value("offset")).value_or(0);
    const auto limit = number(call.value("limit")).value_or(defaultPage);
    return {static_cast<int>(std::clamp<std::int64_t>(offset, 0, 1 << 30)),
            static_cast<int>(std::clamp<std::int64_t>(limit, 0, largestPage))};
}

template <typename Item>
Json Endpoints::list(const Page& page, int total, Item item)
{
    Json items = Json::array();
    const int end = std::min(total, page.offset + page.limit);
    for (int position = page.offset; position < end; ++position)
        items.push_back(item(position));
    return {{"offset", page.offset}, {"limit", page.limit}, {"total", total}, {"items", std::move(items)}};
}

Form Endpoints::formOf(const Page& page, int total)
{
    return std::min(page.limit, total - page.offset) > largestFullPage ? Form::Compact : Form::Full;
}

Json Endpoints::albums(const Page& page, const std::vector<int>& indices) const
{
    const int total = static_cast<int>(indices.size());
    const Form form = formOf(page, total);
    return list(page, total, [&](int at) { return m_records.album(indices[std::size_t(at)], form); });
}

Answer Endpoints::userLogin(const Call& call) const
{
    if (!m_access.knowsAccount(call.value("username"), call.value("password")))
        return refusal(401, "Invalid username/email and password combination");
    Json user = m_records.user();
    user["device"]["device_manufacturer_id"] = call.value("device_manufacturer_id");
    return {200, {{"user", std::move(user)}, {"user_auth_token", m_access.issueToken()}}};
}

Answer Endpoints::userGet(const Call& call) const
{
    if (call.has("user_id") && number(call.value("user_id")) != demo::userId)
        return notFound();
    return {200, m_records.user()};
}

Answer Endpoints::genreGet(const Call& call) const
{
    const auto genre = byId(call, "genre_id", &Catalogue::genreOf);
    return genre ? Answer{200, m_records.genre(*genre)} : notFound();
}

Answer Endpoints::genreList(const Call& call) const
{
    const auto parentId = number(call.value("parent_id")).value_or(0);
    const auto parent = Catalogue::genreOf(parentId);
    if (parentId != 0 && !parent)
        return notFound();
    std::vector<int> children;
    for (int i = 0; i < static_cast<int>(Catalogue::genres().size()); ++i) {
        if (Catalogue::genres()[std::size_t(i)].parentId == parentId)
            children.push_back(i);
    }
    const int total = static_cast<int>(children.size());
    return {200,
            {{"parent", parent ? m_records.genre(*parent) : Json()},
             {"genres", list(pageOf(call), total,
                             [&](int at) { return m_records.genre(children[std::size_t(at)]); })}}};
}

Answer Endpoints::albumGet(const Call& call) const
{
    const auto album = m_catalogue.albumOf(call.value("album_id"));
    if (!album)
        return notFound();
    Json record = m_records.album(*album, Form::Full);
    record["tracks"] = list(pageOf(call), m_catalogue.albumTrackCount(*album), [&](int at) {
        return m_records.albumTrack(m_catalogue.albumFirstTrack(*album) + at);
    });
    return {200, std::move(record)};
}

std::vector<int> Endpoints::featuredAlbums(const Call& call) const
{
    // Every type, and every combination of types, has its own order.
    const int start = static_cast<int>(std::hash<std::string>()(call.value("type")) % 9973);
    std::vector<int> found;
    for (int position = 0; position < m_featuredAlbums; ++position) {
        const int album = shuffled(position, start, Catalogue::albumCount);
        const auto path = Catalogue::genrePath(m_catalogue.albumGenre(album));
        if (std::any_of(path.begin(), path.end(),
                        [&](int genre) { return lists(call, "genre_ids", std::to_string(genre)); }))
            found.push_back(album);
    }
    return found;
}

Answer Endpoints::albumGetFeatured(const Call& call) const
{
    return {200, {{"albums", albums(pageOf(call), featuredAlbums(call))}}};
}

Answer Endpoints::catalogGetFeatured(const Call& call) const
{
    const Page page = pageOf(call);
    Json lists = Json::object();
    if (sandbox::lists(call, "type", "albums"))
        lists["albums"] = albums(page, featuredAlbums(call));
    if (sandbox::lists(call, "type", "artists")) {
        lists["artists"] = list(page, featuredArtistCount, [&](int at) {
            return m_records.artist(shuffled(at, 17, Catalogue::artistCount));
        });
    }
    if (sandbox::lists(call, "type", "playlists")) {
        lists["playlists"] = playlists(page, Library::playlists, Catalogue::playlistCount);
    }
    if (sandbox::lists(call, "type", "articles"))
        lists["articles"] =
            list(page, Catalogue::articleCount, [&](int at) { return m_records.article(at); });
    return {200, std::move(lists)};
}

Answer Endpoints::artistGet(const Call& call) const
{
    const auto artist = byId(call, "artist_id", &Catalogue::artistOf);
    if (!artist)
        return notFound();
    Json record = m_records.artist(*artist);
    if (call.has("extra") && lists(call, "extra", "albums"))
        record["albums"] = albums(pageOf(call), m_catalogue.artistAlbums(*artist));
    return {200, std::move(record)};
}

Json Endpoints::playlist(int playlist, Form form) const
{
    Json record = m_records.playlist(playlist, form);
    record["owner"] =
        playlist < Library::ownPlaylists
            ? Json{{"id", demo::userId}, {"name", "Demo Listener"}}
            : Json{{"id", 900 + playlist % 7}, {"name", "House editors " + std::to_string(playlist % 7)}};
    return record;
}

Json Endpoints::playlists(const Page& page, int first, int end) const
{
    const Form form = formOf(page, end - first);
    return list(page, end - first, [&](int at) { return playlist(first + at, form); });
}

Answer Endpoints::playlistGet(const Call& call) const
{
    const auto playlist = byId(call, "playlist_id", &Catalogue::playlistOf);
    if (!playlist)
        return notFound();
    Json record = this->playlist(*playlist, Form::Full);
    if (call.has("extra") && lists(call, "extra", "tracks")) {
        record["tracks"] = list(pageOf(call), m_catalogue.playlistTrackCount(*playlist), [&](int at) {
            Json track = m_records.track(m_catalogue.playlistTrack(*playlist, at));
            track["position"] = at + 1;
            track["playlist_track_id"] = *playlist * 4096 + at;
            track["created_at"] = 1650000000 + at;
            return track;
        });
    }
    return {200, std::move(record)};
}

Answer Endpoints::userPlaylists(const Call& call) const
{
    const std::string& filter = call.value("filter");
    const int first = filter == "subscriber" ? Library::ownPlaylists : 0;
    const int end = filter == "owner" ? Library::ownPlaylists : Library::playlists;
    return {200,
            {{"user", {{"id", demo::userId}, {"login", demo::userName}}},
             {"playlists", playlists(pageOf(call), first, end)}}};
}

Answer Endpoints::articleGet(const Call& call) const
{
    const auto article = byId(call, "article_id", &Catalogue::articleOf);
    return article ? Answer{200, m_records.article(*article)} : notFound();
}

Answer Endpoints::userFavorites(const Call& call) const
{
    const Page page = pageOf(call);
    Json lists = {{"user", {{"id", demo::userId}, {"login", demo::userName}}}};
    const auto favourited = [](Json record, int at) {
        record["favorited_at"] = 1700000000 - at * 3600;
        return record;
    };
    if (sandbox::lists(call, "type", "albums")) {
        const Form form = formOf(page, Library::favouriteAlbums);
        lists["albums"] = list(page, Library::favouriteAlbums, [&](int at) {
            return favourited(m_records.album(m_library.favouriteAlbum(at), form), at);
        });
    }
    if (sandbox::lists(call, "type", "tracks")) {
        lists["tracks"] = list(page, Library::favouriteTracks, [&](int at) {
            return favourited(m_records.track(m_library.favouriteTrack(at)), at);
        });
    }
    if (sandbox::lists(call, "type", "artists")) {
        lists["artists"] = list(page, Library::favouriteArtists, [&](int at) {
            return favourited(m_records.artist(m_library.favouriteArtist(at)), at);
        });
    }
    return {200, std::move(lists)};
}

Answer Endpoints::userPurchases(const Call& call) const
{
    const Page page = pageOf(call);
    const auto purchased = [](Json record, int at) {
        record["purchased_at"] = 1690000000 - at * 86400;
        return record;
    };
    return {200,
            {{"albums", list(page, Library::purchasedAlbums,
                             [&](int at) {
                                 return purchased(m_records.album(m_library.purchasedAlbum(at), Form::Full),
                                                  at);
                             })},
             {"tracks", list(page, Library::purchasedTracks, [&](int at) {
                  return purchased(m_records.track(m_library.purchasedTrack(at)), at);
              })}}};
}

Answer Endpoints::search(const Call& call) const
{
    const Page page = pageOf(call);
    const std::string& query = call.value("query");
    const std::string kind = call.endpoint.substr(0, call.endpoint.find('/'));
    Json lists = {{"query", query}};
    for (const char* name : {"artists", "albums", "tracks", "playlists"})
        lists[name] = list(page, 0, [](int) { return Json(); });
    const auto fill = [&](const NameIndex& names, auto item) {
        const std::vector<int> found = names.find(query);
        lists[kind + "s"] =
            list(page, static_cast<int>(found.size()), [&](int at) { return item(found[std::size_t(at)]); });
    };
    if (kind == "artist")
        fill(m_artistNames, [&](int artist) { return m_records.artist(artist); });
    else if (kind == "album")
        lists["albums"] = albums(page, m_albumTitles.find(query));
    else if (kind == "track")
        fill(m_trackTitles, [&](int track) { return m_records.track(track); });
    else
        fill(m_playlistNames, [&](int playlist) { return this->playlist(playlist, Form::Full); });
    return {200, std::move(lists)};
}

Answer Endpoints::trackFileUrl(const Call& call) const
{
    const std::string& requestTs = call.value("request_ts");
    const auto stamp = number(requestTs);
    if (!stamp || *stamp < nowSeconds() - Access::requestAgeSeconds ||
        *stamp > nowSeconds() + Access::requestAgeSeconds)
        return refusal(400, "Invalid or expired request timestamp parameter (request_ts)");
    if (call.value("request_sig") != m_access.signature(call.endpoint, call.query, requestTs))
        return refusal(400, "Invalid Request Signature parameter (request_sig)");
    const auto track = byId(call, "track_id", [&](std::int64_t id) { return m_catalogue.trackOf(id); });
    if (!track)
        return notFound();
    const auto format = call.has("format_id") ? number(call.value("format_id")) : 5;
    static const std::set<std::int64_t> formats{5, 6, 7, 27};
    if (!format || formats.count(*format) == 0)
        return refusal(400, "Invalid argument: format_id");
    return {200, m_streams.fileUrl(*track, static_cast<int>(*format), call.hostHeader)};
}

Answer Endpoints::reportStreaming(const Call& call) const
{
    if (!byId(call, "track_id", [&](std::int64_t id) { return m_catalogue.trackOf(id); }))
        return notFound();
    return {200, {{"status", "success"}, {"message", "Report received"}}};
}

} // namespace sandbox

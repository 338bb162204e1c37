#include "sandbox/service/Records.h"

#include "sandbox/Options.h"

namespace sandbox {
namespace {

/// kHz, as an integer where it is one: 96, but 44.1.
Json kilohertz(int rateHz)
{
    return rateHz % 1000 == 0 ? Json(rateHz / 1000) : Json(rateHz / 1000.0);
}

Json twoDigits(double fraction)
{
    return static_cast<int>(fraction * 100) / 100.0;
}

} // namespace

Records::Records(const Catalogue& catalogue, std::string siteUrl)
    : m_catalogue(catalogue)
    , m_siteUrl(std::move(siteUrl))
{
}

std::string Records::picture(const char* kind, const std::string& id, int pixels) const
{
    return m_siteUrl + "/covers/" + kind + "/" + id + "_" + std::to_string(pixels) + ".png";
}

Json Records::person(int artist) const
{
    return {{"id", Catalogue::artistId(artist)}, {"name", m_catalogue.artistName(artist)}};
}

Json Records::label(int label) const
{
    Draw draw = m_catalogue.draw(Purpose::Label, label);
    const std::string name = names::label(draw);
    return {{"id", 500 + label},
            {"name", name},
            {"slug", names::slug(name)},
            {"supplier_id", 1 + draw.below(40)},
            {"albums_count", 20 + draw.below(900)}};
}

Json Records::genre(int genre) const
{
    const Genre& made = Catalogue::genres()[std::size_t(genre)];
    return {{"id", made.id},
            {"name", made.name},
            {"slug", names::slug(made.name)},
            {"color", made.color},
            {"path", Catalogue::genrePath(genre)}};
}

Json Records::artist(int artist) const
{
    Draw draw = m_catalogue.draw(Purpose::Artist, artist);
    const std::string id = std::to_string(Catalogue::artistId(artist));
    const std::string name = m_catalogue.artistName(artist);
    Json image = {{"small", picture("artists", id, 64)},
                  {"medium", picture("artists", id, 150)},
                  {"large", picture("artists", id, 300)},
                  {"extralarge", picture("artists", id, 500)},
                  {"mega", picture("artists", id, 800)}};
    Json biography = {
        {"summary", names::prose(draw, 1)}, {"content", names::prose(draw, 3)}, {"language", "en"}};
    return {{"id", Catalogue::artistId(artist)},
            {"name", name},
            {"slug", names::slug(name)},
            {"picture", draw.once(4) ? Json() : Json(picture("artists", id, 150))},
            {"image", draw.once(6) ? Json() : std::move(image)},
            {"albums_count", m_catalogue.artistAlbums(artist).size()},
            {"albums_as_primary_artist_count", m_catalogue.artistAlbums(artist).size()},
            {"albums_as_primary_composer_count", 0},
            {"similar_artist_ids", Json::array({Catalogue::artistId((artist + 1) % Catalogue::artistCount)})},
            {"information", nullptr},
            {"biography", draw.once(3) ? Json() : std::move(biography)}};
}

Json Records::albumImage(int album) const
{
    if (m_catalogue.draw(Purpose::Cover, album).once(50))
        return nullptr;
    const std::string& id = m_catalogue.albumId(album);
    return {{"thumbnail", picture("albums", id, 50)},
            {"small", picture("albums", id, 230)},
            {"large", picture("albums", id, 600)},
            {"back", nullptr}};
}

Json Records::album(int album, Form form) const
{
    Draw draw = m_catalogue.draw(Purpose::Album, album);
    const std::string& id = m_catalogue.albumId(album);
    const std::string title = m_catalogue.albumTitle(album);
    const int artist = m_catalogue.albumArtist(album);
    const int tracks = m_catalogue.albumTrackCount(album);
    const Quality& quality = m_catalogue.albumQuality(album);
    const std::int64_t releasedAt = m_catalogue.albumReleasedAt(album);
    const bool hires = quality.bitDepth > 16;
    Json record = {{"id", id},
                   {"title", title},
                   {"version", draw.once(5) ? Json("Remastered") : Json()},
                   {"artist", person(artist)},
                   {"genre", genre(m_catalogue.albumGenre(album))},
                   {"image", albumImage(album)},
                   {"released_at", releasedAt},
                   {"duration", m_catalogue.albumDurationSeconds(album)},
                   {"tracks_count", tracks},
                   {"media_count", tracks > 24 ? 2 : 1},
                   {"parental_warning", draw.once(20)},
                   {"popularity", twoDigits(draw.fraction())},
                   {"hires", hires},
                   {"hires_streamable", hires},
                   {"streamable", !draw.once(50)},
                   {"purchasable", !draw.once(10)},
                   {"displayable", true},
                   {"maximum_bit_depth", quality.bitDepth},
                   {"maximum_sampling_rate", kilohertz(quality.rateHz)},
                   {"maximum_channel_count", 2}};
    if (form == Form::Compact)
        return record;

    const int label = draw.below(Catalogue::labelCount);
    const int composer = draw.below(Catalogue::artistCount);
    const std::string slug = names::slug(title);
    record["artist"]["slug"] = names::slug(m_catalogue.artistName(artist));
    record["artist"]["albums_count"] = m_catalogue.artistAlbums(artist).size();
    record["artist"]["picture"] = nullptr;
    record["artist"]["image"] = nullptr;
    record["artists"] = Json::array({{{"id", Catalogue::artistId(artist)},
                                      {"name", m_catalogue.artistName(artist)},
                                      {"roles", Json::array({"main-artist"})}}});
    record["composer"] = draw.once(3) ? Json() : person(composer);
    record["genres_list"] = Json::array();
    for (const int part : Catalogue::genrePath(m_catalogue.albumGenre(album)))
        record["genres_list"].push_back(Catalogue::genres()[std::size_t(*Catalogue::genreOf(part))].name);
    record["label"] = this->label(label);
    record["copyright"] = draw.once(8) ? Json() : Json("© " + this->label(label)["name"].get<std::string>());
    record["description"] = draw.once(4) ? Json() : Json(names::prose(draw, 4));
    record["description_language"] = "en";
    record["subtitle"] = m_catalogue.artistName(artist);
    record["catchline"] = "";
    record["upc"] = id;
    record["url"] = m_siteUrl + "/album/" + slug + "/" + id;
    record["relative_url"] = "/album/" + slug + "/" + id;
    record["product_url"] = m_siteUrl + "/shop/album/" + slug + "/" + id;
    record["slug"] = slug;
    record["product_type"] = "album";
    record["release_type"] = tracks == 1 ? "single" : "album";
    record["product_sales_factors_monthly"] = twoDigits(draw.fraction() * 10);
    record["product_sales_factors_weekly"] = twoDigits(draw.fraction() * 10);
    record["product_sales_factors_yearly"] = twoDigits(draw.fraction() * 10);
    record["qobuz_id"] = 8000000 + album;
    record["is_official"] = true;
    record["previewable"] = true;
    record["sampleable"] = true;
    record["downloadable"] = record["purchasable"];
    record["hires_purchased"] = false;
    record["purchasable_at"] = releasedAt;
    record["streamable_at"] = releasedAt;
    record["created_at"] = 1500000000 + album;
    record["maximum_technical_specifications"] = hires              ? "Hi-Res"
                                                 : quality.lossless ? "16 bits / 44.1 kHz - Stereo"
                                                                    : "MP3";
    record["articles"] = Json::array({{{"id", 600000 + album},
                                       {"label", "Download"},
                                       {"price", 7.99 + draw.below(8)},
                                       {"currency", "EUR"},
                                       {"type", "product"},
                                       {"url", m_siteUrl + "/shop/" + id},
                                       {"description", "CD quality"}}});
    record["goodies"] = Json::array();
    record["awards"] = Json::array();
    if (draw.once(5)) {
        record["awards"].push_back({{"award_id", 20 + draw.below(8)},
                                    {"name", "Ear of the Month"},
                                    {"awarded_at", releasedAt + 2592000}});
    }
    return record;
}

Json Records::commonTrack(int track) const
{
    Draw draw = m_catalogue.draw(Purpose::Track, track);
    draw.bits(); // the first one is the duration's
    const int album = m_catalogue.trackAlbum(track);
    const int place = track - m_catalogue.albumFirstTrack(album);
    const Quality& quality = m_catalogue.albumQuality(album);
    const bool hires = quality.bitDepth > 16;
    const int artist = m_catalogue.albumArtist(album);
    const std::string performer = m_catalogue.artistName(artist);
    const bool streamable = Catalogue::trackRestriction(track) != Restriction::NoStream;
    const int serial = 1000000 + track;
    return {{"id", Catalogue::trackId(track)},
            {"title", m_catalogue.trackTitle(track)},
            {"version", draw.once(9) ? Json("Live") : Json()},
            {"work", draw.once(20) ? Json("Suite No. " + std::to_string(1 + draw.below(9))) : Json()},
            {"duration", m_catalogue.trackDurationSeconds(track)},
            {"track_number", 1 + (place < 24 ? place : place - 24)},
            {"media_number", place < 24 ? 1 : 2},
            {"isrc", "XX" + std::to_string(serial)},
            {"copyright", draw.once(3) ? Json("℗ " + std::to_string(1970 + draw.below(55))) : Json()},
            {"performers", draw.once(12) ? Json() : Json(performer + ", Voice\r - Ada, Bass")},
            {"performer", {{"id", Catalogue::artistId(artist)}, {"name", performer}}},
            {"composer",
             draw.once(2) ? Json() : Json{{"id", 30011 + draw.below(2400) * 60101}, {"name", "V. Dravel"}}},
            {"audio_info", {{"replaygain_track_gain", -draw.below(900) / 100.0}}},
            {"parental_warning", draw.once(20)},
            {"popularity", twoDigits(draw.fraction())},
            {"hires", hires},
            {"hires_streamable", hires},
            {"downloadable", true},
            {"streamable", streamable},
            {"purchasable", true},
            {"displayable", true},
            {"previewable", true},
            {"sampleable", true},
            {"maximum_bit_depth", quality.bitDepth},
            {"maximum_sampling_rate", kilohertz(quality.rateHz)},
            {"maximum_channel_count", 2}};
}

Json Records::albumTrack(int track) const
{
    Json record = commonTrack(track);
    const int album = m_catalogue.trackAlbum(track);
    const std::int64_t releasedAt = m_catalogue.albumReleasedAt(album);
    record["article_ids"] = {{"LLS", 700000 + track}, {"SMR", 1700000 + track}};
    record["articles"] = Json::array();
    record["audio_info"]["replaygain_track_peak"] = 0.95;
    record["created_at"] = 1500000000 + album;
    record["hires_purchased"] = false;
    record["is_official"] = true;
    record["lyrics"] = nullptr;
    record["maximum_technical_specifications"] = record["hires"] ? "Hi-Res" : "16 bits / 44.1 kHz - Stereo";
    record["purchasable_at"] = releasedAt;
    record["release_date_download"] = releasedAt;
    record["release_date_original"] = releasedAt;
    record["release_date_stream"] = releasedAt;
    record["slug"] = names::slug(record["title"].get<std::string>());
    record["streamable_at"] = releasedAt;
    return record;
}

Json Records::track(int track) const
{
    Json record = commonTrack(track);
    const int album = m_catalogue.trackAlbum(track);
    Json image = albumImage(album);
    if (image.is_object())
        image.erase("back");
    record["album"] = {{"id", m_catalogue.albumId(album)},
                       {"title", m_catalogue.albumTitle(album)},
                       {"artist", person(m_catalogue.albumArtist(album))},
                       {"image", std::move(image)}};
    return record;
}

Json Records::playlist(int playlist, Form form) const
{
    Draw draw = m_catalogue.draw(Purpose::Playlist, playlist);
    draw.bits();
    const int count = m_catalogue.playlistTrackCount(playlist);
    const std::string name = m_catalogue.playlistName(playlist);
    int seconds = 0;
    Json images = Json::array();
    Json images150 = Json::array();
    Json images300 = Json::array();
    for (int i = 0; i < count; ++i) {
        const int track = m_catalogue.playlistTrack(playlist, i);
        seconds += m_catalogue.trackDurationSeconds(track);
        if (i < 4) {
            const std::string& album = m_catalogue.albumId(m_catalogue.trackAlbum(track));
            images.push_back(picture("albums", album, 50));
            images150.push_back(picture("albums", album, 150));
            images300.push_back(picture("albums", album, 300));
        }
    }
    Json record = {{"id", Catalogue::playlistId(playlist)},
                   {"name", name},
                   {"slug", names::slug(name)},
                   {"tracks_count", count},
                   {"users_count", draw.below(5000)},
                   {"duration", seconds},
                   {"is_public", !draw.once(5)},
                   {"is_collaborative", draw.once(9)},
                   {"is_featured", !draw.once(3)},
                   {"created_at", 1400000000 + draw.below(200000000)},
                   {"updated_at", 1650000000 + draw.below(50000000)},
                   {"public_at", 1650000000},
                   {"images150", std::move(images150)}};
    if (form == Form::Compact)
        return record;
    record["description"] = draw.once(3) ? Json() : Json(names::prose(draw, 2));
    record["genres"] = Json::array();
    for (const double percent : {62.5, 37.5}) {
        record["genres"].push_back(genre(draw.below(8)));
        record["genres"].back()["percent"] = percent;
    }
    record["images"] = std::move(images);
    record["images300"] = std::move(images300);
    return record;
}

Json Records::article(int article) const
{
    Draw draw = m_catalogue.draw(Purpose::Article, article);
    const std::string title = names::title(draw, Script::Latin);
    const std::string id = std::to_string(Catalogue::articleId(article));
    return {{"id", Catalogue::articleId(article)},
            {"title", title},
            {"category", draw.once(2) ? "Portraits" : "Interviews"},
            {"category_id", 1 + draw.below(5)},
            {"abstract", names::prose(draw, 2)},
            {"author", names::artist(draw, Script::Latin)},
            {"content", "<p>" + names::prose(draw, 12) + "</p>"},
            {"thumbnail", draw.once(5) ? Json() : Json(picture("articles", id, 300))},
            {"image", picture("articles", id, 600)},
            {"published_at", 1450000000 + draw.below(250000000)},
            {"url", m_siteUrl + "/article/" + id}};
}

Json Records::user() const
{
    return {{"id", demo::userId},
            {"publicId", "qb-" + std::to_string(demo::userId)},
            {"login", demo::userName},
            {"email", demo::userName},
            {"firstname", "Demo"},
            {"lastname", "Listener"},
            {"display_name", "Demo Listener"},
            {"country_code", "FR"},
            {"language_code", "en"},
            {"zone", "FR"},
            {"store", "FR-en"},
            {"creation_date", "2019-03-14"},
            {"credential",
             {{"id", demo::credentialId},
              {"label", "studio"},
              {"description", "Listener, all qualities"},
              {"parameters",
               {{"lossy_streaming", true}, {"lossless_streaming", true}, {"hires_streaming", true}}}}},
            {"device", {{"id", demo::deviceId}, {"device_manufacturer_id", ""}}}};
}

} // namespace sandbox

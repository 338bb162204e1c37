#include "sandbox/service/StreamUrls.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>

namespace sandbox {
namespace {

std::string value(const QueryItems& query, const char* key)
{
    const auto found =
        std::find_if(query.begin(), query.end(), [&](const auto& item) { return item.first == key; });
    return found == query.end() ? std::string() : found->second;
}

} // namespace

StreamUrls::StreamUrls(const Catalogue& catalogue, std::string siteUrl, int ttlSeconds)
    : m_catalogue(catalogue)
    , m_siteUrl(std::move(siteUrl))
    , m_ttlSeconds(ttlSeconds)
{
    std::random_device random;
    for (int i = 0; i < 8; ++i)
        m_key += std::to_string(random());
}

StreamFile StreamUrls::choose(int track, int formatId) const
{
    const Quality& best = m_catalogue.albumQuality(m_catalogue.trackAlbum(track));
    StreamFile file;
    file.track = track;
    file.seconds = m_catalogue.trackDurationSeconds(track);
    if (Catalogue::trackRestriction(track) == Restriction::SampleOnly) {
        file.seconds = sampleSeconds; // excerpts come as MP3 only
        return file;
    }
    if (formatId == 5 || !best.lossless)
        return file;
    file.formatId = 6;
    if (formatId == 6 || best.bitDepth == 16)
        return file;
    file.bitDepth = best.bitDepth;
    file.formatId = formatId == 27 && best.rateHz > 96000 ? 27 : 7;
    // A master above 96 kHz is halved for format 7: 192 to 96, 176.4 to 88.2.
    file.rateHz = file.formatId == 7 && best.rateHz > 96000 ? best.rateHz / 2 : best.rateHz;
    return file;
}

std::string StreamUrls::sign(const std::string& path, const std::string& expiry) const
{
    return hmacHex(m_key, path + "?" + expiry);
}

Json StreamUrls::fileUrl(int track, int formatId, const std::string& host) const
{
    const Restriction restriction = Catalogue::trackRestriction(track);
    const StreamFile file = choose(track, formatId);
    Json answer = {
        {"track_id", Catalogue::trackId(track)},
        {"duration", file.seconds},
        {"format_id", file.formatId},
        {"mime_type", file.mimeType()},
        {"sampling_rate", file.rateHz % 1000 == 0 ? Json(file.rateHz / 1000) : Json(file.rateHz / 1000.0)},
        {"bit_depth", file.bitDepth}};
    if (restriction != Restriction::None) {
        answer["restrictions"] = Json::array({{{"code", "TrackRestrictedByRightHolders"}}});
        answer["sample"] = restriction == Restriction::SampleOnly;
    } else if (file.formatId != formatId) {
        answer["restrictions"] = Json::array({{{"code", "FormatRestrictedByFormatAvailability"}}});
    }
    if (restriction == Restriction::NoStream)
        return answer;
    const std::string path = "/streams/" + std::to_string(Catalogue::trackId(track)) + "/" +
                             std::to_string(file.formatId) + "/" + std::to_string(file.bitDepth) + "-" +
                             std::to_string(file.rateHz) + "-" + std::to_string(file.seconds) +
                             (file.isMp3() ? ".mp3" : ".flac");
    const std::string expiry = std::to_string(std::time(nullptr) + m_ttlSeconds);
    const std::string site = host.empty() ? m_siteUrl : "http://" + host;
    answer["url"] = site + path + "?expires=" + expiry + "&signature=" + sign(path, expiry);
    return answer;
}

std::optional<StreamFile> StreamUrls::parse(const std::string& path) const
{
    long long id = 0;
    StreamFile file;
    if (std::sscanf(path.c_str(), "/streams/%lld/%d/%d-%d-%d.", &id, &file.formatId, &file.bitDepth,
                    &file.rateHz, &file.seconds) != 5)
        return std::nullopt;
    const auto track = m_catalogue.trackOf(id);
    file.track = track.value_or(0);
    return track ? std::optional(file) : std::nullopt;
}

StreamUrls::Verdict StreamUrls::check(const std::string& path, const QueryItems& query,
                                      StreamFile& file) const
{
    const auto parsed = parse(path);
    if (!parsed)
        return Verdict::Unknown;
    // The numbers in the path are used only after the signature is verified, because they decide how much is
    // synthesised.
    const std::string expiry = value(query, "expires");
    if (value(query, "signature") != sign(path, expiry))
        return Verdict::Forged;
    if (std::strtoll(expiry.c_str(), nullptr, 10) <= std::time(nullptr))
        return Verdict::Expired;
    file = *parsed;
    return Verdict::Valid;
}

} // namespace sandbox

#pragma once

#include "sandbox/catalogue/Catalogue.h"
#include "sandbox/service/Access.h"
#include "sandbox/service/Records.h"

#include <optional>
#include <string>

namespace sandbox {

/// One audio file: which track, in which encoding, how much of it.
struct StreamFile
{
    int track = 0;
    int formatId = 5; ///< 5 is MP3 at 320 kbit/s; 6, 7 and 27 are FLAC
    int bitDepth = 16;
    int rateHz = 44100;
    int seconds = 0;

    bool isMp3() const { return formatId == 5; }
    const char* mimeType() const { return isMp3() ? "audio/mpeg" : "audio/flac"; }
};

/// Signed addresses of audio files that expire. Every run has its own key. Any thread.
class StreamUrls
{
public:
    /// Length of the excerpt of a restricted track.
    static constexpr int sampleSeconds = 30;

    StreamUrls(const Catalogue& catalogue, std::string siteUrl, int ttlSeconds);

    /// The response for a track in a requested format: the format that is served, its address, and why it
    /// differs. `formatId` is 5, 6, 7 or 27. The address uses `host`, the host and port of the client's
    /// request, so that it works through a forwarded port; the site's own if empty.
    Json fileUrl(int track, int formatId, const std::string& host = {}) const;

    enum class Verdict
    {
        Valid,
        Unknown, ///< no such file
        Forged,  ///< not the signature of this address
        Expired,
    };
    /// Reads the path and query of an address back; sets `file` when it is valid.
    Verdict check(const std::string& path, const QueryItems& query, StreamFile& file) const;

private:
    /// The best file in at most the requested format.
    StreamFile choose(int track, int formatId) const;
    std::optional<StreamFile> parse(const std::string& path) const;
    std::string sign(const std::string& path, const std::string& expiry) const;

    const Catalogue& m_catalogue;
    std::string m_siteUrl;
    int m_ttlSeconds;
    std::string m_key;
};

} // namespace sandbox

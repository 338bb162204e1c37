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

/// Addresses of audio files, signed and limited in time. Every run has its own key. Safe to use from any
/// thread.
class StreamUrls
{
public:
    /// Length of what is played of a track that the rights holders restrict.
    static constexpr int sampleSeconds = 30;

    StreamUrls(const Catalogue& catalogue, std::string siteUrl, int ttlSeconds);

    /// The answer about a track in the asked format: the format that is really served, its address, and why
    /// it is not the asked one. `formatId` is 5, 6, 7 or 27. The address is at `host`, the host and port that
    /// the client asked, so that it leads through a forwarded port, too; at the site's own where it is empty.
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
    /// The best file at or below the asked format.
    StreamFile choose(int track, int formatId) const;
    std::optional<StreamFile> parse(const std::string& path) const;
    std::string sign(const std::string& path, const std::string& expiry) const;

    const Catalogue& m_catalogue;
    std::string m_siteUrl;
    int m_ttlSeconds;
    std::string m_key;
};

} // namespace sandbox

#pragma once

#include "sandbox/media/AudioCache.h"

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

namespace sandbox {

/// The paths of audio (/streams/…) and of pictures (/covers/KIND/ID_PIXELS.png). Safe to use from any thread.
class MediaPaths
{
public:
    MediaPaths(const Catalogue& catalogue, const StreamUrls& streams);

    /// Sends the audio, or the requested range of it. 403 for a forged or expired address.
    void stream(const httplib::Request& request, const QueryItems& query, httplib::Response& response);
    /// Answers with a picture of up to 1000 pixels.
    void cover(const httplib::Request& request, httplib::Response& response) const;

private:
    std::uint64_t m_seed;
    const StreamUrls& m_streams;
    AudioCache m_cache;
};

} // namespace sandbox

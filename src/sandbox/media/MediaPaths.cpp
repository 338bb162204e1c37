#include "sandbox/media/MediaPaths.h"

#include "sandbox/http/ByteRange.h"
#include "sandbox/media/Cover.h"
#include "sandbox/service/Endpoints.h"

#include <charconv>
#include <httplib.h>

namespace sandbox {
namespace {

constexpr std::size_t cacheBytes = 128 * 1024 * 1024;
constexpr int largestCoverPixels = 1000;

void refuse(httplib::Response& response, int status, const std::string& message)
{
    response.status = status;
    response.set_content(refusal(status, message).body.dump(), "application/json");
}

} // namespace

MediaPaths::MediaPaths(const Catalogue& catalogue, const StreamUrls& streams)
    : m_seed(catalogue.seed())
    , m_streams(streams)
    , m_cache(catalogue.seed(), cacheBytes)
{
}

void MediaPaths::stream(const httplib::Request& request, const QueryItems& query, httplib::Response& response)
{
    StreamFile file;
    switch (m_streams.check(request.path, query, file)) {
    case StreamUrls::Verdict::Unknown:
        return refuse(response, 404, "There is no such file");
    case StreamUrls::Verdict::Forged:
        return refuse(response, 403, "The signature of the address is not right");
    case StreamUrls::Verdict::Expired:
        return refuse(response, 403, "The address has expired");
    case StreamUrls::Verdict::Valid:
        break;
    }
    const AudioCache::Bytes bytes = m_cache.file(file);
    const std::size_t size = bytes->size();
    const ByteRange range = byteRange(request.get_header_value("Range"), size);
    response.set_header("Accept-Ranges", "bytes");
    if (range.kind == ByteRange::Kind::Unsatisfiable) {
        response.set_header("Content-Range", "bytes */" + std::to_string(size));
        return refuse(response, 416, "The range begins after the end of the file");
    }
    const bool part = range.kind == ByteRange::Kind::Part;
    const std::size_t first = part ? range.first : 0;
    const std::size_t count = part ? range.last - first + 1 : size;
    response.status = part ? 206 : 200;
    if (part) {
        response.set_header("Content-Range", "bytes " + std::to_string(first) + "-" +
                                                 std::to_string(range.last) + "/" + std::to_string(size));
    }
    response.set_content_provider(
        count, file.mimeType(),
        [bytes, first](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
            return sink.write(bytes->data() + first + offset, length);
        });
}

void MediaPaths::cover(const httplib::Request& request, httplib::Response& response) const
{
    const std::string& path = request.path;
    const auto mark = path.rfind('_');
    const auto end = path.rfind(".png");
    int pixels = 0;
    if (mark != std::string::npos && end != std::string::npos && mark < end)
        std::from_chars(path.data() + mark + 1, path.data() + end, pixels);
    if (pixels < 1 || pixels > largestCoverPixels)
        return refuse(response, 404, "There is no such picture");
    response.status = 200;
    response.set_header("Cache-Control", "public, max-age=86400");
    response.set_content(coverPng(m_seed, path.substr(0, mark), pixels), "image/png");
}

} // namespace sandbox

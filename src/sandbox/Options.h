#pragma once

#include <cstdint>
#include <string>

namespace sandbox {

/// The sandbox's options, with the defaults of the command line.
struct Options
{
    std::string address = "127.0.0.1"; ///< a loopback address, 127.x.x.x
    int port = 8090;                   ///< 0 takes any free port
    std::uint64_t seed = 1;            ///< two runs with one seed have the same catalogue
    int featuredAlbums = 1200;         ///< how many of the albums are featured
    std::string appId = "100000001";
    std::string appSecret = "sandbox-secret-0123456789abcdef";
    int tokenTtlSeconds = 30 * 24 * 3600;
    int streamTtlSeconds = 3600;
    bool verbose = false; ///< one line per request on stderr, secrets masked
};

/// The one account that the sandbox knows.
namespace demo {
constexpr const char* userName = "demo@example.com";
constexpr const char* password = "demo";
constexpr int userId = 1204577;
constexpr int credentialId = 482113;
constexpr int deviceId = 7310042;
} // namespace demo

} // namespace sandbox

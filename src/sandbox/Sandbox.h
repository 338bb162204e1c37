#pragma once

#include "sandbox/Options.h"

#include <memory>
#include <string>

namespace sandbox {

/// The sandbox of the music service: a server on loopback with a made-up catalogue. Its web API is below
/// /api.json/0.2/ and also below /, audio below /streams/, pictures below /covers/, and the paths for tests
/// below /control/.
class Sandbox
{
public:
    explicit Sandbox(const Options& options);
    /// Stops.
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    /// Starts to listen, on its own threads. False if the address and port are not available.
    bool start();
    /// Stops at once and closes all connections, delayed responses included.
    void stop();

    /// The port on which it listens; 0 before start().
    int port() const;
    /// "http://127.0.0.1:8090", without a slash at the end.
    std::string siteUrl() const;
    /// The web API's base, with a slash at the end: what a client is configured with.
    std::string baseUrl() const;

private:
    class Private;
    std::unique_ptr<Private> m_d;
};

} // namespace sandbox

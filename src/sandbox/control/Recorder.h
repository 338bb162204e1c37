#pragma once

#include "sandbox/service/Records.h"

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// One request as it was received.
struct RequestRecord
{
    std::string method;
    std::string target; ///< as on the request line, not decoded
    std::string endpoint;
    bool api = false; ///< a call of the web API, rather than audio, a picture or a control path
    std::vector<std::pair<std::string, std::string>> query;   ///< decoded, in the received order
    std::vector<std::pair<std::string, std::string>> headers; ///< in the received order
    std::int64_t atMs = 0;                                    ///< since the epoch
    int status = 0; ///< 0 while unanswered, and when no HTTP answer was sent
};

/// Keeps the latest requests. Safe to use from any thread.
class Recorder
{
public:
    static constexpr std::size_t capacity = 10000;

    /// Records a request when it is received; returns the number with which its response is recorded.
    std::uint64_t arrived(RequestRecord record);
    void answered(std::uint64_t id, int status);
    void clear();

    /// {"requests": [...]}, oldest first; calls of the web API only, unless `all`.
    Json requests(bool all) const;
    /// {"reports": [...]}: the items of each streaming report that was received, with its endpoint and time.
    Json reports() const;

private:
    mutable std::mutex m_mutex;
    std::uint64_t m_firstId = 1;
    std::deque<RequestRecord> m_records;
};

} // namespace sandbox

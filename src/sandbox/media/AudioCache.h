#pragma once

#include "sandbox/service/StreamUrls.h"

#include <cstdint>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace sandbox {

/// A cache of encoded audio files. A file is made on first request; the least recently used ones are
/// discarded when the cache exceeds its limit. Requests for a file that is being made wait for it. Any
/// thread.
class AudioCache
{
public:
    using Bytes = std::shared_ptr<const std::string>;

    AudioCache(std::uint64_t seed, std::size_t maxBytes);

    /// The file's bytes; blocks while they are made. Throws std::runtime_error when an encoder fails.
    Bytes file(const StreamFile& file);
    /// Bytes of all files that are kept now.
    std::size_t size() const;

private:
    using Key = std::pair<int, int>; ///< track and format determine the file
    struct Entry
    {
        std::shared_future<Bytes> bytes;
        std::size_t size = 0; ///< 0 while it is being made
        std::list<Key>::iterator use;
    };
    Bytes make(const StreamFile& file) const;
    void trim();

    std::uint64_t m_seed;
    std::size_t m_maxBytes;
    mutable std::mutex m_mutex;
    std::size_t m_size = 0;
    std::list<Key> m_uses; ///< most recent first
    std::map<Key, Entry> m_entries;
};

} // namespace sandbox

#include "sandbox/media/AudioCache.h"

#include "sandbox/media/Encoders.h"

namespace sandbox {

AudioCache::AudioCache(std::uint64_t seed, std::size_t maxBytes)
    : m_seed(seed)
    , m_maxBytes(maxBytes)
{
}

std::size_t AudioCache::size() const
{
    const std::lock_guard lock(m_mutex);
    return m_size;
}

AudioCache::Bytes AudioCache::make(const StreamFile& file) const
{
    Melody melody(m_seed, file.track, file.rateHz, file.seconds);
    return std::make_shared<const std::string>(file.isMp3() ? encodeMp3(melody)
                                                            : encodeFlac(melody, file.rateHz, file.bitDepth));
}

AudioCache::Bytes AudioCache::file(const StreamFile& file)
{
    const Key key(file.track, file.formatId);
    std::promise<Bytes> promise;
    {
        std::unique_lock lock(m_mutex);
        const auto known = m_entries.find(key);
        if (known != m_entries.end()) {
            m_uses.splice(m_uses.begin(), m_uses, known->second.use);
            const std::shared_future<Bytes> bytes = known->second.bytes;
            lock.unlock();
            return bytes.get();
        }
        m_uses.push_front(key);
        m_entries[key] = {promise.get_future().share(), 0, m_uses.begin()};
    }
    try {
        const Bytes bytes = make(file);
        promise.set_value(bytes);
        const std::lock_guard lock(m_mutex);
        m_entries[key].size = bytes->size();
        m_size += bytes->size();
        trim();
        return bytes;
    } catch (...) {
        promise.set_exception(std::current_exception());
        const std::lock_guard lock(m_mutex);
        m_uses.erase(m_entries[key].use);
        m_entries.erase(key);
        throw;
    }
}

void AudioCache::trim()
{
    for (auto use = m_uses.end(); m_size > m_maxBytes && use != m_uses.begin();) {
        const auto entry = m_entries.find(*--use);
        if (entry->second.size == 0)
            continue; // somebody is still making it
        m_size -= entry->second.size;
        m_entries.erase(entry);
        use = m_uses.erase(use);
    }
}

} // namespace sandbox

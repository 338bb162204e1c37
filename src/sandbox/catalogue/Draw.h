#pragma once

#include <cstddef>
#include <cstdint>

namespace sandbox {

/// The purpose of a random number. Each has its own sequence, so that a new purpose does not change the
/// others.
enum class Purpose : std::uint64_t
{
    ArtistName,
    Artist,
    AlbumId,
    AlbumLayout,
    AlbumTitle,
    Album,
    TrackTitle,
    Track,
    Playlist,
    PlaylistTrack,
    Article,
    Label,
    Library,
    Melody,
    Cover,
};

/// A repeatable random sequence derived from (seed, purpose, index). The whole catalogue is generated from
/// these.
class Draw
{
public:
    Draw(std::uint64_t seed, Purpose purpose, std::uint64_t index)
        : m_state(mix(mix(seed + 0x632be59bd9b4e019u) ^ (static_cast<std::uint64_t>(purpose) << 56) ^ index))
    {
    }

    /// The next 64 bits.
    std::uint64_t bits() { return mix(m_state += 0x9e3779b97f4a7c15u); }
    /// A number from 0 to `limit` - 1; `limit` is at least 1.
    int below(int limit) { return static_cast<int>((bits() >> 33) % static_cast<std::uint64_t>(limit)); }
    /// True once in `n` times.
    bool once(int n) { return below(n) == 0; }
    /// A fraction from 0 up to 1.
    double fraction() { return static_cast<double>(bits() >> 11) / 9007199254740992.0; }
    /// One element of an array.
    template <typename T, std::size_t N>
    const T& of(const T (&values)[N])
    {
        return values[below(static_cast<int>(N))];
    }

private:
    static std::uint64_t mix(std::uint64_t x)
    {
        x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9u;
        x = (x ^ (x >> 27)) * 0x94d049bb133111ebu;
        return x ^ (x >> 31);
    }

    std::uint64_t m_state;
};

} // namespace sandbox

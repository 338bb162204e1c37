#include "sandbox/catalogue/Library.h"

#include "sandbox/catalogue/Catalogue.h"

#include <numeric>

namespace sandbox {
namespace {

int start(const Catalogue& catalogue, int list)
{
    return catalogue.draw(Purpose::Library, list).below(1 << 30);
}

} // namespace

int shuffled(int position, int start, int count)
{
    // A step without a common factor with the count visits everything.
    std::int64_t step = count / 3 + 1 + start % 50;
    while (std::gcd(step, std::int64_t(count)) != 1)
        ++step;
    return static_cast<int>((start + position * step) % count);
}

int Library::favouriteTrack(int position) const
{
    return shuffled(position, start(m_catalogue, 0), m_catalogue.trackCount());
}

int Library::favouriteAlbum(int position) const
{
    return shuffled(position, start(m_catalogue, 1), Catalogue::albumCount);
}

int Library::favouriteArtist(int position) const
{
    return shuffled(position, start(m_catalogue, 2), Catalogue::artistCount);
}

int Library::purchasedAlbum(int position) const
{
    return shuffled(position, start(m_catalogue, 3), Catalogue::albumCount);
}

int Library::purchasedTrack(int position) const
{
    return shuffled(position, start(m_catalogue, 4), m_catalogue.trackCount());
}

} // namespace sandbox

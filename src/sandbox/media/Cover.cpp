#include "sandbox/media/Cover.h"

#include "sandbox/catalogue/Draw.h"

#include <algorithm>
#include <png.h>
#include <stdexcept>
#include <vector>

namespace sandbox {
namespace {

struct Colour
{
    int red, green, blue;
};

struct Disc
{
    double x, y, radius; ///< in parts of the picture's side
    Colour colour;
};

Colour colour(Draw& draw)
{
    return {draw.below(256), draw.below(256), draw.below(256)};
}

int blend(int from, int to, double share)
{
    return from + static_cast<int>((to - from) * share);
}

std::vector<unsigned char> paint(Draw draw, int pixels)
{
    const Colour top = colour(draw);
    const Colour bottom = colour(draw);
    std::vector<Disc> discs;
    for (int i = 3 + draw.below(4); i > 0; --i)
        discs.push_back({draw.fraction(), draw.fraction(), 0.08 + draw.fraction() * 0.25, colour(draw)});
    std::vector<unsigned char> image;
    image.reserve(std::size_t(pixels) * std::size_t(pixels) * 3);
    for (int row = 0; row < pixels; ++row) {
        const double y = (row + 0.5) / pixels;
        const Colour back{blend(top.red, bottom.red, y), blend(top.green, bottom.green, y),
                          blend(top.blue, bottom.blue, y)};
        for (int column = 0; column < pixels; ++column) {
            const double x = (column + 0.5) / pixels;
            Colour pixel = back;
            for (const Disc& disc : discs) {
                if ((x - disc.x) * (x - disc.x) + (y - disc.y) * (y - disc.y) < disc.radius * disc.radius)
                    pixel = disc.colour;
            }
            for (const int part : {pixel.red, pixel.green, pixel.blue})
                image.push_back(static_cast<unsigned char>(part));
        }
    }
    return image;
}

} // namespace

std::string coverPng(std::uint64_t seed, const std::string& name, int pixels)
{
    std::uint64_t index = 1469598103934665603u;
    for (const char c : name)
        index = (index ^ static_cast<unsigned char>(c)) * 1099511628211u;
    const std::vector<unsigned char> image = paint(Draw(seed, Purpose::Cover, index), pixels);

    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    header.width = static_cast<png_uint_32>(pixels);
    header.height = header.width;
    header.format = PNG_FORMAT_RGB;
    header.flags = PNG_IMAGE_FLAG_FAST;
    // The bound is asked from the library with the flag set, since quick compression may come out larger.
    std::string file(PNG_IMAGE_PNG_SIZE_MAX(header), '\0');
    png_alloc_size_t size = file.size();
    if (!png_image_write_to_memory(&header, file.data(), &size, 0, image.data(), 0, nullptr))
        throw std::runtime_error(std::string("cannot make a picture: ") + header.message);
    file.resize(size);
    return file;
}

} // namespace sandbox

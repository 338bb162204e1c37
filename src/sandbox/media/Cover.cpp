#include "sandbox/media/Cover.h"

#include "sandbox/catalogue/Draw.h"

#include <algorithm>
#include <cmath>
#include <png.h>
#include <stdexcept>
#include <vector>

namespace sandbox {
namespace {

struct Colour
{
    int red, green, blue;
};

/// A part of the picture in one colour. Places and lengths are in parts of the picture's side.
struct Shape
{
    enum Kind
    {
        Disc, ///< around (x, y)
        Ring, ///< around (x, y), of the given width
        Hill, ///< below a wave at the height y, which begins at x
        Bar   ///< from x to x + size, top to bottom
    } kind;
    double x, y, size, width;
    Colour colour;
};

int blend(int from, int to, double share)
{
    return from + static_cast<int>((to - from) * share);
}

Colour blend(const Colour& from, const Colour& to, double share)
{
    return {blend(from.red, to.red, share), blend(from.green, to.green, share),
            blend(from.blue, to.blue, share)};
}

/// A colour by its hue (any number; 1 is once around), saturation and lightness.
Colour colour(double hue, double saturation, double lightness)
{
    const double span = saturation * std::min(lightness, 1 - lightness);
    const auto part = [&](double offset) {
        const double place = std::fmod(offset + hue * 12, 12);
        return static_cast<int>(255 *
                                (lightness - span * std::clamp(std::min(place - 3, 9 - place), -1.0, 1.0)));
    };
    return {part(0), part(8), part(4)};
}

/// The shapes of a picture, from back to front: of one kind, in colours that go together.
std::vector<Shape> shapes(Draw& draw, double hue)
{
    const auto kind = static_cast<Shape::Kind>(draw.below(4));
    const double turn = draw.once(3) ? 0.45 : draw.once(2) ? 0.08 : -0.08;
    const int count = kind == Shape::Bar ? 4 + draw.below(5) : 2 + draw.below(3);
    const double middleX = 0.2 + 0.6 * draw.fraction();
    const double middleY = 0.2 + 0.6 * draw.fraction();
    std::vector<Shape> all;
    for (int i = 0; i < count; ++i) {
        const double step = double(i) / count;
        Shape shape{};
        shape.kind = kind;
        const double roll = draw.fraction();
        const double other = draw.fraction();
        switch (kind) {
        case Shape::Disc:
            shape = {kind, roll, other, 0.14 + draw.fraction() * 0.3, 0, {}};
            break;
        case Shape::Ring:
            shape = {kind, middleX, middleY, 0.85 - step * 0.7 - roll * 0.08, 0.05 + other * 0.08, {}};
            break;
        case Shape::Hill:
            shape = {kind, roll * 6.28, 0.38 + step * 0.55, 0.04 + other * 0.07, 0, {}};
            break;
        case Shape::Bar:
            shape = {kind, step + roll * 0.1, 0, (0.2 + other * 0.7) / count, 0, {}};
            break;
        }
        shape.colour = colour(hue + (i % 2 ? turn : 0) + 1, 0.35 + draw.fraction() * 0.35,
                              i % 2 ? 0.62 + draw.fraction() * 0.24 : 0.2 + draw.fraction() * 0.3);
        all.push_back(shape);
    }
    return all;
}

/// How much of a pixel the shape covers, from 0 to 1.
double coverage(const Shape& shape, double x, double y, int pixels)
{
    double inside = 0; // distance from the edge
    switch (shape.kind) {
    case Shape::Disc:
        inside = shape.size - std::hypot(x - shape.x, y - shape.y);
        break;
    case Shape::Ring:
        inside = shape.width / 2 - std::abs(shape.size - std::hypot(x - shape.x, y - shape.y));
        break;
    case Shape::Hill:
        inside = y - shape.y - shape.size * std::sin(shape.x + x * 5);
        break;
    case Shape::Bar:
        inside = std::min(x - shape.x, shape.x + shape.size - x);
        break;
    }
    return std::clamp(inside * pixels + 0.5, 0.0, 1.0);
}

std::vector<unsigned char> paint(Draw draw, int pixels)
{
    const double hue = draw.fraction();
    const double lightness = draw.once(3) ? 0.18 : 0.45 + draw.fraction() * 0.35;
    const Colour top = colour(hue + 1, 0.45, lightness);
    const Colour bottom = colour(hue + 1.07, 0.5, lightness * 0.72);
    const std::vector<Shape> drawn = shapes(draw, hue + 0.04);
    std::vector<unsigned char> image;
    image.reserve(std::size_t(pixels) * std::size_t(pixels) * 3);
    for (int row = 0; row < pixels; ++row) {
        const double y = (row + 0.5) / pixels;
        for (int column = 0; column < pixels; ++column) {
            const double x = (column + 0.5) / pixels;
            Colour pixel = blend(top, bottom, y);
            for (const Shape& shape : drawn) {
                const double share = coverage(shape, x, y, pixels);
                if (share > 0)
                    pixel = blend(pixel, shape.colour, share);
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
    // The library is asked for the maximum size with this flag set, because fast compression may be larger.
    std::string file(PNG_IMAGE_PNG_SIZE_MAX(header), '\0');
    png_alloc_size_t size = file.size();
    if (!png_image_write_to_memory(&header, file.data(), &size, 0, image.data(), 0, nullptr))
        throw std::runtime_error(std::string("cannot make a picture: ") + header.message);
    file.resize(size);
    return file;
}

} // namespace sandbox

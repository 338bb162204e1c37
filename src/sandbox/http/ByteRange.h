#pragma once

#include <cstddef>
#include <string>

namespace sandbox {

/// The part of a body that a Range header requests.
struct ByteRange
{
    enum class Kind
    {
        Whole,        ///< no range, or one that this server need not understand (several ranges, other units)
        Part,         ///< `first` to `last`, both within the body
        Unsatisfiable ///< begins after the end of the body
    };
    Kind kind = Kind::Whole;
    std::size_t first = 0;
    std::size_t last = 0; ///< inclusive
};

/// Reads the value of a Range header for a body of `size` bytes, which is at least 1.
ByteRange byteRange(const std::string& header, std::size_t size);

} // namespace sandbox

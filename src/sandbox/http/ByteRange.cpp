#include "sandbox/http/ByteRange.h"

#include <algorithm>
#include <charconv>

namespace sandbox {

ByteRange byteRange(const std::string& header, std::size_t size)
{
    const std::string unit = "bytes=";
    const auto dash = header.find('-');
    if (header.compare(0, unit.size(), unit) != 0 || dash == std::string::npos ||
        header.find(',') != std::string::npos)
        return {};
    const auto number = [&](std::size_t begin, std::size_t end, std::size_t& value) {
        const auto [rest, error] = std::from_chars(header.data() + begin, header.data() + end, value);
        return error == std::errc() && rest == header.data() + end;
    };
    std::size_t first = 0;
    std::size_t last = size - 1;
    if (dash == unit.size()) { // "-500": the last 500 bytes
        std::size_t suffix = 0;
        if (!number(dash + 1, header.size(), suffix))
            return {};
        if (suffix == 0)
            return {ByteRange::Kind::Unsatisfiable, 0, 0};
        return {ByteRange::Kind::Part, size - std::min(suffix, size), last};
    }
    if (!number(unit.size(), dash, first))
        return {};
    if (dash + 1 < header.size() && (!number(dash + 1, header.size(), last) || last < first))
        return {};
    if (first >= size)
        return {ByteRange::Kind::Unsatisfiable, 0, 0};
    return {ByteRange::Kind::Part, first, std::min(last, size - 1)};
}

} // namespace sandbox

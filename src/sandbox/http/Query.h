#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sandbox {

/// The items of a request target's query, decoded, in the order in which they were received.
std::vector<std::pair<std::string, std::string>> queryItems(std::string_view target);

/// The header fields of a request head, in the order in which they were received.
std::vector<std::pair<std::string, std::string>> headerFields(std::string_view head);

} // namespace sandbox

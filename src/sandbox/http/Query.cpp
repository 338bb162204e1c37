#include "sandbox/http/Query.h"

#include <httplib.h>

namespace sandbox {
namespace {

/// The text up to the mark, which is taken off `rest` together with the mark.
std::string_view next(std::string_view& rest, std::string_view mark)
{
    const auto end = rest.find(mark);
    const std::string_view part = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + mark.size());
    return part;
}

} // namespace

std::vector<std::pair<std::string, std::string>> queryItems(std::string_view target)
{
    std::vector<std::pair<std::string, std::string>> items;
    target = target.substr(0, target.find('#'));
    next(target, "?");
    while (!target.empty()) {
        std::string_view value = next(target, "&");
        if (value.empty())
            continue;
        const std::string_view key = next(value, "=");
        items.emplace_back(httplib::detail::decode_url(std::string(key), true),
                           httplib::detail::decode_url(std::string(value), true));
    }
    return items;
}

std::vector<std::pair<std::string, std::string>> headerFields(std::string_view head)
{
    std::vector<std::pair<std::string, std::string>> fields;
    next(head, "\r\n");
    while (!head.empty()) {
        std::string_view value = next(head, "\r\n");
        const std::string_view name = next(value, ":");
        if (name.empty())
            continue;
        value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
        fields.emplace_back(name, value);
    }
    return fields;
}

} // namespace sandbox

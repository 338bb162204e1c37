#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace sandbox {

/// Finds names by any part, ignoring case. The names are collected on first use. Any thread.
class NameIndex
{
public:
    NameIndex(int count, std::function<std::string(int)> name);

    /// The indices of all names that contain `text`, in ascending order. An empty text finds nothing.
    std::vector<int> find(const std::string& text) const;
    /// Collects the names now, so that no later call has to.
    void prepare() const;

private:
    int m_count;
    std::function<std::string(int)> m_name;
    mutable std::once_flag m_once;
    mutable std::string m_names; ///< folded, each followed by a newline
    mutable std::vector<std::size_t> m_ends;
};

} // namespace sandbox

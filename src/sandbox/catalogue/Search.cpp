#include "sandbox/catalogue/Search.h"

#include "sandbox/catalogue/Names.h"

#include <algorithm>
#include <cstring>

namespace sandbox {

NameIndex::NameIndex(int count, std::function<std::string(int)> name)
    : m_count(count)
    , m_name(std::move(name))
{
}

void NameIndex::prepare() const
{
    std::call_once(m_once, [this] {
        m_ends.reserve(std::size_t(m_count));
        for (int i = 0; i < m_count; ++i) {
            m_names += names::folded(m_name(i)) + '\n';
            m_ends.push_back(m_names.size());
        }
    });
}

std::vector<int> NameIndex::find(const std::string& text) const
{
    std::vector<int> found;
    const std::string wanted = names::folded(text);
    if (wanted.empty() || wanted.find('\n') != std::string::npos)
        return found;
    prepare();
    const char* const begin = m_names.data();
    const char* const end = begin + m_names.size();
    auto name = m_ends.begin();
    for (const char* at = begin; at < end; at = begin + *name) {
        const void* hit = memmem(at, std::size_t(end - at), wanted.data(), wanted.size());
        if (!hit)
            break;
        name = std::upper_bound(name, m_ends.end(), std::size_t(static_cast<const char*>(hit) - begin));
        found.push_back(static_cast<int>(name - m_ends.begin()));
    }
    return found;
}

} // namespace sandbox

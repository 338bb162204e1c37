#pragma once

#include <cstddef>
#include <cstring>

/// The place of a virtual operation in its class's table, or -1 if it is not virtual. A member pointer tells
/// it, though not in the same way on the two machines that modules are built for.
template <typename Member>
int virtualSlot(Member member)
{
    static_assert(sizeof(Member) == 2 * sizeof(std::ptrdiff_t));
    std::ptrdiff_t words[2];
    std::memcpy(words, &member, sizeof words);
#ifdef __aarch64__
    return words[1] & 1 ? int(words[0] / std::ptrdiff_t(sizeof(void*))) : -1;
#else
    return words[0] & 1 ? int((words[0] - 1) / std::ptrdiff_t(sizeof(void*))) : -1;
#endif
}

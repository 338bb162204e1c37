#pragma once

#include <cstddef>
#include <malloc.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PELK_SANITIZER_ALLOCATOR
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define PELK_SANITIZER_ALLOCATOR
#endif
#endif

#ifdef PELK_SANITIZER_ALLOCATOR
// GCC installs no header for it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(); // NOLINT(bugprone-reserved-identifier)
#endif

/// How many bytes of the heap are in use, in all threads; blocks that the allocator keeps for reuse may count
/// as used. Sanitizers have their own allocator, which is queried instead.
inline std::size_t heapInUse()
{
#ifdef PELK_SANITIZER_ALLOCATOR
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

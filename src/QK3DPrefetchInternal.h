// QK3DPrefetchInternal.h: asks the processor for memory that is about to be used.
#pragma once

#include <cstddef>

namespace qk3d {
/// The lines in which a processor fetches memory.
constexpr std::size_t kCacheLine = 64;

/// How many objects before its turn one is asked for. A walk over a hundred thousand particles waits for little else.
constexpr std::size_t kPrefetchAhead = 8;

/// How much of an object in a scene a frame looks at, and of something renderable before it is drawn.
constexpr std::size_t kObjectBytes = 4 * kCacheLine;

/// A hint that `size` bytes will be read and written soon. For walks over many objects that lie about in memory; any
/// address is fine. Does nothing where the compiler knows no such hint.
inline void Prefetch(void const* memory, std::size_t size) {
#if defined(__GNUC__)
    auto const* const bytes = static_cast<char const*>(memory);
    for (std::size_t at = 0; at < size; at += kCacheLine) __builtin_prefetch(bytes + at, 1);
#else
    static_cast<void>(memory), static_cast<void>(size);
#endif
}
} // namespace qk3d

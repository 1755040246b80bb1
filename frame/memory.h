// All heap memory of the library.
#pragma once

#include <cstddef>

namespace korvan {

// Alignment of stream records and of what hangs on them.
inline constexpr std::size_t recordAlignment = 128;

// At least `size` bytes aligned to `alignment`, or null if there is no memory or `size` is 0.
// Alignments below 64, and those that aren't a power of two, become 64.
void* alignedAlloc(std::size_t size, std::size_t alignment);

// Gives a block back.  Null is ignored.
void alignedFree(void* block);

}  // namespace korvan

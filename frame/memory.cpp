#include "frame/memory.h"

#include <bit>
#include <cstdlib>

namespace korvan {

void* alignedAlloc(std::size_t size, std::size_t alignment) {
    if (size == 0) return nullptr;
    if (alignment < 64 || !std::has_single_bit(alignment)) alignment = 64;
    void* block = nullptr;
    return posix_memalign(&block, alignment, size) == 0 ? block : nullptr;
}

void alignedFree(void* block) {
    std::free(block);
}

}  // namespace korvan

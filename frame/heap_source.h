// Where blocks of memory come from: the heap's four routines, which a hook library can replace,
// and on some processors an allocator of high-bandwidth memory.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "frame/one_time.h"
#include "frame/platform/platform.h"

namespace korvan {

struct HeapHooks {
    void* (*malloc)(std::size_t size);
    void* (*calloc)(std::size_t count, std::size_t size);
    void* (*realloc)(void* block, std::size_t size);
    void (*free)(void* block);
};

// The C library's.
inline constexpr HeapHooks systemHeap = {std::malloc, std::calloc, std::realloc, std::free};

class HeapSource {
  public:
    // `hasFeatures` is processorHasFeatures() of frame/branch.h.
    constexpr HeapSource(const Platform& platform, bool (*hasFeatures)(const char* names))
        : platform_(platform), hasFeatures_(hasFeatures) {}

    // Takes the routines of the hook library, if there is one that holds all four.
    void readHookLibrary();
    void setHooks(const HeapHooks& hooks) { hooks_ = hooks; }

    // Null if there is no memory.  *isFast tells give() which heap the block is from.
    void* take(std::size_t size, bool* isFast);
    void give(void* block, std::size_t size, bool isFast);

    // Bytes of high-bandwidth memory that may still be taken, -1 for no limit.
    std::int64_t fastMemoryLimit();

  private:
    using FastAlloc = int (*)(void** block, std::size_t alignment, std::size_t size, int page);
    using FastFree = void (*)(void* block);

    void setUp();
    void readFastMemoryLimit();
    void loadFastAllocator();
    bool reserveFast(std::size_t size);
    void releaseFast(std::size_t size);

    const Platform& platform_;
    bool (*hasFeatures_)(const char* names);
    HeapHooks hooks_ = systemHeap;
    OneTime setUp_;
    FastAlloc fastAlloc_ = nullptr;
    FastFree fastFree_ = nullptr;
    // No lock: it is counted inside those of the caches, the last that a fork takes.
    std::atomic<std::int64_t> limit_{-1};
};

}  // namespace korvan

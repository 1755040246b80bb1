// The library's heap in a test's hands: how many blocks are out, and when it fails.
#pragma once

#include <atomic>
#include <cstdlib>
#include <limits>

#include "frame/memory_service.h"

namespace korvan::testing {

// One at a time.  The process keeps no freed blocks from then on, so that every allocation of the
// library reaches the heap.
class WatchedHeap {
  public:
    WatchedHeap() {
        memoryService().stopCaching();
        allowed = never;
        held = 0;
        memoryService().heap().setHooks({take, std::calloc, std::realloc, give});
    }
    ~WatchedHeap() { memoryService().heap().setHooks(systemHeap); }
    WatchedHeap(const WatchedHeap&) = delete;
    WatchedHeap& operator=(const WatchedHeap&) = delete;

    // Lets `count` more allocations succeed.
    void failAfter(int count) { allowed = count; }
    void failNever() { allowed = never; }

    // Blocks taken less blocks given back since the watch began.
    int blocksHeld() const { return held; }

  private:
    static constexpr int never = std::numeric_limits<int>::max();
    static inline std::atomic<int> allowed, held;

    static void* take(std::size_t size) {
        if (allowed == 0) return nullptr;
        if (allowed != never) --allowed;
        ++held;
        return std::malloc(size);
    }
    static void give(void* block) {
        --held;
        std::free(block);
    }
};

}  // namespace korvan::testing

// The memory service on counted heaps, made-up processors and made-up libraries.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "frame/memory_service.h"
#include "made_up_platform.h"

namespace korvan::test {
namespace {

// A heap that counts, and fails from the failAfter-th call on.
std::atomic<int> taken, given, failAfter;

void* countingMalloc(std::size_t size) {
    if (taken >= failAfter) return nullptr;
    ++taken;
    return std::malloc(size);
}
void countingFree(void* block) {
    ++given;
    std::free(block);
}
constexpr HeapHooks countingHeap = {countingMalloc, std::calloc, std::realloc, countingFree};

bool plainProcessor(const char*) {
    return false;
}

class Memory : public ::testing::Test {
  protected:
    Memory() {
        taken = given = 0;
        failAfter = 1 << 30;
        service.heap().setHooks(countingHeap);
    }
    ~Memory() override {
        service.releaseThreadCache();
        EXPECT_EQ(taken, given);  // nothing leaks, whatever the test did
    }
    // Heap calls that `work` makes, but for the thread's own record.
    template <class Work>
    int takenBy(Work work) {
        const int before = taken;
        work();
        return taken - before;
    }
    void* get(std::size_t size, std::size_t alignment = 128) {
        void* block = service.allocate(size, alignment);
        if (block) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0u);
            std::memset(block, 0x5A, size);
        }
        return block;
    }

    MadeUp system;
    MemoryService service{system.platform, plainProcessor};
};

TEST_F(Memory, RefusesNothingAndTheImpossible) {
    EXPECT_EQ(service.allocate(0, 128), nullptr);
    EXPECT_EQ(service.allocate(SIZE_MAX, 128), nullptr);
    EXPECT_EQ(service.allocate(SIZE_MAX - 200, 128), nullptr);
    EXPECT_EQ(taken, 0);
    service.free(nullptr);
    for (const std::size_t odd : {0, 1, 32, 100}) {
        void* block = service.allocate(10, odd);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0u) << odd;
        service.free(block);
    }
    service.free(get(100, 1 << 16));
}

TEST_F(Memory, KeptBlocksAreReusedByFit) {
    void* first = get(1000);
    service.free(first);
    EXPECT_EQ(takenBy([&] {
                  EXPECT_EQ(get(1000), first);
                  service.free(first);
              }),
              0);
    // 1000, 4000 and 3000 are kept: 2000 takes the smallest larger one, 1000 its own, and with
    // 4000 out as well 500 needs a new one.
    void* both[] = {get(1000), get(3000)};
    void* largest = get(4000);
    service.free(both[0]);
    service.free(largest);
    service.free(both[1]);
    EXPECT_EQ(get(2000), both[1]);
    EXPECT_EQ(get(1000), both[0]);
    EXPECT_EQ(get(3500), largest);
    EXPECT_EQ(takenBy([&] { both[0] = get(500); }), 1);
    service.free(both[0]);
    service.free(both[1]);
    service.free(largest);
    service.free(first);
}

TEST_F(Memory, FiveBlocksAreTheBudget) {
    std::vector<void*> blocks;
    for (std::size_t i = 1; i <= 5; ++i) blocks.push_back(get(1000 * i));
    for (void* block : blocks) service.free(block);
    // All five are kept and too small: the first one is replaced, nothing is hoarded.
    EXPECT_EQ(given, 0);
    void* large = get(9000);
    EXPECT_EQ(given, 1);
    for (std::size_t i = 0; i < 4; ++i) blocks[i] = get(1000);
    EXPECT_EQ(takenBy([&] { blocks[4] = get(1000); }), 1);  // the sixth goes to the heap
    const int before = given;
    service.free(blocks[4]);
    EXPECT_EQ(given, before + 1);  // and back to it
    for (std::size_t i = 0; i < 4; ++i) service.free(blocks[i]);
    service.free(large);
    EXPECT_EQ(given, before + 1);
    // Up to 40 MiB are kept, above that nothing.
    service.free(service.allocate(MemoryService::largestCached, 128));
    EXPECT_EQ(given, before + 2);  // for the block that it replaced
    EXPECT_EQ(takenBy([&] { service.free(service.allocate(MemoryService::largestCached, 128)); }),
              0);
    void* huge = service.allocate(MemoryService::largestCached + 1, 128);
    service.free(huge);
    EXPECT_EQ(given, before + 3);
}

TEST_F(Memory, CacheCanBeSwitchedOff) {
    system.environment["QVX_DISABLE_FAST_MM"] = "no";  // any text
    for (int i = 0; i < 3; ++i) EXPECT_EQ(takenBy([&] { service.free(get(1000)); }), 1);
    EXPECT_EQ(taken, given);
}

TEST_F(Memory, EveryFailureGivesNull) {
    const auto work = [&] {
        void* blocks[7];
        bool all = true;
        for (std::size_t i = 0; i < 7; ++i) all &= (blocks[i] = get(700 + 100 * i)) != nullptr;
        for (void* block : blocks) service.free(block);
        void* larger = get(50000);
        all &= larger != nullptr;
        service.free(larger);
        service.releaseThreadCache();
        return all;
    };
    int calls = 0;
    for (bool done = false; !done; ++calls) {
        taken = given = 0;
        failAfter = calls;
        done = work();
        EXPECT_EQ(taken, given) << "failing call " << calls;
    }
    EXPECT_EQ(calls - 1, 9);  // the record, seven blocks, the larger one
}

TEST_F(Memory, ThreadsMayFreeEachOthersBlocksAndEnd) {
    void* mine = get(1000);
    void* theirs = nullptr;
    std::thread other([&] {
        theirs = get(2000);
        service.free(mine);  // forgotten here, given to the heap
        service.free(get(3000));
    });
    other.join();
    const int atEnd = given;
    EXPECT_EQ(atEnd, 3);  // mine, the other's kept block, its record
    EXPECT_EQ(static_cast<unsigned char*>(theirs)[1999], 0x5A);
    service.free(theirs);
    EXPECT_EQ(given, atEnd + 1);
    EXPECT_EQ(takenBy([&] { service.free(get(1000)); }), 1);  // mine is gone from the cache
}

// More threads at once than there are numbers; blocks wander between them while they end.
TEST_F(Memory, ManyThreadsAtOnce) {
    constexpr int threads = MemoryService::numbers + 40;
    std::mutex lock;
    std::vector<void*> wandering;
    std::atomic<int> ready = 0;
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            void* own = service.allocate(200, 64);
            ++ready;
            while (ready < threads) std::this_thread::yield();
            for (int i = 0; i < 20; ++i) {
                void* block =
                    service.allocate(static_cast<std::size_t>(100 + (t * 7 + i) % 900), 64);
                std::memset(block, t, 100);
                const std::lock_guard guard(lock);
                wandering.push_back(block);
                std::swap(wandering[static_cast<std::size_t>(t) % wandering.size()],
                          wandering.back());
                service.free(wandering.back());
                wandering.pop_back();
            }
            service.free(own);
        });
    }
    for (std::thread& thread : pool) thread.join();
    for (void* block : wandering) service.free(block);
}

TEST_F(Memory, StoppingGivesBackWhatAllThreadsKeep) {
    void* inUse = get(500);
    service.free(get(1000));
    std::atomic<int> step = 0;
    std::thread other([&] {
        service.free(get(2000));
        step = 1;
        while (step == 1) std::this_thread::yield();
    });
    while (step == 0) std::this_thread::yield();
    service.stopCaching();
    EXPECT_EQ(given, 2);
    EXPECT_EQ(takenBy([&] { service.free(get(1000)); }), 1);
    service.free(inUse);
    step = 2;
    other.join();
}

// A hook library: its routines count if all four are there.
void* hookMalloc(std::size_t size) {
    return countingMalloc(size);
}
decltype(HeapHooks::malloc) hookMallocItem = hookMalloc;
decltype(HeapHooks::calloc) hookCallocItem = std::calloc;
decltype(HeapHooks::realloc) hookReallocItem = std::realloc;
decltype(HeapHooks::free) hookFreeItem = countingFree;
std::string missingSymbol;
int openLibraries;

TEST_F(Memory, HookLibraryIsTakenWhole) {
    system.platform.openLibrary = [](const char* name) -> void* {
        EXPECT_STREQ(name, "libhookalloc.dll");
        ++openLibraries;
        return &openLibraries;
    };
    system.platform.closeLibrary = [](void*) { --openLibraries; };
    system.platform.librarySymbol = [](void*, const char* name) -> void* {
        const std::string symbol = name;
        if (symbol == missingSymbol) return nullptr;
        if (symbol == "hook_malloc_dll") return &hookMallocItem;
        if (symbol == "hook_calloc_dll") return &hookCallocItem;
        if (symbol == "hook_realloc_dll") return &hookReallocItem;
        return symbol == "hook_free_dll" ? &hookFreeItem : nullptr;
    };
    const auto isTaken = [&] {
        service.heap().setHooks(systemHeap);
        service.heap().readHookLibrary();
        EXPECT_EQ(openLibraries, 0);
        const int before = taken;
        service.free(service.allocate(MemoryService::largestCached + 1, 64));
        return taken > before;
    };
    EXPECT_TRUE(isTaken());
    for (const char* symbol :
         {"hook_malloc_dll", "hook_calloc_dll", "hook_realloc_dll", "hook_free_dll"}) {
        missingSymbol = symbol;
        EXPECT_FALSE(isTaken()) << symbol;
    }
    missingSymbol.clear();
    hookReallocItem = nullptr;
    EXPECT_FALSE(isTaken());
    hookReallocItem = std::realloc;
    service.heap().setHooks(countingHeap);
}

// The high-bandwidth allocator: asked on its processors only, for large pages, then small ones,
// within its budget.
struct FastHeap {
    static inline int version, largeFailures, smallFailures;
    static inline std::multiset<std::size_t> alignments;
    static int getVersion() { return version; }
    static int alloc(void** block, std::size_t alignment, std::size_t size, int page) {
        EXPECT_EQ(page, alignment == 0x200000 ? 2 : 1);
        int& failures = page == 2 ? largeFailures : smallFailures;
        if (failures-- > 0) return 12;
        alignments.insert(alignment);
        return posix_memalign(block, alignment, size);
    }
    static void free(void* block) {
        alignments.erase(alignments.begin());
        std::free(block);
    }
    static void* symbol(void*, const char* name) {
        const std::string wanted = name;
        if (wanted == "memkind_get_version") return reinterpret_cast<void*>(getVersion);
        if (wanted == "hbw_posix_memalign_psize") return reinterpret_cast<void*>(alloc);
        return wanted == "hbw_free" ? reinterpret_cast<void*>(FastHeap::free) : nullptr;
    }
};

TEST_F(Memory, HighBandwidthMemoryHasABudget) {
    system.platform.openLibrary = [](const char* name) -> void* {
        return std::strcmp(name, "\"memkind\".dll") == 0 ? &openLibraries : nullptr;
    };
    system.platform.closeLibrary = [](void*) {};
    system.platform.librarySymbol = FastHeap::symbol;
    system.environment["QVX_DISABLE_FAST_MM"] = "1";
    system.environment["QVX_FAST_MEMORY_LIMIT"] = "1";
    FastHeap::version = 1001000;
    FastHeap::largeFailures = FastHeap::smallFailures = 0;
    const auto manyCores = [](const char* features) {
        return std::strcmp(features, "avx512f,avx512er,avx512pf,avx512cd") == 0;
    };
    MemoryService fast(system.platform, manyCores);
    fast.heap().setHooks(countingHeap);
    EXPECT_EQ(fast.heap().fastMemoryLimit(), 1 << 20);
    void* large = fast.allocate(1 << 19, 64);
    EXPECT_EQ(FastHeap::alignments, (std::multiset<std::size_t>{0x200000}));
    EXPECT_LT(fast.heap().fastMemoryLimit(), 1 << 19);
    void* overBudget = fast.allocate(1 << 19, 64);
    EXPECT_EQ(taken, 1);
    FastHeap::largeFailures = 2;
    FastHeap::smallFailures = 1;
    void* refused = fast.allocate(1000, 64);
    EXPECT_EQ(taken, 2);
    void* small = fast.allocate(1000, 64);
    EXPECT_EQ(FastHeap::alignments, (std::multiset<std::size_t>{4096, 0x200000}));
    for (void* block : {large, overBudget, refused, small}) fast.free(block);
    EXPECT_EQ(fast.heap().fastMemoryLimit(), 1 << 20);
    EXPECT_EQ(FastHeap::alignments.size(), 0u);

    system.environment.erase("QVX_FAST_MEMORY_LIMIT");
    MemoryService unlimited(system.platform, manyCores);
    unlimited.free(unlimited.allocate(1000, 64));
    EXPECT_EQ(unlimited.heap().fastMemoryLimit(), -1) << "giving back makes no limit";

    FastHeap::version = 1000999;  // too old
    MemoryService old(system.platform, manyCores);
    old.heap().setHooks(countingHeap);
    EXPECT_EQ(takenBy([&] { old.free(old.allocate(1000, 64)); }), 1);
}

}  // namespace
}  // namespace korvan::test

// The allocator behind alignedAlloc: per-thread caches over a heap source, their locks, and what
// happens when a thread or the process ends.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "frame/block_cache.h"
#include "frame/heap_source.h"
#include "frame/one_time.h"
#include "frame/platform/thread_slot.h"
#include "frame/turnstile.h"

namespace korvan {

class MemoryService {
  public:
    // Larger blocks aren't cached.
    static constexpr std::size_t largestCached = 0x2800000;

    // Threads whose caches have a number, and a lock each.
    static constexpr std::int32_t numbers = 1024;

    constexpr MemoryService(const Platform& platform, bool (*hasFeatures)(const char* names))
        : platform_(platform), heap_(platform, hasFeatures) {}

    HeapSource& heap() { return heap_; }

    void* allocate(std::size_t size, std::size_t alignment);
    void free(void* block);

    // Gives back the calling thread's kept blocks, and its cache.
    void releaseThreadCache();

    // Gives back all threads' kept blocks; from then on nothing is cached.
    void stopCaching();

    // Around a fork, with all ServiceGuards kept out (frame/fork.h): takes the caches of all
    // threads, and gives them back.
    void holdForFork();
    void releaseInParent();
    void releaseInChild();

  private:
    // A cache of a living thread.  Those without a number are rare: 1024 threads have one.
    struct ThreadCache {
        MemoryService* service;
        bool isFast;        // this record's memory
        ThreadCache* next;  // of the list of those without a number
        BlockCache blocks;
    };

    // Brackets the access of a cache's own thread: the lock of its number, or a place in the
    // turnstile of those without one.
    class Access {
      public:
        Access(MemoryService& service, std::int32_t number);
        ~Access();
        Access(const Access&) = delete;
        Access& operator=(const Access&) = delete;

      private:
        MemoryService& service_;
        std::int32_t number_;
        bool isTaken_;
    };

    bool cachingIsOff();
    ThreadCache* cacheOfThread();
    ThreadCache* makeCache();
    bool forgetForeign(void* block, std::int32_t number);
    void closeUnnumbered();
    void openUnnumbered();
    void releaseFromFork();
    static void atThreadEnd(void* cache);
    void release(ThreadCache* cache);

    const Platform& platform_;
    HeapSource heap_;
    OneTime settingsRead_;
    std::atomic<bool> off_{false};
    ThreadSlot slot_;
    std::atomic<std::int32_t> tableLock_{0};  // guards owners_' numbers and the list, and sweeps
    ThreadCache* owners_[numbers] = {};
    ThreadCache* unnumbered_ = nullptr;
    Turnstile unnumberedAccess_;        // closed by a sweep
    std::int32_t highestNumber_ = 0;    // that was ever given
    bool wasClosedBeforeFork_ = false;  // by the thread that forks
};

// The process's own.
MemoryService& memoryService();

}  // namespace korvan

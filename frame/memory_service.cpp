#include "frame/memory_service.h"

#include <algorithm>
#include <bit>
#include <new>

#include "frame/branch.h"
#include "frame/environment.h"
#include "frame/exit_list.h"
#include "frame/fork.h"
#include "frame/memory.h"
#include "frame/service_lock.h"

namespace korvan {
namespace {

constexpr std::size_t leastAlignment = 64;

// A lock for each number, on a cache line of its own.
struct alignas(64) Lock {
    std::atomic<std::int32_t> word{0};
};
constinit Lock locks[MemoryService::numbers];

std::atomic<std::int32_t>& lockOf(std::int32_t number) {
    return locks[number - 1].word;
}

constinit MemoryService service{systemPlatform(), processorHasFeatures};

// Process attach: all that runs when the library is loaded.
[[gnu::constructor]] void attachProcess() {
    service.heap().readHookLibrary();
    watchForks();
}

// The caches are left to the system: a lock that is held now, by a thread that exit() interrupted
// or that doesn't run any more, may never be released.
[[gnu::destructor]] void detachProcess() {
    runExitCallbacks();
}

}  // namespace

MemoryService& memoryService() {
    return service;
}

void* alignedAlloc(std::size_t size, std::size_t alignment) {
    return service.allocate(size, alignment);
}

void alignedFree(void* block) {
    service.free(block);
}

MemoryService::Access::Access(MemoryService& owner, std::int32_t number)
    : service_(owner), number_(number), isTaken_(lockingThread().forks == 0) {
    if (!isTaken_) return;  // the thread holds everything
    if (number_ != BlockHeader::cacheWithoutNumber) {
        serviceLock(lockOf(number_), service_.platform_, lockHolder());
    } else {
        passTurnstile(service_.unnumberedAccess_, &lockingThread().unnumbered);
    }
}

MemoryService::Access::~Access() {
    if (!isTaken_) return;
    if (number_ != BlockHeader::cacheWithoutNumber) {
        serviceUnlock(lockOf(number_));
    } else {
        leaveTurnstile(service_.unnumberedAccess_, &lockingThread().unnumbered);
    }
}

// Keeps those without a number out.
void MemoryService::closeUnnumbered() {
    if (lockingThread().forks == 0) unnumberedAccess_.close(0);
}

void MemoryService::openUnnumbered() {
    if (lockingThread().forks == 0) unnumberedAccess_.open();
}

bool MemoryService::cachingIsOff() {
    settingsRead_.run([this] {
        char value[2];
        // Any text counts; one that doesn't fit gives a negative length.
        if (readEnv(platform_, "QVX_DISABLE_FAST_MM", value, sizeof value) != 0) off_ = true;
    });
    return off_.load(std::memory_order_relaxed);
}

void* MemoryService::allocate(std::size_t size, std::size_t alignment) {
    if (size == 0) return nullptr;
    if (alignment < leastAlignment || !std::has_single_bit(alignment)) alignment = leastAlignment;
    if (size > PTRDIFF_MAX - alignment - sizeof(BlockHeader)) return nullptr;
    if (size <= largestCached && !cachingIsOff()) {
        if (ThreadCache* cache = cacheOfThread()) {
            const Access access(*this, cache->blocks.number());
            bool isFull = false;
            void* block = cache->blocks.take(heap_, size, alignment, &isFull);
            if (!isFull) return block;
        }
    }
    return allocateDirect(heap_, size, alignment);
}

void MemoryService::free(void* block) {
    if (!block) return;
    const std::int32_t number = BlockHeader::of(block).cache();
    if (number != BlockHeader::noCache) {
        auto* own = static_cast<ThreadCache*>(slot_.get());
        if (own && own->blocks.number() == number) {
            const Access access(*this, number);
            if (own->blocks.keep(block)) return;
        }
        // Another thread's, living or gone: if it still lists the block, it forgets it.
        forgetForeign(block, number);
    }
    freeDirect(heap_, block);
}

bool MemoryService::forgetForeign(void* block, std::int32_t number) {
    if (number != BlockHeader::cacheWithoutNumber) {
        const Access access(*this, number);
        ThreadCache* owner = owners_[number - 1];
        return owner && owner->blocks.forget(block);
    }
    const ServiceGuard guard(tableLock_);
    closeUnnumbered();
    bool found = false;
    for (ThreadCache* c = unnumbered_; c && !found; c = c->next) found = c->blocks.forget(block);
    openUnnumbered();
    return found;
}

MemoryService::ThreadCache* MemoryService::cacheOfThread() {
    void* found = slot_.get();
    return found ? static_cast<ThreadCache*>(found) : makeCache();
}

MemoryService::ThreadCache* MemoryService::makeCache() {
    bool isFast;
    void* memory = heap_.take(sizeof(ThreadCache), &isFast);
    if (!memory) return nullptr;
    std::int32_t number = BlockHeader::cacheWithoutNumber;
    ThreadCache* cache;
    {
        const ServiceGuard guard(tableLock_);
        for (std::int32_t i = 0; i < numbers; ++i) {
            if (!owners_[i]) {
                number = i + 1;
                highestNumber_ = std::max(highestNumber_, number);
                break;
            }
        }
        cache = new (memory) ThreadCache{this, isFast, nullptr, BlockCache(number)};
        if (number != BlockHeader::cacheWithoutNumber) {
            const Access access(*this, number);
            owners_[number - 1] = cache;
        } else {
            closeUnnumbered();
            cache->next = unnumbered_;
            unnumbered_ = cache;
            openUnnumbered();
        }
    }
    if (slot_.set(cache, atThreadEnd)) return cache;
    release(cache);
    return nullptr;
}

void MemoryService::atThreadEnd(void* cache) {
    auto* ending = static_cast<ThreadCache*>(cache);
    ending->service->release(ending);
}

void MemoryService::releaseThreadCache() {
    auto* cache = static_cast<ThreadCache*>(slot_.get());
    if (!cache) return;
    slot_.set(nullptr, atThreadEnd);
    release(cache);
}

void MemoryService::release(ThreadCache* cache) {
    const std::int32_t number = cache->blocks.number();
    {
        const ServiceGuard guard(tableLock_);
        if (number != BlockHeader::cacheWithoutNumber) {
            const Access access(*this, number);
            cache->blocks.release(heap_);
            owners_[number - 1] = nullptr;
        } else {
            closeUnnumbered();
            ThreadCache** link = &unnumbered_;
            while (*link != cache) link = &(*link)->next;
            *link = cache->next;
            cache->blocks.release(heap_);
            openUnnumbered();
        }
    }
    heap_.give(cache, sizeof(ThreadCache), cache->isFast);
}

// The sweep: those without a number, then all numbers' locks in their order.
void MemoryService::stopCaching() {
    off_ = true;
    const ServiceGuard guard(tableLock_);
    closeUnnumbered();
    for (Lock& lock : locks) serviceLock(lock.word, platform_, lockHolder());
    for (ThreadCache* owner : owners_) {
        if (owner) owner->blocks.release(heap_);
    }
    for (ThreadCache* cache = unnumbered_; cache; cache = cache->next) {
        cache->blocks.release(heap_);
    }
    for (Lock& lock : locks) serviceUnlock(lock.word);
    openUnnumbered();
}

// In the order of a sweep.  No thread is inside a guard, so a sweep under way is the caller's own,
// and locks above the highest number are free.
void MemoryService::holdForFork() {
    wasClosedBeforeFork_ = unnumberedAccess_.isClosed();
    if (!wasClosedBeforeFork_) unnumberedAccess_.close(lockingThread().unnumbered);
    for (std::int32_t number = 1; number <= highestNumber_; ++number) {
        std::atomic<std::int32_t>& word = lockOf(number);
        if (word.load(std::memory_order_relaxed) == lockHolder()) continue;
        serviceLock(word, platform_, forkHolder);
    }
}

void MemoryService::releaseFromFork() {
    for (std::int32_t number = 1; number <= highestNumber_; ++number) {
        std::atomic<std::int32_t>& word = lockOf(number);
        if (word.load(std::memory_order_relaxed) == forkHolder) serviceUnlock(word);
    }
}

void MemoryService::releaseInParent() {
    releaseFromFork();
    if (!wasClosedBeforeFork_) unnumberedAccess_.open();
}

void MemoryService::releaseInChild() {
    releaseFromFork();
    if (!wasClosedBeforeFork_) unnumberedAccess_.openInChild(lockingThread().unnumbered);
}

}  // namespace korvan

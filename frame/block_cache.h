// A thread's cache of blocks: five at most, so that a routine that asks for the same work buffers
// call after call reaches the heap once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/heap_source.h"

namespace korvan {

// Stands in the 16 bytes before every address handed out, so that any thread can give it back.
class BlockHeader {
  public:
    BlockHeader(void* raw, std::size_t size, bool isFast, std::int32_t cache);

    static BlockHeader& of(void* handedOut);
    static void put(void* handedOut, const BlockHeader& header);

    void* raw() const { return raw_; }
    std::size_t size() const { return static_cast<std::size_t>(packed_ >> sizeShift); }
    bool isFast() const { return (packed_ & 1) != 0; }
    std::int32_t cache() const { return static_cast<std::int32_t>(packed_ >> 1 & cacheMask); }

    static constexpr std::int32_t noCache = 0, cacheWithoutNumber = 0x7FF;

  private:
    static constexpr int sizeShift = 12;
    static constexpr std::uint64_t cacheMask = 0x7FF;

    void* raw_;             // what the heap gave
    std::uint64_t packed_;  // size, number of the cache, 1 for high-bandwidth memory
};
static_assert(sizeof(BlockHeader) == 16);

// Allocates past all caches: `size` bytes, the alignment's slack and a header.
void* allocateDirect(HeapSource& heap, std::size_t size, std::size_t alignment);
void freeDirect(HeapSource& heap, void* handedOut);

// Not guarded: its owner brackets each access.
class BlockCache {
  public:
    static constexpr std::int32_t capacity = 5;

    // `number` goes into the headers of the blocks.
    explicit BlockCache(std::int32_t number) : number_(number) {}

    // Null: no memory, or all entries are handed out (*isFull).
    void* take(HeapSource& heap, std::size_t size, std::size_t alignment, bool* isFull);

    // Keeps the block for the next one who asks; false if it isn't from here.
    bool keep(const void* handedOut);

    // Forgets a block that is handed out, which then counts as a direct one.
    bool forget(const void* handedOut);

    // Gives the kept blocks to the heap and forgets the others.
    void release(HeapSource& heap);

    std::int32_t number() const { return number_; }

  private:
    struct Entry {
        void* raw;
        void* aligned;          // while handed out: the address
        std::size_t requested;  // the caller's size
        std::size_t capacity;   // usable bytes after the header
        bool isFast;
        bool inUse;
    };
    Entry* find(const void* handedOut);
    Entry* entryFor(std::size_t need, bool* isFull);
    bool refill(HeapSource& heap, Entry& entry, std::size_t need);
    void remove(Entry& entry);

    std::int32_t number_;
    std::int32_t count_ = 0;
    Entry entries_[capacity] = {};
};

}  // namespace korvan

#include "frame/block_cache.h"

#include <cstring>

namespace korvan {
namespace {

void* alignedBehindHeader(void* raw, std::size_t alignment) {
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(raw) + sizeof(BlockHeader);
    return reinterpret_cast<void*>((first + alignment - 1) & ~(alignment - 1));
}

}  // namespace

BlockHeader::BlockHeader(void* raw, std::size_t size, bool isFast, std::int32_t cache)
    : raw_(raw),
      packed_(static_cast<std::uint64_t>(size) << sizeShift |
              static_cast<std::uint64_t>(cache) << 1 | (isFast ? 1 : 0)) {}

BlockHeader& BlockHeader::of(void* handedOut) {
    return static_cast<BlockHeader*>(handedOut)[-1];
}

void BlockHeader::put(void* handedOut, const BlockHeader& header) {
    std::memcpy(static_cast<char*>(handedOut) - sizeof header, &header, sizeof header);
}

void* allocateDirect(HeapSource& heap, std::size_t size, std::size_t alignment) {
    const std::size_t total = size + alignment + sizeof(BlockHeader);
    bool isFast;
    void* raw = heap.take(total, &isFast);
    if (!raw) return nullptr;
    void* aligned = alignedBehindHeader(raw, alignment);
    BlockHeader::put(aligned, {raw, total, isFast, BlockHeader::noCache});
    return aligned;
}

void freeDirect(HeapSource& heap, void* handedOut) {
    const BlockHeader header = BlockHeader::of(handedOut);
    heap.give(header.raw(), header.size(), header.isFast());
}

void* BlockCache::take(HeapSource& heap, std::size_t size, std::size_t alignment, bool* isFull) {
    const std::size_t need = size + alignment;
    Entry* entry = entryFor(need, isFull);
    if (!entry || (entry->capacity < need && !refill(heap, *entry, need))) return nullptr;
    entry->inUse = true;
    entry->requested = size;
    entry->aligned = alignedBehindHeader(entry->raw, alignment);
    BlockHeader::put(entry->aligned,
                     {entry->raw, entry->capacity + sizeof(BlockHeader), entry->isFast, number_});
    return entry->aligned;
}

// A kept block of exactly this size, else the smallest larger one, else a new entry, else the
// first kept block, too small, to be replaced.
BlockCache::Entry* BlockCache::entryFor(std::size_t need, bool* isFull) {
    Entry* larger = nullptr;
    Entry* smaller = nullptr;
    for (std::int32_t i = 0; i < count_; ++i) {
        Entry& entry = entries_[i];
        if (entry.inUse) continue;
        if (entry.capacity == need) return &entry;
        if (entry.capacity > need) {
            if (!larger || entry.capacity < larger->capacity) larger = &entry;
        } else if (!smaller) {
            smaller = &entry;
        }
    }
    *isFull = false;
    if (larger) return larger;
    if (count_ < capacity) {
        entries_[count_] = {};
        return &entries_[count_++];
    }
    *isFull = smaller == nullptr;
    return smaller;
}

bool BlockCache::refill(HeapSource& heap, Entry& entry, std::size_t need) {
    if (entry.raw) heap.give(entry.raw, entry.capacity + sizeof(BlockHeader), entry.isFast);
    entry.raw = heap.take(need + sizeof(BlockHeader), &entry.isFast);
    if (!entry.raw) {
        remove(entry);
        return false;
    }
    entry.capacity = need;
    return true;
}

BlockCache::Entry* BlockCache::find(const void* handedOut) {
    for (std::int32_t i = 0; i < count_; ++i) {
        if (entries_[i].inUse && entries_[i].aligned == handedOut) return &entries_[i];
    }
    return nullptr;
}

void BlockCache::remove(Entry& entry) {
    entry = entries_[--count_];
}

bool BlockCache::keep(const void* handedOut) {
    Entry* entry = find(handedOut);
    if (entry) entry->inUse = false;
    return entry != nullptr;
}

bool BlockCache::forget(const void* handedOut) {
    Entry* entry = find(handedOut);
    if (entry) remove(*entry);
    return entry != nullptr;
}

void BlockCache::release(HeapSource& heap) {
    for (; count_ > 0; --count_) {
        Entry& entry = entries_[count_ - 1];
        if (!entry.inUse) {
            heap.give(entry.raw, entry.capacity + sizeof(BlockHeader), entry.isFast);
        }
    }
}

}  // namespace korvan

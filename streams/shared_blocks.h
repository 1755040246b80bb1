// Payloads that several streams hold: a table of counted, read-only blocks, found by key.
//
// A key in the table names one block, and every node that carries the key holds that block.  The
// lock is held for searches and updates only; who is told that a block has no holder left frees
// it afterwards.
#pragma once

#include <atomic>
#include <cstdint>

#include "frame/platform/platform.h"

namespace korvan {

// Names a shared payload; all zero names nothing.
struct AttachmentKey {
    std::uint64_t halves[2] = {};

    bool isNone() const { return (halves[0] | halves[1]) == 0; }
    bool operator==(const AttachmentKey&) const = default;
};

class SharedBlockTable {
  public:
    // The last row stays free.
    static constexpr std::uint32_t tableRows = 128;

    constexpr explicit SharedBlockTable(const Platform& platform) : platform_(platform) {}

    // A new holder of the key: of its row's block, if that has the same tag and size, or of
    // `payload` in a row of its own.  The block, or null if neither is possible.
    void* joinOrAdd(const AttachmentKey& key, std::uint32_t tag, std::uint32_t size, void* payload);

    // A new holder of the key's block, if there is one with this tag and size; the block, or null.
    void* join(const AttachmentKey& key, std::uint32_t tag, std::uint32_t size);

    // A further holder of a block that the caller holds; false if it isn't shared.
    bool join(const AttachmentKey& key, const void* payload);

    // One holder less.  True if nobody else holds `payload`: it is then the caller's to free.
    bool release(const AttachmentKey& key, const void* payload);

    // A key that the table doesn't hold: the time stamp, and `value`.
    AttachmentKey makeUniqueKey(std::int64_t value);

    std::uint32_t count();

  private:
    struct Row {
        AttachmentKey key;
        std::uint32_t refCount;
        std::uint32_t tag, size;
        void* payload;
    };

    Row* find(const AttachmentKey& key);
    Row* find(const AttachmentKey& key, const void* payload);
    static void* join(Row* row, std::uint32_t tag, std::uint32_t size);

    const Platform& platform_;
    std::atomic<std::int32_t> lock_{0};
    std::uint32_t count_ = 0;
    Row rows_[tableRows] = {};  // packed from the first one
};

// The process's own.
SharedBlockTable& sharedBlocks();

}  // namespace korvan

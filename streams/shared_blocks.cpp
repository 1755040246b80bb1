#include "streams/shared_blocks.h"

#include "frame/service_lock.h"

namespace korvan {
namespace {

constinit SharedBlockTable table{systemPlatform()};

}  // namespace

SharedBlockTable& sharedBlocks() {
    return table;
}

SharedBlockTable::Row* SharedBlockTable::find(const AttachmentKey& key) {
    for (Row* row = rows_; row != rows_ + count_; ++row) {
        if (row->key == key) return row;
    }
    return nullptr;
}

SharedBlockTable::Row* SharedBlockTable::find(const AttachmentKey& key, const void* payload) {
    Row* row = find(key);
    return row && row->payload == payload ? row : nullptr;
}

void* SharedBlockTable::join(Row* row, std::uint32_t tag, std::uint32_t size) {
    if (!row || row->tag != tag || row->size != size) return nullptr;
    ++row->refCount;
    return row->payload;
}

void* SharedBlockTable::join(const AttachmentKey& key, std::uint32_t tag, std::uint32_t size) {
    const ServiceGuard guard(lock_);
    return join(find(key), tag, size);
}

void* SharedBlockTable::joinOrAdd(const AttachmentKey& key, std::uint32_t tag, std::uint32_t size,
                                  void* payload) {
    const ServiceGuard guard(lock_);
    if (Row* row = find(key)) return join(row, tag, size);
    if (count_ + 1 >= tableRows) return nullptr;
    rows_[count_++] = {.key = key, .refCount = 1, .tag = tag, .size = size, .payload = payload};
    return payload;
}

bool SharedBlockTable::join(const AttachmentKey& key, const void* payload) {
    const ServiceGuard guard(lock_);
    Row* row = find(key, payload);
    if (row) ++row->refCount;
    return row != nullptr;
}

bool SharedBlockTable::release(const AttachmentKey& key, const void* payload) {
    const ServiceGuard guard(lock_);
    Row* row = find(key, payload);
    if (!row) return true;
    if (--row->refCount > 0) return false;
    *row = rows_[--count_];
    return true;
}

AttachmentKey SharedBlockTable::makeUniqueKey(std::int64_t value) {
    AttachmentKey key{{platform_.timeStamp(), static_cast<std::uint64_t>(value)}};
    const ServiceGuard guard(lock_);
    while (!key.isNone() && find(key)) key.halves[0] = platform_.timeStamp();
    return key;
}

std::uint32_t SharedBlockTable::count() {
    const ServiceGuard guard(lock_);
    return count_;
}

}  // namespace korvan

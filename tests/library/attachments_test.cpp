// What hangs on streams: the list, its copies, blocks that streams share, and a heap that fails.
#include "streams/attachments.h"

#include <cstring>
#include <memory>
#include <sstream>
#include <thread>

#include "frame/memory.h"
#include "streams/stream_record.h"
#include "support.h"
#include "watched_heap.h"

namespace korvan::testing {
namespace {

void* payload(const std::string& text) {
    void* block = alignedAlloc(text.size(), recordAlignment);
    std::memcpy(block, text.data(), text.size());
    return block;
}

void hang(StreamHandle stream, std::uint32_t tag, const std::string& text, AttachmentKey key = {}) {
    ASSERT_EQ(attach(stream, tag, &key, payload(text), static_cast<std::uint32_t>(text.size())), 0);
}

StreamAttachment* headOf(StreamHandle stream) {
    return reinterpret_cast<StreamAttachment*>(stream->attachments);
}

// "tag:bytes" of each node, from the head on; a star for those with a key.
std::string listOf(StreamHandle stream) {
    std::ostringstream list;
    for (const StreamAttachment* node = headOf(stream); node; node = node->next) {
        list << (node == headOf(stream) ? "" : " ") << node->tag << ':'
             << std::string_view(static_cast<const char*>(node->payload), node->size)
             << (node->key.isNone() ? "" : "*");
    }
    return list.str();
}

const AttachmentKey keyA{{1, 0}}, keyB{{0, 1}};

class Attachments : public ::testing::Test {
  protected:
    ~Attachments() override { EXPECT_EQ(sharedBlocks().count(), 0u); }

    // All blocks are back: a test's streams are gone by then.
    struct Balance {
        WatchedHeap heap;
        ~Balance() { EXPECT_EQ(heap.blocksHeld(), 0); }
    };
    Balance balance;
    WatchedHeap& heap = balance.heap;
};

TEST_F(Attachments, ListsKeepTheirOrderAndCopiesReverseIt) {
    Stream stream(GEN_MCG31), other(GEN_PHILOX4X32X10);
    detachByTag(stream, 1);
    EXPECT_EQ(findAttachment(stream, 1), nullptr);
    for (const auto& [tag, text] : {std::pair{1u, "a"}, {2u, "b"}, {1u, "c"}, {3u, "d"}}) {
        hang(stream, tag, text);
    }
    ASSERT_EQ(attach(stream, 4, nullptr, nullptr, 0), RNG_OK);  // a payload of no bytes
    EXPECT_EQ(attachmentCount(stream), 5u);
    EXPECT_EQ(listOf(stream), "4: 3:d 1:c 2:b 1:a");
    EXPECT_EQ(*static_cast<char*>(findAttachment(stream, 1)), 'c');
    Stream copy(stream);
    EXPECT_EQ(listOf(copy), "1:a 2:b 1:c 3:d 4:");
    detachByTag(copy, 9);
    detachByTag(copy, 1);
    EXPECT_EQ(listOf(copy), "2:b 3:d 4:");
    *static_cast<char*>(findAttachment(copy, 2)) = 'B';
    EXPECT_EQ(listOf(stream), "4: 3:d 1:c 2:b 1:a");
    hang(other, 7, "lost");
    ASSERT_EQ(vslCopyStreamState(other, other), RNG_OK);
    EXPECT_EQ(listOf(other), "7:lost");
    ASSERT_EQ(vslCopyStreamState(other, copy), RNG_OK);
    EXPECT_EQ(listOf(other), "4: 3:d 2:B");
    for (const std::uint32_t tag : {4u, 3u, 2u}) detachByTag(other, tag);
    EXPECT_EQ(other.handle->attachments, 0u);
}

TEST_F(Attachments, SharedBlockGoesWithItsLastHolder) {
    auto first = std::make_unique<Stream>(GEN_MCG31);
    hang(*first, 9, "table", keyA);
    const void* block = findAttachment(*first, 9);
    auto second = std::make_unique<Stream>(*first);
    Stream third(*second);
    EXPECT_EQ(listOf(third), "9:table*");
    EXPECT_EQ(findAttachment(*second, 9), block);
    EXPECT_EQ(findAttachment(third, 9), block);
    EXPECT_EQ(sharedBlocks().count(), 1u);
    first.reset();
    second.reset();
    EXPECT_EQ(listOf(third), "9:table*");
    const int held = heap.blocksHeld();
    detachByTag(third, 9);
    EXPECT_EQ(heap.blocksHeld(), held - 2);  // the node and, now, the block
    EXPECT_EQ(sharedBlocks().count(), 0u);
}

TEST_F(Attachments, KnownKeyIsJoinedByEqualsOnly) {
    Stream holder(GEN_MCG31), equal(GEN_MCG31), others(GEN_MCG31);
    hang(holder, 9, "table", keyA);
    hang(equal, 9, "table", keyA);
    EXPECT_EQ(findAttachment(equal, 9), findAttachment(holder, 9));
    hang(others, 9, "tablE", keyA);
    hang(others, 9, "tables", keyA);
    hang(others, 10, "table", keyA);
    hang(others, 9, "table", keyB);
    EXPECT_EQ(listOf(others), "9:table* 10:table 9:tables 9:tablE");
    EXPECT_NE(findAttachment(others, 9), findAttachment(holder, 9));
    EXPECT_EQ(sharedBlocks().count(), 2u);
}

TEST_F(Attachments, TableTakes127Rows) {
    Stream full(GEN_MCG31);
    const auto keyOf = [](std::uint64_t k) { return AttachmentKey{{k, ~k}}; };
    for (std::uint64_t k = 1; k <= 127; ++k) hang(full, 9, "x", keyOf(k));
    EXPECT_EQ(sharedBlocks().count(), 127u);
    Stream late(GEN_MCG31);
    hang(late, 9, "late", keyOf(128));
    EXPECT_EQ(listOf(late), "9:late");
    hang(late, 9, "x", keyOf(127));  // a known key still joins
    EXPECT_EQ(listOf(late), "9:x* 9:late");
    Stream copy(full);  // all shared: no row is added
    EXPECT_EQ(sharedBlocks().count(), 127u);
    releaseAttachments(full);
    releaseAttachments(late);
    EXPECT_EQ(sharedBlocks().count(), 127u);
}

// Only a fault makes a keyed node whose block isn't in the table; it must not free another's.
TEST_F(Attachments, NodeWithoutARowOwnsItsPayload) {
    Stream holder(GEN_MCG31), stray(GEN_MCG31), rowless(GEN_MCG31);
    hang(holder, 9, "table", keyA);
    hang(stray, 9, "mine", {});
    headOf(stray)->key = keyA;
    hang(rowless, 9, "alone", {});
    headOf(rowless)->key = keyB;
    const Stream strayCopy(stray), rowlessCopy(rowless);
    EXPECT_EQ(listOf(strayCopy), "9:mine");
    EXPECT_EQ(listOf(rowlessCopy), "9:alone");
    vslDeleteStream(&stray.handle);
    vslDeleteStream(&rowless.handle);
    EXPECT_EQ(listOf(holder), "9:table*");
}

TEST_F(Attachments, UniqueKeysAreNew) {
    static std::uint64_t stamp = 4;
    Platform platform = systemPlatform();
    platform.timeStamp = [] { return stamp++ / 2; };
    SharedBlockTable table(platform);
    const auto minusOne = ~std::uint64_t{0};
    table.joinOrAdd({{2, minusOne}}, 9, 1, &table);
    table.joinOrAdd({{3, minusOne}}, 9, 1, &table);
    EXPECT_EQ(table.makeUniqueKey(-1), (AttachmentKey{{4, minusOne}}));
    stamp = 0;
    EXPECT_TRUE(table.makeUniqueKey(0).isNone());
    EXPECT_NE(sharedBlocks().makeUniqueKey(1), sharedBlocks().makeUniqueKey(1));
}

// The record, then node and payload of each attachment: every one of them fails once.
TEST_F(Attachments, FailingAllocationsLeaveNothingHalfDone) {
    Stream source(GEN_MCG31), target(GEN_MCG31, 5);
    hang(source, 1, "one");
    hang(source, 9, "table", keyA);
    hang(source, 2, "two");
    const int held = heap.blocksHeld();
    void* kept = payload("kept");
    heap.failAfter(0);
    EXPECT_EQ(attach(source, 5, nullptr, kept, 4), RNG_NO_MEMORY);
    heap.failNever();
    EXPECT_EQ(std::memcmp(kept, "kept", 4), 0);
    alignedFree(kept);
    constexpr int allocations = 6;  // a shared payload needs none
    for (int k = 0; k <= allocations; ++k) {
        heap.failAfter(k);
        StreamHandle copy = source;
        const std::int32_t status = vslCopyStream(&copy, source);
        heap.failNever();
        EXPECT_EQ(status, k < allocations ? RNG_NO_MEMORY : RNG_OK) << k;
        EXPECT_EQ(copy == nullptr, k == 0) << k;
        if (!copy) continue;
        EXPECT_EQ(attachmentCount(copy), k < allocations ? 0u : 3u) << k;
        EXPECT_EQ(drawWords(copy, 3), drawWords(Stream(GEN_MCG31), 3)) << k;
        vslDeleteStream(&copy);
        EXPECT_EQ(heap.blocksHeld(), held) << k;

        hang(target, 7, "former");
        heap.failAfter(k - 1);  // no record here
        const std::int32_t stateStatus = vslCopyStreamState(target, source);
        heap.failNever();
        EXPECT_EQ(stateStatus, status) << k;
        EXPECT_EQ(listOf(target), k < allocations ? "7:former" : "1:one 9:table* 2:two") << k;
        EXPECT_EQ(drawWords(target, 1), drawWords(Stream(GEN_MCG31, k < allocations ? 5 : 1), 1));
        releaseAttachments(target);
        ASSERT_EQ(vslCopyStreamState(target, Stream(GEN_MCG31, 5)), RNG_OK);
    }
    EXPECT_EQ(listOf(source), "2:two 9:table* 1:one");
}

TEST_F(Attachments, ThreadsShareBlocks) {
    Stream source(GEN_MCG31);
    hang(source, 9, "table", keyA);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int k = 0; k < 300; ++k) {
                Stream copy(source), twin(copy), equal(GEN_MCG31);
                hang(equal, 9, "table", keyA);
                hang(twin, 9, "other", keyB);
                EXPECT_EQ(findAttachment(equal, 9), findAttachment(source, 9));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(sharedBlocks().count(), 1u);
}

}  // namespace
}  // namespace korvan::testing

// Many threads, each on streams of its own, with all that they share underneath: the generator
// table, the slots of the exports, the caches of memory, the table of shared blocks.  Meant for
// the thread sanitizer: scripts/test.sh threads.
#include <atomic>
#include <cstring>
#include <thread>

#include "every_kernel.h"
#include "frame/memory.h"
#include "streams/attachments.h"
#include "streams/stream_record.h"
#include "support.h"

namespace korvan::testing {
namespace {

constexpr int threadCount = 4;

// Runs work(t) on threads that begin together.
template <class Work>
void onThreads(Work work) {
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([&, t] {
            ++ready;
            while (ready < threadCount) std::this_thread::yield();
            work(t);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

// All that can be done with a stream of the generator.
Bytes lifeOf(GeneratorId id) {
    Stream stream(id, 5);
    Bytes drawn = drawWithEverything(stream, 700);
    vslSkipAheadStream(stream, 1000);
    Stream copy(stream);
    StreamHandle loaded = nullptr;
    EXPECT_EQ(vslLoadStreamM(&loaded, imageOf(stream).data()), RNG_OK);
    EXPECT_EQ(vslCopyStreamState(copy, loaded), RNG_OK);
    for (const StreamHandle twin : {stream.handle, copy.handle, loaded}) {
        const Bytes more = drawWithEverything(twin, 50);
        drawn.insert(drawn.end(), more.begin(), more.end());
    }
    vslDeleteStream(&loaded);
    return drawn;
}

TEST(Threads, StreamsOfAllGenerators) {
    std::vector<GeneratorId> ids = presentGenerators();
    std::erase(ids, GEN_NONDETERMINISTIC);
    std::vector<Bytes> drawn[threadCount];
    onThreads([&](int t) {
        for (const GeneratorId id : ids) drawn[t].push_back(lifeOf(id));
    });
    for (int t = 1; t < threadCount; ++t) EXPECT_EQ(drawn[t], drawn[0]);
    EXPECT_EQ(drawn[0].size(), ids.size());
}

TEST(Threads, RegistrationsAndTheirStreams) {
    const GeneratorProperties row = {
        24,
        1,
        1,
        4,
        32,
        [](std::int32_t, StreamHandle stream, std::int32_t, const std::uint32_t* params) {
            stateOf<std::uint32_t>(stream) = *params;
            return std::int32_t{RNG_OK};
        },
        [](StreamHandle, std::int32_t, float*, float, float) { return std::int32_t{RNG_OK}; },
        [](StreamHandle, std::int32_t, double*, double, double) { return std::int32_t{RNG_OK}; },
        [](StreamHandle stream, std::int32_t n, std::uint32_t* r) {
            for (std::int32_t k = 0; k < n; ++k) r[k] = stateOf<std::uint32_t>(stream);
            return std::int32_t{RNG_OK};
        }};
    const std::int32_t before = vslGetNumRegBrngs();
    constexpr int each = 5;
    onThreads([&](int t) {
        for (int k = 0; k < each; ++k) {
            const GeneratorId id = vslRegisterBrng(&row);
            const auto seed = static_cast<std::uint32_t>(t * each + k);
            const Stream stream(id, seed);
            EXPECT_EQ(drawWords(stream, 1), Words{seed});
        }
    });
    EXPECT_EQ(vslGetNumRegBrngs(), before + threadCount * each);
}

// Copies, images and deletions of holders of one block; the last of them may be any thread's.
TEST(Threads, HoldersOfASharedBlockComeAndGo) {
    for (int round = 0; round < 30; ++round) {
        auto source = std::make_unique<Stream>(GEN_MCG59);
        void* table = alignedAlloc(1000, recordAlignment);
        std::memset(table, round, 1000);
        const AttachmentKey key = sharedBlocks().makeUniqueKey(round);
        ASSERT_EQ(attach(*source, tagSobol, &key, table, 1000), RNG_OK);
        const Bytes image = imageOf(*source);
        std::unique_ptr<Stream> own[threadCount];
        for (auto& stream : own) stream = std::make_unique<Stream>(*source);
        source.reset();
        onThreads([&](int t) {
            for (int k = 0; k < 20; ++k) {
                Stream copy(*own[t]);
                StreamHandle loaded = nullptr;
                EXPECT_EQ(vslLoadStreamM(&loaded, image.data()), RNG_OK);
                EXPECT_EQ(findAttachment(loaded, tagSobol), table);
                vslDeleteStream(&loaded);
            }
            own[t].reset();
        });
        ASSERT_EQ(sharedBlocks().count(), 0u);
    }
}

}  // namespace
}  // namespace korvan::testing

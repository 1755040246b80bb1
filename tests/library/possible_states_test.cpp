// Which states a generator owns to: every one that a stream reaches, and none that would take a
// fill out of its bounds or its group.
#include <cstring>

#include "support.h"

namespace korvan::testing {
namespace {

bool isPossible(StreamHandle stream) {
    return findGenerator(vslGetStreamStateBrng(stream))->isState(stream);
}

TEST(PossibleStates, StreamsReachNoOthers) {
    for (const GeneratorId id : presentGenerators()) {
        for (const Words& seed : {Words{}, Words(8, 0), Words(8, ~0u), Words{3, 0x40000000}}) {
            const Stream seeded(id, seed);
            ASSERT_TRUE(isPossible(seeded)) << id;
            for (const std::size_t n : {1, 2, 3, 4, 5, 63, 700}) {
                const Stream moved(seeded);
                drawWords(moved, n);
                ASSERT_TRUE(isPossible(moved)) << id << " after " << n;
                const auto init = findGenerator(id)->properties.initStream;
                const std::uint32_t count[2] = {static_cast<std::uint32_t>(n), 1};
                init(OP_SKIPAHEAD, moved, 2, count);
                ASSERT_TRUE(isPossible(moved)) << id << " after " << n;
                for (const std::int32_t streams : {3, 256, INT32_MAX, 0}) {
                    init(OP_LEAPFROG, moved, streams, count);
                    ASSERT_TRUE(isPossible(moved)) << id << " one of " << streams;
                }
            }
        }
    }
}

// One word of the state, from the first, set to a value beside the others of seed 5, 6, 7, 8.
TEST(PossibleStates, WordsOutOfRangeAreRefused) {
    constexpr std::uint32_t m1 = 4294967087, m2 = 4294944443, whFirst = 16770647, whLast = 16770617;
    const struct {
        GeneratorId id;
        std::size_t word;
        std::uint32_t value;
        bool expected;
    } rows[] = {
        {GEN_MCG59, 1, 0x7FFFFFF, true},
        {GEN_MCG59, 1, 0x8000000, false},
        {GEN_MCG59, 2, 1, true},
        {GEN_MCG59, 2, 3, false},
        {GEN_MCG59, 2, 0, false},
        {GEN_MCG59, 3, 0x7FFFFFF, true},
        {GEN_MCG59, 3, 0x8000000, false},
        {GEN_MRG32K3A, 0, m1 - 1, true},
        {GEN_MRG32K3A, 0, m1, false},
        {GEN_MRG32K3A, 2, m1, false},
        {GEN_MRG32K3A, 3, m2 - 1, true},
        {GEN_MRG32K3A, 5, m2, false},
        {GEN_WH, 0, whFirst - 1, true},
        {GEN_WH, 0, whFirst, false},
        {GEN_WH, 0, 0, false},
        {GEN_WH, 3, whLast, false},
        {GEN_WH, 4, whFirst - 1, true},
        {GEN_WH, 4, whFirst, false},
        {GEN_WH, 7, whLast, false},
        {GEN_WH, 7, 0, false},
        {GEN_SOBOL, 0, 0, false},
        {GEN_SOBOL, 1, 41, false},
        {GEN_SOBOL, 2, 4, true},
        {GEN_SOBOL, 2, 5, false},
        {GEN_SOBOL, 3, 4, true},
        {GEN_SOBOL, 3, 5, false},
        {GEN_SOBOL, 4, 0x40000000, false},
        {GEN_SOBOL, 44, 0, false},  // tables in attachments that aren't there
        {GEN_SOBOL, 1363, 1, false},
        {GEN_SOBOL, 1364, 1, true},  // what is derived
        {GEN_NIEDERREITER, 1, 319, false},
        {GEN_NIEDERREITER, 2, 4, true},
        {GEN_NIEDERREITER, 2, 5, false},
        {GEN_NIEDERREITER, 10817, 1, false},
        {GEN_NIEDERREITER, 10818, 1, true},
        {GEN_NONDETERMINISTIC, 0, 1, false},
        {GEN_NONDETERMINISTIC, 1, ~0u, true},
        {GEN_NONDETERMINISTIC, 1, 0, false},
        {GEN_ARS5, 8, 4, true},
        {GEN_ARS5, 8, 5, false},
        {GEN_ARS5, 13, 1, false},
        {GEN_PHILOX4X32X10, 6, 4, true},
        {GEN_PHILOX4X32X10, 6, 5, false},
        {GEN_PHILOX4X32X10, 11, 1, false},
        {GEN_MT19937, 624, 625, false},
        {GEN_MT19937, 625, 1, false},
        {GEN_MT2203, 69, 70, false},
        {GEN_MT2203, 73, 1, false},
    };
    for (const auto& [id, word, value, expected] : rows) {
        const Stream stream(id, Words{5, 6, 7, 8});
        reinterpret_cast<std::uint32_t*>(stream.handle)[STREAM_HEADER_BYTES / 4 + word] = value;
        EXPECT_EQ(isPossible(stream), expected) << std::hex << id << ", word " << word;
    }
    // Zeros that no step leaves.
    const std::pair<GeneratorId, std::size_t> zeros[] = {
        {GEN_MCG59, 0}, {GEN_MRG32K3A, 0}, {GEN_MRG32K3A, 3}};
    for (const auto& [id, first] : zeros) {
        const Stream stream(id, Words{5, 6, 7, 8});
        auto* words = reinterpret_cast<std::uint32_t*>(stream.handle) + STREAM_HEADER_BYTES / 4;
        std::memset(words + first, 0, id == GEN_MCG59 ? 8 : 12);
        EXPECT_FALSE(isPossible(stream)) << std::hex << id << ", word " << first;
    }
}

}  // namespace
}  // namespace korvan::testing

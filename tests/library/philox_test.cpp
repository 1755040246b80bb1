// Philox4x32-10 against published and recomputed blocks, and where its counter and its waiting
// words go.
#include <algorithm>
#include <cstring>

#include "support.h"

namespace korvan::testing {
namespace {

constexpr GeneratorId philox = GEN_PHILOX4X32X10;

std::uint32_t hex(const std::string& cell) {
    return static_cast<std::uint32_t>(std::stoul(cell, nullptr, 16));
}

TEST(Philox, BlocksEqualTheKnownOnes) {
    const auto rows = readTable("known_answers_philox4x32_10.csv");
    ASSERT_GT(rows.size(), 20u);
    for (const auto& row : rows) {
        Words seed, expected;
        for (std::size_t k = 1; k < 7; ++k) seed.push_back(hex(row[k]));
        for (std::size_t k = 7; k < 11; ++k) expected.push_back(hex(row[k]));
        EXPECT_EQ(drawWords(Stream(philox, seed), 4), expected) << row[0];
        // The block in mid-fill, wherever in a group of counters the carry before it falls.
        for (unsigned back = 1; back <= 70; ++back) {
            Words earlier = seed;
            Wide counter = 0;
            std::memcpy(&counter, &seed[2], 16);
            counter -= back;
            std::memcpy(&earlier[2], &counter, 16);
            const Words run = drawWords(Stream(philox, earlier), 400);
            const auto block = run.begin() + 4 * back;
            ASSERT_EQ(Words(block, block + 4), expected) << row[0] << ", " << back << " before";
        }
    }
}

TEST(Philox, SeedWordsFillKeyAndCounterInOrder) {
    const Words six = {1, 2, 3, 4, 5, 6};
    const Words state = {1, 2, 3, 4, 5, 6, 0, 0, 0, 0, 0, 0};
    for (std::size_t count = 0; count <= 8; ++count) {
        Words seed(six);
        seed.resize(8, 99);
        Words expected(12);
        for (std::size_t k = 0; k < std::min<std::size_t>(count, 6); ++k) expected[k] = state[k];
        Stream stream(philox, Words(seed.begin(), seed.begin() + static_cast<long>(count)));
        Words words(12);
        std::memcpy(words.data(), stateBytes(stream).data(), 48);
        EXPECT_EQ(words, expected) << count;
    }
}

struct Position {
    std::uint32_t counter0, leftover;
};
Position positionOf(StreamHandle stream) {
    Words words(7);
    std::memcpy(words.data(), stateBytes(stream).data(), 28);
    return {words[2], words[6]};
}

TEST(Philox, CounterStandsOnTheNextUnusedBlock) {
    for (const std::size_t n : {1, 2, 3, 4, 5, 31, 32, 33, 1000}) {
        Stream filled(philox), skipped(philox);
        drawWords(filled, n);
        ASSERT_EQ(vslSkipAheadStream(skipped, static_cast<std::int64_t>(n)), RNG_OK);
        EXPECT_EQ(positionOf(filled).counter0, (n + 3) / 4) << n;
        EXPECT_EQ(positionOf(filled).leftover, (0 - n) & 3) << n;
        EXPECT_EQ(stateBytes(filled), stateBytes(skipped)) << n;  // the buffer too
    }
}

}  // namespace
}  // namespace korvan::testing

// Philox4x32-10 against published and recomputed blocks, and where its counter and its waiting
// words go.
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
        // The block in mid-fill, reached by the counter's carry from 40 blocks before.
        Words earlier = seed;
        Wide counter = 0;
        std::memcpy(&counter, &seed[2], 16);
        counter -= 40;
        std::memcpy(&earlier[2], &counter, 16);
        const Words run = drawWords(Stream(philox, earlier), 200);
        EXPECT_EQ(Words(run.begin() + 160, run.begin() + 164), expected) << row[0];
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

// The long skip lands on the same words as repeated 64-bit ones; at a block's end it leaves the
// whole next block waiting.
TEST(Philox, LongSkipsEqualRepeatedOnes) {
    GeneratorProperties row;
    ASSERT_EQ(vslGetBrngProperties(philox, &row), RNG_OK);
    const auto skipWords = [&](StreamHandle stream, std::vector<std::uint64_t> count) {
        const auto n = static_cast<std::int32_t>(count.size());
        return row.initStream(OP_SKIPAHEAD_WORDS, stream, n,
                              reinterpret_cast<const std::uint32_t*>(count.data()));
    };
    for (const std::uint64_t low : {1ull, 2ull, 3ull, 4ull, 5ull, 1001ull, ~0ull, ~0ull - 2}) {
        for (const std::size_t before : {0, 1, 3}) {
            Stream wide(philox, Words{7, 8, ~0u, ~0u, 5}), twice(wide);
            if (before) drawWords(wide, before), drawWords(twice, before);
            ASSERT_EQ(skipWords(wide, {low, 0, 0}), RNG_OK);
            ASSERT_EQ(vslSkipAheadStream(twice, static_cast<std::int64_t>(low)), RNG_OK);
            EXPECT_EQ(drawWords(wide, 50), drawWords(twice, 50)) << low << " after " << before;

            // 2^64 + low: as 2^63 twice, and low.
            Stream far(wide);
            ASSERT_EQ(skipWords(wide, {low, 1}), RNG_OK);
            ASSERT_EQ(vslSkipAheadStream(far, INT64_MIN), RNG_OK);
            ASSERT_EQ(vslSkipAheadStream(far, INT64_MIN), RNG_OK);
            ASSERT_EQ(vslSkipAheadStream(far, static_cast<std::int64_t>(low)), RNG_OK);
            EXPECT_EQ(drawWords(wide, 50), drawWords(far, 50)) << low << " after " << before;
        }
    }
    // 2^128 words are 2^126 blocks; 2^130 are the whole period.
    Stream quarter(philox), start(philox), whole(philox);
    ASSERT_EQ(skipWords(quarter, {0, 0, 1}), RNG_OK);
    EXPECT_EQ(drawWords(quarter, 8), drawWords(Stream(philox, Words{1, 0, 0, 0, 0, 1u << 30}), 8));
    ASSERT_EQ(skipWords(whole, {0, 0, 4}), RNG_OK);
    EXPECT_EQ(positionOf(whole).leftover, 4u);
    EXPECT_EQ(drawWords(whole, 9), drawWords(start, 9));
    const auto unmoved = stateBytes(start);
    ASSERT_EQ(skipWords(start, {0, 0, 0}), RNG_OK);
    ASSERT_EQ(skipWords(start, {}), RNG_OK);
    EXPECT_EQ(stateBytes(start), unmoved);
}

// word 0x80000000 gives a, word 0 the middle; singles never go through double.
TEST(Philox, RealsAreCentred) {
    Stream stream(philox, 4), twin(philox, 4), third(philox, 4);
    const std::size_t n = 4096;
    const Words words = drawWords(stream, n);
    std::vector<double> doubles(n);
    std::vector<float> singles(n);
    ASSERT_EQ(vdRngUniform(0, twin, n, doubles.data(), 0, 1), RNG_OK);
    ASSERT_EQ(vsRngUniform(0, third, n, singles.data(), 0, 1), RNG_OK);
    for (std::size_t i = 0; i < n; ++i) {
        const auto word = static_cast<std::int32_t>(words[i]);
        ASSERT_EQ(doubles[i], word * 0x1p-32 + 0.5);  // exact: no rounding on [0, 1)
        const float scaled = static_cast<float>(word) * 0x1p-32f;
        ASSERT_EQ(singles[i], scaled + 0.5f);
    }
}

}  // namespace
}  // namespace korvan::testing

// What the counter-based generators have in common: skips by long counts, and centred reals.
#include "support.h"

namespace korvan::testing {
namespace {

class CounterBased : public ::testing::TestWithParam<GeneratorId> {
  protected:
    const GeneratorId id = GetParam();

    void SetUp() override {
        for (const GeneratorId present : presentGenerators()) {
            if (present == id) return;
        }
        GTEST_SKIP() << "not on this processor";
    }

    // A stream at a block, with a key.
    Stream at(Words counter) const {
        Words seed = {7, 8};
        if (id == GEN_ARS5) seed.insert(seed.end(), {9, 10});
        seed.insert(seed.end(), counter.begin(), counter.end());
        return Stream(id, seed);
    }
    std::int32_t skipWords(StreamHandle stream, std::vector<std::uint64_t> count) const {
        GeneratorProperties row;
        EXPECT_EQ(vslGetBrngProperties(id, &row), RNG_OK);
        const auto n = static_cast<std::int32_t>(count.size());
        return row.initStream(OP_SKIPAHEAD_WORDS, stream, n,
                              reinterpret_cast<const std::uint32_t*>(count.data()));
    }
};

TEST_P(CounterBased, LongSkipsEqualRepeatedOnes) {
    for (const std::uint64_t low : {1ull, 2ull, 3ull, 4ull, 5ull, 1001ull, ~0ull, ~0ull - 2}) {
        for (const std::size_t before : {0, 1, 3}) {
            Stream wide = at({~0u, ~0u, 5}), twice(wide);
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
}

TEST_P(CounterBased, LongSkipsReachTheWholePeriod) {
    // 2^128 words are 2^126 blocks; 2^130 are the whole period.  A fourth word isn't read.
    Stream quarter = at({}), start = at({}), whole = at({});
    ASSERT_EQ(skipWords(quarter, {0, 0, 1, ~0ull}), RNG_OK);
    EXPECT_EQ(drawWords(quarter, 8), drawWords(at({0, 0, 0, 1u << 30}), 8));
    ASSERT_EQ(skipWords(whole, {0, 0, 4}), RNG_OK);
    EXPECT_NE(stateBytes(whole), stateBytes(start));  // the whole first block waits
    EXPECT_EQ(drawWords(whole, 9), drawWords(start, 9));
    const auto unmoved = stateBytes(start);
    ASSERT_EQ(skipWords(start, {0, 0, 0}), RNG_OK);
    ASSERT_EQ(skipWords(start, {}), RNG_OK);
    EXPECT_EQ(stateBytes(start), unmoved);
}

// word 0x80000000 gives a, word 0 the middle; singles never go through double.
TEST_P(CounterBased, RealsAreCentred) {
    Stream stream = at({4}), twin(stream), third(stream);
    const std::size_t n = 4099;
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

INSTANTIATE_TEST_SUITE_P(Rows, CounterBased, ::testing::Values(GEN_ARS5, GEN_PHILOX4X32X10));

}  // namespace
}  // namespace korvan::testing

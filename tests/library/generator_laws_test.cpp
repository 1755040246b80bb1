// What every basic generator keeps, whatever its mathematics: tested on all that are present.
#include <algorithm>
#include <bit>
#include <cfenv>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

#include "support.h"

namespace korvan::testing {
namespace {

class GeneratorLaws : public ::testing::TestWithParam<GeneratorId> {
  protected:
    const GeneratorId id = GetParam();
    const std::size_t units = wordUnits(id);

    GeneratorProperties row() const {
        GeneratorProperties properties;
        EXPECT_EQ(vslGetBrngProperties(id, &properties), RNG_OK);
        return properties;
    }
    // A copy's rows, without the dispatch: `branch` 0 gives the plain definition.
    static const GeneratorProperties& rowOfBranch(std::int32_t branch, GeneratorId generator) {
        return copySetOfBranch(branch).generators[(generator >> 20) - 1].properties;
    }
};

// Sizes around vectors (4, 8, 16 words), groups of them, and the generators' blocks.
const std::vector<std::size_t> edgeSizes = {
    1,  2,  3,  4,   5,   7,   8,   9,   15,  16,  17,  31,  32,  33,   63,   64,   65,
    68, 69, 70, 127, 128, 129, 138, 249, 250, 251, 623, 624, 625, 1247, 1248, 1249, 4097};

TEST_P(GeneratorLaws, SplittingAFillKeepsTheWords) {
    if (!isRepeatable(id)) GTEST_SKIP();
    const std::size_t total = 12000;
    const Words whole = drawWords(Stream(id), total);
    for (const std::size_t first : edgeSizes) {
        Stream stream(id);
        Words parts = drawWords(stream, first);
        for (std::size_t step = first; parts.size() < whole.size(); ++step) {
            const std::size_t left = (whole.size() - parts.size()) / units;
            const Words next = drawWords(stream, std::min(step, left));
            parts.insert(parts.end(), next.begin(), next.end());
        }
        ASSERT_EQ(parts, whole) << "first part " << first;
    }
    std::mt19937 sizes(7);
    for (int round = 0; round < 40; ++round) {
        Stream stream(id);
        Words parts;
        while (parts.size() < whole.size()) {
            const std::size_t left = (whole.size() - parts.size()) / units;
            const std::size_t wish = 1 + sizes() % (round % 2 ? 40 : 1500);
            const Words next = drawWords(stream, std::min(wish, left));
            parts.insert(parts.end(), next.begin(), next.end());
        }
        ASSERT_EQ(parts, whole) << "round " << round;
    }
}

TEST_P(GeneratorLaws, SkippingIsDrawingAndThrowingAway) {
    if (!isRepeatable(id)) GTEST_SKIP();
    {
        Stream probe(id);
        if (vslSkipAheadStream(probe, 1) < 0) GTEST_SKIP() << "has no skip";
    }
    std::vector<std::size_t> skips = edgeSizes;
    skips.insert(skips.end(), {0, 2047, 2048, 2049, 19967, 19968, 19969, 100003});
    for (const std::size_t before : {0, 1, 3, 5, 623}) {
        for (const std::size_t skip : skips) {
            Stream stepped(id, 7), skipped(id, 7);  // in seven dimensions
            if (before > 0) {
                drawWords(stepped, before);
                drawWords(skipped, before);
            }
            if (skip > 0) drawWords(stepped, skip);
            ASSERT_EQ(vslSkipAheadStream(skipped, static_cast<std::int64_t>(skip)), RNG_OK);
            ASSERT_EQ(drawWords(skipped, 700), drawWords(stepped, 700))
                << skip << " after " << before;
        }
    }
}

TEST_P(GeneratorLaws, SkipsAdd) {
    if (!isRepeatable(id)) GTEST_SKIP();
    {
        Stream probe(id);
        if (vslSkipAheadStream(probe, 1) < 0) GTEST_SKIP() << "has no skip";
    }
    if (id == GEN_SOBOL || id == GEN_NIEDERREITER) GTEST_SKIP() << "of finite length";
    std::mt19937_64 far(3);
    for (int round = 0; round < 3; ++round) {
        std::uint64_t a = far() >> (2 + 20 * round), b = far() >> (3 + 17 * round);
        if (round == 0) a |= 1ull << 62, b |= 1ull << 62;  // the count is unsigned
        Stream twice(id, 5), once(id, 5);
        ASSERT_EQ(vslSkipAheadStream(twice, static_cast<std::int64_t>(a)), RNG_OK);
        ASSERT_EQ(vslSkipAheadStream(twice, static_cast<std::int64_t>(b)), RNG_OK);
        ASSERT_EQ(vslSkipAheadStream(once, static_cast<std::int64_t>(a + b)), RNG_OK);
        ASSERT_EQ(drawWords(twice, 700), drawWords(once, 700)) << a << " + " << b;
    }
}

TEST_P(GeneratorLaws, LeapfroggingIsAStride) {
    if (!isRepeatable(id)) GTEST_SKIP();
    if (id == GEN_SOBOL || id == GEN_NIEDERREITER) GTEST_SKIP() << "chooses a component";
    const Words parent = drawWords(Stream(id, 9), 3000);
    for (const std::int32_t streams : {1, 2, 3, 17, 256}) {
        for (const std::int32_t k : {0, 1, streams - 1}) {
            Stream leap(id, 9);
            if (vslLeapfrogStream(leap, k, streams) < 0) GTEST_SKIP() << "has no leapfrog";
            const Words words = drawWords(leap, 10);
            for (std::size_t i = 0; i < 10; ++i) {
                const auto at = static_cast<std::size_t>(k) + i * static_cast<std::size_t>(streams);
                for (std::size_t u = 0; u < units; ++u) {
                    ASSERT_EQ(words[i * units + u], parent[at * units + u])
                        << "word " << i << " of stream " << k << " of " << streams;
                }
            }
        }
    }
    // The place in the sequence is an unsigned number, whatever the count of streams.
    Stream leap(id, 9), skipped(id, 9);
    ASSERT_EQ(vslLeapfrogStream(leap, -1, 2), RNG_OK);
    ASSERT_EQ(vslSkipAheadStream(skipped, 0xFFFFFFFF), RNG_OK);
    EXPECT_EQ(drawWords(leap, 1), drawWords(skipped, 1));
}

// Reals come from the same words, one each: drawn from twin streams, value and word agree, each
// element is the same at any place, and the copy's element equals the plain definition's but for
// one rounding.
TEST_P(GeneratorLaws, RealsFollowTheWordsInEveryCopy) {
    if (!isRepeatable(id)) GTEST_SKIP();
    // A rounding of the product, at most b - a = 8; a sum of four below 4 is rounded six times.
    const float ulps = id == GEN_WH ? 7 * 8 : 8;
    const auto near = [&](auto x, auto y) {
        return std::abs(x - y) <= ulps * std::numeric_limits<decltype(x)>::epsilon();
    };
    const std::size_t n = 3000;
    Stream forDoubles(id, 11), forSingles(id, 11), plainDoubles(id, 11), plainSingles(id, 11);
    const GeneratorProperties& plain = rowOfBranch(0, id);
    const GeneratorProperties fills = row();
    std::vector<double> doubles(n), expectedDoubles(n);
    std::vector<float> singles(n), expectedSingles(n);
    const auto count = static_cast<std::int32_t>(n);
    ASSERT_EQ(fills.fillDouble(forDoubles, count, doubles.data(), -3.0, 5.0), RNG_OK);
    ASSERT_EQ(plain.fillDouble(plainDoubles, count, expectedDoubles.data(), -3.0, 5.0), RNG_OK);
    ASSERT_EQ(fills.fillSingle(forSingles, count, singles.data(), -3.0f, 5.0f), RNG_OK);
    ASSERT_EQ(plain.fillSingle(plainSingles, count, expectedSingles.data(), -3.0f, 5.0f), RNG_OK);
    for (std::size_t i = 0; i < n; ++i) {
        ASSERT_PRED2(near, doubles[i], expectedDoubles[i]) << i;
        ASSERT_PRED2(near, singles[i], expectedSingles[i]) << i;
        ASSERT_GE(doubles[i], -3.0);
        ASSERT_LE(doubles[i], 5.0);
        ASSERT_GE(singles[i], -3.0f);
        ASSERT_LE(singles[i], 5.0f);
    }
    EXPECT_EQ(stateBytes(forDoubles), stateBytes(plainDoubles));
    EXPECT_EQ(stateBytes(forDoubles), stateBytes(forSingles));

    // Split and misaligned, the same bits.
    for (const std::size_t first : edgeSizes) {
        if (first >= n) break;
        Stream again(id, 11), againSingles(id, 11);
        std::vector<double> parts(n + 1, 0);
        std::vector<float> singleParts(n + 1, 0);
        const auto head = static_cast<std::int32_t>(first);
        ASSERT_EQ(fills.fillDouble(again, head, parts.data() + 1, -3.0, 5.0), RNG_OK);
        ASSERT_EQ(fills.fillDouble(again, count - head, parts.data() + 1 + first, -3.0, 5.0), 0);
        ASSERT_EQ(fills.fillSingle(againSingles, head, singleParts.data() + 1, -3.0f, 5.0f), 0);
        ASSERT_EQ(fills.fillSingle(againSingles, count - head, singleParts.data() + 1 + first,
                                   -3.0f, 5.0f),
                  RNG_OK);
        ASSERT_TRUE(std::equal(doubles.begin(), doubles.end(), parts.begin() + 1)) << first;
        ASSERT_TRUE(std::equal(singles.begin(), singles.end(), singleParts.begin() + 1)) << first;
    }
}

TEST_P(GeneratorLaws, WordsAndStatesEqualThePlainDefinition) {
    if (!isRepeatable(id)) GTEST_SKIP();
    const GeneratorProperties& plain = rowOfBranch(0, id);
    for (const std::size_t n : edgeSizes) {
        Stream stream(id, 123), reference(id, 123);
        drawWords(stream, 5);
        drawWords(reference, 5);
        Words expected(n * units);
        ASSERT_EQ(plain.fillBits(reference, static_cast<std::int32_t>(n), expected.data()), 0);
        ASSERT_EQ(drawWords(stream, n), expected) << n;
        ASSERT_EQ(stateBytes(stream), stateBytes(reference)) << n;
    }
}

// Words are integers, whatever arithmetic makes them: a caller's rounding mode doesn't show in
// them, and a caller's traps don't see them made.
TEST_P(GeneratorLaws, WordsDoNotDependOnTheFloatingPointMode) {
    if (!isRepeatable(id)) GTEST_SKIP();
    const Words expected = drawWords(Stream(id, 0xFFFFFFF0), 9000);
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        Stream stream(id, 0xFFFFFFF0);
        std::fesetround(mode);
        const Words words = drawWords(stream, 9000);
        const int after = std::fegetround();
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(words, expected) << "mode " << mode;
        EXPECT_EQ(after, mode);
    }
    Stream stream(id, 0xFFFFFFF0);
    std::feclearexcept(FE_ALL_EXCEPT);  // those of other tests would trap
    feenableexcept(FE_ALL_EXCEPT);
    const Words words = drawWords(stream, 9000);
    const int trapped = fedisableexcept(FE_ALL_EXCEPT);
    EXPECT_EQ(words, expected);
    EXPECT_EQ(trapped, FE_ALL_EXCEPT);
}

TEST_P(GeneratorLaws, CopiesContinue) {
    if (!isRepeatable(id)) GTEST_SKIP();
    for (const std::size_t before : {1, 2, 3, 30, 700}) {
        Stream original(id, 3);
        drawWords(original, before);
        const Stream copy(original);
        ASSERT_EQ(copy.status, RNG_OK);
        EXPECT_EQ(stateBytes(copy), stateBytes(original));
        EXPECT_EQ(vslGetStreamStateBrng(copy), id);
        EXPECT_EQ(drawWords(copy, 2000), drawWords(original, 2000));
    }
}

TEST_P(GeneratorLaws, RefusedOperationsLeaveTheStateAlone) {
    Stream stream(id, 3);
    if (isRepeatable(id)) drawWords(stream, 5);
    const auto before = stateBytes(stream);
    const std::uint32_t params[2] = {1, 0};
    EXPECT_EQ(row().initStream(4, stream, 1, params), RNG_UNKNOWN_OPERATION);
    EXPECT_EQ(row().initStream(-1, stream, 1, params), RNG_UNKNOWN_OPERATION);
    EXPECT_EQ(stateBytes(stream), before);
    for (const std::int32_t op : {OP_LEAPFROG, OP_SKIPAHEAD, OP_SKIPAHEAD_WORDS}) {
        Stream tried(stream);
        if (row().initStream(op, tried, op == OP_SKIPAHEAD ? 2 : 1, params) < 0) {
            EXPECT_EQ(stateBytes(tried), before) << "operation " << op;
        }
    }
    EXPECT_EQ(vslLeapfrogStream(stream, 0, -1), RNG_TOO_MANY_STREAMS);
    EXPECT_EQ(stateBytes(stream), before);
}

// 4096 doubles on [0, 1): chi-square over 64 cells, and the lag-1 correlation.
TEST_P(GeneratorLaws, DoublesAreUniform) {
    const std::int32_t n = 1 << 16;
    std::vector<double> x(static_cast<std::size_t>(n));
    ASSERT_EQ(vdRngUniform(0, Stream(id, 2026), n, x.data(), 0.0, 1.0), RNG_OK);
    std::vector<double> cells(64);
    for (const double value : x) cells.at(static_cast<std::size_t>(value * 64))++;
    double chiSquare = 0;
    for (const double count : cells) chiSquare += (count - n / 64) * (count - n / 64) / (n / 64);
    EXPECT_LT(chiSquare, 130.0);  // 63 degrees of freedom: probability 1.4e-6
    if (id == GEN_SOBOL || id == GEN_NIEDERREITER) return;
    double correlation = 0;
    for (std::size_t i = 1; i < x.size(); ++i) correlation += (x[i] - 0.5) * (x[i - 1] - 0.5) * 12;
    EXPECT_LT(std::abs(correlation) / std::sqrt(n), 5.0);  // 6e-7
}

std::string nameOf(const ::testing::TestParamInfo<GeneratorId>& info) {
    return "row" + std::to_string((info.param >> 20) - 1);
}
INSTANTIATE_TEST_SUITE_P(Present, GeneratorLaws, ::testing::ValuesIn(presentGenerators()), nameOf);

}  // namespace
}  // namespace korvan::testing

// MCG59 against exact integer arithmetic of its own.
#include <cstring>

#include "support.h"

namespace korvan::testing {
namespace {

constexpr std::uint64_t multiplier = 302875106592253;  // 13^13
constexpr Wide modulus = Wide{1} << 59;

std::uint64_t product(std::uint64_t u, std::uint64_t v) {
    return static_cast<std::uint64_t>(Wide{u} * v % modulus);
}

std::vector<std::uint64_t> longWords(StreamHandle stream, std::size_t n) {
    const Words halves = drawWords(stream, n);
    std::vector<std::uint64_t> words(n);
    std::memcpy(words.data(), halves.data(), 8 * n);
    return words;
}

std::uint64_t firstWord(const Words& seed) {
    return longWords(Stream(GEN_MCG59, seed), 1)[0];
}

TEST(Mcg59, SeedsFillTheWordAndAreNeverZero) {
    EXPECT_EQ(firstWord({}), 1u);
    EXPECT_EQ(firstWord({0}), 1u);
    EXPECT_EQ(firstWord({0xFFFFFFFF}), 0xFFFFFFFFu);
    EXPECT_EQ(firstWord({5, 7, 99}), 0x700000005u);
    EXPECT_EQ(firstWord({0, 0x8000000}), 1u);                   // the mask takes the only bit
    EXPECT_EQ(firstWord({6, 0xFFFFFFFF}), 0x7FFFFFF00000006u);  // even stays even
}

TEST(Mcg59, WordsArePowersOfTheMultiplier) {
    const Words seeds[] = {{1}, {2}, {0xFFFFFFFF, 0x7FFFFFF}, {0, 0x4000000}, {123456789, 987654}};
    for (const Words& seed : seeds) {
        const auto words = longWords(Stream(GEN_MCG59, seed), 20000);
        std::uint64_t x = words[0];
        for (std::size_t i = 0; i < words.size(); ++i) {
            ASSERT_EQ(words[i], x) << "word " << i << " of seed " << seed[0];
            x = product(x, multiplier);
        }
    }
}

TEST(Mcg59, NoWordsLeaveEverythingAlone) {
    Stream stream(GEN_MCG59, 8);
    const auto before = stateBytes(stream);
    GeneratorProperties row;
    ASSERT_EQ(vslGetBrngProperties(GEN_MCG59, &row), RNG_OK);
    std::uint32_t untouched[2] = {0xCACACACA, 0xCACACACA};
    EXPECT_EQ(row.fillBits(stream, 0, untouched), RNG_OK);
    EXPECT_EQ(untouched[0], 0xCACACACA);
    EXPECT_EQ(stateBytes(stream), before);
}

// Odd words have the period 2^57, and a factor of 2 halves it.
TEST(Mcg59, PeriodDependsOnTheFactorsOfTwo) {
    const auto after = [](std::uint32_t seed, int bits) {
        Stream stream(GEN_MCG59, seed);
        EXPECT_EQ(vslSkipAheadStream(stream, std::int64_t{1} << bits), RNG_OK);
        return longWords(stream, 1)[0];
    };
    EXPECT_EQ(after(17, 57), 17u);
    EXPECT_NE(after(17, 56), 17u);
    EXPECT_EQ(after(34, 56), 34u);
    EXPECT_NE(after(34, 55), 34u);
}

TEST(Mcg59, LeapfrogUsesTheOldMultiplierForThePosition) {
    Stream stream(GEN_MCG59, 2);
    ASSERT_EQ(vslLeapfrogStream(stream, 3, 10), RNG_OK);
    ASSERT_EQ(vslSkipAheadStream(stream, 4), RNG_OK);  // counts leapfrogged steps
    EXPECT_EQ(longWords(stream, 1)[0], longWords(Stream(GEN_MCG59, 2), 44)[43]);
    ASSERT_EQ(vslLeapfrogStream(stream, 0, 0), RNG_OK);  // multiplier 1
    const auto same = longWords(stream, 70);
    EXPECT_EQ(same, std::vector<std::uint64_t>(70, same[0]));
}

// The two precisions differ on purpose: singles round the word to 53 bits first.  The interval's
// length is no power of two, and isn't exact in single: every rounding shows.
TEST(Mcg59, RealsComeFromTheHalves) {
    const std::size_t n = 3000;
    const double a = -1.7, b = 2.9, s = (b - a) * 0x1p-59;
    const float af = -3.3f, bf = 1e3f;
    const double sf = (double{bf} - double{af}) * 0x1p-59;
    Stream forWords(GEN_MCG59, Words{77, 99}), forDoubles(forWords), forSingles(forWords);
    const auto words = longWords(forWords, n);
    std::vector<double> doubles(n);
    std::vector<float> singles(n);
    ASSERT_EQ(vdRngUniform(0, forDoubles, n, doubles.data(), a, b), RNG_OK);
    ASSERT_EQ(vsRngUniform(0, forSingles, n, singles.data(), af, bf), RNG_OK);
    for (std::size_t i = 0; i < n; ++i) {
        const auto low = static_cast<double>(words[i] & 0xFFFFFFFF);
        const auto high = static_cast<double>(words[i] >> 32) * 0x1p32;
        const double lowPart = low * s;
        ASSERT_EQ(doubles[i], multiplyAdd(high, s, lowPart) + a) << i;
        const double sum = low + high;
        ASSERT_EQ(singles[i], static_cast<float>(multiplyAdd(sum, sf, double{af}))) << i;
    }
    // In the middle of (-1.5, 1.5) a single shows the last bits of the double that it comes from.
    for (std::uint32_t low = 1; low < 1u << 22; low += 9973) {
        float single;
        ASSERT_EQ(
            vsRngUniform(0, Stream(GEN_MCG59, Words{low, 0x4000000}), 1, &single, -1.5f, 1.5f),
            RNG_OK);
        const auto number = static_cast<double>((std::uint64_t{1} << 58) + low);
        ASSERT_EQ(single, static_cast<float>(multiplyAdd(number, 3 * 0x1p-59, -1.5))) << low;
    }
}

TEST(Mcg59, ForeignStatesBringTheirMultiplier) {
    // 16 bytes of a Philox state: its key becomes the word, its counter the multiplier.
    Stream stream(GEN_MCG59, 3);
    EXPECT_EQ(vslCopyStreamState(stream, Stream(GEN_PHILOX4X32X10, Words{5, 6, 5, 1})), RNG_OK);
    EXPECT_EQ(longWords(stream, 2)[1], product(0x600000005, 0x100000005));
    const auto before = stateBytes(stream);
    EXPECT_EQ(vslCopyStreamState(stream, Stream(GEN_PHILOX4X32X10, Words{5, 6, 7, 1})),
              RNG_STREAMS_INCOMPATIBLE);
    EXPECT_EQ(stateBytes(stream), before);
    // Four bytes of MCG31m1 replace the low half only.
    Stream low(GEN_MCG59, Words{3, 0});
    EXPECT_EQ(vslCopyStreamState(low, Stream(GEN_MCG31, 9)), RNG_OK);
    EXPECT_EQ(longWords(low, 1)[0], 9u);
}

}  // namespace
}  // namespace korvan::testing

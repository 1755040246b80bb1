// MCG31m1 against exact integer arithmetic of its own.
#include "support.h"

namespace korvan::testing {
namespace {

constexpr std::uint64_t modulus = 2147483647, multiplier = 1132489760;

std::uint32_t reducedSeed(const Words& seed) {
    return drawWords(Stream(GEN_MCG31, seed), 1)[0];
}

TEST(Mcg31m1, SeedsAreReducedToTheGroup) {
    EXPECT_EQ(reducedSeed({0}), 1u);
    EXPECT_EQ(reducedSeed({0x7FFFFFFF}), 1u);
    EXPECT_EQ(reducedSeed({0xFFFFFFFE}), 1u);  // twice the modulus
    EXPECT_EQ(reducedSeed({0xFFFFFFFF}), 1u);
    EXPECT_EQ(reducedSeed({0x80000000}), 1u);
    EXPECT_EQ(reducedSeed({0x80000004}), 5u);
    EXPECT_EQ(reducedSeed({5, 77}), 5u);
    EXPECT_EQ(reducedSeed({}), 1u);
}

TEST(Mcg31m1, WordsArePowersOfTheMultiplier) {
    for (const std::uint32_t seed : {1u, 2u, 2147483646u, 123456789u}) {
        const Words words = drawWords(Stream(GEN_MCG31, seed), 20000);
        std::uint64_t x = seed;
        for (std::size_t i = 0; i < words.size(); ++i) {
            ASSERT_EQ(words[i], x) << "word " << i << " of seed " << seed;
            x = x * multiplier % modulus;
        }
    }
}

// The group has order m - 1: a skip by it comes home, and the published lattice multiplier is a
// primitive root, so no proper divisor of the order does.
TEST(Mcg31m1, PeriodIsTheGroupsOrder) {
    const Words start = drawWords(Stream(GEN_MCG31, 17), 4);
    const auto after = [](std::int64_t skip) {
        Stream stream(GEN_MCG31, 17);
        EXPECT_EQ(vslSkipAheadStream(stream, skip), RNG_OK);
        return drawWords(stream, 4);
    };
    const std::int64_t order = modulus - 1;  // 2 * 3^2 * 7 * 11 * 31 * 151 * 331
    EXPECT_EQ(after(order), start);
    for (const std::int64_t prime : {2, 3, 7, 11, 31, 151, 331}) {
        EXPECT_NE(after(order / prime), start) << prime;
    }
    // The count is unsigned: -1 is 2^64 - 1.
    const auto huge =
        static_cast<std::int64_t>(~std::uint64_t{0} % static_cast<std::uint64_t>(order));
    EXPECT_EQ(after(-1), after(huge));
}

TEST(Mcg31m1, LeapfrogUsesTheOldMultiplierForThePosition) {
    Stream stream(GEN_MCG31, 2);
    ASSERT_EQ(vslLeapfrogStream(stream, 3, 10), RNG_OK);
    ASSERT_EQ(vslSkipAheadStream(stream, 4), RNG_OK);  // counts leapfrogged steps
    EXPECT_EQ(drawWords(stream, 1)[0], drawWords(Stream(GEN_MCG31, 2), 44)[43]);
    ASSERT_EQ(vslLeapfrogStream(stream, 0, 0), RNG_OK);  // multiplier 1
    const Words same = drawWords(stream, 20);
    EXPECT_EQ(same, Words(20, same[0]));
    // k is unsigned: -1 steps 2^32 - 1 words.
    Stream wrapped(GEN_MCG31, 2), skipped(GEN_MCG31, 2);
    ASSERT_EQ(vslLeapfrogStream(wrapped, -1, 1), RNG_OK);
    ASSERT_EQ(vslSkipAheadStream(skipped, 0xFFFFFFFF), RNG_OK);
    EXPECT_EQ(drawWords(wrapped, 9), drawWords(skipped, 9));
}

// Word 1 gives s above a, and the largest word stays below b: both ends are open.
TEST(Mcg31m1, RealsStayInsideTheInterval) {
    const double s = 1.0 / 2147483647.0;
    double x;
    ASSERT_EQ(vdRngUniform(0, Stream(GEN_MCG31, 1), 1, &x, 0, 1), RNG_OK);
    EXPECT_EQ(x, s);
    ASSERT_EQ(vdRngUniform(0, Stream(GEN_MCG31, 2147483646), 1, &x, 0, 1), RNG_OK);
    EXPECT_EQ(x, 2147483646.0 * s);
    EXPECT_LT(x, 1.0);
    // Singles are rounded once, from the double.
    std::vector<float> singles(1000);
    std::vector<double> doubles(1000);
    ASSERT_EQ(vsRngUniform(0, Stream(GEN_MCG31, 5), 1000, singles.data(), 1, 3), RNG_OK);
    ASSERT_EQ(vdRngUniform(0, Stream(GEN_MCG31, 5), 1000, doubles.data(), 1, 3), RNG_OK);
    for (std::size_t i = 0; i < 1000; ++i) ASSERT_EQ(singles[i], static_cast<float>(doubles[i]));
}

}  // namespace
}  // namespace korvan::testing

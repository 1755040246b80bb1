// The uniform generators: the map to the interval, the accurate clamp, integers, bit words.
#include <cmath>
#include <cstring>

#include "support.h"

namespace korvan::testing {
namespace {

std::vector<double> doublesOf(StreamHandle stream, std::int32_t n, double a, double b,
                              std::int32_t method = 0) {
    std::vector<double> r(static_cast<std::size_t>(n) + 1, 123.0);
    EXPECT_EQ(vdRngUniform(method, stream, n, r.data(), a, b), RNG_OK);
    EXPECT_EQ(r.back(), 123.0);
    r.pop_back();
    return r;
}

TEST(Uniform, AccurateMethodClampsAndTheOtherDoesNot) {
    const double a = 0, b = 1e-300, big = 0x1p60;
    for (const GeneratorId id : presentGenerators()) {
        for (const double x : doublesOf(Stream(id), 5000, a, b, METHOD_UNIFORM_ACCURATE)) {
            ASSERT_GE(x, a);
            ASSERT_LE(x, b);
        }
        // An interval of a few units in the last place, where rounding leaves it if it can.
        const double narrow = big + 0x1p10;
        const auto free = doublesOf(Stream(id, 8), 3001, big, narrow);
        const auto kept = doublesOf(Stream(id, 8), 3001, big, narrow, METHOD_UNIFORM_ACCURATE);
        if (id == GEN_NONDETERMINISTIC) continue;
        for (std::size_t i = 0; i < free.size(); ++i) {
            ASSERT_EQ(kept[i], std::min(narrow, std::max(big, free[i])));
        }
    }
    // A registered-like case where the plain method does leave: Philox singles touch b.
    std::vector<float> singles(1 << 16), clamped(1 << 16);
    const auto n = static_cast<std::int32_t>(singles.size());
    const float high = std::nextafter(1.0f, 2.0f);
    ASSERT_EQ(vsRngUniform(0, Stream(GEN_PHILOX4X32X10), n, singles.data(), 1.0f, high), RNG_OK);
    ASSERT_EQ(vsRngUniform(METHOD_UNIFORM_ACCURATE, Stream(GEN_PHILOX4X32X10), n, clamped.data(),
                           1.0f, high),
              RNG_OK);
    for (std::size_t i = 0; i < singles.size(); ++i) {
        ASSERT_EQ(clamped[i], std::min(high, std::max(1.0f, singles[i])));
    }
}

// Floors of the doubles on both roads: by multiplication where the double is exact, and through
// it where it isn't.
TEST(UniformIntegers, AreTheFloorsOfTheDoubles) {
    struct Range {
        std::int32_t a, b;
    };
    const Range ranges[] = {{0, 1},
                            {-3, 0},
                            {0, 1000},
                            {-1, 2},
                            {-(1 << 20), 1 << 20},
                            {-(1 << 20) - 1, 1 << 20},
                            {-(1 << 20), (1 << 20) + 1},
                            {1 << 19, (1 << 20)},
                            {-5, INT32_MAX},
                            {INT32_MIN, INT32_MAX},
                            {INT32_MAX - 1, INT32_MAX},
                            {INT32_MIN, INT32_MIN + 1}};
    for (const GeneratorId id : presentGenerators()) {
        if (id == GEN_NONDETERMINISTIC) continue;
        for (const auto [a, b] : ranges) {
            for (const std::int32_t n : {1, 7, 1024, 2500}) {
                Stream forIntegers(id, 99), forDoubles(id, 99);
                std::vector<std::int32_t> r(static_cast<std::size_t>(n));
                ASSERT_EQ(viRngUniform(0, forIntegers, n, r.data(), a, b), RNG_OK);
                const auto x = doublesOf(forDoubles, n, a, b);
                for (std::size_t i = 0; i < r.size(); ++i) {
                    const double floor = std::min(std::floor(x[i]), b - 1.0);
                    ASSERT_EQ(r[i], floor) << a << " " << b << " element " << i;
                    ASSERT_TRUE(r[i] >= a && r[i] < b);
                }
                ASSERT_EQ(drawWords(forIntegers, 5), drawWords(forDoubles, 5));
            }
        }
    }
}

TEST(UniformIntegers, EveryValueIsEquallyLikely) {
    for (const GeneratorId id : presentGenerators()) {
        const std::int32_t n = 60000;
        std::vector<std::int32_t> r(static_cast<std::size_t>(n));
        ASSERT_EQ(viRngUniform(0, Stream(id, 31), n, r.data(), -3, 57), RNG_OK);
        std::vector<double> counts(60);
        for (const std::int32_t value : r) counts.at(static_cast<std::size_t>(value + 3))++;
        double chiSquare = 0;
        for (const double count : counts) chiSquare += (count - 1000) * (count - 1000) / 1000;
        EXPECT_LT(chiSquare, 124.4);  // 59 degrees of freedom: probability 1.4e-6
    }
}

TEST(UniformBits, WordsOf32And64BitsFollowTheTable) {
    for (const GeneratorId id : presentGenerators()) {
        if (id == GEN_NONDETERMINISTIC) continue;
        Stream words32(id, 4), words64(id, 4), raw(id, 4);
        const auto before = stateBytes(words32);
        Words r(4100, 0xCACACACA);
        std::vector<std::uint64_t> r64(2050);
        const std::int32_t status = viRngUniformBits32(0, words32, 4098, r.data());
        const bool refused = id == GEN_MCG31 || id == GEN_R250 || id == GEN_MRG32K3A ||
                             id == GEN_WH || id == GEN_SOBOL || id == GEN_NIEDERREITER;
        ASSERT_EQ(status, refused ? RNG_NO_BIT_WORDS : RNG_OK) << std::hex << id;
        ASSERT_EQ(viRngUniformBits64(0, words64, 2049, r64.data()), status);
        if (refused) {
            EXPECT_EQ(r, Words(4100, 0xCACACACA));
            EXPECT_EQ(stateBytes(words32), before);
            EXPECT_EQ(stateBytes(words64), before);
            continue;
        }
        EXPECT_EQ(r[4098], 0xCACACACA);
        EXPECT_EQ(std::memcmp(r.data(), r64.data(), 4098 * 4), 0);  // the earlier word is low
        EXPECT_EQ(stateBytes(words32), stateBytes(words64));
        const Words expected = drawWords(raw, 4098);
        for (std::size_t i = 0; i < 4098; ++i) {
            if (id == GEN_MCG59) {
                const std::uint64_t word = expected[2 * i] | std::uint64_t{expected[2 * i + 1]}
                                                                 << 32;
                ASSERT_EQ(r[i], static_cast<std::uint32_t>(word >> 27)) << i;
            } else {
                ASSERT_EQ(r[i], expected[i]) << i;
            }
        }
    }
}

// Arrays beyond the caches are written in parts: the same elements and the same state, also when
// the array begins amid a line.
TEST(LargeFills, EqualTheSmallOnes) {
    for (const GeneratorId id : presentGenerators()) {
        GeneratorProperties row;
        ASSERT_EQ(vslGetBrngProperties(id, &row), RNG_OK);
        if (id == GEN_NONDETERMINISTIC || row.wordBytes != 4) continue;
        const std::size_t n = (std::size_t{68} << 20) / 8;
        const auto count = static_cast<std::int32_t>(n);
        std::vector<double> large(n + 3, -1), small(n);
        Stream first(id, 21), second(id, 21);
        drawWords(first, 1), drawWords(second, 1);  // words of a block may wait
        ASSERT_EQ(vdRngUniform(0, first, count, large.data() + 1, 0, 1), RNG_OK);
        ASSERT_EQ(row.fillDouble(second, count, small.data(), 0, 1), RNG_OK);
        EXPECT_TRUE(std::equal(small.begin(), small.end(), large.begin() + 1));
        EXPECT_EQ(large[0], -1);
        EXPECT_EQ(large[n + 1], -1);
        EXPECT_EQ(stateBytes(first), stateBytes(second));
        // Words and integers through the same memory; an odd count leaves a last part.
        auto* words = reinterpret_cast<std::uint32_t*>(large.data()) + 3;
        auto* plain = reinterpret_cast<std::uint32_t*>(small.data());
        ASSERT_EQ(viRngUniformBits(0, first, 2 * count - 5, words), RNG_OK);
        ASSERT_EQ(row.fillBits(second, 2 * count - 5, plain), RNG_OK);
        EXPECT_EQ(std::memcmp(words, plain, 4 * (2 * n - 5)), 0);
        EXPECT_EQ(stateBytes(first), stateBytes(second));
        auto* ints = reinterpret_cast<std::int32_t*>(words);
        auto* plainInts = reinterpret_cast<std::int32_t*>(plain);
        ASSERT_EQ(viRngUniform(0, first, 2 * count - 5, ints, -7, 100), RNG_OK);
        for (std::int32_t done = 0; done < 2 * count - 5; done += 1024) {
            const std::int32_t part = std::min(1024, 2 * count - 5 - done);
            ASSERT_EQ(viRngUniform(0, second, part, plainInts + done, -7, 100), RNG_OK);
        }
        EXPECT_EQ(std::memcmp(ints, plainInts, 4 * (2 * n - 5)), 0);
        EXPECT_EQ(stateBytes(first), stateBytes(second));
    }
}

}  // namespace
}  // namespace korvan::testing

// The Wichmann-Hill set, all members, against integer remainders of the test's own.
#include <algorithm>
#include <array>
#include <cstring>

#include "generators/wichmann_hill_members.h"
#include "support.h"

namespace korvan::testing {
namespace {

using Four = std::array<std::uint64_t, 4>;

// A member in integers.
struct Reference {
    Four x, a, m;

    Reference(std::int32_t member, const Words& seed) {
        for (std::size_t j = 0; j < 4; ++j) {
            m[j] = wichmannHillMembers[member].moduli[j];
            a[j] = wichmannHillMembers[member].multipliers[j];
            x[j] = j < seed.size() ? seed[j] % m[j] : 1;
            if (x[j] == 0) x[j] = 1;
        }
    }
    Words next() {
        Words words;
        for (std::size_t j = 0; j < 4; ++j) {
            words.push_back(static_cast<std::uint32_t>(x[j]));
            x[j] = a[j] * x[j] % m[j];
        }
        return words;
    }
    Words draw(std::size_t n) {
        Words words;
        for (std::size_t i = 0; i < n; ++i) {
            const Words four = next();
            words.insert(words.end(), four.begin(), four.end());
        }
        return words;
    }
};

const Words seed = {0x12345678, 0xFFFFFFFF, 16777216, 5};

TEST(WichmannHill, EveryMemberFollowsItsRemainders) {
    for (std::int32_t member = 0; member < 273; ++member) {
        const GeneratorId id = GEN_WH + member, flat = 4 + member;
        Reference reference(member, seed);
        const Words expected = reference.draw(500);
        const auto at = [&](std::size_t i) {
            return Words(&expected[4 * i], &expected[4 * i] + 4);
        };
        ASSERT_EQ(drawWords(Stream(id, seed), 500), expected) << member;
        ASSERT_EQ(drawWords(Stream(flat, seed), 500), expected) << member;

        Stream skipped(id, seed), leap(flat, seed);
        ASSERT_EQ(vslSkipAheadStream(skipped, 321), RNG_OK);
        ASSERT_EQ(drawWords(skipped, 1), at(321)) << member;
        ASSERT_EQ(vslLeapfrogStream(leap, 1, 3), RNG_OK);
        const Words strided = drawWords(leap, 150);
        for (std::size_t i = 0; i < 150; ++i) {
            ASSERT_EQ(Words(&strided[4 * i], &strided[4 * i] + 4), at(1 + 3 * i)) << member;
        }
        // Multipliers are primitive roots: half the group's order doesn't come home.
        for (std::size_t j = 0; j < 4; ++j) {
            Stream whole(id, seed), half(id, seed);
            const auto order = static_cast<std::int64_t>(reference.m[j] - 1);
            ASSERT_EQ(vslSkipAheadStream(whole, order), RNG_OK);
            ASSERT_EQ(vslSkipAheadStream(half, order / 2), RNG_OK);
            ASSERT_EQ(drawWords(whole, 1)[j], expected[j]) << member;
            ASSERT_EQ(drawWords(half, 1)[j], reference.m[j] - expected[j]) << member;
        }
    }
}

TEST(WichmannHill, GivenMembersHaveTheirParameters) {
    const struct {
        std::int32_t member;
        Words moduli, multipliers;
    } rows[] = {{0, {16770647, 16770643, 16770623, 16770617}, {125, 117, 127, 126}},
                {1, {16770311, 16770283, 16770263, 16770209}, {127, 126, 125, 123}},
                {2, {16769807, 16769771, 16769749, 16769663}, {125, 119, 123, 126}},
                {272, {16766363, 16766359, 16766327, 16766231}, {126, 127, 125, 124}}};
    for (const auto& row : rows) {
        // A multiple of the modulus is seeded as 1, one less as m - 1.
        Words less = row.moduli;
        for (std::uint32_t& m : less) m -= 1;
        EXPECT_EQ(drawWords(Stream(GEN_WH + row.member, row.moduli), 1), Words(4, 1));
        EXPECT_EQ(drawWords(Stream(GEN_WH + row.member, less), 1), less);
        Words second = drawWords(Stream(GEN_WH + row.member, Words{}), 2);
        EXPECT_EQ(Words(second.begin() + 4, second.end()), row.multipliers) << row.member;
    }
}

TEST(WichmannHill, FirstFourSeedWordsCount) {
    const GeneratorId id = GEN_WH + 5;
    EXPECT_EQ(drawWords(Stream(id, Words{}), 1), (Words{1, 1, 1, 1}));
    EXPECT_EQ(drawWords(Stream(id, Words{0, 0, 0, 0}), 1), (Words{1, 1, 1, 1}));
    EXPECT_EQ(drawWords(Stream(id, Words{7, 8}), 1), (Words{7, 8, 1, 1}));
    EXPECT_EQ(drawWords(Stream(id, Words{7, 8, 9, 10, 11}), 1), (Words{7, 8, 9, 10}));
}

// Leapfrogging repeatedly brings multipliers of all sizes: products up to 2^48.
TEST(WichmannHill, LargeMultipliersStayExact) {
    for (const std::int32_t member : {0, 3, 140, 272}) {
        Stream stream(GEN_WH + member, Words{~0u, 2, 3, 4});
        Reference reference(member, {~0u, 2, 3, 4});
        for (int round = 0; round < 30; ++round) {
            const std::int32_t k = round * 7, streams = 1003 + round;
            ASSERT_EQ(vslLeapfrogStream(stream, k, streams), RNG_OK);
            for (int i = 0; i < k; ++i) reference.next();
            for (std::size_t j = 0; j < 4; ++j) {
                std::uint64_t power = 1;
                for (std::int32_t i = 0; i < streams; ++i) {
                    power = power * reference.a[j] % reference.m[j];
                }
                reference.a[j] = power;
            }
            ASSERT_EQ(drawWords(stream, 999), reference.draw(999)) << member << " " << round;
        }
    }
}

TEST(WichmannHill, RealsAreTheFractionOfTheSum) {
    const std::size_t n = 3000;
    const double a = -1.7, b = 2.9;
    const float af = -3.3f, bf = 1e3f;  // b - a isn't exact in single
    for (const std::int32_t member : {0, 77}) {
        const GeneratorId id = GEN_WH + member;
        std::vector<double> doubles(n);
        std::vector<float> singles(n);
        ASSERT_EQ(vdRngUniform(0, Stream(id, seed), n, doubles.data(), a, b), RNG_OK);
        ASSERT_EQ(vsRngUniform(0, Stream(id, seed), n, singles.data(), af, bf), RNG_OK);
        Reference reference(member, seed);
        for (std::size_t i = 0; i < n; ++i) {
            const Four x = reference.x;
            reference.next();
            double t = 0;
            for (std::size_t j = 0; j < 4; ++j) {
                const double reciprocal = 1.0 / static_cast<double>(reference.m[j]);
                t = multiplyAdd(static_cast<double>(x[j]), reciprocal, t);
            }
            const double f = t - std::trunc(t);
            ASSERT_EQ(doubles[i], multiplyAdd(f, b - a, a)) << i;
            ASSERT_EQ(singles[i], static_cast<float>(multiplyAdd(f, double{bf - af}, double{af})));
        }
    }
}

// Another member's state is taken only if it is one of this member's; multipliers come along.
TEST(WichmannHill, StatesOfOtherMembersMustBeReduced) {
    Stream large(GEN_WH + 3, Words{16777212, 2, 3, 4}), small(GEN_WH, Words{9, 9, 9, 9});
    const auto before = stateBytes(small);
    EXPECT_EQ(vslCopyStreamState(small, large), RNG_STREAMS_INCOMPATIBLE);
    EXPECT_EQ(stateBytes(small), before);
    Stream fitting(GEN_WH + 3, Words{16770646, 2, 3, 4});
    EXPECT_EQ(vslCopyStreamState(small, fitting), RNG_OK);
    EXPECT_EQ(stateBytes(small), stateBytes(fitting));
    EXPECT_EQ(vslCopyStreamState(Stream(4, 1), Stream(GEN_WH, 2)), RNG_OK);  // the same member
    EXPECT_EQ(vslCopyStreamState(small, Stream(GEN_PHILOX4X32X10, Words{0, 1, 2, 3})),
              RNG_STREAMS_INCOMPATIBLE);
}

}  // namespace
}  // namespace korvan::testing

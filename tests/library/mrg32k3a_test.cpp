// MRG32k3a against published states and words, and exact integer arithmetic of its own.
#include <cstring>
#include <sstream>

#include "support.h"

namespace korvan::testing {
namespace {

constexpr GeneratorId mrg = GEN_MRG32K3A;
constexpr std::uint64_t m1 = 4294967087, m2 = 4294944443;

Words numbers(const std::string& cell) {
    std::istringstream text(cell);
    Words words;
    for (std::uint32_t word; text >> word;) words.push_back(word);
    return words;
}

// A decimal count as 64-bit words, low word first.
std::vector<std::uint64_t> countOf(const std::string& decimal) {
    std::vector<std::uint64_t> count(1);
    for (const char digit : decimal) {
        Wide carry = static_cast<unsigned>(digit - '0');
        for (std::uint64_t& word : count) {
            carry += Wide{word} * 10;
            word = static_cast<std::uint64_t>(carry);
            carry >>= 64;
        }
        if (carry) count.push_back(static_cast<std::uint64_t>(carry));
    }
    return count;
}

Words stateOfStream(StreamHandle stream) {
    Words state(6);
    std::memcpy(state.data(), stateBytes(stream).data(), 24);
    return state;
}

void skipWords(StreamHandle stream, const std::vector<std::uint64_t>& count) {
    GeneratorProperties row;
    ASSERT_EQ(vslGetBrngProperties(mrg, &row), RNG_OK);
    ASSERT_EQ(row.initStream(OP_SKIPAHEAD_WORDS, stream, static_cast<std::int32_t>(count.size()),
                             reinterpret_cast<const std::uint32_t*>(count.data())),
              RNG_OK);
}

TEST(Mrg32k3a, StatesAndWordsEqualTheKnownOnes) {
    const auto rows = readTable("known_answers_mrg32k3a.csv");
    ASSERT_GT(rows.size(), 80u);
    for (const auto& row : rows) {
        const Words seed = numbers(row[1]), state = numbers(row[3]), words = numbers(row[4]);
        const auto count = countOf(row[2]);
        Stream far(mrg, seed);
        skipWords(far, count);
        EXPECT_EQ(stateOfStream(far), state) << row[0];
        EXPECT_EQ(drawWords(far, words.size()), words) << row[0];
        if (count.size() == 1) {
            Stream near(mrg, seed);
            ASSERT_EQ(vslSkipAheadStream(near, static_cast<std::int64_t>(count[0])), RNG_OK);
            EXPECT_EQ(stateOfStream(near), state) << row[0];
        }
        if (count[0] <= 32768 && count.size() == 1) {  // by drawing, too
            Stream drawn(mrg, seed);
            drawWords(drawn, static_cast<std::size_t>(count[0]) + 1);
            EXPECT_EQ(drawWords(drawn, words.size() - 1), Words(words.begin() + 1, words.end()));
        }
    }
}

// Counts on both sides of the tables' end at 2^256, against sums of shorter ones.
TEST(Mrg32k3a, LongSkipsEqualRepeatedOnes) {
    for (const std::uint64_t low : {0ull, 1ull, 1001ull, ~0ull}) {
        Stream wide(mrg, 7), twice(wide), farther(wide), halves(wide);
        skipWords(wide, {low, 1});
        for (int half = 0; half < 2; ++half) {
            ASSERT_EQ(vslSkipAheadStream(twice, INT64_MIN), RNG_OK);  // 2^63
        }
        ASSERT_EQ(vslSkipAheadStream(twice, static_cast<std::int64_t>(low)), RNG_OK);
        EXPECT_EQ(stateOfStream(wide), stateOfStream(twice)) << low;

        skipWords(farther, {low, 0, 3, 0, 1});
        for (int half = 0; half < 2; ++half) skipWords(halves, {0, 0, 0, 1ull << 63});
        skipWords(halves, {low, 0, 3});
        EXPECT_EQ(stateOfStream(farther), stateOfStream(halves)) << low;
        // The table's last matrix, and the general power of the same count.
        Stream padded(mrg, 9), plain(mrg, 9);
        skipWords(padded, {low, 5, 0, 1ull << 63, 0, 0});
        skipWords(plain, {low, 5, 0, 1ull << 63});
        EXPECT_EQ(stateOfStream(padded), stateOfStream(plain)) << low;
    }
    Stream stream(mrg, 3);
    const auto before = stateBytes(stream);
    skipWords(stream, {});
    skipWords(stream, {0, 0, 0, 0, 0, 0});
    EXPECT_EQ(stateBytes(stream), before);
}

// The components' periods are m^3 - 1: a count of three words comes home in x, and another in y.
TEST(Mrg32k3a, ComponentsComeHomeAfterTheirPeriods) {
    const Words start = {11, 12, 13, 14, 15, 16};
    const auto after = [&](std::uint64_t m) {
        const Wide count = Wide{m} * m * m;
        Stream stream(mrg, start);
        skipWords(stream,
                  {static_cast<std::uint64_t>(count), static_cast<std::uint64_t>(count >> 64)});
        return stateOfStream(stream);
    };
    // After m^3 steps a component is one step on.
    const Words once = [&] {
        Stream stream(mrg, start);
        drawWords(stream, 1);
        return stateOfStream(stream);
    }();
    EXPECT_TRUE(std::equal(once.begin(), once.begin() + 3, after(m1).begin()));
    const Words y = after(m2);
    EXPECT_TRUE(std::equal(once.begin() + 3, once.end(), y.begin() + 3));
    EXPECT_NE(once, y);
}

TEST(Mrg32k3a, SeedsAreRepaired) {
    const struct {
        Words seed, state;
    } rows[] = {
        {{}, {1, 1, 1, 1, 1, 1}},
        {{5}, {5, 1, 1, 1, 1, 1}},
        {{1, 2, 3, 4, 5, 6, 7, 8}, {1, 2, 3, 4, 5, 6}},
        {{0, 0, 0, 0, 0, 0}, {1, 0, 0, 1, 0, 0}},
        {{~0u, ~0u, ~0u, ~0u, ~0u, ~0u}, {208, 208, 208, 22852, 22852, 22852}},
        {{4294967087, 0, 4294967087, 4294944443, 7, 0}, {1, 0, 0, 0, 7, 0}},
        {{4294967086, 0, 0, 4294967086, 0, 0}, {4294967086, 0, 0, 22643, 0, 0}},
    };
    for (const auto& row : rows) EXPECT_EQ(stateOfStream(Stream(mrg, row.seed)), row.state);
}

// One component, forward and backward, in exact integers.
struct Component {
    std::uint64_t m, c1, c2, c3;  // u_n = c1 u_(n-1) + c2 u_(n-2) + c3 u_(n-3) mod m

    std::uint64_t forward(const std::vector<std::uint64_t>& u) const {
        const auto* last = &u.back();
        return static_cast<std::uint64_t>(
            (Wide{c1} * last[0] + Wide{c2} * last[-1] + Wide{c3} * last[-2]) % m);
    }
    std::uint64_t backward(std::uint64_t u1, std::uint64_t u2, std::uint64_t u3) const {
        const Wide rest = (Wide{u3} + Wide{m - c1} * u2 + Wide{m - c2} * u1) % m;
        return static_cast<std::uint64_t>(rest * inverse() % m);
    }
    std::uint64_t inverse() const {  // of c3, by Fermat
        Wide result = 1, base = c3;
        for (std::uint64_t e = m - 2; e != 0; e >>= 1, base = base * base % m) {
            if (e & 1) result = result * base % m;
        }
        return static_cast<std::uint64_t>(result);
    }
    // `before` words, the given three, and `after` words.
    std::vector<std::uint64_t> around(std::vector<std::uint64_t> u, int before, int after) const {
        std::vector<std::uint64_t> back(u.rbegin(), u.rend());
        for (int k = 0; k < before; ++k) {
            const auto* last = &back.back();
            back.push_back(backward(last[0], last[-1], last[-2]));
        }
        std::vector<std::uint64_t> all(back.rbegin(), back.rend());
        for (int k = 0; k < after; ++k) all.push_back(forward(all));
        return all;
    }
};
const Component componentX = {m1, 0, 1403580, m1 - 810728};
const Component componentY = {m2, 527612, 0, m2 - 1370589};

// Words at the ends and in the middle of the range, where a quotient could be one off, placed deep
// in a fill.
TEST(Mrg32k3a, ExtremeWordsInTheMiddleOfAFill) {
    const auto extremes = [](std::uint64_t m) {
        return std::vector<std::uint64_t>{0, 1, m - 1, m / 2, m / 2 + 1};
    };
    const auto ex = extremes(m1), ey = extremes(m2);
    for (std::size_t k = 0; k < 125; ++k) {
        const std::size_t i = k % 5, j = k / 5 % 5, l = k / 25;
        if (i + j + l == 0) continue;
        const int before = 40 + 29 * static_cast<int>(k), after = 700;
        const auto x = componentX.around({ex[i], ex[j], ex[l]}, before, after);
        const auto y = componentY.around({ey[l], ey[i], ey[j]}, before, after);
        Words seed, expected;
        for (std::size_t n = 0; n < 3; ++n) seed.push_back(static_cast<std::uint32_t>(x[n]));
        for (std::size_t n = 0; n < 3; ++n) seed.push_back(static_cast<std::uint32_t>(y[n]));
        for (std::size_t n = 3; n < x.size(); ++n) {
            expected.push_back(static_cast<std::uint32_t>((x[n] + m1 - y[n]) % m1));
        }
        Stream stream(mrg, seed), forDoubles(mrg, seed), forSingles(mrg, seed);
        ASSERT_EQ(drawWords(stream, expected.size()), expected) << k;
        const auto expectState = [&](StreamHandle at, std::size_t drawn) {
            const Words state = stateOfStream(at);
            for (std::size_t n = 0; n < 3; ++n) {
                ASSERT_EQ(state[n], x[drawn + n]) << k;
                ASSERT_EQ(state[n + 3], y[drawn + n]) << k;
            }
        };
        expectState(stream, expected.size());
        // Fills that end at them: the state takes over what the lanes hold.
        for (const int ends : {before - 2, before - 1, before}) {
            const auto drawn = static_cast<std::size_t>(ends);
            Stream ending(mrg, seed);
            drawWords(ending, drawn);
            expectState(ending, drawn);
        }
        // Reals are the words' images, rounded once or twice as the copy does.
        const auto n = static_cast<std::int32_t>(expected.size());
        const double a = -1.5, b = 2.25, s = (b - a) * (1.0 / 4294967087);
        std::vector<double> doubles(expected.size());
        std::vector<float> singles(expected.size());
        ASSERT_EQ(vdRngUniform(0, forDoubles, n, doubles.data(), a, b), RNG_OK);
        ASSERT_EQ(vsRngUniform(0, forSingles, n, singles.data(), -1.5f, 2.25f), RNG_OK);
        for (std::size_t e = 0; e < expected.size(); ++e) {
            const double value = multiplyAdd<double>(expected[e], s, a);
            ASSERT_EQ(doubles[e], value) << e;
            ASSERT_EQ(singles[e], static_cast<float>(value)) << e;
        }
        ASSERT_EQ(stateBytes(forDoubles), stateBytes(stream));
    }
}

}  // namespace
}  // namespace korvan::testing

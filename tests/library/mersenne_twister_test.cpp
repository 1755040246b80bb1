// MT19937 and MT2203: known words, and the states that fills and skips leave.
#include <cstring>

#include "generators/mt19937.h"
#include "generators/mt2203.h"
#include "known_words.h"
#include "streams/stream_record.h"

namespace korvan::testing {
namespace {

using Ids = std::vector<GeneratorId>;

TEST(Mt19937, WordsEqualTheKnownOnes) {
    const auto rows = readTable("known_answers_mt19937.csv");
    ASSERT_GT(rows.size(), 20u);
    for (const auto& row : rows) {
        if (row[2].size() > 20) continue;  // 2^128 words are more than skips count
        expectWords(GEN_MT19937, keyOf(row[0], row[1]), std::stoull(row[2]), numbersIn(row[3]),
                    row[0]);
    }
}

TEST(Mt2203, WordsEqualTheKnownOnes) {
    const auto rows = readTable("known_answers_mt2203.csv");
    ASSERT_GT(rows.size(), 20u);
    for (const auto& row : rows) {
        const GeneratorId id = GEN_MT2203 + std::stoi(row[0]);
        expectWords(id, keyOf(row[1], row[2]), std::stoull(row[3]), numbersIn(row[4]),
                    "member " + row[0] + " " + row[1]);
    }
}

TEST(Mt2203, MembersOfOneSeedDifferInTheirConstantsOnly) {
    Stream first(GEN_MT2203, 77), last(GEN_MT2203 + 6023, 77);
    const auto &a = stateOf<Mt2203State>(first.handle), &b = stateOf<Mt2203State>(last.handle);
    EXPECT_EQ(std::memcmp(a.mt, b.mt, sizeof a.mt), 0);
    EXPECT_NE(a.constants.matrixA, b.constants.matrixA);
    Stream beyond(GEN_MT2203);
    EXPECT_EQ(vslNewStream(&beyond.handle, GEN_MT2203 + 6024, 1), RNG_BAD_GENERATOR);
}

TEST(MersenneTwisters, AnEmptyKeyIsTheKeyOne) {
    for (const GeneratorId id : Ids{GEN_MT19937, GEN_MT2203 + 5, GEN_SFMT19937}) {
        EXPECT_EQ(stateBytes(Stream(id, Words{})), stateBytes(Stream(id, 1)));
        StreamHandle negative = nullptr;
        const std::uint32_t unread = 99;
        ASSERT_EQ(vslNewStreamEx(&negative, id, -3, &unread), RNG_OK);
        EXPECT_EQ(stateBytes(negative), stateBytes(Stream(id, 1)));
        vslDeleteStream(&negative);
    }
}

// What follows a sequence of fills (positive) and skips (negative): mt is the window of raw words
// that begins at `start`, counted from the seeded block's first one.
struct Case {
    std::vector<int> operations;
    std::size_t start;
    std::int32_t index;
};

template <class Shape>
Words rawSequence(const std::uint32_t* block, std::uint32_t matrixA, std::size_t count) {
    Words raw(block, block + Shape::words);
    for (std::size_t k = Shape::words; k < count; ++k) {
        const std::size_t oldest = k - Shape::words;
        raw.push_back(
            twisted<Shape>(raw[oldest], raw[oldest + 1], raw[oldest + Shape::middle], matrixA));
    }
    return raw;
}

template <class State, class Shape>
void expectStates(GeneratorId id, const std::vector<Case>& cases) {
    Stream fresh(id, 4357);
    std::uint32_t matrixA;
    if constexpr (requires(State s) { s.constants; }) {
        matrixA = stateOf<State>(fresh.handle).constants.matrixA;
    } else {
        matrixA = mt19937Constants.matrixA;
    }
    const Words raw =
        rawSequence<Shape>(stateOf<State>(fresh.handle).mt, matrixA, Shape::words + 2200000);
    for (const Case& row : cases) {
        for (int kind = 0; kind < 3; ++kind) {
            Stream stream(fresh);
            bool hasJumped = false;
            for (const int operation : row.operations) {
                if (operation > 0) {
                    drawAny(stream, operation, kind);
                } else {
                    ASSERT_EQ(vslSkipAheadStream(stream, -operation), RNG_OK);
                    hasJumped = operation <= -0x200000;
                }
            }
            const State& state = stateOf<State>(stream.handle);
            Words block(state.mt, state.mt + Shape::words);
            Words expected(raw.begin() + static_cast<long>(row.start),
                           raw.begin() + static_cast<long>(row.start + Shape::words));
            if (hasJumped) {  // the low bits of the oldest word are no part of the state
                block[0] &= ~Shape::lowMask;
                expected[0] &= ~Shape::lowMask;
            }
            EXPECT_EQ(block, expected) << "start " << row.start << " kind " << kind;
            EXPECT_EQ(state.index, row.index) << "start " << row.start << " kind " << kind;
            EXPECT_EQ(state.spare, 0u);
        }
    }
}

TEST(Mt19937, FillsAndSkipsLeaveTheirStates) {
    expectStates<Mt19937State, Mt19937Shape>(
        GEN_MT19937, {
                         {{1}, 624, 1},
                         {{623}, 624, 623},
                         {{624}, 624, 624},  // renewed only when a word is wanted
                         {{624, 1}, 1248, 1},
                         {{600, 100}, 1248, 76},
                         {{5, 619}, 624, 624},
                         // More than a block leaves the window of the last words, wherever that is.
                         {{625}, 625, 624},
                         {{625, 1}, 1249, 1},
                         {{5, 1000}, 1005, 624},
                         {{600, 625}, 1225, 624},
                         {{624, 5000}, 5624, 624},
                         {{4096}, 4096, 624},
                         {{4097, 700, 3}, 4797 + 624, 3},
                         {{10000}, 10000, 624},
                         // Skips, in chunks of 2048.
                         {{-1}, 624, 1},
                         {{-624}, 624, 624},
                         {{-625}, 625, 624},
                         {{7, -617}, 624, 624},
                         {{7, -618}, 1248, 1},
                         {{-2048}, 2048, 624},
                         {{-2049}, 2048 + 624, 1},
                         {{-(2048 + 624)}, 2048 + 624, 624},
                         {{-(2048 + 625)}, 2048 + 625, 624},
                         {{100, -2048}, 2148, 624},
                         {{100, -2100}, 2148 + 624, 52},
                         {{-2097151}, 2097151, 624},
                         // From here on by a jump.
                         {{-2097152}, 2097152, 624},
                         {{5, -2097153}, 2097158, 624},
                         {{624, -2097152}, 2097776, 624},
                     });
}

TEST(Mt2203, FillsLeaveTheirStates) {
    expectStates<Mt2203State, Mt2203Shape>(GEN_MT2203 + 2, {{{1}, 69, 1},
                                                            {{68}, 69, 68},
                                                            {{69}, 69, 69},
                                                            {{69, 1}, 138, 1},
                                                            {{60, 20}, 138, 11},
                                                            {{70}, 70, 69},
                                                            {{70, 1}, 139, 1},
                                                            {{3, 85, 2}, 157, 2},
                                                            {{79}, 79, 69},
                                                            {{80}, 80, 69},
                                                            {{81}, 81, 69},
                                                            {{4200}, 4200, 69}});
}

// Words have one value each as a real: exact on [0, 1), rounded once in singles.
TEST(MersenneTwisters, RealsAreUnsignedWordsFromTheLowerEnd) {
    const std::int32_t n = 4096;
    for (const GeneratorId id : {GEN_MT19937, GEN_MT2203, GEN_R250}) {
        const Words words = drawWords(Stream(id, 4), n);
        std::vector<double> doubles(n), offset(n);
        std::vector<float> singles(n);
        ASSERT_EQ(vdRngUniform(0, Stream(id, 4), n, doubles.data(), 0, 1), RNG_OK);
        ASSERT_EQ(vdRngUniform(0, Stream(id, 4), n, offset.data(), -8, 8), RNG_OK);
        ASSERT_EQ(vsRngUniform(0, Stream(id, 4), n, singles.data(), 0, 1), RNG_OK);
        for (std::size_t i = 0; i < words.size(); ++i) {
            ASSERT_EQ(doubles[i], words[i] * 0x1p-32);
            ASSERT_EQ(offset[i], words[i] * 0x1p-28 - 8);
            ASSERT_EQ(singles[i], static_cast<float>(words[i] * 0x1p-32));
        }
    }
}

TEST(MersenneTwisters, OtherStatesAreRefused) {
    for (const GeneratorId id : Ids{GEN_MT19937, GEN_MT2203 + 3}) {
        const auto isState = findGenerator(id)->isState;
        const std::size_t words = id == GEN_MT19937 ? 624 : 69;
        Stream stream(id, 5);
        auto* mt = reinterpret_cast<std::uint32_t*>(stream.handle + 1);
        for (const std::uint32_t index : {0u, 1u, static_cast<std::uint32_t>(words)}) {
            mt[words] = index;
            EXPECT_TRUE(isState(stream)) << id << " index " << index;
        }
        for (const std::uint32_t index : {static_cast<std::uint32_t>(words) + 1, ~0u}) {
            mt[words] = index;
            EXPECT_FALSE(isState(stream)) << id << " index " << index;
        }
        // Only the low bits of the oldest word left: nothing but zeros would follow.
        mt[words] = 0;
        std::memset(mt, 0, 4 * words);
        mt[0] = id == GEN_MT19937 ? 0x7FFFFFFF : 0x1F;
        EXPECT_FALSE(isState(stream)) << id;
        mt[0] += 1;
        EXPECT_TRUE(isState(stream)) << id;
    }
    // Constants are the member's own, also after another member's words were copied.
    Stream three(GEN_MT2203 + 3), four(GEN_MT2203 + 4);
    ASSERT_EQ(vslCopyStreamState(three, four), RNG_OK);
    EXPECT_TRUE(findGenerator(GEN_MT2203)->isState(three));
    ++stateOf<Mt2203State>(three.handle).constants.maskC;
    EXPECT_FALSE(findGenerator(GEN_MT2203)->isState(three));
    EXPECT_EQ(vslCopyStreamState(four, Stream(GEN_MT19937)), RNG_STREAMS_INCOMPATIBLE);
}

}  // namespace
}  // namespace korvan::testing

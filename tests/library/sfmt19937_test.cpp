// SFMT19937: known words, and where fills and skips leave the block and the waiting words.
#include "generators/sfmt19937.h"

#include <cstring>

#include "known_words.h"
#include "streams/stream_record.h"

namespace korvan::testing {
namespace {

constexpr GeneratorId sfmt = GEN_SFMT19937;

Sfmt19937State& stateOfStream(StreamHandle stream) {
    return stateOf<Sfmt19937State>(stream);
}

TEST(Sfmt19937, WordsEqualTheKnownOnes) {
    const auto rows = readTable("known_answers_sfmt19937.csv");
    ASSERT_GT(rows.size(), 30u);
    for (const auto& row : rows) {
        expectWords(sfmt, keyOf(row[0], row[1]), std::stoull(row[3]), numbersIn(row[4]), row[0]);
    }
}

// What follows fills (positive) and skips (negative): w is the window of words that begins at
// `start`, counted from the seeded block's first one.
struct Case {
    std::vector<int> operations;
    std::size_t start;
    std::int32_t index, tailPosition, tailCount;
};

TEST(Sfmt19937, FillsAndSkipsLeaveTheirStates) {
    const Case cases[] = {
        {{1}, 624, 4, 0, 3},
        {{1, 1, 1, 1}, 624, 4, 3, 3},
        {{1, 1, 1, 1, 1}, 624, 8, 0, 3},
        {{4}, 624, 4, 0, 0},
        {{623}, 624, 624, 0, 1},
        {{624}, 624, 624, 0, 0},
        {{623, 1}, 624, 624, 1, 1},
        {{620, 8}, 1248, 4, 0, 0},
        {{620, 5}, 1248, 4, 0, 3},
        {{2, 700}, 704, 624, 0, 2},  // two words wait, 620 are left, 20 elements are made
        {{2, 3000}, 3004, 624, 0, 2},
        {{625}, 628, 624, 0, 3},
        {{628}, 628, 624, 0, 0},
        {{1, 625}, 1248, 4, 0, 2},
        {{1, 628}, 632, 624, 0, 3},
        {{300, 640}, 940, 624, 0, 0},
        {{9998}, 10000, 624, 0, 2},
        // Inside what is there, a skip is a note.
        {{1, -2}, 624, 4, 2, 3},
        {{1, -3}, 624, 4, 3, 3},
        {{1, -4}, 624, 8, 0, 3},
        {{1, -7}, 624, 8, 0, 0},
        {{1, -100}, 624, 104, 0, 3},
        {{4, -620}, 624, 624, 0, 0},
        {{1, -622}, 624, 624, 0, 1},
        // Beyond it, a jump by elements.
        {{-1}, 4, 624, 0, 3},
        {{-4}, 4, 624, 0, 0},
        {{-5}, 8, 624, 0, 3},
        {{4, -621}, 628, 624, 0, 3},
        {{3, -624}, 628, 624, 0, 1},
        {{-19967}, 19968, 624, 0, 1},
        {{-19968}, 19968, 624, 0, 0},
        {{2, -19970}, 19972, 624, 0, 0},
        {{7, -19970}, 19980, 624, 0, 3},
        {{-100002}, 100004, 624, 0, 2},
    };
    const Stream fresh(sfmt, 1234);
    const std::uint32_t* block = stateOfStream(fresh.handle).w;
    Words words(block, block + sfmtWords);
    const Words drawn = drawWords(Stream(fresh), 101000);
    words.insert(words.end(), drawn.begin(), drawn.end());
    for (const Case& row : cases) {
        for (int kind = 0; kind < 3; ++kind) {
            Stream stream(fresh);
            for (const int operation : row.operations) {
                if (operation > 0) {
                    drawAny(stream, operation, kind);
                } else {
                    ASSERT_EQ(vslSkipAheadStream(stream, -operation), RNG_OK);
                }
            }
            const Sfmt19937State& state = stateOfStream(stream);
            const auto at = static_cast<std::size_t>(&row - cases);
            EXPECT_EQ(std::memcmp(state.w, &words[row.start], sizeof state.w), 0) << at;
            EXPECT_EQ(state.index, row.index) << at;
            EXPECT_EQ(state.tailPosition, row.tailPosition) << at;
            EXPECT_EQ(state.tailCount, row.tailCount) << at;
            const auto waiting = static_cast<std::size_t>(row.tailCount);
            const std::uint32_t* end = state.w + (row.index ? row.index : row.tailCount);
            EXPECT_TRUE(std::equal(end - waiting, end, state.tail)) << at;
        }
    }
}

// word 0x80000000 gives a, word 0 the middle; singles never go through double.
TEST(Sfmt19937, RealsAreCentred) {
    const std::int32_t n = 4096;
    const Words words = drawWords(Stream(sfmt, 4), n);
    std::vector<double> doubles(n);
    std::vector<float> singles(n);
    ASSERT_EQ(vdRngUniform(0, Stream(sfmt, 4), n, doubles.data(), 0, 1), RNG_OK);
    ASSERT_EQ(vsRngUniform(0, Stream(sfmt, 4), n, singles.data(), 0, 1), RNG_OK);
    for (std::size_t i = 0; i < words.size(); ++i) {
        const auto word = static_cast<std::int32_t>(words[i]);
        ASSERT_EQ(doubles[i], word * 0x1p-32 + 0.5);
        ASSERT_EQ(singles[i], static_cast<float>(word) * 0x1p-32f + 0.5f);
    }
    // Scale and middle are computed in double and rounded once: here a + b overflows in single.
    float far;
    ASSERT_EQ(vsRngUniform(0, Stream(sfmt, 4), 1, &far, 2e38f, 3e38f), RNG_OK);
    EXPECT_TRUE(far >= 2e38f && far <= 3e38f) << far;
}

TEST(Sfmt19937, OtherStatesAreRefused) {
    const auto isState = findGenerator(sfmt)->isState;
    const struct {
        std::int32_t index, tailPosition, tailCount;
        bool isOne;
    } cases[] = {
        {0, 0, 0, true},    {624, 3, 3, true},  {4, 1, 2, true},  {-4, 0, 0, false},
        {628, 0, 0, false}, {2, 0, 0, false},   {4, 0, 4, false}, {4, 2, 1, false},
        {4, -1, 2, false},  {4, -2, -1, false},
    };
    for (const auto& row : cases) {
        Stream stream(sfmt, 5);
        Sfmt19937State& state = stateOfStream(stream);
        state.index = row.index;
        state.tailPosition = row.tailPosition;
        state.tailCount = row.tailCount;
        EXPECT_EQ(isState(stream), row.isOne) << row.index << " " << row.tailPosition;
        std::memset(state.w, 0, sizeof state.w);
        EXPECT_FALSE(isState(stream));
    }
    // The blocks of both twisters have 624 words, but here only whole elements are used.
    Stream stream(sfmt), twister(GEN_MT19937);
    EXPECT_EQ(vslCopyStreamState(stream, twister), RNG_OK);
    drawWords(twister, 1);
    EXPECT_EQ(vslCopyStreamState(stream, twister), RNG_STREAMS_INCOMPATIBLE);
}

}  // namespace
}  // namespace korvan::testing

// R250 against its recurrence, and its two ways of seeding.
#include "generators/r250.h"

#include "known_words.h"
#include "streams/stream_record.h"

namespace korvan::testing {
namespace {

Words seedWords() {
    Words seed;
    for (std::uint32_t k = 0; k < 252; ++k) seed.push_back((k + 1) * 2654435761u);
    return seed;
}

const R250State& stateOfStream(StreamHandle stream) {
    return stateOf<R250State>(stream);
}

TEST(R250, WordsFollowTheRecurrenceFromTheSeedWords) {
    for (const std::size_t n : {1, 249, 250, 999, 1000, 1001, 20000}) {
        Words words = seedWords();
        words.resize(250);  // the others have no effect
        const Words drawn = drawWords(Stream(GEN_R250, seedWords()), n);
        words.insert(words.end(), drawn.begin(), drawn.end());
        for (std::size_t k = 250; k < words.size(); ++k) {
            ASSERT_EQ(words[k], words[k - 250] ^ words[k - 147]) << k << " of " << n;
        }
    }
}

TEST(R250, OneSeedWordMakesACongruentialSequenceAndATriangle) {
    Words many(249, 77);
    many[0] = 12345;
    const std::pair<Words, std::uint32_t> seeds[] = {
        {{}, 1}, {{0}, 1}, {{1, 5}, 1}, {many, 12345}, {{0xFFFFFFFF}, 0xFFFFFFFF}};
    for (const auto& [seed, first] : seeds) {
        const Stream stream(GEN_R250, seed);
        const R250State& state = stateOfStream(stream);
        std::uint32_t value = first;
        for (std::uint32_t k = 0; k < 250; ++k) {
            value *= 69069;
            const std::uint32_t bit = (k - 3) / 7;
            if (k < 3 || (k - 3) % 7 != 0 || bit > 31) {
                ASSERT_EQ(state.x[k], value) << k;
                continue;
            }
            // Bit 31 - bit is set, all above it clear, all below it kept.
            const std::uint32_t top = 0x80000000 >> bit;
            ASSERT_EQ(state.x[k] & ~(top - 1), top) << k;
            ASSERT_EQ(state.x[k] & (top - 1), value & (top - 1)) << k;
        }
        EXPECT_EQ(state.i, 0);
        EXPECT_EQ(state.j, 103);
    }
    EXPECT_EQ(drawWords(Stream(GEN_R250, Words(250, 0)), 700), Words(700, 0));  // not repaired
}

TEST(R250, ShortFillsTurnTheStoreAndLongOnesUnrollIt) {
    const struct {
        std::vector<int> fills;
        std::int32_t i;
    } cases[] = {{{1}, 1},       {{147}, 147}, {{249}, 249},   {{249, 1}, 0},    {{100, 200}, 50},
                 {{10, 249}, 9}, {{250}, 0},   {{10, 300}, 0}, {{249, 1001}, 0}, {{5, 5000}, 0}};
    Words words = seedWords();
    words.resize(250);
    const Words drawn = drawWords(Stream(GEN_R250, seedWords()), 6000);
    words.insert(words.end(), drawn.begin(), drawn.end());
    for (const auto& row : cases) {
        for (int kind = 0; kind < 3; ++kind) {
            Stream stream(GEN_R250, seedWords());
            std::size_t given = 0;
            for (const int n : row.fills) {
                drawAny(stream, n, kind);
                given += static_cast<std::size_t>(n);
            }
            const R250State& state = stateOfStream(stream);
            EXPECT_EQ(state.i, row.i);
            EXPECT_EQ(state.j, (row.i + 103) % 250);
            for (std::size_t k = 0; k < 250; ++k) {
                const std::size_t at = (static_cast<std::size_t>(row.i) + k) % 250;
                ASSERT_EQ(state.x[at], words[given + k]) << given << " place " << k;
            }
        }
    }
}

TEST(R250, OtherStatesAreRefused) {
    const auto isState = findGenerator(GEN_R250)->isState;
    Stream stream(GEN_R250, Words(250, 0));
    R250State& state = stateOf<R250State>(stream.handle);
    const std::pair<std::int32_t, std::int32_t> good[] = {
        {0, 103}, {146, 249}, {147, 0}, {249, 102}};
    const std::pair<std::int32_t, std::int32_t> bad[] = {
        {-1, 102}, {250, 103}, {0, 104}, {147, 250}};
    for (const auto& [i, j] : good) {
        state.i = i, state.j = j;
        EXPECT_TRUE(isState(stream)) << i;
    }
    for (const auto& [i, j] : bad) {
        state.i = i, state.j = j;
        EXPECT_FALSE(isState(stream)) << i;
    }
}

}  // namespace
}  // namespace korvan::testing

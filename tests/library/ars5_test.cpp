// ARS-5 against recomputed blocks, where its counter and its waiting words go, and processors
// without AES instructions.
#include "generators/ars5.h"

#include <cstring>

#include "described_hardware.h"
#include "frame/branch.h"
#include "support.h"

namespace korvan::testing {
namespace {

class Ars5 : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!hasAesGenerator()) GTEST_SKIP() << "this processor has no AES instructions";
    }
};

std::uint32_t hex(const std::string& cell) {
    return static_cast<std::uint32_t>(std::stoul(cell, nullptr, 16));
}

TEST_F(Ars5, BlocksEqualTheKnownOnes) {
    const auto rows = readTable("known_answers_ars5.csv");
    ASSERT_GT(rows.size(), 30u);
    for (const auto& row : rows) {
        Words seed, expected;
        for (std::size_t k = 1; k < 9; ++k) seed.push_back(hex(row[k]));
        for (std::size_t k = 9; k < 13; ++k) expected.push_back(hex(row[k]));
        EXPECT_EQ(drawWords(Stream(GEN_ARS5, seed), 4), expected) << row[0];
        // The block in mid-fill, reached by the counter's carry from 40 blocks before.
        Words earlier = seed;
        Wide counter = 0;
        std::memcpy(&counter, &seed[4], 16);
        counter -= 40;
        std::memcpy(&earlier[4], &counter, 16);
        const Words run = drawWords(Stream(GEN_ARS5, earlier), 200);
        EXPECT_EQ(Words(run.begin() + 160, run.begin() + 164), expected) << row[0];
    }
}

// Each form alone, whatever the copy in use takes: one block at a time is the oracle.
TEST_F(Ars5, FormsAgreeAroundGroupsAndCarries) {
    std::vector<Ars5Blocks*> forms = {ars5Blocks128};
    if (processorHasFeatures("avx2,vaes")) forms.push_back(ars5Blocks256);
    const std::uint64_t key[2] = {0x0123456789ABCDEF, ~std::uint64_t{0}};
    for (const std::uint64_t low : {std::uint64_t{0}, 0 - std::uint64_t{1}, 0 - std::uint64_t{2},
                                    0 - std::uint64_t{17}, 0 - std::uint64_t{33}}) {
        const BlockCounter first{low, ~std::uint64_t{0}};
        Words expected(4 * 70);
        for (std::uint64_t k = 0; k < 70; ++k)
            ars5Blocks128(key, first.plus(k), 1, &expected[4 * k]);
        for (Ars5Blocks* form : forms) {
            for (std::size_t count = 0; count <= 70; ++count) {
                Words blocks(4 * 70, 0xCACACACA);
                form(key, first, count, blocks.data());
                Words wanted(expected.begin(), expected.begin() + static_cast<long>(4 * count));
                wanted.resize(4 * 70, 0xCACACACA);
                ASSERT_EQ(blocks, wanted) << count << " blocks from " << low;
            }
        }
    }
}

// A whole block waits after a fill, or a skip, to a block's end.
TEST_F(Ars5, FillsAndSkipsRunOneBlockAhead) {
    for (const std::size_t n : {1, 2, 3, 4, 5, 7, 8, 63, 64, 65, 1000}) {
        Stream filled(GEN_ARS5), skipped(GEN_ARS5);
        drawWords(filled, n);
        ASSERT_EQ(vslSkipAheadStream(skipped, static_cast<std::int64_t>(n)), RNG_OK);
        Ars5State state;
        std::memcpy(&state, stateBytes(filled).data(), sizeof state);
        EXPECT_EQ(state.counter.low, n / 4 + 1) << n;
        EXPECT_EQ(state.leftover, 4 - n % 4) << n;
        Words block(4);
        ars5Blocks128(state.key, {n / 4, 0}, 1, block.data());
        EXPECT_EQ(Words(state.buffer, state.buffer + 4), block) << n;
        EXPECT_EQ(stateBytes(filled), stateBytes(skipped)) << n;
        // What waits is given and skipped without another block.
        ASSERT_EQ(vslSkipAheadStream(skipped, state.leftover), RNG_OK);
        drawWords(filled, state.leftover);
        std::memcpy(&state, stateBytes(filled).data(), sizeof state);
        EXPECT_EQ(state.counter.low, n / 4 + 1) << n;
        EXPECT_EQ(state.leftover, 0u) << n;
        EXPECT_EQ(stateBytes(filled), stateBytes(skipped)) << n;
    }
}

TEST_F(Ars5, MissingInstructionsAreToldByAllButSingles) {
    const Stream reference(GEN_ARS5, 5);
    const DescribedHardware bare(false, true);
    Stream stream(GEN_ARS5, 5);
    ASSERT_EQ(stream.status, RNG_OK);
    const auto before = stateBytes(stream);
    GeneratorProperties row;
    ASSERT_EQ(vslGetBrngProperties(GEN_ARS5, &row), RNG_OK);
    double x = 42;
    std::uint32_t word = 42;
    const std::uint32_t zero[2] = {0, 0};
    EXPECT_EQ(vdRngUniform(0, stream, 1, &x, 0, 1), RNG_NO_AES_SUPPORT);
    EXPECT_EQ(viRngUniformBits(0, stream, 1, &word), RNG_NO_AES_SUPPORT);
    EXPECT_EQ(viRngUniformBits32(0, stream, 1, &word), RNG_NO_AES_SUPPORT);
    EXPECT_EQ(vslSkipAheadStream(stream, 0), RNG_NO_AES_SUPPORT);
    EXPECT_EQ(row.initStream(OP_SKIPAHEAD_WORDS, stream, 1, zero), RNG_NO_AES_SUPPORT);
    EXPECT_EQ(vslLeapfrogStream(stream, 0, 2), RNG_NO_LEAPFROG);
    EXPECT_EQ(stateBytes(stream), before);
    EXPECT_TRUE(x == 42 && word == 42);
    float single = 42, expected = 0;  // this processor does have the instructions
    EXPECT_EQ(vsRngUniform(0, stream, 1, &single, 0, 1), RNG_OK);
    EXPECT_EQ(vsRngUniform(0, reference, 1, &expected, 0, 1), RNG_OK);
    EXPECT_EQ(single, expected);
}

}  // namespace
}  // namespace korvan::testing

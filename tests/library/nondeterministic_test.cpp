// The non-deterministic source on a random instruction that a test plays.
#include "generators/nondeterministic.h"

#include <algorithm>
#include <cstring>

#include "described_hardware.h"
#include "support.h"

namespace korvan::testing {
namespace {

// Attempts fail where the script says so, and succeed behind its end, with pairs 2:1, 4:3, ...
class ScriptedSource {
  public:
    explicit ScriptedSource(std::vector<bool> failures) {
        script = std::move(failures);
        attempts = pairs = words = 0;
        hardware.platform.readRandomPair = [](std::uint64_t* pair) {
            *pair = (2 * pairs + 2) << 32 | (2 * pairs + 1);
            return read(pair, pairs);
        };
        hardware.platform.readRandomWord = [](std::uint32_t* word) {
            *word = 0x77;
            return read(word, words);
        };
    }
    static inline std::size_t attempts;
    static inline std::uint64_t pairs, words;  // that succeeded

    void alwaysFails() { script.assign(1000, true); }

  private:
    template <class Word>
    static bool read(Word* word, std::uint64_t& count) {
        const bool fails = attempts < script.size() && script[attempts];
        ++attempts;
        if (fails) {
            *word = 0;
        } else {
            ++count;
        }
        return !fails;
    }
    DescribedHardware hardware{true, true};
    static inline std::vector<bool> script;
};

Stream streamWith(std::uint32_t retries) {
    return Stream(GEN_NONDETERMINISTIC, Words{99, retries});
}

TEST(Nondeterministic, SecondSeedWordLimitsTheRetries) {
    const std::pair<Words, std::uint32_t> seeds[] = {
        {{}, 10}, {{7}, 10}, {{7, 0}, 10}, {{0, 3}, 3}, {{1, 0x12345678, 5}, 0x12345678}};
    for (const auto& [seed, retries] : seeds) {
        NondeterministicState state;
        std::memcpy(&state, stateBytes(Stream(GEN_NONDETERMINISTIC, seed)).data(), sizeof state);
        EXPECT_EQ(state.source, 0u);
        EXPECT_EQ(state.retries, retries);
    }
}

TEST(Nondeterministic, WordsComeInPairsAndAnOddOneAlone) {
    const ScriptedSource source({});
    EXPECT_EQ(drawWords(streamWith(3), 1), (Words{0x77}));
    EXPECT_TRUE(source.pairs == 0 && source.words == 1);
    EXPECT_EQ(drawWords(streamWith(3), 5), (Words{1, 2, 3, 4, 0x77}));
    EXPECT_TRUE(source.pairs == 2 && source.words == 2);
    float singles[3];
    ASSERT_EQ(vsRngUniform(0, streamWith(3), 3, singles, 0, 0x1p32f), RNG_OK);
    EXPECT_EQ(singles[0], 5);
    EXPECT_EQ(singles[1], 6);
    EXPECT_EQ(singles[2], 0x77);
    double x;
    ASSERT_EQ(vdRngUniform(0, streamWith(3), 1, &x, 0, 0x1p64), RNG_OK);
    EXPECT_EQ(x, 8 * 0x1p32 + 7);
    EXPECT_EQ(source.attempts, 1u + 3 + 2 + 1);
}

// The first attempt, and `retries` more; the last of them is in vain.
TEST(Nondeterministic, GivesUpAfterExactlyTheToldAttempts) {
    std::uint32_t words[2];
    double x;
    float single;
    for (const std::uint32_t retries : {1u, 2u, 3u, 10u}) {
        for (std::uint32_t failing = 0; failing <= retries + 1; ++failing) {
            const std::vector<bool> failures(failing, true);
            const bool succeeds = failing < retries || failing == 0;
            const std::int32_t status = succeeds ? RNG_OK : RNG_HARDWARE_SOURCE_RETRIES;
            const std::size_t attempts = std::min(failing, retries) + 1;
            Stream stream = streamWith(retries);
            const auto expect = [&](std::int32_t got, const char* what) {
                EXPECT_EQ(got, status) << what << failing << " of " << retries;
                EXPECT_EQ(ScriptedSource::attempts, attempts) << what << failing;
            };
            ScriptedSource pair(failures);
            expect(viRngUniformBits(0, stream, 2, words), "pair ");
            ScriptedSource odd(failures);
            expect(viRngUniformBits(0, stream, 1, words), "odd word ");
            ScriptedSource oddSingle(failures);
            expect(vsRngUniform(0, stream, 1, &single, 0, 1), "single ");
            ScriptedSource real(failures);
            expect(vdRngUniform(0, stream, 1, &x, 0, 1), "double ");
        }
    }
}

TEST(Nondeterministic, WordsBeforeTheFailureStay) {
    ScriptedSource source({false, true, false, true, true, true});
    Words words(8, 0xCACACACA);
    EXPECT_EQ(viRngUniformBits(0, streamWith(2), 8, words.data()), RNG_HARDWARE_SOURCE_RETRIES);
    EXPECT_EQ(words, (Words{1, 2, 3, 4, 0xCACACACA, 0xCACACACA, 0xCACACACA, 0xCACACACA}));
    source.alwaysFails();
    std::vector<double> reals(3, 42.0);
    EXPECT_EQ(vdRngUniform(0, streamWith(1), 3, reals.data(), 0, 1), RNG_HARDWARE_SOURCE_RETRIES);
    EXPECT_EQ(reals, std::vector<double>(3, 42.0));
}

TEST(Nondeterministic, WordsMapToTheWholeInterval) {
    static std::uint64_t pair;
    DescribedHardware hardware(true, true);
    hardware.platform.readRandomPair = [](std::uint64_t* words) {
        *words = pair;
        return true;
    };
    const auto doubleOf = [](std::uint64_t words, double a, double b) {
        pair = words;
        double x = 42;
        EXPECT_EQ(vdRngUniform(0, streamWith(3), 1, &x, a, b), RNG_OK);
        return x;
    };
    EXPECT_EQ(doubleOf(0, -2, 5), -2);
    EXPECT_EQ(doubleOf(std::uint64_t{1} << 63, -2, 6), 2);
    EXPECT_EQ(doubleOf(~std::uint64_t{0}, -2, 5), 5);
    EXPECT_EQ(doubleOf((std::uint64_t{1} << 63) - 1, 0, 0x1p64), 0x1p63);
    // Rounded to a multiple of 1024 as a signed number first, to one of 2048 then.
    EXPECT_EQ(doubleOf((std::uint64_t{1} << 63) + 2772, 0, 0x1p64), 0x1p63 + 4096);
    pair = 0xFFFFFFFF00000000;
    float singles[2];
    ASSERT_EQ(vsRngUniform(0, streamWith(3), 2, singles, -2, 5), RNG_OK);
    EXPECT_EQ(singles[0], -2);
    EXPECT_EQ(singles[1], 5);
    pair = 0x80000081;
    ASSERT_EQ(vsRngUniform(0, streamWith(3), 2, singles, 0, 0x1p32f), RNG_OK);
    EXPECT_EQ(singles[0], 0x1p31f + 256);  // the word rounded to a single, upwards
    // The interval's length isn't exact, and rounded in the precision of the reals.
    std::uint64_t word = 1;
    for (int round = 0; round < 1000; ++round) {
        word = word * 0x5851F42D4C957F2D + 1;
        const auto number =
            static_cast<double>(static_cast<std::int64_t>(word)) + (word >> 63 ? 0x1p64 : 0.0);
        ASSERT_EQ(doubleOf(word, -3.3, 1e3), multiplyAdd(number, (1e3 - -3.3) * 0x1p-64, -3.3));
        const auto low = static_cast<float>(static_cast<std::uint32_t>(word));
        ASSERT_EQ(vsRngUniform(0, streamWith(3), 2, singles, -3.3f, 1e3f), RNG_OK);
        ASSERT_EQ(singles[0], multiplyAdd(low, (1e3f - -3.3f) * 0x1p-32f, -3.3f));
    }
}

TEST(Nondeterministic, MissingInstructionIsToldAndJumpsAreRefused) {
    const DescribedHardware bare(true, false);
    Stream stream(GEN_NONDETERMINISTIC);
    ASSERT_EQ(stream.status, RNG_OK);
    GeneratorProperties row;
    ASSERT_EQ(vslGetBrngProperties(GEN_NONDETERMINISTIC, &row), RNG_OK);
    std::uint32_t words[2] = {42, 42};
    float single = 42;
    double x = 42;
    EXPECT_EQ(viRngUniformBits32(0, stream, 2, words), RNG_NO_HARDWARE_SOURCE);
    EXPECT_EQ(vsRngUniform(0, stream, 1, &single, 0, 1), RNG_NO_HARDWARE_SOURCE);
    EXPECT_EQ(vdRngUniform(0, stream, 1, &x, 0, 1), RNG_NO_HARDWARE_SOURCE);
    EXPECT_EQ(row.fillDouble(stream, 0, &x, 0, 1), RNG_NO_HARDWARE_SOURCE);
    EXPECT_TRUE(words[0] == 42 && single == 42 && x == 42);
    EXPECT_EQ(vslLeapfrogStream(stream, 0, 2), RNG_NO_LEAPFROG);
    EXPECT_EQ(vslSkipAheadStream(stream, 1), RNG_NO_SKIP_AHEAD);
    EXPECT_EQ(row.initStream(OP_SKIPAHEAD_WORDS, stream, 1, words), RNG_NO_SKIP_AHEAD_EX);
}

}  // namespace
}  // namespace korvan::testing

// The generator table and the life of a stream, down to the record's bytes.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "frame/memory.h"
#include "streams/stream.h"
#include "streams/stream_record.h"
#include "support.h"

namespace korvan::testing {
namespace {

GeneratorProperties rowOf(GeneratorId id) {
    GeneratorProperties row{};
    EXPECT_EQ(vslGetBrngProperties(id, &row), RNG_OK) << std::hex << id;
    return row;
}

TEST(GeneratorTable, HoldsTheSixteenRows) {
    struct Row {
        GeneratorId id;
        std::int32_t stateSize, seedWords, includesZero, wordBytes, resolutionBits, members;
    };
    const Row rows[] = {{GEN_MCG31, 24, 1, 0, 4, 31, 1},
                        {GEN_R250, 1024, 252, 1, 4, 32, 1},
                        {GEN_MRG32K3A, 40, 6, 1, 4, 32, 1},
                        {GEN_MCG59, 32, 1, 0, 8, 59, 1},
                        {GEN_WH, 48, 4, 1, 16, 24, 273},
                        {GEN_SOBOL, 11712, 2604, 0, 4, 32, 1},
                        {GEN_NIEDERREITER, 84288, 10498, 0, 4, 32, 1},
                        {GEN_MT19937, 2520, 625, 1, 4, 32, 1},
                        {GEN_MT2203, 312, 70, 1, 4, 32, 6024},
                        {GEN_ABSTRACT_INTEGER, 40, 0, 1, 4, 32, 1},
                        {GEN_ABSTRACT_DOUBLE, 56, 0, 1, 4, 32, 1},
                        {GEN_ABSTRACT_SINGLE, 48, 0, 1, 4, 32, 1},
                        {GEN_SFMT19937, 2536, 625, 1, 4, 32, 1},
                        {GEN_NONDETERMINISTIC, 24, 1, 0, 4, 32, 1},
                        {GEN_ARS5, 72, 8, 1, 4, 32, 1},
                        {GEN_PHILOX4X32X10, 64, 8, 1, 4, 32, 1}};
    for (std::int32_t k = 0; k < 16; ++k) {
        const Row& row = rows[k];
        EXPECT_EQ(row.id, (k + 1) << 20);
        const GeneratorProperties p = rowOf(row.id);
        EXPECT_EQ(p.stateSize, row.stateSize) << k;
        EXPECT_EQ(p.seedWords, row.seedWords) << k;
        EXPECT_EQ(p.includesZero, row.includesZero) << k;
        EXPECT_EQ(p.wordBytes, row.wordBytes) << k;
        EXPECT_EQ(p.resolutionBits, row.resolutionBits) << k;
        EXPECT_EQ(rowOf(row.id + row.members - 1).stateSize, row.stateSize) << k;
        GeneratorProperties beyond;
        EXPECT_EQ(vslGetBrngProperties(row.id + row.members, &beyond), RNG_BAD_GENERATOR) << k;
        // A row whose generator isn't there yet is refused, and nothing is written.
        if (!p.initStream) {
            StreamHandle untouched = nullptr;
            EXPECT_EQ(vslNewStream(&untouched, row.id, 1), RNG_BAD_GENERATOR) << k;
        }
    }
}

TEST(GeneratorTable, FlatNumbersNameTheSameRows) {
    const auto sameAs = [](GeneratorId flat, GeneratorId id) {
        const GeneratorProperties x = rowOf(flat), y = rowOf(id);
        return std::memcmp(&x, &y, sizeof x) == 0;
    };
    EXPECT_TRUE(sameAs(0, GEN_MCG31));
    EXPECT_TRUE(sameAs(1, GEN_R250));
    EXPECT_TRUE(sameAs(2, GEN_MRG32K3A));
    EXPECT_TRUE(sameAs(3, GEN_MCG59));
    EXPECT_TRUE(sameAs(4, GEN_WH));
    EXPECT_TRUE(sameAs(276, GEN_WH + 272));
    EXPECT_TRUE(sameAs(277, GEN_SOBOL));
    EXPECT_TRUE(sameAs(278, GEN_NIEDERREITER));
    EXPECT_EQ(memberOf(4), 0);
    EXPECT_EQ(memberOf(276), 272);
    EXPECT_EQ(memberOf(277), 0);
    EXPECT_EQ(memberOf(GEN_MT2203 + 6023), 6023);
    const GeneratorProperties zeros{};
    for (const GeneratorId id : {279, 280}) {
        const GeneratorProperties p = rowOf(id);
        EXPECT_EQ(std::memcmp(&p, &zeros, sizeof p), 0);
    }
    GeneratorProperties p;
    for (const GeneratorId id : {281, 0xFFFFF, -1, INT32_MIN}) {
        EXPECT_EQ(vslGetBrngProperties(id, &p), RNG_BAD_GENERATOR) << id;
    }
    // A stream keeps the number that it was made with.
    Stream flat(0, 5);
    EXPECT_EQ(vslGetStreamStateBrng(flat), 0);
    EXPECT_EQ(vslGetStreamStateBrng(Stream(flat)), 0);
    EXPECT_EQ(drawWords(flat, 20), drawWords(Stream(GEN_MCG31, 5), 20));
}

// A generator of the caller's: counts up from its seed; keeps its count behind the header.
struct Counting {
    static std::uint32_t& count(StreamHandle stream) {
        return *reinterpret_cast<std::uint32_t*>(reinterpret_cast<char*>(stream) +
                                                 STREAM_HEADER_BYTES);
    }
    static std::int32_t init(std::int32_t op, StreamHandle stream, std::int32_t n,
                             const std::uint32_t* params) {
        if (op != OP_SEED) return RNG_NO_LEAPFROG;
        if (n < 1) return -77;
        count(stream) = params[0];
        return RNG_OK;
    }
    template <class T>
    static std::int32_t fill(StreamHandle stream, std::int32_t n, T* r, T a, T b) {
        for (std::int32_t i = 0; i < n; ++i) {
            r[i] = a + (b - a) * static_cast<T>(count(stream)++ % 8) / 8;
        }
        return 5;  // a positive status comes back to the caller
    }
    static std::int32_t bits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
        for (std::int32_t i = 0; i < n; ++i) r[i] = count(stream)++;
        return 5;
    }
    static std::int32_t failing(StreamHandle, std::int32_t, double*, double, double) {
        return -4321;
    }
};
std::int32_t largestFill = 0;
const GeneratorProperties counting = {
    20, 1, 1, 4, 32, Counting::init, Counting::fill<float>, Counting::fill<double>, Counting::bits};

TEST(GeneratorTable, Registration) {
    const std::int32_t before = vslGetNumRegBrngs();  // other tests' last as long as the process
    struct Refused {
        std::function<void(GeneratorProperties&)> spoil;
        std::int32_t status;
    };
    const Refused refused[] = {{[](auto& p) {
                                    p.stateSize = -1;
                                    p.wordBytes = 5;
                                },
                                RNG_BAD_STATE_SIZE},
                               {[](auto& p) {
                                    p.wordBytes = 5;
                                    p.seedWords = 0;
                                },
                                RNG_BAD_WORD_SIZE},
                               {[](auto& p) {
                                    p.seedWords = 0;
                                    p.resolutionBits = 0;
                                },
                                RNG_BAD_SEED_COUNT},
                               {[](auto& p) {
                                    p.resolutionBits = 0;
                                    p.fillBits = nullptr;
                                },
                                RNG_BAD_BIT_COUNT},
                               {[](auto& p) { p.fillBits = nullptr; }, RNG_NULL_POINTER},
                               {[](auto& p) { p.fillDouble = nullptr; }, RNG_NULL_POINTER},
                               {[](auto& p) { p.fillSingle = nullptr; }, RNG_NULL_POINTER},
                               {[](auto& p) { p.initStream = nullptr; }, RNG_NULL_POINTER}};
    for (const Refused& row : refused) {
        GeneratorProperties p = counting;
        row.spoil(p);
        EXPECT_EQ(vslRegisterBrng(&p), row.status);
    }
    EXPECT_EQ(vslGetNumRegBrngs(), before);
    const GeneratorId id = vslRegisterBrng(&counting);
    EXPECT_EQ(id, (before + 1) << 20);
    EXPECT_EQ(vslGetNumRegBrngs(), before + 1);

    Stream stream(id, 6);
    double doubles[4];
    std::int32_t ints[3];
    std::uint32_t words[3] = {9, 9, 9};
    EXPECT_EQ(vdRngUniform(0, stream, 4, doubles, 0, 8), 5);
    EXPECT_EQ(std::vector<double>(doubles, doubles + 4), (std::vector<double>{6, 7, 0, 1}));
    EXPECT_EQ(viRngUniform(0, stream, 3, ints, -8, 8), 5);
    EXPECT_EQ(std::vector<std::int32_t>(ints, ints + 3), (std::vector<std::int32_t>{-4, -2, 0}));
    EXPECT_EQ(viRngUniformBits(0, stream, 3, words), 5);
    EXPECT_EQ(Words(words, words + 3), (Words{13, 14, 15}));
    EXPECT_EQ(viRngUniformBits32(0, stream, 3, words), RNG_NO_BIT_WORDS);
    EXPECT_EQ(Words(words, words + 3), (Words{13, 14, 15}));
    EXPECT_EQ(vslLeapfrogStream(stream, 0, 2), RNG_NO_LEAPFROG);

    // Values that leave the interval: only the accurate method clamps them, and integers are cut.
    GeneratorProperties wild = counting;
    wild.fillDouble = [](StreamHandle, std::int32_t n, double* r, double a, double b) {
        for (std::int32_t i = 0; i < n; ++i) r[i] = i % 2 ? b : a - 1;
        largestFill = std::max(largestFill, n);
        return std::int32_t{RNG_OK};
    };
    const GeneratorId wildId = vslRegisterBrng(&wild);
    Stream wildStream(wildId);
    EXPECT_EQ(vdRngUniform(0, wildStream, 2, doubles, 0, 1), RNG_OK);
    EXPECT_EQ(std::vector<double>(doubles, doubles + 2), (std::vector<double>{-1, 1}));
    EXPECT_EQ(vdRngUniform(METHOD_UNIFORM_ACCURATE, wildStream, 2, doubles, 0, 1), RNG_OK);
    EXPECT_EQ(std::vector<double>(doubles, doubles + 2), (std::vector<double>{0, 1}));
    EXPECT_EQ(viRngUniform(0, wildStream, 2, ints, 5, 9), RNG_OK);
    EXPECT_EQ(ints[1], 8);
    // Its fills are never split, however large: it may fail, or count its calls.
    std::vector<double> large((std::size_t{65} << 20) / sizeof(double));
    const auto all = static_cast<std::int32_t>(large.size());
    EXPECT_EQ(vdRngUniform(0, wildStream, all, large.data(), 0, 1), RNG_OK);
    EXPECT_EQ(largestFill, all);

    // A failed seeding leaves a live record behind *stream.
    StreamHandle failed = nullptr;
    EXPECT_EQ(vslNewStreamEx(&failed, id, 0, nullptr), -77);
    ASSERT_NE(failed, nullptr);
    EXPECT_EQ(vslDeleteStream(&failed), RNG_OK);
    EXPECT_EQ(failed, nullptr);

    // A record is never smaller than its header, whatever the row says; a fill's failure ends
    // the call, and no clamp runs.
    GeneratorProperties tiny = counting;
    tiny.stateSize = 0;
    tiny.initStream = [](std::int32_t, StreamHandle, std::int32_t, const std::uint32_t*) {
        return std::int32_t{RNG_OK};
    };
    tiny.fillDouble = Counting::failing;
    const GeneratorId tinyId = vslRegisterBrng(&tiny);
    EXPECT_EQ(tinyId, (before + 3) << 20);
    Stream headerOnly(tinyId), twin(headerOnly);
    EXPECT_EQ(vslGetStreamStateBrng(twin), tinyId);
    EXPECT_EQ(vslCopyStreamState(twin, headerOnly), RNG_OK);
    doubles[0] = 42;
    EXPECT_EQ(vdRngUniform(METHOD_ACCURATE_FLAG, headerOnly, 1, doubles, 0, 1), -4321);
    EXPECT_EQ(doubles[0], 42);
    EXPECT_EQ(viRngUniform(0, headerOnly, 3, ints, 0, 9), -4321);
}

// Also while a kernel holds what hangs on the stream: a pair of normal variates, a Poisson record.
TEST(GeneratorTable, FillsCanOnlyLookAtTheirStream) {
    static int fills = 0;
    GeneratorProperties row = counting;
    row.fillDouble = [](StreamHandle stream, std::int32_t n, double* r, double a, double b) {
        expectBusy(stream);
        ++fills;
        return Counting::fill<double>(stream, n, r, a, b);
    };
    row.fillSingle = [](StreamHandle stream, std::int32_t, float*, float, float) {
        expectBusy(stream);
        return -4321;
    };
    row.fillBits = [](StreamHandle stream, std::int32_t n, std::uint32_t* r) {
        if (Counting::count(stream) > 6) expectBusy(stream);
        return Counting::bits(stream, n, r);
    };
    // Seeding owns its stream: here it throws the first word away.
    row.initStream = [](std::int32_t op, StreamHandle stream, std::int32_t n,
                        const std::uint32_t* params) {
        const std::int32_t status = Counting::init(op, stream, n, params);
        std::uint32_t word;
        return status < 0 ? status : viRngUniformBits(0, stream, 1, &word);
    };
    const Stream stream(vslRegisterBrng(&row), 6);
    double r[3];
    float f;
    std::int32_t k[3];
    EXPECT_EQ(drawWords(stream, 2), (Words{7, 8}));
    EXPECT_EQ(vdRngGaussian(1, stream, 3, r, 0, 1), 5);
    EXPECT_EQ(viRngPoisson(0, stream, 3, k, 5), 5);
    EXPECT_EQ(vsRngUniform(0, stream, 1, &f, 0, 1), -4321);
    EXPECT_GE(fills, 3);
    EXPECT_EQ(Stream(stream).status, RNG_OK);  // live again, after a failure too
}

// In a process of its own, since rows are never given back; a new one rather than a fork, which
// other tests' threads don't survive.
TEST(GeneratorTable, Takes512Rows) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto fillTable = [] {
        while (vslGetNumRegBrngs() < generatorTableRows) {
            if (vslRegisterBrng(&counting) <= 0) return 1;
        }
        if (vslRegisterBrng(&counting) != RNG_NO_MEMORY) return 2;
        if (vslGetNumRegBrngs() != generatorTableRows) return 3;
        const GeneratorId last = generatorTableRows << 20;
        return drawWords(Stream(last, 3), 2) == Words{3, 4} ? 0 : 4;
    };
    EXPECT_EXIT(std::exit(fillTable()), ::testing::ExitedWithCode(0), "");
}

TEST(StreamRecord, HeaderHasItsFields) {
    Stream stream(GEN_PHILOX4X32X10, 5);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(stream.handle) % recordAlignment, 0u);
    const auto* bytes = reinterpret_cast<const unsigned char*>(stream.handle);
    const unsigned char header[] = {0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(bytes, header, sizeof header), 0);
}

// The tabled count, 64 bytes, is twice the state: both records' ends hold.
TEST(CopyStreamState, NeverLeavesTheRecords) {
    Stream from(GEN_WH + 5, 8), to(GEN_WH + 5, 9), small(GEN_MCG31, 4), large(GEN_PHILOX4X32X10);
    drawWords(from, 3);
    EXPECT_EQ(vslCopyStreamState(to, from), RNG_OK);
    EXPECT_EQ(drawWords(to, 9), drawWords(from, 9));
    vslCopyStreamState(small, from);
    vslCopyStreamState(large, from);
    EXPECT_EQ(vslGetStreamStateBrng(small), GEN_MCG31);
}

// Who has a built-in's initStream has its states, and others nobody can examine.
TEST(CopyStreamState, RegisteredRowsTakeWhatCanBeExamined) {
    GeneratorProperties row = rowOf(GEN_R250);
    const GeneratorId twin = vslRegisterBrng(&row);
    row.stateSize = 1023;
    EXPECT_EQ(findGenerator(vslRegisterBrng(&row))->isState, nullptr);
    const GeneratorId own = vslRegisterBrng(&counting), other = vslRegisterBrng(&counting);
    const Stream r250(GEN_R250, 5), mt19937(GEN_MT19937), to(twin), mine(own, 7);
    EXPECT_EQ(vslCopyStreamState(to, mt19937), RNG_STREAMS_INCOMPATIBLE);
    EXPECT_EQ(drawWords(to, 3), drawWords(Stream(GEN_R250), 3));
    ASSERT_EQ(vslCopyStreamState(to, r250), RNG_OK);
    EXPECT_EQ(drawWords(to, 600), drawWords(r250, 600));
    auto image = imageOf(to);
    image[24 + 4 * 251] = '\x7F';  // an index
    EXPECT_EQ(LoadedStream(image).status, RNG_BAD_MEMORY_FORMAT);
    for (const GeneratorId id : {GeneratorId{GEN_MCG31}, GeneratorId{GEN_R250}, other}) {
        EXPECT_EQ(vslCopyStreamState(mine, Stream(id)), RNG_STREAMS_INCOMPATIBLE);
    }
    ASSERT_EQ(vslCopyStreamState(mine, Stream(own, 70)), RNG_OK);
    EXPECT_EQ(drawWords(mine, 2), (Words{70, 71}));
}

TEST(CopyStreamState, CopiesTheTabledBytesAndNoImpossibleState) {
    // seedWords * wordBytes is less than the state: the multiplier of a leapfrogged stream stays.
    Stream leap(GEN_MCG31, 5), plain(GEN_MCG31, 6);
    ASSERT_EQ(vslLeapfrogStream(leap, 2, 3), RNG_OK);
    ASSERT_EQ(vslCopyStreamState(plain, leap), RNG_OK);
    const Words third = drawWords(Stream(GEN_MCG31, 5), 4);
    EXPECT_EQ(drawWords(plain, 2), (Words{third[2], third[3]}));
    EXPECT_EQ(vslCopyStreamState(leap, leap), RNG_OK);

    // Between generators: refused, silently and without a trace, if it makes no state.
    Stream philox(GEN_PHILOX4X32X10, Words{0x7FFFFFFF, 1}), mcg(GEN_MCG31, 9);
    const auto before = stateBytes(mcg);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(vslCopyStreamState(mcg, philox), RNG_STREAMS_INCOMPATIBLE);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(stateBytes(mcg), before);
    EXPECT_EQ(vslGetStreamStateBrng(mcg), GEN_MCG31);
    // ... and taken if it does: x is then the key, as it stands,.
    Stream small(GEN_PHILOX4X32X10, Words{12, 1132489760});
    EXPECT_EQ(vslCopyStreamState(mcg, small), RNG_OK);
    EXPECT_EQ(drawWords(mcg, 3), drawWords(Stream(GEN_MCG31, 12), 3));
}

}  // namespace
}  // namespace korvan::testing

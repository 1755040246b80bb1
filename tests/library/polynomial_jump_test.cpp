// Jumps of the GF(2)-linear generators: the polynomials behind them, their two forms, and what they
// do without memory.
#include "generators/polynomial_jump.h"

#include <cstdlib>
#include <cstring>
#include <random>

#include "frame/branch.h"
#include "frame/memory_service.h"
#include "generators/mt19937.h"
#include "generators/sfmt19937.h"
#include "streams/stream_record.h"
#include "support.h"

namespace korvan::testing {
namespace {

struct Jumping {
    GeneratorId id;
    const JumpingGenerator& generator;
    std::size_t wordsOfStep;
};
const Jumping both[] = {{GEN_MT19937, mt19937Jumping, 1}, {GEN_SFMT19937, sfmt19937Jumping, 4}};

std::vector<unsigned char> contents(const Stream& stream) {
    return stateBytes(stream);
}

// Tempering is linear, so the words given obey the recurrence as well.  A wrong exponent, or one
// too many, fails here: no polynomial of this degree but the characteristic one annihilates a
// random state.
TEST(PolynomialJump, CharacteristicPolynomialsAnnihilateTheWords) {
    for (const Jumping& jumping : both) {
        const Gf2Polynomial& p = jumping.generator.characteristic;
        ASSERT_EQ(p.degree(), jumping.id == GEN_MT19937 ? 19937 : 19968);
        const std::size_t steps = 700;
        const auto degree = static_cast<std::size_t>(p.degree());
        const Words words =
            drawWords(Stream(jumping.id, 20), (degree + steps) * jumping.wordsOfStep);
        for (std::size_t k = 0; k < steps * jumping.wordsOfStep; ++k) {
            std::uint32_t sum = 0;
            for (std::int32_t term = 0; term < p.terms; ++term) {
                sum ^= words[k + p.exponents[term] * jumping.wordsOfStep];
            }
            ASSERT_EQ(sum, 0u) << jumping.id << " at " << k;
        }
    }
}

TEST(PolynomialJump, AllProductsGiveTheSamePowers) {
    std::mt19937_64 random(5);
    for (const Jumping& jumping : both) {
        const Gf2Polynomial& p = jumping.generator.characteristic;
        const std::size_t words = 2 * gf2Words(p.degree());
        std::vector<std::uint64_t> scratch(gf2ScratchBytes(p) / 8);
        const auto power = [&](std::uint64_t n, Gf2Product product) {
            std::vector<std::uint64_t> result(words);
            gf2PowerOfT(n, p, product, result.data(), scratch.data());
            return result;
        };
        const auto degree = static_cast<std::uint64_t>(p.degree());
        for (const std::uint64_t n : {std::uint64_t{0}, std::uint64_t{1}, degree - 1, degree,
                                      degree + 1, 2 * degree, random() >> 40, ~std::uint64_t{0}}) {
            const auto expected = power(n, Gf2Product::byTerms);
            EXPECT_EQ(power(n, Gf2Product::byTable), expected) << n;
            if (processorHasFeature("pclmul")) {
                EXPECT_EQ(power(n, Gf2Product::byProcessor), expected) << n;
            }
            EXPECT_LT(gf2Degree(expected.data(), words), p.degree()) << n;
        }
        // t^degree is the polynomial without its leading term.
        const auto rest = power(degree, Gf2Product::byTable);
        std::int32_t terms = 0;
        for (std::int32_t e = 0; e < p.degree(); ++e) terms += gf2HasTerm(rest.data(), e) ? 1 : 0;
        EXPECT_EQ(terms, p.terms - 1);
    }
}

// Two evaluations of one polynomial, in other orders: equal in all bits, also those of MT19937's
// oldest word that are no part of its state.
TEST(PolynomialJump, BothFormsLeaveTheSameState) {
    std::mt19937_64 random(6);
    for (const Jumping& jumping : both) {
        for (const std::uint64_t n : {std::uint64_t{20000}, random() >> 30, ~std::uint64_t{0}}) {
            Stream withTable(jumping.id, 3), plain(jumping.id, 3);
            drawWords(withTable, 5), drawWords(plain, 5);
            ASSERT_EQ(jumpWithTable(jumping.generator, withTable.handle + 1, n), RNG_OK);
            ASSERT_EQ(jumpPlainly(jumping.generator, plain.handle + 1, n), RNG_OK);
            EXPECT_EQ(contents(withTable), contents(plain)) << jumping.id << " by " << n;
        }
    }
}

// A heap that fails from the failAfter-th call on.
int taken, given, failAfter;
void* failingMalloc(std::size_t size) {
    if (taken >= failAfter) return nullptr;
    ++taken;
    return std::malloc(size);
}
void countingFree(void* block) {
    ++given;
    std::free(block);
}

TEST(PolynomialJump, WithoutMemoryTheStateStandsAtItsEnd) {
    struct Case {
        GeneratorId id;
        std::int64_t skip;
        int buffers;
    };
    for (const Case row : {Case{GEN_MT19937, 0x200000, 4}, Case{GEN_SFMT19937, 1 << 20, 4},
                           Case{GEN_SFMT19937, 10000, 2}}) {
        Stream fresh(row.id, 9);
        drawWords(fresh, 5);
        Stream atEnd(fresh);  // of its block: no word of it and none waiting is left
        drawWords(atEnd, 619);
        if (row.id == GEN_SFMT19937) stateOf<Sfmt19937State>(atEnd.handle).tailPosition = 0;
        Stream skipped(fresh);
        ASSERT_EQ(vslSkipAheadStream(skipped, row.skip), RNG_OK);

        int failures = 0;
        for (failAfter = 0; failAfter < 20; ++failAfter) {
            Stream stream(fresh);
            memoryService().releaseThreadCache();
            taken = given = 0;
            memoryService().heap().setHooks(
                {failingMalloc, std::calloc, std::realloc, countingFree});
            const std::int32_t status = vslSkipAheadStream(stream, row.skip);
            memoryService().releaseThreadCache();
            memoryService().heap().setHooks(systemHeap);
            EXPECT_EQ(taken, given) << failAfter;
            if (status == RNG_OK) {
                EXPECT_EQ(contents(stream), contents(skipped));
                break;
            }
            ++failures;
            EXPECT_EQ(status, RNG_NO_MEMORY);
            auto expected = contents(atEnd);
            if (row.id == GEN_SFMT19937) {  // the tail is emptied, its old words stand there still
                auto& state = stateOf<Sfmt19937State>(stream.handle);
                EXPECT_EQ(state.tailPosition, 0);
                EXPECT_EQ(state.tailCount, 0);
                std::memcpy(expected.data() + 2500, state.tail, sizeof state.tail);
                std::memset(expected.data() + 2512, 0, 8);
            }
            EXPECT_EQ(contents(stream), expected);
        }
        EXPECT_GE(failures, row.buffers);
        EXPECT_LT(failures, 20);
    }
}

}  // namespace
}  // namespace korvan::testing

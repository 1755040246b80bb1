#include "tools/mt2203/mt2203_selftest.h"

#include <algorithm>
#include <bitset>
#include <random>
#include <string>
#include <vector>

#include "tools/mt2203/mt2203_gf2.h"
#include "tools/mt2203/mt2203_masks.h"
#include "tools/mt2203/mt2203_sieve.h"
#include "tools/mt2203/mt2203_table.h"

namespace korvan::mt2203 {
namespace {

// The generator as its definition reads, one word after the other.
class PlainGenerator {
  public:
    using State = std::array<std::uint32_t, wordCount>;  // oldest word first

    PlainGenerator(const Mt2203Member& member, const State& state)
        : member_(member), state_(state) {}

    std::uint32_t raw() {
        const std::uint32_t y = (state_[0] & 0xFFFFFFE0) | (state_[1] & 0x1F);
        const std::uint32_t word =
            state_[middleWord] ^ (y >> 1) ^ ((y & 1) != 0 ? member_.matrixA : 0);
        std::rotate(state_.begin(), state_.begin() + 1, state_.end());
        return state_.back() = word;
    }
    std::uint32_t tempered() {
        std::uint32_t y = raw();
        y ^= y >> 12;
        y ^= (y << 7) & member_.maskB;
        y ^= (y << 15) & member_.maskC;
        return y ^ (y >> 18);
    }

  private:
    Mt2203Member member_;
    State state_;
};

using Bits = std::bitset<2 * 64 * storedWords>;

Bits bitsOf(const Poly& x) {
    Bits bits;
    for (int i = 0; i < 64 * polyWords; ++i) bits[static_cast<std::size_t>(i)] = x.bit(i);
    return bits;
}

Bits product(const Poly& x, const Poly& y) {
    const Bits factor = bitsOf(x);
    Bits sum;
    for (int i = 0; i < 64 * polyWords; ++i) {
        if (y.bit(i)) sum ^= factor << static_cast<std::size_t>(i);
    }
    return sum;
}

Bits bitsOf(const Poly& low, const Poly& high) {
    return bitsOf(low) ^ bitsOf(high) << (64 * polyWords);
}

Poly randomPoly(std::mt19937_64& random) {
    Poly x;
    for (std::size_t i = 0; i < polyWords; ++i) x.word[i] = random();
    return x;
}

Poly monomial(int i) {
    Poly x;
    x.flip(i);
    return x;
}

// Every set of products against products bit by bit.
void testProducts(Report& report) {
    std::mt19937_64 random(1);
    for (int set = 0; set < productsCount(); ++set) {
        const Products& kernels = productsAt(set);
        for (int round = 0; round < 20; ++round) {
            const Poly x = randomPoly(random), y = randomPoly(random);
            Poly low, high, combined;
            kernels.low(low, x, Operand(y));
            kernels.high(high, x, Operand(y));
            report.expect(bitsOf(low, high) == product(x, y),
                          std::string("product, ") + kernels.name);
            kernels.square(low, high, x);
            report.expect(bitsOf(low, high) == product(x, x),
                          std::string("square, ") + kernels.name);
            Poly u, v;
            u.word[0] = random();
            v.word[0] = random();
            kernels.combine(combined, u.word[0], x, v.word[0], y);
            report.expect(bitsOf(combined) == (product(x, u) ^ product(y, v)) >> 63,
                          std::string("combination, ") + kernels.name);
        }
    }
}

// The shortest linear recurrence of a sequence of bits, by Berlekamp and Massey, as its
// characteristic polynomial.
Poly shortestRecurrence(const std::vector<bool>& sequence, int& length) {
    std::bitset<2 * degree + 2> connection, before, window;
    connection[0] = before[0] = true;
    length = 0;
    std::size_t gap = 1;
    for (std::size_t n = 0; n < sequence.size(); ++n) {
        window <<= 1;  // bit i is the element i places back
        window[0] = sequence[n];
        if ((connection & window).count() % 2 == 0) {
            ++gap;
            continue;
        }
        const auto old = connection;
        connection ^= before << gap;
        ++gap;
        if (2 * length <= static_cast<int>(n)) {
            length = static_cast<int>(n) + 1 - length;
            before = old;
            gap = 1;
        }
    }
    Poly characteristic;
    for (int i = 0; i <= std::min(length, degree); ++i) {
        if (connection[static_cast<std::size_t>(i)]) characteristic.flip(length - i);
    }
    return characteristic;
}

// From the second word on, for the low bits of the oldest word are no part of the state.
void testCharacteristicPolynomial(Report& report) {
    std::mt19937 random(2);
    for (const FixedMember& fixed : fixedMembers) {
        PlainGenerator::State state;
        for (std::uint32_t& word : state) word = static_cast<std::uint32_t>(random());
        PlainGenerator generator(fixed.row, state);
        std::vector<bool> sequence;
        for (int i = 0; i < 2 * degree; ++i) sequence.push_back((generator.raw() >> 31) != 0);
        int length = 0;
        const Poly found = shortestRecurrence(sequence, length);
        report.expect(length == degree && found == characteristicPolynomial(fixed.row.matrixA),
                      "characteristic polynomial of member " + std::to_string(fixed.number) +
                          " against its sequence");
    }
}

void testFixedMembers(Report& report) {
    constexpr std::array<int, 32> dimensionsOfMember0 = {
        2203, 1101, 705, 550, 414, 345, 278, 274, 209, 207, 146, 139, 138, 138, 138, 137,
        71,   69,   69,  69,  69,  69,  69,  69,  69,  69,  69,  69,  69,  68,  68,  68};
    for (const FixedMember& fixed : fixedMembers) {
        const std::string name = "member " + std::to_string(fixed.number);
        const Poly phi = characteristicPolynomial(fixed.row.matrixA);
        report.expect(isIrreducible(phi) && isIrreducibleSieving(phi), name + " is irreducible");
        const auto result = searchMasks(fixed.row.matrixA, fixed.defectSum);
        report.expect(result && result->defectSum == fixed.defectSum, name + ": defect sum");
        report.expect(result && result->masks == Masks{fixed.row.maskB, fixed.row.maskC},
                      name + ": masks");
        report.expect(!searchMasks(fixed.row.matrixA, fixed.defectSum - 1),
                      name + ": limit of the defect sum");
        if (fixed.number == 0 && result) {
            report.expect(result->dimensions == dimensionsOfMember0, name + ": k(1) .. k(32)");
        }
    }
}

// Rank of the map from the 2203 bits of state to the v top bits of the first k tempered words.
int rankOfTopBits(const Mt2203Member& member, int v, int k) {
    std::vector<std::bitset<degree>> pivots(degree);
    int rank = 0;
    for (int i = 0; i < degree; ++i) {
        PlainGenerator::State state{};
        state[static_cast<std::size_t>(i + lowBits) / 32] = 1u << (i + lowBits) % 32;
        PlainGenerator generator(member, state);
        std::bitset<degree> row;
        for (std::size_t n = 0; n < static_cast<std::size_t>(k * v);) {
            const std::uint32_t word = generator.tempered();
            for (int bit = 31; bit > 31 - v; --bit) row[n++] = (word >> bit & 1) != 0;
        }
        for (std::size_t n = 0; n < degree && row.any(); ++n) {
            if (!row[n]) continue;
            if (pivots[n].none()) {
                pivots[n] = row;
                ++rank;
                break;
            }
            row ^= pivots[n];
        }
    }
    return rank;
}

// The lattice against ranks: k words are independent, and k + 1 are not.
void testDimensions(Report& report) {
    const Mt2203Member& member = fixedMembers[0].row;
    const Masks masks{member.maskB, member.maskC};
    for (const int v : {1, 2, 3, 4, 8, 11, 17, 18, 32}) {
        const int k = dimension(member.matrixA, masks, v);
        report.expect(k == dimensionPortable(member.matrixA, masks, v) && k <= dimensionBound(v),
                      "k(" + std::to_string(v) + ") by both forms, and its bound");
        report.expect(rankOfTopBits(member, v, k) == k * v, "k(v) is reached");
        if ((k + 1) * v <= degree) {
            report.expect(rankOfTopBits(member, v, k + 1) < (k + 1) * v, "k(v) is the largest");
        }
    }
}

// True if phi has a factor of degree up to 20: each such degree divides one of 11 .. 20.
bool hasSmallFactor(const Poly& phi) {
    const Modulus modulus(phi);
    Poly power = monomial(2048);
    Poly product = monomial(0);
    for (int k = 11; k <= 20; ++k, power = modulus.square(power)) {
        Poly factor = power;
        factor.flip(1);
        product = modulus.multiply(product, factor);
    }
    return !modulus.coprime(product);
}

// The sieve against common factors with t^(2^k) + t, and the middle tests against the plain power
// test, around two members.
void testSieves(Report& report) {
    const SmallDivisorSieve sieve(20);
    for (const FixedMember& fixed : {fixedMembers.front(), fixedMembers.back()}) {
        const std::uint32_t id = idOf(fixed.row);
        const std::uint32_t own = fixed.row.matrixA >> 16 & 0x7FFF;
        const auto alive = sieve.survivors(id);
        for (std::uint32_t h = own - 500; h <= own + 500; ++h) {
            const std::string name = "id " + std::to_string(id) + ", h " + std::to_string(h);
            const Poly phi = characteristicPolynomial(candidate(id, h));
            report.expect(alive[h] == !hasSmallFactor(phi), "sieve, " + name);
            const bool passes = isIrreducible(phi);
            report.expect(passes == isIrreducibleSieving(phi), "middle tests, " + name);
            report.expect(passes || h != own, "irreducible, " + name);
        }
    }
}

}  // namespace

void selfTest(Report& report) {
    testProducts(report);
    testCharacteristicPolynomial(report);
    testFixedMembers(report);
    testDimensions(report);
    testSieves(report);
}

}  // namespace korvan::mt2203

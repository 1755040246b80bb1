#include "tools/mt2203/mt2203_sieve.h"

#include <array>
#include <bit>
#include <utility>

#include "tools/mt2203/mt2203_gf2.h"

namespace korvan::mt2203 {
namespace {

constexpr int idBits = 16;

// Arithmetic modulo g, of degree 24 at most; bit i is the coefficient of t^i.
struct SmallField {
    std::uint32_t g;
    int size = static_cast<int>(std::bit_width(g)) - 1;

    std::uint32_t multiply(std::uint32_t x, std::uint32_t y) const {
        std::uint32_t product = 0;
        for (int i = size - 1; i >= 0; --i) {
            product <<= 1;
            if ((product >> size & 1) != 0) product ^= g;
            if ((y >> i & 1) != 0) product ^= x;
        }
        return product;
    }
    std::uint32_t powerOfT(int exponent) const {
        std::uint32_t power = 1;
        for (int bit = 7; bit >= 0; --bit) {
            power = multiply(power, power);
            if ((exponent >> bit & 1) != 0) power = multiply(power, 2);
        }
        return power;
    }
};

// phi modulo g for matrixA = 0, and what each bit of matrixA adds to it.
struct SmallResidues {
    std::uint32_t constant;
    std::array<std::uint32_t, 32> bit;

    explicit SmallResidues(std::uint32_t g) {
        const SmallField field{g};
        const std::uint32_t u = field.powerOfT(wordCount) ^ field.powerOfT(middleWord);
        const std::uint32_t l = field.powerOfT(wordCount - 1) ^ field.powerOfT(middleWord - 1);
        std::uint32_t power = 1;
        for (std::size_t i = 32; i-- > 0;) {
            bit[i] = power;
            power = field.multiply(power, i >= lowBits ? u : l);
        }
        constant = power;
    }
};

// Echelon form of the columns of bits 16 .. 30 of matrixA.
class Elimination {
  public:
    explicit Elimination(const SmallResidues& residues) {
        for (std::size_t i = 0; i < candidateBits; ++i) {
            const std::uint64_t column = reduce(residues.bit[idBits + i]) ^ (std::uint64_t{1} << i);
            if (column >> candidateBits == 0) {
                kernel_.push_back(static_cast<std::uint16_t>(column));
            } else {
                pivots_.push_back(column);
            }
        }
    }

    // The residue without what the columns can cancel, above the h that cancels the rest.
    std::uint64_t reduce(std::uint32_t residue) const {
        std::uint64_t value = std::uint64_t{residue} << candidateBits;
        for (const std::uint64_t pivot : pivots_) {
            if ((value & std::bit_floor(pivot)) != 0) value ^= pivot;
        }
        return value;
    }

    // Takes the kernel out of this object.
    std::vector<std::uint16_t> takeKernel() { return std::move(kernel_); }

  private:
    std::vector<std::uint16_t> kernel_;
    std::vector<std::uint64_t> pivots_;
};

// All irreducible polynomials of degree 2 .. maxDegree, in ascending order as numbers.
std::vector<std::uint32_t> irreducibles(int maxDegree) {
    const std::uint32_t end = 2u << maxDegree;
    std::vector<bool> composite(end);
    std::vector<std::uint32_t> found;
    for (std::uint32_t g = 2; g < end; ++g) {
        if (composite[g]) continue;
        if (g > 3) found.push_back(g);
        // Multiples by cofactors in the order of the Gray code: each is one shift from the last.
        std::uint32_t multiple = g;
        const std::uint32_t cofactors = end / std::bit_floor(g);
        for (std::uint32_t i = 2; i < cofactors; ++i) {
            multiple ^= g << std::countr_zero(i);
            composite[multiple] = true;
        }
    }
    return found;
}

}  // namespace

SmallDivisorSieve::SmallDivisorSieve(int maxDegree) : columns_(1 + idBits) {
    for (const std::uint32_t g : irreducibles(maxDegree)) addDivisor(g);
}

void SmallDivisorSieve::addDivisor(std::uint32_t g) {
    const SmallResidues residues(g);
    Elimination elimination(residues);
    columns_[0].push_back(elimination.reduce(residues.constant ^ residues.bit[31]));
    for (std::size_t i = 0; i < idBits; ++i) {
        columns_[1 + i].push_back(elimination.reduce(residues.bit[i]));
    }
    kernels_.push_back(elimination.takeKernel());
}

std::bitset<candidateCount> SmallDivisorSieve::survivors(std::uint32_t id) const {
    std::vector<std::uint64_t> solutions = columns_[0];
    for (std::size_t i = 0; i < idBits; ++i) {
        if ((id >> i & 1) == 0) continue;
        const std::vector<std::uint64_t>& column = columns_[1 + i];
        for (std::size_t n = 0; n < solutions.size(); ++n) solutions[n] ^= column[n];
    }
    std::bitset<candidateCount> alive;
    alive.set();
    for (std::size_t n = 0; n < solutions.size(); ++n) {
        if (solutions[n] >= candidateCount) continue;
        const std::vector<std::uint16_t>& kernel = kernels_[n];
        std::size_t h = static_cast<std::size_t>(solutions[n]);
        alive.reset(h);
        for (std::uint32_t i = 1; i < 1u << kernel.size(); ++i) {
            h ^= kernel[static_cast<std::size_t>(std::countr_zero(i))];
            alive.reset(h);
        }
    }
    return alive;
}

}  // namespace korvan::mt2203

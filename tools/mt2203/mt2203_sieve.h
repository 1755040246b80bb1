// Sieve of the twist constants of one id by all irreducible divisors of small degree.
//
// A candidate is 0x80000000 | h << 16 | id, with h below 32768. Modulo a fixed polynomial g, phi is
// affine in the bits of the candidate, so the h for which g divides phi are an affine subspace: one
// linear system in 15 unknowns for each g, whose elimination does not depend on the id.
#pragma once

#include <bitset>
#include <cstdint>
#include <vector>

namespace korvan::mt2203 {

inline constexpr int candidateBits = 15;
inline constexpr std::size_t candidateCount = std::size_t{1} << candidateBits;

constexpr std::uint32_t candidate(std::uint32_t id, std::uint32_t h) {
    return 0x80000000u | h << 16 | id;
}

class SmallDivisorSieve {
  public:
    // Divisors of degree 2 .. maxDegree, at most 24.
    explicit SmallDivisorSieve(int maxDegree);

    // The h whose phi has no such divisor.
    std::bitset<candidateCount> survivors(std::uint32_t id) const;

  private:
    void addDivisor(std::uint32_t g);

    // columns_[0][n] and columns_[1 + i][n]: what the constant and bit i of the id put into the
    // right side of the system of divisor number n, after elimination. The sum of those that belong
    // to an id is a solution h if it is below 32768, and there is none if it isn't.
    std::vector<std::vector<std::uint64_t>> columns_;
    // Kernel of the system number n: a solution plus any sum of these is a solution.
    std::vector<std::vector<std::uint16_t>> kernels_;
};

}  // namespace korvan::mt2203

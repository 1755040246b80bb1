// The characteristic polynomial of a Mersenne Twister of 2203 bits, and the test whether it is
// irreducible over GF(2).
//
// Word size 32, 69 words, middle word 34, 5 low bits, so p = 69 * 32 - 5 = 2203. Both 2203 and
// 2^2203 - 1 are prime: an irreducible polynomial of degree 2203 is primitive, and the generator
// has the period 2^2203 - 1.
//
// Sources: M. Matsumoto and T. Nishimura, Mersenne Twister, ACM TOMACS 8 (1998) 3-30, for the
// polynomial; D. J. Bernstein and B.-Y. Yang, Fast constant-time gcd computation and modular
// inversion, TCHES 2019 (3) 340-398, for the division steps.
#pragma once

#include <cstdint>

#include "tools/mt2203/mt2203_product.h"

namespace korvan::mt2203 {

inline constexpr int degree = 2203;
inline constexpr int wordCount = 69;
inline constexpr int middleWord = 34;
inline constexpr int lowBits = 5;

// phi, of degree 2203. It is affine in the bits of matrixA, and phi(0) = phi(1) = bit 31.
Poly characteristicPolynomial(std::uint32_t matrixA);

// Arithmetic modulo phi. Residues have up to 2240 coefficients: they are residues modulo
// t^37 phi, whose leading term stands on a word border; `reduce` makes them unique.
class Modulus {
  public:
    // phi has degree 2203 and no other term above t^2135.
    explicit Modulus(const Poly& phi, const Products& products = mt2203::products());

    Poly square(const Poly& x) const;
    Poly multiply(const Poly& x, const Poly& y) const;
    Poly reduce(const Poly& x) const;
    // True when phi and x have no common factor. Needs phi(0) = 1.
    bool coprime(const Poly& x) const;

  private:
    Poly fold(const Poly& low, const Poly& high) const;

    const Products& kernels_;
    Poly phi_;
    Operand tail_;     // t^37 phi without its leading term t^2240
    Operand inverse_;  // t^4480 / (t^37 phi) without its leading term t^2240
};

// The power test: phi, with phi(0) = phi(1) = 1, is irreducible exactly if
// t^(2^2203) = t modulo phi.
bool isIrreducible(const Poly& phi);

// The same answer, sooner for a product of small factors: factors of degree up to 64, 128, 256
// and 512 are looked for on the way.
bool isIrreducibleSieving(const Poly& phi);

}  // namespace korvan::mt2203

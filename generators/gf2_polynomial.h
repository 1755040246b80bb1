// Polynomials over GF(2): powers of t modulo a fixed polynomial.
//
// A polynomial is an array of bits, 64 to a word: the coefficient of t^e is bit e mod 64 of word
// e / 64.
#pragma once

#include <cstddef>
#include <cstdint>

namespace korvan {

// A polynomial by the exponents of its terms, ascending.  As a modulus it ends in 1, and its second
// highest exponent is at least 192 lower than its degree.
struct Gf2Polynomial {
    const std::uint16_t* exponents;
    std::int32_t terms;

    std::int32_t degree() const { return exponents[terms - 1]; }
};

// Words that a residue takes.
constexpr std::size_t gf2Words(std::int32_t degree) {
    return static_cast<std::size_t>(degree + 63) / 64;
}

// How a quotient is multiplied by the modulus: term by term, by a table of small multiples, or by
// the processor's carry-less multiplication.
enum class Gf2Product { byTerms, byTable, byProcessor };

// The fastest one for this modulus and this processor.
Gf2Product bestGf2Product(const Gf2Polynomial& modulus);

// Bytes of scratch memory, aligned to 8, that gf2PowerOfT needs for products other than byTerms.
std::size_t gf2ScratchBytes(const Gf2Polynomial& modulus);

// power = t^n mod modulus.  `power` has twice the words of a residue; the upper half is zero at the
// end.
void gf2PowerOfT(std::uint64_t n, const Gf2Polynomial& modulus, Gf2Product product,
                 std::uint64_t* power, void* scratch);

// The position of the highest term, -1 for the zero polynomial.
std::int32_t gf2Degree(const std::uint64_t* polynomial, std::size_t words);

inline bool gf2HasTerm(const std::uint64_t* polynomial, std::int32_t exponent) {
    return polynomial[exponent / 64] >> (exponent % 64) & 1;
}

}  // namespace korvan

// Squaring in GF(2)[t] only spreads the bits; nearly all of the work is the reduction.  The
// highest words of the square are the quotient, since the terms of the modulus below its leading
// one are far away: up to eight words of quotient at a time, their product with those terms is
// added below.
#include "generators/gf2_polynomial.h"

#include <immintrin.h>

#include <algorithm>
#include <bit>

#include "frame/branch.h"

namespace korvan {
namespace {

constexpr int batchWords = 8;
constexpr int tableRows = 16;          // multiples of the low part by all polynomials below t^4
constexpr std::int32_t sparse = 1000;  // terms below which going term by term is fastest

// A modulus without its leading term.
struct LowPart {
    const Gf2Polynomial& modulus;
    std::uint64_t* words;  // `count` of them and a zero, then the other multiples alike; or null
    std::size_t count;     // even

    explicit LowPart(const Gf2Polynomial& polynomial, std::uint64_t* memory)
        : modulus(polynomial), words(memory), count(wordsOf(polynomial)) {
        if (!memory) return;
        std::fill_n(words, tableRows * stride(), 0);
        for (std::int32_t k = 0; k < modulus.terms - 1; ++k) {
            words[modulus.exponents[k] / 64] |= std::uint64_t{1} << modulus.exponents[k] % 64;
        }
    }
    static std::size_t wordsOf(const Gf2Polynomial& polynomial) {
        const std::size_t highest = polynomial.exponents[polynomial.terms - 2];
        return (highest / 64 + 2) / 2 * 2;
    }
    std::size_t stride() const { return count + 1; }

    // Rows 0 .. 15 of the table: row v is v times row 1, which is the low part.
    void makeTable() {
        std::copy_n(words, stride(), words + stride());
        std::fill_n(words, stride(), 0);
        for (std::size_t v = 2; v < tableRows; ++v) {
            std::uint64_t* row = words + v * stride();
            if (v % 2) {
                const std::uint64_t* even = row - stride();
                for (std::size_t k = 0; k < stride(); ++k) row[k] = even[k] ^ words[stride() + k];
            } else {
                shiftLeft(words + v / 2 * stride(), row, stride(), 1);
            }
        }
    }
    static void shiftLeft(const std::uint64_t* from, std::uint64_t* to, std::size_t n, int bits) {
        for (std::size_t k = n - 1; k > 0; --k)
            to[k] = from[k] << bits | from[k - 1] >> (64 - bits);
        to[0] = from[0] << bits;
    }
};

// The three forms of target += quotient * low, the quotient having `n` words, n at most batchWords.

void addByTerms(std::uint64_t* target, const std::uint64_t* quotient, int n, const LowPart& low) {
    for (std::int32_t term = 0; term < low.modulus.terms - 1; ++term) {
        std::uint64_t* at = target + low.modulus.exponents[term] / 64;
        const int shift = low.modulus.exponents[term] % 64;
        std::uint64_t carry = 0;
        for (int k = 0; k < n; ++k) {
            at[k] ^= quotient[k] << shift | carry;
            carry = shift ? quotient[k] >> (64 - shift) : 0;
        }
        at[n] ^= carry;
    }
}

// Four bits of every quotient word at a time, from the top (J. Lopez, R. Dahab, High-speed software
// multiplication in F_2^m, INDOCRYPT 2000).
void addByTable(std::uint64_t* target, const std::uint64_t* quotient, int n, const LowPart& low) {
    std::uint64_t sum[gf2Words(0x10000) + batchWords] = {};
    const std::size_t length = low.stride() + static_cast<std::size_t>(n);
    for (int shift = 60; shift >= 0; shift -= 4) {
        LowPart::shiftLeft(sum, sum, length, 4);
        for (int k = 0; k < n; ++k) {
            const std::uint64_t* row = low.words + (quotient[k] >> shift & 15) * low.stride();
            for (std::size_t m = 0; m < low.stride(); ++m)
                sum[static_cast<std::size_t>(k) + m] ^= row[m];
        }
    }
    for (std::size_t m = 0; m < length; ++m) target[m] ^= sum[m];
}

[[gnu::target("pclmul")]] void addByProcessor(std::uint64_t* target, const std::uint64_t* quotient,
                                              int n, const LowPart& low) {
    for (int k = 0; k < n; ++k) {
        const __m128i factor = _mm_set_epi64x(0, static_cast<long long>(quotient[k]));
        __m128i carry = _mm_setzero_si128();
        std::uint64_t* at = target + k;
        for (std::size_t m = 0; m < low.count; m += 2) {
            const __m128i pair = _mm_loadu_si128(reinterpret_cast<const __m128i*>(low.words + m));
            const __m128i even = _mm_clmulepi64_si128(factor, pair, 0x00);
            const __m128i odd = _mm_clmulepi64_si128(factor, pair, 0x10);
            auto* place = reinterpret_cast<__m128i*>(at + m);
            const __m128i sum = _mm_xor_si128(_mm_xor_si128(even, carry), _mm_slli_si128(odd, 8));
            _mm_storeu_si128(place, _mm_xor_si128(_mm_loadu_si128(place), sum));
            carry = _mm_srli_si128(odd, 8);
        }
        at[low.count] ^= static_cast<std::uint64_t>(_mm_cvtsi128_si64(carry));
    }
}

std::uint64_t spread(std::uint64_t half) {
    half = (half | half << 16) & 0x0000FFFF0000FFFF;
    half = (half | half << 8) & 0x00FF00FF00FF00FF;
    half = (half | half << 4) & 0x0F0F0F0F0F0F0F0F;
    half = (half | half << 2) & 0x3333333333333333;
    return (half | half << 1) & 0x5555555555555555;
}

void square(std::uint64_t* polynomial, std::size_t words) {
    for (std::size_t k = words; k-- > 0;) {
        const std::uint64_t word = polynomial[k];
        polynomial[2 * k] = spread(word & 0xFFFFFFFF);
        polynomial[2 * k + 1] = spread(word >> 32);
    }
}

}  // namespace

Gf2Product bestGf2Product(const Gf2Polynomial& modulus) {
    if (modulus.terms < sparse) return Gf2Product::byTerms;
    return processorHasFeature("pclmul") ? Gf2Product::byProcessor : Gf2Product::byTable;
}

std::size_t gf2ScratchBytes(const Gf2Polynomial& modulus) {
    return tableRows * (LowPart::wordsOf(modulus) + 1) * sizeof(std::uint64_t);
}

void gf2PowerOfT(std::uint64_t n, const Gf2Polynomial& modulus, Gf2Product product,
                 std::uint64_t* power, void* scratch) {
    const std::int32_t degree = modulus.degree();
    const std::size_t words = gf2Words(degree);
    std::fill_n(power, 2 * words, 0);
    // As long as the exponent is below the degree, the power is a single term.
    int bitsLeft = 0;
    while (n >> bitsLeft >= static_cast<std::uint64_t>(degree)) ++bitsLeft;
    power[(n >> bitsLeft) / 64] = std::uint64_t{1} << (n >> bitsLeft) % 64;
    if (bitsLeft == 0) return;

    LowPart low(modulus, static_cast<std::uint64_t*>(scratch));
    if (product == Gf2Product::byTable) low.makeTable();
    const auto add = product == Gf2Product::byTerms   ? addByTerms
                     : product == Gf2Product::byTable ? addByTable
                                                      : addByProcessor;
    const int gap = (degree - modulus.exponents[modulus.terms - 2]) / 64;
    const int most = std::min(gap, batchWords);
    const std::size_t border = static_cast<std::size_t>(degree) / 64;
    const int shift = degree % 64;
    while (bitsLeft-- > 0) {
        square(power, words);
        if (n >> bitsLeft & 1) LowPart::shiftLeft(power, power, 2 * words, 1);
        // Quotient word k is made of the coefficients of t^(degree + 64 k) .. t^(degree + 64 k +
        // 63).
        for (auto left = static_cast<int>(words); left > 0;) {
            const int count = std::min(left, most);
            left -= count;
            std::uint64_t quotient[batchWords];
            std::uint64_t* const from = power + border + left;
            for (int k = 0; k < count; ++k) {
                quotient[k] = from[k] >> shift;
                if (shift && from + k + 1 < power + 2 * words) {
                    quotient[k] |= from[k + 1] << (64 - shift);
                }
            }
            std::fill(from + 1, std::min(from + count + 1, power + 2 * words), 0);
            from[0] &= (std::uint64_t{1} << shift) - 1;
            add(power + left, quotient, count, low);
        }
    }
}

std::int32_t gf2Degree(const std::uint64_t* polynomial, std::size_t words) {
    while (words > 0 && polynomial[words - 1] == 0) --words;
    if (words == 0) return -1;
    return static_cast<std::int32_t>(64 * words) - 1 - std::countl_zero(polynomial[words - 1]);
}

}  // namespace korvan

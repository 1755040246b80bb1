#include "tools/mt2203/mt2203_product.h"

#if defined(__x86_64__)
#    include <immintrin.h>
#endif

namespace korvan::mt2203 {
namespace {

struct Word128 {
    std::uint64_t low;
    std::uint64_t high;
};

// The four products of any set follow from the carry-less product of two words. Clmul is a class
// with the function `multiply`.
template <class Clmul>
void productLow(Poly& out, const Poly& a, const Operand& b) {
    const std::uint64_t* column = b.words();
    out = Poly{};
    for (std::size_t i = 0; i < polyWords; ++i) {
        for (std::size_t j = 0; i + j < polyWords; ++j) {
            const Word128 p = Clmul::multiply(a.word[i], column[j]);
            out.word[i + j] ^= p.low;
            if (i + j + 1 < polyWords) out.word[i + j + 1] ^= p.high;
        }
    }
}

template <class Clmul>
void productHigh(Poly& out, const Poly& a, const Operand& b) {
    const std::uint64_t* column = b.words();
    out = Poly{};
    for (std::size_t i = 0; i < polyWords; ++i) {
        for (std::size_t j = polyWords - 1 - i; j < polyWords; ++j) {
            const Word128 p = Clmul::multiply(a.word[i], column[j]);
            if (i + j >= polyWords) out.word[i + j - polyWords] ^= p.low;
            out.word[i + j + 1 - polyWords] ^= p.high;
        }
    }
}

template <class Clmul>
void squareOf(Poly& low, Poly& high, const Poly& a) {
    low = Poly{};
    high = Poly{};
    for (std::size_t i = 0; i < polyWords; ++i) {
        const Word128 p = Clmul::multiply(a.word[i], a.word[i]);
        const std::size_t j = 2 * i;
        (j < polyWords ? low.word[j] : high.word[j - polyWords]) = p.low;
        (j + 1 < polyWords ? low.word[j + 1] : high.word[j + 1 - polyWords]) = p.high;
    }
}

template <class Clmul>
void combineTwo(Poly& out, std::uint64_t u, const Poly& f, std::uint64_t v, const Poly& g) {
    std::uint64_t carry = 0;  // high word of the products one word below
    std::uint64_t below = 0;  // word i - 1 of u f + v g
    Poly result;
    for (std::size_t i = 0; i <= polyWords; ++i) {
        const Word128 p = Clmul::multiply(u, f.word[i]);
        const Word128 q = Clmul::multiply(v, g.word[i]);
        const std::uint64_t here = p.low ^ q.low ^ carry;
        if (i > 0) result.word[i - 1] = below >> 63 | here << 1;
        carry = p.high ^ q.high;
        below = here;
    }
    out = result;
}

struct PortableClmul {
    // Four bits of x at a time; the multiples of y by polynomials of degree below 4 are made once.
    static Word128 multiply(std::uint64_t x, std::uint64_t y) {
        std::uint64_t low[16] = {0, y};
        std::uint64_t high[16] = {0, 0};
        for (std::size_t i = 2; i < 16; i += 2) {
            low[i] = low[i / 2] << 1;
            high[i] = high[i / 2] << 1 | low[i / 2] >> 63;
            low[i + 1] = low[i] ^ y;
            high[i + 1] = high[i];
        }
        Word128 p{low[x >> 60], high[x >> 60]};
        for (int shift = 56; shift >= 0; shift -= 4) {
            const std::size_t digit = x >> shift & 15;
            p.high = (p.high << 4 | p.low >> 60) ^ high[digit];
            p.low = p.low << 4 ^ low[digit];
        }
        return p;
    }
};

constexpr Products portableProducts{"portable", productLow<PortableClmul>,
                                    productHigh<PortableClmul>, squareOf<PortableClmul>,
                                    combineTwo<PortableClmul>};

#if defined(__x86_64__)

// The instruction is written out, because a function with a target of its own could not be inlined
// into the templates above.
struct Pclmul {
    static Word128 multiply(std::uint64_t x, std::uint64_t y) {
        __m128i p = _mm_cvtsi64_si128(static_cast<long long>(x));
        asm("pclmulqdq $0, %1, %0" : "+x"(p) : "x"(_mm_cvtsi64_si128(static_cast<long long>(y))));
        const __m128i top = _mm_unpackhi_epi64(p, p);
        return {static_cast<std::uint64_t>(_mm_cvtsi128_si64(p)),
                static_cast<std::uint64_t>(_mm_cvtsi128_si64(top))};
    }
};

constexpr Products pclmulProducts{"pclmul", productLow<Pclmul>, productHigh<Pclmul>,
                                  squareOf<Pclmul>, combineTwo<Pclmul>};

#    define KORVAN_VPCLMUL gnu::target("avx512f,vpclmulqdq")

constexpr int vectors = storedWords / 8;

// g++ 12 warns of its own unmasked forms of some intrinsics (an uninitialised pass-through), so
// these are used with a mask of all lanes, which costs nothing.
constexpr __mmask8 all = 0xFF;
constexpr __mmask8 lastVector = 0x07;  // words 32..34

// Products of 64-bit words are 128 bits wide, so a vector of four of them covers eight words, at
// every other word. The products whose low word falls on word 0, 2, 4, .. of the output are summed
// in `even`, those whose low word falls on word -1, 1, 3, .. in `odd`.
struct Sums {
    __m512i even[vectors];
    __m512i odd[vectors];
};

// Rows rowBegin .. rowEnd - 1 of the product, in the output vectors first .. last,
// where word 0 of the output is word `base` of the product.
template <int base, int rowBegin, int rowEnd, int first, int last>
[[KORVAN_VPCLMUL, gnu::always_inline]] inline void addRows(Sums& sums, const Poly& a,
                                                           const std::uint64_t* b) {
    for (int i = rowBegin; i < rowEnd; ++i) {
        const __m512i row =
            _mm512_set1_epi64(static_cast<long long>(a.word[static_cast<std::size_t>(i)]));
#    pragma GCC unroll 5
        for (int j = first; j <= last; ++j) {
            const __m512i column = _mm512_loadu_si512(b + base - 1 + 8 * j - i);
            sums.odd[j] = _mm512_xor_si512(sums.odd[j], _mm512_clmulepi64_epi128(column, row, 0));
            sums.even[j] = _mm512_xor_si512(sums.even[j], _mm512_clmulepi64_epi128(column, row, 1));
        }
    }
}

// Adds the two sums, the odd one moved down by a word, and keeps 35 words.
[[KORVAN_VPCLMUL, gnu::always_inline]] inline void store(Poly& out, const Sums& sums) {
#    pragma GCC unroll 5
    for (int j = 0; j < vectors; ++j) {
        const __m512i next = j + 1 < vectors ? sums.odd[j + 1] : _mm512_setzero_si512();
        const __m512i sum =
            _mm512_xor_si512(sums.even[j], _mm512_maskz_alignr_epi64(all, next, sums.odd[j], 1));
        const __mmask8 keep = j + 1 < vectors ? all : lastVector;
        _mm512_storeu_si512(out.word.data() + 8 * j, _mm512_maskz_mov_epi64(keep, sum));
    }
}

[[KORVAN_VPCLMUL, gnu::always_inline]] inline Sums noSums() {
    Sums sums;
#    pragma GCC unroll 5
    for (int j = 0; j < vectors; ++j) {
        sums.even[j] = _mm512_setzero_si512();
        sums.odd[j] = _mm512_setzero_si512();
    }
    return sums;
}

// Output vector j has something of row i only where 8 j - i + 6 >= 0.
[[KORVAN_VPCLMUL]] void low512(Poly& out, const Poly& a, const Operand& b) {
    Sums sums = noSums();
    addRows<0, 0, 7, 0, 4>(sums, a, b.words());
    addRows<0, 7, 15, 1, 4>(sums, a, b.words());
    addRows<0, 15, 23, 2, 4>(sums, a, b.words());
    addRows<0, 23, 31, 3, 4>(sums, a, b.words());
    addRows<0, 31, 35, 4, 4>(sums, a, b.words());
    store(out, sums);
}

// Here only where 8 j <= i.
[[KORVAN_VPCLMUL]] void high512(Poly& out, const Poly& a, const Operand& b) {
    Sums sums = noSums();
    addRows<polyWords, 0, 8, 0, 0>(sums, a, b.words());
    addRows<polyWords, 8, 16, 0, 1>(sums, a, b.words());
    addRows<polyWords, 16, 24, 0, 2>(sums, a, b.words());
    addRows<polyWords, 24, 32, 0, 3>(sums, a, b.words());
    addRows<polyWords, 32, 35, 0, 4>(sums, a, b.words());
    store(out, sums);
}

[[KORVAN_VPCLMUL]] void square512(Poly& low, Poly& high, const Poly& a) {
    const __m512i first = _mm512_set_epi64(11, 10, 3, 2, 9, 8, 1, 0);
    const __m512i second = _mm512_set_epi64(15, 14, 7, 6, 13, 12, 5, 4);
    alignas(64) std::uint64_t wide[2 * storedWords];
#    pragma GCC unroll 5
    for (int j = 0; j < vectors; ++j) {
        const __m512i x = _mm512_loadu_si512(a.word.data() + 8 * j);
        const __m512i even = _mm512_clmulepi64_epi128(x, x, 0x00);
        const __m512i odd = _mm512_clmulepi64_epi128(x, x, 0x11);
        _mm512_storeu_si512(wide + 16 * j, _mm512_permutex2var_epi64(even, first, odd));
        _mm512_storeu_si512(wide + 16 * j + 8, _mm512_permutex2var_epi64(even, second, odd));
    }
#    pragma GCC unroll 5
    for (int j = 0; j < vectors; ++j) {
        const __mmask8 keep = j + 1 < vectors ? all : lastVector;
        _mm512_storeu_si512(low.word.data() + 8 * j, _mm512_maskz_loadu_epi64(keep, wide + 8 * j));
        _mm512_storeu_si512(high.word.data() + 8 * j,
                            _mm512_maskz_loadu_epi64(keep, wide + polyWords + 8 * j));
    }
}

[[KORVAN_VPCLMUL]] void combine512(Poly& out, std::uint64_t u, const Poly& f, std::uint64_t v,
                                   const Poly& g) {
    const __m512i uu = _mm512_set1_epi64(static_cast<long long>(u));
    const __m512i vv = _mm512_set1_epi64(static_cast<long long>(v));
    __m512i sum[vectors + 1];
    __m512i oddBelow = _mm512_setzero_si512();
#    pragma GCC unroll 5
    for (int j = 0; j < vectors; ++j) {
        const __m512i x = _mm512_loadu_si512(f.word.data() + 8 * j);
        const __m512i y = _mm512_loadu_si512(g.word.data() + 8 * j);
        const __m512i even = _mm512_xor_si512(_mm512_clmulepi64_epi128(x, uu, 0),
                                              _mm512_clmulepi64_epi128(y, vv, 0));
        const __m512i odd = _mm512_xor_si512(_mm512_clmulepi64_epi128(x, uu, 1),
                                             _mm512_clmulepi64_epi128(y, vv, 1));
        sum[j] = _mm512_xor_si512(even, _mm512_maskz_alignr_epi64(all, odd, oddBelow, 7));
        oddBelow = odd;
    }
    sum[vectors] = _mm512_setzero_si512();
#    pragma GCC unroll 5
    for (int j = 0; j < vectors; ++j) {
        const __m512i above = _mm512_maskz_alignr_epi64(all, sum[j + 1], sum[j], 1);
        const __m512i word = _mm512_or_si512(_mm512_maskz_srli_epi64(all, sum[j], 63),
                                             _mm512_maskz_slli_epi64(all, above, 1));
        _mm512_storeu_si512(out.word.data() + 8 * j, word);
    }
}
constexpr Products vpclmulProducts{"vpclmulqdq", low512, high512, square512, combine512};

#    undef KORVAN_VPCLMUL

#endif

struct Available {
    std::array<const Products*, 3> set{&portableProducts};
    int count = 1;

    Available() {
#if defined(__x86_64__)
        if (__builtin_cpu_supports("pclmul")) add(pclmulProducts);
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("vpclmulqdq")) {
            add(vpclmulProducts);
        }
#endif
    }
    void add(const Products& products) {
        set[static_cast<std::size_t>(count++)] = &products;
    }
};

const Available& available() {
    static const Available found;
    return found;
}

}  // namespace

int productsCount() {
    return available().count;
}

const Products& productsAt(int i) {
    return *available().set[static_cast<std::size_t>(i)];
}

const Products& products() {
    return productsAt(productsCount() - 1);
}

}  // namespace korvan::mt2203

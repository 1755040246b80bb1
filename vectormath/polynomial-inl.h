// What the vector math kernels share: polynomials, and numbers as sums of two.
//
// For kernel files only.  Coefficients come from tools/vectormath/coefficients.py, the lowest power
// first.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hwy/highway.h"

namespace korvan::KORVAN_COPY {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Whether hn::MulAdd rounds once in this copy.
inline constexpr bool fuses = HWY_NATIVE_FMA != 0;

// a b + c and c - a b, rounded once where `fused`.
template <bool fused, class V>
HWY_INLINE V mulAdd(V a, V b, V c) {
    if constexpr (fused) return hn::MulAdd(a, b, c);
    return hn::Add(hn::Mul(a, b), c);
}
template <bool fused, class V>
HWY_INLINE V negMulAdd(V a, V b, V c) {
    if constexpr (fused) return hn::NegMulAdd(a, b, c);
    return hn::Sub(c, hn::Mul(a, b));
}

// c[k] + c[k+1] x + ... + c[n-1] x^(n-1-k), by Horner's rule.  A recursion, since compilers leave
// longer loops rolled.
template <std::size_t k = 0, bool fused = fuses, class D, class V = hn::Vec<D>, std::size_t n>
HWY_INLINE V horner(D d, V x, const hn::TFromD<D> (&c)[n]) {
    if constexpr (k + 1 == n) {
        return hn::Set(d, c[k]);
    } else {
        return mulAdd<fused>(horner<k + 1, fused>(d, x, c), x, hn::Set(d, c[k]));
    }
}

// The same polynomial from its even and its odd powers: half the latency for one operation more.
template <std::size_t k, bool fused, class D, class V = hn::Vec<D>, std::size_t n>
HWY_INLINE V everySecond(D d, V square, const hn::TFromD<D> (&c)[n]) {
    if constexpr (k + 2 >= n) {
        return hn::Set(d, c[k]);
    } else {
        return mulAdd<fused>(everySecond<k + 2, fused>(d, square, c), square, hn::Set(d, c[k]));
    }
}
template <bool fused = fuses, class D, class V = hn::Vec<D>, std::size_t n>
HWY_INLINE V inTwoChains(D d, V x, const hn::TFromD<D> (&c)[n]) {
    const V square = hn::Mul(x, x);
    return mulAdd<fused>(everySecond<1, fused>(d, square, c), x,
                         everySecond<0, fused>(d, square, c));
}

// A number as a sum.
template <class V>
struct HeadAndRest {
    V head, rest;
};

// head + rest as the rounded sum and its error; |head| >= |rest|, or head is 0.
template <class V>
HWY_INLINE HeadAndRest<V> normalized(V head, V rest) {
    const V sum = hn::Add(head, rest);
    return {sum, hn::Sub(rest, hn::Sub(sum, head))};
}

// A double rounded to 24 of its 53 bits: a product of two such numbers, or with a short constant,
// is exact.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V highHalf(D d, V x) {
    const hn::RebindToUnsigned<D> words;
    const auto rounded = hn::Add(hn::BitCast(words, x), hn::Set(words, 0x10000000));
    return hn::BitCast(d, hn::And(rounded, hn::Set(words, ~std::uint64_t{0x1FFFFFFF})));
}

// c - a b for a product near c, with the error of one rounding of the difference.
template <bool fused = fuses, class D, class V = hn::Vec<D>>
HWY_INLINE V residual(D d, V a, V b, V c) {
    if constexpr (fused) {
        return hn::NegMulAdd(a, b, c);
    } else {
        const V aHigh = highHalf(d, a), bHigh = highHalf(d, b);
        const V aLow = hn::Sub(a, aHigh), bLow = hn::Sub(b, bHigh);
        const V first = hn::Sub(hn::Sub(c, hn::Mul(aHigh, bHigh)), hn::Mul(aHigh, bLow));
        return hn::Sub(hn::Sub(first, hn::Mul(aLow, bHigh)), hn::Mul(aLow, bLow));
    }
}

}  // namespace
}  // namespace korvan::KORVAN_COPY

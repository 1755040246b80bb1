// What a real law does to the numbers of a block, for kernel files: the vector math kernels in the
// rows that the laws use, and the last, affine pass.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "hwy/highway.h"
#include "vectormath/mode_word.h"
#include "vectormath/vector_kernels.h"

namespace korvan::KORVAN_COPY {
namespace {

// Gradual underflow, around one call of a vector math kernel.
class DenormalsKept {
  public:
    [[gnu::always_inline]] DenormalsKept() : mode_(setModeWord(DENORMAL_KEEP)) {}
    [[gnu::always_inline]] ~DenormalsKept() { setModeWord(mode_); }
    DenormalsKept(const DenormalsKept&) = delete;
    DenormalsKept& operator=(const DenormalsKept&) = delete;

  private:
    ModeWord mode_;
};

// Blocks are transformed in the row EP of the double kernels and LA of the single ones.
template <class... Arguments>
HWY_INLINE void call(void (*kernel)(std::int32_t, Arguments...), std::size_t n,
                     std::type_identity_t<Arguments>... arguments) {
    const DenormalsKept mode;
    kernel(static_cast<std::int32_t>(n), arguments...);
}

HWY_INLINE void applyLn(std::size_t n, double* x) {
    call(vdLn.ep, n, x, x);
}
HWY_INLINE void applyLn(std::size_t n, float* x) {
    call(vsLn.la, n, x, x);
}
HWY_INLINE void applyExp(std::size_t n, double* x) {
    call(vdExp.ep, n, x, x);
}
HWY_INLINE void applyExp(std::size_t n, float* x) {
    call(vsExp.la, n, x, x);
}
HWY_INLINE void applySqrt(std::size_t n, double* x) {
    call(vdSqrt.ep, n, x, x);
}
HWY_INLINE void applySqrt(std::size_t n, float* x) {
    call(vsSqrt.la, n, x, x);
}
HWY_INLINE void applySin(std::size_t n, double* x) {
    call(vdSin.ep, n, x, x);
}
HWY_INLINE void applySin(std::size_t n, float* x) {
    call(vsSin.la, n, x, x);
}
HWY_INLINE void applyTan(std::size_t n, double* x) {
    call(vdTan.ep, n, x, x);
}
HWY_INLINE void applyTan(std::size_t n, float* x) {
    call(vsTan.la, n, x, x);
}
HWY_INLINE void applyErfInv(std::size_t n, double* x) {
    call(vdErfInv.ep, n, x, x);
}
HWY_INLINE void applyErfInv(std::size_t n, float* x) {
    call(vsErfInv.la, n, x, x);
}
HWY_INLINE void applyPowx(std::size_t n, double* x, double exponent) {
    call(vdPowx.ep, n, x, exponent, x);
}
HWY_INLINE void applyPowx(std::size_t n, float* x, float exponent) {
    call(vsPowx.la, n, x, exponent, x);
}
// x becomes its sine.
HWY_INLINE void applySinCos(std::size_t n, double* x, double* cosine) {
    call(vdSinCos.ep, n, x, x, cosine);
}
HWY_INLINE void applySinCos(std::size_t n, float* x, float* cosine) {
    call(vsSinCos.la, n, x, x, cosine);
}

// r[i] = map(r[i]) over vectors; the last ones on a buffer filled up with zeros.
template <class Real, class Map>
HWY_INLINE void mapArray(Real* r, std::size_t n, Map map) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::ScalableTag<Real> tag;
    constexpr std::size_t lanes = HWY_LANES(Real);
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes) hn::StoreU(map(hn::LoadU(tag, r + i)), tag, r + i);
    if (i == n) return;
    Real padded[lanes] = {};
    for (std::size_t k = i; k < n; ++k) padded[k - i] = r[k];
    hn::StoreU(map(hn::LoadU(tag, padded)), tag, padded);
    for (std::size_t k = i; k < n; ++k) r[k] = padded[k - i];
}

// r[i] = map(x[i], y[i]) in the same way; r may be one of them.
template <class Real, class Map>
HWY_INLINE void mapArrays(const Real* x, const Real* y, std::size_t n, Real* r, Map map) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::ScalableTag<Real> tag;
    constexpr std::size_t lanes = HWY_LANES(Real);
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        hn::StoreU(map(hn::LoadU(tag, x + i), hn::LoadU(tag, y + i)), tag, r + i);
    }
    if (i == n) return;
    Real xs[lanes] = {}, ys[lanes] = {};
    for (std::size_t k = i; k < n; ++k) {
        xs[k - i] = x[k];
        ys[k - i] = y[k];
    }
    hn::StoreU(map(hn::LoadU(tag, xs), hn::LoadU(tag, ys)), tag, xs);
    for (std::size_t k = i; k < n; ++k) r[k] = xs[k - i];
}

// max(low, x), and x if one of them is no number, as the processor's instruction has it.
template <class V>
HWY_INLINE V atLeast(V low, V x) {
#if HWY_TARGET == HWY_SCALAR
    return low.raw > x.raw ? low : x;
#else
    return hwy::HWY_NAMESPACE::Max(low, x);
#endif
}

// The last pass of a location-scale law: r[i] = a + beta r[i], and not below a if `accurate`, since
// rounding must not leave a variate outside the support.
template <class Real>
HWY_INLINE void scaleAndShift(Real* r, std::size_t n, Real a, Real beta, bool accurate = false) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::ScalableTag<Real> tag;
    const auto as = hn::Set(tag, a), betas = hn::Set(tag, beta);
    if (accurate) {
        mapArray(r, n, [&](auto x) { return atLeast(as, hn::MulAdd(x, betas, as)); });
    } else {
        mapArray(r, n, [&](auto x) { return hn::MulAdd(x, betas, as); });
    }
}

// The same with r[i] = a - beta r[i].
template <class Real>
HWY_INLINE void scaleAndSubtract(Real* r, std::size_t n, Real a, Real beta, bool accurate) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::ScalableTag<Real> tag;
    const auto as = hn::Set(tag, a), betas = hn::Set(tag, beta);
    if (accurate) {
        mapArray(r, n, [&](auto x) { return atLeast(as, hn::NegMulAdd(x, betas, as)); });
    } else {
        mapArray(r, n, [&](auto x) { return hn::NegMulAdd(x, betas, as); });
    }
}

template <class Real>
HWY_INLINE void negate(Real* r, std::size_t n) {
    namespace hn = hwy::HWY_NAMESPACE;
    mapArray(r, n, [](auto x) { return hn::Neg(x); });
}

}  // namespace
}  // namespace korvan::KORVAN_COPY

// Normal variates by inversion, sqrt(2) erf^-1(v) with v uniform on [-1, 1), for kernel files.
#pragma once

#include "distributions/shared/passes-inl.h"
#include "distributions/shared/transforms-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class Real>
constexpr Real rootOfTwo = static_cast<Real>(1.4142135623730951);

// n numbers v to r; use(x, m) gets the parts x[0 .. m-1] of r as they are drawn.
template <class Real, class Use>
HWY_INLINE std::int32_t drawSymmetric(StreamHandle stream, std::int32_t n, Real* r, Use use) {
    return inPasses(Pass::standard, n, r, [&](Real* pass, std::size_t count) {
        return drawAndUse<Real>(stream, count, pass, -1, 1, use);
    });
}

// Normal variates with mean a and deviation sigma.  Failing elements of the inverse error function
// go to the caller's callback.
template <class Real>
HWY_INLINE std::int32_t drawNormals(StreamHandle stream, std::int32_t n, Real* r, Real a,
                                    Real sigma) {
    const Real scale = rootOfTwo<Real> * sigma;
    return drawSymmetric(stream, n, r, [&](Real* x, std::size_t m) {
        applyErfInv(m, x);
        scaleAndShift(x, m, a, scale);
    });
}

// erf^-1(v) for counts, the same from equal v in every copy: use(x, m) gets the parts of r.
template <class Use>
HWY_INLINE std::int32_t drawErfInvForCounts(StreamHandle stream, std::int32_t n, float* r,
                                            Use use) {
    return drawSymmetric(stream, n, r, [&](float* x, std::size_t m) {
        call(vsErfInvBaseline.la, m, x, x);
        use(x, m);
    });
}

}  // namespace
}  // namespace korvan::KORVAN_COPY

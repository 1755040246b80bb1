// Normal variates by inversion, sqrt(2) erf^-1(v) with v uniform on [-1, 1), for kernel files.
#pragma once

#include "distributions/continuous/passes-inl.h"
#include "distributions/continuous/transforms-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class Real>
constexpr Real rootOfTwo = static_cast<Real>(1.4142135623730951);

// n numbers erf^-1(v) to r, normal variates but for the factor; use(part, count) gets the parts of
// r as they are made.  Failing elements go to the caller's callback.
template <class Real, class Use>
HWY_INLINE std::int32_t drawErfInv(StreamHandle stream, std::int32_t n, Real* r, Use use) {
    return inPasses(Pass::standard, n, r, [&](Real* pass, std::size_t count) {
        return drawAndUse<Real>(stream, count, pass, -1, 1, [&](Real* x, std::size_t m) {
            applyErfInv(m, x);
            use(x, m);
        });
    });
}

// The same as normal variates, with mean a and deviation sigma.
template <class Real, class Use>
HWY_INLINE std::int32_t drawNormals(StreamHandle stream, std::int32_t n, Real* r, Real a,
                                    Real sigma, Use use) {
    const Real scale = rootOfTwo<Real> * sigma;
    return drawErfInv(stream, n, r, [&](Real* x, std::size_t m) {
        scaleAndShift(x, m, a, scale);
        use(x, m);
    });
}

}  // namespace
}  // namespace korvan::KORVAN_COPY

// The last pass of the accurate methods: rounding must not leave a variate outside the support.
#pragma once

#include <cstddef>

#include "hwy/highway.h"

namespace korvan::KORVAN_COPY {
namespace {

// r[i] = min(upper, max(lower, r[i])).  A NaN stays.
template <class Real>
HWY_INLINE void clamp(Real* r, std::size_t n, Real lower, Real upper) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::ScalableTag<Real> tag;
    const auto low = hn::Set(tag, lower), high = hn::Set(tag, upper);
    for (; i + hn::Lanes(tag) <= n; i += hn::Lanes(tag)) {
        // x86's maximum and minimum give the second operand when one is a NaN.
        hn::StoreU(hn::Min(high, hn::Max(low, hn::LoadU(tag, r + i))), tag, r + i);
    }
#endif
    for (; i < n; ++i) {
        const Real raised = r[i] < lower ? lower : r[i];
        r[i] = raised > upper ? upper : raised;
    }
}

}  // namespace
}  // namespace korvan::KORVAN_COPY

// The rows of a kernel from its function object, for kernel files only.
#pragma once

#include "vectormath/array_loop-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

enum class Accuracy { la, ha, ep };

// The two lowest copies have one routine for all three rows of a double kernel.
template <class Real>
constexpr Accuracy rowOf(Accuracy asked) {
    return sizeof(Real) == 8 && KORVAN_COPY_BRANCH <= 2 ? Accuracy::ha : asked;
}

template <class Function, class Real = typename Function::Real>
void mapOne(std::int32_t n, const Real* in, Real* out) {
    overArray(Function(), n, in, out);
}
template <class Function, class Real = typename Function::Real>
void mapToTwo(std::int32_t n, const Real* in, Real* first, Real* second) {
    overArrayToTwo(Function(), n, in, first, second);
}
template <class Function, class Real = typename Function::Real>
void mapWithParameter(std::int32_t n, const Real* in, Real parameter, Real* out) {
    overArray(Function{parameter}, n, in, out);
}
template <class Function, class Real = typename Function::Real>
void mapTwo(std::int32_t n, const Real* in1, const Real* in2, Real* out) {
    overTwoArrays(Function(), n, in1, in2, out);
}

// The kernel whose function object is Function<Real, accuracy>.
template <template <class, Accuracy> class Function, class Real>
constexpr VectorKernel<OneToOne<Real>> kernelOf() {
    return {mapOne<Function<Real, rowOf<Real>(Accuracy::la)>>,
            mapOne<Function<Real, rowOf<Real>(Accuracy::ha)>>,
            mapOne<Function<Real, rowOf<Real>(Accuracy::ep)>>};
}

// A function of doubles over singles: its results are rounded once more.
template <class Compute>
HWY_INLINE Vec<float> throughDouble(Vec<float> x, const Compute& compute) {
    const Tag<float> d;
    const Tag<double> wide;
#if HWY_TARGET == HWY_SCALAR
    return hn::DemoteTo(d, compute(wide, hn::PromoteTo(wide, x)));
#else
    const hn::Half<Tag<float>> half;
    const auto lower = compute(wide, hn::PromoteTo(wide, hn::LowerHalf(half, x)));
    const auto upper = compute(wide, hn::PromoteTo(wide, hn::UpperHalf(half, x)));
    return hn::Combine(d, hn::DemoteTo(half, upper), hn::DemoteTo(half, lower));
#endif
}

}  // namespace
}  // namespace korvan::KORVAN_COPY

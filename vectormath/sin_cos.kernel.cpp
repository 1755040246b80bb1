// Sine and cosine of the same angles, for less than the two apart.
//
// Largest error: VML_HA below 1 ulp, VML_LA below 4 ulp, VML_EP 2^-27 relative, at every finite
// angle, near the zeros too.  An infinite angle gives NaN twice with VML_STATUS_ERRDOM.
#include "vectormath/angles-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class T, Accuracy accuracy>
struct SinCos {
    using Real = T;
    static constexpr const char* name = sizeof(Real) == 8 ? "vdSinCos" : "vsSinCos";
    static constexpr Real filler = 0.75;

    HWY_INLINE void operator()(Vec<Real> x, Vec<Real>& s, Vec<Real>& c,
                               Mask<Real>& exceptional) const {
        exceptional = isBeyondReach<Real, accuracy>(x);
        if constexpr (isThroughDouble<Real, accuracy>) {
            throughDouble(x, s, c);
        } else {
            const auto y = sineCosine<accuracy>(Tag<Real>(), x);
            s = y.sine;
            c = y.cosine;
        }
    }

    // Both from one reduction.
    static HWY_INLINE void throughDouble(Vec<float> x, Vec<float>& s, Vec<float>& c) {
        const Tag<float> d;
        const Tag<double> wide;
        const auto compute = [&](auto v) {
            return sineCosine<Accuracy::ep>(wide, hn::PromoteTo(wide, v));
        };
#if HWY_TARGET == HWY_SCALAR
        const auto y = compute(x);
        s = hn::DemoteTo(d, y.sine);
        c = hn::DemoteTo(d, y.cosine);
#else
        const hn::Half<Tag<float>> half;
        const auto lower = compute(hn::LowerHalf(half, x)), upper = compute(hn::UpperHalf(half, x));
        s = hn::Combine(d, hn::DemoteTo(half, upper.sine), hn::DemoteTo(half, lower.sine));
        c = hn::Combine(d, hn::DemoteTo(half, upper.cosine), hn::DemoteTo(half, lower.cosine));
#endif
    }

    static std::int32_t element(Real x, Real* s, Real* c) {
        double wideSine, wideCosine;
        const std::int32_t code = sineCosineElement(static_cast<double>(x), &wideSine, &wideCosine);
        *s = static_cast<Real>(wideSine);
        *c = static_cast<Real>(wideCosine);
        return code;
    }
};

template <class Real>
constexpr VectorKernel<SineAndCosine<Real>> sineCosineKernel() {
    return {mapToTwo<SinCos<Real, rowOf<Real>(Accuracy::la)>>,
            mapToTwo<SinCos<Real, rowOf<Real>(Accuracy::ha)>>,
            mapToTwo<SinCos<Real, rowOf<Real>(Accuracy::ep)>>};
}

}  // namespace

constinit const VectorKernel<SineAndCosine<double>> vdSinCos = sineCosineKernel<double>();
constinit const VectorKernel<SineAndCosine<float>> vsSinCos = sineCosineKernel<float>();

}  // namespace korvan::KORVAN_COPY

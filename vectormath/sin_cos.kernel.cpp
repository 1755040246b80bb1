// Sine and cosine of the same angles, for less than the two apart.
//
// Largest error: VML_HA below 1 ulp, VML_LA below 4 ulp, VML_EP 2^-27 relative (single
// 2^-13.8), at every finite angle, near the zeros too.  An infinite angle gives NaN twice with
// VML_STATUS_ERRDOM.
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
        const auto y = sineCosine<accuracy>(Tag<Real>(), x);
        s = y.sine;
        c = y.cosine;
        if constexpr (isWidened<Real, accuracy>) {
            const auto isFar = isToBeWidened(x);
            if (HWY_LIKELY(!anyLane<Real>(isFar))) return;
            const auto sineOf = [](auto d, auto wide) { return sine<Accuracy::ep>(d, wide); };
            const auto cosineOf = [](auto d, auto wide) { return cosine<Accuracy::ep>(d, wide); };
            s = hn::IfThenElse(isFar, throughDouble(x, sineOf), s);
            c = hn::IfThenElse(isFar, throughDouble(x, cosineOf), c);
        }
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

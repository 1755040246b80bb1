// Sine.
//
// Largest error: VML_HA below 1 ulp, VML_LA below 4 ulp, VML_EP 2^-35 relative (single
// 2^-18), at every finite angle, near the zeros too.  An infinite angle gives NaN with
// VML_STATUS_ERRDOM.
#include "vectormath/angles-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class T, Accuracy accuracy>
struct Sin {
    using Real = T;
    static constexpr const char* name = sizeof(Real) == 8 ? "vdSin" : "vsSin";
    static constexpr Real filler = 0.75;

    HWY_INLINE Vec<Real> operator()(Vec<Real> x, Mask<Real>& exceptional) const {
        exceptional = isBeyondReach<Real, accuracy>(x);
        const auto y = sine<accuracy>(Tag<Real>(), x);
        if constexpr (isWidened<Real, accuracy>) {
            const auto isFar = isToBeWidened(x);
            if (HWY_LIKELY(!anyLane<Real>(isFar))) return y;
            const auto compute = [](auto d, auto wide) { return sine<Accuracy::ep>(d, wide); };
            return hn::IfThenElse(isFar, throughDouble(x, compute), y);
        }
        return y;
    }

    static std::int32_t element(Real x, Real* result) {
        double s, c;
        const std::int32_t code = sineCosineElement(static_cast<double>(x), &s, &c);
        *result = static_cast<Real>(s);
        return code;
    }
};

}  // namespace

constinit const VectorKernel<OneToOne<double>> vdSin = kernelOf<Sin, double>();
constinit const VectorKernel<OneToOne<float>> vsSin = kernelOf<Sin, float>();

}  // namespace korvan::KORVAN_COPY

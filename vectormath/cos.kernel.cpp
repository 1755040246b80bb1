// Cosine.
//
// Largest error: VML_HA below 1 ulp, VML_LA below 4 ulp, VML_EP 2^-35 relative (single
// 2^-18), at every finite angle, near the zeros too.  An infinite angle gives NaN with
// VML_STATUS_ERRDOM.
#include "vectormath/angles-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class T, Accuracy accuracy>
struct Cos {
    using Real = T;
    static constexpr const char* name = sizeof(Real) == 8 ? "vdCos" : "vsCos";
    static constexpr Real filler = 0.75;

    HWY_INLINE Vec<Real> operator()(Vec<Real> x, Mask<Real>& exceptional) const {
        exceptional = isBeyondReach<Real, accuracy>(x);
        const auto y = cosine<accuracy>(Tag<Real>(), x);
        if constexpr (isWidened<Real, accuracy>) {
            const auto isFar = isToBeWidened(x);
            if (HWY_LIKELY(!anyLane<Real>(isFar))) return y;
            const auto compute = [](auto d, auto wide) { return cosine<Accuracy::ep>(d, wide); };
            return hn::IfThenElse(isFar, throughDouble(x, compute), y);
        }
        return y;
    }

    static std::int32_t element(Real x, Real* result) {
        double s, c;
        const std::int32_t code = sineCosineElement(static_cast<double>(x), &s, &c);
        *result = static_cast<Real>(c);
        return code;
    }
};

}  // namespace

constinit const VectorKernel<OneToOne<double>> vdCos = kernelOf<Cos, double>();
constinit const VectorKernel<OneToOne<float>> vsCos = kernelOf<Cos, float>();

}  // namespace korvan::KORVAN_COPY

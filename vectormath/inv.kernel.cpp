// Reciprocal, correctly rounded in every row and copy.
//
// 1/+-0 = +-inf with VML_STATUS_SING; a denormal x below the reciprocal of the largest number gives
// +-inf with VML_STATUS_OVERFLOW; 1/+-inf = +-0.
#include "vectormath/rows-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class T, Accuracy>
struct Inv {
    using Real = T;
    static constexpr const char* name = sizeof(Real) == 8 ? "vdInv" : "vsInv";
    static constexpr Real filler = 0.75;
    // 1 / x is finite from here on.
    static constexpr Real leastSafe = static_cast<Real>(sizeof(Real) == 8 ? 0x1p-1022 : 0x1p-126);

    HWY_INLINE Vec<Real> operator()(Vec<Real> x, Mask<Real>& exceptional) const {
        const Tag<Real> tag;
        exceptional = hn::Lt(hn::Abs(x), hn::Set(tag, leastSafe));
        return hn::Div(hn::Set(tag, 1), x);
    }

    static std::int32_t element(Real x, Real* result) {
        *result = 1 / x;
        if (x == 0) return VML_STATUS_SING;
        return *result - *result == 0 ? VML_STATUS_OK : VML_STATUS_OVERFLOW;
    }
};

}  // namespace

constinit const VectorKernel<OneToOne<double>> vdInv = kernelOf<Inv, double>();
constinit const VectorKernel<OneToOne<float>> vsInv = kernelOf<Inv, float>();

}  // namespace korvan::KORVAN_COPY

// Square root, correctly rounded in every row and copy.
//
// sqrt(-0) = -0.  A negative x gives NaN with VML_STATUS_ERRDOM; sqrt(inf) = inf.
#include "vectormath/rows-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class T, Accuracy>
struct Sqrt {
    using Real = T;
    static constexpr const char* name = sizeof(Real) == 8 ? "vdSqrt" : "vsSqrt";
    static constexpr Real filler = 0.75;

    HWY_INLINE Vec<Real> operator()(Vec<Real> x, Mask<Real>& exceptional) const {
        exceptional = hn::Lt(x, hn::Zero(Tag<Real>()));
        return hn::Sqrt(x);
    }

    static std::int32_t element(Real x, Real* result) {
        *result = (x - x) / (x - x);
        return VML_STATUS_ERRDOM;
    }
};

}  // namespace

constinit const VectorKernel<OneToOne<double>> vdSqrt = kernelOf<Sqrt, double>();
constinit const VectorKernel<OneToOne<float>> vsSqrt = kernelOf<Sqrt, float>();

}  // namespace korvan::KORVAN_COPY

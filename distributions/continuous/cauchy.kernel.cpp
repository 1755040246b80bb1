// The Cauchy law: density 1 / (pi beta (1 + z^2)), z = (x - a) / beta.
//
// By inversion: x = a + beta tan v with an angle v that is uniform on [-pi/2, pi/2).  The tangents
// of the ends in floating point are finite, so that nothing can fail.  In double these lie inside,
// in single 4e-8 outside, where the tangent has the other sign.
#include <bit>

#include "distributions/kernels.h"
#include "distributions/shared/passes-inl.h"
#include "distributions/shared/transforms-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class Real>
constexpr Real halfPi = static_cast<Real>(1.5707963267948966);
static_assert(std::bit_cast<std::uint64_t>(halfPi<double>) == 0x3FF921FB54442D18);
static_assert(std::bit_cast<std::uint32_t>(halfPi<float>) == 0x3FC90FDB);

template <class Real>
std::int32_t cauchy(StreamHandle stream, std::int32_t n, Real* r, Real a, Real beta) {
    return inPasses(Pass::refined, n, r, [&](Real* pass, std::size_t count) {
        return drawAndUse(stream, count, pass, -halfPi<Real>, halfPi<Real>,
                          [&](Real* x, std::size_t m) {
                              applyTan(m, x);
                              scaleAndShift(x, m, a, beta);
                          });
    });
}

}  // namespace

std::int32_t vdRngCauchy(std::int32_t, StreamHandle stream, std::int32_t n, double* r, double a,
                         double beta) {
    return cauchy(stream, n, r, a, beta);
}

std::int32_t vsRngCauchy(std::int32_t, StreamHandle stream, std::int32_t n, float* r, float a,
                         float beta) {
    return cauchy(stream, n, r, a, beta);
}

}  // namespace korvan::KORVAN_COPY

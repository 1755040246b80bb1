// The Weibull law: density alpha z^(alpha - 1) exp(-z^alpha) / beta, z = (x - a) / beta, x >= a.
//
// By inversion: x = a + beta (-ln u)^(1 / alpha).
#include "distributions/kernels.h"
#include "distributions/shared/law_frame-inl.h"
#include "distributions/shared/passes-inl.h"
#include "distributions/shared/replacements.h"
#include "distributions/shared/transforms-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class Real>
std::int32_t weibull(std::int32_t method, StreamHandle stream, std::int32_t n, Real* r, Real alpha,
                     Real a, Real beta) {
    const LawFrame frame(Replace<Real>::singularLogarithm);
    const bool accurate = (method & METHOD_ACCURATE_FLAG) != 0;
    const Real exponent = 1 / alpha;
    return inPasses(Pass::refined, n, r, [&](Real* pass, std::size_t count) {
        return drawAndUse<Real>(stream, count, pass, 0, 1, [&](Real* x, std::size_t m) {
            applyLn(m, x);
            negate(x, m);
            if (alpha != 1) applyPowx(m, x, exponent);
            scaleAndShift(x, m, a, beta, accurate);
        });
    });
}

}  // namespace

std::int32_t vdRngWeibull(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                          double alpha, double a, double beta) {
    return weibull(method, stream, n, r, alpha, a, beta);
}

std::int32_t vsRngWeibull(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                          float alpha, float a, float beta) {
    return weibull(method, stream, n, r, alpha, a, beta);
}

}  // namespace korvan::KORVAN_COPY

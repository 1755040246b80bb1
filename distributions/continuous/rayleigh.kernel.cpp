// The Rayleigh law, with beta^2 in place of 2 sigma^2: density 2 z exp(-z^2) / beta,
// z = (x - a) / beta, x >= a.
//
// By inversion: x = a + beta sqrt(-ln u).
#include "distributions/kernels.h"
#include "distributions/shared/law_frame-inl.h"
#include "distributions/shared/passes-inl.h"
#include "distributions/shared/replacements.h"
#include "distributions/shared/transforms-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class Real>
std::int32_t rayleigh(std::int32_t method, StreamHandle stream, std::int32_t n, Real* r, Real a,
                      Real beta) {
    const LawFrame frame(Replace<Real>::singularLogarithm);
    const bool accurate = (method & METHOD_ACCURATE_FLAG) != 0;
    return inPasses(Pass::refined, n, r, [&](Real* pass, std::size_t count) {
        return drawAndUse<Real>(stream, count, pass, 0, 1, [&](Real* x, std::size_t m) {
            applyLn(m, x);
            negate(x, m);
            applySqrt(m, x);
            scaleAndShift(x, m, a, beta, accurate);
        });
    });
}

}  // namespace

std::int32_t vdRngRayleigh(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                           double a, double beta) {
    return rayleigh(method, stream, n, r, a, beta);
}

std::int32_t vsRngRayleigh(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                           float a, float beta) {
    return rayleigh(method, stream, n, r, a, beta);
}

}  // namespace korvan::KORVAN_COPY

// The exponential law: density exp(-(x - a) / beta) / beta for x >= a.
//
// By inversion: x = a - beta ln u.  A uniform of 0 counts as the smallest positive number.
#include "distributions/kernels.h"
#include "distributions/shared/law_frame-inl.h"
#include "distributions/shared/passes-inl.h"
#include "distributions/shared/replacements.h"
#include "distributions/shared/transforms-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class Real>
std::int32_t exponential(std::int32_t method, StreamHandle stream, std::int32_t n, Real* r, Real a,
                         Real beta) {
    const LawFrame frame(Replace<Real>::logarithm);
    const bool accurate = (method & METHOD_ACCURATE_FLAG) != 0;
    return inPasses(Pass::refined, n, r, [&](Real* pass, std::size_t count) {
        return drawAndUse<Real>(stream, count, pass, 0, 1, [&](Real* x, std::size_t m) {
            applyLn(m, x);
            scaleAndSubtract(x, m, a, beta, accurate);
        });
    });
}

}  // namespace

std::int32_t vdRngExponential(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                              double a, double beta) {
    return exponential(method, stream, n, r, a, beta);
}

std::int32_t vsRngExponential(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                              float a, float beta) {
    return exponential(method, stream, n, r, a, beta);
}

}  // namespace korvan::KORVAN_COPY

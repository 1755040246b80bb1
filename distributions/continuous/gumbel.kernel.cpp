// The Gumbel law of minima: density exp(z - exp z) / beta, z = (x - a) / beta, with the long tail
// to the left.
//
// By inversion: x = a + beta ln(-ln u).
#include "distributions/kernels.h"
#include "distributions/shared/law_frame-inl.h"
#include "distributions/shared/passes-inl.h"
#include "distributions/shared/replacements.h"
#include "distributions/shared/transforms-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <class Real>
std::int32_t gumbel(StreamHandle stream, std::int32_t n, Real* r, Real a, Real beta) {
    const LawFrame frame(Replace<Real>::logarithm);
    return inPasses(Pass::refined, n, r, [&](Real* pass, std::size_t count) {
        return drawAndUse<Real>(stream, count, pass, 0, 1, [&](Real* x, std::size_t m) {
            applyLn(m, x);
            scaleAndSubtract(x, m, Real{0}, Real{1}, false);  // an exponential: 0, never -0
            applyLn(m, x);
            scaleAndShift(x, m, a, beta);
        });
    });
}

}  // namespace

std::int32_t vdRngGumbel(std::int32_t, StreamHandle stream, std::int32_t n, double* r, double a,
                         double beta) {
    return gumbel(stream, n, r, a, beta);
}

std::int32_t vsRngGumbel(std::int32_t, StreamHandle stream, std::int32_t n, float* r, float a,
                         float beta) {
    return gumbel(stream, n, r, a, beta);
}

}  // namespace korvan::KORVAN_COPY

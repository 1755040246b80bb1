// The Laplace law: density exp(-|x - a| / beta) / (2 beta).
//
// An exponential magnitude with a sign of its own: x = a - beta ln u if v <= 1/2, a + beta ln u
// otherwise, from a pair of uniforms (u, v).
#include "distributions/kernels.h"
#include "distributions/shared/law_frame-inl.h"
#include "distributions/shared/passes-inl.h"
#include "distributions/shared/replacements.h"
#include "distributions/shared/transforms-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr std::size_t blockPairs = 1024;

// r[i] = factor m + a with m = r[i], the factor by the uniform beside it.
template <class Real>
HWY_INLINE void giveSigns(const Real* signs, std::size_t n, Real* r, Real a, Real beta) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::ScalableTag<Real> tag;
    const auto as = hn::Set(tag, a), minus = hn::Set(tag, -beta), plus = hn::Set(tag, beta);
    const auto half = hn::Set(tag, Real{0.5});
    mapArrays(signs, r, n, r, [&](auto v, auto m) {
        return hn::MulAdd(hn::IfThenElse(hn::Le(v, half), minus, plus), m, as);
    });
}

// The last drawing is made even if nothing is left.
template <class Real>
std::int32_t laplace(StreamHandle stream, std::int32_t n, Real* r, Real a, Real beta) {
    const LawFrame frame(Replace<Real>::logarithm);
    Real pairs[2 * blockPairs], signs[blockPairs];
    for (auto left = static_cast<std::size_t>(n);;) {
        const std::size_t count = left < blockPairs ? left : blockPairs;
        const std::int32_t status = drawUniforms<Real>(stream, 2 * count, pairs, 0, 1);
        if (status < 0) return status;
        for (std::size_t i = 0; i < count; ++i) {
            r[i] = pairs[2 * i];
            signs[i] = pairs[2 * i + 1];
        }
        applyLn(count, r);
        giveSigns(signs, count, r, a, beta);
        if (left < blockPairs) return status;
        left -= count;
        r += count;
    }
}

}  // namespace

std::int32_t vdRngLaplace(std::int32_t, StreamHandle stream, std::int32_t n, double* r, double a,
                          double beta) {
    return laplace(stream, n, r, a, beta);
}

std::int32_t vsRngLaplace(std::int32_t, StreamHandle stream, std::int32_t n, float* r, float a,
                          float beta) {
    return laplace(stream, n, r, a, beta);
}

}  // namespace korvan::KORVAN_COPY

// The normal law with mean a and standard deviation sigma.
//
// Methods 0 and 1: G. E. P. Box, M. E. Muller, A note on the generation of random normal deviates
// (1958): from a pair of uniforms (u, v) sqrt(-2 ln u) sin(2 pi v), in method 1 also its partner
// with the cosine.  Method 2: inversion, sqrt(2) erf^-1(v) with v uniform on [-1, 1).
//
// A call of method 1 may end between two partners.  The stream then keeps the pair of uniforms, and
// the next call of method 1 begins with the other partner, under its own a and sigma.
#include "distributions/kernels.h"
#include "distributions/shared/law_frame-inl.h"
#include "distributions/shared/normal-inl.h"
#include "distributions/shared/replacements.h"
#include "distributions/shared/transforms-inl.h"
#include "frame/memory.h"
#include "streams/attachments.h"

namespace korvan::KORVAN_COPY {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

template <class Real>
constexpr Real twoPi = static_cast<Real>(6.283185307179586);

constexpr std::size_t blockUniforms = 1024, blockOutputs = 1024;

// The pair behind a variate whose partner hasn't been given.
template <class Real>
struct PendingPair {
    Real u, v;

    static constexpr Real none = -1;
    static constexpr std::uint32_t tag = sizeof(Real) == 8 ? tagDoubleGaussian : tagSingleGaussian;
};

// The stream's, made if it has none; null without memory.
template <class Real>
PendingPair<Real>* pendingPair(StreamHandle stream) {
    using Pair = PendingPair<Real>;
    if (void* found = findAttachment(stream, Pair::tag)) return static_cast<Pair*>(found);
    auto* pair = static_cast<Pair*>(alignedAlloc(sizeof(Pair), recordAlignment));
    if (!pair) return nullptr;
    *pair = {Pair::none, Pair::none};
    if (attach(stream, Pair::tag, nullptr, pair, sizeof(Pair)) >= 0) return pair;
    alignedFree(pair);
    return nullptr;
}

// u[0 .. n-1] and v[0 .. n-1] from n pairs, v as angles.
template <class Real>
HWY_INLINE void separate(const Real* pairs, std::size_t n, Real* u, Real* v) {
    for (std::size_t i = 0; i < n; ++i) {
        u[i] = pairs[2 * i];
        v[i] = pairs[2 * i + 1] * twoPi<Real>;
    }
}

// u becomes sqrt(-2 ln u).
template <class Real>
HWY_INLINE void radii(std::size_t n, Real* u) {
    applyLn(n, u);
    mapArray(u, n, [](auto x) { return hn::Neg(hn::Add(x, x)); });
    applySqrt(n, u);
}

// r[i] = a + (u[i] sigma) v[i].
template <class Real>
HWY_INLINE void scaledProducts(const Real* u, const Real* v, std::size_t n, Real* r, Real a,
                               Real sigma) {
    const hn::ScalableTag<Real> tag;
    const auto as = hn::Set(tag, a), sigmas = hn::Set(tag, sigma);
    mapArrays(u, v, n, r, [&](auto x, auto y) { return hn::MulAdd(hn::Mul(x, sigmas), y, as); });
}

template <class Real>
std::int32_t boxMuller(StreamHandle stream, std::size_t n, Real* r, Real a, Real sigma) {
    Real pairs[2 * blockOutputs], u[blockOutputs], v[blockOutputs];
    std::int32_t status = RNG_OK;
    for (std::size_t done = 0; done < n; done += blockOutputs) {
        const std::size_t count = n - done < blockOutputs ? n - done : blockOutputs;
        status = drawUniforms<Real>(stream, 2 * count, pairs, 0, 1);
        if (status < 0) return status;
        separate(pairs, count, u, v);
        applySin(count, v);
        radii(count, u);
        scaledProducts(u, v, count, r + done, a, sigma);
    }
    return status;
}

// Both partners of n pairs, the sine's first, to r[0 .. 2n-1].  One of them alone comes from here
// as well, so that it has the same bits.
template <class Real>
HWY_INLINE void partners(const Real* pairs, std::size_t n, Real* r, Real a, Real sigma) {
    Real u[blockUniforms / 2], v[blockUniforms / 2], cosine[blockUniforms / 2];
    separate(pairs, n, u, v);
    applySinCos(n, v, cosine);
    radii(n, u);
    for (std::size_t i = 0; i < n; ++i) {
        r[2 * i] = u[i] * v[i];
        r[2 * i + 1] = u[i] * cosine[i];
    }
    scaleAndShift(r, 2 * n, a, sigma);
}

template <class Real>
std::int32_t boxMullerPaired(StreamHandle stream, std::size_t n, Real* r, Real a, Real sigma) {
    PendingPair<Real>* const pending = pendingPair<Real>(stream);
    if (!pending) return RNG_NO_MEMORY;
    std::size_t done = 0;
    if (pending->u != pending->none) {
        Real both[2];
        const Real pair[2] = {pending->u, pending->v};
        *pending = {pending->none, pending->none};  // a drawing can fail behind it
        partners(pair, 1, both, a, sigma);
        r[0] = both[1];
        done = 1;
    }
    Real pairs[blockUniforms];
    std::int32_t status = RNG_OK;
    for (std::size_t left = (n - done) & ~std::size_t{1}; left > 0;) {
        const std::size_t count = left < blockUniforms ? left : blockUniforms;
        status = drawUniforms<Real>(stream, count, pairs, 0, 1);
        if (status < 0) return status;
        partners(pairs, count / 2, r + done, a, sigma);
        done += count;
        left -= count;
    }
    if (done == n) return status;
    status = drawUniforms<Real>(stream, 2, pairs, 0, 1);
    if (status < 0) return status;
    *pending = {pairs[0], pairs[1]};
    Real both[2];
    partners(pairs, 1, both, a, sigma);
    r[done] = both[0];
    return status;
}

template <class Real>
std::int32_t gaussian(std::int32_t method, StreamHandle stream, std::int32_t n, Real* r, Real a,
                      Real sigma) {
    const LawFrame frame(Replace<Real>::logarithmOrErfInv);
    const auto count = static_cast<std::size_t>(n);
    switch (method) {
        case METHOD_GAUSSIAN_BOX_MULLER: return boxMuller(stream, count, r, a, sigma);
        case METHOD_GAUSSIAN_BOX_MULLER_PAIRED: return boxMullerPaired(stream, count, r, a, sigma);
        default: return drawNormals(stream, n, r, a, sigma);
    }
}

}  // namespace

std::int32_t vdRngGaussian(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                           double a, double sigma) {
    return gaussian(method, stream, n, r, a, sigma);
}

std::int32_t vsRngGaussian(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                           float a, float sigma) {
    return gaussian(method, stream, n, r, a, sigma);
}

}  // namespace korvan::KORVAN_COPY

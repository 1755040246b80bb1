// The lognormal law: x = b + beta exp(g), g normal with mean a and standard deviation sigma.
//
// Only the method word 0 takes the normal variates from pairs; the accurate form of both methods
// takes them from the inverse.
#include "distributions/kernels.h"
#include "distributions/shared/passes-inl.h"
#include "distributions/shared/transforms-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

std::int32_t gaussian(std::int32_t method, StreamHandle stream, std::size_t n, double* r, double a,
                      double sigma) {
    return KORVAN_COPY::vdRngGaussian(method, stream, static_cast<std::int32_t>(n), r, a, sigma);
}
std::int32_t gaussian(std::int32_t method, StreamHandle stream, std::size_t n, float* r, float a,
                      float sigma) {
    return KORVAN_COPY::vsRngGaussian(method, stream, static_cast<std::int32_t>(n), r, a, sigma);
}

// No frame: an overflow of the exponential is the calling thread's, as its mode says.
template <class Real>
std::int32_t lognormal(std::int32_t method, StreamHandle stream, std::int32_t n, Real* r, Real a,
                       Real sigma, Real b, Real beta) {
    const std::int32_t normal = method == METHOD_LOGNORMAL_BOX_MULLER
                                    ? METHOD_GAUSSIAN_BOX_MULLER_PAIRED
                                    : METHOD_GAUSSIAN_INVERSE;
    const bool accurate = (method & METHOD_ACCURATE_FLAG) != 0;
    return inPasses(Pass::standard, n, r, [&](Real* pass, std::size_t count) {
        const std::int32_t status = gaussian(normal, stream, count, pass, a, sigma);
        if (status < 0) return status;
        inParts(pass, count, [&](Real* x, std::size_t m) {
            applyExp(m, x);
            scaleAndShift(x, m, b, beta, accurate);
        });
        return status;
    });
}

}  // namespace

std::int32_t vdRngLognormal(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                            double a, double sigma, double b, double beta) {
    return lognormal(method, stream, n, r, a, sigma, b, beta);
}

std::int32_t vsRngLognormal(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                            float a, float sigma, float b, float beta) {
    return lognormal(method, stream, n, r, a, sigma, b, beta);
}

}  // namespace korvan::KORVAN_COPY

// The exported generators of real variates.
#include "exports/entry.h"

using namespace korvan;

namespace {

constexpr Methods gaussianMethods{METHOD_GAUSSIAN_INVERSE};
constexpr Methods lognormalMethods{METHOD_LOGNORMAL_INVERSE, METHOD_ACCURATE_FLAG};

}  // namespace

std::int32_t vdRngUniform(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                          double a, double b) {
    return generate<&CopySet::vdRngUniform>("vdRngUniform", standardOrAccurate, {{a >= b, 5}},
                                            method, stream, n, r, a, b);
}

std::int32_t vsRngUniform(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                          float a, float b) {
    return generate<&CopySet::vsRngUniform>("vsRngUniform", standardOrAccurate, {{a >= b, 5}},
                                            method, stream, n, r, a, b);
}

std::int32_t vdRngGaussian(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                           double a, double sigma) {
    return generate<&CopySet::vdRngGaussian>("vdRngGaussian", gaussianMethods, {{0 >= sigma, 6}},
                                             method, stream, n, r, a, sigma);
}

std::int32_t vsRngGaussian(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                           float a, float sigma) {
    return generate<&CopySet::vsRngGaussian>("vsRngGaussian", gaussianMethods, {{0 >= sigma, 6}},
                                             method, stream, n, r, a, sigma);
}

std::int32_t vdRngExponential(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                              double a, double beta) {
    return generate<&CopySet::vdRngExponential>("vdRngExponential", standardOrAccurate,
                                                {{0 >= beta, 6}}, method, stream, n, r, a, beta);
}

std::int32_t vsRngExponential(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                              float a, float beta) {
    return generate<&CopySet::vsRngExponential>("vsRngExponential", standardOrAccurate,
                                                {{0 >= beta, 6}}, method, stream, n, r, a, beta);
}

std::int32_t vdRngLaplace(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                          double a, double beta) {
    return generate<&CopySet::vdRngLaplace>("vdRngLaplace", onlyStandard, {{0 >= beta, 6}}, method,
                                            stream, n, r, a, beta);
}

std::int32_t vsRngLaplace(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                          float a, float beta) {
    return generate<&CopySet::vsRngLaplace>("vsRngLaplace", onlyStandard, {{0 >= beta, 6}}, method,
                                            stream, n, r, a, beta);
}

std::int32_t vdRngWeibull(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                          double alpha, double a, double beta) {
    return generate<&CopySet::vdRngWeibull>("vdRngWeibull", standardOrAccurate,
                                            {{0 >= alpha, 5}, {0 >= beta, 7}}, method, stream, n, r,
                                            alpha, a, beta);
}

std::int32_t vsRngWeibull(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                          float alpha, float a, float beta) {
    return generate<&CopySet::vsRngWeibull>("vsRngWeibull", standardOrAccurate,
                                            {{0 >= alpha, 5}, {0 >= beta, 7}}, method, stream, n, r,
                                            alpha, a, beta);
}

std::int32_t vdRngRayleigh(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                           double a, double beta) {
    return generate<&CopySet::vdRngRayleigh>("vdRngRayleigh", standardOrAccurate, {{0 >= beta, 6}},
                                             method, stream, n, r, a, beta);
}

std::int32_t vsRngRayleigh(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                           float a, float beta) {
    return generate<&CopySet::vsRngRayleigh>("vsRngRayleigh", standardOrAccurate, {{0 >= beta, 6}},
                                             method, stream, n, r, a, beta);
}

std::int32_t vdRngGumbel(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                         double a, double beta) {
    return generate<&CopySet::vdRngGumbel>("vdRngGumbel", onlyStandard, {{0 >= beta, 6}}, method,
                                           stream, n, r, a, beta);
}

std::int32_t vsRngGumbel(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                         float a, float beta) {
    return generate<&CopySet::vsRngGumbel>("vsRngGumbel", onlyStandard, {{0 >= beta, 6}}, method,
                                           stream, n, r, a, beta);
}

std::int32_t vdRngCauchy(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                         double a, double beta) {
    return generate<&CopySet::vdRngCauchy>("vdRngCauchy", onlyStandard, {{0 >= beta, 6}}, method,
                                           stream, n, r, a, beta);
}

std::int32_t vsRngCauchy(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                         float a, float beta) {
    return generate<&CopySet::vsRngCauchy>("vsRngCauchy", onlyStandard, {{0 >= beta, 6}}, method,
                                           stream, n, r, a, beta);
}

std::int32_t vdRngLognormal(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                            double a, double sigma, double b, double beta) {
    return generate<&CopySet::vdRngLognormal>("vdRngLognormal", lognormalMethods,
                                              {{0 >= sigma, 6}, {0 >= beta, 8}}, method, stream, n,
                                              r, a, sigma, b, beta);
}

std::int32_t vsRngLognormal(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                            float a, float sigma, float b, float beta) {
    return generate<&CopySet::vsRngLognormal>("vsRngLognormal", lognormalMethods,
                                              {{0 >= sigma, 6}, {0 >= beta, 8}}, method, stream, n,
                                              r, a, sigma, b, beta);
}

// The exported generators of integers.
#include "exports/entry.h"

using namespace korvan;

std::int32_t viRngUniform(std::int32_t method, StreamHandle stream, std::int32_t n, std::int32_t* r,
                          std::int32_t a, std::int32_t b) {
    return generate<&CopySet::viRngUniform>("viRngUniform", onlyStandard, {{a >= b, 5}}, method,
                                            stream, n, r, a, b);
}

std::int32_t viRngUniformBits(std::int32_t method, StreamHandle stream, std::int32_t n,
                              std::uint32_t* r) {
    return generate<&CopySet::viRngUniformBits>("viRngUniformBits", onlyStandard, {}, method,
                                                stream, n, r);
}

std::int32_t viRngUniformBits32(std::int32_t method, StreamHandle stream, std::int32_t n,
                                std::uint32_t* r) {
    return generate<&CopySet::viRngUniformBits32>("viRngUniformBits32", onlyStandard, {}, method,
                                                  stream, n, r);
}

std::int32_t viRngUniformBits64(std::int32_t method, StreamHandle stream, std::int32_t n,
                                std::uint64_t* r) {
    return generate<&CopySet::viRngUniformBits64>("viRngUniformBits64", onlyStandard, {}, method,
                                                  stream, n, r);
}

std::int32_t viRngBernoulli(std::int32_t method, StreamHandle stream, std::int32_t n,
                            std::int32_t* r, double p) {
    return generate<&CopySet::viRngBernoulli>("viRngBernoulli", onlyStandard, {{p < 0 || p > 1, 5}},
                                              method, stream, n, r, p);
}

std::int32_t viRngGeometric(std::int32_t method, StreamHandle stream, std::int32_t n,
                            std::int32_t* r, double p) {
    return generate<&CopySet::viRngGeometric>("viRngGeometric", onlyStandard,
                                              {{p <= 0 || p >= 1, 5}}, method, stream, n, r, p);
}

std::int32_t viRngPoisson(std::int32_t method, StreamHandle stream, std::int32_t n, std::int32_t* r,
                          double lambda) {
    return generate<&CopySet::viRngPoisson>("viRngPoisson", {METHOD_POISSON_NORMAL},
                                            {{lambda <= 0, 5}}, method, stream, n, r, lambda);
}

std::int32_t viRngPoissonV(std::int32_t method, StreamHandle stream, std::int32_t n,
                           std::int32_t* r, const double* lambda) {
    return generate<&CopySet::viRngPoissonV>("viRngPoissonV", onlyStandard, {{!lambda, 5}}, method,
                                             stream, n, r, lambda);
}

std::int32_t viRngMultinomial(std::int32_t method, StreamHandle stream, std::int32_t n,
                              std::int32_t* r, std::int32_t ntrial, std::int32_t k,
                              const double* p) {
    return generate<&CopySet::viRngMultinomial>("viRngMultinomial", onlyStandard,
                                                {{ntrial < 0, 5}, {k <= 0, 6}, {!p, 7}}, method,
                                                stream, n, r, ntrial, k, p);
}

// Poisson variates with a mean each, from one normal variate each, for kernel files.
//
// A mean of 1/16 or more: a polynomial in the normal variate g with coefficients that depend on the
// mean's binade and on its place t in it.  Smaller means: erf(|g| / sqrt(2)) is uniform, and is
// inverted by a few terms of the series.
#pragma once

#include "distributions/continuous/normal-inl.h"
#include "distributions/discrete/poisson_tables.h"
#include "distributions/discrete/truncate-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr double leastLargeMean = 0.0625;

HWY_INLINE std::int32_t ofLargeMean(double mean, double g) {
    constexpr std::int64_t leastExponent = 1019, lastRow = 17;
    std::uint64_t bits;
    std::memcpy(&bits, &mean, sizeof bits);
    const std::int64_t place = static_cast<std::int64_t>(bits >> 52 & 0x7FF) - leastExponent;
    const PoissonMeanRow& row = poissonMeanRows[place < lastRow ? place : lastRow];
    bits = (bits & 0xFFFFFFFFFFFFF) | 0x3FF0000000000000;
    double fraction;
    std::memcpy(&fraction, &bits, sizeof fraction);
    const double t = fraction - 1;
    const auto& c = row.cubics;
    double b[4];
    for (int j = 0; j < 4; ++j) b[j] = ((c[3][j] * t + c[2][j]) * t + c[1][j]) * t + c[0][j];
    const double a = 1.0 + mean + row.c[0] + t * row.c[1];
    const double deviation = _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(mean)));
    const double h = g * (b[0] + g * (b[1] + g * (b[2] + b[3] * g))) *
                     ((deviation + row.c[2]) + row.c[3] * t);
    const double x = a + h;
    return truncated(x > 0 ? x : 0);
}

// `uniform` is erf(|g| / sqrt(2)).  A mean of 0 or below gives 0.
HWY_INLINE std::int32_t ofSmallMean(double mean, double uniform) {
    constexpr std::int32_t most = 11;
    if (!(mean > 0)) return 0;
    const double total =
        ((0.16669916415448055 * mean * mean + 0.49999555884885266) * mean + 1.000000235204182) *
            mean +
        0.9999999978976929;
    const double w = total * uniform;
    std::int32_t k = 0;
    double sum = 1, term = 1;
    while (k < most && static_cast<double>(static_cast<float>(sum)) < w) {
        ++k;
        term *= mean / k;
        sum += term;
    }
    return k;
}

// The normal variates in r become Poisson ones with the means lambda[0 .. n-1].
HWY_INLINE void toPoisson(const double* lambda, std::size_t n, std::int32_t* r) {
    constexpr std::size_t block = 2048;
    constexpr float rootOfHalf = 0.70710677F;
    float small[block];
    std::int32_t places[block];
    for (std::size_t done = 0; done < n; done += block) {
        const std::size_t count = n - done < block ? n - done : block;
        const double* const means = lambda + done;
        std::int32_t* const counts = r + done;
        std::size_t smalls = 0;
        for (std::size_t i = 0; i < count; ++i) {
            float g;
            std::memcpy(&g, counts + i, sizeof g);
            if (means[i] < leastLargeMean) {
                small[smalls] = g * rootOfHalf;
                places[smalls++] = static_cast<std::int32_t>(i);
            } else {
                const std::int32_t y = ofLargeMean(means[i], double{g});
                std::memcpy(counts + i, &y, sizeof y);
            }
        }
        if (smalls == 0) continue;
        call(vsErf.la, smalls, small, small);
        for (std::size_t k = 0; k < smalls; ++k) {
            const std::int32_t y = ofSmallMean(means[places[k]], std::abs(double{small[k]}));
            std::memcpy(counts + places[k], &y, sizeof y);
        }
    }
}

HWY_INLINE std::int32_t fillByMeans(StreamHandle stream, std::int32_t n, std::int32_t* r,
                                    const double* lambda) {
    auto* const normals = reinterpret_cast<float*>(r);
    return drawNormals<float>(stream, n, normals, 0, 1, [&](float* part, std::size_t count) {
        const auto done = static_cast<std::size_t>(part - normals);
        toPoisson(lambda + done, count, r + done);
    });
}

}  // namespace
}  // namespace korvan::KORVAN_COPY

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

// The polynomial, of one element or of a vector of them, before it is cut to an integer.  C and B
// are the row's coefficients and the values of its cubics.
template <class V>
HWY_INLINE void polynomialOfMean(const V& mean, const V& t, const V& root, const V& g,
                                 const V (&C)[4], const V (&B)[4], V* x) {
    const V a = 1.0 + mean + C[0] + t * C[1];
    const V h = g * (B[0] + g * (B[1] + g * (B[2] + B[3] * g))) * ((root + C[2]) + C[3] * t);
    *x = a + h;
}

constexpr std::int64_t exponentOfFirstRow = 1019, lastRow = 17;

// ofLargeMeans: counts[0 .. groupOfMeans - 1] become the variates of the normal ones that stand
// there, for means from 1/16 on; where a mean is smaller, anything.
#if HWY_TARGET <= HWY_AVX2

constexpr std::size_t groupOfMeans = 4;
typedef double FourDoubles __attribute__((vector_size(32), aligned(8), may_alias));

// The four cubics of one element after the other, then each step of the polynomial for all four.
HWY_INLINE void ofLargeMeans(const double* means, std::int32_t* counts) {
    const __m256i words = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(means));
    const __m256i exponents =
        _mm256_and_si256(_mm256_srli_epi64(words, 52), _mm256_set1_epi64x(0x7FF));
    std::int64_t exponent[groupOfMeans];
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(exponent), exponents);
    const __m256i fractions =
        _mm256_or_si256(_mm256_and_si256(words, _mm256_set1_epi64x(0xFFFFFFFFFFFFF)),
                        _mm256_set1_epi64x(0x3FF0000000000000));
    const FourDoubles t = reinterpret_cast<const FourDoubles&>(fractions) - 1.0;

    FourDoubles b[groupOfMeans], c[groupOfMeans];  // by element
    for (std::size_t i = 0; i < groupOfMeans; ++i) {
        const std::int64_t place = exponent[i] - exponentOfFirstRow;
        const PoissonMeanRow& row =
            poissonMeanRows[place < 0 ? 0 : (place < lastRow ? place : lastRow)];
        const auto* cubics = reinterpret_cast<const FourDoubles*>(row.cubics);
        b[i] = ((cubics[3] * t[i] + cubics[2]) * t[i] + cubics[1]) * t[i] + cubics[0];
        c[i] = *reinterpret_cast<const FourDoubles*>(row.c);
    }
    FourDoubles B[4], C[4];  // by coefficient
    const auto transpose = [](const FourDoubles(&x)[4], FourDoubles(&y)[4]) {
        const FourDoubles even01 = __builtin_shufflevector(x[0], x[1], 0, 4, 2, 6),
                          odd01 = __builtin_shufflevector(x[0], x[1], 1, 5, 3, 7),
                          even23 = __builtin_shufflevector(x[2], x[3], 0, 4, 2, 6),
                          odd23 = __builtin_shufflevector(x[2], x[3], 1, 5, 3, 7);
        y[0] = __builtin_shufflevector(even01, even23, 0, 1, 4, 5);
        y[1] = __builtin_shufflevector(odd01, odd23, 0, 1, 4, 5);
        y[2] = __builtin_shufflevector(even01, even23, 2, 3, 6, 7);
        y[3] = __builtin_shufflevector(odd01, odd23, 2, 3, 6, 7);
    };
    transpose(b, B);
    transpose(c, C);

    auto* const place = reinterpret_cast<__m128i*>(counts);
    const __m256d mean = _mm256_loadu_pd(means), root = _mm256_sqrt_pd(mean);
    const __m256d g = _mm256_cvtps_pd(_mm_castsi128_ps(_mm_loadu_si128(place)));
    FourDoubles x;
    polynomialOfMean<FourDoubles>(mean, t, root, g, C, B, &x);
    // The second operand where the first is no number.
    const __m256d cut = _mm256_max_pd(x, _mm256_setzero_pd());
    _mm_storeu_si128(place, _mm256_cvttpd_epi32(cut));
}

#else

constexpr std::size_t groupOfMeans = 1;

HWY_INLINE void ofLargeMeans(const double* means, std::int32_t* counts) {
    std::uint64_t word;
    std::memcpy(&word, means, sizeof word);
    const std::int64_t place = static_cast<std::int64_t>(word >> 52 & 0x7FF) - exponentOfFirstRow;
    const PoissonMeanRow& row =
        poissonMeanRows[place < 0 ? 0 : (place < lastRow ? place : lastRow)];
    word = (word & 0xFFFFFFFFFFFFF) | 0x3FF0000000000000;
    double fraction, B[4], x;
    std::memcpy(&fraction, &word, sizeof fraction);
    const double t = fraction - 1, root = _mm_cvtsd_f64(_mm_sqrt_pd(_mm_set1_pd(*means)));
    const auto& c = row.cubics;
    for (int j = 0; j < 4; ++j) B[j] = ((c[3][j] * t + c[2][j]) * t + c[1][j]) * t + c[0][j];
    float g;
    std::memcpy(&g, counts, sizeof g);
    polynomialOfMean<double>(*means, t, root, double{g}, row.c, B, &x);
    const std::int32_t y = truncated(x > 0 ? x : 0);
    std::memcpy(counts, &y, sizeof y);
}

#endif

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

// The small means of a block, and what is drawn for them.
struct SmallMeans {
    static constexpr std::size_t block = 2048;
    static constexpr float rootOfHalf = 0.70710677F;

    float x[block];
    std::int32_t places[block];
    std::size_t size;

    HWY_INLINE void collect(const double* means, const std::int32_t* counts, std::size_t n) {
        size = 0;
        for (std::size_t i = 0; i < n; ++i) size += means[i] < leastLargeMean ? 1 : 0;
        if (size == 0) return;
        std::size_t found = 0;
        for (std::size_t i = 0; i < n; ++i) {
            float g;
            std::memcpy(&g, counts + i, sizeof g);
            x[found] = g * rootOfHalf;
            places[found] = static_cast<std::int32_t>(i);
            found += means[i] < leastLargeMean ? 1 : 0;
        }
    }
    HWY_INLINE void invert(const double* means, std::int32_t* counts) {
        call(vsErf.la, size, x, x);
        for (std::size_t i = 0; i < size; ++i) {
            const std::int32_t y = ofSmallMean(means[places[i]], std::abs(double{x[i]}));
            std::memcpy(counts + places[i], &y, sizeof y);
        }
    }
};

// The normal variates in r become Poisson ones with the means lambda[0 .. n-1].
HWY_INLINE void toPoisson(const double* lambda, std::size_t n, std::int32_t* r) {
    SmallMeans small;
    for (std::size_t done = 0; done < n; done += SmallMeans::block) {
        const std::size_t count = n - done < SmallMeans::block ? n - done : SmallMeans::block;
        const double* const means = lambda + done;
        std::int32_t* const counts = r + done;
        small.collect(means, counts, count);
        if (small.size < count) {
            std::size_t i = 0;
            for (; i + groupOfMeans <= count; i += groupOfMeans) {
                ofLargeMeans(means + i, counts + i);
            }
            if (i < count) {
                double lastMeans[groupOfMeans] = {};
                std::int32_t last[groupOfMeans] = {};
                std::memcpy(lastMeans, means + i, (count - i) * sizeof *means);
                std::memcpy(last, counts + i, (count - i) * sizeof *counts);
                ofLargeMeans(lastMeans, last);
                std::memcpy(counts + i, last, (count - i) * sizeof *counts);
            }
        }
        if (small.size > 0) small.invert(means, counts);
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

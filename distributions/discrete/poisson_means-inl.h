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

// Means that are worked on together: wide vectors have them by fours.
#if HWY_TARGET <= HWY_AVX2
constexpr std::size_t groupOfMeans = 4;
typedef double MeanVector __attribute__((vector_size(32), aligned(8), may_alias));
#else
constexpr std::size_t groupOfMeans = 1;
typedef double MeanVector;
#endif

// What the polynomial needs of a group of means from 1/16 on; of smaller ones it holds anything.
struct MeanTerms {
    MeanVector a, deviation, b[4];

    // c and b are the means' coefficients and the values of their cubics.
    HWY_INLINE void set(const MeanVector& mean, const MeanVector& t, const MeanVector& root,
                        const MeanVector (&c)[4]) {
        a = 1.0 + mean + c[0] + t * c[1];
        deviation = (root + c[2]) + c[3] * t;
    }
    HWY_INLINE void evaluate(const MeanVector& g, MeanVector* x) const {
        *x = a + g * (b[0] + g * (b[1] + g * (b[2] + b[3] * g))) * deviation;
    }
};

HWY_INLINE const PoissonMeanRow& rowOfExponent(std::int64_t biased) {
    constexpr std::int64_t first = 1019, last = 17;
    const std::int64_t place = biased - first;
    return poissonMeanRows[place < 0 ? 0 : (place < last ? place : last)];
}

// termsOf: those of a group of means.  evaluate: the counts from a group of erf^-1(v), which can
// stand in the same memory; normal variates are sqrt(2) times as large.
#if HWY_TARGET <= HWY_AVX2

// The four cubics of one mean after the other, then the rest of all four.
HWY_INLINE MeanTerms termsOf(const double* means) {
    const __m256i words = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(means));
    std::int64_t exponents[groupOfMeans];
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(exponents),
                        _mm256_and_si256(_mm256_srli_epi64(words, 52), _mm256_set1_epi64x(0x7FF)));
    const __m256i fractions =
        _mm256_or_si256(_mm256_and_si256(words, _mm256_set1_epi64x(0xFFFFFFFFFFFFF)),
                        _mm256_set1_epi64x(0x3FF0000000000000));
    const MeanVector t = reinterpret_cast<const MeanVector&>(fractions) - 1.0;

    MeanVector ofMean[groupOfMeans], cOfMean[groupOfMeans], c[4];
    for (std::size_t i = 0; i < groupOfMeans; ++i) {
        const PoissonMeanRow& row = rowOfExponent(exponents[i]);
        const auto* cubics = reinterpret_cast<const MeanVector*>(row.cubics);
        ofMean[i] = ((cubics[3] * t[i] + cubics[2]) * t[i] + cubics[1]) * t[i] + cubics[0];
        cOfMean[i] = *reinterpret_cast<const MeanVector*>(row.c);
    }
    const auto transpose = [](const MeanVector(&x)[4], MeanVector(&y)[4]) {
        const MeanVector even01 = __builtin_shufflevector(x[0], x[1], 0, 4, 2, 6),
                         odd01 = __builtin_shufflevector(x[0], x[1], 1, 5, 3, 7),
                         even23 = __builtin_shufflevector(x[2], x[3], 0, 4, 2, 6),
                         odd23 = __builtin_shufflevector(x[2], x[3], 1, 5, 3, 7);
        y[0] = __builtin_shufflevector(even01, even23, 0, 1, 4, 5);
        y[1] = __builtin_shufflevector(odd01, odd23, 0, 1, 4, 5);
        y[2] = __builtin_shufflevector(even01, even23, 2, 3, 6, 7);
        y[3] = __builtin_shufflevector(odd01, odd23, 2, 3, 6, 7);
    };
    MeanTerms terms;
    transpose(ofMean, terms.b);
    transpose(cOfMean, c);
    const __m256d mean = _mm256_loadu_pd(means);
    terms.set(mean, t, _mm256_sqrt_pd(mean), c);
    return terms;
}

HWY_INLINE void evaluate(const MeanTerms& terms, const float* halves, std::int32_t* counts) {
    const __m128 normals = _mm_mul_ps(_mm_loadu_ps(halves), _mm_set1_ps(rootOfTwo<float>));
    MeanVector x;
    terms.evaluate(_mm256_cvtps_pd(normals), &x);
    // The second operand where the first is no number.
    const __m256d cut = _mm256_max_pd(x, _mm256_setzero_pd());
    _mm_storeu_si128(reinterpret_cast<__m128i*>(counts), _mm256_cvttpd_epi32(cut));
}

#else

HWY_INLINE MeanTerms termsOf(const double* means) {
    std::uint64_t word;
    std::memcpy(&word, means, sizeof word);
    const PoissonMeanRow& row = rowOfExponent(static_cast<std::int64_t>(word >> 52 & 0x7FF));
    word = (word & 0xFFFFFFFFFFFFF) | 0x3FF0000000000000;
    double fraction;
    std::memcpy(&fraction, &word, sizeof fraction);
    const double t = fraction - 1;
    const auto& cubics = row.cubics;
    MeanTerms terms;
    for (int j = 0; j < 4; ++j) {
        terms.b[j] = ((cubics[3][j] * t + cubics[2][j]) * t + cubics[1][j]) * t + cubics[0][j];
    }
    terms.set(*means, t, _mm_cvtsd_f64(_mm_sqrt_pd(_mm_set1_pd(*means))), row.c);
    return terms;
}

HWY_INLINE void evaluate(const MeanTerms& terms, const float* halves, std::int32_t* counts) {
    float half;
    std::memcpy(&half, halves, sizeof half);
    double x;
    terms.evaluate(half * rootOfTwo<float>, &x);
    const std::int32_t y = truncated(x > 0 ? x : 0);
    std::memcpy(counts, &y, sizeof y);
}

#endif

// The terms of the group that begins with mean i of n; the last group can be a part of one.
struct TermsOfArray {
    const double* means;
    std::size_t n;

    HWY_INLINE MeanTerms operator()(std::size_t i) const {
        if (HWY_LIKELY(i + groupOfMeans <= n)) return termsOf(means + i);
        double filledUp[groupOfMeans] = {};
        std::memcpy(filledUp, means + i, (n - i) * sizeof *means);
        return termsOf(filledUp);
    }
};

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

    HWY_INLINE void collect(const double* means, const float* halves, std::size_t n) {
        size = 0;
        for (std::size_t i = 0; i < n; ++i) size += means[i] < leastLargeMean ? 1 : 0;
        if (size == 0) return;
        std::size_t found = 0;
        for (std::size_t i = 0; i < n; ++i) {
            float g;
            std::memcpy(&g, halves + i, sizeof g);
            x[found] = g * rootOfTwo<float> * rootOfHalf;
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

// Counts with the means lambda[0 .. n-1] from as many erf^-1(v), which can stand in the same
// memory.
//  termsAt(i) gives the terms of the group that begins with mean i.
template <class TermsAt>
HWY_INLINE void toPoisson(const double* lambda, std::size_t n, const float* halves,
                          std::int32_t* counts, TermsAt termsAt) {
    SmallMeans small;
    for (std::size_t done = 0; done < n; done += SmallMeans::block) {
        const std::size_t end = n - done < SmallMeans::block ? n : done + SmallMeans::block;
        small.collect(lambda + done, halves + done, end - done);
        if (small.size < end - done) {
            std::size_t i = done;
            for (; i + groupOfMeans <= end; i += groupOfMeans) {
                evaluate(termsAt(i), halves + i, counts + i);
            }
            if (i < end) {
                float last[groupOfMeans] = {};
                std::int32_t lastCounts[groupOfMeans];
                std::memcpy(last, halves + i, (end - i) * sizeof *halves);
                evaluate(termsAt(i), last, lastCounts);
                std::memcpy(counts + i, lastCounts, (end - i) * sizeof *counts);
            }
        }
        if (small.size > 0) small.invert(lambda + done, counts + done);
    }
}

}  // namespace
}  // namespace korvan::KORVAN_COPY

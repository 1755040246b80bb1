// Poisson variates with a mean each, from one normal variate each, for kernel files.
//
// A mean of 1/16 or more: a polynomial in the normal variate g with coefficients that depend on the
// mean's binade and on its place t in it.  Smaller means: erf(|g| / sqrt(2)) is uniform, and is
// inverted by a few terms of the series of exp(mean).
#pragma once

#include "distributions/discrete/poisson_tables.h"
#include "distributions/shared/normal-inl.h"
#include "distributions/shared/truncate-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr double leastLargeMean = 0.0625;

// Means that are worked on together.
#if HWY_TARGET <= HWY_AVX3
constexpr std::size_t groupOfMeans = 8;
using MeanVector = __m512d;
#elif HWY_TARGET <= HWY_AVX2
constexpr std::size_t groupOfMeans = 4;
using MeanVector = __m256d;
#else
constexpr std::size_t groupOfMeans = 1;
using MeanVector = double;
#endif

// What the polynomial needs of a group of means from 1/16 on; of smaller ones it holds anything.
struct MeanTerms {
    MeanVector a, deviation, b[4];

    // c: the means' coefficients.  b, the values of their cubics, is set apart.
    HWY_INLINE void set(const MeanVector& mean, const MeanVector& t, const MeanVector& root,
                        const MeanVector (&c)[4]) {
        a = 1.0 + mean + c[0] + t * c[1];
        deviation = (root + c[2]) + c[3] * t;
    }
    HWY_INLINE void evaluate(const MeanVector& g, MeanVector* x) const {
        *x = a + g * (b[0] + g * (b[1] + g * (b[2] + b[3] * g))) * deviation;
    }
};

constexpr std::int64_t exponentOfFirstRow = 1019, lastRow = poissonMeanRowCount - 1;

HWY_INLINE const PoissonMeanRow& rowOfExponent(std::int64_t biased) {
    const std::int64_t place = biased - exponentOfFirstRow;
    return poissonMeanRows[place < 0 ? 0 : (place < lastRow ? place : lastRow)];
}

// termsOf: those of a group of means.  evaluate: the counts from a group of erf^-1(v), which can
// stand in the same memory; normal variates are sqrt(2) times as large.
#if HWY_TARGET <= HWY_AVX3

// Two vectors hold a coefficient of sixteen rows, and one instruction picks from both.
HWY_INLINE MeanTerms termsOf(const double* means) {
    const __m512d mean = _mm512_loadu_pd(means), one = _mm512_set1_pd(1);
    const __m512i words = _mm512_castpd_si512(mean);
    const __m512i exponent =
        _mm512_and_si512(_mm512_srli_epi64(words, 52), _mm512_set1_epi64(0x7FF));
    const __m512i above = _mm512_sub_epi64(exponent, _mm512_set1_epi64(exponentOfFirstRow));
    const __m512i row = _mm512_max_epi64(_mm512_min_epi64(above, _mm512_set1_epi64(lastRow)),
                                         _mm512_setzero_si512());
    const __mmask8 isBehind = _mm512_cmpgt_epi64_mask(row, _mm512_set1_epi64(15));
    const auto pick = [&](const double(&column)[24]) {
        const __m512d near =
            _mm512_permutex2var_pd(_mm512_loadu_pd(column), row, _mm512_loadu_pd(column + 8));
        if (HWY_LIKELY(isBehind == 0)) return near;
        return _mm512_mask_permutexvar_pd(near, isBehind, row, _mm512_loadu_pd(column + 16));
    };
    const __m512i mantissa = _mm512_and_si512(words, _mm512_set1_epi64(0xFFFFFFFFFFFFF));
    const __m512d t = _mm512_sub_pd(
        _mm512_castsi512_pd(_mm512_or_si512(mantissa, _mm512_castpd_si512(one))), one);
    MeanTerms terms;
    MeanVector c[4];
    for (int k = 0; k < 4; ++k) {
        c[k] = pick(poissonMeanColumns.c[k]);
        __m512d b = pick(poissonMeanColumns.cubics[3][k]);
        for (int power = 2; power >= 0; --power) {
            b = _mm512_add_pd(_mm512_mul_pd(b, t), pick(poissonMeanColumns.cubics[power][k]));
        }
        terms.b[k] = b;
    }
    terms.set(mean, t, _mm512_sqrt_pd(mean), c);
    return terms;
}

HWY_INLINE void evaluate(const MeanTerms& terms, const float* unscaled, std::int32_t* counts) {
    const __m256 normals =
        _mm256_mul_ps(_mm256_loadu_ps(unscaled), _mm256_set1_ps(rootOfTwo<float>));
    MeanVector x;
    terms.evaluate(_mm512_cvtps_pd(normals), &x);
    // The second operand where the first is no number.
    const __m512d cut = _mm512_max_pd(x, _mm512_setzero_pd());
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(counts), _mm512_cvttpd_epi32(cut));
}

#elif HWY_TARGET <= HWY_AVX2

// 1.f - 1, f the mantissa.
HWY_INLINE __m256d fractionOf(__m256d mean) {
    const __m256d mantissa = _mm256_castsi256_pd(_mm256_set1_epi64x(0xFFFFFFFFFFFFF));
    const __m256d one = _mm256_set1_pd(1);
    return _mm256_sub_pd(_mm256_or_pd(_mm256_and_pd(mean, mantissa), one), one);
}

// Rows x and y, from place `at` on: x[at], x[at + 1], y[at], y[at + 1].
HWY_INLINE __m256d pairsOf(const double* x, const double* y) {
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(x)), _mm_loadu_pd(y), 1);
}

// The four cubics of one mean after the other, then the rest of all four.  What can come from
// memory does: shuffles are what the processor has one unit for.
HWY_INLINE MeanTerms termsOf(const double* means) {
    const PoissonMeanRow* row[groupOfMeans];
    __m256d b[groupOfMeans];  // by mean
    for (std::size_t i = 0; i < groupOfMeans; ++i) {
        std::uint64_t word;
        std::memcpy(&word, means + i, sizeof word);
        row[i] = &rowOfExponent(static_cast<std::int64_t>(word >> 52 & 0x7FF));
        const __m256d t = fractionOf(_mm256_broadcast_sd(means + i));
        const auto& cubics = row[i]->cubics;
        b[i] = _mm256_loadu_pd(cubics[3]);
        for (int power = 2; power >= 0; --power) {
            b[i] = _mm256_add_pd(_mm256_mul_pd(b[i], t), _mm256_loadu_pd(cubics[power]));
        }
    }
    const auto transpose = [](__m256d pairs02, __m256d pairs13, MeanVector* x, MeanVector* y) {
        *x = _mm256_unpacklo_pd(pairs02, pairs13);
        *y = _mm256_unpackhi_pd(pairs02, pairs13);
    };
    MeanTerms terms;
    transpose(_mm256_permute2f128_pd(b[0], b[2], 0x20), _mm256_permute2f128_pd(b[1], b[3], 0x20),
              &terms.b[0], &terms.b[1]);
    transpose(_mm256_permute2f128_pd(b[0], b[2], 0x31), _mm256_permute2f128_pd(b[1], b[3], 0x31),
              &terms.b[2], &terms.b[3]);
    MeanVector c[4];
    for (int k = 0; k < 4; k += 2) {
        transpose(pairsOf(row[0]->c + k, row[2]->c + k), pairsOf(row[1]->c + k, row[3]->c + k),
                  &c[k], &c[k + 1]);
    }
    const __m256d mean = _mm256_loadu_pd(means);
    terms.set(mean, fractionOf(mean), _mm256_sqrt_pd(mean), c);
    return terms;
}

HWY_INLINE void evaluate(const MeanTerms& terms, const float* unscaled, std::int32_t* counts) {
    const __m128 normals = _mm_mul_ps(_mm_loadu_ps(unscaled), _mm_set1_ps(rootOfTwo<float>));
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

HWY_INLINE void evaluate(const MeanTerms& terms, const float* unscaled, std::int32_t* counts) {
    float value;
    std::memcpy(&value, unscaled, sizeof value);
    double x;
    terms.evaluate(value * rootOfTwo<float>, &x);
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

// The small means of a block, and what is drawn for them: erf(|g| / sqrt(2)) times the approximate
// sum of the series is held against its partial sums.  A mean of 0 or below gives 0.
struct SmallMeans {
    static constexpr std::size_t block = 2048;
    static constexpr float rootOfHalf = 0.70710677F;

    double mean[block], w[block];
    float x[block];
    std::int32_t places[block];
    std::size_t size;

    HWY_INLINE void collect(const double* means, const float* unscaled, std::size_t n) {
        size = 0;
        for (std::size_t i = 0; i < n; ++i) size += means[i] < leastLargeMean ? 1 : 0;
        if (size == 0) return;
        std::size_t found = 0;
        for (std::size_t i = 0; i < n; ++i) {
            float value;
            std::memcpy(&value, unscaled + i, sizeof value);
            x[found] = value * rootOfTwo<float> * rootOfHalf;
            mean[found] = means[i];
            places[found] = static_cast<std::int32_t>(i);
            found += means[i] < leastLargeMean ? 1 : 0;
        }
    }

    HWY_INLINE void invert(std::int32_t* counts) {
        call(vsErfBaseline.la, size, x, x);
        for (std::size_t i = 0; i < size; ++i) {
            const double L = mean[i];
            const double sum =
                ((0.16669916415448055 * L * L + 0.49999555884885266) * L + 1.000000235204182) * L +
                0.9999999978976929;
            w[i] = L > 0 ? sum * std::abs(double{x[i]}) : 0;
        }
        for (std::size_t i = 0; i < size; ++i) {
            const std::int32_t y = w[i] > 1 ? search(mean[i], w[i]) : 0;
            std::memcpy(counts + places[i], &y, sizeof y);
        }
    }

  private:
    static HWY_INLINE std::int32_t search(double mean, double w) {
        constexpr std::int32_t most = 11;
        std::int32_t k = 0;
        double sum = 1, term = 1;
        while (k < most && static_cast<double>(static_cast<float>(sum)) < w) {
            ++k;
            term *= mean / k;
            sum += term;
        }
        return k;
    }
};

// Counts with the means lambda[0 .. n-1] from as many erf^-1(v), which can stand in the same
// memory.
//  termsAt(i) gives the terms of the group that begins with mean i.
template <class TermsAt>
HWY_INLINE void toPoisson(const double* lambda, std::size_t n, const float* unscaled,
                          std::int32_t* counts, TermsAt termsAt) {
    SmallMeans small;
    for (std::size_t done = 0; done < n; done += SmallMeans::block) {
        const std::size_t end = n - done < SmallMeans::block ? n : done + SmallMeans::block;
        small.collect(lambda + done, unscaled + done, end - done);
        if (small.size < end - done) {
            std::size_t i = done;
            for (; i + groupOfMeans <= end; i += groupOfMeans) {
                evaluate(termsAt(i), unscaled + i, counts + i);
            }
            if (i < end) {
                float last[groupOfMeans] = {};
                std::int32_t lastCounts[groupOfMeans];
                std::memcpy(last, unscaled + i, (end - i) * sizeof *unscaled);
                evaluate(termsAt(i), last, lastCounts);
                std::memcpy(counts + i, lastCounts, (end - i) * sizeof *counts);
            }
        }
        if (small.size > 0) small.invert(counts + done);
    }
}

}  // namespace
}  // namespace korvan::KORVAN_COPY

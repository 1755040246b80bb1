// The multinomial law: rows of k counts, how often each category came in ntrial trials.
//
// Independent Poisson counts with means proportional to p are, given their sum, multinomial.  A row
// starts from such counts with a sum somewhat below ntrial, is filled up by single trials, and is
// drawn again if the sum came out too large.  Few trials over many categories are all single ones.
#include <cstring>

#include "distributions/discrete/poisson_means-inl.h"
#include "distributions/kernels.h"
#include "distributions/shared/law_frame-inl.h"
#include "distributions/shared/replacements.h"
#include "frame/memory.h"

namespace korvan::KORVAN_COPY {
namespace {

// Doubles from the heap, for the length of a call.
class Doubles {
  public:
    Doubles() = default;
    ~Doubles() { alignedFree(data_); }
    Doubles(const Doubles&) = delete;
    Doubles& operator=(const Doubles&) = delete;

    // Room for n, with anything in it.
    bool reserve(std::size_t n) {
        if (n <= size_) return true;
        alignedFree(data_);
        data_ = static_cast<double*>(alignedAlloc(n * sizeof(double), recordAlignment));
        size_ = data_ ? n : 0;
        return data_ != nullptr;
    }
    double* data() { return data_; }

  private:
    double* data_ = nullptr;
    std::size_t size_ = 0;
};

struct Law {
    std::int32_t ntrial;
    std::size_t k;
    const double* lambda;
    const double* ends;   // running sums of p
    const double* terms;  // a MeanTerms for each group of means, unaligned; or null
};

constexpr std::size_t doublesOfTerms = sizeof(MeanTerms) / sizeof(double);

// How many doubles behind the uniforms, zeros, are read with them.
constexpr std::size_t slack = 16;

// The category whose part of (0, 1] holds u: the first one whose end isn't below it.  The ends are
// in order, but for a NaN of the caller's, which ends the search as well.
HWY_INLINE std::size_t categoryOf(const Law& law, double u) {
    std::size_t first = 0;
    for (std::size_t left = law.k; left > 0;) {
        const std::size_t half = (left + 1) / 2;
        first += half * static_cast<std::size_t>(u > law.ends[first + half - 1]);
        left -= half;
    }
    return first;
}

// Adds a trial for each uniform to its category; none, if there is none, or for a uniform of 0.
HWY_INLINE void addTrials(const Law& law, const double* u, std::size_t trials, std::int32_t* row) {
    // Few ends: as many trials fell into a category as lie above its begin and not above its end.
    constexpr std::size_t mostCounted = 16 * HWY_LANES(double);
    if (law.k <= mostCounted) {
        namespace hn = hwy::HWY_NAMESPACE;
        const hn::ScalableTag<double> tag;
        for (std::size_t i = 0; i < trials; i += slack) {
            const auto countAbove = [&](double end) {
                std::size_t count = 0;
                for (std::size_t j = i; j < i + slack; j += HWY_LANES(double)) {
                    count += hn::CountTrue(tag, hn::Gt(hn::LoadU(tag, u + j), hn::Set(tag, end)));
                }
                return static_cast<std::int32_t>(count);
            };
            std::int32_t aboveBegin = countAbove(0);
            for (std::size_t k = 0; k < law.k; ++k) {
                const std::int32_t aboveEnd = countAbove(law.ends[k]);
                row[k] += aboveBegin - aboveEnd;
                aboveBegin = aboveEnd;
            }
        }
        return;
    }
    for (std::size_t i = 0; i < trials; ++i) {
        const std::size_t category = categoryOf(law, u[i]);
        if (u[i] > 0 && category < law.k) ++row[category];
    }
}

HWY_INLINE std::int32_t drawTrials(const Law& law, StreamHandle stream, std::size_t trials,
                                   std::int32_t* row, Doubles& uniforms) {
    if (!uniforms.reserve(trials + slack)) return RNG_NO_MEMORY;
    std::memset(uniforms.data() + trials, 0, slack * sizeof(double));
    const std::int32_t status = drawUniforms<double>(stream, trials, uniforms.data(), 0, 1);
    if (status >= 0) addTrials(law, uniforms.data(), trials, row);
    return status;
}

// More than ntrial in all, or in one category more than 32 bits hold: -1.
HWY_INLINE std::int64_t trialsOf(const Law& law, const std::int32_t* row) {
    std::int64_t sum = 0;
    std::int32_t least = 0;
    for (std::size_t i = 0; i < law.k; ++i) {
        sum += row[i];
        least = row[i] < least ? row[i] : least;
    }
    return least < 0 || sum > law.ntrial ? -1 : sum;
}

// One row of Poisson counts.
HWY_INLINE std::int32_t drawCounts(const Law& law, StreamHandle stream, std::int32_t* row) {
    auto* const unscaled = reinterpret_cast<float*>(row);
    const std::int32_t status = drawErfInvForCounts(stream, static_cast<std::int32_t>(law.k),
                                                    unscaled, [](float*, std::size_t) {});
    if (status < 0) return status;
    if (law.terms) {
        toPoisson(law.lambda, law.k, unscaled, row, [&](std::size_t i) {
            MeanTerms terms;
            std::memcpy(&terms, law.terms + i / groupOfMeans * doublesOfTerms, sizeof terms);
            return terms;
        });
    } else {
        toPoisson(law.lambda, law.k, unscaled, row, TermsOfArray{law.lambda, law.k});
    }
    return status;
}

// A row fails with a probability of 43/44 at most (setMeans).  A sum above ntrial that often, once
// in 10^20 rows, isn't chance but a stream whose numbers are all alike.
constexpr int mostAttempts = 1 << 11;

HWY_INLINE std::int32_t fillRow(const Law& law, StreamHandle stream, std::int32_t* row,
                                Doubles& uniforms) {
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        const std::int32_t status = drawCounts(law, stream, row);
        if (status < 0) return status;
        const std::int64_t sum = trialsOf(law, row);
        if (sum < 0) continue;
        const auto missing = static_cast<std::size_t>(law.ntrial - sum);
        return missing == 0 ? status : drawTrials(law, stream, missing, row, uniforms);
    }
    return RNG_BAD_STREAM;
}

double rootOf(double x) {
    call(vdSqrt.ha, 1, &x, &x);
    return x;
}

// The sum of the Poisson means: below ntrial by about its deviation and that of the single trials.
double baseOf(double ntrial, double k) {
    const double root = rootOf(ntrial);
    return root < k ? (ntrial - root) - rootOf(k - root) : ntrial - k;
}

// The means, in proportion to p.  Where p sums to so much more than 1 that the sum of a row would
// never be small enough, they are made smaller: given the sum, the counts have the same law.
void setMeans(double ntrial, std::size_t k, const double* p, double sum, double* lambda) {
    constexpr double hopeless = 2;  // deviations: one row in 44
    double base = baseOf(ntrial, static_cast<double>(k));
    if (base * sum - ntrial > hopeless * rootOf(ntrial)) base /= sum;
    for (std::size_t i = 0; i < k; ++i) lambda[i] = base * p[i];
}

}  // namespace

std::int32_t viRngMultinomial(std::int32_t, StreamHandle stream, std::int32_t n, std::int32_t* r,
                              std::int32_t ntrial, std::int32_t k, const double* p) {
    const auto rows = static_cast<std::size_t>(n), categories = static_cast<std::size_t>(k);
    if (ntrial == 0) {
        std::memset(r, 0, rows * categories * sizeof *r);
        return RNG_OK;
    }
    double sum = 0;
    for (std::size_t i = 0; i < categories; ++i) {
        if (p[i] < 0) return RNG_BAD_WEIGHTS;
        sum += p[i];
    }
    if (sum < 0.999 || sum > 1.001) return RNG_BAD_WEIGHTS;
    if (k == 1) {
        for (std::size_t j = 0; j < rows; ++j) r[j] = ntrial;
        return RNG_OK;
    }

    const LawFrame frame(Replace<float>::logarithmOrErfInv);
    // Terms serve many rows; where they would take more than the caches, they are made anew.
    constexpr std::size_t mostPrepared = 1 << 14;
    const std::size_t groups = (categories + groupOfMeans - 1) / groupOfMeans;
    const bool isDirect = ntrial <= 16 && categories >= 16 * static_cast<std::size_t>(ntrial);
    const bool isPrepared = rows > 1 && categories <= mostPrepared && !isDirect;
    Doubles table, uniforms;
    const std::size_t termDoubles = isPrepared ? groups * doublesOfTerms : 0;
    if (!table.reserve(termDoubles + 2 * categories)) return RNG_NO_MEMORY;
    double* const lambda = table.data() + termDoubles;
    double* const ends = lambda + categories;
    setMeans(ntrial, categories, p, sum, lambda);
    double end = 0;
    for (std::size_t i = 0; i < categories; ++i) ends[i] = end += p[i];
    for (std::size_t i = 0; isPrepared && i < groups; ++i) {
        const MeanTerms terms = TermsOfArray{lambda, categories}(i * groupOfMeans);
        std::memcpy(table.data() + i * doublesOfTerms, &terms, sizeof terms);
    }

    const Law law{ntrial, categories, lambda, ends, isPrepared ? table.data() : nullptr};
    std::int32_t status = RNG_OK;
    for (std::size_t j = 0; j < rows; ++j) {
        std::int32_t* const row = r + j * categories;
        if (isDirect) {
            std::memset(row, 0, categories * sizeof *row);
            status = drawTrials(law, stream, static_cast<std::size_t>(ntrial), row, uniforms);
        } else {
            status = fillRow(law, stream, row, uniforms);
        }
        if (status < 0) return status;
    }
    return status;
}

}  // namespace korvan::KORVAN_COPY

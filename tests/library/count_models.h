// The laws of counts as scalar models, one element or one candidate after the other.
//
// A model draws from a twin of the stream under test, through the exported functions and in the
// law's blocks, so that the twin's state shows what the law consumed.  Its arithmetic has the law's
// widths and order; tests are compiled without instructions that fuse.  Only the transforms of
// lists can't be had to the last bit: logarithms and the error function are the C library's here,
// and where their last bits decide, a model gives every count that the library's error bound
// allows.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "distributions/shared/replacements.h"
#include "support.h"
#include "vector_calls.h"

namespace korvan::testing {

// ---- What a model draws ----

template <class Real>
std::vector<Real> uniforms(StreamHandle s, std::size_t n, Real high = 1) {
    std::vector<Real> u(n);
    const auto size = static_cast<std::int32_t>(n);
    if constexpr (sizeof(Real) == 8) {
        EXPECT_EQ(vdRngUniform(0, s, size, u.data(), 0, high), RNG_OK);
    } else {
        EXPECT_EQ(vsRngUniform(0, s, size, u.data(), 0, high), RNG_OK);
    }
    return u;
}

// For counts: one formula in every copy, the base copy's.
inline std::vector<float> gaussians(StreamHandle s, std::size_t n, float mean = 0,
                                    float sigma = 1) {
    const auto size = static_cast<std::int32_t>(n);
    std::vector<float> v(n), g(n);
    EXPECT_EQ(vsRngUniform(0, s, size, v.data(), -1, 1), RNG_OK);
    copySetOfBranch(0).vectorKernels->vsErfInvBaseline->la(size, v.data(), g.data());
    for (std::size_t i = 0; i < n; ++i) {
        const float inverse = v[i] == -1 ? -static_cast<float>(largestSingleErfInv) : g[i];
        g[i] = inverse * (1.41421356F * sigma) + mean;
    }
    return g;
}

// Poisson method 0: uniforms of a block.
inline std::size_t poissonBlock() {
    return vslGetBranchNumber() < 8 ? 2024 : 2048;
}

// ---- What a model gives ----

// The processor's conversion: -2^31 for what 32 bits can't hold.
inline std::int32_t truncated(double x) {
    return x > -2147483649.0 && x < 2147483648.0 ? static_cast<std::int32_t>(x)
                                                 : std::numeric_limits<std::int32_t>::min();
}

// A count, and the bounds that the transforms' errors leave it.
struct Count {
    std::int32_t value, low, high;

    explicit Count(std::int32_t exact) : Count(exact, exact, exact) {}
    Count(std::int32_t nominal, std::int32_t least, std::int32_t most)
        : value(nominal), low(least), high(most) {}
    bool admits(std::int32_t r) const {
        const auto size = [](std::int32_t k) { return static_cast<std::uint32_t>(k); };
        return size(low) <= size(r) && size(r) <= size(high);  // -2^31 stands for 2^31 and more
    }
};
using Counts = std::vector<Count>;

// A transformed single, and the ends of its error of 4 ulp.
struct Transformed {
    float value, low, high;

    explicit Transformed(double exact)
        : value(static_cast<float>(exact)),
          low(static_cast<float>(exact - 0x1p-21 * std::abs(exact))),
          high(static_cast<float>(exact + 0x1p-21 * std::abs(exact))) {}
};
inline Transformed logarithm(float u) {
    return Transformed(u == 0 ? double{-103.27893F} : std::log(double{u}));
}

// ---- One uniform an element ----

inline Counts bernoulli(StreamHandle s, std::size_t n, double p) {
    Counts counts;
    for (const float u : uniforms<float>(s, n)) {
        // Not to be told by <: a NaN is above all uniforms, and p of 1 always wins.
        counts.emplace_back(p == 1 || !(u >= static_cast<float>(p)));
    }
    return counts;
}

inline Counts geometric(StreamHandle s, std::size_t n, double p) {
    const auto w = static_cast<float>(1 / std::log(1 - p));
    const auto count = [w](float ln) { return truncated(std::floor(ln * w)); };
    Counts counts;
    while (counts.size() < n) {
        for (const float u : uniforms<float>(s, std::min<std::size_t>(n - counts.size(), 1024))) {
            const Transformed ln = logarithm(u);
            counts.emplace_back(count(ln.value), count(ln.high), count(ln.low));
        }
    }
    return counts;
}

// ---- Poisson, method 0 ----

// What hangs on the stream.
struct PoissonRecord {
    float lambda, m, invM, invM3, lnMOverLambda, p1, p2, p3, p4, c, invC, invP1, xm, xl, xr, laml,
        lamr, invLaml, invLamr, stirlingBase, ratioDown[32], ratioUp[32];
    double tableLambda, cumulative[44];
};
static_assert(sizeof(PoissonRecord) == 696);

// The distribution function up to 16 beyond the mean, from a given P(0).
struct PoissonTable {
    double lambda;
    std::size_t M, N;
    std::vector<double> cumulative;

    PoissonTable(double mean, double p0)
        : lambda(mean), M(static_cast<std::size_t>(mean)), N(M + 16), cumulative{p0} {
        double p = p0;
        for (std::size_t k = 1; k < N; ++k) {
            p *= lambda / static_cast<double>(k);
            cumulative.push_back(cumulative.back() + p);
        }
    }

    std::int32_t operator()(double u) const {
        if (u < cumulative[0]) return 0;
        std::size_t k = M;
        if (u < cumulative[M]) {
            while (k > 0 && !(cumulative[k] < u)) --k;
            return cumulative[k] < u ? static_cast<std::int32_t>(k + 1) : -1;
        }
        for (k = M + 1; k < N; ++k) {
            if (cumulative[k] > u) return static_cast<std::int32_t>(k);
        }
        double sum = cumulative[N - 1], term = sum - cumulative[N - 2];
        for (k = N;; ++k) {
            term *= lambda / static_cast<double>(k);
            const double next = sum + term;
            if (next > u || next == sum) return static_cast<std::int32_t>(k);
            sum = next;
        }
    }
};

inline Counts poissonTable(StreamHandle s, std::size_t n, double lambda, double p0) {
    const PoissonTable table(lambda, p0);
    Counts counts;
    while (counts.size() < n) {
        const std::size_t block = std::min(n - counts.size(), poissonBlock());
        for (const double u : uniforms<double>(s, block)) counts.emplace_back(table(u));
    }
    return counts;
}

// Kachitvichyanukul and Schmeiser's set-up.
inline PoissonRecord ptpeSetUp(double lambda) {
    PoissonRecord t{};
    const auto single = [](double x) { return static_cast<float>(x); };
    t.lambda = single(lambda);
    t.m = single(truncated(lambda));
    t.invM = 1 / t.m;
    t.invM3 = t.invM * t.invM * t.invM;
    t.lnMOverLambda = single(std::log(double{t.m} / lambda));
    const double s = std::sqrt(double{t.m});
    t.c = single(8.5600004196167 / (lambda + 6.829999923706055) + 0.13300000131130219);
    t.p1 = single(truncated(single(2.194999933242798 * s - 2.200000047683716))) + 0.5F;
    t.xm = t.m + 0.5F;
    t.xl = t.xm - t.p1;
    t.xr = t.xm + t.p1;
    t.invC = 1 / t.c;
    t.invP1 = 1 / t.p1;
    float a = single((lambda - double{t.xl}) / lambda);
    t.laml = a * (a * 0.5F + 1);
    a = single((double{t.xr} - lambda) / double{t.xr});
    t.lamr = a * (a * 0.5F + 1);
    t.invLaml = 1 / t.laml;
    t.invLamr = 1 / t.lamr;
    t.p2 = (2 * t.c + 1) * t.p1;
    t.p3 = single(double{t.p2} +
                  (8.25 / (lambda + 10.859999656677246) + 0.10899999737739563) / double{t.laml});
    t.p4 = t.p3 + t.c / t.lamr;
    t.stirlingBase =
        ((t.invM * 0.083333336F - t.m) + t.lnMOverLambda * t.xm) - t.invM3 * 0.0027777778F;
    double down = 1, up = 1;
    for (int i = 0; i < 32; ++i) {
        t.ratioDown[i] = single(down *= (double{t.m} - i) / double{t.lambda});
        t.ratioUp[i] = single(up *= double{t.lambda} / (double{t.m} + 1 + i));
    }
    return t;
}

// What a pair of uniforms comes to: the count, or 0 for a rejected candidate; behind it whatever
// else the logarithms' errors allow.
using Outcomes = std::vector<std::int32_t>;

class PtpeCandidates {
  public:
    explicit PtpeCandidates(double lambda) : t(ptpeSetUp(lambda)) {}
    const PoissonRecord t;

    Outcomes operator()(float u, float v) const {
        u *= t.p4;
        Outcomes outcomes;
        if (u <= t.p1) {
            add(outcomes, std::max(0, truncated((t.xm - v * t.p1) + u)));
        } else if (u <= t.p2) {
            const float x = (u - t.p1) * t.invC + t.xl;
            const float w = (v * t.c + 1) - std::abs(t.xm - x) * t.invP1;
            if (w > 1) {
                add(outcomes, 0);
            } else {
                judge(outcomes, truncated(x), w);
            }
        } else {
            const bool left = u <= t.p3;
            const float w = left ? (u - t.p2) * v * t.laml : (u - t.p3) * v * t.lamr;
            const auto at = [&](float ln) {
                judge(outcomes, truncated(left ? t.xl + t.invLaml * ln : t.xr - t.invLamr * ln), w);
            };
            const Transformed ln = logarithm(v);
            at(ln.value);
            for (float l = ln.low; l <= ln.high; l = std::nextafter(l, 1.0F)) at(l);
        }
        return outcomes;
    }

  private:
    static void add(Outcomes& outcomes, std::int32_t y) {
        if (std::find(outcomes.begin(), outcomes.end(), y) == outcomes.end()) outcomes.push_back(y);
    }

    void judge(Outcomes& outcomes, std::int32_t count, float w) const {
        const auto y = static_cast<float>(count);
        if (count <= 0) {
            add(outcomes, 0);
        } else if (t.lambda <= 100) {
            add(outcomes, exceedsRatio(y, w) ? 0 : count);
        } else {
            const float h = 1 / y;
            const Transformed g = logarithm(t.lambda * h), lw = logarithm(w);
            const float tail = (0.083333336F * h + 0.0027777778F * h * h * h) - t.stirlingBase;
            const auto lnRatio = [&](float ln) { return ((y + 0.5F) * ln + y) - tail; };
            add(outcomes, lnRatio(g.value) < lw.value ? 0 : count);
            add(outcomes, lnRatio(g.low) < lw.high ? 0 : count);
            add(outcomes, lnRatio(g.high) < lw.low ? 0 : count);
        }
    }

    // Is w above P(y) / P(m)?  Past 32 steps the last factor isn't looked at.
    bool exceedsRatio(float y, float w) const {
        if (y == t.m) return false;
        const bool below = y < t.m;
        const int i = static_cast<int>(std::abs(y - t.m)) - 1;
        if (i < 32) return w > (below ? t.ratioDown[i] : t.ratioUp[i]);
        if (below) {
            float f = t.ratioDown[31];
            for (float k = t.m - 32; k > y; k -= 1) {
                if (w > f) return true;
                f *= (1 / t.lambda) * k;
            }
        } else {
            float f = t.ratioUp[31];
            for (float k = t.m + 32; y > k;) {
                if (w > f) return true;
                k += 1;
                f *= t.lambda / k;
            }
        }
        return false;
    }
};

// Are these the counts of the twin's uniforms, for some decision about every candidate that hangs
// on a logarithm's last bits, and is the twin then left where the law's own stream is?  Tries the
// decisions in turn, beginning with the nominal ones.
struct PtpeMatch {
    bool fits;
    std::size_t candidates, flipped;
};
inline PtpeMatch matchPtpe(const PtpeCandidates& candidates, const Stream& start,
                           const std::vector<std::int32_t>& r, StreamHandle after) {
    std::vector<std::size_t> decisions;
    for (int tries = 0; tries < 1000; ++tries) {
        const Stream twin(start);
        PtpeMatch match{true, 0, 0};
        std::vector<std::size_t> choices;  // that the doubtful candidates leave
        for (std::size_t done = 0; match.fits && done < r.size();) {
            const std::size_t count = std::min(2 * (r.size() - done), poissonBlock());
            const std::vector<float> u = uniforms<float>(twin, count);
            for (std::size_t i = 0; match.fits && i < count; i += 2) {
                const Outcomes outcomes = candidates(u[i], u[i + 1]);
                std::size_t choice = 0;
                if (outcomes.size() > 1) {
                    if (choices.size() < decisions.size()) choice = decisions[choices.size()];
                    choices.push_back(outcomes.size());
                }
                ++match.candidates;
                match.flipped += choice > 0;
                if (outcomes[choice] > 0) match.fits = r[done++] == outcomes[choice];
            }
        }
        match.fits = match.fits && stateBytes(twin) == stateBytes(after);
        if (match.fits) return match;
        decisions.resize(choices.size());
        while (!decisions.empty() && ++decisions.back() == choices[decisions.size() - 1]) {
            decisions.pop_back();
        }
        if (decisions.empty()) break;
    }
    return {false, 0, 0};
}

// ---- Poisson, method 1 ----

inline std::vector<std::vector<double>> coefficients(const std::string& file) {
    std::vector<std::vector<double>> rows;
    for (const auto& row : readTable(file)) {
        auto& numbers = rows.emplace_back();
        for (const std::string& cell : row) numbers.push_back(std::strtod(cell.c_str(), nullptr));
    }
    return rows;
}

inline Counts poissonNormal(StreamHandle s, std::size_t n, double lambda) {
    const auto single = [](double x) { return static_cast<float>(x); };
    Counts counts;
    if (lambda < 1) {
        float sums[11] = {1};
        double term = 1, sum = 1;
        for (int k = 1; k <= 10; ++k) sums[k] = single(sum += term *= lambda / k);
        static constexpr double e[] = {
            0.9999999978976929, 1.000000235204182,    0.49999555884885266,   0.16669916415448055,
            0.0415487961378904, 0.008565930750590653, 0.0011369805324212754, 0.0003351641595394528};
        double high = e[7];
        for (int k = 6; k >= 0; --k) high = e[k] + lambda * high;
        for (const float u : uniforms<float>(s, n, single(high))) {
            std::int32_t k = 0;
            while (k <= 10 && u > sums[k]) ++k;
            counts.emplace_back(k);
        }
    } else if (lambda < 100) {
        static const auto rows = coefficients("poisson_normal_coefficients.csv");
        int exponent;
        std::frexp(lambda, &exponent);
        const std::vector<double>& row = rows[static_cast<std::size_t>(exponent - 1)];
        const float rounded = single(lambda);
        const double t = double{std::frexp(rounded, &exponent) * 2 - 1};
        const float A = single(1 + row[1] + t * (row[2] + t * row[3]));
        const auto cubic = [&](std::size_t i) {
            return single(row[i] + t * (row[i + 1] + t * (row[i + 2] + t * row[i + 3])));
        };
        const float B = cubic(4), C = cubic(8), D = cubic(12), E = cubic(16), F = cubic(20);
        for (const float g : gaussians(s, n)) {
            const float z = A + (B * g) * (C + g * (D + g * (E + g * F)));
            counts.emplace_back(truncated(std::max(z, 0.0F)));
        }
    } else {
        const double d = 1 / lambda;
        const auto series = [d](std::initializer_list<double> ascending) {
            double sum = 0;
            for (const double* c = ascending.end(); c != ascending.begin();) sum = *--c + d * sum;
            return sum;
        };
        const auto mean = single(lambda - 0.6666957198 +
                                 d * series({-0.01941020862, -0.001288719308, 0.001645153709}));
        const auto sigma =
            single(std::sqrt(lambda - 0.05580667628 +
                             d * series({-0.000975814817, -0.005534854444, 0.00519830812})));
        const float k1 = single(d * series({0.00774710541609, -0.443911391797447, 2.29098262740971,
                                            -3.85841212878712, 2.02847035732762}));
        const float k2 =
            single(d * series({0.168577008904505, 0.0472242348292688, -0.228162379800275,
                               0.358642226989579, -0.185436433294704}));
        const float k3 =
            single(d * series({-0.0001145865551857, -0.0126559989233446, 0.0232257954288354,
                               -0.0291113093667918, 0.014389264627966}));
        for (const float x : gaussians(s, n, mean, sigma)) {
            const float q = x - mean, z = q * (k1 + q * (k2 + q * k3)) + (x + 1);
            counts.emplace_back(truncated(std::max(z, 0.0F)));
        }
    }
    return counts;
}

// ---- Poisson with varying mean ----

inline Count poissonOfSmallMean(double L, float g) {
    if (!(L > 0)) return Count(0);
    const auto count = [L](float erf) {
        const double w =
            (((0.16669916415448055 * L * L + 0.49999555884885266) * L + 1.000000235204182) * L +
             0.9999999978976929) *
            double{erf};
        std::int32_t k = 0;
        for (double sum = 1, term = 1; k < 11 && double{static_cast<float>(sum)} < w;) {
            term *= L / ++k;
            sum += term;
        }
        return k;
    };
    const Transformed erf(std::erf(std::abs(double{g * 0.70710677F})));
    return {count(erf.value), count(erf.low), count(erf.high)};
}

inline Count poissonOfLargeMean(double L, double g) {
    static const auto rows = coefficients("poisson_v_coefficients.csv");
    if (std::isnan(L)) return Count(0);
    int exponent;
    const double t = std::frexp(L, &exponent) * 2 - 1;
    const double* const c = &rows[static_cast<std::size_t>(std::min(exponent - 1 + 4, 17))][1];
    const double a = 1.0 + L + c[0] + t * c[1];
    const auto cubic = [&](int i) { return ((c[i + 3] * t + c[i + 2]) * t + c[i + 1]) * t + c[i]; };
    const double B0 = cubic(4), B1 = cubic(8), B2 = cubic(12), B3 = cubic(16);
    const double h = g * (B0 + g * (B1 + g * (B2 + B3 * g))) * ((std::sqrt(L) + c[2]) + c[3] * t);
    return Count(truncated(std::max(a + h, 0.0)));
}

inline Counts poissonV(StreamHandle s, std::size_t n, const double* lambda) {
    Counts counts;
    for (const float g : gaussians(s, n)) {
        const double L = lambda[counts.size()];
        counts.push_back(L < 0.0625 ? poissonOfSmallMean(L, g) : poissonOfLargeMean(L, double{g}));
    }
    return counts;
}

// ---- Multinomial ----

inline std::vector<std::int32_t> multinomial(StreamHandle s, std::size_t n, std::int32_t ntrial,
                                             const std::vector<double>& p) {
    const std::size_t k = p.size();
    const double root = std::sqrt(static_cast<double>(ntrial)), categories = static_cast<double>(k);
    const double base =
        root < categories ? (ntrial - root) - std::sqrt(categories - root) : ntrial - categories;
    std::vector<double> lambda;
    for (const double share : p) lambda.push_back(base * share);
    const bool direct = ntrial <= 16 && static_cast<std::int32_t>(k) >= 16 * ntrial;
    std::vector<std::int32_t> rows;
    for (std::size_t j = 0; j < n; ++j) {
        std::vector<std::int32_t> row(k);
        std::int64_t total = 0;
        if (!direct) {
            do {
                total = 0;
                const Counts counts = poissonV(s, k, lambda.data());
                for (std::size_t i = 0; i < k; ++i) {
                    row[i] = counts[i].value;
                    total += row[i] < 0 ? std::int64_t{1} << 31 : row[i];  // more than 32 bits hold
                }
            } while (total > ntrial);
        }
        const auto missing = static_cast<std::size_t>(ntrial - total);
        for (const double u : missing ? uniforms<double>(s, missing) : std::vector<double>{}) {
            double below = 0;
            for (std::size_t i = 0; i < k; below += p[i++]) {
                if (below < u && u <= below + p[i]) {
                    ++row[i];
                    break;
                }
            }
        }
        rows.insert(rows.end(), row.begin(), row.end());
    }
    return rows;
}

}  // namespace korvan::testing

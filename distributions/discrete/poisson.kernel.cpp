// The Poisson law with mean lambda.
//
// Method 0, small means: inversion of a table.  Large ones: B. Schmeiser, V. Kachitvichyanukul,
// Poisson random variate generation (Purdue University, Research Memorandum 81-4, 1981), the
// algorithm PTPE, in single precision.
// Method 1: a normal variate through a polynomial whose coefficients depend on the mean (the
// expansion after Cornish and Fisher, fitted), or for means below 1 a uniform and a search.
#include "distributions/discrete/poisson_setup.h"
#include "distributions/discrete/poisson_tables.h"
#include "distributions/kernels.h"
#include "distributions/shared/law_frame-inl.h"
#include "distributions/shared/normal-inl.h"
#include "distributions/shared/rejection-inl.h"
#include "distributions/shared/replacements.h"
#include "distributions/shared/table_search-inl.h"
#include "frame/memory.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr hn::ScalableTag<float> singles;
constexpr hn::ScalableTag<std::int32_t> integers;

HWY_INLINE Singles constant(float x) {
    return hn::Set(singles, x);
}

// ---- Method 0 ----

constexpr std::size_t blockNumbers = KORVAN_COPY_BRANCH < 8 ? 2024 : 2048;
constexpr std::size_t blockPairs = blockNumbers / 2;

// The stream's record, made if it has none.
std::int32_t findSetup(StreamHandle stream, PoissonSetup** setup) {
    *setup = static_cast<PoissonSetup*>(findAttachment(stream, tagPoisson));
    if (*setup) return RNG_OK;
    *setup = static_cast<PoissonSetup*>(alignedAlloc(sizeof(PoissonSetup), recordAlignment));
    if (!*setup) return RNG_NO_MEMORY;
    std::memset(*setup, 0, sizeof **setup);
    const std::int32_t status = attach(stream, tagPoisson, nullptr, *setup, sizeof **setup);
    if (status < 0) alignedFree(*setup);
    return status;
}

std::int32_t byTable(StreamHandle stream, std::int32_t n, std::int32_t* r, double lambda,
                     const PoissonSetup& setup) {
    const double* const cumulative = setup.cumulative;
    const std::int32_t size = poissonTableSize(lambda);
    // The series goes on to where it exceeds u, or ends: u can be closer to 1 than its sum.
    const auto past = [=](double u) {
        double sum = cumulative[size - 1], term = sum - cumulative[size - 2];
        for (std::int32_t k = size;; ++k) {
            term *= lambda / k;
            const double before = sum;
            sum += term;
            if (sum > u || sum == before) return k;
        }
    };
    const CumulativeTable table{cumulative, static_cast<std::int32_t>(lambda), size, past};
    return fillBySearch<blockNumbers, PoissonSetup::tableEntries>(
        stream, static_cast<std::size_t>(n), r, table);
}

// Candidates that have to be tested: y against w, the height under the hat.
struct Candidates {
    float y[blockPairs + singleLanes], w[blockPairs + singleLanes];
    std::int32_t place[blockPairs + singleLanes];
    std::size_t size = 0;

    // Behind the `at` that stand there, without those that aren't positive; returns their number.
    HWY_INLINE std::size_t append(std::size_t at, SingleMask chosen, Singles x, Singles ws,
                                  Integers places) {
        const auto ys = hn::ConvertTo(singles, truncated(x));
        const Packer packed(hn::And(chosen, hn::Gt(ys, constant(0))));
        hn::StoreU(packed(ys), singles, y + at);
        hn::StoreU(packed(ws), singles, w + at);
        storeIntegers(packed(places), place + at);
        return at + packed.count();
    }

    // What the last vector reads behind the list.
    HWY_INLINE void fillUp(float mode) {
        for (std::size_t i = size; i < size + singleLanes; ++i) {
            y[i] = mode;
            w[i] = 1;
        }
    }
};

using Pairs = PairList<blockPairs>;

// Uniform in the parallelogram; above the law's own height at the mode nothing is accepted.
HWY_INLINE void fromParallelogram(const PoissonSetup& s, const Pairs& list, Candidates& tested) {
    const auto p1 = constant(s.p1), invC = constant(s.invC), xl = constant(s.xl);
    const auto c = constant(s.c), one = constant(1), xm = constant(s.xm), invP1 = constant(s.invP1);
    std::size_t size = tested.size;
    for (std::size_t i = 0; i < list.size; i += singleLanes) {
        const auto u = hn::LoadU(singles, list.u + i), v = hn::LoadU(singles, list.v + i);
        const auto x = hn::Add(hn::Mul(hn::Sub(u, p1), invC), xl);
        const auto w =
            hn::Sub(hn::Add(hn::Mul(v, c), one), hn::Mul(hn::Abs(hn::Sub(xm, x)), invP1));
        const auto isIn = hn::FirstN(singles, list.size - i);
        size = tested.append(size, hn::AndNot(hn::Gt(w, one), isIn), x, w,
                             hn::LoadU(integers, list.place + i));
    }
    tested.size = size;
}

// Exponential tails: behind the parallelogram's ends by an exponential variate.
HWY_INLINE void fromTails(const PoissonSetup& s, const Pairs& list, Candidates& tested) {
    if (list.size == 0) return;
    float logarithms[blockPairs + singleLanes];
    call(vsLnBaseline.la, list.size, list.v, logarithms);
    const auto borderOfRight = constant(s.p3);
    std::size_t size = tested.size;
    for (std::size_t i = 0; i < list.size; i += singleLanes) {
        const auto u = hn::LoadU(singles, list.u + i), v = hn::LoadU(singles, list.v + i);
        const auto isRight = hn::Gt(u, borderOfRight);
        const auto choose = [&](float right, float left) {
            return hn::IfThenElse(isRight, constant(right), constant(left));
        };
        const auto w = hn::Mul(hn::Mul(hn::Sub(u, choose(s.p3, s.p2)), v), choose(s.lamr, s.laml));
        const auto distance =
            hn::Mul(choose(-s.invLamr, s.invLaml), hn::LoadU(singles, logarithms + i));
        const auto x = hn::Add(choose(s.xr, s.xl), distance);
        size = tested.append(size, hn::FirstN(singles, list.size - i), x, w,
                             hn::LoadU(integers, list.place + i));
    }
    tested.size = size;
}

// Beyond the tables the ratio is multiplied on, and compared before each step: the candidate is
// held against the ratio one step nearer to the mode.
HWY_INLINE bool isFarAccepted(const PoissonSetup& s, float y, float w) {
    constexpr std::int32_t last = PoissonSetup::ratios - 1;
    if (y < s.m) {
        float f = s.ratioDown[last], t = s.m - PoissonSetup::ratios;
        const float invLambda = 1 / s.lambda;
        do {
            if (w > f) return false;
            f *= invLambda * t;
            t -= 1;
        } while (t > y);
    } else {
        float f = s.ratioUp[last], t = s.m + PoissonSetup::ratios;
        do {
            if (w > f) return false;
            t += 1;
            f *= s.lambda / t;
        } while (y > t);
    }
    return true;
}

// y[i] = the candidate, or noCandidate if w is above P(y) / P(m).
HWY_INLINE void testRatios(const PoissonSetup& s, const Candidates& tested, std::int32_t* y) {
    const RatioTable<PoissonSetup::ratios> table{reinterpret_cast<const float*>(&s) +
                                                 offsetof(PoissonSetup, ratioDown) / sizeof(float)};
    const auto mode = constant(s.m), none = constant(noCandidate);
    for (std::size_t i = 0; i < tested.size; i += singleLanes) {
        const auto ys = hn::LoadU(singles, tested.y + i), w = hn::LoadU(singles, tested.w + i);
        const auto found = table(hn::Sub(ys, mode));
        const auto isRejected = hn::AndNot(found.atMode, hn::Gt(w, found.bound));
        storeIntegers(truncated(hn::IfThenElse(isRejected, none, ys)), y + i);
        if (HWY_LIKELY(hn::AllFalse(singles, found.far))) continue;
        for (std::size_t k = i; k < i + singleLanes && k < tested.size; ++k) {
            const float distance = tested.y[k] - s.m;
            if (distance >= -PoissonSetup::ratios && distance <= PoissonSetup::ratios) continue;
            const bool isAccepted = isFarAccepted(s, tested.y[k], tested.w[k]);
            y[k] = isAccepted ? static_cast<std::int32_t>(tested.y[k]) : noCandidate;
        }
    }
}

// The same from logarithms, by Stirling's series.
HWY_INLINE void testLogarithms(const PoissonSetup& s, Candidates& tested, std::int32_t* y) {
    float inverse[blockPairs + singleLanes], logarithm[blockPairs + singleLanes];
    const std::size_t n = tested.size;
    call(vsInv.la, n, tested.y, inverse);
    const auto lambda = constant(s.lambda);
    for (std::size_t i = 0; i < n; i += singleLanes) {
        hn::StoreU(hn::Mul(lambda, hn::LoadU(singles, inverse + i)), singles, logarithm + i);
    }
    call(vsLnBaseline.la, n, logarithm, logarithm);
    call(vsLnBaseline.la, n, tested.w, tested.w);
    const auto none = constant(noCandidate);
    for (std::size_t i = 0; i < n; i += singleLanes) {
        const auto ys = hn::LoadU(singles, tested.y + i), h = hn::LoadU(singles, inverse + i);
        const auto g = hn::LoadU(singles, logarithm + i), lnW = hn::LoadU(singles, tested.w + i);
        const auto series = hn::Add(hn::Mul(constant(0.083333336F), h),
                                    hn::Mul(hn::Mul(hn::Mul(constant(0.0027777778F), h), h), h));
        const auto bound = hn::Sub(hn::Add(hn::Mul(hn::Add(ys, constant(0.5F)), g), ys),
                                   hn::Sub(series, constant(s.stirlingBase)));
        storeIntegers(truncated(hn::IfThenElse(hn::Lt(bound, lnW), none, ys)), y + i);
    }
}

std::int32_t byRejection(StreamHandle stream, std::int32_t n, std::int32_t* r,
                         const PoissonSetup& s) {
    constexpr float lastByRatios = 100;
    const float borders[] = {s.p1, s.p2};
    Pairs lists[2];
    Candidates tested;
    std::int32_t y[blockPairs + singleLanes];
    const auto p1 = constant(s.p1), p4 = constant(s.p4), xm = constant(s.xm);
    const auto scaled = [&](Singles u) { return hn::Mul(u, p4); };
    const auto inTriangle = [&](Singles u, Singles v) {
        return truncated(hn::Add(hn::Sub(xm, hn::Mul(v, p1)), u));
    };
    const auto propose = [&](const float* numbers, std::size_t pairs, std::int32_t* candidates) {
        sortPairs(numbers, pairs, borders, scaled, scaled, inTriangle, candidates, lists);
        tested.size = 0;
        fromParallelogram(s, lists[0], tested);
        fromTails(s, lists[1], tested);
        if (tested.size == 0) return;
        tested.fillUp(s.m);
        if (s.lambda > lastByRatios) {
            testLogarithms(s, tested, y);
        } else {
            testRatios(s, tested, y);
        }
        putBack(y, tested.place, tested.size, candidates);
    };
    return fillByRejection<blockNumbers>(stream, n, r, 1, propose);
}

std::int32_t exact(StreamHandle stream, std::int32_t n, std::int32_t* r, double lambda) {
    const LawFrame frame(Replace<float>::singularLogarithm);
    if (!(lambda < 0x1p31)) return RNG_BAD_ARGUMENT;
    PoissonSetup* setup;
    if (const std::int32_t status = findSetup(stream, &setup); status < 0) return status;
    if (lambda < leastRejectionMean) {
        if (setup->tableLambda != lambda) prepareTable(*setup, lambda);
        return byTable(stream, n, r, lambda, *setup);
    }
    // A mean that a float can't hold is prepared at every call.
    if (double{setup->lambda} != lambda) prepareRejection(*setup, lambda);
    return byRejection(stream, n, r, *setup);
}

// ---- Method 1 ----

// What map makes of normal variates without their factor sqrt(2).
template <class Map>
std::int32_t byNormals(StreamHandle stream, std::int32_t n, std::int32_t* r, Map map) {
    const auto atLeastZero = [&](Singles x) {
        const auto z = map(x);
        return truncated(hn::IfThenElseZero(hn::Gt(z, constant(0)), z));
    };
    return drawErfInvForCounts(stream, n, reinterpret_cast<float*>(r),
                               [&](float* part, std::size_t count) {
                                   auto* counts = reinterpret_cast<std::int32_t*>(part);
                                   singlesToIntegers(counts, count, atLeastZero);
                               });
}

std::int32_t smallByUniforms(StreamHandle stream, std::int32_t n, std::int32_t* r, double lambda) {
    constexpr int sums = 11;
    float cumulative[sums];  // times exp(lambda)
    double term = 1, sum = 1;
    for (int k = 0; k < sums; ++k) {
        if (k > 0) {
            term *= lambda / k;
            sum += term;
        }
        cumulative[k] = static_cast<float>(sum);
    }
    const double total =
        0.9999999978976929 +
        lambda *
            (1.000000235204182 +
             lambda * (0.49999555884885266 +
                       lambda * (0.16669916415448055 +
                                 lambda * (0.0415487961378904 +
                                           lambda * (0.008565930750590653 +
                                                     lambda * (0.0011369805324212754 +
                                                               lambda * 0.0003351641595394528))))));
    const auto countBelow = [&](Singles u) {
        auto count = hn::Zero(integers);
        for (const float bound : cumulative) {
            const auto isAbove = hn::RebindMask(integers, hn::Gt(u, constant(bound)));
            count = hn::Add(count, hn::IfThenElseZero(isAbove, hn::Set(integers, 1)));
        }
        return count;
    };
    return drawAndUse<float>(stream, static_cast<std::size_t>(n), reinterpret_cast<float*>(r), 0,
                             static_cast<float>(total), [&](float* part, std::size_t count) {
                                 auto* counts = reinterpret_cast<std::int32_t*>(part);
                                 singlesToIntegers(counts, count, countBelow);
                             });
}

HWY_INLINE Singles cubic(const double (&c)[4], double t) {
    return constant(static_cast<float>(c[0] + t * (c[1] + t * (c[2] + t * c[3]))));
}

std::int32_t middleByNormals(StreamHandle stream, std::int32_t n, std::int32_t* r, double lambda) {
    std::uint64_t bits;
    std::memcpy(&bits, &lambda, sizeof bits);
    const PoissonBinade& row = poissonBinades[(bits >> 52) - 1023];
    // Of the rounded mean: it can be the next binade's first, at the end of this one's row.
    const auto rounded = static_cast<float>(lambda);
    std::uint32_t word;
    std::memcpy(&word, &rounded, sizeof word);
    word = (word & 0x7FFFFF) | 0x3F800000;
    float fraction;
    std::memcpy(&fraction, &word, sizeof fraction);
    const double t = fraction - 1;

    const auto a = constant(static_cast<float>(1 + row.a[0] + t * (row.a[1] + t * row.a[2])));
    const auto b = cubic(row.cubics[0], t), c = cubic(row.cubics[1], t),
               d = cubic(row.cubics[2], t), e = cubic(row.cubics[3], t),
               f = cubic(row.cubics[4], t);
    const auto factor = constant(rootOfTwo<float>);
    return byNormals(stream, n, r, [&](Singles unscaled) {
        const auto g = hn::Mul(unscaled, factor);
        const auto inner = hn::Add(d, hn::Mul(g, hn::Add(e, hn::Mul(g, f))));
        return hn::Add(a, hn::Mul(hn::Mul(b, g), hn::Add(c, hn::Mul(g, inner))));
    });
}

std::int32_t largeByNormals(StreamHandle stream, std::int32_t n, std::int32_t* r, double lambda) {
    const double d = 1 / lambda;
    const auto mean = static_cast<float>(
        lambda - 0.6666957198 + d * (-0.01941020862 + d * (-0.001288719308 + d * 0.001645153709)));
    double variance =
        lambda - 0.05580667628 + d * (-0.000975814817 + d * (-0.005534854444 + d * 0.00519830812));
    call(vdSqrt.ha, 1, &variance, &variance);
    const auto deviation = static_cast<float>(variance);
    const auto k1 = constant(static_cast<float>(
        d * (0.00774710541609 +
             d * (-0.443911391797447 +
                  d * (2.29098262740971 + d * (-3.85841212878712 + d * 2.02847035732762))))));
    const auto k2 = constant(static_cast<float>(
        d * (0.168577008904505 +
             d * (0.0472242348292688 +
                  d * (-0.228162379800275 + d * (0.358642226989579 + d * -0.185436433294704))))));
    const auto k3 = constant(static_cast<float>(
        d * (-0.0001145865551857 +
             d * (-0.0126559989233446 +
                  d * (0.0232257954288354 + d * (-0.0291113093667918 + d * 0.014389264627966))))));
    const auto scale = constant(rootOfTwo<float> * deviation);
    const auto means = constant(mean), one = constant(1);
    return byNormals(stream, n, r, [&](Singles unscaled) {
        const auto x = hn::Add(hn::Mul(unscaled, scale), means);
        const auto q = hn::Sub(x, means);
        const auto inner = hn::Add(k1, hn::Mul(q, hn::Add(k2, hn::Mul(q, k3))));
        return hn::Add(hn::Mul(q, inner), hn::Add(x, one));
    });
}

std::int32_t approximate(StreamHandle stream, std::int32_t n, std::int32_t* r, double lambda) {
    const LawFrame frame(Replace<float>::logarithmOrErfInv);
    if (lambda < 1) return smallByUniforms(stream, n, r, lambda);
    return lambda < 100 ? middleByNormals(stream, n, r, lambda)
                        : largeByNormals(stream, n, r, lambda);
}

}  // namespace

std::int32_t viRngPoisson(std::int32_t method, StreamHandle stream, std::int32_t n, std::int32_t* r,
                          double lambda) {
    return method == METHOD_POISSON_PTPE ? exact(stream, n, r, lambda)
                                         : approximate(stream, n, r, lambda);
}

}  // namespace korvan::KORVAN_COPY

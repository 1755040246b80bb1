#include "distributions/discrete/poisson_setup.h"

#include <xmmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/copy_set.h"
#include "vectormath/mode_word.h"
#include "vectormath/vector_kernels.h"

namespace korvan {
namespace {

// The records are the same whatever the caller's rounding is, and making one raises no exception.
class DefaultArithmetic {
  public:
    DefaultArithmetic() : caller_(_mm_getcsr()) { _mm_setcsr(0x1F80); }
    ~DefaultArithmetic() { _mm_setcsr(caller_); }
    DefaultArithmetic(const DefaultArithmetic&) = delete;
    DefaultArithmetic& operator=(const DefaultArithmetic&) = delete;

  private:
    std::uint32_t caller_;
};

// One element through a kernel that rounds alike in every copy.
double apply(const VectorKernel<OneToOne<double>>& kernel, double x) {
    const ModeWord mode = setModeWord(DENORMAL_KEEP);
    double y = 0;
    kernel.ha(1, &x, &y);
    setModeWord(mode);
    return y;
}

float single(double x) {
    return static_cast<float>(x);
}

// The hat over the law's shape P(x) / P(m): a triangle over the parallelogram around the mode, then
// two exponential tails.  All that is named is rounded to single where it is named; lambda may
// differ from the rounded mean by half a unit.  Not inlined: nothing moves out of its caller's
// arithmetic.
[[gnu::noinline]] void prepareHat(PoissonSetup& s, float mean, double lambda, float mode) {
    s.lambda = mean;
    s.m = mode;
    s.invM = 1 / s.m;
    s.invM3 = s.invM * s.invM * s.invM;
    s.lnMOverLambda =
        single(apply(*copySetOfProcess().vectorKernels->vdLnBaseline, double{s.m} / lambda));
    s.c = single(8.5600004196167 / (lambda + 6.829999923706055) + 0.13300000131130219);
    s.invC = 1 / s.c;

    const double deviation = std::sqrt(double{s.m});
    const float width = single(2.194999933242798 * deviation - 2.200000047683716);
    s.p1 = static_cast<float>(static_cast<std::int32_t>(width)) + 0.5F;
    s.invP1 = 1 / s.p1;
    s.xm = s.m + 0.5F;
    s.xl = s.xm - s.p1;
    s.xr = s.xm + s.p1;
    const float left = single((lambda - double{s.xl}) / lambda);
    const float right = single((double{s.xr} - lambda) / double{s.xr});
    s.laml = left * (left * 0.5F + 1);
    s.lamr = right * (right * 0.5F + 1);
    s.invLaml = 1 / s.laml;
    s.invLamr = 1 / s.lamr;
    s.p2 = (2 * s.c + 1) * s.p1;
    s.p3 = single(double{s.p2} +
                  (8.25 / (lambda + 10.859999656677246) + 0.10899999737739563) / double{s.laml});
    s.p4 = s.p3 + s.c / s.lamr;

    s.stirlingBase =
        ((s.invM * 0.083333336F - s.m) + s.lnMOverLambda * s.xm) - s.invM3 * 0.0027777778F;
    double down = 1, up = 1;
    for (std::int32_t i = 0; i < PoissonSetup::ratios; ++i) {
        down *= (double{s.m} - i) / double{s.lambda};
        up *= double{s.lambda} / (double{s.m} + 1 + i);
        s.ratioDown[i] = single(down);
        s.ratioUp[i] = single(up);
    }
}

float modeOf(double lambda) {
    return static_cast<float>(static_cast<std::int32_t>(lambda));
}

// x lies between a and b, but for a rounding or two: NaNs don't.
bool isBetween(float x, float a, float b) {
    const float slack = 0x1p-22F * std::max(std::abs(a), std::abs(b));
    return x >= std::min(a, b) - slack && x <= std::max(a, b) + slack;
}

// Any mean that rounds to the record's can be behind it.  Between two of them with the same mode
// every field is monotonic, so it has to lie between those of the ends.
bool isPossibleHat(const PoissonSetup& given) {
    constexpr double behindLast = 0x1p31;
    if (given.lambda == 0) return true;
    if (!(given.lambda >= leastRejectionMean && given.lambda <= behindLast)) return false;
    const double mean = given.lambda;
    const double least =
        std::max(leastRejectionMean, (mean + std::nextafterf(given.lambda, 0)) / 2);
    const double largest = std::min(std::nextafter(behindLast, 0.0),
                                    (mean + std::nextafterf(given.lambda, INFINITY)) / 2);
    if (!(given.m >= modeOf(least) && given.m <= modeOf(largest) &&
          given.m == std::trunc(given.m))) {
        return false;
    }
    PoissonSetup low, high;
    prepareHat(low, given.lambda, least, given.m);
    prepareHat(high, given.lambda, largest, given.m);
    constexpr std::size_t fields = offsetof(PoissonSetup, tableLambda) / sizeof(float);
    float x[fields], a[fields], b[fields];
    std::memcpy(x, &given, sizeof x);
    std::memcpy(a, &low, sizeof a);
    std::memcpy(b, &high, sizeof b);
    for (std::size_t i = 0; i < fields; ++i) {
        if (!isBetween(x[i], a[i], b[i])) return false;
    }
    return true;
}

bool isPossibleTable(const PoissonSetup& given) {
    if (given.tableLambda == 0) return true;
    if (!(given.tableLambda > 0 && given.tableLambda < leastRejectionMean)) return false;
    PoissonSetup made;
    prepareTable(made, given.tableLambda);
    return std::memcmp(made.cumulative, given.cumulative, sizeof made.cumulative) == 0;
}

}  // namespace

void prepareRejection(PoissonSetup& setup, double lambda) {
    const DefaultArithmetic arithmetic;
    prepareHat(setup, single(lambda), lambda, modeOf(lambda));
}

void prepareTable(PoissonSetup& setup, double lambda) {
    const DefaultArithmetic arithmetic;
    setup.tableLambda = lambda;
    double term = apply(*copySetOfProcess().vectorKernels->vdExpBaseline, -lambda), sum = term;
    const std::int32_t size = poissonTableSize(lambda);
    for (std::int32_t k = 0; k < PoissonSetup::tableEntries; ++k) {
        if (k > 0) {
            term *= lambda / k;
            sum += term;
        }
        setup.cumulative[k] = k < size ? sum : 0;
    }
}

Loaded judgePoissonSetup(const StreamRecord*, const void* payload, std::uint32_t size) {
    const DefaultArithmetic arithmetic;
    PoissonSetup given;
    if (size != sizeof given) return Loaded::forged;
    std::memcpy(&given, payload, sizeof given);
    return isPossibleHat(given) && isPossibleTable(given) ? Loaded::kept : Loaded::forged;
}

}  // namespace korvan

// Logarithm and exponential: the baseline form against a second definition in wider arithmetic, the
// rows against the x87 unit's functions, and what is special.
#include <cmath>
#include <limits>
#include <random>

#include "support.h"
#include "vector_calls.h"
#include "vectormath/error_path.h"
#include "vectormath/float_bits.h"
#include "vectormath/ln_exp_tables.h"

namespace korvan::testing {
namespace {

__extension__ typedef __float128 Exact;  // of sums and products of two doubles, for our purposes

constexpr double infinity = std::numeric_limits<double>::infinity();

// ln of a normal number: with y the integer next to 2^9/f, f the mantissa from 1/2 to 1,
// ln x = e ln 2 - ln y - 1013 ln 2 + ln(1 + r).
double plainLn(double x) {
    int exponent;
    const double f = std::frexp(x, &exponent);
    const double m = std::ldexp(f, -9), e = exponent - 1 + 1023;
    const double y = std::nearbyint(1 / m);
    const LnTableRow& row = lnTable[static_cast<int>(y) - 512];
    const auto r = static_cast<double>(Exact(m) * y - 1);
    const double t1 = static_cast<double>(Exact(e) * ln2Hi + row.hi);
    const double t2 = static_cast<double>(Exact(e) * ln2Lo + row.lo);
    const auto s = static_cast<double>(Exact(r) + t1);
    const auto d = static_cast<double>(Exact(r) + t1 - s);
    const double r2 = r * r;
    const double front = 0.33333333333308374 * r + -0.49999999999988803;
    const double back = 0.2000003665949424 * r + -0.2500003054940248;
    const double p = front + r2 * back;
    return (r2 * p + (t2 + d)) + s;
}

// exp where neither it nor a step overflows: x = N ln2/64 + r.
double plainExp(double x) {
    const double N = std::nearbyint(x * 92.33248261689366);
    const int whole = static_cast<int>(std::floor(N / 64));
    const ExpTableRow& row = expTable[static_cast<int>(N) - 64 * whole];
    const double r = (x - N * 0.010830424696223417) - N * 2.572804622327669e-14;
    double q = 0.00833333416441411;
    for (const double c : {0.04166672368662385, 0.1666666666667797, 0.4999999999994775}) {
        q = q * r + c;
    }
    const double p = r + r * r * q;
    return std::ldexp((row.hi * p + row.lo) + row.hi, whole);
}

std::vector<double> normalsAboveZero() {
    std::mt19937_64 engine(5);
    std::vector<double> x = {1, 2, 0.5, 0x1p-1022, std::numeric_limits<double>::max(), 0.75};
    for (int i = 0; i < 60000; ++i) {
        const std::uint64_t mantissa = engine() >> 12;
        const std::uint64_t exponent = i % 3 == 0 ? 1 + engine() % 2046 : 1021 + engine() % 4;
        x.push_back(doubleOf(exponent << 52 | mantissa));
    }
    // Where 1/m rounds from one integer to the next.
    for (int k = 0; k < 512; ++k) {
        double border = 1024 / (512.5 + k);
        for (int step = 0; step < 3; ++step) border = std::nextafter(border, 0);
        for (int step = 0; step < 7; ++step) x.push_back(border = std::nextafter(border, 3));
    }
    return x;
}

std::vector<double> moderateNumbers() {
    std::mt19937_64 engine(6);
    std::vector<double> x = {0, -0.0, 1, -1, 1e-300, 708.3956308822137, -708.3956308822137};
    for (int i = 0; i < 60000; ++i) {
        const double range = i % 3 == 0 ? 708 : i % 3 == 1 ? 1 : 1e-9;
        x.push_back(std::uniform_real_distribution<double>(-range, range)(engine));
    }
    return x;
}

TEST(LnExpBaseline, RoundsAsDefinedInEveryCopy) {
    const auto compare = [](const auto& kernel, const std::vector<double>& x, auto plain) {
        const auto n = static_cast<std::int32_t>(x.size());
        std::vector<double> y(x.size());
        kernel.ha(n, x.data(), y.data());
        for (std::size_t i = 0; i < x.size(); ++i) ASSERT_EQ(y[i], plain(x[i])) << x[i];
    };
    compare(*vectorKernels().vdLnBaseline, normalsAboveZero(), plainLn);
    compare(*vectorKernels().vdExpBaseline, moderateNumbers(), plainExp);
}

// Where there are no vectors, the accuracy makes no difference.
TEST(LnExpBaseline, IsAllRowsOfTheLowestCopies) {
    const std::string copy = vslGetCopyName();
    if (copy != "base" && copy != "compat") GTEST_SKIP();
    for (const auto* kernel : {vectorKernels().vdLn, vectorKernels().vdExp}) {
        EXPECT_EQ(kernel->la, kernel->ha);
        EXPECT_EQ(kernel->la, kernel->ep);
    }
    EXPECT_EQ(vectorKernels().vdLn->la, vectorKernels().vdLnBaseline->la);
    EXPECT_EQ(vectorKernels().vdExp->la, vectorKernels().vdExpBaseline->la);
}

// The committed tables are checked to the last digit by the tool that makes them; here to the x87
// unit's 64 bits.
TEST(LnExpBaseline, TablesHoldWhatTheyAreSaidTo) {
    for (int k = 0; k <= 512; ++k) {
        const LnTableRow& row = lnTable[k];
        EXPECT_EQ(std::fmod(row.hi, lnTableUnit), 0) << k;
        // Both parts of 1023 ln 2 come off exactly.
        const double hi = row.hi + 1023 * ln2Hi, lo = row.lo + 1023 * ln2Lo;
        const long double log = -std::log((512.0L + k) / 1024);
        ASSERT_NEAR(static_cast<double>(hi - log + lo), 0, 1e-19) << k;
    }
    EXPECT_EQ(lnTable[0].hi, -708.3964185305813);
    EXPECT_EQ(lnTable[0].lo, -1.6828200473689525e-09);
    EXPECT_EQ(lnTable[512].hi, -709.0895657111396);
    EXPECT_EQ(lnTable[512].lo, -1.6844666423272392e-09);
    for (int j = 0; j < 64; ++j) {
        const long double power = std::exp2(j / 64.0L);
        ASSERT_NEAR(static_cast<double>(power - expTable[j].hi - expTable[j].lo), 0, 3e-19) << j;
    }
    EXPECT_EQ(wideLnTable.hi[15], wideLn2Hi);
    EXPECT_EQ(wideLnTable.lo[15], wideLn2Lo);
}

template <class Real>
struct Special {
    Real x, y;
    std::int32_t status;
};

// Each row of the kernel gives the same there; NaN stands for any NaN.
template <class Real, std::size_t count>
void expectSpecial(const VectorKernel<OneToOne<Real>>& kernel,
                   const Special<Real> (&cases)[count]) {
    for (auto* row : {kernel.la, kernel.ha, kernel.ep}) {
        for (const Special<Real>& c : cases) {
            onFreshThread([&] {
                Real y;
                row(1, &c.x, &y);
                EXPECT_EQ(lastVmlStatus(), c.status) << c.x;
                if (std::isnan(c.y)) {
                    EXPECT_TRUE(std::isnan(y)) << c.x;
                } else {
                    // Correctly rounded, or to the other neighbour of the exact result.
                    const Real infinite = std::numeric_limits<Real>::infinity();
                    const Real below = std::nextafter(c.y, -infinite),
                               above = std::nextafter(c.y, infinite);
                    const bool isExact = std::isinf(c.y) || c.y == 0;
                    EXPECT_TRUE(y == c.y || (!isExact && (y == below || y == above)))
                        << y << " for " << c.x;
                    EXPECT_EQ(std::signbit(y), std::signbit(c.y)) << c.x;
                }
            });
        }
    }
}

TEST(LnExp, SpecialArguments) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Special<double> ln[] = {
        {1, 0, 0},
        {0, -infinity, 2},
        {-0.0, -infinity, 2},
        {-1, nan, 1},
        {-1e-310, nan, 1},
        {-infinity, nan, 1},
        {infinity, infinity, 0},
        {nan, nan, 0},
        {0x1p-1074, static_cast<double>(-1074 * std::log(2.0L)), 0},
        {0x1p-1030, static_cast<double>(-1030 * std::log(2.0L)), 0},
    };
    expectSpecial(*vectorKernels().vdLn, ln);
    expectSpecial(*vectorKernels().vdLnBaseline, ln);
    const Special<double> exp[] = {
        {709.9, infinity, 3},
        {1e300, infinity, 3},
        {-746, 0, 4},
        {-1e300, 0, 4},
        {infinity, infinity, 0},
        {-infinity, 0, 0},
        {nan, nan, 0},
        {-745.1332191019411, 0x1p-1074, 4},
        {-720, static_cast<double>(std::exp(-720.0L)), 4},
        {709.75, static_cast<double>(std::exp(709.75L)), 0},
        {-0x1.6232bp9, static_cast<double>(std::exp(-0x1.6232bp9L)), 0},
    };
    expectSpecial(*vectorKernels().vdExp, exp);
    expectSpecial(*vectorKernels().vdExpBaseline, exp);
    for (const double zero : {0.0, -0.0, 1e-300}) {
        double y;
        vectorKernels().vdExp->ha(1, &zero, &y);
        EXPECT_EQ(y, 1);
        vectorKernels().vdExpBaseline->ha(1, &zero, &y);
        EXPECT_EQ(y, 1);
    }
}

TEST(LnExp, SpecialSingles) {
    constexpr float infinite = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Special<float> ln[] = {
        {1, 0, 0},
        {0, -infinite, 2},
        {-0.0F, -infinite, 2},
        {-1, nan, 1},
        {-1e-40F, nan, 1},
        {-infinite, nan, 1},
        {infinite, infinite, 0},
        {nan, nan, 0},
        {0x1p-149F, static_cast<float>(-149 * std::log(2.0)), 0},
        {0x1.8p-130F, static_cast<float>(std::log(0x1.8p-130)), 0},
    };
    expectSpecial(*vectorKernels().vsLn, ln);
    expectSpecial(*vectorKernels().vsLnBaseline, ln);
    expectSpecial(*vectorKernels().vsExp, {{0, 1, 0},
                                           {89, infinite, 3},
                                           {1e30F, infinite, 3},
                                           {-104, 0, 4},
                                           {-1e30F, 0, 4},
                                           {infinite, infinite, 0},
                                           {-infinite, 0, 0},
                                           {nan, nan, 0},
                                           {-95, static_cast<float>(std::exp(-95.0)), 4},
                                           {88.5F, static_cast<float>(std::exp(88.5)), 0}});
}

// Largest error in units of the last place of the rounded exact result.
template <class Real, class Function>
long double largestError(OneToOne<Real>* row, const std::vector<double>& arguments,
                         Function function) {
    std::vector<Real> x(arguments.begin(), arguments.end()), y(x.size());
    row(static_cast<std::int32_t>(x.size()), x.data(), y.data());
    long double largest = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const long double exact = function(static_cast<long double>(x[i]));
        const auto rounded = std::abs(static_cast<Real>(exact));
        const long double unit =
            std::nextafter(rounded, std::numeric_limits<Real>::infinity()) - rounded;
        largest = std::max(largest, std::abs(y[i] - exact) / unit);
    }
    return largest;
}

TEST(LnExp, RowsKeepTheirAccuracy) {
    const auto ln = [](long double x) { return std::log(x); };
    const auto exp = [](long double x) { return std::exp(x); };
    std::mt19937_64 engine(8);
    std::vector<double> positive, moderate;
    for (int i = 0; i < 40000; ++i) {
        positive.push_back(std::exp(
            std::uniform_real_distribution<double>(i % 2 ? -0.5 : -80, i % 2 ? 0.5 : 80)(engine)));
        moderate.push_back(
            std::uniform_real_distribution<double>(i % 2 ? -1 : -87, i % 2 ? 1 : 87)(engine));
    }
    const auto expectWithin = [](const auto& kernel, const auto& x, auto function, int digits) {
        EXPECT_LT(largestError(kernel.la, x, function), 4);
        EXPECT_LT(largestError(kernel.ha, x, function), 1);
        EXPECT_LT(largestError(kernel.ep, x, function), std::ldexp(1.0, digits));
    };
    // A relative error of 2^-26 is at least 2^26 units, of 2^-52 or less; likewise 2^-11 in single.
    expectWithin(*vectorKernels().vdLn, positive, ln, 26);
    expectWithin(*vectorKernels().vdExp, moderate, exp, 26);
    expectWithin(*vectorKernels().vsLn, positive, ln, 12);
    expectWithin(*vectorKernels().vsExp, moderate, exp, 12);
}

// Arguments and results outside the vector bodies' reach: tables and roundings of their own.
TEST(LnExp, ScalarRoutinesAreAccurateToo) {
    std::mt19937_64 engine(10);
    std::vector<double> tiny, deep, shallow, large;
    for (int i = 0; i < 20000; ++i) {
        tiny.push_back(doubleOf(engine() >> (12 + i % 52)));
        deep.push_back(std::uniform_real_distribution<double>(-745.1, -716)(engine));
        shallow.push_back(std::uniform_real_distribution<double>(-716, -708.4)(engine));
        large.push_back(std::uniform_real_distribution<double>(708.4, 709.78)(engine));
    }
    large.insert(large.end(), {709.05185001373388, 709.7363634});
    tiny.push_back(doubleOf(1));
    const auto ln = [](long double x) { return std::log(x); };
    const auto exp = [](long double x) { return std::exp(x); };
    onFreshThread([&] {
        EXPECT_LT(largestError(vectorKernels().vdLn->ha, tiny, ln), 1);
        EXPECT_LT(largestError(vectorKernels().vdExp->ha, shallow, exp), 0.53);
        EXPECT_LT(largestError(vectorKernels().vdExp->ha, large, exp), 0.53);
        // With ten bits fewer than a normal number, only one rounding shows.
        EXPECT_LT(largestError(vectorKernels().vdExp->ha, deep, exp), 0.51);
    });
}

// Integers are made from it: one formula, not fused.
TEST(LnExp, SinglesOfTheBaselineAreTheSameInEveryCopy) {
    std::vector<float> x(5000), y(x.size()), expected(x.size());
    std::mt19937 engine(9);
    for (float& value : x) value = std::uniform_real_distribution<float>(0, 4)(engine);
    vectorKernels().vsLnBaseline->la(5000, x.data(), y.data());
    copySetOfBranch(0).vectorKernels->vsLnBaseline->la(5000, x.data(), expected.data());
    EXPECT_TRUE(sameBits(y.data(), expected.data(), x.size()));
}

}  // namespace
}  // namespace korvan::testing

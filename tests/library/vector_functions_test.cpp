// The elementary functions beyond logarithm and exponential: special values with their statuses,
// and errors against the C library's long double functions.
#include <cmath>
#include <limits>
#include <random>

#include "support.h"
#include "vector_calls.h"
#include "vectormath/error_path.h"

namespace korvan::testing {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double leastDenormal = std::numeric_limits<double>::denorm_min();

bool isSame(double x, double y) {
    return std::isnan(x) ? std::isnan(y) : x == y && std::signbit(x) == std::signbit(y);
}

// The relative error that VML_EP may have.
template <class Real>
constexpr double epError = sizeof(Real) == 8 ? 0x1p-26 : 0x1p-11;

struct SpecialValue {
    double x, y;
    std::int32_t status = VML_STATUS_OK;
};

template <class Real>
void expectSpecials(const char* name, const VectorKernel<OneToOne<Real>>& kernel,
                    const std::vector<SpecialValue>& values) {
    for (auto* row : {kernel.la, kernel.ha, kernel.ep}) {
        for (const SpecialValue& value : values) {
            const auto x = static_cast<Real>(value.x);
            Real y = -77;
            vectorMathThread().status = 0;
            row(1, &x, &y);
            const double error = std::abs(static_cast<double>(y) - value.y);
            EXPECT_TRUE(isSame(static_cast<double>(y), value.y) ||
                        (row == kernel.ep && error < epError<Real> * std::abs(value.y)))
                << name << "(" << x << ") = " << y << ", not " << value.y;
            EXPECT_EQ(lastVmlStatus(), value.status) << name << "(" << x << ")";
        }
    }
}

TEST(VectorFunctions, SpecialValues) {
    const VectorKernels& kernels = vectorKernels();
    const std::vector<SpecialValue> oddAngles = {
        {0.0, 0.0}, {-0.0, -0.0}, {infinity, nan, 1}, {-infinity, nan, 1}, {nan, nan}};
    const std::vector<SpecialValue> cosines = {
        {0.0, 1}, {-0.0, 1}, {infinity, nan, 1}, {-infinity, nan, 1}, {nan, nan}};
    const std::vector<SpecialValue> roots = {
        {4, 2},       {0.0, 0.0},           {-0.0, -0.0},
        {-1, nan, 1}, {infinity, infinity}, {-infinity, nan, 1},
        {nan, nan}};
    const std::vector<SpecialValue> reciprocals = {
        {-4, -0.25}, {0.0, infinity, 2}, {-0.0, -infinity, 2}, {-infinity, -0.0}, {nan, nan}};
    const std::vector<SpecialValue> inverses = {
        {0.0, 0.0},    {-0.0, -0.0},        {1, infinity, 2}, {-1, -infinity, 2},
        {1.5, nan, 1}, {-infinity, nan, 1}, {nan, nan}};
    expectSpecials("vdSin", *kernels.vdSin, oddAngles);
    expectSpecials("vsSin", *kernels.vsSin, oddAngles);
    expectSpecials("vdTan", *kernels.vdTan, oddAngles);
    expectSpecials("vsTan", *kernels.vsTan, oddAngles);
    expectSpecials("vdCos", *kernels.vdCos, cosines);
    expectSpecials("vsCos", *kernels.vsCos, cosines);
    expectSpecials("vdSqrt", *kernels.vdSqrt, roots);
    expectSpecials("vsSqrt", *kernels.vsSqrt, roots);
    expectSpecials("vdInv", *kernels.vdInv, reciprocals);
    expectSpecials("vsInv", *kernels.vsInv, reciprocals);
    expectSpecials("vdInv", *kernels.vdInv, {{leastDenormal, infinity, 3}, {0x1p-1023, 0x1p1023}});
    expectSpecials("vsInv", *kernels.vsInv, {{-0x1p-149, -infinity, 3}, {0x1p-127, 0x1p127}});
    expectSpecials("vdErfInv", *kernels.vdErfInv, inverses);
    expectSpecials("vsErfInv", *kernels.vsErfInv, inverses);
    expectSpecials("vsErfInvBaseline", *kernels.vsErfInvBaseline, inverses);
    expectSpecials(
        "vsErf", *kernels.vsErf,
        {{0.0, 0.0}, {-0.0, -0.0}, {infinity, 1}, {-infinity, -1}, {nan, nan}, {-5, -1}});
}

TEST(VectorFunctions, BothSineAndCosineFailAtInfinity) {
    const double x[3] = {0, infinity, -0.0};
    double s[3], c[3];
    vectorMathThread().status = 0;
    vectorKernels().vdSinCos->ep(3, x, s, c);
    EXPECT_TRUE(isSame(s[0], 0) && isSame(s[1], nan) && isSame(s[2], -0.0));
    EXPECT_TRUE(isSame(c[0], 1) && isSame(c[1], nan) && isSame(c[2], 1));
    EXPECT_EQ(lastVmlStatus(), VML_STATUS_ERRDOM);
}

// ---- Powers ----

const double powerArguments[] = {
    0.0,     -0.0, 1,        -1,        2,          -2,          0.5,    -0.5,
    3,       -3,   infinity, -infinity, nan,        1e300,       -1e300, 1e-310,
    -1e-310, 2.5,  -2.5,     0x1p53,    0x1p53 + 2, -0x1p52 - 1, 1e-300, 0x1.fffffffffffffp-1};

std::int32_t statusOfPower(double x, double y, double result) {
    if (std::isnan(x) || std::isnan(y)) return VML_STATUS_OK;
    if (std::isnan(result)) return VML_STATUS_ERRDOM;
    if (x == 0) return y < 0 ? VML_STATUS_SING : VML_STATUS_OK;
    if (std::isinf(x) || std::isinf(y)) return VML_STATUS_OK;
    if (std::isinf(result)) return VML_STATUS_OVERFLOW;
    return std::abs(result) < 0x1p-1022 ? VML_STATUS_UNDERFLOW : VML_STATUS_OK;
}

// C99's special values, as the C library has them; other results to its last place (half of the
// digits in VML_EP).
TEST(VectorFunctions, PowersOfSpecialArguments) {
    for (const auto* kernel : {vectorKernels().vdPow, vectorKernels().vdPowBaseline}) {
        for (auto* row : {kernel->la, kernel->ha, kernel->ep}) {
            const double tolerance = row == kernel->ep ? epError<double> : 0x1p-52;
            for (const double x : powerArguments) {
                for (const double y : powerArguments) {
                    const double expected = std::pow(x, y);
                    double result;
                    vectorMathThread().status = 0;
                    row(1, &x, &y, &result);
                    const bool isClose = std::abs(result - expected) <=
                                         std::abs(expected) * tolerance + leastDenormal;
                    EXPECT_TRUE(isSame(result, expected) ||
                                (isClose && std::signbit(result) == std::signbit(expected)))
                        << "pow(" << x << ", " << y << ") = " << result << ", not " << expected;
                    EXPECT_EQ(lastVmlStatus(), statusOfPower(x, y, expected))
                        << "pow(" << x << ", " << y << ")";
                }
            }
        }
    }
}

TEST(VectorFunctions, SinglePowersOverflowAndUnderflowAsSingles) {
    const float x[] = {2, 2, 2, -8};
    const float y[] = {128, -126.5F, -151, 3};
    const float expected[] = {static_cast<float>(infinity), 0x1.6a09e6p-127F, 0, -512};
    const std::int32_t statuses[] = {VML_STATUS_OVERFLOW, VML_STATUS_UNDERFLOW,
                                     VML_STATUS_UNDERFLOW, VML_STATUS_OK};
    for (std::size_t i = 0; i < 4; ++i) {
        float result;
        vectorMathThread().status = 0;
        vectorKernels().vsPowx->la(1, x + i, y[i], &result);
        EXPECT_EQ(result, expected[i]);
        EXPECT_EQ(lastVmlStatus(), statuses[i]) << x[i] << ", " << y[i];
    }
}

// Sums of the results' bits: the baseline forms have the same in every copy.
TEST(VectorFunctions, BaselinePowersAreTheSameInEveryCopy) {
    std::mt19937_64 engine(3);
    std::uniform_real_distribution<double> bases(0.001, 30), exponents(-40, 40);
    std::uint64_t sum = 0;
    for (int i = 0; i < 5000; ++i) {
        const double x = bases(engine), y = exponents(engine);
        double both[2];
        vectorKernels().vdPowBaseline->ha(1, &x, &y, &both[0]);
        vectorKernels().vdPowxBaseline->ep(1, &x, y, &both[1]);
        ASSERT_EQ(both[0], both[1]);
        std::uint64_t bits;
        std::memcpy(&bits, both, sizeof bits);
        sum = sum * 0x9E3779B97F4A7C15 + bits;
    }
    EXPECT_EQ(sum, 15030983667398292765u);
}

// ---- Errors ----

using Reference = long double (*)(long double);

// In units of the last place of the reference in Real, normal numbers.
template <class Real>
long double ulpsBetween(Real y, long double reference) {
    const int exponent =
        std::max(std::ilogb(reference), std::numeric_limits<Real>::min_exponent - 1);
    return std::abs(static_cast<long double>(y) - reference) /
           std::ldexp(1.0L, exponent - (std::numeric_limits<Real>::digits - 1));
}

// The reference has 11 bits more than a double: hence the 0.01.
template <class Real>
void expectErrors(const char* name, const VectorKernel<OneToOne<Real>>& kernel,
                  const std::vector<Real>& x, Reference reference) {
    const long double epBound = std::ldexp(epError<Real>, std::numeric_limits<Real>::digits);
    const std::pair<OneToOne<Real>*, long double> rows[] = {
        {kernel.la, 4.01L}, {kernel.ha, 1.01L}, {kernel.ep, epBound}};
    std::vector<Real> y(x.size());
    for (const auto& [row, bound] : rows) {
        row(static_cast<std::int32_t>(x.size()), x.data(), y.data());
        for (std::size_t i = 0; i < x.size(); ++i) {
            const long double exact = reference(static_cast<long double>(x[i]));
            ASSERT_LT(ulpsBetween(y[i], exact), bound)
                << name << "(" << x[i] << ") = " << y[i] << ", row " << &row - &rows[0].first;
        }
    }
}

// Of every size up to 2^largest, both signs.
template <class Real>
std::vector<Real> argumentsUpTo(int largest) {
    std::mt19937_64 engine(11);
    std::uniform_real_distribution<double> mantissa(-1, 1);
    std::vector<Real> x;
    for (int i = 0; i < 6000; ++i) {
        const int exponent = i % 2 ? largest - i % 40 : static_cast<int>(engine() % 4);
        x.push_back(static_cast<Real>(std::ldexp(mantissa(engine), std::min(exponent, largest))));
    }
    return x;
}

// One step of Newton's method, from the double nearby.
long double erfInv(long double x) {
    double y;
    const auto start = static_cast<double>(x);
    vectorKernels().vdErfInv->ha(1, &start, &y);
    long double z = std::abs(static_cast<long double>(y));
    const long double size = std::abs(x);
    for (int i = 0; i < 2; ++i) {
        const long double error = z < 0.5L ? std::erf(z) - size : (1 - size) - std::erfc(z);
        z -= error * 0.886226925452758013649L * std::exp(z * z);
    }
    return std::copysign(z, x);
}

TEST(VectorFunctions, ErrorsStayWithinTheirRows) {
    const VectorKernels& kernels = vectorKernels();
    const auto angles = argumentsUpTo<double>(19), hugeAngles = argumentsUpTo<double>(1023);
    // Found by searches around each row's worst.
    const std::vector<double> worstAngles = {316318.32491012104, 124817.83232195336,
                                             142204.97539732934, 385290.42096393026,
                                             41699.125341684739, 383430.59815398452};
    for (const auto& x : {angles, hugeAngles, worstAngles}) {
        expectErrors<double>("vdSin", *kernels.vdSin, x, std::sin);
        expectErrors<double>("vdCos", *kernels.vdCos, x, std::cos);
        expectErrors<double>("vdTan", *kernels.vdTan, x, std::tan);
    }
    const auto singleAngles = argumentsUpTo<float>(127);
    expectErrors<float>("vsSin", *kernels.vsSin, singleAngles, std::sin);
    expectErrors<float>("vsCos", *kernels.vsCos, singleAngles, std::cos);
    expectErrors<float>("vsTan", *kernels.vsTan, singleAngles, std::tan);
    const std::vector<float> nextToMultiplesOfQuarters = {252.89820861816406F, 2023.1856689453125F,
                                                          505.79641723632812F};
    expectErrors<float>("vsCos", *kernels.vsCos, nextToMultiplesOfQuarters, std::cos);
    expectErrors<float>("vsSin", *kernels.vsSin, nextToMultiplesOfQuarters, std::sin);
    expectErrors<float>("vsTan", *kernels.vsTan, nextToMultiplesOfQuarters, std::tan);
    expectErrors<float>("vsErf", *kernels.vsErf, argumentsUpTo<float>(3), std::erf);

    auto probabilities = argumentsUpTo<double>(0);
    for (int i = 1; i < 53; ++i) probabilities.push_back(1 - std::ldexp(1.0, -i));
    for (const double x :
         {4.3829150148091868e-308, 4.2240132304695802e-308, 3.0229297821355545e-308, 0x1.8p-1030,
          3 * leastDenormal, 0x1p-1000, 0x1.fffp-1001}) {
        probabilities.insert(probabilities.end(), {x, -x});
    }
    expectErrors<double>("vdErfInv", *kernels.vdErfInv, probabilities, erfInv);
    auto singleProbabilities = argumentsUpTo<float>(0);
    for (int i = 1; i < 24; ++i) singleProbabilities.push_back(1 - std::ldexp(1.0F, -i));
    expectErrors<float>("vsErfInv", *kernels.vsErfInv, singleProbabilities, erfInv);
}

// The forms that counts are made from: within 4 ulp, and equal to the base copy's to the bit.
TEST(VectorFunctions, BaselineErrorFunctionsAreTheSameInEveryCopy) {
    const VectorKernels &kernels = vectorKernels(), &base = *copySetOfBranch(0).vectorKernels;
    auto x = argumentsUpTo<float>(0);
    for (int i = 0; i < 4000; ++i) x.push_back(1 - std::ldexp(static_cast<float>(i + 1), -16));
    x.insert(x.end(), {0.990990281F, 1, -1, 0, -0.0F, 2});
    const auto compare = [&](const auto& kernel, const auto& ofBase, Reference reference) {
        std::vector<float> y(x.size()), expected(x.size());
        const auto n = static_cast<std::int32_t>(x.size());
        kernel.la(n, x.data(), y.data());
        ofBase.la(n, x.data(), expected.data());
        EXPECT_TRUE(sameBits(y.data(), expected.data(), x.size()));
        for (std::size_t i = 0; i < x.size() - 6; ++i) {
            ASSERT_LT(ulpsBetween(y[i], reference(static_cast<long double>(x[i]))), 4.01L) << x[i];
        }
    };
    compare(*kernels.vsErfInvBaseline, *base.vsErfInvBaseline, erfInv);
    compare(*kernels.vsErfBaseline, *base.vsErfBaseline, std::erf);
}

// Tails of distributions and distant angles take a way of their own, for the whole vector.
TEST(VectorFunctions, RareLanesLeaveTheirNeighboursAlone) {
    forEachRow([](const std::string& name, auto* row, auto zero, int results) {
        using Real = decltype(zero);
        constexpr std::int32_t n = 32;
        for (const double rare : {0.9999, -0.99995, 1000.0, 3e5}) {
            for (std::size_t at = 0; at < n; at += 5) {
                std::vector<Real> x(n, Real{0.375}), y(2 * n);
                x[at] = static_cast<Real>(rare);
                callRow(row, n, x.data(), y.data(), n);
                for (std::size_t i = 0; i < n; ++i) {
                    Real own[2];
                    callRow(row, 1, &x[i], own, 1);
                    for (std::size_t k = 0; k < static_cast<std::size_t>(results); ++k) {
                        ASSERT_TRUE(sameBits(&own[k], &y[n * k + i], 1))
                            << name << ", " << rare << " at " << at << ", element " << i;
                    }
                }
            }
        }
    });
}

// The double that comes nearest to a multiple of pi/2 (J.-M. Muller, Elementary Functions, 3rd ed.
// 2016, table 11.1): its cosine, and a reduction that keeps too few bits of pi, would be noise.
TEST(VectorFunctions, TheHardestAngleKeepsItsDigits) {
    const double x = 0x1.6ac5b262ca1ffp+849;
    double s, c;
    vectorKernels().vdSinCos->ha(1, &x, &s, &c);
    EXPECT_EQ(s, 1);
    EXPECT_NEAR(std::abs(c) / 4.6871659242546276e-19, 1, 1e-15);
    double t;
    vectorKernels().vdTan->ha(1, &x, &t);
    EXPECT_NEAR(t * c, 1, 1e-15);
}

// The function of two results gives those of the single ones, to the rows' errors.
TEST(VectorFunctions, SineAndCosineTogether) {
    const auto x = argumentsUpTo<double>(30);
    const auto n = static_cast<std::int32_t>(x.size());
    std::vector<double> s(x.size()), c(x.size());
    const auto& kernel = *vectorKernels().vdSinCos;
    for (auto* row : {kernel.la, kernel.ha, kernel.ep}) {
        row(n, x.data(), s.data(), c.data());
        const long double bound = row == kernel.ep && row != kernel.ha ? 0x1p27L
                                  : row == kernel.ha                   ? 1.01L
                                                                       : 4.01L;
        for (std::size_t i = 0; i < x.size(); ++i) {
            ASSERT_LT(ulpsBetween(s[i], std::sin(static_cast<long double>(x[i]))), bound) << x[i];
            ASSERT_LT(ulpsBetween(c[i], std::cos(static_cast<long double>(x[i]))), bound) << x[i];
        }
    }
}

}  // namespace
}  // namespace korvan::testing

// The laws that are one transform of uniforms: their values, beside the formulas in long double
// on the same uniforms, what they take from the stream, and what they do at the ends.
#include <algorithm>
#include <boost/math/distributions/cauchy.hpp>
#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/exponential.hpp>
#include <boost/math/distributions/extreme_value.hpp>
#include <boost/math/distributions/laplace.hpp>
#include <boost/math/distributions/lognormal.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/rayleigh.hpp>
#include <boost/math/distributions/weibull.hpp>
#include <functional>
#include <limits>
#include <map>

#include "frame/branch.h"
#include "recording_generator.h"
#include "support.h"

namespace korvan::testing {
namespace {

using Long = long double;

// A law with its parameters, on [0, 1) or other bounds.
template <class Real>
struct Law {
    const char* name;
    std::int32_t method;
    std::function<std::int32_t(StreamHandle, std::int32_t, Real*)> fill;
    int words;       // of an element
    Real low, high;  // the uniforms' bounds
    // The element of the uniforms, and how far the transforms' errors can take it, given the
    // relative error of one of them.
    std::function<Long(const Real* u)> model;
    std::function<Long(const Real* u, Long x, Long error)> reach;
    // The law's own quantile, for the test of fit.
    std::function<double(double)> quantile;
};

// Exact in single as well.
constexpr double a = 0.75, beta = 2.5, alpha = 1.75, sigma = 0.625;

// Pairs of functions in two precisions.
#define KORVAN_LAW(Name, ...)                                   \
    [](StreamHandle s, std::int32_t n, Real* r) {               \
        if constexpr (sizeof(Real) == 8) {                      \
            return vdRng##Name(methodOf, s, n, r, __VA_ARGS__); \
        } else {                                                \
            return vsRng##Name(methodOf, s, n, r, __VA_ARGS__); \
        }                                                       \
    }

template <class Real, std::int32_t methodOf>
struct Filled {
    static constexpr Real A = a, Beta = beta, Alpha = alpha, Sigma = sigma, B = -0.5;
    static auto gaussian() { return KORVAN_LAW(Gaussian, A, Sigma); }
    static auto exponential() { return KORVAN_LAW(Exponential, A, Beta); }
    static auto laplace() { return KORVAN_LAW(Laplace, A, Beta); }
    static auto weibull() { return KORVAN_LAW(Weibull, Alpha, A, Beta); }
    static auto weibull1() { return KORVAN_LAW(Weibull, 1, A, Beta); }
    static auto rayleigh() { return KORVAN_LAW(Rayleigh, A, Beta); }
    static auto gumbel() { return KORVAN_LAW(Gumbel, A, Beta); }
    static auto cauchy() { return KORVAN_LAW(Cauchy, A, Beta); }
    static auto lognormal() { return KORVAN_LAW(Lognormal, A, Sigma, B, Beta); }
};
#undef KORVAN_LAW

constexpr std::int32_t accurate = METHOD_ACCURATE_FLAG;

template <class Real>
std::vector<Law<Real>> allLaws() {
    namespace bm = boost::math;
    const Real halfPi = static_cast<Real>(1.5707963267948966), twoPi = 4 * halfPi;
    const Long A = a, B = -0.5, Beta = beta, Sigma = sigma;
    // Relative to the distance from a: one or more transforms in a row.
    const auto relative = [=](int transforms) {
        return
            [=](const Real*, Long x, Long error) { return transforms * error * std::abs(x - A); };
    };
    const auto e = [](const Real* u) { return -std::log(Long{u[0]}); };
    const auto normal = [=](const Real* u) {
        return std::sqrt(2 * e(u)) * std::sin(Long{static_cast<Real>(u[1] * twoPi)});
    };
    const auto erfInv = [](const Real* u) {
        const bm::normal_distribution<Long> law;
        const Long tail = (1 - std::abs(Long{u[0]})) / 2;
        return std::copysign(-bm::quantile(law, tail), Long{u[0]});
    };
    const bm::normal normalLaw(a, sigma);
    const auto normalQuantile = [=](double p) { return bm::quantile(normalLaw, p); };
    std::vector<Law<Real>> laws = {
        {"Gaussian", 0, Filled<Real, 0>::gaussian(), 2, 0, 1,
         [=](const Real* u) { return A + Sigma * normal(u); }, relative(3), normalQuantile},
        // The partners are tested by the pairs' own tests.
        {"Gaussian inverse", 2, Filled<Real, 2>::gaussian(), 1, -1, 1,
         [=](const Real* u) { return A + Sigma * erfInv(u); }, relative(2), normalQuantile},
        {"Laplace", 0, Filled<Real, 0>::laplace(), 2, 0, 1,
         [=](const Real* u) { return A + (u[1] <= Real{0.5} ? 1 : -1) * Beta * e(u); }, relative(1),
         [](double p) { return bm::quantile(bm::laplace(a, beta), p); }},
        {"Gumbel", 0, Filled<Real, 0>::gumbel(), 1, 0, 1,
         [=](const Real* u) { return A + Beta * std::log(e(u)); },
         [=](const Real*, Long x, Long error) { return error * (Beta + std::abs(x - A)); },
         [](double p) { return 2 * a - bm::quantile(bm::extreme_value(a, beta), 1 - p); }},
        {"Cauchy", 0, Filled<Real, 0>::cauchy(), 1, -halfPi, halfPi,
         [=](const Real* u) { return A + Beta * std::tan(Long{u[0]}); }, relative(1),
         [](double p) { return bm::quantile(bm::cauchy(a, beta), p); }},
        {"Lognormal inverse", 1, Filled<Real, 1>::lognormal(), 1, -1, 1,
         [=](const Real* u) { return B + Beta * std::exp(A + Sigma * erfInv(u)); },
         [=](const Real* u, Long x, Long error) {
             return error * std::abs(x - B) * (2 + 2 * Sigma * std::abs(erfInv(u)));
         },
         [](double p) { return beta * bm::quantile(bm::lognormal(a, sigma), p) - 0.5; }},
    };
    const auto addBoth = [&](Law<Real> law, auto exact) {
        laws.push_back(law);
        law.method = accurate;
        law.fill = exact;
        laws.push_back(law);
    };
    addBoth({"Exponential", 0, Filled<Real, 0>::exponential(), 1, 0, 1,
             [=](const Real* u) { return A + Beta * e(u); }, relative(1),
             [](double p) { return a + bm::quantile(bm::exponential(1 / beta), p); }},
            Filled<Real, accurate>::exponential());
    addBoth({"Weibull", 0, Filled<Real, 0>::weibull(), 1, 0, 1,
             [=](const Real* u) {
                 return A + Beta * std::pow(e(u), Long{1 / static_cast<Real>(alpha)});
             },
             relative(2), [](double p) { return a + bm::quantile(bm::weibull(alpha, beta), p); }},
            Filled<Real, accurate>::weibull());
    addBoth({"Weibull of shape 1", 0, Filled<Real, 0>::weibull1(), 1, 0, 1,
             [=](const Real* u) { return A + Beta * e(u); }, relative(1),
             [](double p) { return a + bm::quantile(bm::weibull(1, beta), p); }},
            Filled<Real, accurate>::weibull1());
    addBoth({"Rayleigh", 0, Filled<Real, 0>::rayleigh(), 1, 0, 1,
             [=](const Real* u) { return A + Beta * std::sqrt(e(u)); }, relative(2),
             [](double p) { return a + bm::quantile(bm::rayleigh(beta / std::sqrt(2.0)), p); }},
            Filled<Real, accurate>::rayleigh());
    return laws;
}

std::int32_t fillUniform(StreamHandle s, std::size_t n, double* r, double low, double high) {
    return vdRngUniform(0, s, static_cast<std::int32_t>(n), r, low, high);
}
std::int32_t fillUniform(StreamHandle s, std::size_t n, float* r, float low, float high) {
    return vsRngUniform(0, s, static_cast<std::int32_t>(n), r, low, high);
}

template <class Real>
class RealLaws : public ::testing::Test {
  protected:
    static constexpr Long epsilon = std::numeric_limits<Real>::epsilon();
    // Of the transforms' rows: half the digits in double, 4 ulp in single.
    static constexpr Long transformError = sizeof(Real) == 8 ? 0x1p-26L : 4 * epsilon;
};
using Precisions = ::testing::Types<double, float>;
TYPED_TEST_SUITE(RealLaws, Precisions);

TYPED_TEST(RealLaws, ElementsAreTheFormulasOfTheirUniforms) {
    using Real = TypeParam;
    const std::int32_t n = 9001;
    const auto size = static_cast<std::size_t>(n);
    for (const Law<Real>& law : allLaws<Real>()) {
        for (const GeneratorId id : {GEN_SFMT19937, GEN_PHILOX4X32X10}) {
            const auto words = static_cast<std::size_t>(law.words);
            Stream stream(id, 5), twin(stream);
            std::vector<Real> r(size + 2, 77), u(words * size);
            ASSERT_EQ(law.fill(stream, n, r.data() + 1), RNG_OK);
            ASSERT_EQ(fillUniform(twin, u.size(), u.data(), law.low, law.high), RNG_OK);
            EXPECT_EQ(r.front(), 77);
            EXPECT_EQ(r.back(), 77);
            for (std::size_t i = 0; i < size; ++i) {
                const Real* const own = &u[words * i];
                const Long x = law.model(own), given = r[i + 1];
                const Long reach =
                    law.reach(own, x, this->transformError) + 2 * this->epsilon * (std::abs(x) + a);
                ASSERT_LE(std::abs(given - x), reach)
                    << law.name << " " << i << ", u " << own[0] << ", x " << x;
            }
            // Nothing more was taken from the stream.
            EXPECT_EQ(drawWords(stream, 5), drawWords(twin, 5)) << law.name;
        }
    }
}

TYPED_TEST(RealLaws, FitTheirLaws) {
    using Real = TypeParam;
    constexpr std::size_t n = 1000000, bins = 1000;
    auto laws = allLaws<Real>();
    Law<Real> paired = laws[0], pairedLognormal = laws[5];
    paired.fill = Filled<Real, 1>::gaussian();
    pairedLognormal.fill = Filled<Real, 0>::lognormal();
    laws.push_back(paired);
    laws.push_back(pairedLognormal);
    const double bound =
        boost::math::quantile(boost::math::complement(boost::math::chi_squared(bins - 1), 1e-6));
    for (const Law<Real>& law : laws) {
        if (law.method == accurate) continue;
        Stream stream(GEN_SFMT19937, 20261123);
        std::vector<Real> r(n);
        ASSERT_EQ(law.fill(stream, static_cast<std::int32_t>(n), r.data()), RNG_OK);
        std::vector<double> borders;
        for (std::size_t k = 1; k < bins; ++k) {
            borders.push_back(law.quantile(static_cast<double>(k) / bins));
        }
        std::vector<double> counts(bins);
        for (const Real x : r) {
            const auto bin = std::upper_bound(borders.begin(), borders.end(), double{x});
            ++counts[static_cast<std::size_t>(bin - borders.begin())];
        }
        double chiSquare = 0;
        for (const double count : counts) chiSquare += std::pow(count - n / bins, 2) / (n / bins);
        EXPECT_LT(chiSquare, bound) << law.name << ", method " << law.method;
    }
}

// The generator is asked for passes of the told lengths, and left as they leave it.
TYPED_TEST(RealLaws, PassesShowInTheGeneratorAlone) {
    using Real = TypeParam;
    const std::int32_t n = 50001;
    const bool isWide = vslGetBranchNumber() == 11;
    const auto refined = static_cast<std::int32_t>(refinedLevel());
    const std::int32_t standard = 32768 / sizeof(Real);
    const std::int32_t longer = refined >= 12 && refined <= 14 ? standard / 2 * 3 : standard;
    for (const Law<Real>& law : allLaws<Real>()) {
        const std::string name = law.name;
        const bool isStandard = name == "Gaussian inverse" || name == "Lognormal inverse";
        std::vector<std::int32_t> passes;
        if (law.words == 2) {
            for (std::int32_t left = n; left > 0; left -= 1024) {
                passes.push_back(2 * std::min(left, 1024));
            }
        } else {
            const std::int32_t pass = !isWide ? n : isStandard ? standard : longer;
            for (std::int32_t left = n; left > 0; left -= pass) {
                passes.push_back(std::min(left, pass));
            }
        }
        std::vector<Real> r(2 * std::size_t{n});
        const RecordingGenerator recording;
        ASSERT_EQ(law.fill(recording.stream(), n, r.data()), RNG_OK);
        EXPECT_EQ(RecordingGenerator::counts, passes) << name;

        for (const GeneratorId id : presentGenerators()) {
            if (id == GEN_NONDETERMINISTIC) continue;
            Stream stream(id, 3), twin(id, 3);
            drawWords(stream, 3), drawWords(twin, 3);
            ASSERT_EQ(law.fill(stream, n, r.data()), RNG_OK);
            for (const std::int32_t pass : passes) {
                const auto size = static_cast<std::size_t>(pass);
                ASSERT_EQ(fillUniform(twin, size, r.data(), law.low, law.high), RNG_OK);
            }
            EXPECT_EQ(stateBytes(stream), stateBytes(twin)) << name << " " << std::hex << id;
        }
    }
    // Laplace draws what is left behind its last block, be it nothing.
    Real r[3];
    const RecordingGenerator recording;
    const auto laplace = Filled<Real, 0>::laplace();
    std::vector<Real> block(1024);
    ASSERT_EQ(laplace(recording.stream(), 1024, block.data()), RNG_OK);
    EXPECT_EQ(RecordingGenerator::counts, (std::vector<std::int32_t>{2048, 0}));
    RecordingGenerator::counts.clear();
    ASSERT_EQ(laplace(recording.stream(), 3, r), RNG_OK);
    EXPECT_EQ(RecordingGenerator::counts, (std::vector<std::int32_t>{6}));
}

// An element doesn't depend on its place, on the length of the call or on the array's alignment.
TYPED_TEST(RealLaws, ElementsDependOnTheirUniformsAlone) {
    using Real = TypeParam;
    for (const Law<Real>& law : allLaws<Real>()) {
        Stream whole(GEN_SFMT19937, 9), parts(whole);
        std::vector<Real> expected(5000), r(5001);
        ASSERT_EQ(law.fill(whole, 5000, expected.data()), RNG_OK);
        for (std::int32_t done = 0, n = 1; done < 5000; done += n++) {
            n = std::min(n, 5000 - done);
            ASSERT_EQ(law.fill(parts, n, r.data() + 1 + done), RNG_OK);
        }
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), r.begin() + 1)) << law.name;
    }
}

// ---- The ends ----

// A stream that gives one number, in the middle of an interval of numbers that it could give.
template <class Real>
struct ConstantStream {
    static inline Real value;
    Real buffer[1];
    StreamHandle stream = nullptr;

    explicit ConstantStream(Real u) {
        value = u;
        if constexpr (sizeof(Real) == 8) {
            EXPECT_EQ(vslNewAbstractStreamDouble(&stream, 1, buffer, 0, 1, give), RNG_OK);
        } else {
            EXPECT_EQ(vslNewAbstractStreamSingle(&stream, 1, buffer, 0, 1, give), RNG_OK);
        }
    }
    ~ConstantStream() { vslDeleteStream(&stream); }
    static std::int32_t give(StreamHandle, std::int32_t*, Real* buffer, std::int32_t*,
                             std::int32_t*, std::int32_t*) {
        buffer[0] = value;
        return 1;
    }
};

TYPED_TEST(RealLaws, ZerosGiveFiniteVariates) {
    using Real = TypeParam;
    const bool isDouble = sizeof(Real) == 8;
    const Long e = isDouble ? 744.4400719213812L : 103.2789306640625L;
    const Long q = isDouble ? 5.8635847487551676L : 3.8325068950653076L;
    const std::map<std::string, Long> expected = {
        {"Gaussian", a},  // its sine is 0
        {"Gaussian inverse", a - std::sqrt(2.0L) * sigma * q},
        {"Laplace", a + beta * e},
        {"Gumbel", a + beta * std::log(e)},
        {"Lognormal inverse", beta * std::exp(a - std::sqrt(2.0L) * sigma * q) - 0.5L},
        {"Exponential", a + beta * e},
        {"Weibull", a + beta * std::pow(e, 1 / alpha)},
        {"Weibull of shape 1", a + beta * e},
        {"Rayleigh", a + beta * std::sqrt(e)},
    };
    for (const Law<Real>& law : allLaws<Real>()) {
        const ConstantStream<Real> zeros(0);
        Real r[5];
        ASSERT_EQ(law.fill(zeros.stream, 5, r), RNG_OK);
        for (const Real x : r) {
            EXPECT_TRUE(std::isfinite(x)) << law.name;
            const auto row = expected.find(law.name);
            if (row == expected.end()) continue;
            const Long reach = 4 * this->transformError * std::abs(row->second);
            EXPECT_LE(std::abs(x - row->second), reach) << law.name;
        }
    }
}

TYPED_TEST(RealLaws, AccurateMethodsStayInTheSupport) {
    using Real = TypeParam;
    // a + beta x rounds below a where x is negative by rounding alone: u above 1.
    const ConstantStream<Real> above(Real{1} + std::numeric_limits<Real>::epsilon());
    const Real least = 5;
    Real x;
    const auto draw = [&](std::int32_t method) {
        if constexpr (sizeof(Real) == 8) {
            EXPECT_EQ(vdRngExponential(method, above.stream, 1, &x, 5, 1e8), RNG_OK);
        } else {
            EXPECT_EQ(vsRngExponential(method, above.stream, 1, &x, 5, 1e8F), RNG_OK);
        }
        return x;
    };
    EXPECT_LT(draw(0), least);
    EXPECT_EQ(draw(METHOD_ACCURATE_FLAG), least);
}

TEST(RealLawsAtTheEnds, StrangeParametersEnd) {
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 infinity = std::numeric_limits<double>::infinity();
    Stream stream(GEN_PHILOX4X32X10, 3);
    std::vector<double> r(300);
    for (const double strange : {nan, infinity, 5e-324}) {
        for (const std::int32_t n : {1, 300}) {
            EXPECT_EQ(vdRngGaussian(0, stream, n, r.data(), strange, strange), RNG_OK);
            EXPECT_EQ(vdRngGaussian(1, stream, n, r.data(), 0, strange), RNG_OK);
            EXPECT_EQ(vdRngGaussian(2, stream, n, r.data(), 0, strange), RNG_OK);
            EXPECT_EQ(vdRngWeibull(0, stream, n, r.data(), strange, 0, 1), RNG_OK);
            EXPECT_EQ(vdRngRayleigh(0, stream, n, r.data(), 0, strange), RNG_OK);
            EXPECT_EQ(vdRngCauchy(0, stream, n, r.data(), strange, 1), RNG_OK);
            EXPECT_EQ(vdRngLognormal(0, stream, n, r.data(), 0, strange, 0, 1), RNG_OK);
            EXPECT_EQ(vdRngLaplace(0, stream, n, r.data(), 0, strange), RNG_OK);
            EXPECT_EQ(vdRngExponential(accurate, stream, n, r.data(), 5, strange), RNG_OK);
            if (strange < 1) {
                EXPECT_EQ(*std::min_element(r.begin(), r.begin() + n), 5);
            }
        }
    }
    // An exponential that overflows is the caller's, with the caller's mode.
    ASSERT_EQ(vdRngLognormal(METHOD_LOGNORMAL_INVERSE, stream, 8, r.data(), 2000, 1, 0, 1), RNG_OK);
    EXPECT_EQ(r[7], infinity);
}

}  // namespace
}  // namespace korvan::testing

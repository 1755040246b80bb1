// The laws of counts: equal to their models on the same draws, fitting their laws, and what they
// keep on the stream.
#include <boost/math/distributions/binomial.hpp>
#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/geometric.hpp>
#include <boost/math/distributions/poisson.hpp>
#include <cstring>
#include <functional>
#include <map>
#include <numeric>

#include "count_models.h"
#include "recording_generator.h"
#include "streams/attachments.h"
#include "watched_heap.h"

namespace korvan::testing {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t overflow = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t guard = 0x4A4A4A4A;

using Fill = std::function<std::int32_t(StreamHandle, std::int32_t n, std::int32_t* r)>;
Fill bernoulliOf(double p) {
    return [=](auto s, auto n, auto r) { return viRngBernoulli(0, s, n, r, p); };
}
Fill geometricOf(double p) {
    return [=](auto s, auto n, auto r) { return viRngGeometric(0, s, n, r, p); };
}
Fill poissonOf(double lambda, std::int32_t method = METHOD_POISSON_PTPE) {
    return [=](auto s, auto n, auto r) { return viRngPoisson(method, s, n, r, lambda); };
}
// Means over and over.
std::vector<double> cycled(const std::vector<double>& means, std::size_t n) {
    std::vector<double> lambda;
    while (lambda.size() < n) lambda.push_back(means[lambda.size() % means.size()]);
    return lambda;
}
Fill poissonVOf(const std::vector<double>& means) {
    return [=](auto s, auto n, auto r) {
        const auto lambda = cycled(means, static_cast<std::size_t>(n));
        return viRngPoissonV(0, s, n, r, lambda.data());
    };
}
Fill multinomialOf(std::int32_t ntrial, const std::vector<double>& p) {
    return [=](auto s, auto n, auto r) {
        return viRngMultinomial(0, s, n, r, ntrial, static_cast<std::int32_t>(p.size()), p.data());
    };
}

// Leaves NaNs on the stack, where a kernel may read what it hasn't written.
[[gnu::noinline]] void spoilStack() {
    unsigned char bytes[1 << 18];
    std::memset(bytes, 0xFF, sizeof bytes);
    asm volatile("" : : "r"(bytes) : "memory");
}

// n elements of `width` counts, off any vector's alignment; nothing is written around them.
std::vector<std::int32_t> draw(const Fill& fill, StreamHandle stream, std::size_t n,
                               std::size_t width = 1, std::int32_t status = RNG_OK) {
    std::vector<std::int32_t> r(n * width + 2, guard);
    spoilStack();
    EXPECT_EQ(fill(stream, static_cast<std::int32_t>(n), r.data() + 1), status);
    EXPECT_EQ(r.front(), guard);
    EXPECT_EQ(r.back(), guard);
    return {r.begin() + 1, r.end() - 1};
}

std::vector<GeneratorId> someGenerators() {
    std::vector<GeneratorId> some;
    for (const GeneratorId id : presentGenerators()) {
        if (id == GEN_SFMT19937 || id == GEN_MCG31 || id == GEN_WH || id == GEN_PHILOX4X32X10 ||
            id == GEN_ARS5) {
            some.push_back(id);
        }
    }
    return some;
}
constexpr std::size_t sizes[] = {1, 2, 7, 1000, 5000};

const PoissonRecord* recordOf(StreamHandle stream) {
    return static_cast<const PoissonRecord*>(findAttachment(stream, tagPoisson));
}

// ---- Beside the models ----

struct ElementLaw {
    std::string name;
    Fill fill;
    std::function<Counts(StreamHandle, std::size_t)> model;
    bool isCoarse = false;  // a logarithm's last bits are more than a unit
};

std::vector<ElementLaw> elementLaws() {
    std::vector<ElementLaw> laws;
    const auto named = [](const char* law, double parameter) {
        return law + std::to_string(parameter);
    };
    for (const double p : {0.0, 1.0, 5e-324, 1e-50, 1e-40, 0.3, 1 - 1e-12, nan}) {
        laws.push_back({named("Bernoulli ", p), bernoulliOf(p),
                        [=](auto s, auto n) { return bernoulli(s, n, p); }});
    }
    for (const double p : {0.5, 0.1, 1e-3, 1e-9, 1 - 1e-12}) {
        laws.push_back({named("Geometric ", p), geometricOf(p),
                        [=](auto s, auto n) { return geometric(s, n, p); }, p < 1e-6});
    }
    std::vector<double> means = {1e-300, 1e-9, 0.5, 1, 1.3, 99.999, 100, 500, 1e6, 1e9, 3e9};
    for (const double power : {1, 2, 4, 8, 16, 32, 64}) {
        means.push_back(power);
        means.push_back(power * 1.37);
        means.push_back(std::nextafter(power, 0));  // the power itself as a single
        means.push_back(power * (1 - 1e-6));
    }
    for (const double lambda : means) {
        laws.push_back({named("Poisson 1, ", lambda), poissonOf(lambda, METHOD_POISSON_NORMAL),
                        [=](auto s, auto n) { return poissonNormal(s, n, lambda); }});
    }
    std::vector<double> mixed = {0,   -3,     1e-9, 0.06249, 0.0625, 0.3,  1,   7.5,
                                 100, 8191.9, 8192, 1e6,     -0.0,   0.03, -1e9};
    mixed.push_back(std::nextafter(0.0625, 0));
    for (double binade = 0.0625; binade < 20000; binade *= 2) mixed.push_back(binade * 1.618);
    for (const auto& lambda : {mixed, std::vector<double>{nan, 1e10, 3}, {0.06}, {55.5}}) {
        laws.push_back({named("PoissonV ", lambda[0]), poissonVOf(lambda),
                        [=](auto s, auto n) { return poissonV(s, n, cycled(lambda, n).data()); }});
    }
    return laws;
}

TEST(Counts, ElementsAreTheModelsOfTheirDraws) {
    for (const ElementLaw& law : elementLaws()) {
        std::size_t flips = 0, elements = 0;
        for (const GeneratorId id : someGenerators()) {
            for (const std::size_t n : sizes) {
                Stream stream(id, 7), twin(stream);
                const auto r = draw(law.fill, stream, n);
                const Counts counts = law.model(twin, n);
                for (std::size_t i = 0; i < n; ++i) {
                    ASSERT_TRUE(counts[i].admits(r[i]))
                        << law.name << ", generator " << std::hex << id << std::dec << ", " << i
                        << " of " << n << ": " << r[i] << ", not " << counts[i].value;
                    flips += r[i] != counts[i].value;
                }
                elements += n;
                ASSERT_EQ(stateBytes(stream), stateBytes(twin)) << law.name;
                EXPECT_EQ(attachmentCount(stream), 0u) << law.name;
            }
        }
        if (!law.isCoarse) {
            EXPECT_LE(flips, elements / 10000) << law.name;
        }
    }
}

TEST(Counts, PoissonTableIsSearchedFromTheMean) {
    for (const double lambda : {1e-300, 1e-9, 0.3, 0.999, 1.0, 5.5, 13.0, 26.999}) {
        for (const GeneratorId id : someGenerators()) {
            for (const std::size_t n : sizes) {
                Stream stream(id, 11), twin(stream);
                const auto r = draw(poissonOf(lambda), stream, n);
                const PoissonRecord* record = recordOf(stream);
                ASSERT_TRUE(record);
                const double p0 = record->cumulative[0];
                ASSERT_NEAR(p0 / std::exp(-lambda), 1, 4e-16);
                const PoissonTable table(lambda, p0);
                ASSERT_EQ(record->tableLambda, lambda);
                ASSERT_TRUE(std::equal(table.cumulative.begin(), table.cumulative.end(),
                                       record->cumulative));
                const Counts counts = poissonTable(twin, n, lambda, p0);
                for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(r[i], counts[i].value) << lambda;
                ASSERT_EQ(stateBytes(stream), stateBytes(twin));
            }
        }
    }
}

// Every candidate's count and acceptance, and the blocks.  One candidate in 600,000 or fewer hangs
// on a logarithm's last bits.
TEST(Counts, PoissonRejectionTakesTheModelsCandidates) {
    std::size_t flipped = 0, drawn = 0;
    for (const double lambda : {27.0, 27.5, 50.0, 64.5, 99.99, 100.0, 100.000001, 101.3, 500.0,
                                1234.1, 16384.0, 1e6, 1e9, 2147e6}) {
        const PtpeCandidates candidates(lambda);
        for (const GeneratorId id : someGenerators()) {
            Stream stream(id, 13);
            std::vector<std::size_t> calls(200, 1);
            calls.insert(calls.end(), std::begin(sizes), std::end(sizes));
            for (const std::size_t n : calls) {
                const Stream twin(stream);
                const auto r = draw(poissonOf(lambda), stream, n);
                const PtpeMatch match = matchPtpe(candidates, twin, r, stream);
                ASSERT_TRUE(match.fits) << lambda << ", " << n << ", " << std::hex << id;
                flipped += match.flipped;
                drawn += match.candidates;
            }
            ASSERT_EQ(
                std::memcmp(recordOf(stream), &candidates.t, offsetof(PoissonRecord, tableLambda)),
                0)
                << lambda;
        }
    }
    EXPECT_LE(static_cast<double>(flipped), 1e-5 * static_cast<double>(drawn));
}

std::vector<double> shares(std::size_t k, double sum = 1) {
    std::vector<double> p(k);
    double total = 0;
    for (std::size_t i = 0; i < k; ++i) total += p[i] = static_cast<double>(i % 7 + (k > 7));
    for (double& share : p) share *= sum / total;
    return p;
}

TEST(Counts, MultinomialRowsAreTheModels) {
    struct Case {
        std::int32_t ntrial;
        std::vector<double> p;
    };
    const std::vector<double> uneven = {0.5, 0, 0.3, 0.2};
    const std::vector<Case> cases = {{1, uneven},
                                     {10, uneven},
                                     {1000, uneven},
                                     {1000000, uneven},
                                     {16, shares(255)},
                                     {16, shares(256)},
                                     {17, shares(400)},
                                     {3, shares(48)},
                                     {100, shares(3000)},
                                     {10, shares(500, 0.9991)},
                                     {50, shares(9, 0.9991)},
                                     {50, shares(9, 1.0009)},
                                     {1, {0.25, 0.75}},
                                     {100000, shares(3000)},
                                     {1000000, shares(9, 1.0009)},
                                     {2147483647, {0.25, 0.75}},
                                     {2147483647, {1, 0}}};
    for (const auto& [ntrial, p] : cases) {
        for (const GeneratorId id : someGenerators()) {
            for (const std::size_t n : {1, 2, 7, 60}) {
                Stream stream(id, 17), twin(stream);
                const auto r = draw(multinomialOf(ntrial, p), stream, n, p.size());
                ASSERT_EQ(r, multinomial(twin, n, ntrial, p)) << ntrial << " over " << p.size();
                ASSERT_EQ(stateBytes(stream), stateBytes(twin)) << ntrial << " over " << p.size();
                EXPECT_EQ(attachmentCount(stream), 0u);
            }
        }
    }
}

// ---- Uniforms that are seldom met ----

std::vector<std::int32_t> drawScripted(const Fill& fill, const std::vector<double>& script) {
    const RecordingGenerator recording;
    RecordingGenerator::script = script;
    return draw(fill, recording.stream(), script.size());
}

TEST(Counts, ExtremeUniforms) {
    const std::vector<double> script = {0, 1 - 0x1p-24, 1, 0.5};
    using Row = std::vector<std::int32_t>;
    EXPECT_EQ(drawScripted(bernoulliOf(0), script), (Row{0, 0, 0, 0}));
    EXPECT_EQ(drawScripted(bernoulliOf(1e-50), script), (Row{0, 0, 0, 0}));
    EXPECT_EQ(drawScripted(bernoulliOf(1e-40), script), (Row{1, 0, 0, 0}));
    EXPECT_EQ(drawScripted(bernoulliOf(0.5), script), (Row{1, 0, 0, 0}));
    EXPECT_EQ(drawScripted(bernoulliOf(1 - 0x1p-24), script), (Row{1, 0, 0, 1}));
    EXPECT_EQ(drawScripted(bernoulliOf(1), script), (Row{1, 1, 1, 1}));
    // -103.27893 stands for the logarithm of 0.
    EXPECT_EQ(drawScripted(geometricOf(0.25), script), (Row{359, 0, 0, 2}));
    EXPECT_EQ(drawScripted(geometricOf(1e-9), script), (Row{overflow, 59, 0, 693147200}));
    EXPECT_EQ(drawScripted(poissonOf(0.5, METHOD_POISSON_NORMAL), script)[0], 0);
    EXPECT_LE(drawScripted(poissonOf(0.5, METHOD_POISSON_NORMAL), script)[2], 11);
}

TEST(Counts, PoissonTableAtItsEntries) {
    for (const double lambda : {0.5, 1.0, 3.7, 26.5}) {
        Stream stream(GEN_MCG31);
        draw(poissonOf(lambda), stream, 1);
        const PoissonTable table(lambda, recordOf(stream)->cumulative[0]);
        std::vector<double> script = {0, 1 - 0x1p-53, 1 - 0x1p-30, 1};
        for (const double entry : table.cumulative) {
            for (const double u : {entry, std::nextafter(entry, 0), std::nextafter(entry, 1)}) {
                script.push_back(u);
            }
        }
        const auto r = drawScripted(poissonOf(lambda), script);
        for (std::size_t i = 0; i < script.size(); ++i) {
            EXPECT_EQ(r[i], table(script[i])) << lambda << ", u = 1 - " << 1 - script[i];
        }
        // A longer call searches in another way.
        std::vector<double> longer;
        for (int repeat = 0; repeat < 4; ++repeat) {
            longer.insert(longer.end(), script.begin(), script.end());
        }
        const auto again = drawScripted(poissonOf(lambda), longer);
        for (std::size_t i = 0; i < longer.size(); ++i) {
            EXPECT_EQ(again[i], r[i % r.size()]) << lambda << ", " << i;
        }
        EXPECT_EQ(r[0], 0);
        EXPECT_EQ(r[4], table.M ? -1 : 1);  // the first entry itself
        EXPECT_GE(r[1], r[2]);
        EXPECT_LT(r[3], static_cast<std::int32_t>(table.N) + 60);
    }
}

// A uniform of 0 belongs to no category, the largest to the last one; by counting and by search.
TEST(Counts, MultinomialAtTheEndsOfItsUniforms) {
    for (const std::size_t k : {48, 600}) {
        std::vector<double> p(k, 1.0 / 1024);
        p[0] = 1 - static_cast<double>(k - 1) / 1024;
        const RecordingGenerator recording;
        RecordingGenerator::script = {0, p[0], 1 - 0x1p-53};
        const auto row = draw(multinomialOf(3, p), recording.stream(), 1, k);
        EXPECT_EQ(row.front(), 1);
        EXPECT_EQ(row.back(), 1);
        EXPECT_EQ(std::accumulate(row.begin(), row.end(), 0), 2);
    }
}

// Pairs at the regions' borders, and with second numbers of 0 and nearly 1.
TEST(Counts, PoissonRejectionAtItsBorders) {
    for (const double lambda : {27.0, 60.0, 100.0, 101.5, 4096.0}) {
        const PtpeCandidates candidates(lambda);
        const PoissonRecord& t = candidates.t;
        const RecordingGenerator recording;
        std::vector<double>& script = RecordingGenerator::script;
        for (const float border : {0.0F, t.p1, t.p2, t.p3, t.p4}) {
            for (int step = -2; step <= 2; ++step) {
                const float u = border / t.p4 + static_cast<float>(step) * 0x1p-24F;
                for (const float v : {0.0F, 0x1p-24F, 0x1p-12F, 0.5F, 1 - 0x1p-24F}) {
                    if (u >= 0 && u < 1) script.insert(script.end(), {double{u}, double{v}});
                }
            }
        }
        for (const std::size_t n : {1, 50, 200}) {
            const Stream twin(recording.stream());
            const auto r = draw(poissonOf(lambda), recording.stream(), n);
            EXPECT_TRUE(matchPtpe(candidates, twin, r, recording.stream()).fits) << lambda;
        }
    }
}

// ---- The laws ----

double chiSquareBound(std::size_t bins) {
    const boost::math::chi_squared law(static_cast<double>(bins - 1));
    return boost::math::quantile(boost::math::complement(law, 1e-6));
}

// Against probabilities of 0, 1, 2, ...; neighbours of few expected counts share a bin.
void expectFit(const std::vector<std::int32_t>& r, const std::function<double(double)>& pdf,
               const std::string& name) {
    const std::int32_t most = *std::max_element(r.begin(), r.end());
    std::vector<double> counts(static_cast<std::size_t>(most) + 1);
    for (const std::int32_t k : r) {
        ASSERT_GE(k, 0) << name;
        ++counts[static_cast<std::size_t>(k)];
    }
    const auto n = static_cast<double>(r.size());
    double chiSquare = 0, expected = 0, observed = 0, expectedLeft = n, observedLeft = n;
    std::size_t bins = 1;
    for (std::size_t k = 0; k < counts.size(); ++k) {
        expected += n * pdf(static_cast<double>(k));
        observed += counts[k];
        if (expected < 20 || expectedLeft - expected < 20) continue;
        chiSquare += std::pow(observed - expected, 2) / expected;
        expectedLeft -= std::exchange(expected, 0);
        observedLeft -= std::exchange(observed, 0);
        ++bins;
    }
    chiSquare += std::pow(observedLeft - expectedLeft, 2) / expectedLeft;
    EXPECT_LT(chiSquare, chiSquareBound(bins)) << name << ", " << bins << " bins";
}

template <class Law>
std::function<double(double)> pdfOf(const Law& law) {
    return [=](double k) { return boost::math::pdf(law, k); };
}

TEST(Counts, FitTheirLaws) {
    namespace bm = boost::math;
    constexpr std::size_t n = 1000000;
    Stream stream(GEN_SFMT19937, 20261123);
    for (const double p : {0.3, 0.999}) {
        expectFit(draw(bernoulliOf(p), stream, n), pdfOf(bm::binomial(1, p)), "Bernoulli");
    }
    for (const double p : {0.9, 0.5, 0.1, 0.01}) {
        expectFit(draw(geometricOf(p), stream, n), pdfOf(bm::geometric(p)), "Geometric");
    }
    for (const double lambda : {0.01, 0.7, 13.5, 26.999, 27.0, 50.0, 100.0, 101.3, 1234.1}) {
        // The ratio test past 32 steps from the mode is one step behind.
        const double m = std::floor(lambda), exact = lambda < 27 || lambda > 100 ? 1e9 : 32;
        const auto weight = [=, pdf = pdfOf(bm::poisson(lambda))](double k) {
            return pdf(std::abs(k - m) <= exact ? k : k + std::copysign(1, m - k));
        };
        double sum = 0;
        for (double k = 0; k < 2 * lambda + 40; ++k) sum += weight(k);
        expectFit(
            draw(poissonOf(lambda), stream, n), [=](double k) { return weight(k) / sum; },
            "Poisson " + std::to_string(lambda));
    }
}

TEST(Counts, MultinomialFitsItsMarginals) {
    for (const auto& [ntrial, p] : std::vector<std::pair<std::int32_t, std::vector<double>>>{
             {20, {0.5, 0.05, 0.25, 0.2}}, {300, {0.1, 0.2, 0.3, 0.4}}, {12, shares(192)}}) {
        const std::size_t k = p.size(), n = 800000 / k;
        Stream stream(GEN_PHILOX4X32X10, 20261123);
        const auto r = draw(multinomialOf(ntrial, p), stream, n, k);
        for (std::size_t j = 0; j < n; ++j) {
            const auto row = r.begin() + static_cast<std::ptrdiff_t>(j * k);
            ASSERT_EQ(std::accumulate(row, row + static_cast<std::ptrdiff_t>(k), 0), ntrial);
        }
        for (std::size_t i = 0; i < std::min<std::size_t>(k, 8); ++i) {
            std::vector<std::int32_t> column;
            for (std::size_t j = 0; j < n; ++j) column.push_back(r[j * k + i]);
            expectFit(column, pdfOf(boost::math::binomial(ntrial, p[i])),
                      "Multinomial " + std::to_string(ntrial) + ", " + std::to_string(i));
        }
    }
}

TEST(Counts, StrangeParametersEnd) {
    Stream stream(GEN_PHILOX4X32X10, 3);
    for (const double strange : {nan, std::numeric_limits<double>::infinity(), 5e-324}) {
        draw(poissonOf(strange, METHOD_POISSON_NORMAL), stream, 100);
        draw(poissonVOf({strange, -strange}), stream, 100);
    }
    draw(geometricOf(nan), stream, 100);
    draw(multinomialOf(3, {nan, 1}), stream, 100, 2);
    // A sum of 1.0009 puts the rows' Poisson counts 27 deviations above a thousand million.
    const auto r = draw(multinomialOf(1000000000, shares(3, 1.0009)), stream, 10, 3);
    for (std::size_t j = 0; j < 30; j += 3) EXPECT_EQ(r[j] + r[j + 1] + r[j + 2], 1000000000);
}

// Numbers that are always rejected: a status, and no call without end.
TEST(CountFailures, StreamsOfEqualNumbers) {
    for (const auto& [fill, width] : {std::pair(poissonOf(50), 1), std::pair(poissonOf(500), 1),
                                      std::pair(multinomialOf(100, {0.5, 0.5}), 2)}) {
        const RecordingGenerator recording;
        RecordingGenerator::script = {0.78, 0.9999};
        draw(fill, recording.stream(), 70, static_cast<std::size_t>(width), RNG_BAD_STREAM);
        EXPECT_LE(RecordingGenerator::counts.size(), 2048u);
    }
}

// Not the law itself: its mean and variance within the approximations' own errors, without chance
// ones on uniforms that lie evenly.
TEST(Counts, ApproximationsHaveMeanAndVariance) {
    constexpr std::size_t n = 1 << 20;
    struct Row {
        double lambda, meanError, varianceError;  // relative
    };
    const std::vector<Row> rows = {{0.01, 3e-4, 7e-4}, {0.06, 2e-3, 6e-3}, {0.3, 4e-4, 2e-4},
                                   {0.5, 5e-4, 5e-4},  {1, 1e-4, 3e-4},    {1.6, 2e-4, 1e-4},
                                   {3, 1e-4, 2e-4},    {7, 5e-5, 5e-4},    {20, 5e-6, 2e-4},
                                   {99.9, 1e-6, 1e-4}, {200, 2e-5, 7e-4},  {1e4, 2e-5, 8e-4},
                                   {1e6, 1e-6, 8e-4}};
    for (const auto& [lambda, meanError, varianceError] : rows) {
        for (const Fill& fill : {poissonOf(lambda, METHOD_POISSON_NORMAL), poissonVOf({lambda})}) {
            double sum = 0, squares = 0;
            for (const std::int32_t k : draw(fill, Stream(GEN_SOBOL, 1), n)) {
                sum += k - lambda, squares += (k - lambda) * (k - lambda);
            }
            const double mean = sum / n, variance = squares / n - mean * mean;
            EXPECT_LT(std::abs(mean), meanError * lambda) << lambda;
            EXPECT_LT(std::abs(variance - lambda), varianceError * lambda) << lambda;
        }
    }
}

// ---- What Poisson keeps on the stream ----

TEST(PoissonSetUp, BothKindsAreKept) {
    Stream stream(GEN_PHILOX4X32X10, 5);
    const auto fresh = [&](double lambda) {
        const Stream twin(stream);
        detachByTag(twin, tagPoisson);
        return draw(poissonOf(lambda), twin, 100);
    };
    draw(poissonOf(5.5), stream, 1);
    draw(poissonOf(50), stream, 1);
    ASSERT_EQ(attachmentCount(stream), 1u);
    ASSERT_EQ(firstAttachment(stream)->tag, tagPoisson);
    ASSERT_EQ(firstAttachment(stream)->size, sizeof(PoissonRecord));
    auto* record = static_cast<PoissonRecord*>(findAttachment(stream, tagPoisson));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(record) % 128, 0u);
    // What was prepared shows when it's changed: all variates 0, all at the triangle's peak or
    // below.
    record->cumulative[0] = 2;
    record->p4 = 0;
    for (int repeat = 0; repeat < 2; ++repeat) {
        EXPECT_EQ(draw(poissonOf(5.5), stream, 100), std::vector<std::int32_t>(100));
        const auto r = draw(poissonOf(50), stream, 100);
        EXPECT_LE(*std::max_element(r.begin(), r.end()), 50);
    }
    // Another mean of a kind, and back: prepared anew.
    for (const double lambda : {6.5, 60.0, 5.5, 50.0}) {
        const auto expected = fresh(lambda);
        EXPECT_EQ(draw(poissonOf(lambda), stream, 100), expected) << lambda;
    }
    // A mean that a float can't hold is never found again.
    draw(poissonOf(1234.1), stream, 1);
    record->p4 = 0;
    const auto expected = fresh(1234.1);
    EXPECT_EQ(draw(poissonOf(1234.1), stream, 100), expected);
    EXPECT_EQ(findAttachment(stream, tagPoisson), record);
    EXPECT_EQ(attachmentCount(stream), 1u);
}

TEST(PoissonSetUp, GoesWithCopiesAndImages) {
    Stream stream(GEN_PHILOX4X32X10, 5);
    for (const double lambda : {5.5, 50.0, 1234.1}) draw(poissonOf(lambda), stream, 10);
    // The committed one is a promise to those who have such images.
    const LoadedStream golden(KORVAN_TEST_DATA "images/attached_poisson.image");
    ASSERT_EQ(golden.status, RNG_OK);
    EXPECT_EQ(imageOf(golden), imageOf(stream));
    const Stream copy(stream);
    auto image = imageOf(stream);
    StreamHandle loaded = nullptr;
    ASSERT_EQ(vslLoadStreamM(&loaded, image.data()), RNG_OK);
    EXPECT_NE(recordOf(copy), recordOf(stream));
    for (const double lambda : {1234.1, 5.5, 50.0}) {
        const auto expected = draw(poissonOf(lambda), stream, 3000);
        EXPECT_EQ(draw(poissonOf(lambda), copy, 3000), expected);
        EXPECT_EQ(draw(poissonOf(lambda), loaded, 3000), expected);
    }
    vslDeleteStream(&loaded);
}

// A changed byte is refused, or the stream's calls end and give counts.
TEST(PoissonSetUp, ChangedImagesDoNoHarm) {
    int refused = 0, taken = 0;
    for (const double large : {64.0, 101.5}) {
        Stream stream(GEN_PHILOX4X32X10, 5);
        for (const double lambda : {5.5, large}) draw(poissonOf(lambda), stream, 10);
        const auto image = imageOf(stream);
        for (std::size_t at = image.size() - sizeof(PoissonRecord); at < image.size(); ++at) {
            for (const int mask : {0x01, 0x80, 0xFF, 0x40}) {
                auto changed = image;
                changed[at] = static_cast<char>(changed[at] ^ mask);
                StreamHandle loaded = nullptr;
                const std::int32_t status = vslLoadStreamM(&loaded, changed.data());
                if (status != RNG_OK) {
                    ASSERT_EQ(status, RNG_BAD_MEMORY_FORMAT) << at;
                    ++refused;
                    continue;
                }
                ++taken;
                // No more than the last digits of a single can go unnoticed, or what leaves the
                // logarithm of m over lambda where another mean with the same single has it.
                const std::size_t offset = at - (image.size() - sizeof(PoissonRecord));
                ASSERT_TRUE(offset < offsetof(PoissonRecord, tableLambda) &&
                            (offset % 4 == 0 || offset / 4 == 4))
                    << offset << ", " << mask;
                PoissonRecord record;
                std::memcpy(&record, recordOf(loaded), sizeof record);
                for (const double lambda :
                     {5.5, large, double{record.lambda}, record.tableLambda}) {
                    if (!(lambda > 0 && lambda < 0x1p31)) continue;
                    for (const std::int32_t k : draw(poissonOf(lambda), loaded, 50)) {
                        ASSERT_GE(k, -1) << at << ", " << lambda;
                    }
                }
                vslDeleteStream(&loaded);
            }
        }
        auto shorter = image;
        const std::uint32_t size = sizeof(PoissonRecord) - 4;
        std::memcpy(&shorter[image.size() - sizeof(PoissonRecord) - 4], &size, 4);
        StreamHandle loaded = nullptr;
        EXPECT_EQ(vslLoadStreamM(&loaded, shorter.data()), RNG_BAD_MEMORY_FORMAT);
    }
    EXPECT_GT(refused, taken);
}

// ---- What fails ----

TEST(CountFailures, StatusesWithoutReport) {
    Stream stream(GEN_PHILOX4X32X10, 5);
    const auto before = stateBytes(stream);
    const auto expect = [&](const Fill& fill, std::size_t width, std::int32_t status) {
        ::testing::internal::CaptureStdout();
        const auto r = draw(fill, stream, 3, width, status);
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(stateBytes(stream), before);
        return r;
    };
    for (const double lambda : {nan, 0x1p31, 1e300, std::numeric_limits<double>::infinity()}) {
        expect(poissonOf(lambda), 1, RNG_BAD_ARGUMENT);
    }
    EXPECT_EQ(attachmentCount(stream), 0u);
    const double tenth = 0.1;
    const std::vector<std::vector<double>> weights = {
        {0.999},  {1.001},  {0.9995},  // from here on refused
        {0.9985}, {1.0015}, {1.0011}, {0.9989 - tenth, tenth}, {1.1, -0.1}, {-0.1, 1.1}};
    for (const auto& p : weights) {
        const bool isRefused = &p >= &weights[3];
        const auto r = expect(multinomialOf(40, p), p.size(), isRefused ? RNG_BAD_WEIGHTS : RNG_OK);
        EXPECT_EQ(r, std::vector<std::int32_t>(3 * p.size(), isRefused ? guard : 40));
        EXPECT_EQ(expect(multinomialOf(0, p), p.size(), RNG_OK),
                  std::vector<std::int32_t>(3 * p.size()));
    }
    EXPECT_EQ(draw(multinomialOf(40, {0.999 - tenth, tenth}), stream, 3, 2).size(), 6u);
}

struct Failing {
    const char* name;
    Fill fill;
    std::size_t n, width;
    bool inPlace;  // r is the law's buffer
};
const std::vector<double> thirds = {0.25, 0.5, 0.25};

// How many rows are there as without the failure?
std::size_t wholeRows(const std::vector<std::int32_t>& r, const std::vector<std::int32_t>& expected,
                      std::size_t width) {
    const auto differs = std::mismatch(r.begin(), r.end(), expected.begin()).first;
    return static_cast<std::size_t>(differs - r.begin()) / width;
}

TEST(CountFailures, GeneratorFailingAtAnyFill) {
    for (const Failing& law : std::vector<Failing>{
             {"Bernoulli", bernoulliOf(0.3), 3000, 1, true},
             {"Geometric", geometricOf(0.3), 3000, 1, false},
             {"Poisson table", poissonOf(13.5), 5000, 1, false},
             {"Poisson ratio", poissonOf(50), 5000, 1, false},
             {"Poisson logarithm", poissonOf(500), 5000, 1, false},
             {"Poisson 1", poissonOf(0.5, 1), 3000, 1, true},
             {"Poisson 1", poissonOf(50, 1), 3000, 1, true},
             {"Poisson 1", poissonOf(500, 1), 3000, 1, true},
             {"PoissonV", poissonVOf({0.01, 5}), 3000, 1, true},
             {"Multinomial", multinomialOf(100, thirds), 4, 3, false},
             {"Multinomial, direct", multinomialOf(1, shares(20)), 4, 20, false}}) {
        std::vector<std::int32_t> expected, counts;
        {
            const RecordingGenerator recording;
            expected = draw(law.fill, recording.stream(), law.n, law.width);
            counts = RecordingGenerator::counts;
        }
        const auto block = static_cast<std::int32_t>(poissonBlock());
        const std::map<std::string, std::vector<std::int32_t>> asked = {
            {"Bernoulli", {3000}},
            {"Geometric", {1024, 1024, 952}},
            {"Poisson table", {block, block, 5000 - 2 * block}},
            {"Poisson 1", {3000}},
            {"PoissonV", {3000}}};
        if (asked.count(law.name)) {
            EXPECT_EQ(counts, asked.at(law.name)) << law.name;
        }
        EXPECT_GE(counts.size(), law.inPlace ? 1u : 3u) << law.name;
        std::size_t rowsBefore = 0;
        for (std::size_t k = 1; k <= counts.size(); ++k) {
            const RecordingGenerator recording;
            RecordingGenerator::failingCall = static_cast<int>(k);
            const auto r =
                draw(law.fill, recording.stream(), law.n, law.width, RecordingGenerator::failure);
            EXPECT_EQ(RecordingGenerator::counts,
                      std::vector<std::int32_t>(counts.begin(),
                                                counts.begin() + static_cast<std::ptrdiff_t>(k)))
                << law.name;
            if (law.inPlace) continue;
            const std::size_t rows = wholeRows(r, expected, law.width);
            EXPECT_GE(rows, rowsBefore) << law.name;
            EXPECT_TRUE(k < 3 || rows > 0) << law.name;
            rowsBefore = rows;
        }
    }
}

// In one call: no more than the memory that it takes, and a second try is as good as the first.
TEST(CountFailures, EveryAllocationFailing) {
    for (const auto& [fill, width, allocations] :
         {std::tuple(poissonOf(5.5), 1, 2), std::tuple(poissonOf(50), 1, 2),
          std::tuple(multinomialOf(100, thirds), 3, 11),
          std::tuple(multinomialOf(1, shares(20)), 20, 11)}) {
        const auto columns = static_cast<std::size_t>(width);
        const auto expected = draw(fill, Stream(GEN_PHILOX4X32X10, 5), 10, columns);
        WatchedHeap heap;
        int failures = 0;
        for (;; ++failures) {
            Stream stream(GEN_PHILOX4X32X10, 5);
            const int held = heap.blocksHeld();
            heap.failAfter(failures);
            std::vector<std::int32_t> r(10 * columns, guard);
            const std::int32_t status = fill(stream, 10, r.data());
            heap.failNever();
            if (status == RNG_OK) {
                EXPECT_EQ(r, expected);
                break;
            }
            ASSERT_EQ(status, RNG_NO_MEMORY);
            ASSERT_EQ(heap.blocksHeld(), held);
            // The means' array, then at most one a row.
            const std::size_t rows = wholeRows(r, expected, columns);
            EXPECT_GE(static_cast<int>(rows) + 1, width == 1 ? 0 : failures);
            EXPECT_EQ(std::count(r.begin(), r.end(), guard) > 0, rows + 1 < 10);
            if (width == 1 || failures == 0) {
                EXPECT_EQ(draw(fill, stream, 10, columns), expected);
            }
        }
        EXPECT_LE(failures, allocations);
        EXPECT_GE(failures, 2);
        EXPECT_EQ(heap.blocksHeld(), 0);
    }
}

}  // namespace
}  // namespace korvan::testing

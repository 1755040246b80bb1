#include "demo_runs.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <numbers>

namespace demo {
namespace {

using Clock = std::chrono::steady_clock;

// Uniforms drawn at a time: they stay in the first-level cache, and memory stays small whatever
// the number of paths.
constexpr std::int64_t blockUniforms = 2048;

double nanosecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

void succeed(std::int32_t status, const char* what) {
    if (status >= 0) return;
    const auto reason = [status]() -> std::string {
        switch (status) {
            case RNG_NO_HARDWARE_SOURCE: return "this processor has no random instruction";
            case RNG_NO_AES_SUPPORT: return "this processor has no AES instructions";
            case RNG_QUASI_PERIOD_ELAPSED: return "the sequence is shorter than that";
            default: return "status " + std::to_string(status);
        }
    };
    throw Failure(std::string(what) + ": " + reason());
}

class Stream {
  public:
    // Both jobs take their uniforms in pairs, so quasi-random points, whose seed is their
    // dimension, have two.
    Stream(const Generator& generator, std::uint32_t seed) {
        const std::uint32_t word = generator.isQuasiRandom ? 2 : seed;
        const std::int32_t status = vslNewStream(&handle_, generator.id, word);
        if (status < 0 && handle_) vslDeleteStream(&handle_);
        succeed(status, "vslNewStream");
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() { vslDeleteStream(&handle_); }
    operator StreamHandle() const { return handle_; }

  private:
    StreamHandle handle_ = nullptr;
};

// Mean and variance, merged block by block, which cancels less than sums of squares.
// Source: T. F. Chan, G. H. Golub, R. J. LeVeque, Updating formulae and a pairwise algorithm for
// computing sample variances, COMPSTAT 1982.
class Moments {
  public:
    void add(const std::vector<double>& x) {
        const auto n = static_cast<double>(x.size());
        double mean = 0, squares = 0;
        for (const double value : x) mean += value;
        mean /= n;
        for (const double value : x) squares += (value - mean) * (value - mean);
        const double delta = mean - mean_, all = count_ + n;
        squares_ += squares + delta * delta * count_ * n / all;
        mean_ += delta * n / all;
        count_ = all;
    }
    double mean() const { return mean_; }
    double standardError() const {
        return count_ < 2 ? 0 : std::sqrt(squares_ / (count_ - 1) / count_);
    }

  private:
    double count_ = 0, mean_ = 0, squares_ = 0;
};

// Draws `total` samples, a block at a time: values(stream, count) gives the next `count`.
template <class Values>
Estimate average(const Generator& generator, std::uint32_t seed, std::int64_t total,
                 const Progress& progress, Values values) {
    const Clock::time_point start = Clock::now();
    const Stream stream(generator, seed);
    Moments moments;
    for (std::int64_t done = 0; done < total;) {
        const std::int64_t count = std::min(total - done, blockUniforms);
        moments.add(values(stream, static_cast<std::size_t>(count)));
        done += count;
        progress(static_cast<double>(done) / static_cast<double>(total));
    }
    const double error = generator.isQuasiRandom ? std::numeric_limits<double>::quiet_NaN()
                                                 : moments.standardError();
    return {moments.mean(), error, nanosecondsSince(start) / static_cast<double>(total)};
}

void fillUniform(StreamHandle stream, std::vector<double>& x) {
    succeed(vdRngUniform(METHOD_UNIFORM_STANDARD, stream, static_cast<std::int32_t>(x.size()),
                         x.data(), 0.0, 1.0),
            "vdRngUniform");
}

// The best of at least three fills, and of as many as fit into a twentieth of a second.
template <class Fill>
double timeFill(const char* what, Fill fill) {
    double best = std::numeric_limits<double>::infinity();
    const Clock::time_point start = Clock::now();
    for (int round = 0; round < 3 || nanosecondsSince(start) < 5e7; ++round) {
        const Clock::time_point before = Clock::now();
        succeed(fill(), what);
        best = std::min(best, nanosecondsSince(before));
    }
    return best / fillElements;
}

}  // namespace

std::vector<Generator> presentGenerators() {
    constexpr Generator all[] = {{"MCG31m1", GEN_MCG31, false},
                                 {"R250", GEN_R250, false},
                                 {"MRG32k3a", GEN_MRG32K3A, false},
                                 {"MCG59", GEN_MCG59, false},
                                 {"WichmannHill", GEN_WH, false},
                                 {"MT19937", GEN_MT19937, false},
                                 {"MT2203", GEN_MT2203, false},
                                 {"SFMT19937", GEN_SFMT19937, false},
                                 {"ARS5", GEN_ARS5, false},
                                 {"Philox4x32-10", GEN_PHILOX4X32X10, false},
                                 {"Nondeterministic", GEN_NONDETERMINISTIC, false},
                                 {"Sobol", GEN_SOBOL, true},
                                 {"Niederreiter", GEN_NIEDERREITER, true}};
    std::vector<Generator> present;
    for (const Generator& generator : all) {
        GeneratorProperties row;
        const bool isKnown = vslGetBrngProperties(generator.id, &row) == RNG_OK;
        if (isKnown && row.initStream) present.push_back(generator);
    }
    return present;
}

double exactPrice(const Call& call) {
    const auto phi = [](double x) { return std::erfc(-x / std::numbers::sqrt2) / 2; };
    const double deviation = call.volatility * std::sqrt(call.years);
    const double d1 =
        (std::log(call.spot / call.strike) + call.rate * call.years) / deviation + deviation / 2;
    const double discount = std::exp(-call.rate * call.years);
    return call.spot * phi(d1) - discount * call.strike * phi(d1 - deviation);
}

Estimate priceCall(const Generator& generator, std::uint32_t seed, const Call& call,
                   std::int64_t paths, const Progress& progress) {
    const double deviation = call.volatility * std::sqrt(call.years);
    const double drift = call.rate * call.years - deviation * deviation / 2;
    const double discount = std::exp(-call.rate * call.years);
    std::vector<double> x;
    return average(generator, seed, paths, progress,
                   [&](StreamHandle stream, std::size_t count) -> const std::vector<double>& {
                       x.resize(count);
                       // In pairs, which two-dimensional quasi-random points are as well.
                       succeed(vdRngGaussian(METHOD_GAUSSIAN_BOX_MULLER_PAIRED, stream,
                                             static_cast<std::int32_t>(count), x.data(), 0.0, 1.0),
                               "vdRngGaussian");
                       for (double& value : x) {
                           const double end = call.spot * std::exp(drift + deviation * value);
                           value = discount * std::max(end - call.strike, 0.0);
                       }
                       return x;
                   });
}

Estimate estimatePi(const Generator& generator, std::uint32_t seed, std::int64_t points,
                    const Progress& progress) {
    std::vector<double> uniforms, inside;
    return average(generator, seed, points, progress,
                   [&](StreamHandle stream, std::size_t count) -> const std::vector<double>& {
                       uniforms.resize(2 * count);
                       inside.resize(count);
                       fillUniform(stream, uniforms);
                       for (std::size_t i = 0; i < count; ++i) {
                           const double a = uniforms[2 * i], b = uniforms[2 * i + 1];
                           inside[i] = a * a + b * b < 1 ? 4 : 0;
                       }
                       return inside;
                   });
}

FillTimes timeFills(const Generator& generator, std::uint32_t seed) {
    const Stream stream(generator, seed);
    GeneratorProperties row;
    succeed(vslGetBrngProperties(generator.id, &row), "vslGetBrngProperties");
    const auto units = static_cast<std::size_t>(row.wordBytes) / sizeof(std::uint32_t);
    std::vector<std::uint32_t> words(fillElements * units);
    std::vector<float> singles(fillElements);
    std::vector<double> doubles(fillElements);
    std::vector<std::int32_t> integers(fillElements);
    return {
        .words = timeFill("viRngUniformBits",
                          [&] {
                              return viRngUniformBits(METHOD_UNIFORMBITS_STD, stream, fillElements,
                                                      words.data());
                          }),
        .singles = timeFill("vsRngUniform",
                            [&] {
                                return vsRngUniform(METHOD_UNIFORM_STANDARD, stream, fillElements,
                                                    singles.data(), 0.0F, 1.0F);
                            }),
        .doubles = timeFill("vdRngUniform",
                            [&] {
                                return vdRngUniform(METHOD_UNIFORM_STANDARD, stream, fillElements,
                                                    doubles.data(), 0.0, 1.0);
                            }),
        .integers = timeFill("viRngUniform",
                             [&] {
                                 return viRngUniform(METHOD_UNIFORM_STANDARD, stream, fillElements,
                                                     integers.data(), 0, 1000);
                             }),
    };
}

}  // namespace demo

// Counts over SFMT19937, beside the field's libraries on their own Mersenne Twister.
#include <gsl/gsl_randist.h>

#include <boost/random/bernoulli_distribution.hpp>
#include <boost/random/geometric_distribution.hpp>
#include <boost/random/poisson_distribution.hpp>
#include <cmath>
#include <cstdlib>
#include <random>

#include "peers.h"

extern "C" {
// Of numpy/random/distributions.h, which wants all of Python.
std::int64_t random_poisson(bitgen_t*, double);
std::int64_t random_geometric(bitgen_t*, double);
struct s_binomial_t;  // what a binomial variate prepares for the next
void random_multinomial(bitgen_t*, std::int64_t, std::int64_t*, double*, std::intptr_t,
                        s_binomial_t*);
}

namespace korvan::benchmarks {
namespace {

using Int = std::int32_t;

// `fill` returns a status: a call that fails must not look fast.
template <class Fill>
void addOurs(const std::string& group, const std::string& name, Fill fill,
             std::span<const std::int64_t> lengths = sizes) {
    addRow<Int>(
        group, name,
        [fill] {
            return [stream = newStream(GEN_SFMT19937), fill](Int* r, int n) {
                if (fill(stream.get(), n, r) != RNG_OK) std::abort();
            };
        },
        lengths);
}

void addPoissonRows(const std::string& group, double mean) {
    for (const int method : {0, 1}) {
        addOurs(group, method == 0 ? "PTPE" : "normal",
                [=](StreamHandle s, int n, Int* r) { return viRngPoisson(method, s, n, r, mean); });
    }
    addDistribution<Int>(group, "boost::poisson_distribution",
                         boost::random::poisson_distribution<Int>(mean));
    addDistribution<Int>(group, "std::poisson_distribution", std::poisson_distribution<Int>(mean));
    addGsl<Int>(group, "poisson", [=](gsl_rng* g) { return gsl_ran_poisson(g, mean); });
    addNumpy<Int>(group, "poisson", [=](bitgen_t* g) { return random_poisson(g, mean); });
    addStoreRow<Int>(group);
}

// Each element's mean.
using Means = std::vector<double>;

// Evenly over the logarithms from 0.03 to 10000, in an order without a pattern.
const Means& mixedMeans() {
    static const Means means = [] {
        Means all(static_cast<std::size_t>(*std::ranges::max_element(sizes)));
        double place = 0;
        for (double& mean : all) {
            place += 0.6180339887498949;
            place -= std::floor(place);
            mean = 0.03 * std::pow(10000 / 0.03, place);
        }
        return all;
    }();
    return means;
}

const Means& equalMeans() {
    static const Means means(mixedMeans().size(), 20.0);
    return means;
}

template <class Fill>
void addMeansRow(const std::string& group, const std::string& name, const Means& (*means)(),
                 Fill fill) {
    addRow<Int>(group, name, [=] {
        return [fill, lambda = means().data(), stream = newStream(GEN_SFMT19937),
                gsl = newGslStream(), numpy = std::make_shared<NumpyStream>()](Int* r, int n) {
            fill(r, n, lambda, stream.get(), gsl.get(), &numpy->bits);
        };
    });
}

void addPoissonVRows(const std::string& group, const Means& (*means)()) {
    addMeansRow(group, "PoissonV", means,
                [](Int* r, int n, const double* lambda, StreamHandle s, gsl_rng*, bitgen_t*) {
                    if (viRngPoissonV(0, s, n, r, lambda) != RNG_OK) std::abort();
                });
    addMeansRow(group, "peer GSL poisson", means,
                [](Int* r, int n, const double* lambda, StreamHandle, gsl_rng* g, bitgen_t*) {
                    for (int i = 0; i < n; ++i)
                        r[i] = static_cast<Int>(gsl_ran_poisson(g, lambda[i]));
                });
    addMeansRow(group, "peer NumPy poisson", means,
                [](Int* r, int n, const double* lambda, StreamHandle, gsl_rng*, bitgen_t* g) {
                    for (int i = 0; i < n; ++i)
                        r[i] = static_cast<Int>(random_poisson(g, lambda[i]));
                });
    addStoreRow<Int>(group);
}

// Rows of `categories` counts; an array that isn't a multiple of them keeps its last elements.
void addMultinomialRows() {
    const std::string group = "Multinomial, 100 trials in 10 categories";
    static constexpr int trials = 100, categories = 10;
    static constexpr double p[categories] = {0.02, 0.04, 0.06, 0.08, 0.1,
                                             0.1,  0.12, 0.14, 0.16, 0.18};
    static constexpr std::int64_t lengths[] = {10, 100, 4096, 10'000'000};
    addOurs(
        group, "Multinomial",
        [](StreamHandle s, int n, Int* r) {
            return viRngMultinomial(0, s, n / categories, r, trials, categories, p);
        },
        lengths);
    addRow<Int>(
        group, "peer GSL multinomial",
        [] {
            return [rng = newGslStream()](Int* r, int n) {
                for (int i = 0; i + categories <= n; i += categories) {
                    gsl_ran_multinomial(rng.get(), categories, trials, p,
                                        reinterpret_cast<unsigned*>(r + i));
                }
            };
        },
        lengths);
    addRow<Int>(
        group, "peer NumPy multinomial",
        [] {
            struct State {
                NumpyStream stream;
                alignas(16) unsigned char prepared[256] = {};  // larger than it is
            };
            return [state = std::make_shared<State>()](Int* r, int n) {
                double weights[categories];
                std::ranges::copy(p, weights);
                std::int64_t row[categories];
                for (int i = 0; i + categories <= n; i += categories) {
                    std::ranges::fill(row, 0);  // it stops when all trials are spent
                    random_multinomial(&state->stream.bits, trials, row, weights, categories,
                                       reinterpret_cast<s_binomial_t*>(state->prepared));
                    std::ranges::transform(row, r + i, [](auto x) { return static_cast<Int>(x); });
                }
            };
        },
        lengths);
    addStoreRow<Int>(group, lengths);
}

}  // namespace

void addCountRows() {
    for (const int mean : {5, 20, 50, 500}) {
        addPoissonRows("Poisson, mean " + std::to_string(mean), mean);
    }
    addPoissonVRows("Poisson with means, 0.03 to 10000 mixed", mixedMeans);
    addPoissonVRows("Poisson with means, all 20", equalMeans);

    const std::string bernoulli = "Bernoulli, p = 0.3", geometric = "Geometric, p = 0.1";
    addOurs(bernoulli, "Bernoulli",
            [](StreamHandle s, int n, Int* r) { return viRngBernoulli(0, s, n, r, 0.3); });
    addDistribution<Int>(bernoulli, "boost::bernoulli_distribution",
                         boost::random::bernoulli_distribution<>(0.3));
    addDistribution<Int>(bernoulli, "std::bernoulli_distribution",
                         std::bernoulli_distribution(0.3));
    addGsl<Int>(bernoulli, "bernoulli", [](gsl_rng* g) { return gsl_ran_bernoulli(g, 0.3); });
    addStoreRow<Int>(bernoulli);

    addOurs(geometric, "Geometric",
            [](StreamHandle s, int n, Int* r) { return viRngGeometric(0, s, n, r, 0.1); });
    addDistribution<Int>(geometric, "boost::geometric_distribution",
                         boost::random::geometric_distribution<Int>(0.1));
    addDistribution<Int>(geometric, "std::geometric_distribution",
                         std::geometric_distribution<Int>(0.1));
    addGsl<Int>(geometric, "geometric", [](gsl_rng* g) { return gsl_ran_geometric(g, 0.1); });
    addNumpy<Int>(geometric, "geometric", [](bitgen_t* g) { return random_geometric(g, 0.1); });
    addStoreRow<Int>(geometric);

    addMultinomialRows();
}

}  // namespace korvan::benchmarks

// Real laws over SFMT19937, beside the field's libraries on their own Mersenne Twister.
#include <gsl/gsl_randist.h>

#include <boost/random/cauchy_distribution.hpp>
#include <boost/random/exponential_distribution.hpp>
#include <boost/random/extreme_value_distribution.hpp>
#include <boost/random/laplace_distribution.hpp>
#include <boost/random/lognormal_distribution.hpp>
#include <boost/random/normal_distribution.hpp>
#include <boost/random/weibull_distribution.hpp>

#include "peers.h"

extern "C" {
// Of numpy/random/distributions.h, which wants all of Python.
double random_standard_normal(bitgen_t*);
double random_standard_exponential(bitgen_t*);
double random_laplace(bitgen_t*, double, double);
double random_weibull(bitgen_t*, double);
double random_rayleigh(bitgen_t*, double);
double random_gumbel(bitgen_t*, double, double);
double random_standard_cauchy(bitgen_t*);
double random_lognormal(bitgen_t*, double, double);
}

namespace korvan::benchmarks {
namespace {

template <class Real, class Fill>
void addOurs(const std::string& law, const std::string& name, Fill fill) {
    addRow<Real>(law, name, [fill] {
        return
            [stream = newStream(GEN_SFMT19937), fill](Real* r, int n) { fill(stream.get(), n, r); };
    });
}

}  // namespace

#define OURS(name, method, ...)                        \
    [](StreamHandle s, int n, auto* r) {               \
        if constexpr (sizeof *r == 8) {                \
            vdRng##name(method, s, n, r, __VA_ARGS__); \
        } else {                                       \
            vsRng##name(method, s, n, r, __VA_ARGS__); \
        }                                              \
    }
#define BOTH(law, label, name, method, ...)                                  \
    addOurs<double>(law, label ", double", OURS(name, method, __VA_ARGS__)); \
    addOurs<float>(law, label ", single", OURS(name, method, __VA_ARGS__))

void addLawRows() {
    BOTH("Gaussian", "Box-Muller", Gaussian, 0, 0, 1);
    BOTH("Gaussian", "paired", Gaussian, 1, 0, 1);
    BOTH("Gaussian", "inverse", Gaussian, 2, 0, 1);
    addDistribution<double>("Gaussian", "boost::normal_distribution",
                            boost::random::normal_distribution<>());
    addGsl<double>("Gaussian", "ziggurat",
                   [](gsl_rng* g) { return gsl_ran_gaussian_ziggurat(g, 1); });
    addNumpy<double>("Gaussian", "normal", [](bitgen_t* g) { return random_standard_normal(g); });
    addStoreRow<double>("Gaussian");

    BOTH("Exponential", "Exponential", Exponential, 0, 0, 1);
    addDistribution<double>("Exponential", "boost::exponential_distribution",
                            boost::random::exponential_distribution<>());
    addNumpy<double>("Exponential", "exponential",
                     [](bitgen_t* g) { return random_standard_exponential(g); });
    addStoreRow<double>("Exponential");

    BOTH("Laplace", "Laplace", Laplace, 0, 0, 1);
    addDistribution<double>("Laplace", "boost::laplace_distribution",
                            boost::random::laplace_distribution<>());
    addNumpy<double>("Laplace", "laplace", [](bitgen_t* g) { return random_laplace(g, 0, 1); });
    addStoreRow<double>("Laplace");

    BOTH("Weibull", "Weibull", Weibull, 0, 1.5, 0, 1);
    addDistribution<double>("Weibull", "boost::weibull_distribution",
                            boost::random::weibull_distribution<>(1.5, 1));
    addNumpy<double>("Weibull", "weibull", [](bitgen_t* g) { return random_weibull(g, 1.5); });
    addStoreRow<double>("Weibull");

    BOTH("Rayleigh", "Rayleigh", Rayleigh, 0, 0, 1);
    addNumpy<double>("Rayleigh", "rayleigh", [](bitgen_t* g) { return random_rayleigh(g, 1); });
    addGsl<double>("Rayleigh", "rayleigh", [](gsl_rng* g) { return gsl_ran_rayleigh(g, 1); });
    addStoreRow<double>("Rayleigh");

    BOTH("Gumbel", "Gumbel", Gumbel, 0, 0, 1);
    addDistribution<double>("Gumbel", "boost::extreme_value_distribution",
                            boost::random::extreme_value_distribution<>());
    addNumpy<double>("Gumbel", "gumbel", [](bitgen_t* g) { return random_gumbel(g, 0, 1); });
    addStoreRow<double>("Gumbel");

    BOTH("Cauchy", "Cauchy", Cauchy, 0, 0, 1);
    addDistribution<double>("Cauchy", "boost::cauchy_distribution",
                            boost::random::cauchy_distribution<>());
    addNumpy<double>("Cauchy", "cauchy", [](bitgen_t* g) { return random_standard_cauchy(g); });
    addStoreRow<double>("Cauchy");

    BOTH("Lognormal", "paired", Lognormal, 0, 0, 1, 0, 1);
    BOTH("Lognormal", "inverse", Lognormal, 1, 0, 1, 0, 1);
    addDistribution<double>("Lognormal", "boost::lognormal_distribution",
                            boost::random::lognormal_distribution<>());
    addNumpy<double>("Lognormal", "lognormal",
                     [](bitgen_t* g) { return random_lognormal(g, 0, 1); });
    addStoreRow<double>("Lognormal");
}

}  // namespace korvan::benchmarks

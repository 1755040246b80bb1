// Real laws over SFMT19937, beside the field's libraries on their own Mersenne Twister.
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>

#include <boost/random/cauchy_distribution.hpp>
#include <boost/random/exponential_distribution.hpp>
#include <boost/random/extreme_value_distribution.hpp>
#include <boost/random/laplace_distribution.hpp>
#include <boost/random/lognormal_distribution.hpp>
#include <boost/random/mersenne_twister.hpp>
#include <boost/random/normal_distribution.hpp>
#include <boost/random/weibull_distribution.hpp>
#include <random>

extern "C" {
#include <numpy/random/bitgen.h>
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

#include "rows.h"

namespace korvan::benchmarks {
namespace {

template <class Real, class Fill>
void addOurs(const std::string& law, const std::string& name, Fill fill) {
    addRow<Real>(law, name, [fill] {
        return
            [stream = newStream(GEN_SFMT19937), fill](Real* r, int n) { fill(stream.get(), n, r); };
    });
}

template <class Law>
void addBoost(const std::string& law, const std::string& name, Law distribution) {
    addRow<double>(law, "peer boost::" + name, [distribution] {
        return [engine = boost::mt19937(777), distribution](double* r, int n) mutable {
            for (int i = 0; i < n; ++i) r[i] = distribution(engine);
        };
    });
}

template <class Draw>
void addGsl(const std::string& law, const std::string& name, Draw draw) {
    addRow<double>(law, "peer GSL " + name, [draw] {
        const std::shared_ptr<gsl_rng> rng(gsl_rng_alloc(gsl_rng_mt19937), gsl_rng_free);
        return [rng, draw](double* r, int n) {
            for (int i = 0; i < n; ++i) r[i] = draw(rng.get());
        };
    });
}

// NumPy's samplers, on the generator that Boost has.
struct NumpyStream {
    boost::mt19937 engine{777};
    bitgen_t bits{&engine, next64, next32, nextDouble, next32Of};

    static std::uint32_t word(void* state) { return (*static_cast<boost::mt19937*>(state))(); }
    static std::uint32_t next32(void* state) { return word(state); }
    static std::uint64_t next32Of(void* state) { return word(state); }
    static std::uint64_t next64(void* state) {
        const std::uint64_t high = word(state);
        return high << 32 | word(state);
    }
    static double nextDouble(void* state) {
        const std::uint32_t high = word(state) >> 5, low = word(state) >> 6;
        return (high * 67108864.0 + low) / 9007199254740992.0;
    }
};

template <class Draw>
void addNumpy(const std::string& law, const std::string& name, Draw draw) {
    addRow<double>(law, "peer NumPy " + name, [draw] {
        return [stream = std::make_shared<NumpyStream>(), draw](double* r, int n) {
            for (int i = 0; i < n; ++i) r[i] = draw(&stream->bits);
        };
    });
}

void addLimits(const std::string& law) {
    addRow<double>(law, "limit: plain store", [] {
        return [value = 0.0](double* r, int n) mutable {
            ++value;
            for (int i = 0; i < n; ++i) r[i] = value;
        };
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
    addBoost("Gaussian", "normal_distribution", boost::random::normal_distribution<>());
    addGsl("Gaussian", "ziggurat", [](gsl_rng* g) { return gsl_ran_gaussian_ziggurat(g, 1); });
    addNumpy("Gaussian", "normal", [](bitgen_t* g) { return random_standard_normal(g); });
    addLimits("Gaussian");

    BOTH("Exponential", "Exponential", Exponential, 0, 0, 1);
    addBoost("Exponential", "exponential_distribution",
             boost::random::exponential_distribution<>());
    addNumpy("Exponential", "exponential",
             [](bitgen_t* g) { return random_standard_exponential(g); });
    addLimits("Exponential");

    BOTH("Laplace", "Laplace", Laplace, 0, 0, 1);
    addBoost("Laplace", "laplace_distribution", boost::random::laplace_distribution<>());
    addNumpy("Laplace", "laplace", [](bitgen_t* g) { return random_laplace(g, 0, 1); });
    addLimits("Laplace");

    BOTH("Weibull", "Weibull", Weibull, 0, 1.5, 0, 1);
    addBoost("Weibull", "weibull_distribution", boost::random::weibull_distribution<>(1.5, 1));
    addNumpy("Weibull", "weibull", [](bitgen_t* g) { return random_weibull(g, 1.5); });
    addLimits("Weibull");

    BOTH("Rayleigh", "Rayleigh", Rayleigh, 0, 0, 1);
    addNumpy("Rayleigh", "rayleigh", [](bitgen_t* g) { return random_rayleigh(g, 1); });
    addGsl("Rayleigh", "rayleigh", [](gsl_rng* g) { return gsl_ran_rayleigh(g, 1); });
    addLimits("Rayleigh");

    BOTH("Gumbel", "Gumbel", Gumbel, 0, 0, 1);
    addBoost("Gumbel", "extreme_value_distribution", boost::random::extreme_value_distribution<>());
    addNumpy("Gumbel", "gumbel", [](bitgen_t* g) { return random_gumbel(g, 0, 1); });
    addLimits("Gumbel");

    BOTH("Cauchy", "Cauchy", Cauchy, 0, 0, 1);
    addBoost("Cauchy", "cauchy_distribution", boost::random::cauchy_distribution<>());
    addNumpy("Cauchy", "cauchy", [](bitgen_t* g) { return random_standard_cauchy(g); });
    addLimits("Cauchy");

    BOTH("Lognormal", "paired", Lognormal, 0, 0, 1, 0, 1);
    BOTH("Lognormal", "inverse", Lognormal, 1, 0, 1, 0, 1);
    addBoost("Lognormal", "lognormal_distribution", boost::random::lognormal_distribution<>());
    addNumpy("Lognormal", "lognormal", [](bitgen_t* g) { return random_lognormal(g, 0, 1); });
    addLimits("Lognormal");
}

}  // namespace korvan::benchmarks

// Histograms of every law beside its density or probabilities, as one table for
// scripts/gallery.sh to plot.
//
// usage: gallery          writes blocks of lines "x histogram density", each after a line
//                         "# lines title" or, of counts, "# points title" and before two empty
//                         lines
#include <korvan/random.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <numbers>
#include <vector>

namespace {

constexpr std::int32_t samples = 2'000'000;
constexpr int bins = 80;

struct Picture {
    const char* title;
    double low, high;  // of the plot
    std::function<std::int32_t(StreamHandle, double*)> fill;
    std::function<double(double)> density;
};

// Densities of the standard forms: location 0, scale 1.
double normal(double x) {
    return std::exp(-x * x / 2) / std::sqrt(2 * std::numbers::pi);
}

const Picture pictures[] = {
    {"Uniform on [-1, 2)", -1.5, 2.5,
     [](StreamHandle s, double* r) { return vdRngUniform(0, s, samples, r, -1, 2); },
     [](double x) { return x >= -1 && x < 2 ? 1 / 3.0 : 0; }},
    {"Gaussian, mean 1, sigma 2", -6, 8,
     [](StreamHandle s, double* r) {
         return vdRngGaussian(METHOD_GAUSSIAN_BOX_MULLER_PAIRED, s, samples, r, 1, 2);
     },
     [](double x) { return normal((x - 1) / 2) / 2; }},
    {"Gaussian by inversion", -4, 4,
     [](StreamHandle s, double* r) {
         return vdRngGaussian(METHOD_GAUSSIAN_INVERSE, s, samples, r, 0, 1);
     },
     normal},
    {"Exponential", -0.5, 6,
     [](StreamHandle s, double* r) { return vdRngExponential(0, s, samples, r, 0, 1); },
     [](double x) { return x < 0 ? 0 : std::exp(-x); }},
    {"Laplace", -6, 6,
     [](StreamHandle s, double* r) { return vdRngLaplace(0, s, samples, r, 0, 1); },
     [](double x) { return std::exp(-std::abs(x)) / 2; }},
    {"Weibull, shape 1.7", -0.3, 4,
     [](StreamHandle s, double* r) { return vdRngWeibull(0, s, samples, r, 1.7, 0, 1); },
     [](double x) { return x <= 0 ? 0 : 1.7 * std::pow(x, 0.7) * std::exp(-std::pow(x, 1.7)); }},
    {"Rayleigh", -0.3, 3,
     [](StreamHandle s, double* r) { return vdRngRayleigh(0, s, samples, r, 0, 1); },
     [](double x) { return x <= 0 ? 0 : 2 * x * std::exp(-x * x); }},
    {"Gumbel, of minima", -7, 3,
     [](StreamHandle s, double* r) { return vdRngGumbel(0, s, samples, r, 0, 1); },
     [](double x) { return std::exp(x - std::exp(x)); }},
    {"Cauchy", -8, 8, [](StreamHandle s, double* r) { return vdRngCauchy(0, s, samples, r, 0, 1); },
     [](double x) { return 1 / (std::numbers::pi * (1 + x * x)); }},
    {"Lognormal, sigma 0.5", -0.3, 4,
     [](StreamHandle s, double* r) { return vdRngLognormal(0, s, samples, r, 0, 0.5, 0, 1); },
     [](double x) { return x <= 0 ? 0 : normal(std::log(x) / 0.5) / (0.5 * x); }},
};

struct CountPicture {
    const char* title;
    int last;  // of the plot, which begins at 0
    std::function<std::int32_t(StreamHandle, std::int32_t*)> fill;
    std::function<double(int)> probability;
};

double poisson(double mean, int k) {
    return std::exp(k * std::log(mean) - mean - std::lgamma(k + 1.0));
}
double binomial(int trials, double p, int k) {
    return std::exp(std::lgamma(trials + 1.0) - std::lgamma(k + 1.0) -
                    std::lgamma(trials - k + 1.0) + k * std::log(p) +
                    (trials - k) * std::log1p(-p));
}

// The first of three categories.
std::int32_t fillFromRows(StreamHandle stream, std::int32_t* r) {
    const double p[] = {0.3, 0.5, 0.2};
    std::vector<std::int32_t> rows(3 * std::size_t{samples});
    const std::int32_t status = viRngMultinomial(0, stream, samples, rows.data(), 20, 3, p);
    for (std::size_t j = 0; j < samples; ++j) r[j] = rows[3 * j];
    return status;
}

const CountPicture countPictures[] = {
    {"Poisson, mean 5", 16,
     [](StreamHandle s, std::int32_t* r) {
         return viRngPoisson(METHOD_POISSON_PTPE, s, samples, r, 5);
     },
     [](int k) { return poisson(5, k); }},
    {"Poisson, mean 50", 80,
     [](StreamHandle s, std::int32_t* r) {
         return viRngPoisson(METHOD_POISSON_PTPE, s, samples, r, 50);
     },
     [](int k) { return poisson(50, k); }},
    {"Poisson from a normal variate, mean 5", 16,
     [](StreamHandle s, std::int32_t* r) {
         return viRngPoisson(METHOD_POISSON_NORMAL, s, samples, r, 5);
     },
     [](int k) { return poisson(5, k); }},
    {"Geometric, p = 0.2", 25,
     [](StreamHandle s, std::int32_t* r) { return viRngGeometric(0, s, samples, r, 0.2); },
     [](int k) { return 0.2 * std::pow(0.8, k); }},
    {"Multinomial, 20 trials, p = 0.3", 16, fillFromRows,
     [](int k) { return binomial(20, 0.3, k); }},
};

// Whether samples variates came from a fresh stream.
template <class T>
bool fillFresh(const std::function<std::int32_t(StreamHandle, T*)>& fill, std::vector<T>& r) {
    StreamHandle stream = nullptr;
    r.resize(samples);
    if (vslNewStream(&stream, GEN_PHILOX4X32X10, 777) != RNG_OK) return false;
    const std::int32_t status = fill(stream, r.data());
    vslDeleteStream(&stream);
    return status == RNG_OK;
}

bool draw(const Picture& picture) {
    std::vector<double> r;
    if (!fillFresh(picture.fill, r)) return false;
    const double width = (picture.high - picture.low) / bins;
    std::vector<double> counts(bins);
    for (const double x : r) {
        const double bin = std::floor((x - picture.low) / width);
        if (bin >= 0 && bin < bins) ++counts[static_cast<std::size_t>(bin)];
    }
    std::printf("# lines %s\n", picture.title);
    for (int k = 0; k < bins; ++k) {
        const double x = picture.low + (k + 0.5) * width;
        const double histogram = counts[static_cast<std::size_t>(k)] / (samples * width);
        std::printf("%.6g %.6g %.6g\n", x, histogram, picture.density(x));
    }
    std::printf("\n\n");
    return true;
}

bool draw(const CountPicture& picture) {
    std::vector<std::int32_t> r;
    if (!fillFresh(picture.fill, r)) return false;
    std::vector<double> counts(static_cast<std::size_t>(picture.last) + 1);
    for (const std::int32_t x : r) {
        if (x >= 0 && x <= picture.last) ++counts[static_cast<std::size_t>(x)];
    }
    std::printf("# points %s\n", picture.title);
    for (int k = 0; k <= picture.last; ++k) {
        const double histogram = counts[static_cast<std::size_t>(k)] / samples;
        std::printf("%d %.6g %.6g\n", k, histogram, picture.probability(k));
    }
    std::printf("\n\n");
    return true;
}

template <class Pictures>
bool drawAll(const Pictures& all) {
    for (const auto& picture : all) {
        if (!draw(picture)) {
            std::fprintf(stderr, "gallery: no variates of %s\n", picture.title);
            return false;
        }
    }
    return true;
}

}  // namespace

int main() {
    return drawAll(pictures) && drawAll(countPictures) ? 0 : 1;
}

// Histograms of every law beside its density, as one table for scripts/gallery.sh to plot.
//
// usage: gallery          writes blocks of lines "x histogram density", each after a line
//                         "# title" and before two empty lines
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

bool draw(const Picture& picture) {
    StreamHandle stream = nullptr;
    std::vector<double> r(samples);
    if (vslNewStream(&stream, GEN_PHILOX4X32X10, 777) != RNG_OK) return false;
    const std::int32_t status = picture.fill(stream, r.data());
    vslDeleteStream(&stream);
    if (status != RNG_OK) return false;

    const double width = (picture.high - picture.low) / bins;
    std::vector<double> counts(bins);
    for (const double x : r) {
        const double bin = std::floor((x - picture.low) / width);
        if (bin >= 0 && bin < bins) ++counts[static_cast<std::size_t>(bin)];
    }
    std::printf("# %s\n", picture.title);
    for (int k = 0; k < bins; ++k) {
        const double x = picture.low + (k + 0.5) * width;
        const double histogram = counts[static_cast<std::size_t>(k)] / (samples * width);
        std::printf("%.6g %.6g %.6g\n", x, histogram, picture.density(x));
    }
    std::printf("\n\n");
    return true;
}

}  // namespace

int main() {
    for (const Picture& picture : pictures) {
        if (!draw(picture)) {
            std::fprintf(stderr, "gallery: no variates of %s\n", picture.title);
            return 1;
        }
    }
    return 0;
}

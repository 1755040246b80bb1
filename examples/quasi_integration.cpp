// Integrates a function of 10, of 40 and of 64 variables over the unit cube with quasi-random
// points and with pseudo-random ones, and prints how far off each is.
//
// usage: quasi_integration [FILE]       direction numbers of 64 dimensions: see direction_numbers.h
//
// The function is the product over i of (|4 x_i - 2| + a_i) / (1 + a_i), a_i = i^2: its integral is
// 1, and the first variables matter most, as in many applications.  Ends with status 1 if a
// quasi-random sequence is no better than pseudo-random points.
#include <korvan/random.h>

#include <cmath>
#include <cstdio>
#include <exception>
#include <vector>

#include "direction_numbers.h"

namespace {

constexpr std::size_t blockPoints = 1024;

double integrand(const double* x, std::size_t dimension) {
    double product = 1;
    for (std::size_t i = 0; i < dimension; ++i) {
        const double a = static_cast<double>((i + 1) * (i + 1));
        product *= (std::fabs(4 * x[i] - 2) + a) / (1 + a);
    }
    return product;
}

// The error of the mean over `points` points, a multiple of blockPoints.  Vectors come out one
// after the other, so a block of n points is one fill of n * dimension numbers.
double errorOf(GeneratorId generator, const std::vector<std::uint32_t>& parameters,
               std::size_t dimension, std::size_t points) {
    StreamHandle stream = nullptr;
    if (vslNewStreamEx(&stream, generator, static_cast<std::int32_t>(parameters.size()),
                       parameters.data()) != RNG_OK) {
        throw std::runtime_error("no stream");
    }
    std::vector<double> x(blockPoints * dimension);
    double sum = 0;
    std::int32_t status = RNG_OK;
    for (std::size_t done = 0; done < points && status == RNG_OK; done += blockPoints) {
        status = vdRngUniform(METHOD_UNIFORM_STANDARD, stream, static_cast<std::int32_t>(x.size()),
                              x.data(), 0.0, 1.0);
        for (std::size_t k = 0; k < blockPoints; ++k)
            sum += integrand(&x[k * dimension], dimension);
    }
    vslDeleteStream(&stream);
    if (status != RNG_OK) throw std::runtime_error("vdRngUniform returned a status");
    return std::fabs(sum / static_cast<double>(points) - 1);
}

}  // namespace

int main(int argc, char** argv) try {
    const std::string file = argc > 1 ? argv[1] : DIRECTION_NUMBERS;
    bool isBetter = true;
    std::printf("%9s %8s %12s %12s %12s\n", "variables", "points", "Sobol", "Niederreiter",
                "Philox");
    for (const std::uint32_t dimension : {10u, 40u, 64u}) {
        // Up to 40 dimensions Sobol has tables of its own.
        const std::vector<std::uint32_t> sobol =
            dimension <= 40 ? std::vector{dimension}
                            : sobolParameters(readDirectionNumbers(file, dimension));
        for (const std::size_t points : {std::size_t{1} << 12, std::size_t{1} << 17}) {
            const double bySobol = errorOf(GEN_SOBOL, sobol, dimension, points);
            const double byNiederreiter = errorOf(GEN_NIEDERREITER, {dimension}, dimension, points);
            const double byPhilox = errorOf(GEN_PHILOX4X32X10, {2026}, dimension, points);
            std::printf("%9u %8zu %12.2e %12.2e %12.2e\n", dimension, points, bySobol,
                        byNiederreiter, byPhilox);
            isBetter = isBetter && bySobol < byPhilox && byNiederreiter < byPhilox;
        }
    }
    return isBetter ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "quasi_integration: failed: %s\n", error.what());
    return 1;
}

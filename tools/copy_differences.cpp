// What differs between the copies: the tables of docs/reproducibility.md.
//
// usage: copy_differences           all copies that this processor can run, into Markdown
//        copy_differences FILE COPY (by itself, for each copy) a million elements of each case
//
// Each copy runs in a process of its own, as a user's does.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "korvan/random.h"

namespace {

constexpr std::int32_t count = 1000000;
constexpr std::uint32_t seed = 777;

using Numbers = std::vector<double>;  // holds singles and integers exactly

struct Case {
    std::string name;
    double scale;  // of the law, which differences are compared with where a variate is near 0
    std::function<Numbers()> draw;
};

// Parameters of real laws have the law's precision.
template <class T, class Parameter>
auto parameterOf(Parameter p) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(p);
    } else {
        return p;
    }
}

template <class T, class Routine, class... Parameters>
Numbers drawn(GeneratorId id, Routine routine, std::int32_t method, Parameters... parameters) {
    StreamHandle stream;
    std::vector<T> r(count);
    if (vslNewStream(&stream, id, seed) < 0) std::exit(2);
    if (routine(method, stream, count, r.data(), parameterOf<T>(parameters)...) < 0) std::exit(2);
    vslDeleteStream(&stream);
    return {r.begin(), r.end()};
}

// A law in both precisions; its last parameter is the scale.
#define REAL_LAW(title, law, generator, method, scale, ...)                         \
    {title ", double", scale,                                                       \
     [] { return drawn<double>(generator, vdRng##law, method, __VA_ARGS__); }},     \
    {                                                                               \
        title ", single", scale,                                                    \
            [] { return drawn<float>(generator, vsRng##law, method, __VA_ARGS__); } \
    }
#define COUNTS(title, law, generator, method, ...)                                               \
    {                                                                                            \
        title, 0, [] { return drawn<std::int32_t>(generator, viRng##law, method, __VA_ARGS__); } \
    }

const std::vector<double>& means(double mean) {
    static std::vector<double> all;
    all.assign(count, mean);
    return all;
}

std::vector<Case> cases() {
    std::vector<Case> all = {
        REAL_LAW("Uniform [0, 1), MCG31m1", Uniform, GEN_MCG31, 0, 1, 0, 1),
        REAL_LAW("Uniform [-3, 5), MCG31m1", Uniform, GEN_MCG31, 0, 8, -3, 5),
        REAL_LAW("Uniform [0, 1), Wichmann-Hill", Uniform, GEN_WH, 0, 1, 0, 1),
        REAL_LAW("Uniform [0, 1), Philox4x32-10", Uniform, GEN_PHILOX4X32X10, 0, 1, 0, 1),
        REAL_LAW("Uniform [-3, 5), Philox4x32-10", Uniform, GEN_PHILOX4X32X10, 0, 8, -3, 5),
        REAL_LAW("Uniform [0, 10), Philox4x32-10", Uniform, GEN_PHILOX4X32X10, 0, 10, 0, 10),
        REAL_LAW("Gaussian, Box-Muller", Gaussian, GEN_SFMT19937, 0, 1, 0, 1),
        REAL_LAW("Gaussian, paired", Gaussian, GEN_SFMT19937, 1, 1, 0, 1),
        REAL_LAW("Gaussian, inverse", Gaussian, GEN_SFMT19937, 2, 1, 0, 1),
        REAL_LAW("Exponential", Exponential, GEN_SFMT19937, 0, 1, 0, 1),
        REAL_LAW("Laplace", Laplace, GEN_SFMT19937, 0, 1, 0, 1),
        REAL_LAW("Weibull, alpha = 1.5", Weibull, GEN_SFMT19937, 0, 1, 1.5, 0, 1),
        REAL_LAW("Weibull, alpha = 0.05", Weibull, GEN_SFMT19937, 0, 1, 0.05, 0, 1),
        REAL_LAW("Rayleigh", Rayleigh, GEN_SFMT19937, 0, 1, 0, 1),
        REAL_LAW("Gumbel", Gumbel, GEN_SFMT19937, 0, 1, 0, 1),
        REAL_LAW("Cauchy", Cauchy, GEN_SFMT19937, 0, 1, 0, 1),
        REAL_LAW("Lognormal 0, sigma = 0.75", Lognormal, GEN_SFMT19937, 0, 1, 0, 0.75, 0, 1),
        REAL_LAW("Lognormal 0, sigma = 3", Lognormal, GEN_SFMT19937, 0, 1, 0, 3, 0, 1),
        REAL_LAW("Lognormal 1, sigma = 3", Lognormal, GEN_SFMT19937, 1, 1, 0, 3, 0, 1),
        COUNTS("`viRngUniform`, [-10^9, 2 10^9)", Uniform, GEN_MCG31, 0, -1000000000, 2000000000),
        COUNTS("Bernoulli, p = 0.3", Bernoulli, GEN_SFMT19937, 0, 0.3),
        COUNTS("Geometric, p = 0.001", Geometric, GEN_SFMT19937, 0, 0.001),
    };
    for (const double mean : {5.5, 50.5, 500.5, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 2e9}) {
        char title[80];
        for (const int method : {0, 1}) {
            std::snprintf(title, sizeof title, "Poisson, method %d, mean %g", method, mean);
            all.push_back(
                {title, 0,
                 [=] { return drawn<std::int32_t>(GEN_SFMT19937, viRngPoisson, method, mean); }});
        }
        std::snprintf(title, sizeof title, "`viRngPoissonV`, mean %g", mean);
        all.push_back({title, 0, [=] {
                           return drawn<std::int32_t>(GEN_SFMT19937, viRngPoissonV, 0,
                                                      means(mean).data());
                       }});
    }
    return all;
}

void write(const char* name, const char* copy) {
    if (std::strcmp(copy, vslGetCopyName()) != 0) std::exit(3);  // the processor can't run it
    std::FILE* file = std::fopen(name, "wb");
    for (const Case& c : cases()) {
        const Numbers numbers = c.draw();
        if (!file || std::fwrite(numbers.data(), sizeof(double), count, file) != count)
            std::exit(2);
    }
    std::fclose(file);
}

struct Copy {
    std::string name;
    std::FILE* file;
    Numbers numbers;
};

// Runs this program once for each copy.
std::vector<Copy> runAll(const std::string& program) {
    std::vector<Copy> copies;
    const std::pair<const char*, int> branches[] = {{"base", 0},  {"compat", 2}, {"sse3", 3},
                                                    {"ssse3", 5}, {"sse41", 6},  {"sse42", 7},
                                                    {"avx", 8},   {"avx2", 9},   {"avx512", 11}};
    for (const auto& [name, branch] : branches) {
        const std::string scratch = "copy_differences." + std::string(name);
        const std::string command = "QVX_OVERRIDE_BRANCH_ID=" + std::to_string(branch) + " " +
                                    program + " " + scratch + " " + name;
        if (std::system(command.c_str()) != 0) std::exit(2);
        copies.push_back({name, std::fopen(scratch.c_str(), "rb"), Numbers(count)});
        std::remove(scratch.c_str());
    }
    return copies;
}

// Names of copies with equal bits in groups: "base compat | sse3 ... avx | avx2 avx512".
std::string groups(const std::vector<Copy>& copies) {
    std::string text;
    const auto equal = [](const Copy& x, const Copy& y) {
        return std::memcmp(x.numbers.data(), y.numbers.data(), count * sizeof(double)) == 0;
    };
    std::vector<bool> listed(copies.size());
    for (std::size_t i = 0; i < copies.size(); ++i) {
        if (listed[i]) continue;
        if (i > 0) text += " / ";
        for (std::size_t j = i; j < copies.size(); ++j) {
            if (listed[j] || !equal(copies[i], copies[j])) continue;
            listed[j] = true;
            text += (j > i ? " " : "") + copies[j].name;
        }
    }
    return text;
}

// Elements that differ, and by how much at most: beside the variate, and beside the larger of the
// variate and the law's scale; of counts (scale 0), by how many.
std::string difference(const Copy& x, const Copy& y, double scale) {
    int differing = 0;
    double relative = 0, scaled = 0, absolute = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double a = x.numbers[i], b = y.numbers[i], d = std::abs(a - b);
        if (!(d > 0)) continue;
        ++differing;
        absolute = std::max(absolute, d);
        relative = std::max(relative, d / std::abs(b));
        scaled = std::max(scaled, d / std::max(std::abs(b), scale));
    }
    char text[100];
    if (differing == 0) return "0";
    if (scale == 0) {
        std::snprintf(text, sizeof text, "%d, by %.0f", differing, absolute);
    } else {
        std::snprintf(text, sizeof text, "%d, %.0e (%.0e)", differing, scaled, relative);
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 2) return write(argv[1], argv[2]), 0;
    std::vector<Copy> copies = runAll(argv[0]);
    const auto named = [&](const char* name) -> const Copy& {
        return *std::find_if(copies.begin(), copies.end(),
                             [&](const Copy& copy) { return copy.name == name; });
    };
    std::printf(
        "| | equal bits | base, avx | avx, avx2 | avx2, avx512 |\n|---|---|---:|---:|---:|\n");
    for (const Case& c : cases()) {
        for (Copy& copy : copies) {
            if (std::fread(copy.numbers.data(), sizeof(double), count, copy.file) != count)
                return 2;
        }
        std::printf("| %s | %s | %s | %s | %s |\n", c.name.c_str(), groups(copies).c_str(),
                    difference(named("avx"), named("base"), c.scale).c_str(),
                    difference(named("avx2"), named("avx"), c.scale).c_str(),
                    difference(named("avx512"), named("avx2"), c.scale).c_str());
    }
    return 0;
}

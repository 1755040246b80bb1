// Rounds the coefficients of erf_inv_count (coefficients.py) to singles.
//
// usage: erf_inv_count_rounding STEPS < COEFFICIENTS
//
// COEFFICIENTS: those of A, u^0 to u^6, then of B, u^0 to u^6 (u^7 has 1), as decimal numbers.
// Rounding each to the nearest single isn't best: what counts is the error of the whole formula in
// single arithmetic.  So a random walk moves up to four coefficients by one or two units of their
// last places and stays where the largest error over a sample of the singles falls.  Prints the
// coefficients and their largest error in units of the last place; STEPS of 0 measures only.  From
// 4.50, nearest rounding, 6000 steps come to 3.73 in 16 seconds; the kernel's row, of another walk,
// has 3.65.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

namespace {

constexpr int degree = 7;  // of B
using Coefficients = std::array<float, 2 * degree>;

struct Sample {
    float x;
    double value, ulp;
};

// The kernel's arithmetic, in its order, without fused operations.
float erfInv(const Coefficients& c, float x) {
    const float u = (1 - x) * (1 + x);
    float above = c[degree - 1], below = 1;
    for (int k = degree - 2; k >= 0; --k) above = above * u + c[k];
    for (int k = degree - 1; k >= 0; --k) below = below * u + c[degree + k];
    return x * 0.8862269f + x * (x * x) * (above / below);
}

// Newton's method on the C library's erf and erfc, from the formula's own value.
double exactErfInv(double start, double x) {
    const double halfRootPi = 0.88622692545275801365;
    double z = start;
    for (int i = 0; i < 3; ++i) {
        const double error = z < 0.5 ? std::erf(z) - x : 1 - x - std::erfc(z);
        z -= error * halfRootPi * std::exp(z * z);
    }
    return z;
}

// Denser where the slope is larger.
std::vector<Sample> samples(const Coefficients& c) {
    std::vector<Sample> all;
    const auto next = [](float x, std::int32_t places) {
        return x + static_cast<float>(places) * (std::nextafterf(x, 1) - x);
    };
    for (float x = 0.25f; (1 - x) * (1 + x) >= 0x1p-8f; x = next(x, x > 0.96f  ? 3
                                                                    : x > 0.5f ? 41
                                                                               : 101)) {
        const double value = exactErfInv(erfInv(c, x), x);
        all.push_back({x, value, std::ldexp(1, std::ilogb(value) - 23)});
    }
    return all;
}

// The largest error, or any that reaches `limit`.
double largestError(const Coefficients& c, const std::vector<Sample>& all, double limit) {
    double largest = 0;
    for (const Sample& s : all) {
        largest = std::max(largest, std::abs(erfInv(c, s.x) - s.value) / s.ulp);
        if (largest >= limit) break;
    }
    return largest;
}

Coefficients neighbour(Coefficients c, std::mt19937& random) {
    for (auto moves = 1 + random() % 4; moves > 0; --moves) {
        float& coefficient = c[random() % c.size()];
        const float towards = random() % 2 ? HUGE_VALF : -HUGE_VALF;
        for (auto places = 1 + random() % 2; places > 0; --places) {
            coefficient = std::nextafterf(coefficient, towards);
        }
    }
    return c;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return std::fprintf(stderr, "usage: erf_inv_count_rounding STEPS\n"), 2;
    Coefficients best;
    for (float& c : best) {
        if (std::scanf("%f", &c) != 1) return std::fprintf(stderr, "14 numbers, please\n"), 2;
    }
    const std::vector<Sample> all = samples(best);
    double error = largestError(best, all, std::numeric_limits<double>::infinity());
    std::mt19937 random(1);
    for (long step = std::atol(argv[1]); step > 0; --step) {
        const Coefficients candidate = neighbour(best, random);
        const double candidateError = largestError(candidate, all, error);
        if (candidateError < error) {
            error = candidateError;
            best = candidate;
        }
    }
    for (const float c : best) std::printf("%.9gf\n", static_cast<double>(c));
    std::printf("largest error of %zu singles: %.3f ulp\n", all.size(), error);
}

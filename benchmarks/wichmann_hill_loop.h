// The first Wichmann-Hill member as a plain loop: four remainders and four divisions a number.
#pragma once

#include <cstdint>

namespace korvan::benchmarks {

struct WichmannHillLoop {
    std::uint32_t x[4] = {777, 1, 1, 1};
    // Not constants for the compiler: the loop serves any of the 273 members.
    std::uint32_t a[4], m[4];

    WichmannHillLoop() {
        const volatile std::uint32_t multipliers[4] = {125, 117, 127, 126};
        const volatile std::uint32_t moduli[4] = {16770647, 16770643, 16770623, 16770617};
        for (int j = 0; j < 4; ++j) a[j] = multipliers[j], m[j] = moduli[j];
    }
    void step() {
        for (int j = 0; j < 4; ++j) x[j] = a[j] * x[j] % m[j];
    }
    double number() const {
        double sum = 0;
        for (int j = 0; j < 4; ++j) sum += static_cast<double>(x[j]) / m[j];
        return sum - static_cast<double>(static_cast<int>(sum));
    }
};

}  // namespace korvan::benchmarks

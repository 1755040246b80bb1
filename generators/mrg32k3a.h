// MRG32k3a: two multiple recursive generators of order 3, combined by their difference.
//
//   x_n = (1403580 x_(n-2) - 810728 x_(n-3)) mod m1,    m1 = 2^32 - 209
//   y_n = (527612 y_(n-1) - 1370589 y_(n-3)) mod m2,    m2 = 2^32 - 22853
//   z_n = (x_n - y_n) mod m1
//
// Source: P. L'Ecuyer, Good parameters and implementations for combined multiple recursive random
// number generators, Oper. Res. 47 (1999) 159-164.
#pragma once

#include "streams/stream_record.h"

namespace korvan {

struct Mrg32k3aState {
    std::uint32_t x[3];  // x_(n-3), x_(n-2), x_(n-1), below m1, not all 0
    std::uint32_t y[3];  // y_(n-3), y_(n-2), y_(n-1), below m2, not all 0
};
static_assert(sizeof(StreamRecord) + sizeof(Mrg32k3aState) == 40);

inline constexpr std::uint32_t mrg32k3aModulus1 = 4294967087;
inline constexpr std::uint32_t mrg32k3aModulus2 = 4294944443;
static_assert(mrg32k3aModulus1 == (std::uint64_t{1} << 32) - 209);
static_assert(mrg32k3aModulus2 == (std::uint64_t{1} << 32) - 22853);

inline constexpr std::uint32_t mrg32k3aX2 = 1403580, mrg32k3aX3 = 810728;  // of lags 2 and 3
inline constexpr std::uint32_t mrg32k3aY1 = 527612, mrg32k3aY3 = 1370589;  // of lags 1 and 3

// One step: moves the state and returns its word, 0 .. m1 - 1.
[[gnu::always_inline]] inline std::uint32_t mrg32k3aNext(Mrg32k3aState& s) {
    constexpr std::uint64_t m1 = mrg32k3aModulus1, m2 = mrg32k3aModulus2;
    // A multiple of the modulus keeps the differences from going negative.
    const auto x = static_cast<std::uint32_t>(
        (mrg32k3aX2 * std::uint64_t{s.x[1]} + mrg32k3aX3 * (m1 - s.x[0])) % m1);
    const auto y = static_cast<std::uint32_t>(
        (mrg32k3aY1 * std::uint64_t{s.y[2]} + mrg32k3aY3 * (m2 - s.y[0])) % m2);
    s = {.x = {s.x[1], s.x[2], x}, .y = {s.y[1], s.y[2], y}};
    return x >= y ? x - y : x - y + mrg32k3aModulus1;
}

}  // namespace korvan

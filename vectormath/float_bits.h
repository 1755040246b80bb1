// Doubles and singles as bits, for kernel files.
#pragma once

#include <cstdint>

namespace korvan {

[[gnu::always_inline]] constexpr inline std::uint64_t bitsOf(double x) {
    return __builtin_bit_cast(std::uint64_t, x);
}
[[gnu::always_inline]] constexpr inline std::uint32_t bitsOf(float x) {
    return __builtin_bit_cast(std::uint32_t, x);
}
[[gnu::always_inline]] constexpr inline double doubleOf(std::uint64_t bits) {
    return __builtin_bit_cast(double, bits);
}
[[gnu::always_inline]] constexpr inline float floatOf(std::uint32_t bits) {
    return __builtin_bit_cast(float, bits);
}

}  // namespace korvan

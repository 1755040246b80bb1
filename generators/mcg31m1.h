// MCG31m1: the multiplicative congruential generator x <- a x mod m with m = 2^31 - 1 and
// a = 1132489760.
//
// Source: P. L'Ecuyer, Tables of linear congruential generators of different sizes and good
// lattice structure, Math. Comp. 68 (1999) 249-260.
#pragma once

#include "streams/stream_record.h"

namespace korvan {

struct Mcg31m1State {
    std::uint32_t x;  // the word that the next fill gives first: 1 .. m - 1
    std::uint32_t a;  // the multiplier in force: leapfrogging replaces it by a power
};
static_assert(sizeof(StreamRecord) + sizeof(Mcg31m1State) == 24);

inline constexpr std::uint32_t mcg31m1Modulus = 0x7FFFFFFF;
inline constexpr std::uint32_t mcg31m1Multiplier = 1132489760;
static_assert(mcg31m1Multiplier == 0x43806C20);

// u v mod m for u, v < m: since 2^31 = 1 mod m, the two halves of the product are added.
[[gnu::always_inline]] inline std::uint32_t mcg31m1Product(std::uint32_t u, std::uint32_t v) {
    const std::uint64_t p = static_cast<std::uint64_t>(u) * v;
    const auto t = static_cast<std::uint32_t>((p & mcg31m1Modulus) + (p >> 31));
    return t >= mcg31m1Modulus ? t - mcg31m1Modulus : t;
}

}  // namespace korvan

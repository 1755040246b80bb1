// MCG59: the multiplicative congruential generator x <- a x mod 2^59 with a = 13^13.
//
// Source: P. L'Ecuyer and R. Simard, TestU01: a C library for empirical testing of random number
// generators, ACM Trans. Math. Softw. 33 (2007), article 22: LCG(2^59, 13^13, 0) of its table.
#pragma once

#include "streams/stream_record.h"

namespace korvan {

struct Mcg59State {
    std::uint64_t x;  // the word that the next fill gives first: 1 .. 2^59 - 1
    std::uint64_t a;  // the multiplier in force: leapfrogging replaces it by a power
};
static_assert(sizeof(StreamRecord) + sizeof(Mcg59State) == 32);

inline constexpr std::uint64_t mcg59Mask = (std::uint64_t{1} << 59) - 1;
inline constexpr std::uint64_t mcg59Multiplier = 302875106592253;
static_assert(mcg59Multiplier == 0x113769B23C5FD);
static_assert(mcg59Multiplier ==
              std::uint64_t{13 * 13 * 13} * (13 * 13 * 13) * (13 * 13 * 13) * (13 * 13 * 13) * 13);

// u v mod 2^59: what a 64-bit product loses is a multiple of 2^64.
[[gnu::always_inline]] inline std::uint64_t mcg59Product(std::uint64_t u, std::uint64_t v) {
    return u * v & mcg59Mask;
}

}  // namespace korvan

// MT19937: the Mersenne Twister of period 2^19937 - 1, with array seeding and jumps.
//
// Source: M. Matsumoto, T. Nishimura, Mersenne Twister: a 623-dimensionally equidistributed
// uniform pseudo-random number generator, ACM TOMACS 8 (1998) 3-30.
#pragma once

#include "generators/mersenne_twister.h"
#include "generators/polynomial_jump.h"
#include "streams/stream_record.h"

namespace korvan {

struct Mt19937State {
    std::uint32_t mt[Mt19937Shape::words];  // raw words
    std::int32_t index;                     // words of mt given out: 0 .. 624
    std::uint32_t spare;                    // 0
};
static_assert(sizeof(StreamRecord) + sizeof(Mt19937State) == 2520);

inline constexpr TwisterConstants mt19937Constants{
    .matrixA = 0x9908B0DF, .maskB = 0x9D2C5680, .maskC = 0xEFC60000};

// For jumps in words; the characteristic polynomial has the degree 19937.
extern const JumpingGenerator mt19937Jumping;

}  // namespace korvan

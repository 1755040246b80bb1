// R250: the generalised feedback shift register w[n] = w[n - 250] ^ w[n - 147] over 32-bit words.
//
// Source: S. Kirkpatrick, E. Stoll, A very fast shift-register sequence random number generator,
// J. Comput. Phys. 40 (1981) 517-526; here with the reciprocal of their trinomial.
#pragma once

#include <cstddef>

#include "streams/stream_record.h"

namespace korvan {

inline constexpr std::size_t r250Words = 250;
inline constexpr std::size_t r250Tap = 103;  // from the oldest word to the second one

struct R250State {
    std::uint32_t x[r250Words];  // circular: the last 250 words
    std::int32_t i;              // of the oldest word, which the next one replaces
    std::int32_t j;              // of the second tap: (i + 103) mod 250
};
static_assert(sizeof(StreamRecord) + sizeof(R250State) == 1024);

}  // namespace korvan
